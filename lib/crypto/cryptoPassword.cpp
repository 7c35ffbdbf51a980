/*
 * cryptoPassword.cpp -- keys made of passwords, and data under a password
 *
 *   wrapped   type=wrappedData:pass2key=NAME:cipher=NAME:rounds=DECIMAL:salt=BASE64:mac=NAME:data=BASE64
 *
 * "data" is an encrypt-with-MAC record (cryptoKey.cpp) under the key that is derived. Writing uses the constants below;
 * reading takes what the text says.
 */
#include <crypto/cryptoPassword.h>

#include <cstring>

#include <crypto/cryptoDict.h>
#include <crypto/cryptoRandom.h>

#include "lib/crypto/cryptoInt.h"
#include "lib/crypto/cryptoOwner.h"
#include "lib/crypto/cryptoRounds.h"
#include "lib/crypto/manglePassphraseSalt.h"
#include "lib/misc/base64.h"
#include "lib/misc/log.h"

namespace {

constexpr int kWrapRounds = 1000;
constexpr gsize kSaltSize = 8;

/* What a wrapped text says. */
struct Wrapped {
    CryptoPass2Key *pass2key = nullptr;
    CryptoCipher *cipher = nullptr;
    guint32 rounds = 0;
    SecretBlock salt;
    CryptoKeyedHash *mac = nullptr;
    SecretBlock data;
};

CryptoError ReadBlock(const CryptoDict *dict, const char *key, SecretBlock *block) {
    guint8 *data;
    gsize size;
    const CryptoError error = CryptoDict_GetBase64(dict, key, &data, &size);
    *block = SecretBlock(data, size);
    return error;
}

/* Reads all fields. The first failure in this order is the result. */
CryptoError ReadWrapped(const CryptoDict *dict, Wrapped *wrapped) {
    const CryptoError errors[] = {
        CryptoPass2Key_FromString(CryptoDict_Get(dict, "pass2key"), &wrapped->pass2key),
        CryptoCipher_FromString(CryptoDict_Get(dict, "cipher"), &wrapped->cipher),
        CryptoDict_GetUint32(dict, "rounds", &wrapped->rounds),
        ReadBlock(dict, "salt", &wrapped->salt),
        CryptoKeyedHash_FromString(CryptoDict_Get(dict, "mac"), &wrapped->mac),
        ReadBlock(dict, "data", &wrapped->data),
    };
    for (CryptoError error : errors) {
        if (error != CRYPTO_ERROR_SUCCESS)
            return error;
    }
    return CRYPTO_ERROR_SUCCESS;
}

/* A new salt belongs to the caller, an old one is only read. */
CryptoError DeriveKey(CryptoPass2Key *pass2key, CryptoCipher *cipher, int rounds,
                      gconstpointer password, gsize passwordSize, const guint8 *salt,
                      gsize saltSize, SecretBlock *key) {
    if (rounds < 1) {
        Log("%s: at least one round required (%d requested)\n", "CryptoPass2Key_Compute", rounds);
        return CRYPTO_ERROR_FAILED;
    }
    if (cipher->type != CRYPTO_CIPHER_SYMMETRIC)
        return CRYPTO_ERROR_INVALID_OPERATION; // has no key size
    *key = SecretBlock::Allocate(cipher->keySize);
    if (!*key)
        return CRYPTO_ERROR_NO_MEMORY;
    return pass2key->compute(rounds, static_cast<const guint8 *>(password), passwordSize, salt,
                             saltSize, key->data(), key->size());
}

CryptoError ExportWrapped(CryptoCipher *cipher, const SecretBlock &salt, const SecretBlock &record,
                          char **text, gsize *textSize) {
    CryptoDictPtr dict;
    const CryptoError error = CryptoDict_Create(CryptoOut(dict));
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    CryptoDict_Set(dict.get(), "type", "wrappedData");
    CryptoDict_Set(dict.get(), "pass2key",
                   CryptoPass2Key_ToString(CryptoPass2Key_PBKDF2_HMAC_SHA_1));
    CryptoDict_Set(dict.get(), "cipher", CryptoCipher_ToString(cipher));
    CryptoDict_SetUint32(dict.get(), "rounds", kWrapRounds);
    CryptoDict_SetBase64(dict.get(), "salt", salt.data(), salt.size());
    CryptoDict_Set(dict.get(), "mac", CryptoKeyedHash_ToString(CryptoKeyedHash_HMAC_SHA_1));
    CryptoDict_SetBase64(dict.get(), "data", record.data(), record.size());
    if (CryptoDict_HadSetError(dict.get()))
        return CRYPTO_ERROR_NO_MEMORY;
    return CryptoDict_Export(dict.get(), FALSE, text, textSize);
}

} // namespace

CryptoError CryptoPass2Key_Compute(CryptoPass2Key *pass2key, CryptoCipher *cipher, int rounds,
                                   gconstpointer password, gsize passwordSize, guint8 **salt,
                                   gsize *saltSize, guint8 **key, gsize *keySize) {
    *key = nullptr;
    *keySize = 0;
    SecretBlock made;
    if (!*salt) {
        *saltSize = 0;
        made = SecretBlock::Allocate(kSaltSize);
        if (!made)
            return CRYPTO_ERROR_NO_MEMORY;
        const CryptoError error = CryptoRandom_GetBytes(made.data(), made.size());
        if (error != CRYPTO_ERROR_SUCCESS)
            return error;
    }
    SecretBlock derived;
    const CryptoError error =
        DeriveKey(pass2key, cipher, rounds, password, passwordSize, made ? made.data() : *salt,
                  made ? made.size() : *saltSize, &derived);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    if (made)
        *salt = made.release(saltSize);
    *key = derived.release(keySize);
    return CRYPTO_ERROR_SUCCESS;
}

