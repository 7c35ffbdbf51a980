#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <span>

#include <sys/socket.h>
#include <unistd.h>

#include "lib/misc/panic.h"
#include "lib/ssl/sslErrors.h"
#include "lib/ssl/sslModule.h"
#include "lib/ssl/sslSockInt.h"
#include "lib/ssl/sslSocketBio.h"
#include "lib/ssl/sslState.h"

namespace {

constexpr guint32 kConnectionLockRank = 0xFEFFFFFF;

ssize_t Fail(int error) {
    errno = error;
    return -1;
}

/* The result of input and output on a connection that has failed. */
ssize_t FailAsLost() {
    SSLSetSystemError(SSL_SYSTEM_ERROR_LOST);
    return -1;
}

/* Converts the result of OpenSSL's function to that of SSL_Read() or SSL_Write(). */
ssize_t Finish(SSLSock *sock, int result) {
    sock->sslIOError = SSLSetErrorState(sock->sslCnx, result);
    return sock->sslIOError == SSL_ERROR_NONE ? result : -1;
}

ssize_t ReadEncrypted(SSLSock *sock, void *buf, int len) {
    SSLClearErrors();
    return Finish(sock, __wrap_SSL_read(sock->sslCnx, buf, len));
}

/* Returns the first descriptor of a message and closes the second, which the buffer also has room for. */
int TakeDescriptor(const cmsghdr *message) {
    int fds[2] = {-1, -1};
    const size_t size = std::min(message->cmsg_len - CMSG_LEN(0), sizeof fds);
    memcpy(fds, CMSG_DATA(message), size);
    if (fds[1] >= 0)
        close(fds[1]);
    return fds[0];
}

void CollectDescriptors(msghdr *header, int *fd) {
    for (cmsghdr *message = CMSG_FIRSTHDR(header); message != nullptr;
         message = CMSG_NXTHDR(header, message)) {
        if (message->cmsg_level != SOL_SOCKET || message->cmsg_type != SCM_RIGHTS)
            continue;
        if (*fd >= 0)
            close(*fd); /* the last one wins */
        *fd = TakeDescriptor(message);
    }
}

ssize_t ReceivePlain(int from, void *buf, size_t len, int *fd) {
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof *fd)];
    iovec vector{buf, len};
    msghdr header{};
    header.msg_iov = &vector;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
    const ssize_t count = recvmsg(from, &header, 0);
    if (count >= 0)
        CollectDescriptors(&header, fd);
    return count;
}

} // namespace

SSLSock *SSL_New(int fd, gboolean closeFdOnShutdown) {
    SSLCheckLockingCallback();
    auto *sock = static_cast<SSLSock *>(calloc(1, sizeof(SSLSock)));
    VERIFY(sock != nullptr);
    sock->fd = fd;
    sock->closeFdOnShutdown = closeFdOnShutdown;
    sock->connectionLock = MXUser_CreateRecLock("sslConnectionLock", kConnectionLockRank);
    VERIFY(sock->connectionLock != nullptr);
    return sock;
}

void SSL_SetCloseOnShutdownFlag(SSLSock *sock) {
    sock->closeFdOnShutdown = TRUE;
}

int SSL_GetFd(SSLSock *sock) {
    return sock->fd;
}

int SSL_GetIOError(SSLSock *sock) {
    return sock->sslIOError;
}

ssize_t SSL_Read(SSLSock *sock, void *buf, int len) {
    SSLCheckLockingCallback();
    if (sock->connectionFailed)
        return FailAsLost();
    if (sock->encrypted)
        return ReadEncrypted(sock, buf, len);
    return len >= 0 ? read(sock->fd, buf, static_cast<size_t>(len)) : Fail(EINVAL);
}

ssize_t SSL_Write(SSLSock *sock, const void *buf, int len) {
    SSLCheckLockingCallback();
    if (sock->connectionFailed)
        return FailAsLost();
    if (!sock->encrypted)
        return len >= 0 ? SSLSocket_Write(sock->fd, buf, static_cast<size_t>(len)) : Fail(EINVAL);
    SSLClearErrors();
    return Finish(sock, __wrap_SSL_write(sock->sslCnx, buf, len));
}

ssize_t SSL_RecvDataAndFd(SSLSock *sock, void *buf, size_t len, int *fd) {
    SSLCheckLockingCallback();
    *fd = -1;
    if (sock->connectionFailed)
        return FailAsLost();
    if (sock->encrypted)
        return ReadEncrypted(sock, buf, static_cast<int>(std::min<size_t>(len, INT_MAX)));
    return ReceivePlain(sock->fd, buf, len, fd);
}

int SSL_Pending(SSLSock *sock) {
    SSLCheckLockingCallback();
    return sock->encrypted ? __wrap_SSL_pending(sock->sslCnx) : 0;
}

int SSL_Want(SSLSock *sock) {
    return sock->sslCnx != nullptr ? __wrap_SSL_want(sock->sslCnx) : SSL_NOTHING;
}

gboolean SSL_WantRead(SSLSock *sock) {
    return SSL_Want(sock) == SSL_READING;
}

gboolean SSL_WantWrite(SSLSock *sock) {
    return SSL_Want(sock) == SSL_WRITING;
}

long SSL_SetMode(SSLSock *sock, long mode) {
    return sock->sslCnx != nullptr ? __wrap_SSL_ctrl(sock->sslCnx, SSL_CTRL_MODE, mode, nullptr)
                                   : 0;
}

int SSL_Shutdown(SSLSock *sock) {
    SSLCheckLockingCallback();
    if (sock->encrypted) {
        /* Sends nothing and waits for nothing. It fails only while the handshake is incomplete, which does
         * not matter here. */
        __wrap_SSL_shutdown(sock->sslCnx);
        SSLClearErrors();
    }
    if (sock->sslCnx != nullptr)
        __wrap_SSL_free(sock->sslCnx);
    const int result = sock->closeFdOnShutdown ? close(sock->fd) : 0;
    const int savedErrno = errno;
    MXUser_DestroyRecLock(sock->connectionLock);
    free(sock);
    errno = savedErrno;
    return result;
}
