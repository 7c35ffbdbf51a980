/*
 * keyLocatorCache.cpp -- states, and the keys that they keep by the ids of locators
 *
 *   exported   size=2:uniqueId0=ID:expKey0=BASE64:uniqueId1=ID:expKey1=BASE64      newest first
 *
 * "expKey" is CryptoKey_Export() under the wrap passphrase of locators.
 */
#include "lib/crypto/cryptoRounds.h"
#include "lib/keyLocator/keyLocatorInt.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <crypto/cryptoDict.h>

#include "lib/keyLocator/keyLocatorWrapPassphrase.h"

namespace {

constexpr guint32 kMaxEntries = 50;

/* Holds the lock of a state. */
class Hold {
public:
    explicit Hold(KeyLocatorState *of) : state(of) {
        MXUser_AcquireExclLock(state->lock);
        state->isHeld = TRUE;
    }
    Hold(const Hold &) = delete;
    Hold &operator=(const Hold &) = delete;
    ~Hold() {
        state->isHeld = FALSE;
        MXUser_ReleaseExclLock(state->lock);
    }

private:
    KeyLocatorState *state;
};

/* ---- with the lock held ---- */

KeyLocatorCacheEntry *FindHeld(const KeyLocatorState *state, const char *uniqueId) {
    if (!state->isCacheEnabled)
        return nullptr;
    KeyLocatorCacheEntry *entry = state->newest;
    while (entry && g_ascii_strcasecmp(entry->uniqueId, uniqueId) != 0)
        entry = entry->next;
    return entry;
}

void DropOldest(KeyLocatorState *state) {
    KeyLocatorCacheEntry *entry = state->oldest;
    state->oldest = entry->prev;
    (entry->prev ? entry->prev->next : state->newest) = nullptr;
    state->cacheSize--;
    Crypto_FreeString(entry->uniqueId);
    CryptoKey_Free(entry->key);
    free(entry);
}

void DropAll(KeyLocatorState *state) {
    while (state->oldest)
        DropOldest(state);
}

KeyLocError AddHeld(KeyLocatorState *state, const char *uniqueId, CryptoKey *key) {
    if (!state->isCacheEnabled)
        return KEYLOCATOR_ERROR_CACHE_DISABLED;
    if (FindHeld(state, uniqueId))
        return KEYLOCATOR_ERROR_CACHE_COLLISION;
    auto *entry = static_cast<KeyLocatorCacheEntry *>(calloc(1, sizeof(KeyLocatorCacheEntry)));
    char *id = strdup(uniqueId);
    if (!entry || !id) {
        free(entry);
        free(id);
        return KEYLOCATOR_ERROR_NO_MEMORY;
    }
    if (state->cacheSize == kMaxEntries)
        DropOldest(state);
    *entry = {nullptr, state->newest, id, CryptoKey_Clone(key)};
    (state->newest ? state->newest->prev : state->oldest) = entry;
    state->newest = entry;
    state->cacheSize++;
    return KEYLOCATOR_ERROR_SUCCESS;
}

/* ---- the text ---- */

/* The name of a field of an entry. */
struct EntryKey {
    char text[32];

