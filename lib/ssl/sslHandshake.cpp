#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSleep.h"
#include "lib/ssl/sslCertStore.h"
#include "lib/ssl/sslErrors.h"
#include "lib/ssl/sslModule.h"
#include "lib/ssl/sslSockInt.h"
#include "lib/ssl/sslSocketBio.h"
#include "lib/ssl/sslState.h"
#include "lib/ssl/sslVerify.h"

namespace {

constexpr gint64 kPollUs = 100000;
constexpr gint64 kMaxConnectSeconds = 119; /* between the first try and the begin of the last */
constexpr int kNotInitializedBug = 37562;

constexpr SSLSockClock kSystemClock = {
    [](void *) -> gint64 { return g_get_monotonic_time() / G_USEC_PER_SEC; },
    [](void *, gint64 microseconds) { Util_Usleep(microseconds); },
    nullptr,
};

bool MustWait(const SSLSock *sock) {
    return sock->sslIOError == SSL_ERROR_WANT_READ || sock->sslIOError == SSL_ERROR_WANT_WRITE;
}

/* Creates the connection structure. Replaces the one of an earlier failure. */
bool MakeConnection(SSLSock *sock, SSL_CTX *ctx, const char *failure) {
    SSLClearErrors();
    if (sock->sslCnx != nullptr)
        __wrap_SSL_free(sock->sslCnx);
    sock->sslCnx = __wrap_SSL_new(ctx);
    if (sock->sslCnx != nullptr)
        return true;
    SSLPrintErrors(LOG_LEVEL_WARNING);
    Warning("%s", failure);
    return false;
}

bool AttachDescriptor(SSLSock *sock) {
    if (SSLSocketBio_Attach(sock->sslCnx, sock->fd))
        return true;
    SSLPrintErrors(LOG_LEVEL_WARNING);
    Warning("Error setting fd for SSL connection\n");
    return false;
}

/* Sets up the check of the peer's certificate. Without parameters nothing is checked. */
bool PrepareVerification(SSLSock *sock, SSLVerifyParam *param, SSL_CTX *ctx) {
    if (param == nullptr)
        return true;
    if (param->trustedCerts != nullptr)
        SSLSetTrustedCAs(ctx, param->trustedCerts, param->numTrustedCerts);
    if (SSLVerify_SetParam(sock->sslCnx, param))
        return true;
    SSLPrintErrors(LOG_LEVEL_WARNING);
    return false;
}

bool PrepareConnect(SSLSock *sock, SSLVerifyParam *param, SSL_CTX *ctx) {
    if (!MakeConnection(sock, ctx, "Error creating sslCnx from ctx\n"))
        return false;
    __wrap_SSL_set_connect_state(sock->sslCnx);
    return PrepareVerification(sock, param, ctx) && AttachDescriptor(sock);
}

int TryConnect(SSLSock *sock) {
    SSLClearErrors();
    return __wrap_SSL_connect(sock->sslCnx);
}

bool PollConnect(SSLSock *sock, const SSLSockClock &clock) {
    sock->sslIOError = __wrap_SSL_get_error(sock->sslCnx, TryConnect(sock));
    const gint64 start = clock.seconds(clock.data);
    while (MustWait(sock) && clock.seconds(clock.data) - start <= kMaxConnectSeconds) {
        clock.sleep(clock.data, kPollUs);
        sock->sslIOError = SSLSetErrorState(sock->sslCnx, TryConnect(sock));
    }
    if (sock->sslIOError != SSL_ERROR_NONE) {
        SSLPrintErrors(LOG_LEVEL_WARNING);
        Warning("SSL: connect failed\n");
        return false;
    }
    sock->encrypted = TRUE;
    return true;
}

void TryAccept(SSLSock *sock) {
    SSLClearErrors();
    sock->sslIOError = __wrap_SSL_get_error(sock->sslCnx, __wrap_SSL_accept(sock->sslCnx));
}

bool SetupAccept(SSLSock *sock, SSL_CTX *ctx) {
    if (ctx == sslModule.ssl_ctx && !SSL_LoadCertificates())
        return false;
    if (!MakeConnection(sock, ctx, "Error Creating SSL connection structure\n"))
        return false;
    __wrap_SSL_set_accept_state(sock->sslCnx);
    return AttachDescriptor(sock);
}

} // namespace

bool SSLSockConnect(SSLSock *sock, SSLVerifyParam *param, SSL_CTX *ctx, const SSLSockClock &clock) {
    VERIFY_BUG(kNotInitializedBug, sslModule.SSLModuleInitialized);
    SSLCheckLockingCallback();
    const bool isConnected = PrepareConnect(sock, param, ctx) && PollConnect(sock, clock);
    if (!isConnected)
        sock->connectionFailed = TRUE;
    if (sock->sslCnx != nullptr)
        __wrap_SSL_set_ex_data(sock->sslCnx, sslModule.SSLVerifyParamIx, nullptr);
    return isConnected;
}

gboolean SSL_ConnectAndVerifyWithContext(SSLSock *sock, SSLVerifyParam *param, SSL_CTX *ctx) {
    return SSLSockConnect(sock, param, ctx, kSystemClock);
}

gboolean SSL_ConnectAndVerify(SSLSock *sock, SSLVerifyParam *param) {
    return SSL_ConnectAndVerifyWithContext(sock, param, SSLTrustingContext());
}

gboolean SSL_Connect(SSLSock *sock) {
    Warning("SSL_Connect: SECURITY WARNING: Should use SSL_ConnectAndVerify instead\n");
    return SSL_ConnectAndVerify(sock, nullptr);
}

gboolean SSL_SetupAcceptWithContext(SSLSock *sock, SSL_CTX *ctx) {
    SSLCheckLockingCallback();
    const bool isSetUp = SetupAccept(sock, ctx);
    if (isSetUp)
        sock->encrypted = TRUE;
    else
        sock->connectionFailed = TRUE;
    return isSetUp;
}

int SSL_TryCompleteAccept(SSLSock *sock) {
    if (sock->sslCnx == nullptr) { /* the set-up has failed */
        sock->connectionFailed = TRUE;
        return -1;
    }
    TryAccept(sock);
    if (sock->sslIOError == SSL_ERROR_NONE)
        return 1;
    if (MustWait(sock))
        return 0;
    sock->connectionFailed = TRUE;
    SSLPrintErrors(LOG_LEVEL_INFO);
    return -1;
}

gboolean SSL_AcceptWithContext(SSLSock *sock, SSL_CTX *ctx) {
    if (!SSL_SetupAcceptWithContext(sock, ctx))
        return FALSE;
    SSL_TryCompleteAccept(sock); /* the first try; its result is in sslIOError */
    return TRUE;
}

gboolean SSL_Accept(SSLSock *sock) {
    return SSL_AcceptWithContext(sock, sslModule.ssl_ctx);
}

bool SSLSockCompleteAccept(SSLSock *sock, const SSLSockClock &clock) {
    if (sock->connectionFailed) {
        SSLSetSystemError(SSL_SYSTEM_ERROR_LOST);
        return false;
    }
    while (sock->sslIOError != SSL_ERROR_NONE) {
        if (!MustWait(sock)) {
            sock->connectionFailed = TRUE;
            return false;
        }
        clock.sleep(clock.data, kPollUs);
        TryAccept(sock);
    }
    return true;
}

gboolean SSL_CompleteAccept(SSLSock *sock) {
    return SSLSockCompleteAccept(sock, kSystemClock);
}
