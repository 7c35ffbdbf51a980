// Parallel handshakes of clients and servers of one context.
#include "tests/lib/lock/inThreads.h"
#include "tests/lib/ssl/tlsPair.h"

namespace {

constexpr int kPairs = 4;
constexpr int kRounds = 10;

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
        sockets.emplace_back(0);
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
