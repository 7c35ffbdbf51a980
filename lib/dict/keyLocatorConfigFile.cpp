// The cipher that the passphrases of an encrypted dictionary make keys of, read without opening it.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "lib/crypto/cryptoOwner.h"
#include "lib/dict/dictionaryFile.h"
#include "lib/dict/dictionaryInt.h"
#include "lib/keyLocator/keyLocator.h"
#include "lib/keyLocator/keySafe.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "lib/misc/utilSafe.h"

namespace {

constexpr const char *kFunction = "KeyLocator_ExtractCipherFromConfigFile";

using HeapText = MallocPtr<char>;

/* Reads the key safe of a file; empty after a warning. */
KeySafePtr LoadKeySafe(const char *path) {
    const DictionaryPtr dictionary(Dictionary_Create());
    MsgListPtr messages;
    if (!Dictionary_LoadEx(dictionary.get(), path, CryptoOut(messages))) {
        const HeapText reason(MsgList_ToString(messages.get()));
        Warning("%s: Can't load dictionary %s: %s\n", kFunction, path, reason ? reason.get() : "");
        return nullptr;
    }
    if (!Dictionary_IsEncrypted(dictionary.get())) {
        Warning("%s: Dictionary %s is not encrypted\n", kFunction, path);
        return nullptr;
    }
    const SecretText text(Dict_GetString(dictionary.get(), nullptr, "%s", kDictionaryKeySafeName));
    if (!text || *text == '\0') {
        Warning("%s: Can't find KeySafe\n", kFunction);
        return nullptr;
    }
    KeySafePtr safe;
    const KeySafeError error = KeySafe_Import(text.get(), strlen(text.get()), CryptoOut(safe));
    if (error != KEYSAFE_ERROR_SUCCESS)
        Warning("%s: Failed to import the KeySafe: %s\n", kFunction, KeySafeError_ToString(error));
    return safe;
}

/* Returns the locator that leads to the key of a pair; NULL after a warning. */
const KeyLocator *Locker(const KeyLocator *member) {
    const KeyLocatorPair *pair = KeyLocator_GetPair(member);
    if (pair == nullptr) {
        Warning("%s: Missing key locator pair.\n", kFunction);
        return nullptr;
    }
    if (pair->locker == nullptr)
        Warning("%s: Missing locker.\n", kFunction);
    return pair->locker;
}

/* Reads the cipher of a passphrase locator. Empty for another locator, and for one that names none. */
KeyLocError ReadCipher(const KeyLocator *locker, HeapText *name) {
    if (KeyLocator_GetType(locker) != KEYLOCATOR_TYPE_PASSPHRASE)
        return KEYLOCATOR_ERROR_SUCCESS;
    const auto &phrase = KeyLocator_GetIndirect(locker)->u.phrase;
    CryptoDictPtr dict;
    if (CryptoDict_CreateAndImport(phrase.keyGenData, phrase.keyGenDataSize, CryptoOut(dict)) !=
        CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_CRYPTO;
    const char *found = CryptoDict_Get(dict.get(), "cipher");
    if (*found != '\0')
        name->reset(UtilSafeStrdup0(found));
    return KEYLOCATOR_ERROR_SUCCESS;
}

} // namespace

KeyLocError KeyLocator_ExtractCipherFromConfigFile(const char *path, char **cipherName) {
    *cipherName = nullptr;
    const KeySafePtr safe = LoadKeySafe(path);
    if (!safe)
        return KEYLOCATOR_ERROR_UNKNOWN;

    HeapText name;
    const KeyLocator *list = KeySafe_GetLocators(safe.get());
    for (const KeyLocator *member = KeyLocator_ListFirst(list); member != nullptr;
         member = KeyLocator_ListNext(list, member)) {
        const KeyLocator *locker = Locker(member);
        HeapText found;
        if (locker == nullptr)
            continue;
        if (const KeyLocError error = ReadCipher(locker, &found))
            return error;
        if (name && found && strcmp(name.get(), found.get()) != 0) {
            Warning("%s: Found passphrase key locators with different cipher types: %s %s\n",
                    kFunction, name.get(), found.get());
            return KEYLOCATOR_ERROR_CRYPTO;
        }
        if (!name)
            name = std::move(found);
    }
    if (!name) {
        Warning("%s: Failed to get non-null cipher name\n", kFunction);
        return KEYLOCATOR_ERROR_CRYPTO;
    }
    *cipherName = name.release();
    return KEYLOCATOR_ERROR_SUCCESS;
}
