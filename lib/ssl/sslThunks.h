/*
 * sslThunks.h -- the part of OpenSSL that the library uses: opaque types, constants and thunks
 *
 *   SSL *ssl = __wrap_SSL_new(ctx);
 *
 * __wrap_NAME jumps to the function NAME of the OpenSSL that SSL_Init() opened, with unchanged arguments.
 * sslNames.inc lists all of them. Those that the library itself calls have a prototype here, that of OpenSSL
 * 1.0.2. Only the adapters include OpenSSL's headers: in those of OpenSSL 3 many of these names are macros.
 *
 * Errors:  a thunk called before SSL_Init() ends the process with a text that names the function.
 * Threads: as OpenSSL documents for the function.
 */
#pragma once

#include <stddef.h>

#include <glib.h>
#include <orvane/ssl.h>

G_BEGIN_DECLS

/* ---- opaque types, with the tags of OpenSSL ---- */

typedef struct ssl_method_st SSL_METHOD;
typedef struct ssl_cipher_st SSL_CIPHER;
typedef struct ssl_session_st SSL_SESSION;
typedef struct comp_method_st COMP_METHOD;
typedef struct X509_name_st X509_NAME;
typedef struct X509_name_entry_st X509_NAME_ENTRY;
typedef struct x509_store_st X509_STORE;
typedef struct x509_lookup_st X509_LOOKUP;
typedef struct x509_lookup_method_st X509_LOOKUP_METHOD;
typedef struct X509_VERIFY_PARAM_st X509_VERIFY_PARAM;
typedef struct bio_method_st BIO_METHOD;
typedef struct bignum_st BIGNUM;
typedef struct dh_st DH;
typedef struct dsa_st DSA;
typedef struct rsa_st RSA;
typedef struct evp_pkey_st EVP_PKEY;
typedef struct evp_md_st EVP_MD;
typedef struct evp_cipher_st EVP_CIPHER;
typedef struct asn1_string_st ASN1_STRING;
typedef struct asn1_string_st ASN1_INTEGER;
typedef struct asn1_string_st ASN1_TIME;
typedef struct asn1_object_st ASN1_OBJECT;
typedef struct crypto_ex_data_st CRYPTO_EX_DATA;
typedef struct stack_st OPENSSL_STACK; /* STACK_OF(any) */

/* Has the same layout in 1.0.2 and in 3. */
typedef struct {
    int type; /* GEN_DNS and so on */
    void *d;  /* an ASN1_STRING for the types used here */
} GENERAL_NAME;

/* ---- constants ---- */

enum { CRYPTO_LOCK = 1, CRYPTO_UNLOCK = 2 };

enum {
    SSL_ERROR_NONE = 0,
    SSL_ERROR_SSL = 1,
    SSL_ERROR_WANT_READ = 2,
    SSL_ERROR_WANT_WRITE = 3,
    SSL_ERROR_SYSCALL = 5,
    SSL_ERROR_ZERO_RETURN = 6,
};

enum { SSL_NOTHING = 1, SSL_WRITING = 2, SSL_READING = 3 }; /* SSL_want() */
enum { SSL_VERIFY_NONE = 0, SSL_VERIFY_PEER = 1 };

enum { SSL_CTRL_OPTIONS = 32, SSL_CTRL_MODE = 33, SSL_CTRL_SET_SESS_CACHE_MODE = 44 };
enum { SSL_MODE_AUTO_RETRY = 4, SSL_SESS_CACHE_OFF = 0 };
enum {
    SSL_OP_NO_COMPRESSION = 0x00020000,
    SSL_OP_SINGLE_DH_USE = 0x00100000,
};

enum { X509_FILETYPE_PEM = 1 }; /* SSL_FILETYPE_PEM too */
enum { X509_L_FILE_LOAD = 1, X509_L_ADD_DIR = 2 };

