// lib/crypto/cryptoCipher.cpp: the ciphers
#include "lib/crypto/cryptoInt.h"

namespace {

constexpr CryptoCipherRow AESRow(const char *name, gsize keySize) {
    return {.name = name,
            .type = CRYPTO_CIPHER_SYMMETRIC,
            .ivSize = 16,
            .keySize = keySize,
            .initKey = CryptoAES_InitKey,
            .generateKey = CryptoAES_GenerateKey,
            .freeKey = CryptoAES_FreeKey,
            .ecbEncrypt = CryptoAES_ECBEncrypt,
            .ecbDecrypt = CryptoAES_ECBDecrypt,
            .cbcEncrypt = CryptoAES_CBCEncrypt,
            .cbcDecrypt = CryptoAES_CBCDecrypt};
}

constexpr CryptoCipherRow kAES128 = AESRow("AES-128", 16);
constexpr CryptoCipherRow kAES192 = AESRow("AES-192", 24);
constexpr CryptoCipherRow kAES256 = AESRow("AES-256", 32);

/* Sizes mean nothing to a public-key cipher. */
constexpr CryptoCipherRow RSARow(const char *name) {
    return {.name = name,
            .type = CRYPTO_CIPHER_PUBLIC_KEY,
            .ivSize = G_MAXSIZE,
            .keySize = G_MAXSIZE,
            .initKey = CryptoRSA_InitKey,
            .generateKey = CryptoRSA_GenerateKey,
            .getPublicKey = CryptoRSA_GetPublicKey,
            .freeKey = CryptoRSA_FreeKey,
            .pkEncrypt = CryptoRSA_PKEncrypt,
            .pkDecrypt = CryptoRSA_PKDecrypt,
            .sign = CryptoRSA_Sign,
            .verify = CryptoRSA_Verify,
            .importKey = CryptoRSA_Import,
            .exportKey = CryptoRSA_Export,
            .getNative = CryptoRSA_GetNative};
}

constexpr CryptoCipherRow kRSA512 = RSARow("RSA-512");
constexpr CryptoCipherRow kRSA1024 = RSARow("RSA-1024");
constexpr CryptoCipherRow kRSA2048 = RSARow("RSA-2048");
constexpr CryptoCipherRow kRSA4096 = RSARow("RSA-4096");

constexpr CryptoCipherRow kDSA1024 = {.name = "DSA-1024",
                                      .type = CRYPTO_CIPHER_PUBLIC_KEY,
                                      .ivSize = G_MAXSIZE,
                                      .keySize = G_MAXSIZE,
                                      .initKey = CryptoDSA_InitKey,
                                      .generateKey = CryptoDSA_GenerateKey,
                                      .getPublicKey = CryptoDSA_GetPublicKey,
                                      .freeKey = CryptoDSA_FreeKey,
                                      .sign = CryptoDSA_Sign,
                                      .verify = CryptoDSA_Verify,
                                      .importKey = CryptoDSA_Import,
                                      .exportKey = CryptoDSA_Export,
                                      .getNative = CryptoDSA_GetNative};

} // namespace

CryptoCipher *const CryptoCipherAES_128 = &kAES128;
CryptoCipher *const CryptoCipherAES_192 = &kAES192;
CryptoCipher *const CryptoCipherAES_256 = &kAES256;

CryptoCipher *const allCiphers[] = {&kAES128,  &kAES192,  &kAES256,  &kRSA512, &kRSA1024,
                                    &kRSA2048, &kRSA4096, &kDSA1024, nullptr};

CryptoError CryptoCipher_FromString(const char *name, CryptoCipher **cipher) {
    *cipher = CryptoFindRow(allCiphers, name);
    return *cipher != nullptr ? CRYPTO_ERROR_SUCCESS : CRYPTO_ERROR_UNKNOWN_ALGORITHM;
}

const char *CryptoCipher_ToString(CryptoCipher *cipher) {
    return cipher->name;
}

CryptoCipherType CryptoCipher_GetType(CryptoCipher *cipher) {
    return cipher->type;
}

gsize CryptoCipher_GetIVSize(CryptoCipher *cipher) {
    return cipher->ivSize;
}
