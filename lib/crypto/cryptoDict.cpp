/*
 * cryptoDict.cpp -- a list of entries, an index beside it, and its two text forms
 *
 *   text      = pair {":" pair}             in one line
 *             | {pair newline}              in many lines
 *   pair      = escaped "=" escaped
 *   escaped   = {byte | "%" digit digit}    lower-case hexadecimal digits
 *
 * Reading takes any run of ":", newline and carriage return for a separator, digits of either case, and "%" without
 * two digits for itself.
 */
#include <crypto/cryptoDict.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <crypto/cryptoRandom.h>

#include "lib/crypto/cryptoOwner.h"
#include "lib/misc/base64.h"
#include "lib/misc/log.h"
#include "lib/misc/sipHash.h"

namespace {

constexpr char kDigits[] = "0123456789abcdef";
constexpr std::string_view kSeparators = ":\n\r";
/* A shorter list is searched from its head. */
constexpr gsize kIndexedFrom = 16;

struct Entry {
    Entry *next;
    char *key; /* begins the block that also holds the value */
    char *value;
    gsize room; /* size of that block; decoded texts may hold NULs before its end */
};

/* A place of the index, in the manner of open addressing. */
struct Slot {
    guint64 hash;
    Entry *entry; /* NULL: free */
};

constexpr std::array<bool, 256> MakeEscaped() {
    std::array<bool, 256> escaped = {};
    for (size_t c = 0; c < escaped.size(); c++)
        escaped[c] = c < 0x20 || c > 0x7e || c == '%' || c == '=' || c == ':';
    return escaped;
}
constexpr std::array<bool, 256> kEscaped = MakeEscaped();

} // namespace

struct CryptoDict {
    gboolean hadSetError;
    Entry *head;
    Entry **tail; /* where the next entry is linked */
    gsize numEntries;
    /* The index; NULL while the list is short, and when there was no memory for it: then the list is searched. */
    Slot *slots;
    gsize numSlots; /* a power of two, at least twice the entries */
    SipHashKey hashKey;
};

struct CryptoDictIterator {
    const Entry *next;
};

const char CryptoDict_NotFound[] = "";

