// lib/keyLocator/keySafe.cpp
#include "lib/crypto/cryptoRounds.h"
#include "lib/keyLocator/keySafeInt.h"

#include <cstdlib>
#include <cstring>

namespace {

/* The state is asked for keys in this order. */
constexpr KeyLocatorType kPriority[] = {KEYLOCATOR_TYPE_ROLE, KEYLOCATOR_TYPE_SCRIPT,
                                        KEYLOCATOR_TYPE_LDAP, KEYLOCATOR_TYPE_PASSPHRASE};

/* Takes the locators over. */
KeySafePtr MakeSafe(KeyLocatorPtr locators) {
    auto *safe = static_cast<KeySafe *>(calloc(1, sizeof(KeySafe)));
    if (safe)
        safe->locators = locators.release();
    return KeySafePtr(safe);
}

bool CopyData(gconstpointer data, gsize size, KeySafe *safe) {
    SecretBlock copy = SecretBlock::Copy(data, size);
    safe->data = copy.release(&safe->dataSize);
    return safe->data;
}

/* The member of a list that is a pair with a locker, or NULL. What else an imported text holds opens nothing. */
const KeyLocator *LockerOf(const KeyLocator *member) {
    const KeyLocatorPair *pair = KeyLocator_GetPair(member);
    return pair ? pair->locker : nullptr;
}

KeySafeError KeySafeAddUserRing(KeySafe *safe, const KeySafeUserRing *ring) {
    for (const KeySafeUserKey *entry = ring ? ring->first : nullptr; entry; entry = entry->next) {
        KeyLocator *pair;
        if (KeyLocator_CreatePair(entry->locator, entry->key, safe->data, safe->dataSize, &pair) !=
            KEYLOCATOR_ERROR_SUCCESS)
            return KEYSAFE_ERROR_LOCATOR;
        KeyLocator_ListAddFirst(safe->locators, pair);
    }
    return KEYSAFE_ERROR_SUCCESS;
}

/* Opens a pair with the passphrase of an entry, which makes another key with the salt of the pair. */
KeySafeError KeySafeUserRingUnlockPassphrasePair(KeyLocatorState *state, const KeyLocator *pair,
                                                 const KeySafeUserKey &entry, guint8 **data,
                                                 gsize *size) {
    if (!entry.passdata)
        return KEYSAFE_ERROR_NEED_KEY;
    const SecretBlock passphrase = KeySafeUserKeyPassphrase(entry);
    if (!passphrase)
        return KEYSAFE_ERROR_LOCATOR;
    const auto *text = reinterpret_cast<const char *>(passphrase.data());
    KeySafePassphrase answer = {text, strlen(text)};
    CryptoKeyPtr key;
    if (KeyLocator_FollowExtract(nullptr, LockerOf(pair), TRUE, KeySafeReturnPassphrase, &answer,
                                 CryptoOut(key)) != KEYLOCATOR_ERROR_SUCCESS)
        return KEYSAFE_ERROR_LOCATOR;
    return KeyLocator_UnlockPair(state, pair, key.get(), TRUE, data, size) ==
                   KEYLOCATOR_ERROR_SUCCESS
               ? KEYSAFE_ERROR_SUCCESS
               : KEYSAFE_ERROR_LOCATOR;
}

/* Tries all entries on all pairs. *result is what the caller returns if the safe was opened. */
bool UnlockByRing(KeyLocatorState *state, KeySafe *safe, const KeySafeUserRing *ring,
                  KeySafeError *result) {
    *result = KEYSAFE_ERROR_SUCCESS;
    for (const KeySafeUserKey *entry = ring->first; entry; entry = entry->next) {
        for (const KeyLocator *pair = KeyLocator_ListFirst(safe->locators); pair;
             pair = KeyLocator_ListNext(safe->locators, pair)) {
            const KeyLocator *locker = LockerOf(pair);
            if (!locker)
                continue;
            if (KeyLocator_GetType(locker) == KEYLOCATOR_TYPE_PASSPHRASE &&
                KeyLocator_GetType(entry->locator) == KEYLOCATOR_TYPE_PASSPHRASE) {
                *result = KeySafeUserRingUnlockPassphrasePair(state, pair, *entry, &safe->data,
                                                              &safe->dataSize);
                if (*result == KEYSAFE_ERROR_SUCCESS)
                    return true;
            }
            if (KeyLocator_UnlockPair(state, pair, entry->key, TRUE, &safe->data,
                                      &safe->dataSize) == KEYLOCATOR_ERROR_SUCCESS)
                return true;
        }
    }
    return false;
}

bool UnlockPairByState(KeyLocatorState *state, KeySafe *safe, const KeyLocator *pair) {
    CryptoKeyPtr key;
    const KeyLocError error =
        KeyLocator_FollowExtract(state, LockerOf(pair), TRUE, nullptr, nullptr, CryptoOut(key));
    return error == KEYLOCATOR_ERROR_SUCCESS &&
           KeyLocator_UnlockPair(state, pair, key.get(), TRUE, &safe->data, &safe->dataSize) ==
               KEYLOCATOR_ERROR_SUCCESS;
}

bool UnlockByState(KeyLocatorState *state, KeySafe *safe) {
    for (KeyLocatorType type : kPriority) {
        for (const KeyLocator *pair = KeyLocator_ListFirst(safe->locators); pair;
             pair = KeyLocator_ListNext(safe->locators, pair)) {
            const KeyLocator *locker = LockerOf(pair);
            if (locker && KeyLocator_GetType(locker) == type &&
                UnlockPairByState(state, safe, pair))
                return true;
        }
    }
    return false;
}

/* Seals a key that is there. */
KeySafeError SealKey(const KeySafeUserRing *ring, CryptoKey *key, KeySafe **safe, char **text,
                     gsize *size) {
    CryptoText exported;
    gsize exportedSize;
    if (CryptoKey_Export(key, nullptr, CryptoOut(exported), &exportedSize) != CRYPTO_ERROR_SUCCESS)
        return KEYSAFE_ERROR_FAILED;
    KeySafePtr made;
    KeySafeError error = KeySafe_Create(ring, exported.get(), exportedSize, CryptoOut(made));
    if (error == KEYSAFE_ERROR_SUCCESS && text) {
        gsize textSize;
        error = KeySafe_Export(made.get(), text, size ? size : &textSize);
    }
    if (error == KEYSAFE_ERROR_SUCCESS && safe)
        *safe = made.release();
    return error;
}

} // namespace

