/*
 * cryptoRSA.cpp -- the operations of the RSA ciphers
 */
#include "lib/crypto/cryptoOwner.h"
#include "lib/crypto/cryptoPublicKey.h"
#include "lib/misc/panic.h"

namespace {

constexpr int kBits[] = {512, 1024, 2048, 4096};
constexpr unsigned long kExponent = 0x10001;

RSA *AsRSA(gpointer native) {
    return static_cast<RSA *>(native);
}

gpointer ReadPrivate(BIO *bio, SSLPassphraseFn passphrase, void *data) {
    return __wrap_PEM_read_bio_RSAPrivateKey(bio, nullptr, passphrase, data);
}

gpointer ReadPublic(BIO *bio, SSLPassphraseFn passphrase, void *data) {
    return __wrap_PEM_read_bio_RSAPublicKey(bio, nullptr, passphrase, data);
}

int WritePublic(BIO *bio, gpointer native) {
    return __wrap_PEM_write_bio_RSAPublicKey(bio, AsRSA(native));
}

int SetKey(EVP_PKEY *key, gpointer native) {
    return __wrap_EVP_PKEY_set1_RSA(key, AsRSA(native));
}

gpointer Generate(int bits) {
    return __wrap_RSA_generate_key(bits, kExponent, nullptr, nullptr);
}

void FreeNative(gpointer native) {
    __wrap_RSA_free(AsRSA(native));
}

int GetBits(gpointer native) {
    return __wrap_RSA_size(AsRSA(native)) * 8;
}

int GetSize(gpointer native) {
    return __wrap_RSA_size(AsRSA(native));
}

int SignDigest(int nid, const guint8 *digest, guint digestSize, guint8 *sig, guint *sigSize,
               gpointer native) {
    return __wrap_RSA_sign(nid, digest, digestSize, sig, sigSize, AsRSA(native));
}

int VerifyDigest(int nid, const guint8 *digest, guint digestSize, const guint8 *sig, guint sigSize,
                 gpointer native) {
    return __wrap_RSA_verify(nid, digest, digestSize, sig, sigSize, AsRSA(native));
}

constexpr CryptoPublicKeyFamily kRSA = {
    .name = "RSA",
    .readPublicFunction = "PEM_read_bio_RSAPublicKey",
    .bits = kBits,
    .readPrivate = ReadPrivate,
    .readPublic = ReadPublic,
    .writePublic = WritePublic,
    .setKey = SetKey,
    .generate = Generate,
    .freeNative = FreeNative,
    .getBits = GetBits,
    .getSignatureSize = GetSize,
    .sign = SignDigest,
    .verify = VerifyDigest,
};

/* A padding as OpenSSL calls it, and from which size on data does not fit: one byte less than it could be. */
struct Padding {
    int number;
    gsize overhead;
};

Padding PaddingOf(CryptoRSAPadding padding) {
    switch (padding) {
    case CRYPTO_RSA_PADDING_PKCS1:
        return {RSA_PKCS1_PADDING, 11};
    case CRYPTO_RSA_PADDING_DEFAULT:
    case CRYPTO_RSA_PADDING_OAEP:
        return {RSA_PKCS1_OAEP_PADDING, 41};
    }
    NOT_REACHED();
}

} // namespace

CryptoError CryptoRSA_InitKey(CryptoKey *key) {
    return CryptoPublicKey_Init(kRSA, key);
}

CryptoError CryptoRSA_GenerateKey(CryptoCipher *cipher, guint8 **data, gsize *size) {
    return CryptoPublicKey_Generate(kRSA, cipher, data, size);
}

CryptoError CryptoRSA_GetPublicKey(CryptoKey *key, guint8 **data, gsize *size) {
    return CryptoPublicKey_GetPublic(kRSA, key, data, size);
}

void CryptoRSA_FreeKey(CryptoKey *key) {
    FreeNative(key->native);
}

CryptoError CryptoRSA_PKEncrypt(CryptoKey *key, CryptoRSAPadding padding, const guint8 *in,
                                gsize inSize, guint8 **out, gsize *outSize) {
    *out = nullptr;
    *outSize = 0;
    const Padding chosen = PaddingOf(padding);
    const int modulusSize = GetSize(key->native);
    const auto size = static_cast<gsize>(modulusSize);
    if (inSize >= size || inSize + chosen.overhead >= size)
        return CRYPTO_ERROR_BUFFER_SIZE;
    SecretBlock made = SecretBlock::Allocate(size);
    if (!made)
        return CRYPTO_ERROR_NO_MEMORY;
    if (__wrap_RSA_public_encrypt(static_cast<int>(inSize), in, made.data(), AsRSA(key->native),
                                  chosen.number) != modulusSize) {
        CryptoPublicKey_LogFailure(kRSA, "PKEncrypt", "RSA_public_encrypt failed");
        return CRYPTO_ERROR_FAILED;
    }
    *out = made.release(outSize);
    return CRYPTO_ERROR_SUCCESS;
}

CryptoError CryptoRSA_PKDecrypt(CryptoKey *key, CryptoRSAPadding padding, const guint8 *in,
                                gsize *inSize, guint8 **out, gsize *outSize) {
    *out = nullptr;
    *outSize = 0;
    const Padding chosen = PaddingOf(padding);
    const int modulusSize = GetSize(key->native);
    const auto size = static_cast<gsize>(modulusSize);
    if (*inSize < size)
        return CRYPTO_ERROR_BUFFER_SIZE;
    *inSize = size;
    SecretBlock made = SecretBlock::Allocate(size);
    if (!made)
        return CRYPTO_ERROR_NO_MEMORY;
    const int length =
        __wrap_RSA_private_decrypt(modulusSize, in, made.data(), AsRSA(key->native), chosen.number);
    if (length < 0 || length >= modulusSize) {
        CryptoPublicKey_LogFailure(kRSA, "PKDecrypt", "RSA_private_decrypt failed");
        return CRYPTO_ERROR_FAILED;
    }
    return ReleasePart(std::move(made), static_cast<gsize>(length), out, outSize);
}

CryptoError CryptoRSA_Sign(CryptoKey *key, CryptoHash *hash, const guint8 *digest, gsize digestSize,
                           guint8 **sig, gsize *sigSize) {
    return CryptoPublicKey_Sign(kRSA, key, hash, digest, digestSize, sig, sigSize);
}

CryptoError CryptoRSA_Verify(CryptoKey *key, CryptoHash *hash, const guint8 *digest,
                             gsize digestSize, const guint8 *sig, gsize sigSize) {
    return CryptoPublicKey_Verify(kRSA, key, hash, digest, digestSize, sig, sigSize);
}

CryptoError CryptoRSA_Import(const char *text, gsize size, const char *password, CryptoKey **key) {
    return CryptoPublicKey_Import(kRSA, text, size, password, key);
}

CryptoError CryptoRSA_Export(CryptoKey *key, const char *password, char **text, gsize *size) {
    return CryptoPublicKey_Export(kRSA, key, password, text, size);
}

CryptoError CryptoRSA_GetNative(CryptoKey *key, gpointer *native) {
    return CryptoPublicKey_GetNative(key, native);
}
