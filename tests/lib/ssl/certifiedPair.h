/*
 * certifiedPair.h -- a TLS client and a server over a pair of sockets, both in the test's own thread
 *
 *   CertifiedPair pair(*MakeKind("expired"));
 *   pair.Trust(pair.shown.anchor);
 *   SSL_SetVerifyCb(pair.client, ...);
 *   EXPECT_TRUE(pair.Connect());
 *
 * Errors: any error outside the handshake fails the test.
 */
#pragma once

#include <memory>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "lib/ssl/sslPtr.h"
#include "lib/ssl/sslVerify.h"
#include "tests/support/temporaryFolder.h"
#include "tools/certificates/certificateKind.h"

extern "C" int __wrap_X509_STORE_add_crl(X509_STORE *store, void *crl);
extern "C" int __wrap_X509_STORE_set_flags(X509_STORE *store, unsigned long flags);
extern "C" void *__wrap_PEM_read_bio_X509_CRL(BIO *bio, void **crl, SSLPassphraseFn, void *data);
extern "C" void __wrap_X509_CRL_free(void *crl);

inline BioPtr BioOf(const std::string &text) {
    return BioPtr(__wrap_BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

inline CertPtr Parse(const certificates::Certificate &certificate) {
    return CertPtr(
        __wrap_PEM_read_bio_X509(BioOf(certificate.pem).get(), nullptr, nullptr, nullptr));
}

class CertifiedPair {
public:
    explicit CertifiedPair(certificates::Presented presented) : shown(std::move(presented)) {
        const TemporaryFolder folder;
        const std::string chain = folder.Write("chain.pem", shown.Pem());
        const std::string key = folder.Write("key.pem", shown.KeyPem());
        EXPECT_EQ(1, __wrap_SSL_CTX_use_certificate_chain_file(server.get(), chain.c_str()));
        EXPECT_EQ(1,
                  __wrap_SSL_CTX_use_PrivateKey_file(server.get(), key.c_str(), X509_FILETYPE_PEM));
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, sockets));
    }
    ~CertifiedPair() {
        connection.reset();
        for (int socket : sockets)
            close(socket);
    }
    CertifiedPair(const CertifiedPair &) = delete;
    CertifiedPair &operator=(const CertifiedPair &) = delete;

    X509_STORE *Store() const { return __wrap_SSL_CTX_get_cert_store(client.get()); }
    void Trust(const certificates::Certificate &anchor) {
        EXPECT_EQ(1, __wrap_X509_STORE_add_cert(Store(), Parse(anchor).get()));
    }
    void TrustRevocations(const std::string &list) {
        void *crl = __wrap_PEM_read_bio_X509_CRL(BioOf(list).get(), nullptr, nullptr, nullptr);
        EXPECT_EQ(1, __wrap_X509_STORE_add_crl(Store(), crl));
        __wrap_X509_CRL_free(crl);
        __wrap_X509_STORE_set_flags(Store(), 4); /* X509_V_FLAG_CRL_CHECK */
    }

    /* Whether the client's side of the handshake succeeds. */
    bool Connect() {
        const SslPtr accepting(__wrap_SSL_new(server.get()));
        connection.reset(__wrap_SSL_new(client.get()));
        __wrap_SSL_set_fd(accepting.get(), sockets[0]);
        __wrap_SSL_set_fd(connection.get(), sockets[1]);
        if (param != nullptr) {
            EXPECT_TRUE(SSLVerify_SetParam(connection.get(), param));
        }
        for (int round = 0; round < 100; round++) {
            __wrap_ERR_clear_error();
            const int result = __wrap_SSL_connect(connection.get());
            if (result == 1)
                return true;
            if (__wrap_SSL_get_error(connection.get(), result) != SSL_ERROR_WANT_READ)
                return false;
            __wrap_ERR_clear_error();
            __wrap_SSL_accept(accepting.get());
        }
        ADD_FAILURE() << "the handshake does not end";
        return false;
    }

    certificates::Presented shown;
    ContextPtr server{SSL_NewContext()};
    ContextPtr client{SSL_NewContext()};
    SslPtr connection;               /* the client's */
    SSLVerifyParam *param = nullptr; /* for the client, if it has one */

private:
    int sockets[2] = {-1, -1};
};
