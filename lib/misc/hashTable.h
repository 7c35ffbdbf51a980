/*
 * hashTable.h -- a chained hash table whose keys are texts, case-insensitive texts, or numbers
 *
 *   HashTable *ages = HashTable_Alloc(16, HASHTABLE_STRING | HASHTABLE_COPYKEY, NULL);
 *   HashTable_Insert(ages, "Eve", GINT_TO_POINTER(34));
 *   if (HashTable_Lookup(ages, "Eve", &value)) ...
 *
 * The number of buckets is fixed. Numbers are passed as pointers (GINT_TO_POINTER). Only the letters of ASCII
 * are compared case-insensitively, in any locale.
 *
 * Ownership: keys belong to the caller and must outlive their entries, unless HASHTABLE_COPYKEY is given.
 *            Values belong to the table if it has a freeEntryFn, which is called once for each value that
 *            leaves the table without being passed to the caller.
 * Errors:    lack of memory and invalid arguments of HashTable_Alloc() end the process.
 * Threads:   no function takes a lock. With HASHTABLE_ATOMIC any number of threads may look up, insert and
 *            replace at the same time. Deleting, clearing, freeing and visiting require that no other thread
 *            uses the table. If freeEntryFn releases values, no thread may still use a value that is
 *            replaced.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

typedef struct HashTable HashTable;

enum {
    HASHTABLE_STRING = 0,
    HASHTABLE_ISTRING = 1, /* text, case-insensitive */
    HASHTABLE_INT = 2,     /* number or address */
    HASHTABLE_ATOMIC = 8,
    HASHTABLE_COPYKEY = 16, /* text keys are copied, and freed with their entry */
};

typedef void (*HashTableFreeEntryFn)(gpointer value);

/* A non-zero result ends the iteration. */
typedef gint (*HashTableForEachFn)(gconstpointer key, gpointer value, gpointer data);

/**
 * HashTable_Alloc:
 * @buckets: number of buckets, a power of two
 * @flags: one of the kinds of key, optionally with HASHTABLE_ATOMIC and HASHTABLE_COPYKEY
 * @freeEntryFn: (nullable): releases a value
 *
 * Returns: (transfer full): an empty table
 */
HashTable *HashTable_Alloc(guint buckets, gint flags, HashTableFreeEntryFn freeEntryFn);

/**
 * HashTable_AllocOnce:
 * @storage: the caller's pointer to the table; %NULL before the first call
 * @buckets: as for HashTable_Alloc()
 * @flags: as for HashTable_Alloc()
 * @freeEntryFn: (nullable): as for HashTable_Alloc()
 *
 * Creates the table on first use. Several threads may call at the same time; all get the same table.
 *
 * Returns: (transfer none): the table in @storage
 */
HashTable *HashTable_AllocOnce(HashTable **storage, guint buckets, gint flags,
                               HashTableFreeEntryFn freeEntryFn);

/* Frees a table with all its entries. %NULL is allowed. */
void HashTable_Free(HashTable *table);

/* The same for an atomic table. The caller guarantees that no other thread can reach it any more. */
void HashTable_FreeUnsafe(HashTable *table);

void HashTable_Clear(HashTable *table);

/* Adds an entry. Returns %FALSE and changes nothing if the key is present. */
gboolean HashTable_Insert(HashTable *table, gconstpointer key, gpointer value);

/**
 * HashTable_Lookup:
 * @table: the table
 * @key: the key
 * @value: (out) (optional) (transfer none): its value; %NULL if there is no such key
 *
 * Returns: whether the key is present
 */
gboolean HashTable_Lookup(const HashTable *table, gconstpointer key, gpointer *value);

/**
 * HashTable_LookupOrInsert:
 * @table: the table
 * @key: the key
 * @value: value to add if the key is absent; otherwise it still belongs to the caller
 *
 * Returns: (transfer none): the value that is in the table afterwards
 */
gpointer HashTable_LookupOrInsert(HashTable *table, gconstpointer key, gpointer value);

/* Sets the value of a key. Returns %TRUE if the key was present; its old value goes to freeEntryFn. */
gboolean HashTable_ReplaceOrInsert(HashTable *table, gconstpointer key, gpointer value);

/* Sets the value of a key whose value is oldValue, which then goes to freeEntryFn. Returns %FALSE and changes
 * nothing if the key is absent or has another value. */
gboolean HashTable_ReplaceIfEqual(HashTable *table, gconstpointer key, gpointer oldValue,
                                  gpointer newValue);

/* Removes an entry. Returns %FALSE if there is none. */
gboolean HashTable_Delete(HashTable *table, gconstpointer key);

/**
 * HashTable_LookupAndDelete:
 * @table: the table
 * @key: the key
 * @value: (out) (optional) (transfer full): the value of the entry, which is then not freed; %NULL if there
 *   is no such key
 *
 * Returns: whether the key was present
 */
gboolean HashTable_LookupAndDelete(HashTable *table, gconstpointer key, gpointer *value);

/* Returns the number of entries, which is approximate while other threads insert. */
gsize HashTable_GetNumElements(const HashTable *table);

/**
 * HashTable_ForEach:
 * @table: the table
 * @callback: (scope call): called for each entry, in order of buckets; may delete its entry
 * @data: passed to @callback
 *
 * Returns: the first result of @callback that is not zero; 0 if there was none
 */
gint HashTable_ForEach(const HashTable *table, HashTableForEachFn callback, gpointer data);

/**
 * HashTable_KeyArray:
 * @table: the table
 * @keys: (out) (transfer container) (array length=count) (nullable): the keys in order of buckets,
 * to be released with free(); %NULL if there are none
 * @count: (out): number of keys
 */
void HashTable_KeyArray(const HashTable *table, gconstpointer **keys, gsize *count);

/**
 * HashTable_ToArray:
 * @table: the table
 * @values: (out) (transfer container) (array length=count) (nullable): the values in order of
 * buckets, to be released with free(); %NULL if there are none
 * @count: (out): number of values
 */
void HashTable_ToArray(const HashTable *table, gpointer **values, gsize *count);

G_END_DECLS
