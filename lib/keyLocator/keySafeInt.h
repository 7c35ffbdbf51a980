/*
 * keySafeInt.h -- the records of rings and safes
 */
#pragma once

#include "lib/keyLocator/keyLocatorInt.h"
#include "lib/keyLocator/keySafe.h"
#include "lib/keyLocator/keySafeUserRing.h"

struct KeySafeUserKey {
    KeySafeUserKey *next; /* in order of addition; nullptr for the last */
    KeyLocator *locator;
    CryptoKey *key;
    guint8 *
        passdata; /* the passphrase with its NUL, as an encrypt-with-MAC record; NULL for other entries */
    gsize passdataSize;
    CryptoKey *passkey; /* of passdata */
};

struct KeySafeUserRing {
    guint32 numKeys;
    KeySafeUserKey *first;
    KeySafeUserKey **end; /* where the next entry is linked */
};

struct KeySafe {
    KeyLocator *locators; /* a list of pairs */
    guint8 *data;         /* the secret; nullptr while the safe is locked */
    gsize dataSize;
};

using KeySafeUserRingPtr = std::unique_ptr<KeySafeUserRing, Release<KeySafeUserRing_Destroy>>;

/* A passphrase that a callback hands out. */
struct KeySafePassphrase {
    const char *text;
    gsize size; /* without a NUL */
};

/* A KeyLocatorGetDataFn; its data is a KeySafePassphrase. */
gboolean KeySafeReturnPassphrase(KeyLocatorState *state, gpointer clientData,
                                 const KeyLocatorIndirect *indirect, char **data, gsize *size);

/* The passphrase of an entry with its NUL; empty after a failure. */
SecretBlock KeySafeUserKeyPassphrase(const KeySafeUserKey &entry);
