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

} // namespace

CryptoCipher *const CryptoCipherAES_128 = &kAES128;
CryptoCipher *const CryptoCipherAES_192 = &kAES192;
CryptoCipher *const CryptoCipherAES_256 = &kAES256;

CryptoCipher *const allCiphers[] = {&kAES128, &kAES192, &kAES256, nullptr};

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
