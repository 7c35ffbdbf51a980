// Hostile peers: any bytes give an error, never the end of the process, and no descriptor stays open.
#include <cstdlib>

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

/* Carries bytes between two ends, and cuts the line after a number of bytes in one direction. */
struct CutLine {
    CutLine(int clientSide, int serverSide) : toClient(clientSide), toServer(serverSide) {}
    ~CutLine() { Cut(); }
    CutLine(const CutLine &) = delete;
    CutLine &operator=(const CutLine &) = delete;

    void Carry() {
        Move(toServer, toClient, &leftToClient, &numToClient);
        Move(toClient, toServer, &leftToServer, &numToServer);
    }

    size_t leftToClient = SIZE_MAX;
    size_t leftToServer = SIZE_MAX;
    size_t numToClient = 0;
    size_t numToServer = 0;

private:
    void Move(int &from, int &to, size_t *left, size_t *count) {
        char buffer[65536];
        const ssize_t got = from >= 0 ? read(from, buffer, std::min(sizeof buffer, *left)) : -1;
        if (got > 0) {
            Send(to, std::string(buffer, size_t(got)));
            *left -= size_t(got);
            *count += size_t(got);
        }
        if (*left == 0)
            Cut();
    }
    void Cut() {
        for (int *fd : {&toClient, &toServer}) {
            if (*fd >= 0)
                close(*fd);
            *fd = -1;
        }
    }

    int toClient;
    int toServer;
};

/* Runs the handshake and sends a word in each direction. Returns what was received, as "client,server". */
std::string Converse(CutLine *line, TlsPair *ends, SSL_CTX *clientCtx, SSL_CTX *serverCtx) {
    SSLSock *client = ends->client.get();
    SSLSock *server = ends->server.get();
    EXPECT_TRUE(SSL_SetupAcceptWithContext(server, serverCtx));
    int accepted = 0;
    const auto goOn = [&] {
        line->Carry();
        accepted = accepted == 0 ? SSL_TryCompleteAccept(server) : accepted;
        line->Carry();
    };
    ends->clock.whileAsleep = goOn;
    if (!SSLSockConnect(client, nullptr, clientCtx, ends->clock.Clock()))
        return "failed";
    goOn();
    std::string heard;
    for (const auto &[from, to] : {std::pair(client, server), {server, client}}) {
        char buffer[10] = "-";
        SSL_Write(from, "hello", 6);
        line->Carry();
        const ssize_t got = SSL_Read(to, buffer, sizeof buffer);
        heard += got > 0 ? std::string(buffer) + "," : errno == EAGAIN ? "waits," : "failed,";
    }
    return heard;
}

TEST_F(SslHostilePeer, ALineCutAtAnyByteIsAnErrorOnBothSides) {
    const size_t step = getenv("ORVANE_EXHAUSTIVE") != nullptr ? 1 : 37;
    /* signatures of RSA have a fixed length, so all runs have the same length */
    const ContextPtr ctx = ServerContext(certificates::SelfSigned({.rsaBits = 2048}));
    const auto run = [&](size_t toClient, size_t toServer) {
        const SocketPair near;
        const SocketPair far;
        TlsPair ends(near.fds[0], far.fds[0]);
        CutLine line(near.fds[1], far.fds[1]);
        line.leftToClient = toClient;
        line.leftToServer = toServer;
        const std::string heard = Converse(&line, &ends, clientCtx.get(), ctx.get());
        return std::tuple(heard, line.numToClient, line.numToServer);
    };
    const auto [heard, numToClient, numToServer] = run(SIZE_MAX, SIZE_MAX);
    ASSERT_EQ("hello,hello,", heard);
    for (size_t at = 0; at < numToClient; at += step)
        EXPECT_NE("hello,hello,", std::get<0>(run(at, SIZE_MAX))) << at;
    for (size_t at = 0; at < numToServer; at += step)
        EXPECT_NE("hello,hello,", std::get<0>(run(SIZE_MAX, at))) << at;
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