enum {
    X509_V_OK = 0,
    X509_V_ERR_UNSPECIFIED = 1,
    X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT = 18,
    X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN = 19,
    X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE = 21,
    X509_V_ERR_INVALID_CA = 24,
    X509_V_ERR_APPLICATION_VERIFICATION = 50,
};
enum { X509_V_FLAG_POLICY_CHECK = 0x80 };
enum { EXFLAG_BCONS = 0x1, EXFLAG_KUSAGE = 0x2, EXFLAG_CA = 0x10, EXFLAG_SELF_ISSUED = 0x20 };
enum { KU_KEY_CERT_SIGN = 0x4 };
enum { GEN_DNS = 2, GEN_IPADD = 7 };
enum { RSA_PKCS1_PADDING = 1, RSA_PKCS1_OAEP_PADDING = 4 };
enum {
    NID_commonName = 13,
    NID_subject_alt_name = 85,
    NID_ext_key_usage = 126,
    NID_server_auth = 129,
    NID_name_constraints = 666,
};

/* X509_NAME_print_ex() */
enum {
    XN_FLAG_SEP_CPLUS_SPC = 2 << 16,
    XN_FLAG_DN_REV = 1 << 20,
    XN_FLAG_DUMP_UNKNOWN_FIELDS = 1 << 24,
    ASN1_STRFLGS_ESC_2253 = 0x1,
    ASN1_STRFLGS_ESC_CTRL = 0x2,
    ASN1_STRFLGS_UTF8_CONVERT = 0x10,
    ASN1_STRFLGS_DUMP_UNKNOWN = 0x100,
    ASN1_STRFLGS_DUMP_DER = 0x200,
};

/* ---- callbacks ---- */

typedef DH *(*SSLTmpDHFn)(SSL *ssl, int isExport, int keyLength);
typedef int (*SSLVerifyFn)(int ok, X509_STORE_CTX *storeContext);
typedef void (*SSLLockingFn)(int mode, int type, const char *file, int line);
typedef unsigned long (*SSLThreadIdFn)(void);
typedef int (*SSLAddLockFn)(int *pointer, int amount, int type, const char *file, int line);
typedef void (*SSLExFreeFn)(void *parent, void *ptr, CRYPTO_EX_DATA *data, int index, long argl,
                            void *argp);
typedef int (*SSLPassphraseFn)(char *buffer, int size, int isForWriting, void *data);

/* ---- start and stop, threads ---- */

int __wrap_SSL_library_init(void);
void __wrap_SSL_load_error_strings(void);
int __wrap_SSL_COMP_add_compression_method(int id, COMP_METHOD *method);
COMP_METHOD *__wrap_COMP_zlib(void);
void __wrap_OPENSSL_add_all_algorithms_noconf(void);
int __wrap_RAND_status(void);
void __wrap_ENGINE_register_all_ciphers(void);
int __wrap_ENGINE_register_all_digests(void);
void __wrap_ENGINE_cleanup(void);
void __wrap_EVP_cleanup(void);
int __wrap_CRYPTO_num_locks(void);
SSLLockingFn __wrap_CRYPTO_get_locking_callback(void);
void __wrap_CRYPTO_set_locking_callback(SSLLockingFn callback);
void __wrap_CRYPTO_set_id_callback(SSLThreadIdFn callback);
void __wrap_CRYPTO_set_add_lock_callback(SSLAddLockFn callback);

/* ---- ex-data ---- */

int __wrap_SSL_get_ex_new_index(long argl, void *argp, void *newFn, void *dupFn,
                                SSLExFreeFn freeFn);
int __wrap_SSL_set_ex_data(SSL *ssl, int index, void *data);
void *__wrap_SSL_get_ex_data(const SSL *ssl, int index);
int __wrap_SSL_get_ex_data_X509_STORE_CTX_idx(void);
void *__wrap_X509_STORE_CTX_get_ex_data(X509_STORE_CTX *storeContext, int index);
int __wrap_CRYPTO_get_ex_new_index(int classIndex, long argl, void *argp, void *newFn, void *dupFn,
                                   SSLExFreeFn freeFn);
