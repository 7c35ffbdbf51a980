// Digests, signatures and their verification on contexts that the caller allocates (48 bytes in 1.0.2).
#include "lib/ssl/openssl102/openssl102.h"
#include "lib/ssl/openssl102/shadowRecord.h"

namespace {

constexpr size_t kContextSize102 = 48;

using DigestRecord = ShadowRecord<EVP_MD_CTX, EVP_MD_CTX_new, EVP_MD_CTX_reset, EVP_MD_CTX_free>;

} // namespace

USES_GENUINE(CRYPTO_free);
USES_GENUINE(EVP_DigestUpdate);
USES_GENUINE(EVP_DigestFinal_ex);
USES_GENUINE(EVP_SignFinal);
USES_GENUINE(EVP_VerifyFinal);

OPENSSL102(void, EVP_MD_CTX_init, void *ctx) {
    DigestRecord::Init(ctx);
}

OPENSSL102(int, EVP_MD_CTX_cleanup, void *ctx) {
    return DigestRecord::Cleanup(ctx);
}

OPENSSL102(void *, EVP_MD_CTX_create) {
    void *ctx = CRYPTO_zalloc(kContextSize102, __FILE__, __LINE__);
    if (ctx != nullptr)
        DigestRecord::Init(ctx);
    return ctx;
}

OPENSSL102(void, EVP_MD_CTX_destroy, void *ctx) {
    if (ctx == nullptr)
        return;
    DigestRecord::Cleanup(ctx);
    GENUINE(CRYPTO_free)(ctx, __FILE__, __LINE__);
}

OPENSSL102(const EVP_MD *, EVP_MD_CTX_md, const void *ctx) {
    return EVP_MD_CTX_get0_md(DigestRecord::Peek(ctx));
}

OPENSSL102(int, EVP_DigestInit, void *ctx, const EVP_MD *digest) {
    DigestRecord::Init(ctx);
    EVP_MD_CTX *inner = DigestRecord::Use(ctx);
    return inner != nullptr ? EVP_DigestInit_ex(inner, digest, nullptr) : 0;
}

OPENSSL102(int, EVP_DigestUpdate, void *ctx, const void *data, size_t size) {
    EVP_MD_CTX *inner = DigestRecord::Use(ctx);
    return inner != nullptr ? GENUINE(EVP_DigestUpdate)(inner, data, size) : 0;
}

OPENSSL102(int, EVP_DigestFinal_ex, void *ctx, unsigned char *result, unsigned int *size) {
    EVP_MD_CTX *inner = DigestRecord::Use(ctx);
    return inner != nullptr ? GENUINE(EVP_DigestFinal_ex)(inner, result, size) : 0;
}

OPENSSL102(int, EVP_DigestFinal, void *ctx, unsigned char *result, unsigned int *size) {
    const int isDone = compat_EVP_DigestFinal_ex(ctx, result, size);
    DigestRecord::Cleanup(ctx);
    return isDone;
}

OPENSSL102(int, EVP_SignFinal, void *ctx, unsigned char *signature, unsigned int *size,
           EVP_PKEY *key) {
    EVP_MD_CTX *inner = DigestRecord::Use(ctx);
    return inner != nullptr ? GENUINE(EVP_SignFinal)(inner, signature, size, key) : 0;
}

OPENSSL102(int, EVP_VerifyFinal, void *ctx, const unsigned char *signature, unsigned int size,
           EVP_PKEY *key) {
    EVP_MD_CTX *inner = DigestRecord::Use(ctx);
    return inner != nullptr ? GENUINE(EVP_VerifyFinal)(inner, signature, size, key) : -1;
}
