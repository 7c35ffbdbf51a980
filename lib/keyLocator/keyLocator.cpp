// lib/keyLocator/keyLocator.cpp
#include "lib/keyLocator/keyLocatorInt.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include <crypto/cryptoDict.h>
#include <crypto/cryptoPassword.h>
#include <crypto/cryptoRandom.h>

#include "lib/misc/base64.h"
#include "lib/misc/panic.h"

namespace {

constexpr gsize kIdSize = 8;
constexpr gsize kSaltSize = 16;
constexpr guint32 kRounds = 1000;

constexpr auto kErrors = std::to_array<const char *>({
    "The operation completed successfully.",
    "Memory exhausted.",
    "Unknown error.",
    "Key locator cache not enabled.",
    "Collision in key locator cache.",
    "Exported cache is bad.",
    "Key locator is of the wrong type.",
    "Exported key locator is invalid.",
    "Illegal locator type.",
    "Invalid element building URL.",
    "Crypto operation failed.",
    "KeyLocator module not initialized.",
    "NULL callback prevents locator follow.",
});
static_assert(kErrors.size() == KEYLOCATOR_ERROR_NO_CALLBACK + 1);

KeyLocator *FromLinks(KeyLocatorLinks *links) {
    return reinterpret_cast<KeyLocator *>(links);
}

void LinkBefore(KeyLocatorLinks *at, KeyLocatorLinks *node) {
    node->prev = at->prev;
    node->next = at;
    at->prev->next = node;
    at->prev = node;
}

void Unlink(KeyLocatorLinks *node) {
    node->prev->next = node->next;
    node->next->prev = node->prev;
    *node = {node, node};
}

bool IsAscii(const char *text) {
    for (; text && *text; text++) {
        if (static_cast<guint8>(*text) >= 0x80)
            return false;
    }
    return true;
}

/* Copies a text, which may be NULL. */
bool CopyText(const char *text, char **copy) {
    *copy = text ? strdup(text) : nullptr;
    return *copy || !text;
}

/* Copies bytes, which may be NULL, and puts a NUL behind them. */
bool CopyBytes(const char *bytes, gsize size, char **copy, gsize *copySize) {
    *copy = nullptr;
    *copySize = 0;
    if (!bytes)
        return true;
    if (size == G_MAXSIZE)
        return false;
    *copy = static_cast<char *>(malloc(size + 1));
    if (!*copy)
        return false;
    memcpy(*copy, bytes, size);
    (*copy)[size] = '\0';
    *copySize = size;
    return true;
}

void ClearIndirect(KeyLocatorIndirect *indirect) {
    Crypto_FreeString(indirect->uniqueId);
    switch (indirect->type) {
    case KEYLOCATOR_TYPE_PASSPHRASE:
        Crypto_Free(indirect->u.phrase.keyGenData, indirect->u.phrase.keyGenDataSize);
        break;
    case KEYLOCATOR_TYPE_LDAP:
        Crypto_FreeString(indirect->u.ldap.string1);
        Crypto_FreeString(indirect->u.ldap.string2);
        Crypto_FreeString(indirect->u.ldap.string3);
        break;
    case KEYLOCATOR_TYPE_SCRIPT:
        Crypto_FreeString(indirect->u.script.path);
        Crypto_Free(indirect->u.script.data, indirect->u.script.dataSize);
        break;
    default: // a role has no more
        break;
    }
}

bool CopyIndirect(const KeyLocatorIndirect &from, KeyLocatorIndirect *to) {
    if (!CopyText(from.uniqueId, &to->uniqueId))
        return false;
    switch (from.type) {
    case KEYLOCATOR_TYPE_PASSPHRASE:
        return CopyBytes(from.u.phrase.keyGenData, from.u.phrase.keyGenDataSize,
                         &to->u.phrase.keyGenData, &to->u.phrase.keyGenDataSize);
    case KEYLOCATOR_TYPE_LDAP:
        to->u.ldap.port = from.u.ldap.port;
        to->u.ldap.isSecure = from.u.ldap.isSecure;
        return CopyText(from.u.ldap.string1, &to->u.ldap.string1) &&
               CopyText(from.u.ldap.string2, &to->u.ldap.string2) &&
               CopyText(from.u.ldap.string3, &to->u.ldap.string3);
    case KEYLOCATOR_TYPE_SCRIPT:
        return CopyText(from.u.script.path, &to->u.script.path) &&
               CopyBytes(from.u.script.data, from.u.script.dataSize, &to->u.script.data,
                         &to->u.script.dataSize);
    default:
        to->u.role = from.u.role;
        return true;
    }
}

KeyLocError CloneAt(const KeyLocator *locator, int depth, KeyLocator **copy);

KeyLocError CloneMembers(const KeyLocator *list, int depth, KeyLocator *copy) {
    for (KeyLocator *node = KeyLocator_ListFirst(list); node;
         node = KeyLocator_ListNext(list, node)) {
        KeyLocator *member;
        const KeyLocError error = CloneAt(node, depth + 1, &member);
        if (error != KEYLOCATOR_ERROR_SUCCESS)
            return error;
        KeyLocator_ListAddLast(copy, member);
    }
    return KEYLOCATOR_ERROR_SUCCESS;
}

KeyLocError ClonePair(const KeyLocatorPair &from, int depth, KeyLocatorPair *to) {
    const KeyLocError error = CloneAt(from.locker, depth + 1, &to->locker);
    if (error != KEYLOCATOR_ERROR_SUCCESS)
        return error;
    SecretBlock locked = SecretBlock::Copy(from.lockedData, from.lockedSize);
    if (!locked)
        return KEYLOCATOR_ERROR_NO_MEMORY;
    to->mac = from.mac;
    to->lockedData = locked.release(&to->lockedSize);
    return KEYLOCATOR_ERROR_SUCCESS;
}

KeyLocError CloneAt(const KeyLocator *locator, int depth, KeyLocator **copy) {
    *copy = nullptr;
    if (depth > kKeyLocatorMaxDepth)
        return KEYLOCATOR_ERROR_INVALID_TEXT;
    KeyLocatorPtr made(KeyLocatorMake(locator->type));
    if (!made)
        return KEYLOCATOR_ERROR_NO_MEMORY;
    KeyLocError error = KEYLOCATOR_ERROR_SUCCESS;
    if (locator->type == KEYLOCATOR_TYPE_LEAF)
        made->u.key = CryptoKey_Clone(locator->u.key);
    else if (locator->type == KEYLOCATOR_TYPE_LIST)
        error = CloneMembers(locator, depth, made.get());
    else if (locator->type == KEYLOCATOR_TYPE_PAIR)
        error = ClonePair(locator->u.pair, depth, &made->u.pair);
    else if (locator->type != KEYLOCATOR_TYPE_NULL &&
             !CopyIndirect(locator->u.indirect, &made->u.indirect))
        error = KEYLOCATOR_ERROR_NO_MEMORY;
    if (error == KEYLOCATOR_ERROR_SUCCESS)
        *copy = made.release();
    return error;
}

/* Writes how a key is made of a passphrase, with a new salt. */
KeyLocError MakeKeyGenData(const char *cipherName, char **text, gsize *size) {
    CryptoCipher *cipher;
    CryptoPass2Key *pass2key;
    if (CryptoCipher_FromString(cipherName, &cipher) != CRYPTO_ERROR_SUCCESS ||
        CryptoPass2Key_FromString("PBKDF2-HMAC-SHA-1", &pass2key) != CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_CRYPTO;
    guint8 salt[kSaltSize];
    CryptoDictPtr dict;
    if (CryptoRandom_GetBytes(salt, sizeof salt) != CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_CRYPTO;
    if (CryptoDict_Create(CryptoOut(dict)) != CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_NO_MEMORY;
    CryptoDict_Set(dict.get(), "pass2key", CryptoPass2Key_ToString(pass2key));
    CryptoDict_Set(dict.get(), "cipher", CryptoCipher_ToString(cipher));
    CryptoDict_SetUint32(dict.get(), "rounds", kRounds);
    CryptoDict_SetBase64(dict.get(), "salt", salt, sizeof salt);
    if (CryptoDict_HadSetError(dict.get()) ||
        CryptoDict_Export(dict.get(), FALSE, text, size) != CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_NO_MEMORY;
    return KEYLOCATOR_ERROR_SUCCESS;
}

KeyLocError Give(KeyLocatorPtr made, KeyLocator **locator) {
    *locator = made.release();
    return *locator ? KEYLOCATOR_ERROR_SUCCESS : KEYLOCATOR_ERROR_NO_MEMORY;
}

bool IsList(const KeyLocator *locator) {
    return locator->type == KEYLOCATOR_TYPE_LIST;
}

/* The head is no locator: it ends the list. */
KeyLocator *MemberOrNull(const KeyLocator *list, KeyLocatorLinks *links) {
    return links == &list->u.members ? nullptr : FromLinks(links);
}

} // namespace

const char *KeyLocError_ToString(KeyLocError error) {
    return error < kErrors.size() ? kErrors[error] : "Unknown KeyLocator error.";
}

KeyLocator *KeyLocatorMake(KeyLocatorType type) {
    auto *locator = static_cast<KeyLocator *>(calloc(1, sizeof(KeyLocator)));
    if (!locator)
        return nullptr;
    locator->links = {&locator->links, &locator->links};
    locator->type = type;
    if (type == KEYLOCATOR_TYPE_LIST)
        locator->u.members = {&locator->u.members, &locator->u.members};
    else if (KeyLocatorClassOfType(type) == KEYLOCATOR_CLASS_INDIRECT)
        locator->u.indirect.type = type;
    return locator;
}

KeyLocError KeyLocatorMakeIndirect(KeyLocatorType type, KeyLocator **locator) {
    *locator = nullptr;
    guint8 id[kIdSize];
    if (CryptoRandom_GetBytes(id, sizeof id) != CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_CRYPTO;
    KeyLocatorPtr made(KeyLocatorMake(type));
    if (!made || !Base64_EasyEncode(id, sizeof id, &made->u.indirect.uniqueId))
        return KEYLOCATOR_ERROR_NO_MEMORY;
    return Give(std::move(made), locator);
}

KeyLocatorClass KeyLocatorClassOfType(KeyLocatorType type) {
    switch (type) {
    case KEYLOCATOR_TYPE_NULL:
    case KEYLOCATOR_TYPE_LEAF:
        return KEYLOCATOR_CLASS_ATOMIC;
    case KEYLOCATOR_TYPE_PASSPHRASE:
    case KEYLOCATOR_TYPE_LDAP:
    case KEYLOCATOR_TYPE_SCRIPT:
    case KEYLOCATOR_TYPE_ROLE:
        return KEYLOCATOR_CLASS_INDIRECT;
    case KEYLOCATOR_TYPE_LIST:
    case KEYLOCATOR_TYPE_PAIR:
        return KEYLOCATOR_CLASS_COMPOUND;
    }
    NOT_REACHED();
}

KeyLocError KeyLocator_CreateList(KeyLocator **locator) {
    return Give(KeyLocatorPtr(KeyLocatorMake(KEYLOCATOR_TYPE_LIST)), locator);
}

KeyLocError KeyLocator_CreateNull(KeyLocator **locator) {
    return Give(KeyLocatorPtr(KeyLocatorMake(KEYLOCATOR_TYPE_NULL)), locator);
}

KeyLocError KeyLocator_CreateLeaf(CryptoKey *key, KeyLocator **locator) {
    KeyLocatorPtr made(KeyLocatorMake(KEYLOCATOR_TYPE_LEAF));
    if (made)
        made->u.key = CryptoKey_Clone(key);
    return Give(std::move(made), locator);
}

KeyLocError KeyLocator_CreateLinkToPassphrase(const char *cipherName, KeyLocator **locator) {
    *locator = nullptr;
    KeyLocatorPtr made;
    KeyLocError error = KeyLocatorMakeIndirect(KEYLOCATOR_TYPE_PASSPHRASE, CryptoOut(made));
    if (error == KEYLOCATOR_ERROR_SUCCESS) {
        auto &phrase = made->u.indirect.u.phrase;
        error = MakeKeyGenData(cipherName, &phrase.keyGenData, &phrase.keyGenDataSize);
    }
    return error == KEYLOCATOR_ERROR_SUCCESS ? Give(std::move(made), locator) : error;
}

KeyLocError KeyLocator_CreateLinkToLDAP(const char *string1, const char *string2, guint32 port,
                                        gboolean isSecure, const char *string3,
                                        KeyLocator **locator) {
    *locator = nullptr;
    if (!string3 || !IsAscii(string1) || !IsAscii(string2) || !IsAscii(string3))
        return KEYLOCATOR_ERROR_INVALID_ELEMENT;
    KeyLocatorPtr made;
    const KeyLocError error = KeyLocatorMakeIndirect(KEYLOCATOR_TYPE_LDAP, CryptoOut(made));
    if (error != KEYLOCATOR_ERROR_SUCCESS)
        return error;
    auto &ldap = made->u.indirect.u.ldap;
    ldap.port = port;
    ldap.isSecure = isSecure;
    if (!CopyText(string1, &ldap.string1) || !CopyText(string2, &ldap.string2) ||
        !CopyText(string3, &ldap.string3))
        return KEYLOCATOR_ERROR_NO_MEMORY;
    return Give(std::move(made), locator);
}

KeyLocError KeyLocator_CreateLinkToScript(const char *path, const char *data, gsize size,
                                          KeyLocator **locator) {
    *locator = nullptr;
    const bool isDataAscii = !data || std::all_of(data, data + size, [](char c) {
        return static_cast<guint8>(c) < 0x80;
    });
    if (!path || !IsAscii(path) || !isDataAscii)
        return KEYLOCATOR_ERROR_INVALID_ELEMENT;
    KeyLocatorPtr made;
    const KeyLocError error = KeyLocatorMakeIndirect(KEYLOCATOR_TYPE_SCRIPT, CryptoOut(made));
    if (error != KEYLOCATOR_ERROR_SUCCESS)
        return error;
    auto &script = made->u.indirect.u.script;
    if (!CopyText(path, &script.path) || !CopyBytes(data, size, &script.data, &script.dataSize))
        return KEYLOCATOR_ERROR_NO_MEMORY;
    return Give(std::move(made), locator);
}

KeyLocError KeyLocator_CreateLinkToRole(KeyLocatorRole role, KeyLocator **locator) {
    *locator = nullptr;
    if (role > KEYLOCATOR_ROLE_SERVER)
        return KEYLOCATOR_ERROR_INVALID_ELEMENT;
    const KeyLocError error = KeyLocatorMakeIndirect(KEYLOCATOR_TYPE_ROLE, locator);
    if (error == KEYLOCATOR_ERROR_SUCCESS)
        (*locator)->u.indirect.u.role = role;
    return error;
}

KeyLocError KeyLocator_CreatePair(const KeyLocator *locker, CryptoKey *key, gconstpointer data,
                                  gsize size, KeyLocator **locator) {
    *locator = nullptr;
    KeyLocatorPtr made(KeyLocatorMake(KEYLOCATOR_TYPE_PAIR));
    if (!made)
        return KEYLOCATOR_ERROR_NO_MEMORY;
    KeyLocatorPair &pair = made->u.pair;
    const KeyLocError error = CloneAt(locker, 2, &pair.locker);
    if (error != KEYLOCATOR_ERROR_SUCCESS)
        return error;
    pair.mac = CryptoKeyedHash_HMAC_SHA_1;
    if (CryptoKey_EncryptWithMAC(key, pair.mac, data, size, &pair.lockedData, &pair.lockedSize) !=
        CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_CRYPTO;
    return Give(std::move(made), locator);
}

KeyLocError KeyLocator_Clone(const KeyLocator *locator, KeyLocator **copy) {
    return CloneAt(locator, 1, copy);
}

/* What a locator owns waits in a chain of its own, so that deep trees need no deep stack. */
void KeyLocator_Destroy(KeyLocator *locator) {
    KeyLocatorLinks *waiting = nullptr;
    const auto wait = [&waiting](KeyLocator *next) {
        if (!next)
            return;
        next->links.next = waiting;
        waiting = &next->links;
    };
    wait(locator);
    while (waiting) {
        KeyLocator *first = FromLinks(waiting);
        waiting = waiting->next;
        if (first->type == KEYLOCATOR_TYPE_LIST) {
            while (KeyLocator *member = KeyLocator_ListFirst(first)) {
                Unlink(&member->links);
                wait(member);
            }
        } else if (first->type == KEYLOCATOR_TYPE_PAIR) {
            wait(first->u.pair.locker);
            Crypto_Free(first->u.pair.lockedData, first->u.pair.lockedSize);
        } else if (first->type == KEYLOCATOR_TYPE_LEAF) {
            CryptoKey_Free(first->u.key);
        } else if (first->type != KEYLOCATOR_TYPE_NULL) {
            ClearIndirect(&first->u.indirect);
        }
        Crypto_Free(first, sizeof *first);
    }
}

KeyLocatorType KeyLocator_GetType(const KeyLocator *locator) {
    return locator->type;
}

KeyLocatorClass KeyLocator_GetClass(const KeyLocator *locator) {
    return KeyLocatorClassOfType(locator->type);
}

const KeyLocatorIndirect *KeyLocator_GetIndirect(const KeyLocator *locator) {
    return KeyLocator_GetClass(locator) == KEYLOCATOR_CLASS_INDIRECT ? &locator->u.indirect
                                                                     : nullptr;
}

const KeyLocatorPair *KeyLocator_GetPair(const KeyLocator *locator) {
    return locator->type == KEYLOCATOR_TYPE_PAIR ? &locator->u.pair : nullptr;
}

KeyLocError KeyLocator_Extract(const KeyLocator *locator, CryptoKey **key) {
    *key = nullptr;
    if (locator->type != KEYLOCATOR_TYPE_LEAF)
        return KEYLOCATOR_ERROR_WRONG_TYPE;
    *key = CryptoKey_Clone(locator->u.key);
    return KEYLOCATOR_ERROR_SUCCESS;
}

gboolean KeyLocator_ListIsEmpty(const KeyLocator *list) {
    return IsList(list) && list->u.members.next == &list->u.members;
}

KeyLocator *KeyLocator_ListFirst(const KeyLocator *list) {
    return IsList(list) ? MemberOrNull(list, list->u.members.next) : nullptr;
}

KeyLocator *KeyLocator_ListLast(const KeyLocator *list) {
    return IsList(list) ? MemberOrNull(list, list->u.members.prev) : nullptr;
}

KeyLocator *KeyLocator_ListNext(const KeyLocator *list, const KeyLocator *node) {
    return IsList(list) ? MemberOrNull(list, node->links.next) : nullptr;
}

KeyLocator *KeyLocator_ListPrev(const KeyLocator *list, const KeyLocator *node) {
    return IsList(list) ? MemberOrNull(list, node->links.prev) : nullptr;
}

gboolean KeyLocator_ListRemove(KeyLocator *list, KeyLocator *node) {
    if (!IsList(list))
        return FALSE;
    Unlink(&node->links);
    return TRUE;
}

gboolean KeyLocator_ListAddFirst(KeyLocator *list, KeyLocator *node) {
    if (!IsList(list))
        return FALSE;
    LinkBefore(list->u.members.next, &node->links);
    return TRUE;
}

gboolean KeyLocator_ListAddLast(KeyLocator *list, KeyLocator *node) {
    if (!IsList(list))
        return FALSE;
    LinkBefore(&list->u.members, &node->links);
    return TRUE;
}

gboolean KeyLocator_ListAddBefore(KeyLocator *list, KeyLocator *member, KeyLocator *node) {
    if (!IsList(list))
        return FALSE;
    LinkBefore(&member->links, &node->links);
    return TRUE;
}

gboolean KeyLocator_ListAddAfter(KeyLocator *list, KeyLocator *member, KeyLocator *node) {
    if (!IsList(list))
        return FALSE;
    LinkBefore(member->links.next, &node->links);
    return TRUE;
}
