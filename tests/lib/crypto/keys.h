/*
 * keys.h -- keys made at random, and their bytes and texts
 */
#pragma once

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "lib/crypto/cryptoOwner.h"

inline CryptoKeyPtr NewKey(const char *cipherName = "AES-128") {
    CryptoCipher *cipher;
    EXPECT_EQ(0u, CryptoCipher_FromString(cipherName, &cipher));
    CryptoKeyPtr key;
    EXPECT_EQ(0u, CryptoKey_Generate(cipher, CryptoOut(key))) << cipherName;
    return key;
}

inline std::string BytesOf(const CryptoKey *key) {
    const guint8 *data;
    gsize size;
    CryptoKey_GetKeyData(key, &data, &size);
    return {reinterpret_cast<const char *>(data), size};
}

inline std::string Export(CryptoKey *key, const char *password = nullptr) {
    CryptoText text;
    gsize size = 0;
    EXPECT_EQ(0u, CryptoKey_Export(key, password, CryptoOut(text), &size));
    EXPECT_EQ(strlen(text.get()), size);
    return text.get();
}

inline CryptoError Import(const std::string &text, const char *password, CryptoKeyPtr *key) {
    return CryptoKey_Import(text.data(), text.size(), password, CryptoOut(*key));
}
