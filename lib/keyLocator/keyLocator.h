/*
 * keyLocator.h -- where a key is to be found: the key itself, a passphrase, an LDAP entry, a script, a role, or a list
 * or pair of such
 *
 *   halden:key/phrase/8nB5ij1BTg8%3d/pass2key%3dPBKDF2%2dHMAC%2dSHA%2d1%3acipher%3dAES%2d256%3arounds%3d1000%3asalt...
 *   halden:key/list/(pair/(role/q5bX...%3d/server,HMAC%2dSHA%2d1,4r2b...),pair/(...))
 *
 *   class       type                                 what it holds
 *   atomic      null, rawkey                         nothing; a key
 *   indirect    phrase, ldap, script, role           what the application needs to find the next step, and an id
 *   compound    list                                 locators
 *               pair                                 a locator and data that is encrypted with the key it leads to
 *
 * Following an indirect locator asks the application, by a callback, for a passphrase or for the text of another
 * locator, until a raw key comes out. A state may keep the keys of locators by their ids, so that nobody is asked twice.
 *
 * The text of a raw key and an exported cache hide their keys from a casual look only: see keyLocatorWrapPassphrase.h.
 *
 * Ownership: a locator owns its members; functions that store a locator or key clone it, except the list functions,
 *            which take the locator over. Results are the caller's: texts and blocks are released with Crypto_FreeString()
 *            and Crypto_Free(), keys with CryptoKey_Free().
 * Errors:    codes below; after a failure, out arguments are NULL and 0.
 * Threads:   a tree of locators belongs to one thread at a time. A state may be used by several at once.
 */
#pragma once

#include <crypto/cryptoKey.h>

/* 0 for success. */
typedef guint32 KeyLocError;

enum {
    KEYLOCATOR_ERROR_SUCCESS = 0,
    KEYLOCATOR_ERROR_NO_MEMORY = 1,
    KEYLOCATOR_ERROR_UNKNOWN = 2,
    KEYLOCATOR_ERROR_CACHE_DISABLED = 3,
    KEYLOCATOR_ERROR_CACHE_COLLISION = 4, /* the id is in the cache */
    KEYLOCATOR_ERROR_BAD_CACHE = 5,
    KEYLOCATOR_ERROR_WRONG_TYPE = 6,
    KEYLOCATOR_ERROR_INVALID_TEXT = 7,
    KEYLOCATOR_ERROR_ILLEGAL_TYPE = 8,
    KEYLOCATOR_ERROR_INVALID_ELEMENT = 9, /* a text that cannot be exported */
    KEYLOCATOR_ERROR_CRYPTO = 10,
    KEYLOCATOR_ERROR_NOT_INITIALIZED = 11,
    KEYLOCATOR_ERROR_NO_CALLBACK = 12,
};

const char *KeyLocError_ToString(KeyLocError error);

enum KeyLocatorType {
    KEYLOCATOR_TYPE_NULL = 1,
    KEYLOCATOR_TYPE_LEAF = 2,
    KEYLOCATOR_TYPE_PASSPHRASE = 3,
    KEYLOCATOR_TYPE_LDAP = 4,
    KEYLOCATOR_TYPE_SCRIPT = 5,
    KEYLOCATOR_TYPE_ROLE = 6,
    KEYLOCATOR_TYPE_LIST = 7,
    KEYLOCATOR_TYPE_PAIR = 8,
};

enum KeyLocatorClass {
    KEYLOCATOR_CLASS_ATOMIC = 1,
    KEYLOCATOR_CLASS_INDIRECT = 2,
    KEYLOCATOR_CLASS_COMPOUND = 3,
};

enum KeyLocatorRole {
    KEYLOCATOR_ROLE_OBFUSCATION = 0,
    KEYLOCATOR_ROLE_ADMIN_IDENT = 1,
    KEYLOCATOR_ROLE_ADMIN_RECOVERY = 2,
    KEYLOCATOR_ROLE_SERVER = 3,
};

/* Locators nested deeper are refused, as is a chain of more steps. */
inline constexpr int kKeyLocatorMaxDepth = 256;

struct KeyLocator;
struct KeyLocatorState;

