// Ciphers on contexts that the caller allocates (168 bytes in 1.0.2), and the ciphers of the provider "legacy".
#include "lib/ssl/openssl102/openssl102.h"
#include "lib/ssl/openssl102/shadowRecord.h"

#include <openssl/provider.h>

namespace {

using CipherRecord =
    ShadowRecord<EVP_CIPHER_CTX, EVP_CIPHER_CTX_new, EVP_CIPHER_CTX_reset, EVP_CIPHER_CTX_free>;

using InitFn = decltype(EVP_EncryptInit_ex);
using UpdateFn = decltype(EVP_EncryptUpdate);
using FinalFn = decltype(EVP_EncryptFinal_ex);

int CipherInit(InitFn *init, void *ctx, const EVP_CIPHER *cipher, ENGINE *engine,
               const unsigned char *key, const unsigned char *iv) {
    EVP_CIPHER_CTX *inner = CipherRecord::Use(ctx);
    return inner != nullptr ? init(inner, cipher, engine, key, iv) : 0;
}

int CipherUpdate(UpdateFn *update, void *ctx, unsigned char *out, int *outSize,
                 const unsigned char *in, int inSize) {
    EVP_CIPHER_CTX *inner = CipherRecord::Use(ctx);
    return inner != nullptr ? update(inner, out, outSize, in, inSize) : 0;
}

int CipherFinal(FinalFn *final, void *ctx, unsigned char *out, int *outSize) {
    EVP_CIPHER_CTX *inner = CipherRecord::Use(ctx);
    return inner != nullptr ? final(inner, out, outSize) : 0;
}

/* Ciphers of the provider "legacy", fetched once from a separate library context, so that nothing changes for
 * the rest of the process. NULL if the provider is not installed. */
const EVP_CIPHER *desCbc;
const EVP_CIPHER *bfCbc;

void FetchLegacyCiphers() {
    OSSL_LIB_CTX *library = OSSL_LIB_CTX_new();
    if (library == nullptr)
        return;
    OSSL_PROVIDER *legacy = OSSL_PROVIDER_load(library, "legacy");
    OSSL_PROVIDER *standard = OSSL_PROVIDER_load(library, "default");
    if (legacy != nullptr && standard != nullptr) {
        desCbc = EVP_CIPHER_fetch(library, "DES-CBC", nullptr);
        bfCbc = EVP_CIPHER_fetch(library, "BF-CBC", nullptr);
    }
    if (desCbc != nullptr || bfCbc != nullptr)
        return; // the library context lives as long as they do, until the end of the process
    if (legacy != nullptr)
        OSSL_PROVIDER_unload(legacy);
    if (standard != nullptr)
        OSSL_PROVIDER_unload(standard);
    OSSL_LIB_CTX_free(library);
}

CRYPTO_ONCE legacyOnce = CRYPTO_ONCE_STATIC_INIT;

/* Returns the fetched cipher. Without the provider it is the one of OpenSSL 3, whose initialisation fails
 * with a reason. */
const EVP_CIPHER *LegacyCipher(const EVP_CIPHER *const *fetched, const EVP_CIPHER *(*genuine)()) {
    CRYPTO_THREAD_run_once(&legacyOnce, FetchLegacyCiphers);
    return *fetched != nullptr ? *fetched : genuine();
}

} // namespace

USES_GENUINE(EVP_des_cbc);
USES_GENUINE(EVP_bf_cbc);
USES_GENUINE(EVP_CIPHER_CTX_set_padding);

OPENSSL102(const EVP_CIPHER *, EVP_des_cbc) {
    return LegacyCipher(&desCbc, GENUINE(EVP_des_cbc));
}

OPENSSL102(const EVP_CIPHER *, EVP_bf_cbc) {
    return LegacyCipher(&bfCbc, GENUINE(EVP_bf_cbc));
}

OPENSSL102(void, EVP_CIPHER_CTX_init, void *ctx) {
    CipherRecord::Init(ctx);
}

OPENSSL102(int, EVP_CIPHER_CTX_cleanup, void *ctx) {
    return CipherRecord::Cleanup(ctx);
}

OPENSSL102(int, EVP_CIPHER_CTX_block_size, const void *ctx) {
    const EVP_CIPHER_CTX *inner = CipherRecord::Peek(ctx);
    return inner != nullptr ? EVP_CIPHER_CTX_get_block_size(inner) : 0;
}

/* As in 1.0.2, padding that is set before a cipher applies to the next cipher. */
OPENSSL102(int, EVP_CIPHER_CTX_set_padding, void *ctx, int padding) {
    EVP_CIPHER_CTX *inner = CipherRecord::Use(ctx);
    if (inner == nullptr)
        return 0;
    const int isDone = GENUINE(EVP_CIPHER_CTX_set_padding)(inner, padding);
    return EVP_CIPHER_CTX_get0_cipher(inner) == nullptr ? 1 : isDone;
}

/* The functions of one direction, "Encrypt" or "Decrypt". Init accepts storage with any contents. */
#define CIPHER_FUNCTIONS(Direction)                                                                \
    USES_GENUINE(EVP_##Direction##Init_ex);                                                        \
    USES_GENUINE(EVP_##Direction##Update);                                                         \
    USES_GENUINE(EVP_##Direction##Final_ex);                                                       \
                                                                                                   \
    OPENSSL102(int, EVP_##Direction##Init_ex, void *ctx, const EVP_CIPHER *cipher, ENGINE *engine, \
               const unsigned char *key, const unsigned char *iv) {                                \
        return CipherInit(GENUINE(EVP_##Direction##Init_ex), ctx, cipher, engine, key, iv);        \
    }                                                                                              \
    OPENSSL102(int, EVP_##Direction##Init, void *ctx, const EVP_CIPHER *cipher,                    \
               const unsigned char *key, const unsigned char *iv) {                                \
        if (cipher != nullptr)                                                                     \
            CipherRecord::Init(ctx);                                                               \
        return CipherInit(GENUINE(EVP_##Direction##Init_ex), ctx, cipher, nullptr, key, iv);       \
    }                                                                                              \
    OPENSSL102(int, EVP_##Direction##Update, void *ctx, unsigned char *out, int *outSize,          \
               const unsigned char *in, int inSize) {                                              \
        return CipherUpdate(GENUINE(EVP_##Direction##Update), ctx, out, outSize, in, inSize);      \
    }                                                                                              \
    OPENSSL102(int, EVP_##Direction##Final_ex, void *ctx, unsigned char *out, int *outSize) {      \
        return CipherFinal(GENUINE(EVP_##Direction##Final_ex), ctx, out, outSize);                 \
    }                                                                                              \
    OPENSSL102(int, EVP_##Direction##Final, void *ctx, unsigned char *out, int *outSize) {         \
        return CipherFinal(GENUINE(EVP_##Direction##Final_ex), ctx, out, outSize);                 \
    }

CIPHER_FUNCTIONS(Encrypt)
CIPHER_FUNCTIONS(Decrypt)
