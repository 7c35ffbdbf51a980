// Parallel handshakes of clients and servers of one context.
#include "tests/lib/lock/inThreads.h"
#include "tests/lib/ssl/tlsPair.h"
#include "tests/support/loopback.h"

namespace {

constexpr int kPairs = 4;
constexpr int kRounds = 10;

/* Both ends of a TCP connection over loopback, blocking. */
SocketPair TcpPair() {
    SocketPair pair;
    for (int fd : pair.fds)
        close(fd);
    int port = 0;
    const int listener = ListenOnLoopback(&port);
    pair.fds[0] = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(0, ConnectToLoopback(pair.fds[0], port));
    pair.fds[1] = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    close(listener);
    return pair;
}

class SslSockThread : public SslTest {};

TEST_F(SslSockThread, PairsShareTheDefaultContext) {
    const auto certificate = certificates::SelfSigned({.rsaBits = 2048});
    const TemporaryFolder folder;
    const std::string cert = folder.Write("cert", certificate.pem);
    const std::string key = folder.Write("key", certificate.key->Pem());
    SSL_CTX *ctx = SSL_DefaultContext();
    ASSERT_EQ(1, __wrap_SSL_CTX_use_certificate_file(ctx, cert.c_str(), X509_FILETYPE_PEM));
    ASSERT_EQ(1, __wrap_SSL_CTX_use_PrivateKey_file(ctx, key.c_str(), X509_FILETYPE_PEM));
    sslModule.areCertificatesLoaded = true;
    std::vector<SocketPair> sockets;
    for (int i = 0; i < kPairs * kRounds; i++)
        sockets.push_back(i % 2 == 0 ? SocketPair(0) : TcpPair());
    InThreads(2 * kPairs, [&](int number) {
        const bool isServer = number % 2 != 0;
        for (int round = 0; round < kRounds; round++) {
            const SocketPair &ends = sockets[number / 2 * kRounds + round];
            const SockPtr own(SSL_New(ends.fds[isServer], TRUE));
            EXPECT_TRUE(isServer ? SSL_Accept(own.get()) && SSL_CompleteAccept(own.get())
                                 : SSL_ConnectAndVerify(own.get(), nullptr));
            if (!isServer) {
                EXPECT_EQ(5, SSL_Write(own.get(), "hello", 5));
            }
            char heard[10] = {};
            EXPECT_EQ(5, SSL_Read(own.get(), heard, sizeof heard));
            EXPECT_STREQ(isServer ? "hello" : "world", heard);
            if (isServer) {
                EXPECT_EQ(5, SSL_Write(own.get(), "world", 5));
            }
        }
    });
    SSL_Exit();
}

} // namespace