/* What an indirect locator says. Texts are ASCII. */
struct KeyLocatorIndirect {
    KeyLocatorType type;
    char *uniqueId;
    union {
        struct {
            char *keyGenData; /* a CryptoDict text: pass2key, cipher, rounds, salt */
            gsize keyGenDataSize;
        } phrase;
        struct {
            char *string1; /* may be NULL */
            char *string2; /* may be NULL */
            guint32 port;
            gboolean isSecure;
            char *string3;
        } ldap;
        struct {
            char *path;
            char *data; /* may be NULL; a NUL is behind it */
            gsize dataSize;
        } script;
        KeyLocatorRole role;
    } u;
};

struct KeyLocatorPair {
    KeyLocator *locker;
    CryptoKeyedHash *mac;
    guint8 *lockedData; /* encrypted with the key that the locker leads to */
    gsize lockedSize;
};

/**
 * KeyLocatorGetDataFn:
 * @state: (nullable): the state that is followed with
 * @clientData: what was given with the callback
 * @indirect: what is asked for
 * @data: (out) (transfer full): the passphrase; or the text of the next locator: a block from malloc()
 * @size: (out): in bytes, without a NUL
 *
 * Returns: whether there is an answer
 */
typedef gboolean (*KeyLocatorGetDataFn)(KeyLocatorState *state, gpointer clientData,
                                        const KeyLocatorIndirect *indirect, char **data,
                                        gsize *size);

/* ---- making ---- */

KeyLocError KeyLocator_CreateList(KeyLocator **locator);
KeyLocError KeyLocator_CreateNull(KeyLocator **locator);

/* A raw key; the key is cloned. */
KeyLocError KeyLocator_CreateLeaf(CryptoKey *key, KeyLocator **locator);

/* A passphrase that makes a key of this cipher. The passphrase itself is not held. */
KeyLocError KeyLocator_CreateLinkToPassphrase(const char *cipherName, KeyLocator **locator);

/* The texts mean what the application's callback makes of them; all but the third may be NULL. They must be ASCII,
 * else KEYLOCATOR_ERROR_INVALID_ELEMENT. */
KeyLocError KeyLocator_CreateLinkToLDAP(const char *string1, const char *string2, guint32 port,
                                        gboolean isSecure, const char *string3,
                                        KeyLocator **locator);

/* The data may be NULL; what is behind a NUL in it is not exported. Both must be ASCII, as above. */
KeyLocError KeyLocator_CreateLinkToScript(const char *path, const char *data, gsize size,
                                          KeyLocator **locator);
KeyLocError KeyLocator_CreateLinkToRole(KeyLocatorRole role, KeyLocator **locator);

/* Encrypts the data with the key. The locker, which is cloned, tells how to find that key. */
KeyLocError KeyLocator_CreatePair(const KeyLocator *locker, CryptoKey *key, gconstpointer data,
                                  gsize size, KeyLocator **locator);

/* A deep copy: keys are cloned, ids are kept. */
KeyLocError KeyLocator_Clone(const KeyLocator *locator, KeyLocator **copy);

/* Wipes and frees a locator, which must not be in a list, with all that it owns. NULL is allowed. */
void KeyLocator_Destroy(KeyLocator *locator);

/* ---- reading ---- */

KeyLocatorType KeyLocator_GetType(const KeyLocator *locator);
KeyLocatorClass KeyLocator_GetClass(const KeyLocator *locator);

/* NULL unless the class is indirect; NULL unless the type is pair. */
const KeyLocatorIndirect *KeyLocator_GetIndirect(const KeyLocator *locator);
const KeyLocatorPair *KeyLocator_GetPair(const KeyLocator *locator);

/* A clone of a raw key; KEYLOCATOR_ERROR_WRONG_TYPE for other locators. */
KeyLocError KeyLocator_Extract(const KeyLocator *locator, CryptoKey **key);

/* ---- lists: for a locator that is none the result is NULL or FALSE ---- */

gboolean KeyLocator_ListIsEmpty(const KeyLocator *list);
KeyLocator *KeyLocator_ListFirst(const KeyLocator *list);
KeyLocator *KeyLocator_ListLast(const KeyLocator *list);

