/*
 * keySafeUserRing.cpp -- rings, and their text
 *
 *   ring      userkey0=BASE64:userkey1=BASE64:numkeys=2                    of entries
 *   entry     locator=BASE64:key=BASE64[:passdata=BASE64:passkey=BASE64]
 *
 * "locator" is the locator's text with its NUL. "key" and "passkey" are CryptoKey_Export() under the wrap passphrase of
 * rings. "passdata" is an encrypt-with-MAC record of the passphrase with its NUL.
 */
#include "lib/crypto/cryptoRounds.h"
#include "lib/keyLocator/keySafeInt.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <crypto/cryptoDict.h>

#include "lib/keyLocator/keySafeRingWrapPassphrase.h"
#include "lib/misc/log.h"

namespace {

constexpr const char *kCount = "numkeys";

void FreeEntry(KeySafeUserKey *entry) {
    KeyLocator_Destroy(entry->locator);
    CryptoKey_Free(entry->key);
    Crypto_Free(entry->passdata, entry->passdataSize);
    CryptoKey_Free(entry->passkey);
    free(entry);
}

using EntryPtr = std::unique_ptr<KeySafeUserKey, Release<FreeEntry>>;

EntryPtr MakeEntry() {
    return EntryPtr(static_cast<KeySafeUserKey *>(calloc(1, sizeof(KeySafeUserKey))));
}

void Append(KeySafeUserRing *ring, EntryPtr entry) {
    *ring->end = entry.release();
    ring->end = &(*ring->end)->next;
    ring->numKeys++;
}

/* The name of an entry's field. */
struct EntryKey {
    char text[24];

