// The check for older callers, and the certificate of a context.
#include <gmock/gmock.h>

#include "tests/lib/ssl/tlsPair.h"

namespace {

class SslCertCheck : public SslTest {};

TEST_F(SslCertCheck, GoesByTheResultOfOpenSslAndTheCommonName) {
    const auto root = certificates::SelfSigned({.commonName = "Root", .isAuthority = true});
    const struct {
        certificates::Certificate shown;
        const char *host;
        gboolean allowsSelfSigned;
        bool passes;
        const char *log;
    } rows[] = {
        {ServerCertificate(), "LocalHost", TRUE, true, "SSL: Self signed certificate in chain\n"},
        {ServerCertificate(), "localhost", FALSE, false,
         "SSL: Peer certificate does not verify (18)\n"},
        {ServerCertificate(), "127.0.0.1", TRUE, false,
         "SSL: Peer common name does not match host (localhost != 127.0.0.1)!\n"},
        {certificates::IssuedBy(root, {}), "localhost", TRUE, false,
         "SSL: Peer certificate does not verify (2"},
        {certificates::SelfSigned({.commonName = std::string("localhost\0.evil", 15)}), "localhost",
         TRUE, false, "SSL: Peer common name does not match host"},
    };
    for (const auto &row : rows) {
        LogRing_Clear();
        const ContextPtr client(SSL_NewContext());
        const ContextPtr server = ServerContext(row.shown);
        TlsPair pair;
        ASSERT_TRUE(pair.ShakeHands(client.get(), server.get()));
        EXPECT_EQ(row.passes, SSL_CheckCert(pair.client.get(), row.host, row.allowsSelfSigned));
        EXPECT_THAT(LogText(), testing::HasSubstr(row.log));
    }
}

TEST_F(SslCertCheck, AConnectionWithoutAPeersCertificateFails) {
    const TlsPair pair;
    EXPECT_FALSE(SSL_CheckCert(pair.client.get(), "localhost", TRUE));
    EXPECT_THAT(LogText(), testing::HasSubstr("SSL: Could not get the peer certificate\n"));
}

TEST_F(SslCertCheck, AContextHasAThumbprint) {
    char text[SSL_THUMBPRINT_SIZE] = "before";
    const ContextPtr without(SSL_NewContext());
    EXPECT_EQ(0, SSL_CertThumbprintFromContext(without.get(), text, sizeof text));
    EXPECT_STREQ("before", text);
    const ContextPtr with = ServerContext(ServerCertificate());
    EXPECT_EQ(1, SSL_CertThumbprintFromContext(with.get(), text, sizeof text));
    EXPECT_EQ(ServerCertificate().thumbprint, text);
}

} // namespace
