// Hostile peers: any bytes give an error, never the end of the process, and no descriptor stays open.
#include "tests/lib/ssl/tlsPair.h"

using namespace std::string_literals;

namespace {

void Send(int fd, const std::string &bytes) {
    EXPECT_EQ(ssize_t(bytes.size()), write(fd, bytes.data(), bytes.size()));
}

struct SslHostilePeer : SslTest {
    ContextPtr serverCtx = ServerContext(ServerCertificate());
    ContextPtr clientCtx{SSL_NewContext()};
};

TEST_F(SslHostilePeer, WhatIsNoHandshakeIsAnErrorOnEitherSide) {
    enum { TLS = SSL_ERROR_SSL, EOF_EARLY = SSL_ERROR_SYSCALL };
    const std::tuple<const char *, std::string, int> rows[] = {
        {"a plain server", "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n", TLS},
        {"a plain client", "POST /sdk HTTP/1.1\r\nHost: localhost\r\n\r\n", TLS},
        {"nothing", "", EOF_EARLY},
        {"noise", std::string(5000, '\x93'), TLS},
        {"zeros", std::string(5000, '\0'), TLS},
        {"a long record", "\x16\x03\x03\xff\xff"s + std::string(65535, 'x'), TLS},
        {"an empty record", "\x16\x03\x03\x00\x00"s, EOF_EARLY},
        {"half a record's head", "\x16\x03"s, EOF_EARLY},
        {"an unknown record", "\x63\x03\x03\x00\x01\x00"s, TLS},
        {"an alert", "\x15\x03\x03\x00\x02\x02\x28"s, TLS},
        {"data too early", "\x17\x03\x03\x00\x02hi"s, TLS},
    };
    for (const auto &[what, bytes, code] : rows) {
        LogRing_Clear();
        TlsPair ends;
        Send(SSL_GetFd(ends.server.get()), bytes);
        ends.clock.whileAsleep = [&] { ends.server.reset(); };
        EXPECT_FALSE(
            SSLSockConnect(ends.client.get(), nullptr, clientCtx.get(), ends.clock.Clock()));
        EXPECT_EQ(code, SSL_GetIOError(ends.client.get())) << what;
        EXPECT_TRUE(ends.client->connectionFailed) << what;
        EXPECT_EQ(1u, CountInLog("W SSL: connect failed\n")) << what;

        TlsPair other;
        Send(SSL_GetFd(other.client.get()), bytes);
        other.client.reset();
        EXPECT_TRUE(SSL_AcceptWithContext(other.server.get(), serverCtx.get())) << what;
        EXPECT_EQ(code, SSL_GetIOError(other.server.get())) << what;
        EXPECT_TRUE(other.server->connectionFailed) << what;
    }
}

/* A server that sends nothing, or only the beginning of a handshake. */
TEST_F(SslHostilePeer, AStallingServerIsGivenUpAfterTwoMinutes) {
    for (const std::string &beginning : {std::string(), "\x16\x03\x03\x00\x7a\x02\x00\x00"s}) {
        LogRing_Clear();
        TlsPair ends;
        Send(SSL_GetFd(ends.server.get()), beginning);
        EXPECT_FALSE(
            SSLSockConnect(ends.client.get(), nullptr, clientCtx.get(), ends.clock.Clock()));
        EXPECT_EQ(1200, ends.clock.numSleeps);
        EXPECT_EQ(120 * G_USEC_PER_SEC, ends.clock.microseconds);
        EXPECT_EQ(SSL_ERROR_WANT_READ, SSL_GetIOError(ends.client.get()));
        EXPECT_TRUE(ends.client->connectionFailed);
        EXPECT_EQ("W SSL: connect failed\n", LogText());
    }
}

} // namespace
