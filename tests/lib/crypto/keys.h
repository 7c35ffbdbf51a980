/*
 * keys.h -- keys made at random, and their bytes
 */
#pragma once

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
