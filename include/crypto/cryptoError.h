/*
 * cryptoError.h -- result codes of the Crypto functions, and the memory that they return
 *
 *   CryptoError error = CryptoKey_Generate(CryptoCipherAES_256, &key);
 *   if (error != CRYPTO_ERROR_SUCCESS)
 *       fprintf(stderr, "no key: %s\n", CryptoError_ToString(error));
 *
 * Ownership: texts of codes are constants. A block that a Crypto function returns is released with
 *            Crypto_Free() or Crypto_FreeString(), which wipe it first.
 * Errors:    none.
 * Threads:   any.
 */
#pragma once

#include <glib.h>

#include <orvane/export.h>

G_BEGIN_DECLS

/* 0 for success. */
typedef guint32 CryptoError;

enum {
    CRYPTO_ERROR_SUCCESS = 0,
    CRYPTO_ERROR_FAILED = 1,            /* the operation failed: bad data, a wrong key, OpenSSL */
    CRYPTO_ERROR_UNKNOWN_ALGORITHM = 2, /* no algorithm has this name */
    CRYPTO_ERROR_BUFFER_SIZE = 3,       /* an input or output has a wrong size */
    CRYPTO_ERROR_INVALID_OPERATION = 4, /* the key or the cipher cannot do this */
    CRYPTO_ERROR_NO_MEMORY = 5,
    CRYPTO_ERROR_PASSWORD_REQUIRED = 6,
    CRYPTO_ERROR_WRONG_PASSWORD = 7, /* or the data is damaged: the two look alike */
    CRYPTO_ERROR_IO = 8,
    CRYPTO_ERROR_UNKNOWN = 9,
    CRYPTO_ERROR_NAME_NOT_FOUND = 10, /* a dictionary has no such key */
    CRYPTO_ERROR_NO_CRYPTO = 11,
    CRYPTO_ERROR_LOCK = 12,
};

/**
 * CryptoError_ToString:
 * @error: a code
 *
 * Returns: (transfer none): a sentence without a full stop, in English
 */
ORVANE_EXPORT const char *CryptoError_ToString(CryptoError error);

/**
 * CryptoError_ToMsgString:
 * @error: a code
 *
 * Returns: (transfer none): the same text behind its message identifier:
 *   "@&!*@*@(msg.crypto.failed)Cryptographic operation failed"
 */
ORVANE_EXPORT const char *CryptoError_ToMsgString(CryptoError error);

/**
 * Crypto_Alloc:
 * @size: in bytes
 *
 * Returns: (transfer full) (nullable): what malloc() returns
 */
ORVANE_EXPORT gpointer Crypto_Alloc(gsize size);

/**
 * Crypto_Free:
 * @ptr: (nullable) (transfer full): a block from Crypto_Alloc() or from another Crypto function
 * @size: its size, in bytes
 *
 * Wipes the block and frees it.
 */
ORVANE_EXPORT void Crypto_Free(gpointer ptr, gsize size);

/**
 * Crypto_FreeString:
 * @str: (nullable) (transfer full): a text from a Crypto function
 *
 * Wipes the text up to its NUL and frees it.
 */
ORVANE_EXPORT void Crypto_FreeString(char *str);

G_END_DECLS
