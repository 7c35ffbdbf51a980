/*
 * sslSockInt.h -- inside of a connection, and its handshake with a clock that tests move by hand
 *
 *   plain  -- connect, or set up accept ->  encrypted
 *      \______________ a failure of either ____________->  failed, for ever
 *
 * Threads: a connection belongs to one thread at a time.
 */
#pragma once

#include "lib/lock/mxUser.h"
#include "lib/ssl/sslThunks.h"

struct SSLSock {
    SSL *sslCnx;                /* NULL until connect or accept has made it */
    gint32 fd;                  /* the caller's, unless closeFdOnShutdown */
    gboolean encrypted;         /* TLS is set up; FALSE: bytes go through fd as they are */
    gboolean closeFdOnShutdown; /* SSL_Shutdown() closes fd */
    gboolean connectionFailed;  /* for ever: no more input or output */
    gint32 sslIOError;          /* SSL_ERROR_ code of the last operation */
    MXUserRecLock *connectionLock;
};

/* Time as a handshake sees it. */
struct SSLSockClock {
    gint64 (*seconds)(void *data);                  /* of a clock that never goes back */
    void (*sleep)(void *data, gint64 microseconds); /* between two tries */
    void *data;
};

/* SSL_ConnectAndVerifyWithContext() and SSL_CompleteAccept(), with another clock. */
bool SSLSockConnect(SSLSock *sock, SSLVerifyParam *param, SSL_CTX *ctx, const SSLSockClock &clock);
bool SSLSockCompleteAccept(SSLSock *sock, const SSLSockClock &clock);