int __wrap_CRYPTO_set_ex_data(CRYPTO_EX_DATA *data, int index, void *value);
void *__wrap_CRYPTO_get_ex_data(const CRYPTO_EX_DATA *data, int index);

/* ---- errors ---- */

unsigned long __wrap_ERR_get_error(void);
unsigned long __wrap_ERR_peek_last_error(void);
void __wrap_ERR_error_string_n(unsigned long code, char *buffer, size_t size);
void __wrap_ERR_clear_error(void);

/* ---- contexts ---- */

const SSL_METHOD *__wrap_SSLv23_method(void);
SSL_CTX *__wrap_SSL_CTX_new(const SSL_METHOD *method);
void __wrap_SSL_CTX_free(SSL_CTX *ctx);
long __wrap_SSL_CTX_ctrl(SSL_CTX *ctx, int command, long number, void *pointer);
void __wrap_SSL_CTX_set_quiet_shutdown(SSL_CTX *ctx, int mode);
int __wrap_SSL_CTX_set_cipher_list(SSL_CTX *ctx, const char *list);
void __wrap_SSL_CTX_set_tmp_dh_callback(SSL_CTX *ctx, SSLTmpDHFn callback);
void __wrap_SSL_CTX_set_verify(SSL_CTX *ctx, int mode, SSLVerifyFn callback);
int __wrap_SSL_CTX_load_verify_locations(SSL_CTX *ctx, const char *caFile, const char *caDir);
X509_STORE *__wrap_SSL_CTX_get_cert_store(const SSL_CTX *ctx);
void __wrap_SSL_CTX_set_cert_store(SSL_CTX *ctx, X509_STORE *store);
int __wrap_SSL_CTX_use_certificate_file(SSL_CTX *ctx, const char *file, int type);
int __wrap_SSL_CTX_use_certificate_chain_file(SSL_CTX *ctx, const char *file);
int __wrap_SSL_CTX_use_PrivateKey_file(SSL_CTX *ctx, const char *file, int type);
int __wrap_SSL_CTX_check_private_key(const SSL_CTX *ctx);

/* ---- connections ---- */

SSL *__wrap_SSL_new(SSL_CTX *ctx);
void __wrap_SSL_free(SSL *ssl);
int __wrap_SSL_set_fd(SSL *ssl, int fd);
void __wrap_SSL_set_bio(SSL *ssl, BIO *readFrom, BIO *writeTo);
void __wrap_SSL_set_connect_state(SSL *ssl);
void __wrap_SSL_set_accept_state(SSL *ssl);
void __wrap_SSL_set_verify(SSL *ssl, int mode, SSLVerifyFn callback);
void __wrap_SSL_set_tmp_dh_callback(SSL *ssl, SSLTmpDHFn callback);
long __wrap_SSL_ctrl(SSL *ssl, int command, long number, void *pointer);
int __wrap_SSL_connect(SSL *ssl);
int __wrap_SSL_accept(SSL *ssl);
int __wrap_SSL_read(SSL *ssl, void *buffer, int length);
int __wrap_SSL_write(SSL *ssl, const void *buffer, int length);
int __wrap_SSL_pending(const SSL *ssl);
int __wrap_SSL_want(const SSL *ssl);
int __wrap_SSL_shutdown(SSL *ssl);
int __wrap_SSL_get_error(const SSL *ssl, int result);
long __wrap_SSL_get_verify_result(const SSL *ssl);
X509 *__wrap_SSL_get_peer_certificate(const SSL *ssl);
X509 *__wrap_SSL_get_certificate(const SSL *ssl);
const char *__wrap_SSL_get_version(const SSL *ssl);
const SSL_CIPHER *__wrap_SSL_get_current_cipher(const SSL *ssl);
int __wrap_SSL_CIPHER_get_bits(const SSL_CIPHER *cipher, int *algorithmBits);
const char *__wrap_SSL_CIPHER_get_name(const SSL_CIPHER *cipher);

