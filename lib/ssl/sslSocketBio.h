/*
 * sslSocketBio.h -- the BIO between a TLS connection and its socket: OpenSSL's own with another write function
 *
 * OpenSSL calls write(). Writing to a socket that the peer has closed raises SIGPIPE, which ends a process
 * without a handler for it. A library must not ignore the signal, since its disposition belongs to the
 * application and is inherited by the programs that it starts. Blocking the signal in the thread costs three
 * system calls for each operation, because TLS also writes while it reads (alerts and tickets). So only the
 * write function is replaced: it calls send() with MSG_NOSIGNAL, and a closed peer is reported as EPIPE.
 *
 * Ownership: the descriptor belongs to the caller.
 * Threads:   a BIO is used by one thread at a time.
 */
#pragma once

#include <sys/types.h>

#include "lib/ssl/sslThunks.h"

/* Connects a TLS connection to a socket. False: nothing is changed, and OpenSSL's queue has the reason. */
bool SSLSocketBio_Attach(SSL *ssl, int fd);

/* As write(), but without SIGPIPE. The descriptor need not be a socket. */
ssize_t SSLSocket_Write(int fd, const void *bytes, size_t count);
