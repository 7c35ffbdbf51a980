#include "lib/ssl/sslErrors.h"

#include <cerrno>

#include "lib/misc/err.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"

namespace {

constexpr size_t kMaxErrorText = 256;

/* The socket failed or ended. errno still has the reason. */
void LogSyscallError(int result) {
    SSLPrintErrors(LOG_LEVEL_INFO);
    if (result != 0)
        Log("SSL: syscall error %d: %s\n", errno, Err_ErrString());
    else
        Log("SSL: EOF in violation of protocol\n");
}

} // namespace

void SSLPrintErrors(int level) {
    const int savedErrno = errno;
    while (const unsigned long code = __wrap_ERR_get_error()) {
        char text[kMaxErrorText];
        __wrap_ERR_error_string_n(code, text, sizeof text);
        if (level == LOG_LEVEL_WARNING)
            Warning("SSL Error: %s\n", text);
        else
            Log("SSL Error: %s\n", text);
    }
    errno = savedErrno;
}

void SSLClearErrors() {
    // looking takes a tenth of the time of emptying an empty queue, which shows with each record read
    if (__wrap_ERR_peek_last_error() != 0)
        __wrap_ERR_clear_error();
}

void SSLSetSystemError(int error) {
    switch (error) {
    case SSL_SYSTEM_ERROR_RETRY:
        errno = EAGAIN;
        return;
    case SSL_SYSTEM_ERROR_LOST:
        errno = 1;
        return;
    }
    NOT_REACHED();
}

int SSLSetErrorState(SSL *ssl, int result) {
    const int savedErrno = errno;
    const int code = __wrap_SSL_get_error(ssl, result);
    errno = savedErrno;
    switch (code) {
    case SSL_ERROR_SSL:
        Warning("SSL: Unknown SSL Error\n");
        SSLPrintErrors(LOG_LEVEL_INFO);
        break;
    case SSL_ERROR_WANT_READ:
    case SSL_ERROR_WANT_WRITE:
        SSLSetSystemError(SSL_SYSTEM_ERROR_RETRY);
        break;
    case SSL_ERROR_SYSCALL:
        LogSyscallError(result);
        break;
    }
    return code;
}