KeySafeError KeySafe_Create(const KeySafeUserRing *ring, gconstpointer data, gsize size,
                            KeySafe **safe) {
    *safe = nullptr;
    KeyLocatorPtr list;
    if (KeyLocator_CreateList(CryptoOut(list)) != KEYLOCATOR_ERROR_SUCCESS)
        return KEYSAFE_ERROR_NO_MEMORY;
    KeySafePtr made = MakeSafe(std::move(list));
    if (!made || !CopyData(data, size, made.get()))
        return KEYSAFE_ERROR_NO_MEMORY;
    const KeySafeError error = KeySafeAddUserRing(made.get(), ring);
    if (error == KEYSAFE_ERROR_SUCCESS)
        *safe = made.release();
    return error;
}

void KeySafe_Destroy(KeySafe *safe) {
    if (!safe)
        return;
    KeySafe_Lock(safe);
    KeyLocator_Destroy(safe->locators);
    free(safe);
}

KeySafeError KeySafe_Clone(const KeySafe *safe, KeySafe **copy) {
    *copy = nullptr;
    KeyLocatorPtr locators;
    if (KeyLocator_Clone(safe->locators, CryptoOut(locators)) != KEYLOCATOR_ERROR_SUCCESS)
        return KEYSAFE_ERROR_LOCATOR;
    KeySafePtr made = MakeSafe(std::move(locators));
    if (!made || (safe->data && !CopyData(safe->data, safe->dataSize, made.get())))
        return KEYSAFE_ERROR_NO_MEMORY;
    *copy = made.release();
    return KEYSAFE_ERROR_SUCCESS;
}

KeySafeError KeySafe_Seal(const KeySafeUserRing *ring, CryptoKey **key, KeySafe **safe, char **text,
                          gsize *size) {
    if (safe)
        *safe = nullptr;
    if (text)
        *text = nullptr;
    if (size)
        *size = 0;
    if (*key)
        return SealKey(ring, *key, safe, text, size);

    CryptoCipher *cipher;
    CryptoKeyPtr made;
    if (KeySafeUserRing_GetAppropriateCipher(ring, &cipher) != KEYSAFE_ERROR_SUCCESS ||
        CryptoKey_Generate(cipher, CryptoOut(made)) != CRYPTO_ERROR_SUCCESS)
        return KEYSAFE_ERROR_FAILED;
    const KeySafeError error = SealKey(ring, made.get(), safe, text, size);
    if (error == KEYSAFE_ERROR_SUCCESS)
        *key = made.release();
    return error;
}

