/*
 * cryptoHash.h -- digests and keyed digests (MACs) by name, at once or piece by piece
 *
 *   guint8 digest[32];
 *   CryptoHash_Compute(CryptoHash_SHA_256, data, size, digest, sizeof digest);
 *
 *   CryptoHashState *state = CryptoHashState_Create(CryptoHash_SHA_256);
 *   CryptoHashState_Process(state, first, firstSize);
 *   CryptoHashState_Process(state, second, secondSize);
 *   CryptoHashState_Finish(state, digest, sizeof digest);      // releases the state
 *
 *   hashes         "SHA-1" 20 bytes, "SHA-256" 32 bytes
 *   keyed hashes   "HMAC-SHA-1" 20 bytes, "HMAC-SHA-1-128" 16 bytes, "HMAC-SHA-256" 32 bytes
 *
 * SSL_Init() is not needed.
 *
 * Ownership: hashes are constants. A running state belongs to the caller until it is finished.
 * Errors:    codes of cryptoError.h. An output of a wrong size is CRYPTO_ERROR_BUFFER_SIZE.
 * Threads:   any; one running state is used by one thread at a time.
 */
#pragma once

#include <glib.h>

#include <crypto/cryptoError.h>
#include <orvane/export.h>

G_BEGIN_DECLS

typedef const struct CryptoHashRow CryptoHash;
typedef const struct CryptoKeyedHashRow CryptoKeyedHash;
typedef struct CryptoHashState CryptoHashState;
typedef struct CryptoKeyedHashState CryptoKeyedHashState;

/* A piece of the input. */
typedef struct {
    gconstpointer data;
    gsize size; /* in bytes */
} CryptoIov;

/* ---- hashes ---- */

ORVANE_EXPORT extern CryptoHash *const CryptoHash_SHA_1;
ORVANE_EXPORT extern CryptoHash *const CryptoHash_SHA_256;

/**
 * CryptoHash_FromString:
 * @name: "SHA-1" or "SHA-256"
 * @hash: (out) (transfer none) (nullable): the hash; %NULL if there is none
 *
 * Returns: 0, or CRYPTO_ERROR_UNKNOWN_ALGORITHM
 */
ORVANE_EXPORT CryptoError CryptoHash_FromString(const char *name, CryptoHash **hash);

ORVANE_EXPORT const char *CryptoHash_ToString(CryptoHash *hash);
ORVANE_EXPORT gsize CryptoHash_GetBlockSize(CryptoHash *hash);
ORVANE_EXPORT gsize CryptoHash_GetOutputSize(CryptoHash *hash);

/**
 * CryptoHash_ToNID:
 * @hash: a hash
 * @nid: (out): OpenSSL's number of it: 64 or 672
 *
 * Returns: %FALSE if it has none
 */
ORVANE_EXPORT gboolean CryptoHash_ToNID(CryptoHash *hash, int *nid);

/**
 * CryptoHash_Compute:
 * @hash: a hash
 * @data: (nullable) (array length=size): the input; %NULL only if @size is 0
 * @size: in bytes
 * @out: (out caller-allocates) (array length=outSize): the digest
 * @outSize: must be CryptoHash_GetOutputSize()
 *
 * Inputs of any size are hashed whole.
 *
 * Returns: 0, CRYPTO_ERROR_BUFFER_SIZE or CRYPTO_ERROR_NO_MEMORY
 */
ORVANE_EXPORT CryptoError CryptoHash_Compute(CryptoHash *hash, gconstpointer data, gsize size,
                                             gpointer out, gsize outSize);

/**
 * CryptoHashState_Create:
 * @hash: a hash
 *
 * Returns: (transfer full) (nullable): a running hash, to be released with CryptoHashState_Finish(); %NULL
 *   without memory for it
 */
ORVANE_EXPORT CryptoHashState *CryptoHashState_Create(CryptoHash *hash);

/**
 * CryptoHashState_Process:
 * @state: a running hash
 * @data: (array length=size): the next bytes
 * @size: their number, below 4 GiB: only its low 32 bits count
 */
ORVANE_EXPORT void CryptoHashState_Process(CryptoHashState *state, gconstpointer data, gsize size);

/**
 * CryptoHashState_Finish:
 * @state: (transfer full): a running hash, which is wiped and freed in every case
 * @out: (nullable) (out caller-allocates) (array length=outSize): the digest; %NULL, with @outSize 0, abandons
 *   the hash
 * @outSize: must be CryptoHash_GetOutputSize()
 *
 * Returns: 0, or CRYPTO_ERROR_BUFFER_SIZE, also after abandoning
 */
