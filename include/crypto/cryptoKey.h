/*
 * cryptoKey.h -- keys, and what is done with them
 *
 *   CryptoKey *key;
 *   CryptoKey_Generate(CryptoCipherAES_256, &key);
 *   CryptoKey_EncryptWithMAC(key, CryptoKeyedHash_HMAC_SHA_256, plain, plainSize, &sealed, &sealedSize);
 *   ...
 *   CryptoKey_DecryptWithMAC(key, CryptoKeyedHash_HMAC_SHA_256, sealed, sealedSize, &plain, &plainSize);
 *   CryptoKey_Free(key);
 *
 * A key of an AES cipher holds raw bytes. A key of an RSA or DSA cipher holds a PEM text: a private key as PKCS#8
 * without encryption, or a public key.
 *
 * Functions that need OpenSSL start the TLS layer themselves, see SSL_Init(). Importing an encrypted PEM leaves
 * a copy of the key in freed memory, since OpenSSL does not wipe the one that it makes; nothing else here does.
 *
 * Ownership: a key has a count of users; CryptoKey_Free() releases one. Data that functions return is released
 *            with Crypto_Free(), texts with Crypto_FreeString(). The inputs stay the caller's.
 * Errors:    codes of cryptoError.h. After a failure, out arguments are NULL and 0.
 * Threads:   any. A key never changes, and may be used by several threads at once.
 */
#pragma once

#include <glib.h>

#include <crypto/cryptoCipher.h>
#include <crypto/cryptoError.h>
#include <crypto/cryptoHash.h>
#include <orvane/export.h>

G_BEGIN_DECLS

typedef struct CryptoKey CryptoKey;

/* Padding of public-key encryption. */
typedef enum {
    CRYPTO_RSA_PADDING_DEFAULT = 0, /* OAEP */
    CRYPTO_RSA_PADDING_PKCS1 = 1,
    CRYPTO_RSA_PADDING_OAEP = 2,
} CryptoRSAPadding;

/* ---- making and releasing ---- */

/**
 * CryptoKey_Create:
 * @cipher: a cipher
 * @data: (array length=size): the raw key, or the PEM text; copied
 * @size: in bytes; of a PEM text without the NUL
 * @key: (out) (transfer full) (nullable): the key
 *
 * Returns: 0; CRYPTO_ERROR_FAILED if @data is no key of @cipher; CRYPTO_ERROR_NO_MEMORY
 */
ORVANE_EXPORT CryptoError CryptoKey_Create(CryptoCipher *cipher, gconstpointer data, gsize size,
                                           CryptoKey **key);

/* Makes a random key. */
ORVANE_EXPORT CryptoError CryptoKey_Generate(CryptoCipher *cipher, CryptoKey **key);

/* Adds a user and returns the same key. */
ORVANE_EXPORT CryptoKey *CryptoKey_Clone(CryptoKey *key);

/* Releases one user; the last one wipes and frees the key. NULL is allowed. */
ORVANE_EXPORT void CryptoKey_Free(CryptoKey *key);

ORVANE_EXPORT CryptoCipher *CryptoKey_GetCipher(const CryptoKey *key);

/**
 * CryptoKey_GetKeyData:
 * @key: a key
 * @data: (out) (transfer none) (array length=size): the raw key, or the PEM text; valid as long as the key
 * @size: (out): in bytes
 *
 * Returns: 0
 */
ORVANE_EXPORT CryptoError CryptoKey_GetKeyData(const CryptoKey *key, const guint8 **data,
                                               gsize *size);

/* FALSE for a key of a symmetric cipher. */
ORVANE_EXPORT gboolean CryptoKey_HasPrivateKey(const CryptoKey *key);

/**
 * CryptoKey_GetNative:
 * @key: a key of a public-key cipher
 * @native: (out) (transfer none): OpenSSL's RSA or DSA object of it; valid as long as the key
 *
 * Returns: 0, or CRYPTO_ERROR_INVALID_OPERATION for a key of a symmetric cipher
 */
ORVANE_EXPORT CryptoError CryptoKey_GetNative(CryptoKey *key, gpointer *native);

/**
 * CryptoKey_GetPublicKey:
 * @key: a key
 * @publicKey: (out) (transfer full) (nullable): the public half; the key itself, with one user more, if it has
 *   no private half
 *
 * Returns: 0, or a code
 */