namespace {

guint64 HashOfKey(const CryptoDict *dict, const char *key) {
    return SipHash_Compute(&dict->hashKey, key, strlen(key));
}

/* Returns the slot of the key, or the free one where it belongs. */
Slot *FindSlot(const CryptoDict *dict, guint64 hash, const char *key) {
    const gsize mask = dict->numSlots - 1;
    gsize at = hash & mask;
    for (;; at = (at + 1) & mask) {
        Slot *slot = &dict->slots[at];
        if (!slot->entry || (slot->hash == hash && strcmp(slot->entry->key, key) == 0))
            return slot;
    }
}

Entry *FindEntry(const CryptoDict *dict, const char *key) {
    if (dict->slots)
        return FindSlot(dict, HashOfKey(dict, key), key)->entry;
    Entry *entry = dict->head;
    while (entry && strcmp(entry->key, key) != 0)
        entry = entry->next;
    return entry;
}

void DropIndex(CryptoDict *dict) {
    Crypto_Free(dict->slots, dict->numSlots * sizeof(Slot));
    dict->slots = nullptr;
    dict->numSlots = 0;
}

/* Makes the index anew for twice the entries. A failure leaves none, which costs time only. */
void GrowIndex(CryptoDict *dict) {
    if (!dict->slots && CryptoRandom_GetBytes(&dict->hashKey, sizeof dict->hashKey) != 0)
        return;
    DropIndex(dict);
    gsize numSlots = kIndexedFrom;
    while (numSlots < dict->numEntries * 4)
        numSlots *= 2;
    dict->slots = static_cast<Slot *>(calloc(numSlots, sizeof(Slot)));
    if (!dict->slots)
        return;
    dict->numSlots = numSlots;
    for (Entry *entry = dict->head; entry; entry = entry->next) {
        const guint64 hash = HashOfKey(dict, entry->key);
        *FindSlot(dict, hash, entry->key) = {hash, entry};
    }
}

void AppendEntry(CryptoDict *dict, Entry *entry) {
    *dict->tail = entry;
    dict->tail = &entry->next;
    dict->numEntries++;
    if (dict->numEntries < kIndexedFrom)
        return;
    if (dict->numEntries * 2 > dict->numSlots) {
        GrowIndex(dict);
        return;
    }
    const guint64 hash = HashOfKey(dict, entry->key);
    *FindSlot(dict, hash, entry->key) = {hash, entry};
}

CryptoError FailSet(CryptoDict *dict) {
    dict->hadSetError = TRUE;
    return CRYPTO_ERROR_NO_MEMORY;
}

/*
 * Adds or replaces an entry. The two functions write the key and the value, of at most so many bytes, and return
 * the place behind; what is replaced is read before it is released.
 */
template <class Write>
CryptoError PutPair(CryptoDict *dict, std::string_view key, std::string_view value, Write write) {
    const gsize room = key.size() + value.size() + 2;
    auto *block = static_cast<char *>(malloc(room));
    if (!block)
        return FailSet(dict);
    char *end = write(key, block);
    *end++ = '\0';
    char *valueStart = end;
    end = write(value, valueStart);
    *end = '\0';

    Entry *entry = FindEntry(dict, block);
    if (entry) {
        Crypto_Free(entry->key, entry->room);
        entry->key = block;
        entry->value = valueStart;
        entry->room = room;
        return CRYPTO_ERROR_SUCCESS;
    }
    entry = static_cast<Entry *>(malloc(sizeof(Entry)));
    if (!entry) {
        Crypto_Free(block, room);
        return FailSet(dict);
    }
    *entry = {nullptr, block, valueStart, room};
    AppendEntry(dict, entry);
    return CRYPTO_ERROR_SUCCESS;
}

char *WritePlain(std::string_view text, char *to) {
    memcpy(to, text.data(), text.size());
    return to + text.size();
}

char *WriteDecoded(std::string_view text, char *to) {
    for (;;) {
        const gsize percent = std::min(text.find('%'), text.size());
        to = WritePlain(text.substr(0, percent), to);
        text.remove_prefix(percent);
        if (text.empty())
            return to;
        const int high = text.size() > 2 ? g_ascii_xdigit_value(text[1]) : -1;
        const int low = text.size() > 2 ? g_ascii_xdigit_value(text[2]) : -1;
        const bool isEscape = high >= 0 && low >= 0;
        *to++ = isEscape ? static_cast<char>(high * 16 + low) : '%';
        text.remove_prefix(isEscape ? 3 : 1);
    }
}

gsize EscapedLength(const char *text) {
    gsize length = 0;
    for (; *text; text++)
        length += kEscaped[static_cast<guint8>(*text)] ? 3 : 1;
    return length;
}

char *WriteEscaped(const char *text, char *to) {
    for (; *text; text++) {
        const auto byte = static_cast<guint8>(*text);
        if (!kEscaped[byte]) {
            *to++ = *text;
            continue;
        }
        *to++ = '%';
        *to++ = kDigits[byte >> 4];
        *to++ = kDigits[byte & 15];
    }
    return to;
}

} // namespace

CryptoError CryptoDict_Create(CryptoDict **dict) {
    *dict = static_cast<CryptoDict *>(calloc(1, sizeof(CryptoDict)));
    if (!*dict)
        return CRYPTO_ERROR_NO_MEMORY;
    (*dict)->tail = &(*dict)->head;
    return CRYPTO_ERROR_SUCCESS;
}

void CryptoDict_Free(CryptoDict *dict) {
    if (!dict)
        return;
    DropIndex(dict);
    for (Entry *entry = dict->head; entry;) {
        Entry *next = entry->next;
        Crypto_Free(entry->key, entry->room);
        free(entry);
        entry = next;
    }
    Crypto_Free(dict, sizeof *dict);
}

CryptoError CryptoDict_Set(CryptoDict *dict, const char *key, const char *value) {
    return PutPair(dict, key, value, WritePlain);
}

CryptoError CryptoDict_SetUint32(CryptoDict *dict, const char *key, guint32 value) {
    char digits[16];
    snprintf(digits, sizeof digits, "%lu", static_cast<unsigned long>(value));
    return CryptoDict_Set(dict, key, digits);
}

CryptoError CryptoDict_SetBase64(CryptoDict *dict, const char *key, gconstpointer data,
                                 gsize size) {
    CryptoText text;
    if (!Base64_EasyEncode(static_cast<const guint8 *>(data), size, CryptoOut(text))) {
        Log("base-64 encoding failed\n");
        dict->hadSetError = TRUE;
        return CRYPTO_ERROR_FAILED;
    }
    return CryptoDict_Set(dict, key, text.get());
}

