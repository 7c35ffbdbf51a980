// A chain per bucket, newest entry first. What another thread may read while it changes is atomic: the heads
// of the chains, the values, the count. "next" and "key" are set before an entry is published.
#include "lib/misc/hashTable.h"

#include <atomic>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>

#include "lib/misc/atomicFence.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"

namespace {

constexpr gint kKeyTypeMask = 7;
constexpr guint32 kIntMultiplier = 48271;

struct HashTableEntry {
    HashTableEntry *next;
    gconstpointer key;
    std::atomic<gpointer> value;
    guint32 hash; /* tells most other keys of a long chain apart */
};

using Bucket = std::atomic<HashTableEntry *>;

/* Entries that lie together, for a table that one thread changes: a walk along a chain then stays in the cache. */
struct HashTableChunk {
    HashTableChunk *next;
    HashTableEntry entries[];
};

constexpr guint32 kFirstChunk = 8; /* entries; each later chunk has twice as many */
constexpr guint32 kLargestChunk = 512;

} // namespace

struct HashTable {
    guint32 numEntries; /* buckets */
    guint32 numBits;
    gint keyType;
    bool atomic;
    bool copyKey;
    HashTableFreeEntryFn freeEntryFn;
    Bucket *buckets;
    std::atomic<gsize> numElements;
    /* not of an atomic table */
    HashTableChunk *chunks;
    HashTableEntry *freeEntries; /* linked by "next" */
    guint32 chunkSize;           /* of the newest */
};

namespace {

/* Like g_ascii_tolower(), without a call. */
char LowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
}

guint32 HashTableHashText(const char *text, bool anyCase) {
    guint32 hash = 0;
    for (; *text != '\0'; text++) {
        hash ^= guchar(anyCase ? LowerCase(*text) : *text);
        hash = std::rotr(hash, 27);
    }
    return hash;
}

guint32 HashTableHashKey(const HashTable *table, gconstpointer key) {
    switch (table->keyType) {
    case HASHTABLE_STRING:
    case HASHTABLE_ISTRING:
        return HashTableHashText(static_cast<const char *>(key),
                                 table->keyType == HASHTABLE_ISTRING);
    case HASHTABLE_INT: {
        const auto number = guint64(reinterpret_cast<guintptr>(key));
        return (guint32(number >> 32) ^ guint32(number)) * kIntMultiplier;
    }
    }
    NOT_REACHED();
}

Bucket *HashTableBucket(const HashTable *table, guint32 hash) {
    if (table->numBits == 0)
        return table->buckets; /* the loop below would not end */
    const guint32 mask = table->numEntries - 1;
    while (hash > mask)
        hash = (hash >> table->numBits) ^ (hash & mask);
    return &table->buckets[hash];
}

bool HashTableIsSameKey(const HashTable *table, gconstpointer left, gconstpointer right) {
    switch (table->keyType) {
    case HASHTABLE_STRING:
        return strcmp(static_cast<const char *>(left), static_cast<const char *>(right)) == 0;
    case HASHTABLE_ISTRING:
        return strcmp(static_cast<const char *>(left), static_cast<const char *>(right)) == 0 ||
               g_ascii_strcasecmp(static_cast<const char *>(left),
                                  static_cast<const char *>(right)) == 0;
    case HASHTABLE_INT:
        return left == right;
    }
    NOT_REACHED();
}

HashTableEntry *HashTableFind(const HashTable *table, HashTableEntry *entry, gconstpointer key,
                              guint32 hash) {
    while (entry && (entry->hash != hash || !HashTableIsSameKey(table, entry->key, key)))
        entry = entry->next;
    return entry;
}

HashTableEntry *HashTableLookup(const HashTable *table, gconstpointer key) {
    const guint32 hash = HashTableHashKey(table, key);
    return HashTableFind(table, HashTableBucket(table, hash)->load(std::memory_order_acquire), key,
                         hash);
}

/* Returns the memory of an entry. */
void *HashTableTakeEntry(HashTable *table) {
    if (table->atomic)
        return UtilSafeMalloc0(sizeof(HashTableEntry));
    if (table->freeEntries == nullptr) {
        table->chunkSize =
            table->chunkSize == 0 ? kFirstChunk : MIN(table->chunkSize * 2, kLargestChunk);
        auto *chunk = static_cast<HashTableChunk *>(
            UtilSafeMalloc0(sizeof(HashTableChunk) + table->chunkSize * sizeof(HashTableEntry)));
        chunk->next = table->chunks;
        table->chunks = chunk;
        for (guint32 i = table->chunkSize; i-- > 0;) {
            auto *entry = new (&chunk->entries[i]) HashTableEntry;
            entry->next = table->freeEntries;
            table->freeEntries = entry;
        }
    }
    HashTableEntry *entry = table->freeEntries;
    table->freeEntries = entry->next;
    return entry;
}