    EntryKey(const char *name, guint32 index) { snprintf(text, sizeof text, "%s%u", name, index); }
};

KeyLocError WriteEntry(const KeyLocatorCacheEntry &entry, guint32 index, CryptoDict *dict) {
    CryptoText text;
    gsize size;
    if (CryptoKey_Export(entry.key, kKeyLocatorWrapPassphrase, CryptoOut(text), &size) !=
        CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_CRYPTO;
    CryptoDict_Set(dict, EntryKey("uniqueId", index).text, entry.uniqueId);
    CryptoDict_SetBase64(dict, EntryKey("expKey", index).text, text.get(), size);
    return KEYLOCATOR_ERROR_SUCCESS;
}

KeyLocError WriteHeld(const KeyLocatorState *state, CryptoDict *dict) {
    if (state->cacheSize != 0)
        CryptoDict_SetUint32(dict, "size", state->cacheSize);
    guint32 index = 0;
    for (const KeyLocatorCacheEntry *entry = state->newest; entry; entry = entry->next) {
        const KeyLocError error = WriteEntry(*entry, index++, dict);
        if (error != KEYLOCATOR_ERROR_SUCCESS)
            return error;
    }
    return CryptoDict_HadSetError(dict) ? KEYLOCATOR_ERROR_NO_MEMORY : KEYLOCATOR_ERROR_SUCCESS;
}

KeyLocError ReadEntry(const CryptoDict *dict, guint32 index, KeyLocatorState *state) {
    const char *uniqueId = CryptoDict_Get(dict, EntryKey("uniqueId", index).text);
    if (uniqueId == CryptoDict_NotFound)
        return KEYLOCATOR_ERROR_CRYPTO;
    guint8 *data;
    gsize size;
    CryptoError error = CryptoDict_GetBase64(dict, EntryKey("expKey", index).text, &data, &size);
    const SecretBlock text(data, size);
    CryptoKeyPtr key;
    if (error == CRYPTO_ERROR_SUCCESS)
        error = CryptoKey_Import(reinterpret_cast<const char *>(text.data()), text.size(),
                                 kKeyLocatorWrapPassphrase, CryptoOut(key));
    if (error != CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_CRYPTO;
    return AddHeld(state, uniqueId, key.get());
}

KeyLocError ReadHeld(const char *text, gsize size, KeyLocatorState *state) {
    CryptoDictPtr dict;
    if (CryptoDict_CreateAndImport(text, size, CryptoOut(dict)) != CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_CRYPTO;
    guint32 count;
    if (CryptoDict_GetUint32(dict.get(), "size", &count) != CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_CRYPTO;
    if (count > kMaxEntries)
        return KEYLOCATOR_ERROR_BAD_CACHE;
    for (guint32 index = 0; index < count; index++) {
        const KeyLocError error = ReadEntry(dict.get(), index, state);
        if (error != KEYLOCATOR_ERROR_SUCCESS)
            return error;
    }
    return KEYLOCATOR_ERROR_SUCCESS;
}

} // namespace

bool KeyLocatorIsCacheable(const KeyLocator *locator) {
    return KeyLocator_GetClass(locator) == KEYLOCATOR_CLASS_INDIRECT;
}

CryptoKey *KeyLocatorFindCacheEntry(KeyLocatorState *state, const char *uniqueId) {
    const Hold hold(state);
    const KeyLocatorCacheEntry *entry = FindHeld(state, uniqueId);
    return entry ? CryptoKey_Clone(entry->key) : nullptr;
}

KeyLocError KeyLocatorAddCacheEntry(KeyLocatorState *state, const char *uniqueId, CryptoKey *key) {
    const Hold hold(state);
    return AddHeld(state, uniqueId, key);
}

gboolean KeyLocator_AllocState(KeyLocatorGetDataFn getData, gpointer clientData,
                               KeyLocatorState **state) {
    *state = nullptr;
    auto *made = static_cast<KeyLocatorState *>(calloc(1, sizeof(KeyLocatorState)));
    if (!made)
        return FALSE;
    made->lock = MXUser_CreateExclLock("keyLocatorLock", 0xF0007080);
    if (!made->lock) {
        free(made);
        return FALSE;
    }
    made->getData = getData;
    made->clientData = clientData;
    *state = made;
    return TRUE;
}

void KeyLocator_FreeState(KeyLocatorState *state) {
    if (!state)
        return;
    DropAll(state);
    MXUser_DestroyExclLock(state->lock);
    free(state);
}

void KeyLocator_EnableKeyCache(KeyLocatorState *state) {
    const Hold hold(state);
    state->isCacheEnabled = TRUE;
}

void KeyLocator_DisableKeyCache(KeyLocatorState *state) {
    const Hold hold(state);
    state->isCacheEnabled = FALSE;
}

void KeyLocator_ClearKeyCache(KeyLocatorState *state) {
    const Hold hold(state);
    if (state->isCacheEnabled)
        DropAll(state);
}

KeyLocError KeyLocator_ExportKeyCache(KeyLocatorState *state, char **text, gsize *size) {
    *text = nullptr;
    *size = 0;
    CryptoDictPtr dict;
    if (CryptoDict_Create(CryptoOut(dict)) != CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_NO_MEMORY;
    const Hold hold(state);
    if (!state->isCacheEnabled)
        return KEYLOCATOR_ERROR_CACHE_DISABLED;
    const KeyLocError error = WriteHeld(state, dict.get());
    if (error != KEYLOCATOR_ERROR_SUCCESS)
        return error;
    gsize length;
    if (CryptoDict_Export(dict.get(), FALSE, text, &length) != CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_NO_MEMORY;
    *size = length + 1;
    return KEYLOCATOR_ERROR_SUCCESS;
}

KeyLocError KeyLocator_ImportKeyCache(KeyLocatorState *state, const char *text, gsize size) {
    const StoredRoundsScope rounds;
    const Hold hold(state);
    if (!state->isCacheEnabled)
        return KEYLOCATOR_ERROR_CACHE_DISABLED;
    DropAll(state);
    if (size == 0 || *text == '\0')
        return KEYLOCATOR_ERROR_SUCCESS;
    const KeyLocError error = ReadHeld(text, size, state);
    if (error != KEYLOCATOR_ERROR_SUCCESS)
        DropAll(state);
    return error;
}
