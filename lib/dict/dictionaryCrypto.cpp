// Encrypted dictionaries: the sealed part of a file, and the keys for it.
#include <cstdlib>
#include <cstring>

#include <crypto/crypto.h>

#include "lib/dict/dictionaryFile.h"
#include "lib/dict/dictionaryInt.h"
#include "lib/keyLocator/keySafe.h"
#include "lib/misc/base64.h"
#include "lib/misc/log.h"
#include "lib/misc/utilSafe.h"

namespace {

constexpr const char *kKeyedHash = "HMAC-SHA-1";

CryptoError FindKeyedHash(const char *caller, CryptoKeyedHash **hash) {
    const CryptoError error = CryptoKeyedHash_FromString(kKeyedHash, hash);
    if (error != CRYPTO_ERROR_SUCCESS)
        Warning("%s: CryptoKeyedHash_FromString failed: %s.\n", caller,
                CryptoError_ToString(error));
    return error;
}

/* Opens the text of the sealed part. Empty after a warning. */
SecretBlock DecryptData(const Dictionary *dictionary, const char *data) {
    constexpr const char *kFunction = "Dictionary_Unlock";
    guint8 *sealed = nullptr;
    gsize sealedSize = 0;
    if (!Base64_EasyDecode(data, &sealed, &sealedSize)) {
        Warning("%s: base-64 decoding failed", kFunction);
        return {};
    }
    const SecretBlock owner(sealed, sealedSize);
    CryptoKeyedHash *hash;
    if (FindKeyedHash(kFunction, &hash) != CRYPTO_ERROR_SUCCESS)
        return {};
    guint8 *plain = nullptr;
    gsize plainSize = 0;
    const CryptoError error =
        CryptoKey_DecryptWithMAC(dictionary->key, hash, sealed, sealedSize, &plain, &plainSize);
    if (error != CRYPTO_ERROR_SUCCESS) {
        Warning("%s: CryptoKey_DecryptWithMAC failed: %s.\n", kFunction,
                CryptoError_ToString(error));
        return {};
    }
    return {plain, plainSize};
}

bool IsSet(Dictionary *dictionary, const char *name) {
    return !Dictionary_NotSet(dictionary, name);
}

} // namespace

bool DictionaryEncryptData(const Dictionary *dictionary, std::string_view text, SecretText *safe,
                           SecretText *data) {
    constexpr const char *kFunction = "DictionaryEncryptData";
    CryptoKeyedHash *hash;
    if (FindKeyedHash(kFunction, &hash) != CRYPTO_ERROR_SUCCESS)
        return false;
    guint8 *sealed = nullptr;
    gsize sealedSize = 0;
    const CryptoError error = CryptoKey_EncryptWithMAC(dictionary->key, hash, text.data(),
                                                       text.size(), &sealed, &sealedSize);
    if (error != CRYPTO_ERROR_SUCCESS) {
        Warning("%s: error encrypting data: %s.\n", kFunction, CryptoError_ToString(error));
        return false;
    }
    const SecretBlock owner(sealed, sealedSize);
    char *encoded = nullptr;
    if (!Base64_EasyEncode(sealed, sealedSize, &encoded)) {
        Warning("%s: error encrypting data: %s.\n", kFunction,
                CryptoError_ToString(CRYPTO_ERROR_NO_MEMORY));
        return false;
    }
    data->reset(encoded);
    char *exported = nullptr;
    gsize exportedSize = 0;
    const KeySafeError safeError = KeySafe_Export(dictionary->keySafe, &exported, &exportedSize);
    if (safeError != 0) {
        Warning("%s: error exporting key safe: %s.\n", kFunction, KeySafeError_ToString(safeError));
        return false;
    }
    safe->reset(exported);
    return true;
}

void DictionaryFreeCryptoState(Dictionary *dictionary) {
    KeySafe_Destroy(dictionary->keySafe);
    CryptoKey_Free(dictionary->key);
    dictionary->keySafe = nullptr;
    dictionary->key = nullptr;
}

void Dictionary_Clear(Dictionary *dictionary) {
    Dictionary_ClearPreserveKeys(dictionary);
    DictionaryFreeCryptoState(dictionary);
}

gboolean Dictionary_IsEncrypted(Dictionary *dictionary) {
    return dictionary->keySafe != nullptr ||
           (Dictionary_IsDefined(dictionary, kDictionaryKeySafeName) &&
            Dictionary_IsDefined(dictionary, kDictionaryDataName));
}

gboolean Dictionary_Unlock(Dictionary *dictionary, KeyLocatorState *state, KeySafeUserRing *ring) {
    if (dictionary->keySafe != nullptr || !IsSet(dictionary, kDictionaryKeySafeName))
        return TRUE;
    if (state == nullptr && ring == nullptr)
        return FALSE;
    const SecretText safeText(Dict_GetString(dictionary, nullptr, "%s", kDictionaryKeySafeName));
    KeySafe *safe = nullptr;
    CryptoKey *key = nullptr;
    if (KeySafe_Unseal(state, safeText.get(), strlen(safeText.get()), ring, &safe, &key) != 0)
        return FALSE;
    dictionary->keySafe = safe;
    dictionary->key = key;
    if (!IsSet(dictionary, kDictionaryDataName)) {
        Dictionary_Unset(dictionary, kDictionaryKeySafeName);
        return TRUE;
    }
    const SecretText data(Dict_GetString(dictionary, nullptr, "%s", kDictionaryDataName));
    const SecretBlock plain = DecryptData(dictionary, data.get());
    if (!plain) {
        DictionaryFreeCryptoState(dictionary);
        return FALSE;
    }
    Dictionary_Unset(dictionary, kDictionaryKeySafeName);
    Dictionary_Unset(dictionary, kDictionaryDataName);
    /* entries of the unencrypted part are saved unencrypted again */
    for (DictionaryEntry *entry = dictionary->entryList.first; entry != nullptr;
         entry = entry->next)
        entry->plain = entry->plain || !entry->cleanSet;

    PendingMessages messages;
    DictionaryReadLines(dictionary, {reinterpret_cast<const char *>(plain.data()), plain.size()},
                        DictionaryLineEnds::Buffer, messages);
    return TRUE;
}

gboolean Dictionary_Rekey(Dictionary *dictionary, KeySafeUserRing *ring) {
    if (dictionary->keySafe == nullptr && Dictionary_IsEncrypted(dictionary)) {
        Warning("%s: called on a locked, encrypted dictionary.", "Dictionary_Rekey");
        Dictionary_Unset(dictionary, kDictionaryKeySafeName);
        Dictionary_Unset(dictionary, kDictionaryDataName);
    }
    DictionaryFreeCryptoState(dictionary);
    return ring == nullptr ||
           KeySafe_Seal(ring, &dictionary->key, &dictionary->keySafe, nullptr, nullptr) == 0;
}

gboolean Dictionary_CopyCryptoState(Dictionary *dictionary, const Dictionary *source) {
    KeySafe *safe = nullptr;
    if (source->keySafe != nullptr && KeySafe_Clone(source->keySafe, &safe) != 0)
        return FALSE;
    CryptoKey *key = source->key != nullptr ? CryptoKey_Clone(source->key) : nullptr;
    DictionaryFreeCryptoState(dictionary);
    dictionary->keySafe = safe;
    dictionary->key = key;
    return TRUE;
}

KeySafe *Dictionary_GetKeySafe(const Dictionary *dictionary) {
    return dictionary->keySafe;
}
