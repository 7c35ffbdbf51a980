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

#include <string>

#include "lib/ssl/sslVerify.h"
#include "tests/lib/ssl/tlsPair.h"
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

/* The contexts of both ends, and the connection between them. */
struct CertifiedPair {
    explicit CertifiedPair(certificates::Presented presented)
        : shown(std::move(presented)), server(ServerContext(shown.Pem(), shown.KeyPem())) {}

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
        EXPECT_TRUE(SSL_SetupAcceptWithContext(ends.server.get(), server.get()));
        ends.clock.whileAsleep = [this] { SSL_TryCompleteAccept(ends.server.get()); };
        return SSLSockConnect(ends.client.get(), param, client.get(), ends.clock.Clock());
    }

    certificates::Presented shown;
    ContextPtr server;
    ContextPtr client{SSL_NewContext()};
    TlsPair ends;
    SSLVerifyParam *param = nullptr; /* for the client, if it has one */
};
