/*
 * sslSocketBio.h -- the BIO between a TLS connection and its socket: OpenSSL's own but for its write function
 *
 * OpenSSL writes with write(), and a write to a peer that has gone raises SIGPIPE, which ends a process that
 * has no handler for it. A library cannot ignore the signal: that belongs to the application and to the
 * programs it starts. Blocking it in the thread around each call would do, but for three system calls each
 * time, since TLS writes where nobody asked for it (alerts and tickets while reading, even in a read that
 * succeeds). So the one thing that raises the signal is replaced: bytes leave by send() with MSG_NOSIGNAL,
 * and the peer's absence shows as EPIPE and as nothing else.
 *
 * Ownership: the descriptor stays the caller's.
 * Threads:   a BIO is used by one thread at a time.
 */
#pragma once

#include <sys/types.h>

#include "lib/ssl/sslThunks.h"

/* Makes a connection read from and write to a socket. False: nothing is changed, OpenSSL's queue says why. */
bool SSLSocketBio_Attach(SSL *ssl, int fd);

/* As write(), but without SIGPIPE. The descriptor may be anything that can be written to. */
ssize_t SSLSocket_Write(int fd, const void *bytes, size_t count);