KeySafeError KeySafe_Unseal(KeyLocatorState *state, const char *text, gsize size,
                            const KeySafeUserRing *ring, KeySafe **safe, CryptoKey **key) {
    if (safe)
        *safe = nullptr;
    if (key)
        *key = nullptr;
    KeySafePtr made;
    KeySafeError error = KeySafe_Import(text, size, CryptoOut(made));
    if (error == KEYSAFE_ERROR_SUCCESS)
        error = KeySafe_Unlock(state, made.get(), ring);
    if (error != KEYSAFE_ERROR_SUCCESS)
        return error;
    if (key && CryptoKey_Import(reinterpret_cast<const char *>(made->data), made->dataSize, nullptr,
                                key) != CRYPTO_ERROR_SUCCESS)
        return KEYSAFE_ERROR_FAILED;
    if (safe)
        *safe = made.release();
    return KEYSAFE_ERROR_SUCCESS;
}

KeySafeError KeySafe_Import(const char *text, gsize size, KeySafe **safe) {
    *safe = nullptr;
    KeyLocatorPtr locators;
    if (KeyLocatorImportText({text, size}, CryptoOut(locators)) != KEYLOCATOR_ERROR_SUCCESS)
        return KEYSAFE_ERROR_LOCATOR;
    KeySafePtr made = MakeSafe(std::move(locators));
    *safe = made.release();
    return *safe ? KEYSAFE_ERROR_SUCCESS : KEYSAFE_ERROR_NO_MEMORY;
}

KeySafeError KeySafe_Export(const KeySafe *safe, char **text, gsize *size) {
    *size = 0;
    if (KeyLocator_Export(safe->locators, text) != KEYLOCATOR_ERROR_SUCCESS)
        return KEYSAFE_ERROR_LOCATOR;
    *size = strlen(*text) + 1;
    return KEYSAFE_ERROR_SUCCESS;
}

KeySafeError KeySafe_Unlock(KeyLocatorState *state, KeySafe *safe, const KeySafeUserRing *ring) {
    const StoredRoundsScope rounds;
    if (safe->data)
        return KEYSAFE_ERROR_SUCCESS;
    if (!KeyLocator_ListFirst(safe->locators))
        return KEYSAFE_ERROR_EMPTY;
    KeySafeError result;
    if (ring && UnlockByRing(state, safe, ring, &result))
        return result;
    return state && UnlockByState(state, safe) ? KEYSAFE_ERROR_SUCCESS : KEYSAFE_ERROR_NEED_KEY;
}

void KeySafe_Lock(KeySafe *safe) {
    Crypto_Free(safe->data, safe->dataSize);
    safe->data = nullptr;
    safe->dataSize = 0;
}

KeySafeError KeySafe_GetData(const KeySafe *safe, const guint8 **data, gsize *size) {
    *data = safe->data;
    *size = safe->dataSize;
    return safe->data ? KEYSAFE_ERROR_SUCCESS : KEYSAFE_ERROR_LOCKED;
}

KeySafeError KeySafe_AddLocators(KeySafe *safe, const KeySafeUserRing *ring) {
    if (!safe->data)
        return KEYSAFE_ERROR_LOCKED;
    return KeySafeAddUserRing(safe, ring);
}

KeySafeError KeySafe_RegenerateUserRing(KeyLocatorState *state, const KeySafe *safe,
                                        KeySafeUserRing **ring) {
    const StoredRoundsScope rounds;
    *ring = nullptr;
    KeySafeUserRingPtr made;
    KeySafeError error = KeySafeUserRing_Create(CryptoOut(made));
    for (const KeyLocator *pair = KeyLocator_ListFirst(safe->locators);
         error == KEYSAFE_ERROR_SUCCESS && pair; pair = KeyLocator_ListNext(safe->locators, pair)) {
        const KeyLocator *locker = LockerOf(pair);
        CryptoKeyPtr key;
        if (!locker || KeyLocator_FollowExtract(state, locker, TRUE, nullptr, nullptr,
                                                CryptoOut(key)) != KEYLOCATOR_ERROR_SUCCESS)
            continue; // its key is not to be had
        error = KeySafeUserRing_AddLocator(made.get(), locker, key.get());
    }
    if (error == KEYSAFE_ERROR_SUCCESS)
        *ring = made.release();
    return error;
}

KeyLocator *KeySafe_GetLocators(const KeySafe *safe) {
    return safe->locators;
}
