#include <csignal>
#include <cstring>
#include <thread>

#include <fcntl.h>

#include "tests/lib/ssl/tlsPair.h"

namespace {

/* Bytes that differ from their neighbours. */
std::string Pattern(size_t size) {
    std::string text(size, '\0');
    for (size_t i = 0; i < size; i++)
        text[i] = char(i * 7 + i / 251);
    return text;
}

struct SslSock : SslTest {
    SslSock() : serverCtx(ServerContext(ServerCertificate())), clientCtx(SSL_NewContext()) {}

    bool Connect() { return pair.ShakeHands(clientCtx.get(), serverCtx.get()); }

    /* Returns what arrives when one end sends bytes, with as many retries as both ends require. */
    static std::string Carry(SSLSock *from, SSLSock *to, const std::string &bytes) {
        std::string got;
        size_t sent = 0;
        while (got.size() < bytes.size()) {
            const ssize_t out =
                sent < bytes.size() ? SSL_Write(from, &bytes[sent], int(bytes.size() - sent)) : 0;
            EXPECT_TRUE(out >= 0 || errno == EAGAIN);
            sent += out > 0 ? size_t(out) : 0;
            char buffer[3000];
            const ssize_t in = SSL_Read(to, buffer, sizeof buffer);
            if (in <= 0 && (in == 0 || errno != EAGAIN))
                return got + " and then an error";
            got.append(buffer, in > 0 ? size_t(in) : 0);
        }
        return got;
    }