    explicit EntryKey(guint32 index) { snprintf(text, sizeof text, "userkey%u", index); }
};

KeySafeError CloneEntry(const KeySafeUserKey &from, EntryPtr *copy) {
    EntryPtr made = MakeEntry();
    if (!made)
        return KEYSAFE_ERROR_NO_MEMORY;
    if (KeyLocator_Clone(from.locator, &made->locator) != KEYLOCATOR_ERROR_SUCCESS)
        return KEYSAFE_ERROR_LOCATOR;
    made->key = CryptoKey_Clone(from.key);
    if (from.passdata) {
        SecretBlock passdata = SecretBlock::Copy(from.passdata, from.passdataSize);
        if (!passdata)
            return KEYSAFE_ERROR_NO_MEMORY;
        made->passdata = passdata.release(&made->passdataSize);
        made->passkey = CryptoKey_Clone(from.passkey);
    }
    *copy = std::move(made);
    return KEYSAFE_ERROR_SUCCESS;
}

/* Encrypts the passphrase with its NUL under a new key. */
bool StorePassphrase(const char *passphrase, const char *cipherName, KeySafeUserKey *entry) {
    CryptoCipher *cipher;
    CryptoKeyedHash *mac;
    return CryptoCipher_FromString(cipherName, &cipher) == CRYPTO_ERROR_SUCCESS &&
           CryptoKeyedHash_FromString("HMAC-SHA-1", &mac) == CRYPTO_ERROR_SUCCESS &&
           CryptoKey_Generate(cipher, &entry->passkey) == CRYPTO_ERROR_SUCCESS &&
           CryptoKey_EncryptWithMAC(entry->passkey, mac, passphrase, strlen(passphrase) + 1,
                                    &entry->passdata, &entry->passdataSize) == CRYPTO_ERROR_SUCCESS;
}

KeySafeError KeySafeUserRingAddPassphrase(KeySafeUserRing *ring, const char *passphrase,
                                          const char *cipherName, KeyLocatorState *state) {
    EntryPtr entry = MakeEntry();
    if (!entry)
        return KEYSAFE_ERROR_NO_MEMORY;
    if (KeyLocator_CreateLinkToPassphrase(cipherName, &entry->locator) != KEYLOCATOR_ERROR_SUCCESS)
        return KEYSAFE_ERROR_LOCATOR;
    KeySafePassphrase answer = {passphrase, strlen(passphrase)};
    if (KeyLocator_FollowExtract(state, entry->locator, TRUE, KeySafeReturnPassphrase, &answer,
                                 &entry->key) != KEYLOCATOR_ERROR_SUCCESS)
        return KEYSAFE_ERROR_LOCATOR;
    if (!StorePassphrase(passphrase, cipherName, entry.get()))
        return KEYSAFE_ERROR_FAILED;
    Append(ring, std::move(entry));
    return KEYSAFE_ERROR_SUCCESS;
}

/* A KeyLocatorGetDataFn that answers with a leaf of the key that is its data. */
gboolean ReturnLeaf(KeyLocatorState *, gpointer clientData, const KeyLocatorIndirect *, char **data,
                    gsize *size) {
    KeyLocatorPtr leaf;
    KeyLocError error =
        KeyLocator_CreateLeaf(static_cast<CryptoKey *>(clientData), CryptoOut(leaf));
    if (error == KEYLOCATOR_ERROR_SUCCESS)
        error = KeyLocator_Export(leaf.get(), data);
    if (error != KEYLOCATOR_ERROR_SUCCESS)
        return FALSE;
    *size = strlen(*data);
    return TRUE;
}

/* ---- text ---- */

bool SetKey(CryptoDict *dict, const char *name, CryptoKey *key) {
    CryptoText text;
    gsize size;
    const CryptoError error =
        CryptoKey_Export(key, kKeySafeRingWrapPassphrase, CryptoOut(text), &size);
    return error == CRYPTO_ERROR_SUCCESS &&
           CryptoDict_SetBase64(dict, name, text.get(), size) == CRYPTO_ERROR_SUCCESS;
}

bool GetKey(const CryptoDict *dict, const char *name, CryptoKey **key) {
    guint8 *data;
    gsize size;
    const CryptoError error = CryptoDict_GetBase64(dict, name, &data, &size);
    const SecretBlock text(data, size);
    return error == CRYPTO_ERROR_SUCCESS &&
           CryptoKey_Import(reinterpret_cast<const char *>(text.data()), text.size(),
                            kKeySafeRingWrapPassphrase, key) == CRYPTO_ERROR_SUCCESS;
}

KeySafeError WriteEntry(const KeySafeUserKey &entry, bool withPassData, CryptoDict *dict) {
    CryptoText locator;
    if (KeyLocator_Export(entry.locator, CryptoOut(locator)) != KEYLOCATOR_ERROR_SUCCESS)
        return KEYSAFE_ERROR_LOCATOR;
    CryptoDict_SetBase64(dict, "locator", locator.get(), strlen(locator.get()) + 1);
    locator.reset();
    if (!SetKey(dict, "key", entry.key))
        return KEYSAFE_ERROR_FAILED;
    if (withPassData && entry.passdata) {
        CryptoDict_SetBase64(dict, "passdata", entry.passdata, entry.passdataSize);
        if (!SetKey(dict, "passkey", entry.passkey))
            return KEYSAFE_ERROR_FAILED;
    }
    return CryptoDict_HadSetError(dict) ? KEYSAFE_ERROR_FAILED : KEYSAFE_ERROR_SUCCESS;
}

KeySafeError ExportEntry(const KeySafeUserKey &entry, bool withPassData, guint32 index,
                         CryptoDict *ring) {
    CryptoDictPtr dict;
    if (CryptoDict_Create(CryptoOut(dict)) != CRYPTO_ERROR_SUCCESS)
        return KEYSAFE_ERROR_FAILED;
    const KeySafeError error = WriteEntry(entry, withPassData, dict.get());
    if (error != KEYSAFE_ERROR_SUCCESS)
        return error;
    CryptoText text;
    gsize size;
    if (CryptoDict_Export(dict.get(), FALSE, CryptoOut(text), &size) != CRYPTO_ERROR_SUCCESS)
        return KEYSAFE_ERROR_FAILED;
    return CryptoDict_SetBase64(ring, EntryKey(index).text, text.get(), size) ==
                   CRYPTO_ERROR_SUCCESS
               ? KEYSAFE_ERROR_SUCCESS
               : KEYSAFE_ERROR_FAILED;
}

KeySafeError ReadLocator(const CryptoDict *dict, KeyLocator **locator) {
    guint8 *data;
    gsize size;
    const CryptoError error = CryptoDict_GetBase64(dict, "locator", &data, &size);
    const SecretBlock text(data, size);
    if (error != CRYPTO_ERROR_SUCCESS)
        return KEYSAFE_ERROR_FAILED;
    if (size == 0 || data[size - 1] != '\0')
        return KEYSAFE_ERROR_BAD_FORMAT;
    return KeyLocator_Import(reinterpret_cast<const char *>(data), locator) ==
                   KEYLOCATOR_ERROR_SUCCESS
               ? KEYSAFE_ERROR_SUCCESS
               : KEYSAFE_ERROR_LOCATOR;
}

KeySafeError ReadEntry(const CryptoDict *dict, KeySafeUserKey *entry) {
    const KeySafeError error = ReadLocator(dict, &entry->locator);
    if (error != KEYSAFE_ERROR_SUCCESS)
        return error;
    if (!GetKey(dict, "key", &entry->key))
        return KEYSAFE_ERROR_FAILED;
    if (CryptoDict_GetBase64(dict, "passdata", &entry->passdata, &entry->passdataSize) !=
        CRYPTO_ERROR_SUCCESS)
        return KEYSAFE_ERROR_SUCCESS; // an entry without a passphrase
    return GetKey(dict, "passkey", &entry->passkey) ? KEYSAFE_ERROR_SUCCESS : KEYSAFE_ERROR_FAILED;
}

KeySafeError ImportEntry(const CryptoDict *ringDict, guint32 index, KeySafeUserRing *ring) {
    guint8 *data;
    gsize size;
    CryptoError error = CryptoDict_GetBase64(ringDict, EntryKey(index).text, &data, &size);
    const SecretBlock text(data, size);
    CryptoDictPtr dict;
    if (error == CRYPTO_ERROR_SUCCESS)
        error = CryptoDict_CreateAndImport(reinterpret_cast<const char *>(text.data()), text.size(),
                                           CryptoOut(dict));
    if (error != CRYPTO_ERROR_SUCCESS)
        return KEYSAFE_ERROR_FAILED;
    EntryPtr entry = MakeEntry();
    if (!entry)
        return KEYSAFE_ERROR_NO_MEMORY;
    const KeySafeError result = ReadEntry(dict.get(), entry.get());
    if (result == KEYSAFE_ERROR_SUCCESS)
        Append(ring, std::move(entry));
    return result;
}

} // namespace

