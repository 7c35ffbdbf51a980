/*
 * hashTable.h -- a chained hash table for text, text in any case, and numbers or pointers
 *
 *   HashTable *ages = HashTable_Alloc(16, HASHTABLE_STRING | HASHTABLE_COPYKEY, NULL);
 *   HashTable_Insert(ages, "Eve", GINT_TO_POINTER(34));
 *   if (HashTable_Lookup(ages, "Eve", &value)) ...
 *
 * The number of buckets is fixed. Numbers are given as pointers (GINT_TO_POINTER). "Any case" means
 * the letters of ASCII, whatever the locale is.
 *
 * Ownership: keys stay the caller's and must outlive their entry, unless HASHTABLE_COPYKEY is
 * given. Values belong to the table if it has a freeEntryFn: it is called once for each value that
 *            leaves the table without being handed out.
 * Errors:    lack of memory ends the process; so does a table that cannot be (HashTable_Alloc).
 * Threads:   none of it takes a lock. With HASHTABLE_ATOMIC any number of threads may look up,
 * insert and replace at once; deleting, clearing, freeing and visiting need the table to
 *            themselves, and a replaced value must not be in use if freeEntryFn releases it.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

typedef struct HashTable HashTable;

enum {
    HASHTABLE_STRING = 0,
    HASHTABLE_ISTRING = 1, /* text, in any case */
    HASHTABLE_INT = 2,     /* a number or an address */
    HASHTABLE_ATOMIC = 8,
    HASHTABLE_COPYKEY = 16, /* text keys are copied, and freed with their entry */
};

typedef void (*HashTableFreeEntryFn)(gpointer value);

/* A non-zero result ends the visit. */
typedef gint (*HashTableForEachFn)(gconstpointer key, gpointer value, gpointer data);

/**
 * HashTable_Alloc:
 * @buckets: number of buckets, a power of two
 * @flags: one of the kinds of key, with HASHTABLE_ATOMIC and HASHTABLE_COPYKEY if wanted
 * @freeEntryFn: (nullable): releases a value
 *
 * Returns: (transfer full): an empty table
 */
HashTable *HashTable_Alloc(guint buckets, gint flags, HashTableFreeEntryFn freeEntryFn);

/**
 * HashTable_AllocOnce:
 * @storage: where the table is kept; %NULL before the first call
 * @buckets: as for HashTable_Alloc()
 * @flags: as for HashTable_Alloc()
 * @freeEntryFn: (nullable): as for HashTable_Alloc()
 *
 * Makes a table on first use. Several threads may call at once; all get the same table.
 *
 * Returns: (transfer none): the table in @storage
 */
HashTable *HashTable_AllocOnce(HashTable **storage, guint buckets, gint flags,
                               HashTableFreeEntryFn freeEntryFn);

/* Frees a table with all its entries. %NULL is allowed. */
void HashTable_Free(HashTable *table);

/* The same for an atomic table: the caller vouches that no other thread can reach it any more. */
void HashTable_FreeUnsafe(HashTable *table);

void HashTable_Clear(HashTable *table);

/* Adds an entry; %FALSE, with nothing changed, if the key is there. */
gboolean HashTable_Insert(HashTable *table, gconstpointer key, gpointer value);

/**
 * HashTable_Lookup:
 * @table: the table
 * @key: the key
 * @value: (out) (optional) (transfer none): its value; %NULL if there is no such key
 *
 * Returns: whether the key is there
 */
gboolean HashTable_Lookup(const HashTable *table, gconstpointer key, gpointer *value);

/**
 * HashTable_LookupOrInsert:
 * @table: the table
 * @key: the key
 * @value: value to add if the key is not there; otherwise it stays the caller's
 *
 * Returns: (transfer none): the value that is in the table afterwards
 */
gpointer HashTable_LookupOrInsert(HashTable *table, gconstpointer key, gpointer value);

/* Sets the value of a key. %TRUE if the key was there; its old value goes to freeEntryFn. */
gboolean HashTable_ReplaceOrInsert(HashTable *table, gconstpointer key, gpointer value);

/* Sets the value of a key whose value is oldValue, which then goes to freeEntryFn. %FALSE, with
 * nothing changed, if the key is absent or has another value. */
gboolean HashTable_ReplaceIfEqual(HashTable *table, gconstpointer key, gpointer oldValue,
                                  gpointer newValue);

/* Removes an entry; %FALSE if there is none. */
gboolean HashTable_Delete(HashTable *table, gconstpointer key);

/**
 * HashTable_LookupAndDelete:
 * @table: the table
 * @key: the key
 * @value: (out) (optional) (transfer full): the value that was there, which is then not freed;
 * %NULL if there is no such key
 *
 * Returns: whether the key was there
 */
gboolean HashTable_LookupAndDelete(HashTable *table, gconstpointer key, gpointer *value);

/* A hint while other threads insert. */
gsize HashTable_GetNumElements(const HashTable *table);

/**
 * HashTable_ForEach:
 * @table: the table
 * @callback: (scope call): called for each entry, in order of buckets; may delete the entry it is
 * given
 * @data: handed to @callback
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