    ContextPtr serverCtx;
    ContextPtr clientCtx;
    TlsPair pair;
    SSLSock *client = pair.client.get();
    SSLSock *server = pair.server.get();
};

TEST_F(SslSock, BytesComeThroughInBothDirections) {
    for (const bool isEncrypted : {false, true}) {
        if (isEncrypted) {
            ASSERT_TRUE(Connect());
            /* a retried write may pass another address, as the loop below does */
            EXPECT_EQ(7, SSL_SetMode(client, 3) & 7);
            EXPECT_EQ(7, SSL_SetMode(server, 3) & 7);
        }
        for (size_t size : {1u, 16384u, 16385u, 1000000u}) {
            const std::string bytes = Pattern(size);
            EXPECT_EQ(bytes, Carry(client, server, bytes)) << isEncrypted << " " << size;
            EXPECT_EQ(bytes, Carry(server, client, bytes)) << isEncrypted << " " << size;
        }
    }
    EXPECT_EQ("", LogText());
}

TEST_F(SslSock, WaitingIsReportedByErrnoAndSslWant) {
    EXPECT_EQ(1, SSL_Want(client));
    EXPECT_EQ(0, SSL_Write(client, "", 0));
    EXPECT_EQ(0, SSL_SetMode(client, 1));
    ASSERT_TRUE(Connect());
    char buffer[100];
    errno = 0;
    EXPECT_EQ(-1, SSL_Read(server, buffer, sizeof buffer));
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ(SSL_ERROR_WANT_READ, SSL_GetIOError(server));
    EXPECT_TRUE(SSL_WantRead(server));
    EXPECT_FALSE(SSL_WantWrite(server));

    EXPECT_EQ(100, SSL_Write(client, Pattern(100).data(), 100));
    EXPECT_EQ(40, SSL_Read(server, buffer, 40));
    EXPECT_EQ(60, SSL_Pending(server));
    EXPECT_EQ(SSL_ERROR_NONE, SSL_GetIOError(server));

    const std::string bytes = Pattern(16384);
    while (SSL_Write(client, bytes.data(), int(bytes.size())) > 0) {
    }
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ(SSL_ERROR_WANT_WRITE, SSL_GetIOError(client));
    EXPECT_TRUE(SSL_WantWrite(client));
    EXPECT_EQ("", LogText());
}

/* Entries of other code in OpenSSL's queue are no errors of the connection. */
TEST_F(SslSock, OldErrorsDoNotCount) {
    const auto spoil = [] { EXPECT_EQ(nullptr, SSL_BIO_new_file("/nonexistent", "r")); };
    ASSERT_TRUE(SSL_SetupAcceptWithContext(server, serverCtx.get()));
    pair.clock.whileAsleep = [&] {
        spoil();
        EXPECT_LE(0, SSL_TryCompleteAccept(server));
        spoil();
    };
    spoil();
    ASSERT_TRUE(SSLSockConnect(client, nullptr, clientCtx.get(), pair.clock.Clock()));
    ASSERT_EQ(1, SSL_TryCompleteAccept(server));
    spoil();
    char byte = 0;
    EXPECT_EQ(-1, SSL_Read(server, &byte, 1));
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ("", LogText());
    __wrap_ERR_clear_error();
}

TEST_F(SslSock, TheCodeTellsACleanEndFromAFailure) {
    const std::tuple<bool, int, const char *> rows[] = {
        {false, SSL_ERROR_SYSCALL, "I SSL: EOF in violation of protocol\n"},
        {true, SSL_ERROR_ZERO_RETURN, ""}};
    for (const auto &[isClean, code, log] : rows) {
        LogRing_Clear();
        TlsPair ends;
        __wrap_SSL_CTX_set_quiet_shutdown(clientCtx.get(), !isClean);
        ASSERT_TRUE(ends.ShakeHands(clientCtx.get(), serverCtx.get()));
        char buffer[10];
        EXPECT_EQ(-1, SSL_Read(ends.client.get(), buffer, sizeof buffer)); /* reads the tickets */
        EXPECT_EQ(2, SSL_Write(ends.client.get(), "hi", 2));
        ends.client.reset();
        errno = 0;
        EXPECT_EQ(2, SSL_Read(ends.server.get(), buffer, sizeof buffer));
        EXPECT_EQ(-1, SSL_Read(ends.server.get(), buffer, sizeof buffer));
        EXPECT_NE(EAGAIN, errno);
        EXPECT_EQ(code, SSL_GetIOError(ends.server.get()));
        EXPECT_FALSE(ends.server->connectionFailed);
        EXPECT_EQ(log, LogText());
    }
}

TEST_F(SslSock, AFailedConnectionRefusesAndKeepsItsCode) {
    ASSERT_TRUE(Connect());
    client->connectionFailed = TRUE;
    client->sslIOError = SSL_ERROR_SYSCALL;
    char byte = 0;
    int fd = 4711;
    const std::function<ssize_t()> operations[] = {
        [&] { return SSL_Read(client, &byte, 1); }, [&] { return SSL_Write(client, &byte, 1); },
        [&] { return SSL_RecvDataAndFd(client, &byte, 1, &fd); }};
    for (const auto &operation : operations) {
        errno = 0;
        EXPECT_EQ(-1, operation());
        EXPECT_EQ(1, errno);
        EXPECT_EQ(SSL_ERROR_SYSCALL, SSL_GetIOError(client));
    }
    EXPECT_EQ(-1, fd);
}

TEST_F(SslSock, ConnectWarnsAndChecksNothing) {
    const ContextPtr expired =
        ServerContext(certificates::SelfSigned({.dnsNames = {"elsewhere"}, .validUntil = -60}));
    ASSERT_TRUE(SSL_SetupAcceptWithContext(server, expired.get()));
    /* blocking, with the server in another thread and the system's clock */
    for (int fd : {SSL_GetFd(client), SSL_GetFd(server)})
        ASSERT_EQ(0, fcntl(fd, F_SETFL, 0));
    std::thread other([&] { EXPECT_EQ(1, SSL_TryCompleteAccept(server)); });
    EXPECT_TRUE(SSL_Connect(client));
    other.join();
    EXPECT_EQ("W SSL_Connect: SECURITY WARNING: Should use SSL_ConnectAndVerify instead\n",
              LogText());
}

TEST_F(SslSock, CompleteAcceptWaitsForTheClient) {
    for (const bool isGood : {true, false}) {
        TlsPair ends;
        ASSERT_TRUE(SSL_AcceptWithContext(ends.server.get(), serverCtx.get()));
        EXPECT_EQ(SSL_ERROR_WANT_READ, SSL_GetIOError(ends.server.get()));
        SSL *ssl = ends.client->sslCnx = __wrap_SSL_new(clientCtx.get());
        ASSERT_EQ(1, __wrap_SSL_set_fd(ssl, SSL_GetFd(ends.client.get())));
        ends.clock.whileAsleep = [&] {
            if (ends.clock.numSleeps < 2000) /* longer than a client would wait */
                return;
            if (isGood)
                __wrap_SSL_connect(ssl);
            else
                ends.client.reset();
        };
        EXPECT_EQ(isGood, SSLSockCompleteAccept(ends.server.get(), ends.clock.Clock()));
        EXPECT_EQ(!isGood, ends.server->connectionFailed);
        EXPECT_EQ(isGood, SSL_CompleteAccept(ends.server.get()));
    }
}

TEST_F(SslSock, ShutdownClosesOnlyWhatItOwns) {
    const SocketPair sockets(0);
    for (const bool owns : {false, true}) {
        SSLSock *sock = SSL_New(sockets.fds[0], FALSE);
        if (owns)
            SSL_SetCloseOnShutdownFlag(sock);
        EXPECT_EQ(0, SSL_Shutdown(sock));
        EXPECT_EQ(owns, fcntl(sockets.fds[0], F_GETFD) < 0);
    }
    close(sockets.fds[1]);
    SSLSock *sock = SSL_New(-1, TRUE);
    EXPECT_EQ(-1, SSL_Shutdown(sock));
    EXPECT_EQ(EBADF, errno);
}

/* The test process has no handler for SIGPIPE, so the signal would end it. */
TEST_F(SslSock, AClosedPeerRaisesNoSignal) {
    struct sigaction action {};
    ASSERT_EQ(0, sigaction(SIGPIPE, nullptr, &action));
    ASSERT_EQ(SIG_DFL, action.sa_handler);
    const auto write3 = [](SSLSock *sock) {
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(-1, SSL_Write(sock, "hello", 5));
            EXPECT_EQ(EPIPE, errno);
        }
    };
    int pipeFds[2];
    ASSERT_EQ(0, pipe2(pipeFds, O_CLOEXEC));
    close(pipeFds[0]);
    const SockPtr noSocket(SSL_New(pipeFds[1], TRUE));
    write3(noSocket.get());

