/*
 * tlsPair.h -- two ends of a TLS connection in one thread, and a clock for tests
 *
 *   TlsPair pair;                       a non-blocking socket pair with a connection on each end
 *   ASSERT_TRUE(pair.ShakeHands(clientCtx, serverCtx));
 *   SSL_Write(pair.client.get(), ...);  SSL_Read(pair.server.get(), ...);
 *
 * While the client waits, the clock's sleep continues the server's handshake.
 */
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "lib/ssl/sslPtr.h"
#include "lib/ssl/sslSockInt.h"
#include "lib/ssl/sslState.h"
#include "tests/support/logText.h"
#include "tests/support/processLimits.h"
#include "tests/support/temporaryFolder.h"
#include "tools/certificates/certificate.h"

using SockPtr = std::unique_ptr<SSLSock, Release<SSL_Shutdown>>;

/* Time passes only while a handshake sleeps. */
struct HandClock {
    gint64 microseconds = 0;
    int numSleeps = 0;
    std::function<void()> whileAsleep = [] {};

    SSLSockClock Clock() {
        return {
            [](void *data) {
                return static_cast<HandClock *>(data)->microseconds / G_USEC_PER_SEC;
            },
            [](void *data, gint64 duration) {
                auto *clock = static_cast<HandClock *>(data);
                clock->microseconds += duration;
                clock->numSleeps++;
                clock->whileAsleep();
            },
            this,
        };
    }
};

struct SocketPair {
    int fds[2] = {-1, -1};
    explicit SocketPair(int flags = SOCK_NONBLOCK) {
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0, fds));
    }
};

struct TlsPair {
    explicit TlsPair(const SocketPair &sockets = SocketPair())
        : TlsPair(sockets.fds[0], sockets.fds[1]) {}
    TlsPair(int clientFd, int serverFd)
        : client(SSL_New(clientFd, TRUE)), server(SSL_New(serverFd, TRUE)) {}

    /* Returns whether it succeeds on both sides. */
    bool ShakeHands(SSL_CTX *clientCtx, SSL_CTX *serverCtx, SSLVerifyParam *param = nullptr) {
        if (!SSL_SetupAcceptWithContext(server.get(), serverCtx))
            return false;
        int accepted = 0;
        clock.whileAsleep = [&] { accepted = SSL_TryCompleteAccept(server.get()); };
        if (!SSLSockConnect(client.get(), param, clientCtx, clock.Clock()))
            return false;
        return accepted == 1 || SSL_TryCompleteAccept(server.get()) == 1;
    }

    SockPtr client;
    SockPtr server;
    HandClock clock;
};

/* A context that presents a certificate, or a chain of them. */
inline ContextPtr ServerContext(const std::string &chainPem, const std::string &keyPem) {
    const TemporaryFolder folder;
    const std::string chain = folder.Write("server.pem", chainPem);
    const std::string key = folder.Write("server.key", keyPem);
    ContextPtr ctx(SSL_NewContext());
    EXPECT_EQ(1, __wrap_SSL_CTX_use_certificate_chain_file(ctx.get(), chain.c_str()));
    EXPECT_EQ(1, __wrap_SSL_CTX_use_PrivateKey_file(ctx.get(), key.c_str(), X509_FILETYPE_PEM));
    return ctx;
}

inline ContextPtr ServerContext(const certificates::Certificate &certificate) {
    return ServerContext(certificate.pem, certificate.key->Pem());
}

inline const certificates::Certificate &ServerCertificate() {
    static const certificates::Certificate certificate = certificates::SelfSigned({});
    return certificate;
}

/* Starts the layer with an empty log, and checks that no descriptor stays open. */
struct SslTest : testing::Test {
    SslTest() {
        SSL_Init(nullptr, nullptr, nullptr);
        ServerCertificate(); /* descriptors that it keeps open do not count */
        LogRing_Clear();
        numDescriptors = CountDescriptors();
    }
    ~SslTest() override { EXPECT_EQ(numDescriptors, CountDescriptors()); }

private:
    long numDescriptors = 0;
};
