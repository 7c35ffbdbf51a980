/*
 * cryptoPassword.h -- data sealed under a password, keys made of passwords, passwords in memory
 *
 *   Crypto_PasswordWrapData(password, strlen(password), data, size, &text, &textSize);
 *   ->  type=wrappedData:pass2key=PBKDF2-HMAC-SHA-1:cipher=AES-128:rounds=1000:salt=...:mac=HMAC-SHA-1:data=...
 *
 * The text says how it was made, so one with more rounds or another cipher can be read too. For new data, more
 * than 1,000 rounds are advisable: take CryptoPass2Key_MakeKey() with rounds of your own and
 * CryptoKey_EncryptWithMAC().
 *
 * Ownership: results are the caller's, released with Crypto_Free() or Crypto_FreeString(). Inputs stay the
 *            caller's.
 * Errors:    codes of cryptoError.h. After a failure, out arguments are NULL and 0.
 * Threads:   any.
 */
#pragma once

#include <glib.h>

#include <crypto/cryptoCipher.h>
#include <crypto/cryptoError.h>
#include <crypto/cryptoKey.h>
#include <orvane/export.h>

G_BEGIN_DECLS

/* ---- keys of passwords ---- */

/* A way to make a key of a password; a constant. */
typedef const struct CryptoPass2KeyRow CryptoPass2Key;

ORVANE_EXPORT extern CryptoPass2Key *const CryptoPass2Key_PBKDF2_HMAC_SHA_1;

/* "PBKDF2-HMAC-SHA-1" is the only one; CRYPTO_ERROR_UNKNOWN_ALGORITHM for other names. */
ORVANE_EXPORT CryptoError CryptoPass2Key_FromString(const char *name, CryptoPass2Key **pass2key);
ORVANE_EXPORT const char *CryptoPass2Key_ToString(CryptoPass2Key *pass2key);

/**
 * CryptoPass2Key_Compute:
 * @pass2key: how
 * @cipher: a symmetric cipher, whose key size is that of the result
 * @rounds: at least 1; the time is in proportion
 * @password: (array length=passwordSize): the password
 * @passwordSize: in bytes
 * @salt: (inout) (array length=saltSize): the salt; if it is %NULL, 8 random bytes are made and returned, to be
 *   released with Crypto_Free()
 * @saltSize: (inout): in bytes
 * @key: (out) (transfer full) (array length=keySize) (nullable): the raw key
 * @keySize: (out): in bytes
 *
 * Returns: 0, or a code; a salt of the caller's is kept after a failure, a new one is not
 */
ORVANE_EXPORT CryptoError CryptoPass2Key_Compute(CryptoPass2Key *pass2key, CryptoCipher *cipher,
                                                 int rounds, gconstpointer password,
                                                 gsize passwordSize, guint8 **salt, gsize *saltSize,
                                                 guint8 **key, gsize *keySize);

/* The same as a CryptoKey. */
ORVANE_EXPORT CryptoError CryptoPass2Key_MakeKey(CryptoPass2Key *pass2key, CryptoCipher *cipher,
                                                 int rounds, gconstpointer password,
                                                 gsize passwordSize, guint8 **salt, gsize *saltSize,
                                                 CryptoKey **key);

/* ---- data under a password ---- */

/**
 * Crypto_PasswordWrapData:
 * @password: (array length=passwordSize): the password
 * @passwordSize: in bytes
 * @data: (array length=dataSize): the data
 * @dataSize: in bytes
 * @text: (out) (transfer full) (nullable): the text, with a NUL
 * @textSize: (out): in bytes, without the NUL
 *
 * Returns: 0, or a code
 */
ORVANE_EXPORT CryptoError Crypto_PasswordWrapData(gconstpointer password, gsize passwordSize,
                                                  gconstpointer data, gsize dataSize, char **text,
                                                  gsize *textSize);

/**
 * Crypto_PasswordUnwrapData:
 * @password: (array length=passwordSize): the password
 * @passwordSize: in bytes
 * @text: (array length=textSize): what Crypto_PasswordWrapData() returned
 * @textSize: in bytes, without a NUL
 * @data: (out) (transfer full) (array length=dataSize) (nullable): the data
 * @dataSize: (out): in bytes
 *
 * A text that asks for more than 10,000,000 rounds is refused.
 *
 * Returns: 0; CRYPTO_ERROR_WRONG_PASSWORD for a wrong password or damaged data; CRYPTO_ERROR_NAME_NOT_FOUND if a
 *   part of the text is missing; or another code
 */
ORVANE_EXPORT CryptoError Crypto_PasswordUnwrapData(gconstpointer password, gsize passwordSize,
                                                    const char *text, gsize textSize, guint8 **data,
                                                    gsize *dataSize);

/**
 * Crypto_ManglePassphrase:
 * @passphrase: (array length=size): the passphrase
 * @size: in bytes
 * @out: (out) (transfer full) (nullable): 24 characters, always the same for the same passphrase
 *
 * The result is one way, but whoever has it can try passphrases: it hides, and is no secret store.
 *
 * Returns: 0, or a code
 */
ORVANE_EXPORT CryptoError Crypto_ManglePassphrase(gconstpointer passphrase, gsize size, char **out);

/* ---- a password in memory ---- */

/* A password that does not lie readable in memory. */
typedef struct {
    guint8 *data;
    gsize size; /* in bytes */
    CryptoKey *key;
} CryptoEncryptedPassword;

/* Makes the record empty, whatever it held. */
ORVANE_EXPORT void Crypto_InitializeEncryptedPassword(CryptoEncryptedPassword *record);

/* Encrypts under a fresh key. The record must be empty; FALSE leaves it so. */
ORVANE_EXPORT gboolean Crypto_EncryptPassword(gconstpointer plain, gsize size,
                                              CryptoEncryptedPassword *record);

/* The password, to be released with Crypto_Free(); NULL and size 0 if there is none. */
ORVANE_EXPORT gpointer Crypto_DecryptPassword(const CryptoEncryptedPassword *record, gsize *size);

/* Wipes and frees what the record holds, and makes it empty. */
ORVANE_EXPORT void Crypto_ClearEncryptedPassword(CryptoEncryptedPassword *record);

/* ---- the console ---- */

/**
 * Crypto_GetPassword:
 * @prompt: (nullable): written to standard error
 * @confirm: whether the password must be typed twice alike
 *
 * Reads a line from the terminal at standard input without showing it. The typed bytes pass through the buffer of
 * stdin, which is not wiped.
 *
 * Returns: (transfer full) (nullable): the password, to be released with Crypto_FreeString(); %NULL if there is no
 *   terminal or its input has ended
 */
ORVANE_EXPORT char *Crypto_GetPassword(const char *prompt, gboolean confirm);

G_END_DECLS