    TlsPair plain;
    plain.server.reset();
    write3(plain.client.get());
    EXPECT_FALSE(SSLSockConnect(plain.client.get(), nullptr, clientCtx.get(), plain.clock.Clock()));

    ASSERT_TRUE(Connect());
    pair.server.reset();
    write3(client);
    EXPECT_EQ(SSL_ERROR_SYSCALL, SSL_GetIOError(client));

    TlsPair garbage; /* the last bytes of the peer: a read answers with an alert */
    ASSERT_TRUE(garbage.ShakeHands(clientCtx.get(), serverCtx.get()));
    ASSERT_EQ(20, write(SSL_GetFd(garbage.server.get()), Pattern(20).data(), 20));
    garbage.server.reset();
    char byte = 0;
    EXPECT_EQ(-1, SSL_Read(garbage.client.get(), &byte, 1));
    EXPECT_EQ(SSL_ERROR_SSL, SSL_GetIOError(garbage.client.get()));
    EXPECT_EQ(1u, CountInLog("W SSL: Unknown SSL Error\n"));
}

/* Writing to a pipe blocks the signal. The application's own signals must be unaffected. */
TEST_F(SslSock, SignalsOfTheApplicationAreLeftAlone) {
    sigset_t pipeOnly;
    sigset_t before;
    sigemptyset(&pipeOnly);
    sigaddset(&pipeOnly, SIGPIPE);
    ASSERT_EQ(0, pthread_sigmask(SIG_BLOCK, &pipeOnly, &before));
    int fds[2];
    ASSERT_EQ(0, pipe2(fds, O_CLOEXEC));
    close(fds[0]);
    const SockPtr sock(SSL_New(fds[1], TRUE));
    for (const bool isWaiting : {false, true}) {
        if (isWaiting)
            raise(SIGPIPE);
        EXPECT_EQ(-1, SSL_Write(sock.get(), "x", 1));
        const timespec now{};
        EXPECT_EQ(isWaiting ? SIGPIPE : -1, sigtimedwait(&pipeOnly, nullptr, &now));
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

/* Sends bytes with descriptors, each of /dev/null. */
void SendDescriptors(int to, const char *text, size_t count) {
    alignas(cmsghdr) char control[CMSG_SPACE(10 * sizeof(int))] = {};
    iovec vector{const_cast<char *>(text), strlen(text)};
    msghdr header{};
    header.msg_iov = &vector;
    header.msg_iovlen = 1;
    std::vector<int> fds;
    if (count > 0) {
        header.msg_control = control;
        header.msg_controllen = CMSG_SPACE(count * sizeof(int));
        cmsghdr *message = CMSG_FIRSTHDR(&header);
        message->cmsg_level = SOL_SOCKET;
        message->cmsg_type = SCM_RIGHTS;
        message->cmsg_len = CMSG_LEN(count * sizeof(int));
        for (size_t i = 0; i < count; i++)
            fds.push_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
        memcpy(CMSG_DATA(message), fds.data(), count * sizeof(int));
    }
    EXPECT_EQ(ssize_t(strlen(text)), sendmsg(to, &header, 0));
    for (int fd : fds)
        close(fd);
}

TEST_F(SslSock, ADescriptorComesWithItsBytes) {
    char buffer[10] = {};
    int fd = 4711;
    for (size_t count : {0u, 1u, 2u, 5u}) { /* those after the first would stay open */
        SendDescriptors(SSL_GetFd(client), "abc", count);
        EXPECT_EQ(3, SSL_RecvDataAndFd(server, buffer, sizeof buffer, &fd)) << count;
        EXPECT_STREQ("abc", buffer);
        EXPECT_EQ(count > 0, fd >= 0) << count;
        if (fd >= 0) {
            EXPECT_EQ(0, close(fd));
        }
    }
    EXPECT_EQ(-1, SSL_RecvDataAndFd(server, buffer, sizeof buffer, &fd));
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ(-1, fd);

    ASSERT_TRUE(Connect());
    EXPECT_EQ(3, SSL_Write(client, "xyz", 3));
    fd = 4711;
    EXPECT_EQ(3, SSL_RecvDataAndFd(server, buffer, sizeof buffer, &fd));
    EXPECT_STREQ("xyz", buffer);
    EXPECT_EQ(-1, fd);
}

} // namespace
