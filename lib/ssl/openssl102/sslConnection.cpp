// Functions of libssl that have another name or result in OpenSSL 3, or no counterpart.
#include "lib/ssl/openssl102/openssl102.h"
#include "lib/ssl/openssl102/verifyCode.h"

#include <openssl/bio.h>

namespace {

enum : int {
    kStateOk = 0x3,
    kStateConnect = 0x1000,
    kStateAccept = 0x2000,
    kStateBefore = 0x4000,
};

/* Returns whether the stream has ended, rather than the TLS connection on it. */
bool HasStreamEnded(const SSL *ssl) {
    BIO *bio = SSL_get_rbio(ssl);
    if (bio == nullptr)
        return false;
    const int type = BIO_method_type(bio);
    return (type == BIO_TYPE_SOCKET || type == BIO_TYPE_FD) && BIO_eof(bio) == 1;
}

} // namespace

USES_GENUINE(SSL_get_error);
USES_GENUINE(SSL_get_verify_result);

OPENSSL102(int, SSL_library_init) {
    OPENSSL_init_ssl(0, nullptr);
    return 1;
}

OPENSSL102(void, SSL_load_error_strings) {
    OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS | OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
}

OPENSSL102(const SSL_METHOD *, SSLv23_method) {
    return TLS_method();
}

OPENSSL102(const SSL_METHOD *, SSLv23_client_method) {
    return TLS_client_method();
}

OPENSSL102(const SSL_METHOD *, SSLv23_server_method) {
    return TLS_server_method();
}

// SSL 3 is not built in. A context made of NULL fails with "null ssl method passed".
OPENSSL102(const SSL_METHOD *, SSLv3_method) {
    return nullptr;
}

OPENSSL102(const SSL_METHOD *, SSLv3_client_method) {
    return nullptr;
}

OPENSSL102(const SSL_METHOD *, SSLv3_server_method) {
    return nullptr;
}

OPENSSL102(int, SSL_get_ex_new_index, long argl, void *argp, CRYPTO_EX_new *newFn,
           CRYPTO_EX_dup *dupFn, CRYPTO_EX_free *freeFn) {
    return CRYPTO_get_ex_new_index(CRYPTO_EX_INDEX_SSL, argl, argp, newFn, dupFn, freeFn);
}

/* Keys of export strength are no longer used. */
OPENSSL102(void, SSL_CTX_set_tmp_rsa_callback, SSL_CTX *,
           RSA *(*)(SSL *ssl, int isExport, int keyLength)) {}

OPENSSL102(X509 *, SSL_get_peer_certificate, const SSL *ssl) {
    return SSL_get1_peer_certificate(ssl);
}

OPENSSL102(int, SSL_state, const SSL *ssl) {
    if (SSL_is_init_finished(ssl))
        return kStateOk;
    const int side = SSL_is_server(ssl) ? kStateAccept : kStateConnect;
    return SSL_in_before(ssl) ? side | kStateBefore : side;
}

/* In 1.0.2 the end of a stream without a close_notify is a failure of the stream. OpenSSL 3 reports a clean
 * end, because contexts have IGNORE_UNEXPECTED_EOF. Without that option it would write an alert into the
 * closed stream first, which raises SIGPIPE. */
OPENSSL102(int, SSL_get_error, const SSL *ssl, int result) {
    const int code = GENUINE(SSL_get_error)(ssl, result);
    return code == SSL_ERROR_ZERO_RETURN && HasStreamEnded(ssl) ? SSL_ERROR_SYSCALL : code;
}

OPENSSL102(long, SSL_get_verify_result, const SSL *ssl) {
    return VerifyCode102(GENUINE(SSL_get_verify_result)(ssl));
}
