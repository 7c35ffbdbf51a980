#include "lib/crypto/cryptoPublicKey.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <crypto/cryptoRandom.h>
#include <ssl/ssl.h>

#include "lib/crypto/cryptoOwner.h"
#include "lib/crypto/cryptoPemCost.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/ssl/sslPtr.h"

namespace {

using Family = CryptoPublicKeyFamily;

constexpr int kBioCtrlInfo = 3; /* BIO_CTRL_INFO: where the bytes of a memory BIO are */
/* OpenSSL reads no more of a pass phrase, so a longer one could not be read back. */
constexpr gsize kMaxPassphrase = 1024;

/* OpenSSL's object of a key, until it is handed to one. */
class NativeKey {
public:
    NativeKey(const Family &of, gpointer object) : family(of), native(object) {}
    NativeKey(const NativeKey &) = delete;
    NativeKey &operator=(const NativeKey &) = delete;
    ~NativeKey() { reset(nullptr); }
    void reset(gpointer object) {
        if (native)
            family.freeNative(native);
        native = object;
    }
    gpointer get() const { return native; }
    gpointer release() { return std::exchange(native, nullptr); }
    explicit operator bool() const { return native != nullptr; }

private:
    const Family &family;
    gpointer native;
};

/* A pass phrase for OpenSSL to read with. Without one an encrypted text cannot be read; nobody is asked for it. */
struct Passphrase {
    SSLPassphraseFn function;
    void *data;
};

int RefusePassphrase(char *, int, int, void *) {
    return -1;
}

constexpr Passphrase kNoPassphrase = {RefusePassphrase, nullptr};

/* OpenSSL's own function copies the text that it gets as data. */
Passphrase PassphraseOf(const char *password) {
    return {nullptr, const_cast<char *>(password ? password : "")};
}

void StartOpenSSL() {
    SSL_Init(nullptr, nullptr, nullptr);
}

CryptoError Fail(const Family &family, const char *operation, const char *step,
                 CryptoError error = CRYPTO_ERROR_FAILED) {
    CryptoPublicKey_LogFailure(family, operation, step);
    return error;
}

/* Reads a text as a private key and, if it is none, as a public one. */
CryptoError ReadPem(const Family &family, const char *operation, const void *text, gsize size,
                    Passphrase passphrase, NativeKey *native, bool *isPrivate) {
    if (size > G_MAXINT)
        return CRYPTO_ERROR_FAILED;
    if (!CryptoPemCost_IsBearable({static_cast<const char *>(text), size})) {
        Log("Crypto%s_%s: reading a private key of the text would take too long\n", family.name,
            operation);
        return CRYPTO_ERROR_FAILED;
    }
    for (bool tryPrivate : {true, false}) {
        const BioPtr bio(__wrap_BIO_new_mem_buf(text, static_cast<int>(size)));
        if (!bio)
            return Fail(family, operation, "BIO_new_mem_buf failed", CRYPTO_ERROR_NO_MEMORY);
        const auto read = tryPrivate ? family.readPrivate : family.readPublic;
        native->reset(read(bio.get(), passphrase.function, passphrase.data));
        *isPrivate = tryPrivate;
        if (*native) {
            __wrap_ERR_clear_error(); // of the first attempt
            return CRYPTO_ERROR_SUCCESS;
        }
    }
    char step[64];
    snprintf(step, sizeof step, "%s failed", family.readPublicFunction);
    return Fail(family, operation, step);
}

/* Copies the bytes of a memory BIO, with a NUL behind them that is not counted. */
CryptoError CopyBio(BIO *bio, guint8 **data, gsize *size) {
    char *bytes = nullptr;
    const long count = __wrap_BIO_ctrl(bio, kBioCtrlInfo, 0, &bytes);
    if (count <= 0)
        return CRYPTO_ERROR_FAILED;
    const auto length = static_cast<gsize>(count);
    SecretBlock copy = SecretBlock::Allocate(length + 1);
    if (!copy)
        return CRYPTO_ERROR_NO_MEMORY;
    memcpy(copy.data(), bytes, length);
    return ReleasePart(std::move(copy), length, data, size);
}

/* Writes PKCS#8, encrypted if there is a password. */
CryptoError WritePrivate(const Family &family, const char *operation, gpointer native,
                         const char *password, guint8 **data, gsize *size) {
    const KeyPtr key(__wrap_EVP_PKEY_new());
    if (!key || family.setKey(key.get(), native) != 1)
        return Fail(family, operation, "EVP_PKEY_new");
    const BioPtr bio(__wrap_BIO_new(__wrap_BIO_s_mem()));
    if (!bio)
        return Fail(family, operation, "BIO_new failed", CRYPTO_ERROR_NO_MEMORY);
    const EVP_CIPHER *cipher = nullptr;
    if (password) {
        __wrap_OpenSSL_add_all_ciphers();
        cipher = __wrap_EVP_aes_128_cbc();
    }
    const int length = password ? static_cast<int>(strlen(password)) : 0;
    if (__wrap_PEM_write_bio_PKCS8PrivateKey(bio.get(), key.get(), cipher, password, length,
                                             RefusePassphrase, nullptr) != 1)
        return Fail(family, operation, "PEM_write_bio_PKCS8PrivateKey");
    return CopyBio(bio.get(), data, size);
}

CryptoError WritePublic(const Family &family, const char *operation, gpointer native, guint8 **data,
                        gsize *size) {
    const BioPtr bio(__wrap_BIO_new(__wrap_BIO_s_mem()));
    if (!bio)
        return Fail(family, operation, "BIO_new failed", CRYPTO_ERROR_NO_MEMORY);
    if (family.writePublic(bio.get(), native) != 1)
        return Fail(family, operation, "writing of the public key failed");
    return CopyBio(bio.get(), data, size);
}

/* The canonical text of a key. */
CryptoError WritePem(const Family &family, const char *operation, gpointer native, bool isPrivate,
                     const char *password, guint8 **data, gsize *size) {
    return isPrivate ? WritePrivate(family, operation, native, password, data, size)
                     : WritePublic(family, operation, native, data, size);
}

int BitsOfCipher(const Family &family, const char *cipherName) {
    for (int bits : family.bits) {
        char name[16];
        snprintf(name, sizeof name, "%s-%d", family.name, bits);
        if (strcmp(name, cipherName) == 0)
            return bits;
    }
    NOT_REACHED();
}

CryptoError FindCipher(const Family &family, gpointer native, CryptoCipher **cipher) {
    const int bits = family.getBits(native);
    if (std::ranges::find(family.bits, bits) == family.bits.end()) {
        Log("Crypto%s_Import: bit number not supported.\n", family.name);
        return CRYPTO_ERROR_UNKNOWN_ALGORITHM;
    }
    char name[16];
    snprintf(name, sizeof name, "%s-%d", family.name, bits);
    const CryptoError error = CryptoCipher_FromString(name, cipher);
    if (error != CRYPTO_ERROR_SUCCESS)
        Log("Crypto%s_Import: CryptoCipher_FromString failed.\n", family.name);
    return error;
}

} // namespace