gboolean KeySafeReturnPassphrase(KeyLocatorState *, gpointer clientData, const KeyLocatorIndirect *,
                                 char **data, gsize *size) {
    const auto *passphrase = static_cast<const KeySafePassphrase *>(clientData);
    SecretBlock copy = SecretBlock::Copy(passphrase->text, passphrase->size);
    *data = reinterpret_cast<char *>(copy.release(size));
    return *data != nullptr;
}

SecretBlock KeySafeUserKeyPassphrase(const KeySafeUserKey &entry) {
    guint8 *data;
    gsize size;
    /* after a failure there is no data */
    CryptoKey_DecryptWithMAC(entry.passkey, CryptoKeyedHash_HMAC_SHA_1, entry.passdata,
                             entry.passdataSize, &data, &size);
    SecretBlock passphrase(data, size);
    if (size == 0 || data[size - 1] != '\0')
        return {};
    return passphrase;
}

KeySafeError KeySafeUserRing_Create(KeySafeUserRing **ring) {
    *ring = static_cast<KeySafeUserRing *>(calloc(1, sizeof(KeySafeUserRing)));
    if (!*ring)
        return KEYSAFE_ERROR_NO_MEMORY;
    (*ring)->end = &(*ring)->first;
    return KEYSAFE_ERROR_SUCCESS;
}

void KeySafeUserRing_Destroy(KeySafeUserRing *ring) {
    if (!ring)
        return;
    for (KeySafeUserKey *entry = ring->first; entry;) {
        KeySafeUserKey *next = entry->next;
        FreeEntry(entry);
        entry = next;
    }
    free(ring);
}

