/*
 * cryptoSector.h -- encryption of disk data by sector number
 *
 *   CryptoSectorCipherCtx *ctx;
 *   CryptoSector_CipherCtxGenerate(CryptoCipherAES_256, &ctx);
 *   CryptoSector_Crypt(TRUE, ctx, 7, plain, sector);         // 512 bytes stay 512 bytes
 *
 *   expansion = CryptoSector_CipherCtxExpansion(ctx, size);  // the buffer must have room for it
 *   CryptoSector_HMACEncrypt(ctx, 7, buffer, size, expansion, NULL, 0);
 *
 * CryptoSector_Crypt() hides the data, but does not detect changes of it. CryptoSector_HMACEncrypt() does, also a
 * sector that was moved to another number.
 *
 * Ownership: a context has a count of users; CryptoSector_CipherCtxRelease() releases one.
 * Errors:    codes of cryptoError.h.
 * Threads:   encrypting and decrypting with one context are safe from several threads at once; grabbing and
 *            releasing are not.
 */
#pragma once

#include <glib.h>

#include <crypto/cryptoCipher.h>
#include <crypto/cryptoError.h>
#include <crypto/cryptoKey.h>
#include <orvane/export.h>

G_BEGIN_DECLS

typedef struct CryptoSectorCipherCtx CryptoSectorCipherCtx;

/* Size of the sectors of CryptoSector_Crypt(), in bytes. */
enum { CRYPTO_SECTOR_SIZE = 512 };

/**
 * CryptoSector_CipherCtxCreate:
 * @key: a key of a symmetric cipher, which gets one user more
 * @iv: (array length=ivSize): a secret value of the cipher's block size; copied
 * @ivSize: in bytes
 *
 * Returns: (transfer full) (nullable): a context; %NULL if an argument does not fit, or without memory
 */
ORVANE_EXPORT CryptoSectorCipherCtx *CryptoSector_CipherCtxCreate(CryptoKey *key, gconstpointer iv,
                                                                  gsize ivSize);

/**
 * CryptoSector_CipherCtxGenerate:
 * @cipher: a symmetric cipher
 * @ctx: (out) (transfer full) (nullable): a context with a random key
 *
 * Returns: 0; CRYPTO_ERROR_FAILED for a public-key cipher; or another code
 */
ORVANE_EXPORT CryptoError CryptoSector_CipherCtxGenerate(CryptoCipher *cipher,
                                                         CryptoSectorCipherCtx **ctx);

/* Adds a user and returns the same context. NULL is allowed. */
ORVANE_EXPORT CryptoSectorCipherCtx *CryptoSector_CipherCtxGrab(CryptoSectorCipherCtx *ctx);

/* Releases one user; the last one wipes and frees the context. NULL is allowed. */
ORVANE_EXPORT void CryptoSector_CipherCtxRelease(CryptoSectorCipherCtx *ctx);

/* The context's own; valid as long as it is. */
ORVANE_EXPORT CryptoKey *CryptoSector_CipherCtxGetKey(const CryptoSectorCipherCtx *ctx);
ORVANE_EXPORT const guint8 *CryptoSector_CipherCtxGetIV(const CryptoSectorCipherCtx *ctx);
ORVANE_EXPORT gsize CryptoSector_CipherCtxGetIVSize(const CryptoSectorCipherCtx *ctx);
ORVANE_EXPORT CryptoCipher *CryptoSector_CipherCtxGetCipher(const CryptoSectorCipherCtx *ctx);

/* How many bytes CryptoSector_HMACEncrypt() adds to data of this size: 36 for whole blocks. */
ORVANE_EXPORT gsize CryptoSector_CipherCtxExpansion(const CryptoSectorCipherCtx *ctx,
                                                    gsize dataSize);

/* The most that it adds to data of any size. */
ORVANE_EXPORT gsize CryptoSector_CipherCtxMaxExpansion(const CryptoSectorCipherCtx *ctx);

/**
 * CryptoSector_Crypt:
 * @encrypt: %TRUE to encrypt, %FALSE to decrypt
 * @ctx: a context
 * @sector: the number of the sector
 * @in: (array fixed-size=512): the input
 * @out: (out caller-allocates) (array fixed-size=512): the output; may be @in
 *
 * Returns: 0, or a code
 */
ORVANE_EXPORT CryptoError CryptoSector_Crypt(gboolean encrypt, const CryptoSectorCipherCtx *ctx,
                                             guint64 sector, gconstpointer in, gpointer out);

/**
 * CryptoSector_HMACEncrypt:
 * @ctx: a context
 * @sector: the number of the sector, which the MAC protects
 * @buf: (inout): the data, with room for @dataSize + @expansion bytes, all of which hold the sealed sector
 *   afterwards
 * @dataSize: of the data, in bytes
 * @expansion: must be CryptoSector_CipherCtxExpansion() of @dataSize
 * @extra: (nullable) (array length=extraSize): protected by the MAC too, not stored
 * @extraSize: in bytes
 *
 * Returns: 0; CRYPTO_ERROR_BUFFER_SIZE if @expansion is another; or another code
 */
ORVANE_EXPORT CryptoError CryptoSector_HMACEncrypt(const CryptoSectorCipherCtx *ctx, guint64 sector,
                                                   gpointer buf, gsize dataSize, gsize expansion,
                                                   gconstpointer extra, gsize extraSize);

/**
 * CryptoSector_HMACDecrypt:
 * @ctx: a context
 * @sector: the number of the sector
 * @buf: (inout): a sealed sector; its first @dataSize bytes are the data afterwards
 * @dataSize: of the data, in bytes
 * @expansion: must be CryptoSector_CipherCtxExpansion() of @dataSize
 * @extra: (nullable) (array length=extraSize): what was given to CryptoSector_HMACEncrypt()
 * @extraSize: in bytes
 *
 * Returns: 0; CRYPTO_ERROR_FAILED, and @buf as it was, if anything was changed; or another code
 */
ORVANE_EXPORT CryptoError CryptoSector_HMACDecrypt(const CryptoSectorCipherCtx *ctx, guint64 sector,
                                                   gpointer buf, gsize dataSize, gsize expansion,
                                                   gconstpointer extra, gsize extraSize);

G_END_DECLS
