/*
 * cryptoInt.h -- the records behind the types of include/crypto/, and what the sources of this folder share
 *
 * An algorithm is a constant row: its name, its sizes, and a function per operation. The tables of all rows are in
 * cryptoCipher.cpp, cryptoHash.cpp, cryptoKeyedHash.cpp and cryptoPass2Key.cpp; nothing else lists algorithms.
 *
 * Ownership: blocks that operations return come from Crypto_Alloc() and go to the caller, who wipes them.
 * Errors:    an operation clears its out arguments before anything can fail.
 * Threads:   rows are constants. Operations only read the key.
 */
#pragma once

#include <algorithm>
#include <cstring>
#include <span>

#include <crypto/crypto.h>

/* A cipher. An operation that the cipher does not have is nullptr. Sizes are in bytes. */
struct CryptoCipherRow {
    const char *name;
    CryptoCipherType type;
    gsize ivSize;  /* also the block size; all ones for a public-key cipher */
    gsize keySize; /* all ones for a public-key cipher */

    /* Makes key->native of the key bytes, and sets hasPrivateKey. After a failure, native is nullptr. */
    CryptoError (*initKey)(CryptoKey *key);
    /* Returns the bytes of a new random key. */
    CryptoError (*generateKey)(CryptoCipher *cipher, guint8 **data, gsize *size);
    /* Returns the key bytes of the public half. */
    CryptoError (*getPublicKey)(CryptoKey *key, guint8 **data, gsize *size);
    /* Wipes and frees key->native. */
    void (*freeKey)(CryptoKey *key);

    /* One block. */
    CryptoError (*ecbEncrypt)(CryptoKey *key, const guint8 *in, guint8 *out, gsize size);
    CryptoError (*ecbDecrypt)(CryptoKey *key, const guint8 *in, guint8 *out, gsize size);

    /* The outs and sizes are those of the functions of the same names in cryptoKey.h. */
    CryptoError (*pkEncrypt)(CryptoKey *key, CryptoRSAPadding padding, const guint8 *in,
                             gsize inSize, guint8 **out, gsize *outSize);
    CryptoError (*pkDecrypt)(CryptoKey *key, CryptoRSAPadding padding, const guint8 *in,
                             gsize *inSize, guint8 **out, gsize *outSize);
    CryptoError (*sign)(CryptoKey *key, CryptoHash *hash, const guint8 *digest, gsize digestSize,
                        guint8 **sig, gsize *sigSize);
    CryptoError (*verify)(CryptoKey *key, CryptoHash *hash, const guint8 *digest, gsize digestSize,
                          const guint8 *sig, gsize sigSize);
    CryptoError (*importKey)(const char *text, gsize size, const char *password, CryptoKey **key);
    CryptoError (*exportKey)(CryptoKey *key, const char *password, char **text, gsize *size);
    CryptoError (*getNative)(CryptoKey *key, gpointer *native);

    /* Whole blocks. The initialization vector goes on from call to call. */
    CryptoError (*cbcEncrypt)(CryptoKey *key, guint8 *iv, const guint8 *in, guint8 *out,
                              gsize size);
    CryptoError (*cbcDecrypt)(CryptoKey *key, guint8 *iv, const guint8 *in, guint8 *out,
                              gsize size);
};

/* A hash. The private state is one heap block. */
struct CryptoHashRow {
    const char *name;
    gsize blockSize;
    gsize outputSize;

    CryptoError (*start)(gpointer *state);
    void (*process)(gpointer state, const guint8 *data, gsize size);
    /* Wipes and frees the state; writes the digest unless out is nullptr. */
    void (*finish)(gpointer state, guint8 *out);
    CryptoError (*importState)(gpointer state, const guint8 *data, gsize size);
    CryptoError (*exportState)(gconstpointer state, guint8 **data, gsize *size);
};

struct CryptoKeyedHashRow {
    const char *name;
    gsize outputSize;

    CryptoError (*start)(const guint8 *key, gsize keySize, gpointer *state);
    void (*process)(gpointer state, const guint8 *data, gsize size);
    /* As with a hash; fails only if the memory for the outer hash is missing. */
    CryptoError (*finish)(gpointer state, guint8 *out);
};

struct CryptoPass2KeyRow {
    const char *name;

    /* Fills out; zeroes it after a failure. */
    CryptoError (*compute)(int rounds, const guint8 *password, gsize passwordSize,
                           const guint8 *salt, gsize saltSize, guint8 *out, gsize outSize);
};

struct CryptoHashState {
    CryptoHash *hash;
    gpointer state;
};

struct CryptoKeyedHashState {
    CryptoKeyedHash *keyedHash;
    gpointer state;
};

struct CryptoKey {
    gint refCount; /* accessed atomically */
    CryptoCipher *cipher;
    guint8 *keyData; /* the raw key, or the PEM text without a NUL */
    gsize keySize;
    gpointer native;        /* the cipher's own */
    gboolean hasPrivateKey; /* FALSE for a symmetric cipher */
};

