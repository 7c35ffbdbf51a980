/*
 * cryptoHMAC.h -- HMAC of RFC 2104 over any hash of the facade
 *
 *   inner hash, fed with (key XOR 0x36...) and then the data
 *   buffer      (key XOR 0x5c...), one block; behind it room for the inner digest
 *
 * Finishing puts the inner digest behind the block, and the hash of the whole buffer is the result.
 *
 * Ownership: a state is released by CryptoHMAC_Finish().
 * Errors:    codes of cryptoError.h.
 * Threads:   any; one state is used by one thread at a time.
 */
#pragma once

#include <crypto/cryptoHash.h>

struct CryptoHMACState;

/**
 * CryptoHMAC_Start:
 * @hash: the hash
 * @key: (array length=keySize): the key, of any size
 * @keySize: in bytes
 * @state: (out) (transfer full) (nullable): the state
 *
 * Returns: 0, CRYPTO_ERROR_FAILED if the hash's output is longer than its block, or CRYPTO_ERROR_NO_MEMORY
 */
CryptoError CryptoHMAC_Start(CryptoHash *hash, const guint8 *key, gsize keySize,
                             CryptoHMACState **state);

void CryptoHMAC_Process(CryptoHMACState *state, const guint8 *data, gsize size);

/**
 * CryptoHMAC_Finish:
 * @state: (transfer full): a state, which is wiped and freed in every case
 * @out: (nullable) (out caller-allocates): the MAC, of the hash's output size; %NULL discards the state
 *
 * Returns: 0, or CRYPTO_ERROR_NO_MEMORY
 */
CryptoError CryptoHMAC_Finish(CryptoHMACState *state, guint8 *out);