ORVANE_EXPORT CryptoError CryptoHashState_Finish(CryptoHashState *state, gpointer out,
                                                 gsize outSize);

ORVANE_EXPORT CryptoHash *CryptoHashState_GetHash(CryptoHashState *state);

/**
 * CryptoHashState_ExportState:
 * @state: a running hash, which goes on afterwards
 * @data: (out) (transfer full) (array length=size) (nullable): a copy of the state, in the byte order of this
 *   machine, to be released with Crypto_Free()
 * @size: (out): 92 bytes for SHA-1, 104 for SHA-256
 *
 * Returns: 0, or CRYPTO_ERROR_NO_MEMORY with @data %NULL and @size 0
 */
ORVANE_EXPORT CryptoError CryptoHashState_ExportState(CryptoHashState *state, guint8 **data,
                                                      gsize *size);

/**
 * CryptoHashState_ImportState:
 * @state: a running hash, whose own progress is replaced
 * @data: (array length=size): what CryptoHashState_ExportState() returned for the same hash
 * @size: in bytes
 *
 * Returns: 0, or CRYPTO_ERROR_BUFFER_SIZE
 */
ORVANE_EXPORT CryptoError CryptoHashState_ImportState(CryptoHashState *state, gconstpointer data,
                                                      gsize size);

/* ---- keyed hashes ---- */

ORVANE_EXPORT extern CryptoKeyedHash *const CryptoKeyedHash_HMAC_SHA_1;
ORVANE_EXPORT extern CryptoKeyedHash *const CryptoKeyedHash_HMAC_SHA_1_128;
ORVANE_EXPORT extern CryptoKeyedHash *const CryptoKeyedHash_HMAC_SHA_256;

/* As CryptoHash_FromString(). */
ORVANE_EXPORT CryptoError CryptoKeyedHash_FromString(const char *name, CryptoKeyedHash **keyedHash);

ORVANE_EXPORT const char *CryptoKeyedHash_ToString(CryptoKeyedHash *keyedHash);
ORVANE_EXPORT gsize CryptoKeyedHash_GetOutputSize(CryptoKeyedHash *keyedHash);

/**
 * CryptoKeyedHash_Compute:
 * @keyedHash: a keyed hash
 * @key: (nullable) (array length=keySize): the key, of any size; %NULL only if @keySize is 0
 * @keySize: in bytes
 * @data: (nullable) (array length=size): the input; %NULL only if @size is 0
 * @size: in bytes
 * @out: (out caller-allocates) (array length=outSize): the MAC
 * @outSize: must be CryptoKeyedHash_GetOutputSize()
 *
 * Returns: 0, or a code as with CryptoHash_Compute()
 */
ORVANE_EXPORT CryptoError CryptoKeyedHash_Compute(CryptoKeyedHash *keyedHash, gconstpointer key,
                                                  gsize keySize, gconstpointer data, gsize size,
                                                  gpointer out, gsize outSize);

/**
 * CryptoKeyedHash_ComputeIov:
 * @keyedHash: a keyed hash
 * @key: (nullable) (array length=keySize): the key
 * @keySize: in bytes
 * @iov: (array length=iovCount): pieces of the input, which are taken as if they were joined
 * @iovCount: number of pieces
 * @out: (out caller-allocates) (array length=outSize): the MAC
 * @outSize: must be CryptoKeyedHash_GetOutputSize()
 *
 * Returns: 0, or a code as with CryptoHash_Compute()
 */
ORVANE_EXPORT CryptoError CryptoKeyedHash_ComputeIov(CryptoKeyedHash *keyedHash, gconstpointer key,
                                                     gsize keySize, const CryptoIov *iov,
                                                     gsize iovCount, gpointer out, gsize outSize);

/* A running keyed hash; the rest is as with CryptoHashState. */
ORVANE_EXPORT CryptoKeyedHashState *CryptoKeyedHashState_Create(CryptoKeyedHash *keyedHash,
                                                                gconstpointer key, gsize keySize);
ORVANE_EXPORT void CryptoKeyedHashState_Process(CryptoKeyedHashState *state, gconstpointer data,
                                                gsize size);
ORVANE_EXPORT CryptoError CryptoKeyedHashState_Finish(CryptoKeyedHashState *state, gpointer out,
                                                      gsize outSize);
ORVANE_EXPORT CryptoKeyedHash *CryptoKeyedHashState_GetKeyedHash(CryptoKeyedHashState *state);

G_END_DECLS