/* All ciphers, in the order in which an import tries them; ends with nullptr. */
extern CryptoCipher *const allCiphers[];

/* ---- operations of the AES rows ---- */

CryptoError CryptoAES_InitKey(CryptoKey *key);
CryptoError CryptoAES_GenerateKey(CryptoCipher *cipher, guint8 **data, gsize *size);
void CryptoAES_FreeKey(CryptoKey *key);
CryptoError CryptoAES_ECBEncrypt(CryptoKey *key, const guint8 *in, guint8 *out, gsize size);
CryptoError CryptoAES_ECBDecrypt(CryptoKey *key, const guint8 *in, guint8 *out, gsize size);
CryptoError CryptoAES_CBCEncrypt(CryptoKey *key, guint8 *iv, const guint8 *in, guint8 *out,
                                 gsize size);
CryptoError CryptoAES_CBCDecrypt(CryptoKey *key, guint8 *iv, const guint8 *in, guint8 *out,
                                 gsize size);

/* ---- operations of the public-key rows ---- */

CryptoError CryptoRSA_InitKey(CryptoKey *key);
CryptoError CryptoRSA_GenerateKey(CryptoCipher *cipher, guint8 **data, gsize *size);
CryptoError CryptoRSA_GetPublicKey(CryptoKey *key, guint8 **data, gsize *size);
void CryptoRSA_FreeKey(CryptoKey *key);
CryptoError CryptoRSA_PKEncrypt(CryptoKey *key, CryptoRSAPadding padding, const guint8 *in,
                                gsize inSize, guint8 **out, gsize *outSize);
CryptoError CryptoRSA_PKDecrypt(CryptoKey *key, CryptoRSAPadding padding, const guint8 *in,
                                gsize *inSize, guint8 **out, gsize *outSize);
CryptoError CryptoRSA_Sign(CryptoKey *key, CryptoHash *hash, const guint8 *digest, gsize digestSize,
                           guint8 **sig, gsize *sigSize);
CryptoError CryptoRSA_Verify(CryptoKey *key, CryptoHash *hash, const guint8 *digest,
                             gsize digestSize, const guint8 *sig, gsize sigSize);
CryptoError CryptoRSA_Import(const char *text, gsize size, const char *password, CryptoKey **key);
CryptoError CryptoRSA_Export(CryptoKey *key, const char *password, char **text, gsize *size);
CryptoError CryptoRSA_GetNative(CryptoKey *key, gpointer *native);

CryptoError CryptoDSA_InitKey(CryptoKey *key);
CryptoError CryptoDSA_GenerateKey(CryptoCipher *cipher, guint8 **data, gsize *size);
CryptoError CryptoDSA_GetPublicKey(CryptoKey *key, guint8 **data, gsize *size);
void CryptoDSA_FreeKey(CryptoKey *key);
CryptoError CryptoDSA_Sign(CryptoKey *key, CryptoHash *hash, const guint8 *digest, gsize digestSize,
                           guint8 **sig, gsize *sigSize);
CryptoError CryptoDSA_Verify(CryptoKey *key, CryptoHash *hash, const guint8 *digest,
                             gsize digestSize, const guint8 *sig, gsize sigSize);
CryptoError CryptoDSA_Import(const char *text, gsize size, const char *password, CryptoKey **key);
CryptoError CryptoDSA_Export(CryptoKey *key, const char *password, char **text, gsize *size);
CryptoError CryptoDSA_GetNative(CryptoKey *key, gpointer *native);

/* ---- PBKDF2 ---- */

/**
 * CryptoPBKDF2_HMAC_SHA1_Compute:
 * @rounds: at least 1
 * @password: (array length=passwordSize): the password
 * @passwordSize: in bytes
 * @salt: (array length=saltSize): the salt
 * @saltSize: in bytes
 * @out: (out caller-allocates) (array length=outSize): the derived bytes; zeroed after a failure
 * @outSize: in bytes
 *
 * Returns: 0; CRYPTO_ERROR_FAILED for less than one round; CRYPTO_ERROR_NO_MEMORY
 */
CryptoError CryptoPBKDF2_HMAC_SHA1_Compute(int rounds, const guint8 *password, gsize passwordSize,
                                           const guint8 *salt, gsize saltSize, guint8 *out,
                                           gsize outSize);

/* ---- registries ---- */

/* Returns the row of a table that ends with nullptr, or nullptr if none has the name. */
template <class Row> Row *CryptoFindRow(Row *const *table, const char *name) {
    for (; *table != nullptr; table++) {
        if (strcmp((*table)->name, name) == 0)
            return *table;
    }
    return nullptr;
}

/* Calls function(piece, size) for pieces of the data that one call of a running hash takes. */
template <class Function>
void CryptoForEachPiece(gconstpointer data, gsize size, Function function) {
    constexpr gsize kPieceSize = 0x40000000;
    const auto *at = static_cast<const guint8 *>(data);
    while (size > 0) {
        const gsize pieceSize = std::min(size, kPieceSize);
        function(at, pieceSize);
        at += pieceSize;
        size -= pieceSize;
    }
}
