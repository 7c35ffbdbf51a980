/*
 * keySafe.h -- a secret that several keys open, each by itself
 *
 *   KeySafe_Seal(ring, &key, NULL, &text, &size);              a new key, locked for each entry of the ring
 *   ...
 *   KeySafe_Unseal(state, text, size, ring, NULL, &key);       by any entry, or by asking the state's callback
 *
 * The secret is in practice an exported CryptoKey. The text is that of a list of pairs (keyLocator.h): one for each way
 * to reach the secret, with the secret locked by it.
 *
 * Ownership: a safe owns what it holds. Results are the caller's: texts are released with Crypto_FreeString(), keys with
 *            CryptoKey_Free().
 * Errors:    codes of keySafeError.h; after a failure, out arguments are NULL and 0. What did not open a safe is not
 *            reported one by one.
 * Threads:   a safe belongs to one thread at a time.
 */
#pragma once

#include <memory>

#include "lib/keyLocator/keyLocator.h"
#include "lib/keyLocator/keySafeError.h"
#include "lib/keyLocator/keySafeUserRing.h"
#include "lib/misc/glibPtr.h"

struct KeySafe;

/* An unlocked safe of a copy of the data. The ring may be NULL: nothing then opens the safe again. */
KeySafeError KeySafe_Create(const KeySafeUserRing *ring, gconstpointer data, gsize size,
                            KeySafe **safe);

/* NULL is allowed. */
void KeySafe_Destroy(KeySafe *safe);
using KeySafePtr = std::unique_ptr<KeySafe, Release<KeySafe_Destroy>>;

KeySafeError KeySafe_Clone(const KeySafe *safe, KeySafe **copy);

/**
 * KeySafe_Seal:
 * @ring: (nullable): who can open the safe
 * @key: (inout) (transfer full): the key to seal; %NULL makes one, with the ring's cipher
 * @safe: (out) (optional): the safe, unlocked
 * @text: (out) (optional): its text
 * @size: (out) (optional): in bytes, with the NUL
 *
 * After a failure a key that was made here is released; a key of the caller's stays.
 */
KeySafeError KeySafe_Seal(const KeySafeUserRing *ring, CryptoKey **key, KeySafe **safe, char **text,
                          gsize *size);

/**
 * KeySafe_Unseal:
 * @state: (nullable): its callback is asked if the ring opens nothing
 * @text: (array length=size): the text of a safe
 * @size: in bytes
 * @ring: (nullable): keys to try
 * @safe: (out) (optional): the safe, unlocked
 * @key: (out) (optional): the key that was sealed
 */
KeySafeError KeySafe_Unseal(KeyLocatorState *state, const char *text, gsize size,
                            const KeySafeUserRing *ring, KeySafe **safe, CryptoKey **key);

/* A locked safe. The size of an exported text counts the NUL. */
KeySafeError KeySafe_Import(const char *text, gsize size, KeySafe **safe);
KeySafeError KeySafe_Export(const KeySafe *safe, char **text, gsize *size);

/**
 * KeySafe_Unlock:
 * @state: (nullable): asked if the ring opens nothing, roles first, then scripts, LDAP, passphrases; its cache
 *   gets the key
 * @safe: the safe
 * @ring: (nullable): tried first
 *
 * Returns: 0, also if the safe was unlocked; but if a passphrase of the ring failed before a key of it opened the
 *   safe, the code of that failure, although the safe is open
 */
KeySafeError KeySafe_Unlock(KeyLocatorState *state, KeySafe *safe, const KeySafeUserRing *ring);

/* Wipes the secret. */
void KeySafe_Lock(KeySafe *safe);

/* The secret, which stays the safe's; KEYSAFE_ERROR_LOCKED without it. */
KeySafeError KeySafe_GetData(const KeySafe *safe, const guint8 **data, gsize *size);

/* Locks the secret for the entries of another ring, too; KEYSAFE_ERROR_LOCKED without it. */
KeySafeError KeySafe_AddLocators(KeySafe *safe, const KeySafeUserRing *ring);

/* A ring of the locators whose keys the state finds; the others are left out. */
KeySafeError KeySafe_RegenerateUserRing(KeyLocatorState *state, const KeySafe *safe,
                                        KeySafeUserRing **ring);

/* The list of pairs, which stays the safe's. */
KeyLocator *KeySafe_GetLocators(const KeySafe *safe);
