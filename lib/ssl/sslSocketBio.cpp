#include "lib/ssl/sslSocketBio.h"

#include <atomic>
#include <cerrno>
#include <csignal>

#include <sys/socket.h>
#include <unistd.h>

#include "lib/ssl/sslPtr.h"
#include "lib/ssl/sslState.h"

namespace {

enum { BIO_NOCLOSE = 0, BIO_C_SET_FD = 104, BIO_C_GET_FD = 105 };
enum { BIO_FLAGS_WRITE = 0x2, BIO_FLAGS_RWS = 0x7, BIO_FLAGS_SHOULD_RETRY = 0x8 };

/* The table of methods, as in the public headers of 1.0.2. Later versions hide it. */
struct OpenBioMethod {
    int type;
    const char *name;
    int (*write)(BIO *bio, const char *bytes, int count);
    int (*read)(BIO *bio, char *bytes, int count);
    int (*puts)(BIO *bio, const char *text);
    int (*gets)(BIO *bio, char *line, int size);
    long (*ctrl)(BIO *bio, int command, long number, void *pointer);
    int (*create)(BIO *bio);
    int (*destroy)(BIO *bio);
    long (*callbackCtrl)(BIO *bio, int command, void *callback);
};

/* Returns whether the operation is to be tried again. */
bool IsTemporary(int error) {
    switch (error) {
    case EAGAIN:
    case EINTR:
    case ENOTCONN:
    case EPROTO:
    case EINPROGRESS:
    case EALREADY:
        return true;
    }
    return false;
}

int SocketBioWrite(BIO *bio, const char *bytes, int count) {
    int fd = -1;
    __wrap_BIO_ctrl(bio, BIO_C_GET_FD, 0, &fd);
    errno = 0;
    const ssize_t written = SSLSocket_Write(fd, bytes, static_cast<size_t>(count));
    __wrap_BIO_clear_flags(bio, BIO_FLAGS_RWS | BIO_FLAGS_SHOULD_RETRY);
    if (written < 0 && IsTemporary(errno))
        __wrap_BIO_set_flags(bio, BIO_FLAGS_WRITE | BIO_FLAGS_SHOULD_RETRY);
    return static_cast<int>(written);
}

template <class Function> Function LookUp(const char *name) {
    return SSLFindFunction<Function>(sslModule.libcryptoHandle, name);
}

/* Copies one method of the original into a new table. */
template <class Method>
bool CopyMethod(BIO_METHOD *to, const BIO_METHOD *from, const char *getName, const char *setName) {
    const auto get = LookUp<Method (*)(const BIO_METHOD *)>(getName);
    const auto set = LookUp<int (*)(BIO_METHOD *, Method)>(setName);
    return get != nullptr && set != nullptr && set(to, get(from)) == 1;
}

/* Returns a copy of OpenSSL's table for sockets with another write function, for versions that hide the
 * table. */
BIO_METHOD *MakeHiddenMethod(const BIO_METHOD *original) {
    using SetWriteFn = int (*)(BIO_METHOD *, decltype(&SocketBioWrite));
    const auto make = LookUp<BIO_METHOD *(*)(int, const char *)>("BIO_meth_new");
    const auto setWrite = LookUp<SetWriteFn>("BIO_meth_set_write");
    const auto type = LookUp<int (*)(const BIO *)>("BIO_method_type");
    const BioPtr sample(__wrap_BIO_new(original));
    if (setWrite == nullptr || type == nullptr || sample == nullptr)
        return nullptr;

    BIO_METHOD *method = make(type(sample.get()), "socket without SIGPIPE");
    const bool isMade = method != nullptr && setWrite(method, SocketBioWrite) == 1 &&
                        CopyMethod<int (*)(BIO *, char *, int)>(
                            method, original, "BIO_meth_get_read", "BIO_meth_set_read") &&
                        CopyMethod<long (*)(BIO *, int, long, void *)>(
                            method, original, "BIO_meth_get_ctrl", "BIO_meth_set_ctrl") &&
                        CopyMethod<int (*)(BIO *)>(method, original, "BIO_meth_get_create",
                                                   "BIO_meth_set_create") &&
                        CopyMethod<int (*)(BIO *)>(method, original, "BIO_meth_get_destroy",
                                                   "BIO_meth_set_destroy");
    return isMade ? method : nullptr;
}

/* The same for 1.0.2. The table lives as long as the process, as those of OpenSSL do. */
BIO_METHOD *MakeOpenMethod(const BIO_METHOD *original) {
    auto *method = new OpenBioMethod(*reinterpret_cast<const OpenBioMethod *>(original));
    method->write = SocketBioWrite;
    method->puts = nullptr; /* it would bypass the write function, and is not used */
    return reinterpret_cast<BIO_METHOD *>(method);
}

std::atomic<BIO_METHOD *> socketMethod{nullptr};

/* Returns the table of methods, which is created on first use. */
const BIO_METHOD *SocketMethod() {
    BIO_METHOD *method = socketMethod.load(std::memory_order_acquire);
    if (method != nullptr)
        return method;
    SSLStateGuard guard;
    method = socketMethod.load(std::memory_order_acquire);
    const auto original = LookUp<const BIO_METHOD *(*)()>("BIO_s_socket");
    if (method != nullptr || original == nullptr)
        return method;
    const bool isHidden = LookUp<void *>("BIO_meth_new") != nullptr;
    method = isHidden ? MakeHiddenMethod(original()) : MakeOpenMethod(original());
    socketMethod.store(method, std::memory_order_release);
    return method;
}

/* Calls write() with the signal blocked in this thread, and removes the signal that it raises, unless one was
 * pending before. */
ssize_t WriteWithSignalBlocked(int fd, const void *bytes, size_t count) {
    sigset_t pipeOnly;
    sigset_t before;
    sigset_t pending;
    sigemptyset(&pipeOnly);
    sigaddset(&pipeOnly, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeOnly, &before);
    sigpending(&pending);
    const ssize_t written = write(fd, bytes, count);
    const int savedErrno = errno;
    if (written < 0 && savedErrno == EPIPE && sigismember(&pending, SIGPIPE) == 0) {
        const timespec now{};
        while (sigtimedwait(&pipeOnly, nullptr, &now) < 0 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = savedErrno;
    return written;
}

} // namespace

bool SSLSocketBio_Attach(SSL *ssl, int fd) {
    const BIO_METHOD *method = SocketMethod();
    if (method == nullptr)
        return false;
    BIO *bio = __wrap_BIO_new(method);
    if (bio == nullptr)
        return false;
    __wrap_BIO_ctrl(bio, BIO_C_SET_FD, BIO_NOCLOSE, &fd);
    __wrap_SSL_set_bio(ssl, bio, bio); /* takes ownership */
    return true;
}

ssize_t SSLSocket_Write(int fd, const void *bytes, size_t count) {
    const ssize_t sent = send(fd, bytes, count, MSG_NOSIGNAL);
    if (sent >= 0 || errno != ENOTSOCK)
        return sent;
    return WriteWithSignalBlocked(fd, bytes, count);
}
