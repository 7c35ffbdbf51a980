/*
 * keys.h -- keys of given or random bytes, and their bytes and texts
 */
#pragma once

#include <cstring>

#include <gtest/gtest.h>

#include "lib/crypto/cryptoOwner.h"
#include "lib/misc/base64.h"
#include "tests/lib/crypto/bytes.h"

/* Calls a function whose last argument is the out of an owner. It must succeed. */
template <class Owner, class Function, class... Arguments>
Owner Owned(Function function, Arguments... arguments) {
    Owner owner;
    EXPECT_EQ(0u, function(arguments..., CryptoOut(owner)));
    return owner;
}

/* The same for a text and its size. */
template <class Function, class... Arguments>
std::string OwnedText(Function function, Arguments... arguments) {
    CryptoText text;
    gsize size = 0;
    EXPECT_EQ(0u, function(arguments..., CryptoOut(text), &size));
    EXPECT_EQ(strlen(text.get()), size);
    return text.get();
}

inline CryptoKeyPtr NewKey(const char *cipherName = "AES-128") {
    CryptoCipher *cipher;
    EXPECT_EQ(0u, CryptoCipher_FromString(cipherName, &cipher));
    return Owned<CryptoKeyPtr>(CryptoKey_Generate, cipher);
}

inline CryptoKeyPtr KeyOf(CryptoCipher *cipher, const Bytes &bytes) {
    return Owned<CryptoKeyPtr>(CryptoKey_Create, cipher, bytes.data(), bytes.size());
}

inline Bytes HmacSha1(const Bytes &key, const Bytes &data) {
    Bytes mac(20);
    CryptoKeyedHash_Compute(CryptoKeyedHash_HMAC_SHA_1, key.data(), key.size(), data.data(),
                            data.size(), mac.data(), mac.size());
    return mac;
}

struct Result {
    CryptoError error;
    Bytes bytes;
    std::string Text() const { return {bytes.begin(), bytes.end()}; }
};

/* Takes over a block. After a failure the outs must be cleared. */
inline Result Take(CryptoError error, guint8 *data, gsize size) {
    const SecretBlock owner(data, size);
    EXPECT_EQ(error == 0, data != nullptr);
    EXPECT_TRUE(error == 0 || size == 0);
    return {error, Bytes(data, data + size)};
}

inline std::string Base64(const std::string &bytes) {
    char *text;
    EXPECT_TRUE(
        Base64_EasyEncode(reinterpret_cast<const guint8 *>(bytes.data()), bytes.size(), &text));
    const CryptoText owner(text);
    return text;
}

/* Calls a function whose last two arguments are the outs of a block. */
template <class Function, class... Arguments>
Result Made(Function function, Arguments... arguments) {
    auto *data = reinterpret_cast<guint8 *>(1);
    gsize size = 99;
    const CryptoError error = function(arguments..., &data, &size);
    return Take(error, data, size);
}

inline std::string BytesOf(const CryptoKey *key) {
    const guint8 *data;
    gsize size;
    CryptoKey_GetKeyData(key, &data, &size);
    return {reinterpret_cast<const char *>(data), size};
}

inline std::string Export(CryptoKey *key, const char *password = nullptr) {
    return OwnedText(CryptoKey_Export, key, password);
}

inline CryptoError Import(const std::string &text, const char *password, CryptoKeyPtr *key) {
    return CryptoKey_Import(text.data(), text.size(), password, CryptoOut(*key));
}