HashTableEntry *HashTableNewEntry(HashTable *table, gconstpointer key, guint32 hash,
                                  gpointer value) {
    auto *entry = new (HashTableTakeEntry(table)) HashTableEntry;
    entry->key = table->copyKey ? UtilSafeStrdup0(static_cast<const char *>(key)) : key;
    entry->value.store(value, std::memory_order_relaxed);
    entry->hash = hash;
    return entry;
}

/* Frees an entry, not its value. */
void HashTableFreeEntry(HashTable *table, HashTableEntry *entry) {
    if (table->copyKey)
        free(const_cast<gpointer>(entry->key));
    if (table->atomic) {
        free(entry);
        return;
    }
    entry->next = table->freeEntries;
    table->freeEntries = entry;
}

void HashTableFreeValue(const HashTable *table, gpointer value) {
    if (table->freeEntryFn)
        table->freeEntryFn(value);
}

/* Puts an entry in front of the given head. Returns false if another thread has changed the head since. */
bool HashTablePublish(const HashTable *table, Bucket *bucket, HashTableEntry *head,
                      HashTableEntry *entry) {
    entry->next = head;
    if (table->atomic)
        return Atomic_CompareExchange(bucket, &head, entry);
    bucket->store(entry, std::memory_order_relaxed);
    return true;
}

void HashTableCount(HashTable *table, gssize change) {
    if (table->atomic)
        Atomic_FetchAdd(&table->numElements, change, std::memory_order_relaxed);
    else
        table->numElements.store(table->numElements.load(std::memory_order_relaxed) + change,
                                 std::memory_order_relaxed);
}

/* Returns the entry with the key; NULL if it was added now. */
HashTableEntry *HashTableLookupOrInsert(HashTable *table, gconstpointer key, gpointer value) {
    const guint32 hash = HashTableHashKey(table, key);
    Bucket *bucket = HashTableBucket(table, hash);
    HashTableEntry *prepared = nullptr;
    for (;;) {
        HashTableEntry *head = bucket->load(std::memory_order_acquire);
        HashTableEntry *found = HashTableFind(table, head, key, hash);
        if (found) {
            if (prepared)
                HashTableFreeEntry(table, prepared);
            return found;
        }
        if (!prepared)
            prepared = HashTableNewEntry(table, key, hash, value);
        if (HashTablePublish(table, bucket, head, prepared)) {
            HashTableCount(table, 1);
            return nullptr;
        }
    }
}

/* Calls a function with each entry, in order of buckets, until it returns non-zero. */
template <class Function> gint HashTableVisit(const HashTable *table, Function function) {
    for (guint32 i = 0; i < table->numEntries; i++) {
        HashTableEntry *entry = table->buckets[i].load(std::memory_order_acquire);
        while (entry) {
            HashTableEntry *next = entry->next;
            if (const gint result = function(entry))
                return result;
            entry = next;
        }
    }
    return 0;
}

/* Returns an array with room for one pointer per entry; NULL for an empty table. */
template <class T> T *HashTableNewArray(const HashTable *table) {
    const gsize count = HashTable_GetNumElements(table);
    return count == 0 ? nullptr : static_cast<T *>(UtilSafeCalloc0(count, sizeof(T)));
}

} // namespace

HashTable *HashTable_Alloc(guint buckets, gint flags, HashTableFreeEntryFn freeEntryFn) {
    if (!std::has_single_bit(buckets))
        Panic("%s only takes powers of 2 \n", __func__);
    const gint keyType = flags & kKeyTypeMask;
    const bool copyKey = (flags & HASHTABLE_COPYKEY) != 0;
    VERIFY(keyType <= HASHTABLE_INT && !(copyKey && keyType == HASHTABLE_INT));

    auto *table = new (UtilSafeCalloc0(1, sizeof(HashTable))) HashTable;
    table->numEntries = buckets;
    table->numBits = guint32(std::countr_zero(buckets));
    table->keyType = keyType;
    table->atomic = (flags & HASHTABLE_ATOMIC) != 0;
    table->copyKey = copyKey;
    table->freeEntryFn = freeEntryFn;
    table->buckets = static_cast<Bucket *>(UtilSafeMalloc0(buckets * sizeof(Bucket)));
    for (guint i = 0; i < buckets; i++)
        new (&table->buckets[i]) Bucket(nullptr);
    return table;
}

HashTable *HashTable_AllocOnce(HashTable **storage, guint buckets, gint flags,
                               HashTableFreeEntryFn freeEntryFn) {
    std::atomic_ref<HashTable *> shared(*storage);
    HashTable *table = shared.load(std::memory_order_acquire);
    if (table)
        return table;
    HashTable *made = HashTable_Alloc(buckets, flags, freeEntryFn);
    if (Atomic_CompareExchange(&shared, &table, made))
        return made;
    HashTable_FreeUnsafe(made);
    return table;
}