/* ---- Diffie-Hellman ---- */

DH *__wrap_DH_new(void);
void __wrap_DH_free(DH *dh);
DH *__wrap_PEM_read_bio_DHparams(BIO *bio, DH **dh, SSLPassphraseFn passphrase, void *data);
BIGNUM *__wrap_BN_bin2bn(const unsigned char *bytes, int length, BIGNUM *number);
int __wrap_BN_set_word(BIGNUM *number, unsigned long value);
BIGNUM *__wrap_BN_new(void);
void __wrap_BN_free(BIGNUM *number);

/* ---- BIO, stacks ---- */

BIO *__wrap_BIO_new(const BIO_METHOD *method);
BIO *__wrap_BIO_new_file(const char *file, const char *mode);
BIO *__wrap_BIO_new_mem_buf(const void *bytes, int length);
const BIO_METHOD *__wrap_BIO_s_mem(void);
int __wrap_BIO_read(BIO *bio, void *bytes, int length);
int __wrap_BIO_write(BIO *bio, const void *bytes, int length);
long __wrap_BIO_ctrl(BIO *bio, int command, long number, void *pointer);
void __wrap_BIO_set_flags(BIO *bio, int flags);
void __wrap_BIO_clear_flags(BIO *bio, int flags);
int __wrap_BIO_free(BIO *bio);
int __wrap_sk_num(const OPENSSL_STACK *stack);
void *__wrap_sk_value(const OPENSSL_STACK *stack, int index);
void __wrap_sk_pop_free(OPENSSL_STACK *stack, void (*freeFn)(void *element));

/* ---- AES, random bytes ---- */

enum { AES_DECRYPT = 0, AES_ENCRYPT = 1 };

/* The same in 1.0.2 and in 3. */
typedef struct {
    unsigned int roundKeys[60];
    int rounds;
} AES_KEY;

/* The same in 1.0.2 and in 3, where seed and add return an int. */
typedef struct {
    int (*seed)(const void *bytes, int size);
    int (*bytes)(unsigned char *bytes, int size);
    void (*cleanup)(void);
    int (*add)(const void *bytes, int size, double entropy);
    int (*pseudorand)(unsigned char *bytes, int size);
    int (*status)(void);
} RAND_METHOD;

int __wrap_AES_set_encrypt_key(const unsigned char *bytes, int bits, AES_KEY *key);
int __wrap_AES_set_decrypt_key(const unsigned char *bytes, int bits, AES_KEY *key);
void __wrap_AES_ecb_encrypt(const unsigned char *in, unsigned char *out, const AES_KEY *key,
                            int encrypt);
void __wrap_AES_cbc_encrypt(const unsigned char *in, unsigned char *out, size_t size,
                            const AES_KEY *key, unsigned char *iv, int encrypt);
int __wrap_RAND_set_rand_method(const RAND_METHOD *method);
const RAND_METHOD *__wrap_RAND_get_rand_method(void);
int __wrap_RAND_bytes(unsigned char *bytes, int size);
void __wrap_RAND_seed(const void *bytes, int size);

/* ---- certificates ---- */

X509 *__wrap_PEM_read_bio_X509(BIO *bio, X509 **cert, SSLPassphraseFn passphrase, void *data);
void __wrap_X509_free(X509 *cert);
int __wrap_i2d_X509(X509 *cert, unsigned char **out);
X509 *__wrap_d2i_X509(X509 **cert, const unsigned char **in, long length);
int __wrap_X509_digest(const X509 *cert, const EVP_MD *digest, unsigned char *bytes,
                       unsigned int *length);
