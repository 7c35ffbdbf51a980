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

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <crypto/cryptoRandom.h>

#include "lib/crypto/cryptoOwner.h"
#include "lib/misc/base64.h"
#include "lib/misc/log.h"
#include "lib/misc/sipHash.h"

namespace {

constexpr char kDigits[] = "0123456789abcdef";
/* A shorter list is searched from its head. */
constexpr gsize kIndexedFrom = 16;

struct Entry {
    Entry *next;
    char *key; /* the value follows it */
    char *value;
    gsize room;       /* of both; decoded texts may hold NULs before their ends */
    bool hasOwnBlock; /* whether key begins a block; else both are in one that an import made */
};

/* Entries that were allocated together. */
struct EntryBlock {
    EntryBlock *next;
    gsize numUsed;
    gsize numEntries;
    Entry entries[];
};
constexpr gsize kMaxEntriesInBlock = 1024;

/* The decoded texts of an import. */
struct TextBlock {
    TextBlock *next;
    gsize room;
    char texts[];
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

/* What a byte can be in a text that is read. */
enum : guint8 { ENDS_KEY = 1, ENDS_VALUE = 2, BEGINS_ESCAPE = 4 };

constexpr std::array<guint8, 256> MakeMeanings() {
    std::array<guint8, 256> meanings = {};
    for (const char separator : {':', '\n', '\r'})
        meanings[static_cast<guint8>(separator)] = ENDS_KEY | ENDS_VALUE;
    meanings['='] = ENDS_KEY;
    meanings['%'] = BEGINS_ESCAPE;
    return meanings;
}
constexpr std::array<guint8, 256> kMeanings = MakeMeanings();

guint8 MeaningOf(char c) {
    return kMeanings[static_cast<guint8>(c)];
}

} // namespace

struct CryptoDict {
    gboolean hadSetError;
    Entry *head;
    Entry **tail; /* where the next entry is linked */
    gsize numEntries;
    EntryBlock *entryBlocks; /* the newest first */
    TextBlock *textBlocks;
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

/* Returns the free slot where a key of this hash belongs that is not in the index. */
Slot *FindFreeSlot(const CryptoDict *dict, guint64 hash) {
    const gsize mask = dict->numSlots - 1;
    gsize at = hash & mask;
    while (dict->slots[at].entry)
        at = (at + 1) & mask;
    return &dict->slots[at];
}

/* Makes the index larger, or the first one. A failure leaves none, which costs time only. */
void GrowIndex(CryptoDict *dict) {
    if (!dict->slots && CryptoRandom_GetBytes(&dict->hashKey, sizeof dict->hashKey) != 0)
        return;
    gsize numSlots = kIndexedFrom;
    while (numSlots < dict->numEntries * 2)
        numSlots *= 2;
    auto *slots = static_cast<Slot *>(calloc(numSlots, sizeof(Slot)));
    if (!slots) {
        DropIndex(dict);
        return;
    }
    Slot *old = std::exchange(dict->slots, slots);
    const gsize numOld = std::exchange(dict->numSlots, numSlots);
    if (old) {
        for (gsize i = 0; i < numOld; i++)
            if (old[i].entry)
                *FindFreeSlot(dict, old[i].hash) = old[i];
        Crypto_Free(old, numOld * sizeof(Slot));
        return;
    }
    for (Entry *entry = dict->head; entry; entry = entry->next) {
        const guint64 hash = HashOfKey(dict, entry->key);
        *FindFreeSlot(dict, hash) = {hash, entry};
    }
}

CryptoError FailSet(CryptoDict *dict) {
    dict->hadSetError = TRUE;
    return CRYPTO_ERROR_NO_MEMORY;
}

/* Returns room for an entry, or nullptr without memory. */
Entry *NewEntry(CryptoDict *dict) {
    EntryBlock *block = dict->entryBlocks;
    if (!block || block->numUsed == block->numEntries) {
        const gsize numEntries = std::clamp<gsize>(dict->numEntries, 4, kMaxEntriesInBlock);
        block = static_cast<EntryBlock *>(malloc(sizeof *block + numEntries * sizeof(Entry)));
        if (!block)
            return nullptr;
        block->next = std::exchange(dict->entryBlocks, block);
        block->numUsed = 0;
        block->numEntries = numEntries;
    }
    return &block->entries[block->numUsed++];
}

void WipeTexts(const Entry *entry) {
    if (entry->hasOwnBlock)
        Crypto_Free(entry->key, entry->room);
    else
        Secret_Wipe(entry->key, entry->room);
}

/* Adds or replaces an entry by one that holds these texts. A failure leaves the dictionary as it was. */
CryptoError PutTexts(CryptoDict *dict, char *key, char *value, gsize room, bool hasOwnBlock) {
    guint64 hash = 0;
    Slot *slot = nullptr;
    Entry *entry;
    if (dict->slots) {
        hash = HashOfKey(dict, key);
        slot = FindSlot(dict, hash, key);
        entry = slot->entry;
    } else {
        entry = FindEntry(dict, key);
    }

    if (entry) {
        WipeTexts(entry);
        *entry = {entry->next, key, value, room, hasOwnBlock};
        return CRYPTO_ERROR_SUCCESS;
    }
    entry = NewEntry(dict);
    if (!entry)
        return FailSet(dict);
    *entry = {nullptr, key, value, room, hasOwnBlock};
    *dict->tail = entry;
    dict->tail = &entry->next;
    dict->numEntries++;
    if (slot)
        *slot = {hash, entry};
    if (dict->numEntries >= kIndexedFrom && dict->numEntries * 2 > dict->numSlots)
        GrowIndex(dict);
    return CRYPTO_ERROR_SUCCESS;
}

constexpr gssize kCopiedAtOnce = 16;
using Bytes16 = guint8 __attribute__((vector_size(kCopiedAtOnce)));

/* Copies 16 bytes of a text, and returns how many precede the first one that has a meaning of its own. */
gsize CopyPlain(const char *from, char *to) {
    Bytes16 bytes;
    memcpy(&bytes, from, sizeof bytes);
    memcpy(to, &bytes, sizeof bytes);
    const auto special =
        (bytes == ':') | (bytes == '\n') | (bytes == '\r') | (bytes == '=') | (bytes == '%');
    guint64 halves[2];
    memcpy(halves, &special, sizeof halves);
    const int first = std::countr_zero(GUINT64_FROM_LE(halves[0])) / 8;
    return static_cast<gsize>(first < 8 ? first
                                        : 8 + std::countr_zero(GUINT64_FROM_LE(halves[1])) / 8);
}

/*
 * Decodes a side of a pair, which ends before a byte of the meaning or with the text. Returns the place behind what
 * was written, at most as many bytes as were read; up to 16 more are overwritten.
 */
char *ReadSide(const char **text, const char *end, guint8 meaning, char *to) {
    const char *at = *text;
    for (; at < end; at++) {
        while (end - at >= kCopiedAtOnce) {
            const gsize plain = CopyPlain(at, to);
            at += plain;
            to += plain;
            if (plain < kCopiedAtOnce)
                break;
        }
        if (at == end)
            break;
        const guint8 met = MeaningOf(*at) & (meaning | BEGINS_ESCAPE);
        if (met == 0) {
            *to++ = *at;
            continue;
        }
        if (met & meaning)
            break;
        // what ends the side is no digit
        const int high = end - at > 2 ? g_ascii_xdigit_value(at[1]) : -1;
        const int low = end - at > 2 ? g_ascii_xdigit_value(at[2]) : -1;
        const bool isEscape = high >= 0 && low >= 0;
        *to++ = isEscape ? static_cast<char>(high * 16 + low) : '%';
        at += isEscape ? 2 : 0;
    }
    *text = at;
    return to;
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
    for (Entry *entry = dict->head; entry; entry = entry->next)
        if (entry->hasOwnBlock)
            Crypto_Free(entry->key, entry->room);
    for (EntryBlock *block = dict->entryBlocks; block;)
        free(std::exchange(block, block->next));
    for (TextBlock *block = dict->textBlocks; block;) {
        TextBlock *next = block->next;
        Crypto_Free(block, sizeof *block + block->room);
        block = next;
    }
    Crypto_Free(dict, sizeof *dict);
}

CryptoError CryptoDict_Set(CryptoDict *dict, const char *key, const char *value) {
    const gsize keyRoom = strlen(key) + 1;
    const gsize valueRoom = strlen(value) + 1;
    auto *block = static_cast<char *>(malloc(keyRoom + valueRoom));
    if (!block)
        return FailSet(dict);
    memcpy(block, key, keyRoom);
    memcpy(block + keyRoom, value, valueRoom);
    const CryptoError error = PutTexts(dict, block, block + keyRoom, keyRoom + valueRoom, true);
    if (error != CRYPTO_ERROR_SUCCESS)
        Crypto_Free(block, keyRoom + valueRoom);
    return error;
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
    if (size == 0)
        return CRYPTO_ERROR_SUCCESS;
    // a field of n bytes and its separator become at most n + 2 bytes, with both NULs
    const gsize room = size <= G_MAXSIZE / 4 ? size + size / 2 + 2 + kCopiedAtOnce : 0;
    auto *block = room ? static_cast<TextBlock *>(malloc(sizeof(TextBlock) + room)) : nullptr;
    if (!block)
        return FailSet(dict);
    block->next = std::exchange(dict->textBlocks, block);
    block->room = room;

    char *to = block->texts;
    const char *const end = text + size;
    for (;;) {
        while (text < end && MeaningOf(*text) & ENDS_VALUE)
            text++;
        if (text == end)
            break;
        char *key = to;
        to = ReadSide(&text, end, ENDS_KEY, to);
        *to++ = '\0';
        if (text < end && *text == '=')
            text++;
        char *value = to;
        to = ReadSide(&text, end, ENDS_VALUE, to);
        *to++ = '\0';
        const CryptoError error = PutTexts(dict, key, value, static_cast<gsize>(to - key), false);
        if (error != CRYPTO_ERROR_SUCCESS) {
            Secret_Wipe(key, static_cast<gsize>(to - key));
            return error;
        }
    }
    return CRYPTO_ERROR_SUCCESS;
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