gboolean CryptoDict_HadSetError(const CryptoDict *dict) {
    return dict->hadSetError;
}

const char *CryptoDict_Get(const CryptoDict *dict, const char *key) {
    const Entry *entry = FindEntry(dict, key);
    return entry ? entry->value : CryptoDict_NotFound;
}

CryptoError CryptoDict_GetUint32(const CryptoDict *dict, const char *key, guint32 *value) {
    *value = 0;
    const char *text = CryptoDict_Get(dict, key);
    if (text == CryptoDict_NotFound)
        return CRYPTO_ERROR_NAME_NOT_FOUND;
    char *end;
    const unsigned long number = strtoul(text, &end, 0);
    if (*end != '\0')
        return CRYPTO_ERROR_FAILED;
    *value = static_cast<guint32>(number);
    return CRYPTO_ERROR_SUCCESS;
}

CryptoError CryptoDict_GetBase64(const CryptoDict *dict, const char *key, guint8 **data,
                                 gsize *size) {
    *data = nullptr;
    *size = 0;
    const char *text = CryptoDict_Get(dict, key);
    if (text == CryptoDict_NotFound)
        return CRYPTO_ERROR_NAME_NOT_FOUND;
    if (Base64_EasyDecode(text, data, size))
        return CRYPTO_ERROR_SUCCESS;
    Log("base-64 decoding failed\n");
    return CRYPTO_ERROR_FAILED;
}

CryptoError CryptoDict_Export(const CryptoDict *dict, gboolean multiLine, char **text,
                              gsize *size) {
    *text = nullptr;
    *size = 0;
    gsize room = 1;
    for (const Entry *entry = dict->head; entry; entry = entry->next)
        room += EscapedLength(entry->key) + EscapedLength(entry->value) + 2;
    auto *start = static_cast<char *>(malloc(room));
    if (!start)
        return CRYPTO_ERROR_NO_MEMORY;

    char *to = start;
    for (const Entry *entry = dict->head; entry; entry = entry->next) {
        to = WriteEscaped(entry->key, to);
        *to++ = '=';
        to = WriteEscaped(entry->value, to);
        if (multiLine)
            *to++ = '\n';
        else if (entry->next)
            *to++ = ':';
    }
    *to = '\0';
    *text = start;
    *size = static_cast<gsize>(to - start);
    return CRYPTO_ERROR_SUCCESS;
}

CryptoError CryptoDict_Import(CryptoDict *dict, const char *text, gsize size) {
    std::string_view rest(text, size);
    for (;;) {
        rest.remove_prefix(std::min(rest.find_first_not_of(kSeparators), rest.size()));
        if (rest.empty())
            return CRYPTO_ERROR_SUCCESS;
        const std::string_view field = rest.substr(0, rest.find_first_of(kSeparators));
        rest.remove_prefix(field.size());
        const gsize equals = std::min(field.find('='), field.size());
        const std::string_view value = field.substr(std::min(equals + 1, field.size()));
        const CryptoError error = PutPair(dict, field.substr(0, equals), value, WriteDecoded);
        if (error != CRYPTO_ERROR_SUCCESS)
            return error;
    }
}

CryptoError CryptoDict_CreateAndImport(const char *text, gsize size, CryptoDict **dict) {
    *dict = nullptr;
    CryptoDictPtr made;
    CryptoError error = CryptoDict_Create(CryptoOut(made));
    if (error == CRYPTO_ERROR_SUCCESS)
        error = CryptoDict_Import(made.get(), text, size);
    if (error == CRYPTO_ERROR_SUCCESS)
        *dict = made.release();
    return error;
}

CryptoDictIterator *CryptoDictIterator_Create(const CryptoDict *dict) {
    auto *iterator = static_cast<CryptoDictIterator *>(malloc(sizeof(CryptoDictIterator)));
    if (iterator)
        iterator->next = dict->head;
    return iterator;
}

gboolean CryptoDictIterator_HasNext(const CryptoDictIterator *iterator) {
    return iterator->next != nullptr;
}

gboolean CryptoDictIterator_Next(CryptoDictIterator *iterator, const char **key,
                                 const char **value) {
    const Entry *entry = iterator->next;
    *key = entry ? entry->key : nullptr;
    *value = entry ? entry->value : nullptr;
    iterator->next = entry ? entry->next : nullptr;
    return entry != nullptr;
}

void CryptoDictIterator_Destroy(CryptoDictIterator *iterator) {
    free(iterator);
}
