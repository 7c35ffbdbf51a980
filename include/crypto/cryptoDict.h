/*
 * cryptoDict.h -- the key and value text in which all Crypto objects are stored
 *
 *   one line     type=key:cipher=AES-128:key=rBYl...
 *   many lines   type=key
 *                cipher=AES-128
 *                key=rBYl...
 *
 * The order of entries is that in which they were set. Bytes that the text uses itself, control bytes and bytes
 * above 0x7e are written as "%3d". Contents are treated as secret: every string is wiped before it is freed.
 *
 *   CryptoDict_Set(dict, "type", "note");
 *   CryptoDict_SetBase64(dict, "data", bytes, size);
 *   if (CryptoDict_HadSetError(dict))                  // one check for a row of setters
 *       ...
 *
 * Ownership: said with each function.
 * Errors:    codes of cryptoError.h. After a failure, out arguments are NULL and 0.
 * Threads:   any; one dictionary is used by one thread at a time.
 */
#pragma once

#include <glib.h>

#include <crypto/cryptoError.h>
#include <orvane/export.h>

G_BEGIN_DECLS

typedef struct CryptoDict CryptoDict;
typedef struct CryptoDictIterator CryptoDictIterator;

/* The empty text that CryptoDict_Get() returns for a key that is not there: compare the address. */
ORVANE_EXPORT extern const char CryptoDict_NotFound[];

/* To be released with CryptoDict_Free(). */
ORVANE_EXPORT CryptoError CryptoDict_Create(CryptoDict **dict);

/* Wipes and frees the entries. NULL is allowed. */
ORVANE_EXPORT void CryptoDict_Free(CryptoDict *dict);

/* Adds an entry, or replaces one at its place. Both texts are copied. */
ORVANE_EXPORT CryptoError CryptoDict_Set(CryptoDict *dict, const char *key, const char *value);

/* The number in decimal digits. */
ORVANE_EXPORT CryptoError CryptoDict_SetUint32(CryptoDict *dict, const char *key, guint32 value);

/* The bytes in Base64. */
ORVANE_EXPORT CryptoError CryptoDict_SetBase64(CryptoDict *dict, const char *key,
                                               gconstpointer data, gsize size);

/* Whether a setter or an import has ever run out of memory. */
ORVANE_EXPORT gboolean CryptoDict_HadSetError(const CryptoDict *dict);

/* The value, valid until the entry is set again; CryptoDict_NotFound if there is none. */
ORVANE_EXPORT const char *CryptoDict_Get(const CryptoDict *dict, const char *key);

/**
 * CryptoDict_GetUint32:
 * @dict: a dictionary
 * @key: the key
 * @value: (out): the number, cut to 32 bits; the text may be decimal, octal ("010") or hexadecimal ("0x10")
 *
 * Returns: 0; CRYPTO_ERROR_NAME_NOT_FOUND; CRYPTO_ERROR_FAILED if the text is no number
 */
ORVANE_EXPORT CryptoError CryptoDict_GetUint32(const CryptoDict *dict, const char *key,
                                               guint32 *value);

/**
 * CryptoDict_GetBase64:
 * @dict: a dictionary
 * @key: the key
 * @data: (out) (transfer full) (array length=size) (nullable): the bytes, to be released with Crypto_Free()
 * @size: (out): their number
 *
 * Returns: 0; CRYPTO_ERROR_NAME_NOT_FOUND; CRYPTO_ERROR_FAILED if the text is not Base64; CRYPTO_ERROR_NO_MEMORY
 */
ORVANE_EXPORT CryptoError CryptoDict_GetBase64(const CryptoDict *dict, const char *key,
                                               guint8 **data, gsize *size);

/**
 * CryptoDict_Export:
 * @dict: a dictionary
 * @multiLine: whether each entry gets a line of its own
 * @text: (out) (transfer full) (nullable): the text, with a NUL, to be released with Crypto_FreeString()
 * @size: (out): in bytes, without the NUL
 *
 * Returns: 0, or CRYPTO_ERROR_NO_MEMORY
 */
ORVANE_EXPORT CryptoError CryptoDict_Export(const CryptoDict *dict, gboolean multiLine, char **text,
                                            gsize *size);

/**
 * CryptoDict_Import:
 * @dict: a dictionary, to which the entries of the text are added
 * @text: (array length=size): entries separated by ":", newlines and carriage returns
 * @size: in bytes
 *
 * No text is malformed.
 *
 * Returns: 0, or CRYPTO_ERROR_NO_MEMORY
 */
ORVANE_EXPORT CryptoError CryptoDict_Import(CryptoDict *dict, const char *text, gsize size);

/* A new dictionary from a text. */
ORVANE_EXPORT CryptoError CryptoDict_CreateAndImport(const char *text, gsize size,
                                                     CryptoDict **dict);

/* To be released with CryptoDictIterator_Destroy(); NULL without memory. The dictionary must not be changed
 * while it is in use. */
ORVANE_EXPORT CryptoDictIterator *CryptoDictIterator_Create(const CryptoDict *dict);
ORVANE_EXPORT gboolean CryptoDictIterator_HasNext(const CryptoDictIterator *iterator);

/**
 * CryptoDictIterator_Next:
 * @iterator: an iterator
 * @key: (out) (transfer none) (nullable): the key of the next entry
 * @value: (out) (transfer none) (nullable): its value
 *
 * Returns: %FALSE, and NULLs, at the end
 */
ORVANE_EXPORT gboolean CryptoDictIterator_Next(CryptoDictIterator *iterator, const char **key,
                                               const char **value);
ORVANE_EXPORT void CryptoDictIterator_Destroy(CryptoDictIterator *iterator);

G_END_DECLS
