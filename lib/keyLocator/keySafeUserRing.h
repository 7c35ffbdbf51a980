/*
 * keySafeUserRing.h -- the keys that a user offers to seal or to open a key safe with
 *
 *   KeySafeUserRing *ring;
 *   KeySafeUserRing_Create(&ring);
 *   KeySafeUserRing_AddPassphrase(ring, "correct horse", "AES-256");
 *   KeySafe_Seal(ring, &key, NULL, &text, &size);
 *   KeySafeUserRing_Destroy(ring);
 *
 * Each entry is a locator that says what the key is, and the key itself. An entry of a passphrase also keeps the
 * passphrase, encrypted under a key of its own, so that a safe can be locked again without asking for it.
 *
 * An exported ring must be treated as if it showed its keys: see keySafeRingWrapPassphrase.h.
 *
 * Ownership: a ring owns clones of what is added. Results are the caller's, released with Crypto_FreeString() and
 *            CryptoKey_Free().
 * Errors:    codes of keySafeError.h; after a failure, out arguments are NULL and 0.
 * Threads:   a ring belongs to one thread at a time.
 */
#pragma once

#include "lib/keyLocator/keyLocator.h"
#include "lib/keyLocator/keySafeError.h"

struct KeySafeUserRing;

KeySafeError KeySafeUserRing_Create(KeySafeUserRing **ring);

/* NULL is allowed. */
void KeySafeUserRing_Destroy(KeySafeUserRing *ring);
KeySafeError KeySafeUserRing_Clone(const KeySafeUserRing *ring, KeySafeUserRing **copy);

/* Appends clones of the other ring's entries; after a failure none of them. */
KeySafeError KeySafeUserRing_AddRing(KeySafeUserRing *ring, const KeySafeUserRing *other);

gboolean KeySafeUserRing_IsEmpty(const KeySafeUserRing *ring);
int KeySafeUserRing_GetNumKeys(const KeySafeUserRing *ring);

/* A clone of a key; KEYSAFE_ERROR_PARAMETER if there is none at the index. */
KeySafeError KeySafeUserRing_GetKey(const KeySafeUserRing *ring, int index, CryptoKey **key);

/* A key that nothing leads to: a safe that is sealed with it can be opened by this key alone. */
KeySafeError KeySafeUserRing_AddKey(KeySafeUserRing *ring, CryptoKey *key);

/* A locator of a raw key is replaced by one that leads nowhere: the key must not travel in the text of a safe. */
KeySafeError KeySafeUserRing_AddLocator(KeySafeUserRing *ring, const KeyLocator *locator,
                                        CryptoKey *key);

KeySafeError KeySafeUserRing_AddPassphrase(KeySafeUserRing *ring, const char *passphrase,
                                           const char *cipherName);

/* The same; the key that is derived also goes to the state's cache. */
KeySafeError KeySafeUserRing_AddPassphraseWithCaching(KeySafeUserRing *ring, const char *passphrase,
                                                      const char *cipherName,
                                                      KeyLocatorState *state);

/* A key that a role of the name "server" leads to; it also goes to the cache of the state, if there is one. */
KeySafeError KeySafeUserRing_AddServerKeyWithCaching(KeySafeUserRing *ring, CryptoKey *key,
                                                     KeyLocatorState *state);

/* The passphrase of a ring with one entry; NULL if that has none. KEYSAFE_ERROR_PARAMETER for other rings. */
KeySafeError KeySafeUserRing_GetOnePassphrase(const KeySafeUserRing *ring, char **passphrase);

/* The cipher that all symmetric keys of the ring have, which may be NULL; AES-128 if there is no such key. */
KeySafeError KeySafeUserRing_GetAppropriateCipher(const KeySafeUserRing *ring,
                                                  CryptoCipher **cipher);

/* The size does not count the NUL. */
KeySafeError KeySafeUserRing_Export(const KeySafeUserRing *ring, gboolean withPassData, char **text,
                                    gsize *size);
KeySafeError KeySafeUserRing_Import(const char *text, gsize size, KeySafeUserRing **ring);
