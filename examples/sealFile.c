/*
 * sealFile seal FILE SEALED -- encrypts a file under a passphrase
 * sealFile open SEALED FILE -- decrypts it again
 *
 * The sealed file is a text that says how it was made:
 *
 *   type=sealedFile
 *   pass2key=PBKDF2-HMAC-SHA-1
 *   cipher=AES-256
 *   rounds=1000000
 *   salt=...
 *   mac=HMAC-SHA-256
 *   data=...
 *
 * The passphrase is asked for at the terminal; without one it is the first line of standard input.
 */
#include <string.h>

#include <crypto/crypto.h>
#include <glib/gstdio.h>
#include <unistd.h>

/* Half a second on a slow machine. Whoever tries passphrases pays it for each. */
enum { ROUNDS = 1000000, MAX_ROUNDS = 10000000 };

/* Says what went wrong, and returns the program's exit code. */
static int Fail(const char *file, const char *reason) {
    g_printerr("sealFile: %s: %s\n", file, reason);
    return 1;
}

static char *AskPassphrase(gboolean confirm) {
    if (isatty(STDIN_FILENO))
        return Crypto_GetPassword("Passphrase: ", confirm);
    char line[1024];
    if (fgets(line, sizeof line, stdin) == NULL)
        return NULL;
    const gsize size = strcspn(line, "\n");
    char *passphrase = Crypto_Alloc(size + 1);
    if (passphrase != NULL) {
        memcpy(passphrase, line, size);
        passphrase[size] = '\0';
    }
    explicit_bzero(line, sizeof line);
    return passphrase;
}

/* Writes a file that only its owner can read. */
static int WriteFile(const char *file, const void *data, gsize size) {
    g_autoptr(GError) error = NULL;
    const GFileSetContentsFlags flags =
        G_FILE_SET_CONTENTS_CONSISTENT | G_FILE_SET_CONTENTS_DURABLE;
    if (!g_file_set_contents_full(file, data, (gssize)size, flags, 0600, &error))
        return Fail(file, error->message);
    return 0;
}

static int Seal(const char *from, const char *to, const char *data, gsize size,
                const char *passphrase) {
    CryptoKey *key = NULL;
    CryptoDict *dict = NULL;
    guint8 *salt = NULL, *sealed = NULL;
    gsize saltSize = 0, sealedSize = 0, textSize = 0;
    char *text = NULL;

    CryptoError error =
        CryptoPass2Key_MakeKey(CryptoPass2Key_PBKDF2_HMAC_SHA_1, CryptoCipherAES_256, ROUNDS,
                               passphrase, strlen(passphrase), &salt, &saltSize, &key);
    if (error == 0)
        error = CryptoKey_EncryptWithMAC(key, CryptoKeyedHash_HMAC_SHA_256, data, size, &sealed,
                                         &sealedSize);
    if (error == 0)
        error = CryptoDict_Create(&dict);
    if (error == 0) {
        CryptoDict_Set(dict, "type", "sealedFile");
        CryptoDict_Set(dict, "pass2key", CryptoPass2Key_ToString(CryptoPass2Key_PBKDF2_HMAC_SHA_1));
        CryptoDict_Set(dict, "cipher", CryptoCipher_ToString(CryptoCipherAES_256));
        CryptoDict_SetUint32(dict, "rounds", ROUNDS);
        CryptoDict_SetBase64(dict, "salt", salt, saltSize);
        CryptoDict_Set(dict, "mac", CryptoKeyedHash_ToString(CryptoKeyedHash_HMAC_SHA_256));
        CryptoDict_SetBase64(dict, "data", sealed, sealedSize);
        error = CryptoDict_HadSetError(dict) ? CRYPTO_ERROR_NO_MEMORY
                                             : CryptoDict_Export(dict, TRUE, &text, &textSize);
    }
    const int result =
        error != 0 ? Fail(from, CryptoError_ToString(error)) : WriteFile(to, text, textSize);
    Crypto_FreeString(text);
    CryptoDict_Free(dict);
    Crypto_Free(sealed, sealedSize);
    CryptoKey_Free(key);
    Crypto_Free(salt, saltSize);
    return result;
}

static int Open(const char *from, const char *to, const char *text, gsize size,
                const char *passphrase) {
    CryptoDict *dict = NULL;
    CryptoPass2Key *pass2key = NULL;
    CryptoCipher *cipher = NULL;
    CryptoKeyedHash *mac = NULL;
    CryptoKey *key = NULL;
    guint8 *salt = NULL, *sealed = NULL, *data = NULL;
    gsize saltSize = 0, sealedSize = 0, dataSize = 0;
    guint32 rounds = 0;
    int result;

    if (CryptoDict_CreateAndImport(text, size, &dict) != 0 ||
        strcmp(CryptoDict_Get(dict, "type"), "sealedFile") != 0)
        result = Fail(from, "this is no sealed file");
    else if (CryptoPass2Key_FromString(CryptoDict_Get(dict, "pass2key"), &pass2key) != 0 ||
             CryptoCipher_FromString(CryptoDict_Get(dict, "cipher"), &cipher) != 0 ||
             CryptoCipher_GetType(cipher) != CRYPTO_CIPHER_SYMMETRIC ||
             CryptoKeyedHash_FromString(CryptoDict_Get(dict, "mac"), &mac) != 0)
        result = Fail(from, "sealed in a way that this program does not know");
    else if (CryptoDict_GetUint32(dict, "rounds", &rounds) != 0 || rounds < 1 ||
             rounds > MAX_ROUNDS || CryptoDict_GetBase64(dict, "salt", &salt, &saltSize) != 0 ||
             CryptoDict_GetBase64(dict, "data", &sealed, &sealedSize) != 0)
        result = Fail(from, "the file is damaged");
    else if (CryptoPass2Key_MakeKey(pass2key, cipher, (int)rounds, passphrase, strlen(passphrase),
                                    &salt, &saltSize, &key) != 0)
        result = Fail(from, "no key can be made");
    else if (CryptoKey_DecryptWithMAC(key, mac, sealed, sealedSize, &data, &dataSize) != 0)
        result = Fail(from, "wrong passphrase, or the file is damaged");
    else
        result = WriteFile(to, data, dataSize);
    Crypto_Free(data, dataSize);
    CryptoKey_Free(key);
    Crypto_Free(sealed, sealedSize);
    Crypto_Free(salt, saltSize);
    CryptoDict_Free(dict);
    return result;
}

int main(int argc, char **argv) {
    const gboolean isSealing = argc == 4 && strcmp(argv[1], "seal") == 0;
    if (argc != 4 || (!isSealing && strcmp(argv[1], "open") != 0)) {
        g_printerr("usage: sealFile seal FILE SEALED\n"
                   "       sealFile open SEALED FILE\n");
        return 2;
    }
    g_autoptr(GError) error = NULL;
    char *content = NULL;
    gsize size = 0;
    if (!g_file_get_contents(argv[2], &content, &size, &error))
        return Fail(argv[2], error->message);

    int result = 1;
    char *passphrase = AskPassphrase(isSealing);
    if (passphrase == NULL || *passphrase == '\0')
        Fail(argv[2], "no passphrase given");
    else
        result = (isSealing ? Seal : Open)(argv[2], argv[3], content, size, passphrase);
    Crypto_FreeString(passphrase);
    Crypto_Free(content, size);
    return result;
}