const EVP_MD *__wrap_EVP_sha1(void);
const EVP_MD *__wrap_EVP_sha256(void);
X509_NAME *__wrap_X509_get_subject_name(const X509 *cert);
X509_NAME *__wrap_X509_get_issuer_name(const X509 *cert);
int __wrap_X509_NAME_cmp(const X509_NAME *first, const X509_NAME *second);
int __wrap_X509_NAME_print_ex(BIO *out, const X509_NAME *name, int indent, unsigned long flags);
int __wrap_ASN1_TIME_print(BIO *out, const ASN1_TIME *time);
int __wrap_X509_NAME_get_text_by_NID(X509_NAME *name, int nid, char *buffer, int size);
int __wrap_X509_NAME_get_index_by_NID(X509_NAME *name, int nid, int last);
X509_NAME_ENTRY *__wrap_X509_NAME_get_entry(const X509_NAME *name, int index);
ASN1_STRING *__wrap_X509_NAME_ENTRY_get_data(const X509_NAME_ENTRY *entry);
unsigned char *__wrap_ASN1_STRING_data(ASN1_STRING *string);
int __wrap_ASN1_STRING_length(const ASN1_STRING *string);
int __wrap_ASN1_STRING_type(const ASN1_STRING *string);
long __wrap_ASN1_INTEGER_get(const ASN1_INTEGER *number);
int __wrap_X509_get_ext_by_NID(const X509 *cert, int nid, int last);
void *__wrap_X509_get_ext_d2i(const X509 *cert, int nid, int *isCritical, int *index);
int __wrap_OBJ_obj2nid(const ASN1_OBJECT *object);
void __wrap_ASN1_OBJECT_free(ASN1_OBJECT *object);
void __wrap_GENERAL_NAME_free(GENERAL_NAME *name);
void __wrap_GENERAL_NAMES_free(OPENSSL_STACK *names);
EVP_PKEY *__wrap_X509_get_pubkey(X509 *cert);
int __wrap_EVP_PKEY_bits(const EVP_PKEY *key);
int __wrap_EVP_PKEY_size(const EVP_PKEY *key);
void __wrap_EVP_PKEY_free(EVP_PKEY *key);
int __wrap_X509_check_ca(X509 *cert);

/* ---- keys of applications ---- */

void __wrap_OpenSSL_add_all_ciphers(void);
const EVP_CIPHER *__wrap_EVP_aes_128_cbc(void);
EVP_PKEY *__wrap_EVP_PKEY_new(void);
int __wrap_EVP_PKEY_set1_RSA(EVP_PKEY *key, RSA *rsa);
int __wrap_EVP_PKEY_set1_DSA(EVP_PKEY *key, DSA *dsa);
int __wrap_PEM_write_bio_PKCS8PrivateKey(BIO *bio, EVP_PKEY *key, const EVP_CIPHER *cipher,
                                         const char *passphrase, int length,
                                         SSLPassphraseFn passphraseFn, void *data);

/* With the functions of a type, which are passed without their types. */
typedef void *(*SSLDecodeFn)(void **object, const unsigned char **in, long length);
typedef int (*SSLEncodeFn)(void *object, unsigned char **out);
void *__wrap_PEM_ASN1_read_bio(SSLDecodeFn decode, const char *name, BIO *bio, void **object,
                               SSLPassphraseFn passphrase, void *data);
int __wrap_PEM_ASN1_write_bio(SSLEncodeFn encode, const char *name, BIO *bio, void *object,
                              const EVP_CIPHER *cipher, unsigned char *passphrase, int length,
                              SSLPassphraseFn passphraseFn, void *data);

RSA *__wrap_RSA_generate_key(int bits, unsigned long exponent, void (*callback)(int, int, void *),
                             void *data);