/* NULL at the end. */
KeyLocator *KeyLocator_ListNext(const KeyLocator *list, const KeyLocator *node);
KeyLocator *KeyLocator_ListPrev(const KeyLocator *list, const KeyLocator *node);

/* The node is the caller's afterwards. */
gboolean KeyLocator_ListRemove(KeyLocator *list, KeyLocator *node);

/* The list takes the node over. */
gboolean KeyLocator_ListAddFirst(KeyLocator *list, KeyLocator *node);
gboolean KeyLocator_ListAddLast(KeyLocator *list, KeyLocator *node);
gboolean KeyLocator_ListAddBefore(KeyLocator *list, KeyLocator *member, KeyLocator *node);
gboolean KeyLocator_ListAddAfter(KeyLocator *list, KeyLocator *member, KeyLocator *node);

/* ---- text ---- */

/* The text has a NUL behind it and is secret: release it with Crypto_FreeString(). */
KeyLocError KeyLocator_Export(const KeyLocator *locator, char **text);

/* What a text holds after its first locator is not read. Bytes above 0x7f are invalid, also when they are escaped. */
KeyLocError KeyLocator_Import(const char *text, KeyLocator **locator);

/* ---- following ---- */

/* FALSE without memory. The callback may be NULL. */
gboolean KeyLocator_AllocState(KeyLocatorGetDataFn getData, gpointer clientData,
                               KeyLocatorState **state);

/* NULL is allowed. */
void KeyLocator_FreeState(KeyLocatorState *state);

/**
 * KeyLocator_Follow:
 * @state: (nullable): its callback is used if @getData is %NULL
 * @locator: an indirect locator
 * @getData: (nullable) (scope call): answers for the locator
 * @clientData: handed to @getData
 * @next: (out) (transfer full) (nullable): where the locator leads
 *
 * A passphrase locator leads to the key that is made of the passphrase. More than 10,000,000 rounds are refused with
 * KEYLOCATOR_ERROR_CRYPTO.
 */
KeyLocError KeyLocator_Follow(KeyLocatorState *state, const KeyLocator *locator,
                              KeyLocatorGetDataFn getData, gpointer clientData, KeyLocator **next);

/* Follows to the end. With useCache and a state, the cache is asked first and is given the key. */
KeyLocError KeyLocator_FollowExtract(KeyLocatorState *state, const KeyLocator *locator,
                                     gboolean useCache, KeyLocatorGetDataFn getData,
                                     gpointer clientData, CryptoKey **key);

/* Decrypts the data of a pair with the key that its locker leads to. A NUL is behind the data. With useCache and a
 * state, the cache is given the key. */
KeyLocError KeyLocator_UnlockPair(KeyLocatorState *state, const KeyLocator *pair, CryptoKey *key,
                                  gboolean useCache, guint8 **data, gsize *size);

/* ---- the cache: at most 50 keys, of which the oldest is dropped first ---- */

/* A new state has it disabled. Disabling does not clear it. */
void KeyLocator_EnableKeyCache(KeyLocatorState *state);
void KeyLocator_DisableKeyCache(KeyLocatorState *state);

/* No effect while the cache is disabled. */
void KeyLocator_ClearKeyCache(KeyLocatorState *state);

/* The size counts the NUL. */
KeyLocError KeyLocator_ExportKeyCache(KeyLocatorState *state, char **text, gsize *size);

/* Replaces what the cache holds; after a failure it is empty. */
KeyLocError KeyLocator_ImportKeyCache(KeyLocatorState *state, const char *text, gsize size);

/* ---- files ---- */

/**
 * KeyLocator_ExtractCipherFromConfigFile:
 * @path: an encrypted dictionary (lib/dict/dictionaryFile.h)
 * @cipherName: (out) (transfer full) (nullable): to be released with Crypto_FreeString()
 *
 * Reads which cipher the passphrases of a file make keys of, without a passphrase. Defined in lib/dict, so liborvane does not
 * contain it.
 *
 * Returns: 0; KEYLOCATOR_ERROR_UNKNOWN without a readable key safe; KEYLOCATOR_ERROR_CRYPTO if no passphrase opens the
 *   file, or if its passphrases have different ciphers. The log has the reason.
 */
KeyLocError KeyLocator_ExtractCipherFromConfigFile(const char *path, char **cipherName);