ORVANE_EXPORT CryptoError CryptoKey_GetPublicKey(CryptoKey *key, CryptoKey **publicKey);

/* ---- blocks ---- */

/**
 * CryptoKey_ECBEncrypt:
 * @key: a key of a symmetric cipher
 * @in: (array length=size): the input
 * @out: (out caller-allocates) (array length=size): the output; may be @in
 * @size: exactly one block, or 0, which does nothing
 *
 * Returns: 0, CRYPTO_ERROR_INVALID_OPERATION or CRYPTO_ERROR_BUFFER_SIZE
 */
ORVANE_EXPORT CryptoError CryptoKey_ECBEncrypt(CryptoKey *key, gconstpointer in, gpointer out,
                                               gsize size);
ORVANE_EXPORT CryptoError CryptoKey_ECBDecrypt(CryptoKey *key, gconstpointer in, gpointer out,
                                               gsize size);

/**
 * CryptoKey_CBCEncrypt:
 * @key: a key of a symmetric cipher
 * @iv: (inout) (array length=ivSize): the initialization vector; holds the one for the next call afterwards
 * @ivSize: must be CryptoCipher_GetIVSize()
 * @in: (array length=size): the input
 * @out: (out caller-allocates) (array length=size): the output; may be @in; zeroed if a size is wrong
 * @size: a multiple of the block size
 *
 * Returns: 0, CRYPTO_ERROR_INVALID_OPERATION or CRYPTO_ERROR_BUFFER_SIZE
 */
ORVANE_EXPORT CryptoError CryptoKey_CBCEncrypt(CryptoKey *key, gpointer iv, gsize ivSize,
                                               gconstpointer in, gpointer out, gsize size);
ORVANE_EXPORT CryptoError CryptoKey_CBCDecrypt(CryptoKey *key, gpointer iv, gsize ivSize,
                                               gconstpointer in, gpointer out, gsize size);

/* ---- sealed data ---- */

/**
 * CryptoKey_EncryptWithMAC:
 * @key: a key of a symmetric cipher or of an RSA cipher
 * @keyedHash: makes the MAC
 * @plain: (array length=plainSize): the data
 * @plainSize: in bytes
 * @out: (out) (transfer full) (array length=outSize) (nullable): the sealed record
 * @outSize: (out): in bytes
 *
 * Encrypts and protects against changes. Two records of the same data differ.
 *
 * Returns: 0, or a code
 */
ORVANE_EXPORT CryptoError CryptoKey_EncryptWithMAC(CryptoKey *key, CryptoKeyedHash *keyedHash,
                                                   gconstpointer plain, gsize plainSize,
                                                   guint8 **out, gsize *outSize);

/**
 * CryptoKey_DecryptWithMAC:
 * @key: the key; of an RSA cipher, one with its private half
 * @keyedHash: the one that the record was made with
 * @in: (array length=inSize): a sealed record
 * @inSize: in bytes
 * @out: (out) (transfer full) (array length=outSize) (nullable): the data
 * @outSize: (out): in bytes
 *
 * Returns: 0; CRYPTO_ERROR_FAILED if the record was changed or the key is another one; CRYPTO_ERROR_BUFFER_SIZE
 *   if no record has this size; CRYPTO_ERROR_INVALID_OPERATION without a private key
 */
ORVANE_EXPORT CryptoError CryptoKey_DecryptWithMAC(CryptoKey *key, CryptoKeyedHash *keyedHash,
                                                   gconstpointer in, gsize inSize, guint8 **out,
                                                   gsize *outSize);

/* ---- public-key encryption and signatures ---- */

/**
 * CryptoKey_PKEncrypt:
 * @key: a key of an RSA cipher
 * @padding: the padding
 * @in: (array length=inSize): the data: with a 2048-bit key at most 214 bytes, 244 with PKCS1 padding
 * @inSize: in bytes; 0 does nothing
 * @out: (out) (transfer full) (array length=outSize) (nullable): as many bytes as the key's modulus has
 * @outSize: (out): in bytes
 *
 * Returns: 0, or a code
 */
ORVANE_EXPORT CryptoError CryptoKey_PKEncrypt(CryptoKey *key, CryptoRSAPadding padding,
                                              gconstpointer in, gsize inSize, guint8 **out,
                                              gsize *outSize);

