/*
 * cryptoDSA.cpp -- the operations of the DSA cipher
 */
#include "lib/crypto/cryptoPublicKey.h"

namespace {

constexpr int kBits[] = {1024};
constexpr const char *kPublicLabel = "DSA PUBLIC KEY";

DSA *AsDSA(gpointer native) {
    return static_cast<DSA *>(native);
}

gpointer ReadPrivate(BIO *bio, SSLPassphraseFn passphrase, void *data) {
    return __wrap_PEM_read_bio_DSAPrivateKey(bio, nullptr, passphrase, data);
}

/* OpenSSL gets the functions without the type of the key. */
gpointer ReadPublic(BIO *bio, SSLPassphraseFn passphrase, void *data) {
    return __wrap_PEM_ASN1_read_bio(reinterpret_cast<SSLDecodeFn>(__wrap_d2i_DSA_PUBKEY),
                                    kPublicLabel, bio, nullptr, passphrase, data);
}

int WritePublic(BIO *bio, gpointer native) {
    return __wrap_PEM_ASN1_write_bio(reinterpret_cast<SSLEncodeFn>(__wrap_i2d_DSA_PUBKEY),
                                     kPublicLabel, bio, native, nullptr, nullptr, 0, nullptr,
                                     nullptr);
}

int SetKey(EVP_PKEY *key, gpointer native) {
    return __wrap_EVP_PKEY_set1_DSA(key, AsDSA(native));
}

void FreeNative(gpointer native) {
    __wrap_DSA_free(AsDSA(native));
}

gpointer Generate(int bits) {
    DSA *dsa = __wrap_DSA_generate_parameters(bits, nullptr, 0, nullptr, nullptr, nullptr, nullptr);
    if (dsa && __wrap_DSA_generate_key(dsa) != 1) {
        FreeNative(dsa);
        return nullptr;
    }
    return dsa;
}

/* The size of the prime, which only the general key knows; 0 without memory. */
int GetBits(gpointer native) {
    EVP_PKEY *key = __wrap_EVP_PKEY_new();
    if (!key)
        return 0;
    const int bits = SetKey(key, native) == 1 ? __wrap_EVP_PKEY_bits(key) : 0;
    __wrap_EVP_PKEY_free(key);
    return bits;
}

int GetSignatureSize(gpointer native) {
    return __wrap_DSA_size(AsDSA(native));
}

/* OpenSSL does not look at the digest's name. */
int SignDigest(int nid, const guint8 *digest, guint digestSize, guint8 *sig, guint *sigSize,
               gpointer native) {
    return __wrap_DSA_sign(nid, digest, static_cast<int>(digestSize), sig, sigSize, AsDSA(native));
}

int VerifyDigest(int nid, const guint8 *digest, guint digestSize, const guint8 *sig, guint sigSize,
                 gpointer native) {
    return __wrap_DSA_verify(nid, digest, static_cast<int>(digestSize), sig,
                             static_cast<int>(sigSize), AsDSA(native));
}

constexpr CryptoPublicKeyFamily kDSA = {
    .name = "DSA",
    .readPublicFunction = "PEM_ASN1_read_bio",
    .bits = kBits,
    .readPrivate = ReadPrivate,
    .readPublic = ReadPublic,
    .writePublic = WritePublic,
    .setKey = SetKey,
    .generate = Generate,
    .freeNative = FreeNative,
    .getBits = GetBits,
    .getSignatureSize = GetSignatureSize,
    .sign = SignDigest,
    .verify = VerifyDigest,
};

} // namespace

CryptoError CryptoDSA_InitKey(CryptoKey *key) {
    return CryptoPublicKey_Init(kDSA, key);
}

CryptoError CryptoDSA_GenerateKey(CryptoCipher *cipher, guint8 **data, gsize *size) {
    return CryptoPublicKey_Generate(kDSA, cipher, data, size);
}

CryptoError CryptoDSA_GetPublicKey(CryptoKey *key, guint8 **data, gsize *size) {
    return CryptoPublicKey_GetPublic(kDSA, key, data, size);
}

void CryptoDSA_FreeKey(CryptoKey *key) {
    FreeNative(key->native);
}

CryptoError CryptoDSA_Sign(CryptoKey *key, CryptoHash *hash, const guint8 *digest, gsize digestSize,
                           guint8 **sig, gsize *sigSize) {
    return CryptoPublicKey_Sign(kDSA, key, hash, digest, digestSize, sig, sigSize);
}

CryptoError CryptoDSA_Verify(CryptoKey *key, CryptoHash *hash, const guint8 *digest,
                             gsize digestSize, const guint8 *sig, gsize sigSize) {
    return CryptoPublicKey_Verify(kDSA, key, hash, digest, digestSize, sig, sigSize);
}

CryptoError CryptoDSA_Import(const char *text, gsize size, const char *password, CryptoKey **key) {
    return CryptoPublicKey_Import(kDSA, text, size, password, key);
}

CryptoError CryptoDSA_Export(CryptoKey *key, const char *password, char **text, gsize *size) {
    return CryptoPublicKey_Export(kDSA, key, password, text, size);
}

CryptoError CryptoDSA_GetNative(CryptoKey *key, gpointer *native) {
    return CryptoPublicKey_GetNative(key, native);
}
