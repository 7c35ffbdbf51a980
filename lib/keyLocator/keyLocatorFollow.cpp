// lib/keyLocator/keyLocatorFollow.cpp: from a locator to its key
#include "lib/keyLocator/keyLocatorInt.h"

#include <cstring>

#include <crypto/cryptoDict.h>
#include <crypto/cryptoPassword.h>

#include "lib/crypto/cryptoRounds.h"
#include "lib/misc/log.h"

namespace {

/* Makes the key of a passphrase as the locator says. */
CryptoError DeriveKey(const KeyLocatorIndirect &indirect, const SecretBlock &passphrase,
                      CryptoKey **key) {
    CryptoDictPtr dict;
    CryptoError error = CryptoDict_CreateAndImport(
        indirect.u.phrase.keyGenData, indirect.u.phrase.keyGenDataSize, CryptoOut(dict));
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    CryptoPass2Key *pass2key;
    error = CryptoPass2Key_FromString(CryptoDict_Get(dict.get(), "pass2key"), &pass2key);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    CryptoCipher *cipher;
    error = CryptoCipher_FromString(CryptoDict_Get(dict.get(), "cipher"), &cipher);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    guint32 rounds;
    error = CryptoDict_GetUint32(dict.get(), "rounds", &rounds);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    if (!StoredRounds_Take(rounds)) {
        Log("%s: %u rounds are more than the %u that are allowed\n", "KeyLocator_Follow", rounds,
            kMaxStoredRounds);
        return CRYPTO_ERROR_FAILED;
    }
    guint8 *data;
    gsize size;
    error = CryptoDict_GetBase64(dict.get(), "salt", &data, &size);
    const SecretBlock salt(data, size);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    return CryptoPass2Key_MakeKey(pass2key, cipher, static_cast<int>(rounds), passphrase.data(),
                                  passphrase.size(), &data, &size, key);
}

KeyLocError FollowPassphrase(const KeyLocatorIndirect &indirect, const SecretBlock &passphrase,
                             KeyLocator **next) {
    CryptoKeyPtr key;
    const CryptoError error = DeriveKey(indirect, passphrase, CryptoOut(key));
    if (error != CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_CRYPTO;
    return KeyLocator_CreateLeaf(key.get(), next);
}

/* The text of the next locator is counted without its NUL. */
KeyLocError FollowText(const SecretBlock &text, KeyLocator **next) {
    if (!text || text.size() == 0 || text.data()[text.size() - 1] == '\0')
        return KEYLOCATOR_ERROR_INVALID_TEXT;
    return KeyLocatorImportText({reinterpret_cast<const char *>(text.data()), text.size()}, next);
}

/* Adds the key that a locator leads to. The cache only saves a question, so a failure is no matter. */
void OfferToCache(KeyLocatorState *state, const KeyLocator *locator, CryptoKey *key) {
    KeyLocatorAddCacheEntry(state, locator->u.indirect.uniqueId, key);
}

} // namespace

KeyLocError KeyLocator_Follow(KeyLocatorState *state, const KeyLocator *locator,
                              KeyLocatorGetDataFn getData, gpointer clientData, KeyLocator **next) {
    *next = nullptr;
    const KeyLocatorIndirect *indirect = KeyLocator_GetIndirect(locator);
    if (!indirect)
        return KEYLOCATOR_ERROR_WRONG_TYPE;
    if (!getData && state) {
        getData = state->getData;
        clientData = state->clientData;
    }
    if (!getData)
        return KEYLOCATOR_ERROR_NO_CALLBACK;
    char *data = nullptr;
    gsize size = 0;
    const gboolean hasAnswer = getData(state, clientData, indirect, &data, &size);
    const SecretBlock answer(data, data ? size : 0);
    if (!hasAnswer)
        return KEYLOCATOR_ERROR_UNKNOWN;
    return indirect->type == KEYLOCATOR_TYPE_PASSPHRASE ? FollowPassphrase(*indirect, answer, next)
                                                        : FollowText(answer, next);
}

KeyLocError KeyLocator_FollowExtract(KeyLocatorState *state, const KeyLocator *locator,
                                     gboolean useCache, KeyLocatorGetDataFn getData,
                                     gpointer clientData, CryptoKey **key) {
    *key = nullptr;
    const bool isCached = useCache && state && KeyLocatorIsCacheable(locator);
    if (isCached) {
        *key = KeyLocatorFindCacheEntry(state, locator->u.indirect.uniqueId);
        if (*key)
            return KEYLOCATOR_ERROR_SUCCESS;
    }
    KeyLocatorPtr step;
    KeyLocError error = KeyLocator_Clone(locator, CryptoOut(step));
    for (int steps = 0; error == KEYLOCATOR_ERROR_SUCCESS; steps++) {
        if (step->type == KEYLOCATOR_TYPE_LEAF)
            break;
        if (steps == kKeyLocatorMaxDepth)
            return KEYLOCATOR_ERROR_INVALID_TEXT; // the answers lead nowhere
        KeyLocatorPtr next;
        error = KeyLocator_Follow(state, step.get(), getData, clientData, CryptoOut(next));
        step = std::move(next);
    }
    if (error == KEYLOCATOR_ERROR_SUCCESS)
        error = KeyLocator_Extract(step.get(), key);
    if (error == KEYLOCATOR_ERROR_SUCCESS && isCached)
        OfferToCache(state, locator, *key);
    return error;
}

KeyLocError KeyLocator_UnlockPair(KeyLocatorState *state, const KeyLocator *pairNode,
                                  CryptoKey *key, gboolean useCache, guint8 **data, gsize *size) {
    *data = nullptr;
    *size = 0;
    const KeyLocatorPair *pair = KeyLocator_GetPair(pairNode);
    if (!pair)
        return KEYLOCATOR_ERROR_WRONG_TYPE;
    guint8 *bytes;
    gsize count;
    const CryptoError error = CryptoKey_DecryptWithMAC(key, pair->mac, pair->lockedData,
                                                       pair->lockedSize, &bytes, &count);
    const SecretBlock plain(bytes, count);
    if (error != CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_CRYPTO;
    SecretBlock copy = SecretBlock::Allocate(plain.size() + 1);
    if (!copy)
        return KEYLOCATOR_ERROR_NO_MEMORY;
    if (plain.size() != 0)
        memcpy(copy.data(), plain.data(), plain.size());
    if (useCache && state && KeyLocatorIsCacheable(pair->locker))
        OfferToCache(state, pair->locker, key);
    ReleasePart(std::move(copy), plain.size(), data, size);
    return KEYLOCATOR_ERROR_SUCCESS;
}
