/*
 * cryptoRandom.h -- random bytes for keys
 *
 *   guint8 key[32];
 *   if (CryptoRandom_GetBytes(key, sizeof key) != CRYPTO_ERROR_SUCCESS)
 *       ...
 *
 * A generator of this library, which takes its seed from the kernel at the first use, every 1,000,000 chunks of 20
 * bytes, and after a fork: a child does not repeat the bytes of its parent.
 *
 * Ownership: buffers are the caller's.
 * Errors:    codes of cryptoError.h.
 * Threads:   any. CryptoRandom_GetBytes() takes a lock.
 */
#pragma once

#include <glib.h>

#include <crypto/cryptoError.h>
#include <orvane/export.h>

G_BEGIN_DECLS

/**
 * CryptoRandom_GetBytes:
 * @buf: (out caller-allocates) (array length=size): filled with random bytes; wiped after a failure
 * @size: in bytes
 *
 * Returns: 0; CRYPTO_ERROR_FAILED if the kernel gives no seed; CRYPTO_ERROR_LOCK
 */
ORVANE_EXPORT CryptoError CryptoRandom_GetBytes(gpointer buf, gsize size);

/**
 * CryptoRandom_Seed:
 * @seed: (nullable) (array length=size): replaces the state of the generator, which is as predictable as the seed
 *   from then on; %NULL: the next bytes begin with a new seed from the kernel
 * @size: at least CryptoRandom_GetSeedSize()
 *
 * Returns: 0, CRYPTO_ERROR_BUFFER_SIZE or CRYPTO_ERROR_LOCK
 */
ORVANE_EXPORT CryptoError CryptoRandom_Seed(gconstpointer seed, gsize size);

/* How many bytes of a seed count: 20. */
ORVANE_EXPORT gsize CryptoRandom_GetSeedSize(void);

/**
 * CryptoRandom_SSLSetOurRand:
 *
 * Makes OpenSSL take its random bytes from CryptoRandom_GetBytes(), in the whole process and for good: TLS of other
 * libraries included. SSL_Init() must have been called.
 */
ORVANE_EXPORT void CryptoRandom_SSLSetOurRand(void);

G_END_DECLS
