/*
 * keyLocatorInt.h -- what the sources of locators share: the record, owners, names, and the cache's inner functions
 */
#pragma once

#include <memory>
#include <string_view>

#include "lib/crypto/cryptoOwner.h"
#include "lib/keyLocator/keyLocator.h"
#include "lib/lock/mxUser.h"
#include "lib/misc/glibPtr.h"

/* A circular list; a single one links to itself. */
struct KeyLocatorLinks {
    KeyLocatorLinks *prev;
    KeyLocatorLinks *next;
};

struct KeyLocator {
    KeyLocatorLinks links; /* among the members of a list; first, so that links are locators */
    KeyLocatorType type;
    union {
        CryptoKey *key;              /* rawkey */
        KeyLocatorIndirect indirect; /* phrase, ldap, script, role */
        KeyLocatorLinks members;     /* list: its head */
        KeyLocatorPair pair;
    } u;
};

using KeyLocatorPtr = std::unique_ptr<KeyLocator, Release<KeyLocator_Destroy>>;

/* Returns a locator without contents, or nullptr without memory. */
KeyLocator *KeyLocatorMake(KeyLocatorType type);

/* The same for an indirect one with an id of its own. */
KeyLocError KeyLocatorMakeIndirect(KeyLocatorType type, KeyLocator **locator);

KeyLocatorClass KeyLocatorClassOfType(KeyLocatorType type);

/* As KeyLocator_Import(), for a text that need not end in a NUL. */
KeyLocError KeyLocatorImportText(std::string_view text, KeyLocator **locator);

/* ---- the state ---- */

struct KeyLocatorCacheEntry {
    KeyLocatorCacheEntry *prev;
    KeyLocatorCacheEntry *next;
    char *uniqueId;
    CryptoKey *key;
};

struct KeyLocatorState {
    MXUserExclLock *lock; /* guards all below but the callback */
    gboolean isHeld;
    KeyLocatorGetDataFn getData;
    gpointer clientData;
    gboolean isCacheEnabled;
    guint32 cacheSize;
    KeyLocatorCacheEntry *newest;
    KeyLocatorCacheEntry *oldest;
};

/* Whether the key of a locator may be kept: it has an id. */
bool KeyLocatorIsCacheable(const KeyLocator *locator);

/* A clone of the key; nullptr if there is none or the cache is disabled. */
CryptoKey *KeyLocatorFindCacheEntry(KeyLocatorState *state, const char *uniqueId);
KeyLocError KeyLocatorAddCacheEntry(KeyLocatorState *state, const char *uniqueId, CryptoKey *key);
