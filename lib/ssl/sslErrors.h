/*
 * sslErrors.h -- what OpenSSL and the system say of a failed operation: into the log, and into errno
 *
 *   sock->sslIOError = SSLSetErrorState(ssl, __wrap_SSL_read(ssl, ...));    and then errno == EAGAIN: try again
 *
 * OpenSSL keeps a queue of errors per thread. SSL_get_error() takes whatever lies there for a fault of the
 * operation before it, so each operation begins with an empty one.
 *
 * Threads: any; queue and errno are the calling thread's.
 */
#pragma once

#include "lib/ssl/sslThunks.h"

/* Takes all entries out of the queue and logs each, as a warning at level 110, else as information. Keeps
 * errno. */
void SSLPrintErrors(int level);

/* Empties the queue, if there is anything in it. */
void SSLClearErrors();

enum SSLSystemError {
    SSL_SYSTEM_ERROR_RETRY = 0, /* EAGAIN */
    SSL_SYSTEM_ERROR_LOST = 1,  /* 1, on a connection that has failed before */
};

/* Sets errno. */
void SSLSetSystemError(int error);

/*
 * The SSL_ERROR_ code of an operation that gave result, to be called at once after it. Logs what is worth it,
 * and makes errno EAGAIN if the operation would have to wait; otherwise errno stays as the operation left it.
 */
int SSLSetErrorState(SSL *ssl, int result);