KeySafeError KeySafeUserRing_Clone(const KeySafeUserRing *ring, KeySafeUserRing **copy) {
    *copy = nullptr;
    KeySafeUserRingPtr made;
    KeySafeError error = KeySafeUserRing_Create(CryptoOut(made));
    if (error == KEYSAFE_ERROR_SUCCESS)
        error = KeySafeUserRing_AddRing(made.get(), ring);
    if (error == KEYSAFE_ERROR_SUCCESS)
        *copy = made.release();
    return error;
}

KeySafeError KeySafeUserRing_AddRing(KeySafeUserRing *ring, const KeySafeUserRing *other) {
    KeySafeUserRingPtr added;
    KeySafeError error = KeySafeUserRing_Create(CryptoOut(added));
    if (error != KEYSAFE_ERROR_SUCCESS)
        return error;
    for (const KeySafeUserKey *entry = other->first; entry; entry = entry->next) {
        EntryPtr copy;
        error = CloneEntry(*entry, &copy);
        if (error != KEYSAFE_ERROR_SUCCESS)
            return error;
        Append(added.get(), std::move(copy));
    }
    if (added->first) {
        *ring->end = std::exchange(added->first, nullptr);
        ring->end = added->end;
        ring->numKeys += added->numKeys;
    }
    return KEYSAFE_ERROR_SUCCESS;
}

gboolean KeySafeUserRing_IsEmpty(const KeySafeUserRing *ring) {
    return ring->numKeys == 0;
}

int KeySafeUserRing_GetNumKeys(const KeySafeUserRing *ring) {
    return static_cast<int>(ring->numKeys);
}

KeySafeError KeySafeUserRing_GetKey(const KeySafeUserRing *ring, int index, CryptoKey **key) {
    *key = nullptr;
    const KeySafeUserKey *entry = index >= 0 ? ring->first : nullptr;
    for (int i = 0; entry && i < index; i++)
        entry = entry->next;
    if (!entry)
        return KEYSAFE_ERROR_PARAMETER;
    *key = CryptoKey_Clone(entry->key);
    return KEYSAFE_ERROR_SUCCESS;
}

KeySafeError KeySafeUserRing_AddKey(KeySafeUserRing *ring, CryptoKey *key) {
    KeyLocatorPtr leaf;
    if (KeyLocator_CreateLeaf(key, CryptoOut(leaf)) != KEYLOCATOR_ERROR_SUCCESS)
        return KEYSAFE_ERROR_LOCATOR;
    return KeySafeUserRing_AddLocator(ring, leaf.get(), key);
}

KeySafeError KeySafeUserRing_AddLocator(KeySafeUserRing *ring, const KeyLocator *locator,
                                        CryptoKey *key) {
    EntryPtr entry = MakeEntry();
    if (!entry)
        return KEYSAFE_ERROR_NO_MEMORY;
    const KeyLocError error = KeyLocator_GetType(locator) == KEYLOCATOR_TYPE_LEAF
                                  ? KeyLocator_CreateNull(&entry->locator)
                                  : KeyLocator_Clone(locator, &entry->locator);
    if (error != KEYLOCATOR_ERROR_SUCCESS)
        return KEYSAFE_ERROR_LOCATOR;
    entry->key = CryptoKey_Clone(key);
    Append(ring, std::move(entry));
    return KEYSAFE_ERROR_SUCCESS;
}

KeySafeError KeySafeUserRing_AddPassphrase(KeySafeUserRing *ring, const char *passphrase,
                                           const char *cipherName) {
    return KeySafeUserRingAddPassphrase(ring, passphrase, cipherName, nullptr);
}

KeySafeError KeySafeUserRing_AddPassphraseWithCaching(KeySafeUserRing *ring, const char *passphrase,
                                                      const char *cipherName,
                                                      KeyLocatorState *state) {
    return KeySafeUserRingAddPassphrase(ring, passphrase, cipherName, state);
}

KeySafeError KeySafeUserRing_AddServerKeyWithCaching(KeySafeUserRing *ring, CryptoKey *key,
                                                     KeyLocatorState *state) {
    KeyLocatorPtr role;
    if (KeyLocator_CreateLinkToRole(KEYLOCATOR_ROLE_SERVER, CryptoOut(role)) !=
        KEYLOCATOR_ERROR_SUCCESS)
        return KEYSAFE_ERROR_LOCATOR;
    if (state) { // following once puts the key into the cache
        CryptoKeyPtr found;
        if (KeyLocator_FollowExtract(state, role.get(), TRUE, ReturnLeaf, key, CryptoOut(found)) !=
            KEYLOCATOR_ERROR_SUCCESS)
            return KEYSAFE_ERROR_LOCATOR;
    }
    return KeySafeUserRing_AddLocator(ring, role.get(), key);
}

