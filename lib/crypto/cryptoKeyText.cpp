/*
 * cryptoKeyText.cpp -- keys as text
 *
 *   of a symmetric key     type=key:cipher=AES-128:key=BASE64       a dictionary in one line
 *   under a password       type=wrappedData:...                     that text, see cryptoPassword.cpp
 *   of a public-key cipher the PEM text of cryptoPublicKey.cpp
 */
#include <crypto/cryptoKey.h>

#include <cstring>
#include <string_view>

#include <crypto/cryptoDict.h>
#include <crypto/cryptoPassword.h>

#include "lib/crypto/cryptoInt.h"
#include "lib/crypto/cryptoOwner.h"
#include "lib/misc/log.h"

namespace {

CryptoError ExportPlain(const CryptoKey *key, char **text, gsize *size) {
    CryptoDictPtr dict;
    const CryptoError error = CryptoDict_Create(CryptoOut(dict));
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    CryptoDict_Set(dict.get(), "type", "key");
    CryptoDict_Set(dict.get(), "cipher", key->cipher->name);
    CryptoDict_SetBase64(dict.get(), "key", key->keyData, key->keySize);
    if (CryptoDict_HadSetError(dict.get()))
        return CRYPTO_ERROR_NO_MEMORY;
    return CryptoDict_Export(dict.get(), FALSE, text, size);
}

CryptoError ImportEncryptedKey(const char *text, gsize size, const char *password,
                               CryptoKey **key) {
    if (!password) {
        Log("%s: cannot import encrypted key without password\n", "ImportEncryptedKey");
        return CRYPTO_ERROR_PASSWORD_REQUIRED;
    }
    guint8 *data;
    gsize dataSize;
    const CryptoError error =
        Crypto_PasswordUnwrapData(password, strlen(password), text, size, &data, &dataSize);
    const SecretBlock inner(data, dataSize);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    return CryptoKey_Import(reinterpret_cast<const char *>(inner.data()), inner.size(), nullptr,
                            key);
}

CryptoError ImportPlain(const CryptoDict *dict, CryptoKey **key) {
    CryptoCipher *cipher;
    CryptoError error = CryptoCipher_FromString(CryptoDict_Get(dict, "cipher"), &cipher);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    guint8 *data;
    gsize size;
    error = CryptoDict_GetBase64(dict, "key", &data, &size);
    const SecretBlock raw(data, size);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    return CryptoKey_Create(cipher, raw.data(), raw.size(), key);
}

CryptoError CryptoKey_DefaultImport(const char *text, gsize size, const char *password,
                                    CryptoKey **key) {
    CryptoDictPtr dict;
    const CryptoError error = CryptoDict_CreateAndImport(text, size, CryptoOut(dict));
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    const std::string_view type = CryptoDict_Get(dict.get(), "type");
    if (type == "wrappedData")
        return ImportEncryptedKey(text, size, password, key);
    if (type == "key")
        return ImportPlain(dict.get(), key);
    return CRYPTO_ERROR_UNKNOWN_ALGORITHM;
}

} // namespace

CryptoError CryptoKey_Export(CryptoKey *key, const char *password, char **text, gsize *size) {
    *text = nullptr;
    *size = 0;
    if (key->cipher->exportKey)
        return key->cipher->exportKey(key, password, text, size);
    if (!password)
        return ExportPlain(key, text, size);
    CryptoText inner;
    gsize innerSize;
    const CryptoError error = ExportPlain(key, CryptoOut(inner), &innerSize);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    return Crypto_PasswordWrapData(password, strlen(password), inner.get(), innerSize, text, size);
}

CryptoError CryptoKey_Import(const char *text, gsize size, const char *password, CryptoKey **key) {
    *key = nullptr;
    if (CryptoKey_DefaultImport(text, size, password, key) == CRYPTO_ERROR_SUCCESS)
        return CRYPTO_ERROR_SUCCESS;

    CryptoError last = CRYPTO_ERROR_FAILED;
    decltype(CryptoCipherRow::importKey) tried = nullptr;
    for (CryptoCipher *const *row = allCiphers; *row; row++) {
        const auto importKey = (*row)->importKey;
        /* the ciphers of a family share one operation, whose result would be the same */
        if (!importKey || importKey == tried)
            continue;
        tried = importKey;
        const CryptoError error = importKey(text, size, password, key);
        if (error == CRYPTO_ERROR_SUCCESS)
            return error;
        /* a family that does not know the text at all must not hide why another one refused it */
        last = error == CRYPTO_ERROR_FAILED ? last : error;
    }
    return last;
}