void CryptoPublicKey_LogFailure(const CryptoPublicKeyFamily &family, const char *operation,
                                const char *step) {
    Log("Crypto%s_%s: call to %s, error code = 0x%x\n", family.name, operation, step,
        static_cast<guint>(__wrap_ERR_get_error()));
    __wrap_ERR_clear_error();
}

CryptoError CryptoPublicKey_Init(const CryptoPublicKeyFamily &family, CryptoKey *key) {
    StartOpenSSL();
    CryptoRandom_SSLSetOurRand();
    NativeKey native(family, nullptr);
    bool isPrivate;
    const CryptoError error =
        ReadPem(family, "InitKey", key->keyData, key->keySize, kNoPassphrase, &native, &isPrivate);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    key->native = native.release();
    key->hasPrivateKey = isPrivate;
    return CRYPTO_ERROR_SUCCESS;
}

CryptoError CryptoPublicKey_Generate(const CryptoPublicKeyFamily &family, CryptoCipher *cipher,
                                     guint8 **data, gsize *size) {
    *data = nullptr;
    *size = 0;
    const int bits = BitsOfCipher(family, cipher->name);
    StartOpenSSL();
    CryptoRandom_SSLSetOurRand();
    const NativeKey native(family, family.generate(bits));
    if (!native)
        return Fail(family, "GenerateKey", "the generator failed");
    return WritePrivate(family, "GenerateKey", native.get(), nullptr, data, size);
}

