/*
 * sslSockInt.h -- the structure of a connection, and its handshake with a clock that tests replace
 *
 *   plain  -- connect, or set up accept ->  encrypted
 *      \______________ a failure of either ____________->  failed, permanently
 *
 * Threads: a connection belongs to one thread at a time.
 */
#pragma once

#include "lib/lock/mxUser.h"
#include "lib/ssl/sslThunks.h"

struct SSLSock {
    SSL *sslCnx;                /* NULL until connect or accept creates it */
    gint32 fd;                  /* belongs to the caller, unless closeFdOnShutdown */
    gboolean encrypted;         /* TLS is set up; FALSE: plain bytes */
    gboolean closeFdOnShutdown; /* SSL_Shutdown() closes fd */
    gboolean connectionFailed;  /* permanently: no more input or output */
    gint32 sslIOError;          /* SSL_ERROR_ code of the last operation */
    MXUserRecLock *connectionLock;
};

/* The clock of a handshake. */
struct SSLSockClock {
    gint64 (*seconds)(void *data);                  /* monotonic */
    void (*sleep)(void *data, gint64 microseconds); /* between two tries */
    void *data;
};

/* SSL_ConnectAndVerifyWithContext() and SSL_CompleteAccept(), with another clock. */
bool SSLSockConnect(SSLSock *sock, SSLVerifyParam *param, SSL_CTX *ctx, const SSLSockClock &clock);
bool SSLSockCompleteAccept(SSLSock *sock, const SSLSockClock &clock);