/**
 * CryptoKey_PKDecrypt:
 * @key: a key of an RSA cipher with its private half
 * @padding: the padding that was used
 * @in: (array length=inSize): begins with what CryptoKey_PKEncrypt() returned
 * @inSize: (inout): size of @in; afterwards how much of it was used
 * @out: (out) (transfer full) (array length=outSize) (nullable): the data
 * @outSize: (out) (optional): in bytes; %NULL: nothing is done
 *
 * Returns: 0, or a code
 */
ORVANE_EXPORT CryptoError CryptoKey_PKDecrypt(CryptoKey *key, CryptoRSAPadding padding,
                                              gconstpointer in, gsize *inSize, guint8 **out,
                                              gsize *outSize);

/**
 * CryptoKey_Sign:
 * @key: a key of a public-key cipher with its private half
 * @hash: makes the digest that is signed
 * @data: (array length=size): the data
 * @size: in bytes
 * @sig: (out) (optional) (transfer full) (array length=sigSize) (nullable): the signature; with %NULL none is made
 * @sigSize: (out): in bytes
 *
 * Returns: 0, or a code
 */
ORVANE_EXPORT CryptoError CryptoKey_Sign(CryptoKey *key, CryptoHash *hash, gconstpointer data,
                                         gsize size, guint8 **sig, gsize *sigSize);

/* The same piece by piece; CryptoKey_SignFinish() releases the state in every case. */
ORVANE_EXPORT CryptoError CryptoKey_SignStart(CryptoHash *hash, CryptoHashState **state);
ORVANE_EXPORT CryptoError CryptoKey_SignProcess(CryptoHashState *state, gconstpointer data,
                                                gsize size);
ORVANE_EXPORT CryptoError CryptoKey_SignFinish(CryptoHashState *state, CryptoKey *key, guint8 **sig,
                                               gsize *sigSize);

/**
 * CryptoKey_Verify:
 * @key: a key of a public-key cipher
 * @hash: the hash that the signature was made with
 * @data: (array length=size): the data
 * @size: in bytes
 * @sig: (array length=sigSize): the signature
 * @sigSize: in bytes
 *
 * Returns: 0 if the signature belongs to the data; CRYPTO_ERROR_FAILED if not; or another code
 */
ORVANE_EXPORT CryptoError CryptoKey_Verify(CryptoKey *key, CryptoHash *hash, gconstpointer data,
                                           gsize size, gconstpointer sig, gsize sigSize);

/* The same piece by piece; CryptoKey_VerifyFinish() releases the state in every case. */
ORVANE_EXPORT CryptoError CryptoKey_VerifyStart(CryptoHash *hash, CryptoHashState **state);
ORVANE_EXPORT CryptoError CryptoKey_VerifyProcess(CryptoHashState *state, gconstpointer data,
                                                  gsize size);
ORVANE_EXPORT CryptoError CryptoKey_VerifyFinish(CryptoHashState *state, CryptoKey *key,
                                                 gconstpointer sig, gsize sigSize);

/* ---- keys as text ---- */

/**
 * CryptoKey_Export:
 * @key: a key
 * @password: (nullable): encrypts the text; plays no part for a public key
 * @text: (out) (transfer full) (nullable): "type=key:cipher=AES-128:key=...", or a PEM text, with a NUL behind it
 * @size: (out): in bytes, without the NUL
 *
 * Without a password the text shows the key to everyone who reads it.
 *
 * Returns: 0, or a code
 */
ORVANE_EXPORT CryptoError CryptoKey_Export(CryptoKey *key, const char *password, char **text,
                                           gsize *size);

/**
 * CryptoKey_Import:
 * @text: (array length=size): what CryptoKey_Export() returned, or a PEM text of an RSA or DSA key
 * @size: in bytes, without a NUL
 * @password: (nullable): decrypts the text
 * @key: (out) (transfer full) (nullable): the key
 *
 * A text that asks for more than 10,000,000 rounds of key derivation is refused.
 *
 * Returns: 0, or the code of the last form that was tried
 */
ORVANE_EXPORT CryptoError CryptoKey_Import(const char *text, gsize size, const char *password,
                                           CryptoKey **key);

G_END_DECLS
