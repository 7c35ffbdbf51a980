/*
 * cryptoCipher.h -- ciphers by name
 *
 *   "AES-128" "AES-192" "AES-256" "RSA-512" "RSA-1024" "RSA-2048" "RSA-4096" "DSA-1024"
 *
 * For new data choose "AES-256", and "RSA-2048" or "RSA-4096". The shorter RSA keys and DSA are there for data
 * that exists.
 *
 * Ownership: ciphers are constants. The same cipher is always the same pointer.
 * Errors:    CRYPTO_ERROR_UNKNOWN_ALGORITHM for a name that no cipher has.
 * Threads:   any.
 */
#pragma once

#include <glib.h>

#include <crypto/cryptoError.h>
#include <orvane/export.h>

G_BEGIN_DECLS

typedef const struct CryptoCipherRow CryptoCipher;

typedef enum {
    CRYPTO_CIPHER_SYMMETRIC = 1,
    CRYPTO_CIPHER_PUBLIC_KEY = 2,
} CryptoCipherType;

ORVANE_EXPORT extern CryptoCipher *const CryptoCipherAES_128;
ORVANE_EXPORT extern CryptoCipher *const CryptoCipherAES_192;
ORVANE_EXPORT extern CryptoCipher *const CryptoCipherAES_256;

/**
 * CryptoCipher_FromString:
 * @name: one of the names above, in upper case
 * @cipher: (out) (transfer none) (nullable): the cipher; %NULL if there is none
 *
 * Returns: 0, or CRYPTO_ERROR_UNKNOWN_ALGORITHM
 */
ORVANE_EXPORT CryptoError CryptoCipher_FromString(const char *name, CryptoCipher **cipher);

/* The name. */
ORVANE_EXPORT const char *CryptoCipher_ToString(CryptoCipher *cipher);

ORVANE_EXPORT CryptoCipherType CryptoCipher_GetType(CryptoCipher *cipher);

/* Size of an initialization vector in bytes, which is also the block size; all ones for a public-key cipher. */
ORVANE_EXPORT gsize CryptoCipher_GetIVSize(CryptoCipher *cipher);

G_END_DECLS