CryptoError CryptoPass2Key_MakeKey(CryptoPass2Key *pass2key, CryptoCipher *cipher, int rounds,
                                   gconstpointer password, gsize passwordSize, guint8 **salt,
                                   gsize *saltSize, CryptoKey **key) {
    *key = nullptr;
    const bool isSaltNew = !*salt;
    guint8 *data;
    gsize size;
    CryptoError error = CryptoPass2Key_Compute(pass2key, cipher, rounds, password, passwordSize,
                                               salt, saltSize, &data, &size);
    const SecretBlock raw(data, size);
    if (error == CRYPTO_ERROR_SUCCESS)
        error = CryptoKey_Create(cipher, raw.data(), raw.size(), key);
    if (error != CRYPTO_ERROR_SUCCESS && isSaltNew) {
        Crypto_Free(*salt, *saltSize);
        *salt = nullptr;
        *saltSize = 0;
    }
    return error;
}

CryptoError Crypto_PasswordWrapData(gconstpointer password, gsize passwordSize, gconstpointer data,
                                    gsize dataSize, char **text, gsize *textSize) {
    *text = nullptr;
    *textSize = 0;
    CryptoCipher *cipher = CryptoCipherAES_128;
    guint8 *bytes = nullptr;
    gsize size = 0;
    CryptoKeyPtr key;
    CryptoError error =
        CryptoPass2Key_MakeKey(CryptoPass2Key_PBKDF2_HMAC_SHA_1, cipher, kWrapRounds, password,
                               passwordSize, &bytes, &size, CryptoOut(key));
    const SecretBlock salt(bytes, size);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    error = CryptoKey_EncryptWithMAC(key.get(), CryptoKeyedHash_HMAC_SHA_1, data, dataSize, &bytes,
                                     &size);
    const SecretBlock record(bytes, size);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    return ExportWrapped(cipher, salt, record, text, textSize);
}

CryptoError Crypto_PasswordUnwrapData(gconstpointer password, gsize passwordSize, const char *text,
                                      gsize textSize, guint8 **data, gsize *dataSize) {
    *data = nullptr;
    *dataSize = 0;
    CryptoDictPtr dict;
    CryptoError error = CryptoDict_CreateAndImport(text, textSize, CryptoOut(dict));
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    Wrapped wrapped;
    error = ReadWrapped(dict.get(), &wrapped);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    if (!StoredRounds_Take(wrapped.rounds)) {
        Log("%s: %u rounds are more than the %u that are allowed\n", "Crypto_PasswordUnwrapData",
            wrapped.rounds, kMaxStoredRounds);
        return CRYPTO_ERROR_FAILED;
    }
    guint8 *salt = wrapped.salt.data();
    gsize saltSize = wrapped.salt.size();
    CryptoKeyPtr key;
    error =
        CryptoPass2Key_MakeKey(wrapped.pass2key, wrapped.cipher, static_cast<int>(wrapped.rounds),
                               password, passwordSize, &salt, &saltSize, CryptoOut(key));
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    error = CryptoKey_DecryptWithMAC(key.get(), wrapped.mac, wrapped.data.data(),
                                     wrapped.data.size(), data, dataSize);
    if (error == CRYPTO_ERROR_SUCCESS)
        return error;
    Log("%s: decryption failed\n", "Crypto_PasswordUnwrapData");
    return CRYPTO_ERROR_WRONG_PASSWORD;
}

CryptoError Crypto_ManglePassphrase(gconstpointer passphrase, gsize size, char **out) {
    *out = nullptr;
    SecretBlock key;
    const CryptoError error =
        DeriveKey(CryptoPass2Key_PBKDF2_HMAC_SHA_1, CryptoCipherAES_128, kWrapRounds, passphrase,
                  size, kManglePassphraseSalt.data(), kManglePassphraseSalt.size(), &key);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    return Base64_EasyEncode(key.data(), key.size(), out) ? CRYPTO_ERROR_SUCCESS
                                                          : CRYPTO_ERROR_NO_MEMORY;
}

void Crypto_InitializeEncryptedPassword(CryptoEncryptedPassword *record) {
    *record = {};
}

gboolean Crypto_EncryptPassword(gconstpointer plain, gsize size, CryptoEncryptedPassword *record) {
    *record = {};
    CryptoKeyPtr key;
    CryptoError error = CryptoKey_Generate(CryptoCipherAES_128, CryptoOut(key));
    if (error == CRYPTO_ERROR_SUCCESS)
        error = CryptoKey_EncryptWithMAC(key.get(), CryptoKeyedHash_HMAC_SHA_1, plain, size,
                                         &record->data, &record->size);
    if (error != CRYPTO_ERROR_SUCCESS)
        return FALSE;
    record->key = key.release();
    return TRUE;
}

gpointer Crypto_DecryptPassword(const CryptoEncryptedPassword *record, gsize *size) {
    *size = 0;
    if (!record->data || !record->key)
        return nullptr;
    /* a record that cannot be decrypted is like one without a password */
    guint8 *plain;
    CryptoKey_DecryptWithMAC(record->key, CryptoKeyedHash_HMAC_SHA_1, record->data, record->size,
                             &plain, size);
    return plain;
}

void Crypto_ClearEncryptedPassword(CryptoEncryptedPassword *record) {
    Crypto_Free(record->data, record->size);
    CryptoKey_Free(record->key);
    *record = {};
}
