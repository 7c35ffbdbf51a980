/*
 * sslErrors.h -- errors of OpenSSL and of the system, for the log and for errno
 *
 *   sock->sslIOError = SSLSetErrorState(ssl, __wrap_SSL_read(ssl, ...));    and then errno == EAGAIN: try again
 *
 * OpenSSL has a queue of errors per thread. SSL_get_error() attributes any entry to the operation before it,
 * so the queue must be empty when an operation begins.
 *
 * Threads: any; queue and errno are those of the calling thread.
 */
#pragma once

#include "lib/ssl/sslThunks.h"

/* Removes and logs all entries of the queue, as warnings for level 110, otherwise as information. Keeps
 * errno. */
void SSLPrintErrors(int level);

/* Empties the queue. */
void SSLClearErrors();

enum SSLSystemError {
    SSL_SYSTEM_ERROR_RETRY = 0, /* EAGAIN */
    SSL_SYSTEM_ERROR_LOST = 1,  /* 1, on a connection that has failed before */
};

/* Sets errno. */
void SSLSetSystemError(int error);

/*
 * Returns the SSL_ERROR_ code of an operation, given its result; must be called immediately after it. Logs
 * failures. Sets errno to EAGAIN if the operation would have to wait, and keeps it otherwise.
 */
int SSLSetErrorState(SSL *ssl, int result);