void __wrap_RSA_free(RSA *rsa);
int __wrap_RSA_size(const RSA *rsa);
RSA *__wrap_PEM_read_bio_RSAPrivateKey(BIO *bio, RSA **rsa, SSLPassphraseFn passphrase, void *data);
RSA *__wrap_PEM_read_bio_RSAPublicKey(BIO *bio, RSA **rsa, SSLPassphraseFn passphrase, void *data);
int __wrap_PEM_write_bio_RSAPublicKey(BIO *bio, RSA *rsa);
int __wrap_RSA_public_encrypt(int size, const unsigned char *in, unsigned char *out, RSA *rsa,
                              int padding);
int __wrap_RSA_private_decrypt(int size, const unsigned char *in, unsigned char *out, RSA *rsa,
                               int padding);
int __wrap_RSA_sign(int nid, const unsigned char *digest, unsigned int digestSize,
                    unsigned char *sig, unsigned int *sigSize, RSA *rsa);
int __wrap_RSA_verify(int nid, const unsigned char *digest, unsigned int digestSize,
                      const unsigned char *sig, unsigned int sigSize, RSA *rsa);

DSA *__wrap_DSA_generate_parameters(int bits, unsigned char *seed, int seedSize, int *counter,
                                    unsigned long *h, void (*callback)(int, int, void *),
                                    void *data);
int __wrap_DSA_generate_key(DSA *dsa);
void __wrap_DSA_free(DSA *dsa);
int __wrap_DSA_size(const DSA *dsa);
DSA *__wrap_PEM_read_bio_DSAPrivateKey(BIO *bio, DSA **dsa, SSLPassphraseFn passphrase, void *data);
DSA *__wrap_d2i_DSA_PUBKEY(DSA **dsa, const unsigned char **in, long length);
int __wrap_i2d_DSA_PUBKEY(DSA *dsa, unsigned char **out);
int __wrap_DSA_sign(int nid, const unsigned char *digest, int digestSize, unsigned char *sig,
                    unsigned int *sigSize, DSA *dsa);
int __wrap_DSA_verify(int nid, const unsigned char *digest, int digestSize,
                      const unsigned char *sig, int sigSize, DSA *dsa);

/* ---- stores and verification ---- */

X509_STORE *__wrap_X509_STORE_new(void);
void __wrap_X509_STORE_free(X509_STORE *store);
int __wrap_X509_STORE_add_cert(X509_STORE *store, X509 *cert);
X509_LOOKUP *__wrap_X509_STORE_add_lookup(X509_STORE *store, X509_LOOKUP_METHOD *method);
X509_LOOKUP_METHOD *__wrap_X509_LOOKUP_hash_dir(void);
X509_LOOKUP_METHOD *__wrap_X509_LOOKUP_file(void);
int __wrap_X509_LOOKUP_ctrl(X509_LOOKUP *lookup, int command, const char *text, long number,
                            char **result);
OPENSSL_STACK *__wrap_X509_STORE_CTX_get_chain(const X509_STORE_CTX *storeContext);
X509 *__wrap_X509_STORE_CTX_get_current_cert(const X509_STORE_CTX *storeContext);
int __wrap_X509_STORE_CTX_get_error(const X509_STORE_CTX *storeContext);
void __wrap_X509_STORE_CTX_set_error(X509_STORE_CTX *storeContext, int code);
int __wrap_X509_STORE_CTX_get_error_depth(const X509_STORE_CTX *storeContext);
const char *__wrap_X509_verify_cert_error_string(long code);
X509_STORE_CTX *__wrap_X509_STORE_CTX_new(void);
int __wrap_X509_STORE_CTX_init(X509_STORE_CTX *storeContext, X509_STORE *store, X509 *cert,
                               OPENSSL_STACK *chain);
void __wrap_X509_STORE_CTX_free(X509_STORE_CTX *storeContext);
void __wrap_X509_STORE_CTX_set_verify_cb(X509_STORE_CTX *storeContext, SSLVerifyFn callback);
int __wrap_X509_verify_cert(X509_STORE_CTX *storeContext);

G_END_DECLS