void HashTable_Free(HashTable *table) {
    HashTable_FreeUnsafe(table);
}

void HashTable_FreeUnsafe(HashTable *table) {
    if (!table)
        return;
    HashTable_Clear(table);
    while (HashTableChunk *chunk = table->chunks) {
        table->chunks = chunk->next;
        free(chunk);
    }
    free(table->buckets);
    free(table);
}

void HashTable_Clear(HashTable *table) {
    for (guint32 i = 0; i < table->numEntries; i++) {
        HashTableEntry *entry = Atomic_Exchange(&table->buckets[i], nullptr);
        while (entry) {
            HashTableEntry *next = entry->next;
            HashTableFreeValue(table, entry->value.load(std::memory_order_relaxed));
            HashTableFreeEntry(table, entry);
            entry = next;
        }
    }
    table->numElements.store(0, std::memory_order_relaxed);
}

gboolean HashTable_Insert(HashTable *table, gconstpointer key, gpointer value) {
    return HashTableLookupOrInsert(table, key, value) == nullptr;
}

gboolean HashTable_Lookup(const HashTable *table, gconstpointer key, gpointer *value) {
    const HashTableEntry *entry = HashTableLookup(table, key);
    if (value)
        *value = entry ? entry->value.load(std::memory_order_acquire) : nullptr;
    return entry != nullptr;
}

gpointer HashTable_LookupOrInsert(HashTable *table, gconstpointer key, gpointer value) {
    const HashTableEntry *found = HashTableLookupOrInsert(table, key, value);
    return found ? found->value.load(std::memory_order_acquire) : value;
}

gboolean HashTable_ReplaceOrInsert(HashTable *table, gconstpointer key, gpointer value) {
    HashTableEntry *found = HashTableLookupOrInsert(table, key, value);
    if (!found)
        return FALSE;
    if (table->freeEntryFn)
        table->freeEntryFn(Atomic_Exchange(&found->value, value));
    else
        found->value.store(value, std::memory_order_release);
    return TRUE;
}

gboolean HashTable_ReplaceIfEqual(HashTable *table, gconstpointer key, gpointer oldValue,
                                  gpointer newValue) {
    HashTableEntry *entry = HashTableLookup(table, key);
    gpointer expected = oldValue;
    if (!entry || !Atomic_CompareExchange(&entry->value, &expected, newValue))
        return FALSE;
    HashTableFreeValue(table, oldValue);
    return TRUE;
}

gboolean HashTable_Delete(HashTable *table, gconstpointer key) {
    return HashTable_LookupAndDelete(table, key, nullptr);
}

gboolean HashTable_LookupAndDelete(HashTable *table, gconstpointer key, gpointer *value) {
    if (value)
        *value = nullptr;
    HashTableEntry *entry = HashTableLookup(table, key);
    if (!entry)
        return FALSE;

    Bucket *bucket = HashTableBucket(table, entry->hash);
    HashTableEntry *before = bucket->load(std::memory_order_relaxed);
    if (before == entry) {
        bucket->store(entry->next, std::memory_order_relaxed);
    } else {
        while (before->next != entry)
            before = before->next;
        before->next = entry->next;
    }
    HashTableCount(table, -1);

    gpointer old = entry->value.load(std::memory_order_relaxed);
    HashTableFreeEntry(table, entry);
    if (value)
        *value = old;
    else
        HashTableFreeValue(table, old);
    return TRUE;
}

gsize HashTable_GetNumElements(const HashTable *table) {
    return table->numElements.load(std::memory_order_relaxed);
}

gint HashTable_ForEach(const HashTable *table, HashTableForEachFn callback, gpointer data) {
    return HashTableVisit(table, [&](HashTableEntry *entry) {
        return callback(entry->key, entry->value.load(std::memory_order_acquire), data);
    });
}

void HashTable_KeyArray(const HashTable *table, gconstpointer **keys, gsize *count) {
    auto **array = HashTableNewArray<gconstpointer>(table);
    gsize used = 0;
    HashTableVisit(table, [&](HashTableEntry *entry) {
        array[used++] = entry->key;
        return 0;
    });
    *keys = array;
    *count = used;
}

void HashTable_ToArray(const HashTable *table, gpointer **values, gsize *count) {
    auto **array = HashTableNewArray<gpointer>(table);
    gsize used = 0;
    HashTableVisit(table, [&](HashTableEntry *entry) {
        array[used++] = entry->value.load(std::memory_order_acquire);
        return 0;
    });
    *values = array;
    *count = used;
}
