// Parallel handshakes of clients and servers of one context.
#include <atomic>
#include <thread>
#include <vector>

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
    std::vector<std::thread> threads;
    std::atomic<int> numTalks = 0;
    for (int i = 0; i < kPairs; i++) {
        std::vector<SocketPair> sockets;
        for (int round = 0; round < kRounds; round++)
            sockets.push_back(round % 2 == 0 ? SocketPair(0) : TcpPair());
        threads.emplace_back([sockets] {
            for (const SocketPair &ends : sockets) {
                const SockPtr client(SSL_New(ends.fds[0], TRUE));
                char buffer[10] = {};
                EXPECT_TRUE(SSL_ConnectAndVerify(client.get(), nullptr));
                EXPECT_EQ(5, SSL_Write(client.get(), "hello", 5));
                EXPECT_EQ(5, SSL_Read(client.get(), buffer, sizeof buffer));
                EXPECT_STREQ("world", buffer);
            }
        });
        threads.emplace_back([sockets, &numTalks] {
            for (const SocketPair &ends : sockets) {
                const SockPtr server(SSL_New(ends.fds[1], TRUE));
                char buffer[10] = {};
                EXPECT_TRUE(SSL_Accept(server.get()));
                EXPECT_TRUE(SSL_CompleteAccept(server.get()));
                EXPECT_EQ(5, SSL_Read(server.get(), buffer, sizeof buffer));
                EXPECT_STREQ("hello", buffer);
                EXPECT_EQ(5, SSL_Write(server.get(), "world", 5));
                numTalks++;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(kPairs * kRounds, numTalks);
    SSL_Exit();
}

} // namespace
