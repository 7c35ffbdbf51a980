// The check for older callers, and the certificate of a context.
#include <gmock/gmock.h>

#include "tests/lib/ssl/tlsPair.h"

namespace {

class SslCertCheck : public SslTest {};

TEST_F(SslCertCheck, GoesByTheResultOfOpenSslAndTheCommonName) {
    const auto root = certificates::SelfSigned({.commonName = "Root", .isAuthority = true});
    /* whether a self-signed one is allowed, and whether the check passes */
    const std::tuple<certificates::Certificate, const char *, bool, bool, const char *> rows[] = {
        {ServerCertificate(), "LocalHost", true, true, "SSL: Self signed certificate in chain\n"},
        {ServerCertificate(), "localhost", false, false,
         "SSL: Peer certificate does not verify (18)\n"},
        {ServerCertificate(), "127.0.0.1", true, false,
         "SSL: Peer common name does not match host (localhost != 127.0.0.1)!\n"},
        {certificates::IssuedBy(root, {}), "localhost", true, false,
         "SSL: Peer certificate does not verify (2"},
        {certificates::SelfSigned({.commonName = std::string("localhost\0.evil", 15)}), "localhost",
         true, false, "SSL: Peer common name does not match host"},
    };
    for (const auto &[shown, host, isAllowed, passes, log] : rows) {
        LogRing_Clear();
        const ContextPtr client(SSL_NewContext());
        const ContextPtr server = ServerContext(shown);
        TlsPair pair;
        ASSERT_TRUE(pair.ShakeHands(client.get(), server.get()));
        EXPECT_EQ(passes, SSL_CheckCert(pair.client.get(), host, isAllowed));
        EXPECT_THAT(LogText(), testing::HasSubstr(log));
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