KeySafeError KeySafeUserRing_GetOnePassphrase(const KeySafeUserRing *ring, char **passphrase) {
    *passphrase = nullptr;
    if (ring->numKeys != 1)
        return KEYSAFE_ERROR_PARAMETER;
    if (!ring->first->passdata)
        return KEYSAFE_ERROR_SUCCESS;
    SecretBlock text = KeySafeUserKeyPassphrase(*ring->first);
    gsize size;
    *passphrase = reinterpret_cast<char *>(text.release(&size));
    return *passphrase ? KEYSAFE_ERROR_SUCCESS : KEYSAFE_ERROR_FAILED;
}

KeySafeError KeySafeUserRing_GetAppropriateCipher(const KeySafeUserRing *ring,
                                                  CryptoCipher **cipher) {
    if (!cipher) {
        Log("%s: invalid parameter.\n", "KeySafeUserRing_GetAppropriateCipher");
        return KEYSAFE_ERROR_PARAMETER;
    }
    *cipher = nullptr;
    CryptoCipher *found = nullptr;
    for (const KeySafeUserKey *entry = ring ? ring->first : nullptr; entry; entry = entry->next) {
        CryptoCipher *each = CryptoKey_GetCipher(entry->key);
        if (CryptoCipher_GetType(each) != CRYPTO_CIPHER_SYMMETRIC)
            continue;
        if (found && found != each) {
            Log("%s: mixed symmetric ciphers in input ring.\n",
                "KeySafeUserRing_GetAppropriateCipher");
            return KEYSAFE_ERROR_FAILED;
        }
        found = each;
    }
    *cipher = found ? found : CryptoCipherAES_128;
    return KEYSAFE_ERROR_SUCCESS;
}

KeySafeError KeySafeUserRing_Export(const KeySafeUserRing *ring, gboolean withPassData, char **text,
                                    gsize *size) {
    *text = nullptr;
    *size = 0;
    CryptoDictPtr dict;
    if (CryptoDict_Create(CryptoOut(dict)) != CRYPTO_ERROR_SUCCESS)
        return KEYSAFE_ERROR_FAILED;
    guint32 index = 0;
    for (const KeySafeUserKey *entry = ring->first; entry; entry = entry->next) {
        const KeySafeError error = ExportEntry(*entry, withPassData, index++, dict.get());
        if (error != KEYSAFE_ERROR_SUCCESS)
            return error;
    }
    CryptoDict_SetUint32(dict.get(), kCount, ring->numKeys);
    if (CryptoDict_HadSetError(dict.get()) ||
        CryptoDict_Export(dict.get(), FALSE, text, size) != CRYPTO_ERROR_SUCCESS)
        return KEYSAFE_ERROR_FAILED;
    return KEYSAFE_ERROR_SUCCESS;
}

KeySafeError KeySafeUserRing_Import(const char *text, gsize size, KeySafeUserRing **ring) {
    const StoredRoundsScope rounds;
    *ring = nullptr;
    CryptoDictPtr dict;
    if (CryptoDict_CreateAndImport(text, size, CryptoOut(dict)) != CRYPTO_ERROR_SUCCESS)
        return KEYSAFE_ERROR_FAILED;
    guint32 count;
    if (CryptoDict_GetUint32(dict.get(), kCount, &count) != CRYPTO_ERROR_SUCCESS)
        return KEYSAFE_ERROR_FAILED;
    KeySafeUserRingPtr made;
    KeySafeError error = KeySafeUserRing_Create(CryptoOut(made));
    /* each entry has a text of its own, so a large count ends at the first that is missing */
    for (guint32 index = 0; error == KEYSAFE_ERROR_SUCCESS && index < count; index++)
        error = ImportEntry(dict.get(), index, made.get());
    if (error == KEYSAFE_ERROR_SUCCESS)
        *ring = made.release();
    return error;
}