CryptoError CryptoPublicKey_GetPublic(const CryptoPublicKeyFamily &family, CryptoKey *key,
                                      guint8 **data, gsize *size) {
    *data = nullptr;
    *size = 0;
    return WritePublic(family, "GetPublicKey", key->native, data, size);
}

CryptoError CryptoPublicKey_Sign(const CryptoPublicKeyFamily &family, CryptoKey *key,
                                 CryptoHash *hash, const guint8 *digest, gsize digestSize,
                                 guint8 **sig, gsize *sigSize) {
    *sig = nullptr;
    *sigSize = 0;
    int nid;
    if (!CryptoHash_ToNID(hash, &nid))
        return CRYPTO_ERROR_INVALID_OPERATION;
    SecretBlock made =
        SecretBlock::Allocate(static_cast<gsize>(family.getSignatureSize(key->native)));
    if (!made)
        return CRYPTO_ERROR_NO_MEMORY;
    guint length = 0;
    if (family.sign(nid, digest, static_cast<guint>(digestSize), made.data(), &length,
                    key->native) != 1)
        return Fail(family, "Sign", "the signing function failed");
    return ReleasePart(std::move(made), length, sig, sigSize);
}

CryptoError CryptoPublicKey_Verify(const CryptoPublicKeyFamily &family, CryptoKey *key,
                                   CryptoHash *hash, const guint8 *digest, gsize digestSize,
                                   const guint8 *sig, gsize sigSize) {
    int nid;
    if (!CryptoHash_ToNID(hash, &nid))
        return CRYPTO_ERROR_INVALID_OPERATION;
    if (sigSize > G_MAXINT)
        return CRYPTO_ERROR_FAILED;
    if (family.verify(nid, digest, static_cast<guint>(digestSize), sig, static_cast<guint>(sigSize),
                      key->native) == 1)
        return CRYPTO_ERROR_SUCCESS;
    __wrap_ERR_clear_error(); // a wrong signature is an answer, not a failing step
    return CRYPTO_ERROR_FAILED;
}

CryptoError CryptoPublicKey_Import(const CryptoPublicKeyFamily &family, const char *text,
                                   gsize size, const char *password, CryptoKey **key) {
    *key = nullptr;
    StartOpenSSL();
    __wrap_OpenSSL_add_all_ciphers();
    NativeKey native(family, nullptr);
    bool isPrivate;
    CryptoError error =
        ReadPem(family, "Import", text, size, PassphraseOf(password), &native, &isPrivate);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    guint8 *data = nullptr;
    gsize dataSize = 0;
    error = WritePem(family, "Import", native.get(), isPrivate, nullptr, &data, &dataSize);
    const SecretBlock canonical(data, dataSize);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    CryptoCipher *cipher;
    error = FindCipher(family, native.get(), &cipher);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    error = CryptoKey_Create(cipher, canonical.data(), canonical.size(), key);
    if (error != CRYPTO_ERROR_SUCCESS)
        Log("Crypto%s_Import: CryptoKey_Create failed.\n", family.name);
    return error;
}

CryptoError CryptoPublicKey_Export(const CryptoPublicKeyFamily &family, CryptoKey *key,
                                   const char *password, char **text, gsize *size) {
    *text = nullptr;
    *size = 0;
    if (password && strlen(password) > kMaxPassphrase) {
        Log("Crypto%s_Export: a password of more than %u bytes could not be read back\n",
            family.name, static_cast<guint>(kMaxPassphrase));
        return CRYPTO_ERROR_BUFFER_SIZE;
    }
    NativeKey native(family, nullptr);
    bool isPrivate;
    CryptoError error =
        ReadPem(family, "Export", key->keyData, key->keySize, kNoPassphrase, &native, &isPrivate);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    guint8 *data = nullptr;
    error = WritePem(family, "Export", native.get(), isPrivate, password, &data, size);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    *text = reinterpret_cast<char *>(data);
    return CRYPTO_ERROR_SUCCESS;
}

CryptoError CryptoPublicKey_GetNative(CryptoKey *key, gpointer *native) {
    *native = key->native;
    return key->native ? CRYPTO_ERROR_SUCCESS : CRYPTO_ERROR_FAILED;
}
