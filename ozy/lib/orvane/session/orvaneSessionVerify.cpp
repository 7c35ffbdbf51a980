// Decisions of the application on certificates, and what follows from them.
#include "ozy/lib/orvane/session/orvaneSessionVerify.h"

#include <cstdlib>
#include <string>
#include <utility>

#include <ssl/ssl.h>

#include "lib/misc/log.h"
#include "lib/ssl/sslThunks.h"
#include "ozy/lib/orvane/session/orvaneSessionCalls.h"
#include "ozy/lib/orvane/soap/orvaneFault.h"

namespace {

enum { DECISION_NONE = 0, DECISION_ACCEPTED = 1, DECISION_REJECTED = 2 };

constexpr const char *kDecisionKey = "orvane_session_decision";

enum class Answer { kNotAsked, kPending, kYes, kNo };

/* A decision on a certificate; object data of the context that is passed to the application's function, which owns a
 * reference to the context while the answer is pending. */
struct PendingDecision {
    ObjectWatch<OrvaneSession> session;
    ObjectWatch<OrvaneListener> listener;
    guint connection;  /* of the session when the handshake began */
    bool isForConnect; /* discovery; otherwise a call that opened another connection */
    Answer answer = Answer::kNotAsked;
    std::string thumbprint; /* SHA-256 */
    guint operation = 0;    /* of the listener */

    /* NULL if it died, or serves another operation. */
    OrvaneListener *Application() const {
        OrvaneListener *bound = listener.Get();
        const bool isOther = bound != nullptr && OrvaneListener_ServesAnother(bound, operation);
        return isOther ? nullptr : bound;
    }
    bool IsCurrent() const { return session && session.Get()->priv->connection == connection; }
};

PendingDecision *DecisionOf(GObject *context) {
    return static_cast<PendingDecision *>(g_object_get_data(context, kDecisionKey));
}

void DeleteDecision(gpointer decision) {
    delete static_cast<PendingDecision *>(decision);
}

/* The function is not called again for a certificate that it has accepted. */
void Remember(OrvaneSessionPrivate *priv, const std::string &thumbprint) {
    if (thumbprint.empty())
        return;
    if (priv->acceptedCerts == nullptr)
        priv->acceptedCerts = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, nullptr);
    g_hash_table_add(priv->acceptedCerts, g_strdup(thumbprint.c_str()));
}

bool IsRemembered(const OrvaneSessionPrivate *priv, const std::string &thumbprint) {
    return priv->acceptedCerts != nullptr &&
           g_hash_table_contains(priv->acceptedCerts, thumbprint.c_str());
}

/* Keeps the answer to the question of a try that has ended. */
void KeepLate(OrvaneSessionPrivate *priv, const PendingDecision &decision) {
    g_free(std::exchange(priv->lateCert, g_strdup(decision.thumbprint.c_str())));
    priv->isLateAccepted = decision.answer == Answer::kYes;
    priv->isLateUsed = false;
}

OrvaneCnxParams *CopyParams(const OrvaneCnxParams *params) {
    return orvane_session_create_cnxparams(params->kind, params->first, params->second);
}

/* Both the answer and the end of the handshake have come. Invokes the application's handlers. */
void orvane_session_ssl_verify_perform_response(OrvaneSession *session, OrvaneListener *listener) {
    OrvaneSessionPrivate *priv = session->priv;
    g_clear_weak_pointer(&priv->verifyContext);
    if (priv->verifyDecision == DECISION_ACCEPTED && OrvaneSessionReconnect_IsTrying(session)) {
        OrvaneSessionReconnect_Discover(session);
        return;
    }
    if (priv->verifyDecision == DECISION_ACCEPTED) {
        const GPtr<char> url(g_strdup(priv->url));
        orvane_session_connect_internal(session, url.get(), listener, CopyParams(priv->cnxParams));
        return;
    }
    OrvaneSessionAcknowledgeFault(
        listener, OrvaneFault_NewInvalidResponse(BASICHTTP_ERROR_SSL_SECURITY, 0, nullptr));
}

void orvane_session_verify_certificate_done(GObject *context, gboolean accepted) {
    g_return_if_fail(G_IS_OBJECT(context));
    PendingDecision *decision = DecisionOf(context);
    g_return_if_fail(decision != nullptr && decision->answer == Answer::kPending);
    const ObjectPtr<GObject> owner(context);
    decision->answer = accepted ? Answer::kYes : Answer::kNo;
    if (!decision->IsCurrent())
        return;

    OrvaneSession *session = decision->session.Get();
    OrvaneSessionPrivate *priv = session->priv;
    if (!decision->isForConnect) {
        if (accepted)
            Remember(priv, decision->thumbprint);
        return;
    }
    if (priv->verifyContext != context) {
        if (OrvaneSessionReconnect_IsActive(session))
            KeepLate(priv, *decision);
        return;
    }
    priv->verifyDecision = accepted ? DECISION_ACCEPTED : DECISION_REJECTED;
    const bool isHandshakeOver = priv->verifyState == ORVANE_VERIFY_WAITING;
    priv->verifyState = isHandshakeOver ? ORVANE_VERIFY_IDLE : ORVANE_VERIFY_ANSWERED;
    if (isHandshakeOver)
        orvane_session_ssl_verify_perform_response(session, decision->Application());
}

/* Calls the application's function. When it returns it may have answered, and the session may be gone. */
void Ask(GObject *context, PendingDecision *decision, X509_STORE_CTX *storeContext,
         X509 *certificate) {
    const OrvaneSessionPrivate *priv = decision->session.Get()->priv;
    char thumbprint[SSL_THUMBPRINT_SIZE];
    SSL_GetCertThumbprint(certificate, thumbprint, sizeof thumbprint);
    Log_Audit("Orvane: Verifying SSL certificate with thumbprint %s\n",
              *thumbprint != '\0' ? thumbprint : "(undefined)");
    decision->answer = Answer::kPending;
    priv->verifyFunc(G_OBJECT(g_object_ref(context)), storeContext, certificate, priv->verifyData,
                     orvane_session_verify_certificate_done);
}

void LogOutcome(bool isAccepted) {
    Log_Audit("Orvane: Certificate %s\n", isAccepted ? "accepted" : "rejected");
}

int VerifyForConnect(GObject *context, PendingDecision *decision, X509_STORE_CTX *storeContext,
                     X509 *certificate) {
    OrvaneSession *session = decision->session.Get();
    OrvaneSessionPrivate *priv = session->priv;
    if (OrvaneSessionReconnect_IsTrying(session) &&
        g_strcmp0(priv->lateCert, decision->thumbprint.c_str()) == 0) {
        priv->isLateUsed = true;
        LogOutcome(priv->isLateAccepted);
        if (priv->isLateAccepted)
            Remember(priv, decision->thumbprint);
        return priv->isLateAccepted ? 1 : 0;
    }
    priv->verifyDecision = DECISION_NONE;
    priv->verifyState = ORVANE_VERIFY_ASKED;
    g_set_weak_pointer(&priv->verifyContext, context);
    Log_Audit("Orvane: Instantiating QORM session at %s\n", priv->url);
    Ask(context, decision, storeContext, certificate);
    if (!decision->IsCurrent() || priv->verifyContext != context)
        return 0;

    const bool isAccepted = priv->verifyDecision == DECISION_ACCEPTED;
    LogOutcome(isAccepted);
    if (!isAccepted)
        return 0;
    g_clear_weak_pointer(&priv->verifyContext);
    priv->verifyDecision = DECISION_NONE;
    priv->verifyState = ORVANE_VERIFY_IDLE;
    Remember(priv, decision->thumbprint);
    return 1;
}

int VerifyForCall(GObject *context, PendingDecision *decision, X509_STORE_CTX *storeContext,
                  X509 *certificate) {
    if (IsRemembered(decision->session.Get()->priv, decision->thumbprint))
        return 1;
    Ask(context, decision, storeContext, certificate);
    const bool isAccepted = decision->answer == Answer::kYes;
    LogOutcome(isAccepted);
    return isAccepted ? 1 : 0;
}

/* The end of the walk over a peer's chain. */
int orvane_session_ssl_verify_cb(X509_STORE_CTX *storeContext, X509 *certificate, gpointer data) {
    const ObjectPtr<GObject> context(G_OBJECT(g_object_ref(data)));
    PendingDecision *decision = DecisionOf(context.get());
    char thumbprint[SSL_THUMBPRINT256_SIZE];
    if (!decision->IsCurrent() || decision->session.Get()->priv->verifyFunc == nullptr ||
        certificate == nullptr ||
        !SSL_GetCertThumbprint256(certificate, thumbprint, sizeof thumbprint))
        return 0;
    decision->thumbprint = thumbprint;
    return decision->isForConnect
               ? VerifyForConnect(context.get(), decision, storeContext, certificate)
               : VerifyForCall(context.get(), decision, storeContext, certificate);
}

/* Makes the next handshake of a connection call the function. Without a session the certificate is rejected. */
void SetUpContext(gpointer sslContext, OrvaneSession *session, OrvaneListener *listener,
                  bool isForConnect) {
    GObject *context = G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr));
    const guint connection = session != nullptr ? session->priv->connection : 0;
    auto *decision =
        new PendingDecision{ObjectWatch(session), ObjectWatch(listener), connection, isForConnect};
    if (listener != nullptr)
        decision->operation = OrvaneListener_GetOperationSerial(listener);
    g_object_set_data_full(context, kDecisionKey, decision, DeleteDecision);
    SSL_SetVerifyCb(static_cast<SSL_CTX *>(sslContext), orvane_session_ssl_verify_cb, context,
                    g_object_unref);
}

/* libcurl sets up the TLS context for a discovery request, whose client data is the context. */
void orvane_session_ssl_ctx_proc_cb(BasicHttpRequest *, gpointer sslContext, gpointer context) {
    SetUpContext(sslContext,
                 static_cast<OrvaneSession *>(g_object_get_data(G_OBJECT(context), "session")),
                 OrvaneSessionBound(context), true);
}

void OnCallContext(BasicHttpRequest *request, gpointer sslContext, gpointer) {
    SetUpContext(sslContext, OrvaneSessionOfRequest(request), nullptr, false);
}

const char *UrlOf(BasicHttpRequest *request) {
    const char *url = nullptr;
    return BasicHttp_GetEffectiveURL(request, &url) && url != nullptr ? url : "(undefined)";
}

/* Nothing goes to a peer that the function has not accepted, however the connection came about. Where there is no
 * TLS, the transport decides. */
gboolean OnGuardedConnected(BasicHttpRequest *request, gboolean isEncrypted, gpointer ssl,
                            gpointer) {
    if (!isEncrypted || (ssl != nullptr && SSL_IsPeerAccepted(static_cast<SSL *>(ssl))))
        return TRUE;
    Log_Audit("Orvane: Nothing is sent to %s: the application's verify function has not accepted "
              "the certificate of this connection\n",
              UrlOf(request));
    return FALSE;
}

/* The same for a session that checks by authorities. */
gboolean OnAuthorityConnected(BasicHttpRequest *request, gboolean, gpointer ssl, gpointer) {
    if (ssl == nullptr || __wrap_SSL_get_verify_result(static_cast<SSL *>(ssl)) == X509_V_OK)
        return TRUE;
    Log_Audit("Orvane: Nothing is sent to %s: no authority vouches for the certificate of this "
              "connection\n",
              UrlOf(request));
    return FALSE;
}

gboolean OnLoginConnected(BasicHttpRequest *request, gboolean isEncrypted, gpointer ssl, gpointer) {
    if (!isEncrypted)
        Log_Audit("Orvane: Sending a login to %s without encryption\n", UrlOf(request));
    else if (ssl == nullptr || !SSL_IsPeerAccepted(static_cast<SSL *>(ssl)))
        Log_Audit("Orvane: Sending a login to %s over a connection that was not checked\n",
                  UrlOf(request));
    return TRUE;
}

/* Whether a call of a session that is not strict is checked: in a try to connect again, and another login of the same
 * connection. Where the first connect checks nothing, these check nothing. */
bool IsCheckedAgain(const OrvaneSession *session, bool isLogin) {
    const OrvaneSessionPrivate *priv = session->priv;
    const bool isAgain = OrvaneSessionReconnect_IsTrying(session) ||
                         (isLogin && priv->relogin.state == OrvaneReloginState::Running);
    const bool checks = priv->asksFunction || priv->sslCertificateFile != nullptr ||
                        priv->sslCertificatePath != nullptr;
    return isAgain && checks && BasicHttp_JudgeUrl(priv->url) == BASICHTTP_URL_ENCRYPTED;
}

} // namespace

void orvane_session_set_strict_tls(OrvaneSession *session, gboolean value) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    session->priv->strictTls = value;
}

bool OrvaneSessionVerify_MayConnect(const OrvaneSession *session, const char *url) {
    if (!session->priv->strictTls)
        return true;
    const BasicHttpUrlKind kind = BasicHttp_JudgeUrl(url);
    const char *proxy = secure_getenv("HALDEN_HTTPSPROXY");
    const bool hasProxy = proxy != nullptr && *proxy != '\0';
    if (kind == BASICHTTP_URL_ENCRYPTED || (kind == BASICHTTP_URL_LOOPBACK && !hasProxy))
        return true;
    Log_Audit("Orvane: Refusing the connection to %s: %s\n", url,
              kind == BASICHTTP_URL_INVALID ? "that is no unambiguous http or https URL"
                                            : "it would not be encrypted");
    return false;
}

bool OrvaneSessionVerify_Begin(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    priv->isStrict = priv->strictTls;
    priv->asksFunction = priv->verifyFunc != nullptr;
    return !priv->isStrict || BasicHttp_KeepConnectionsApart(priv->cookieJar);
}

void OrvaneSessionVerify_End(OrvaneSession *session) {
    OrvaneSessionVerify_Forget(session);
    OrvaneSessionVerify_ForgetLate(session);
    OrvaneSessionVerify_DecideAnew(session);
}

void OrvaneSessionVerify_DecideAnew(OrvaneSession *session) {
    g_clear_pointer(&session->priv->acceptedCerts, g_hash_table_unref);
}

void OrvaneSessionVerify_Forget(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    g_clear_weak_pointer(&priv->verifyContext);
    priv->verifyState = ORVANE_VERIFY_IDLE;
    priv->verifyDecision = DECISION_NONE;
}

void OrvaneSessionVerify_ForgetLate(OrvaneSession *session) {
    g_clear_pointer(&session->priv->lateCert, g_free);
}

void OrvaneSessionVerify_ForgetUsed(OrvaneSession *session) {
    if (session->priv->isLateUsed)
        OrvaneSessionVerify_ForgetLate(session);
}

void OrvaneSessionVerify_SetUpDiscovery(const OrvaneSession *session, BasicHttpRequest *request) {
    const OrvaneSessionPrivate *priv = session->priv;
    BasicHttp_SetStrict(request, priv->isStrict);
    if (!priv->asksFunction) {
        BasicHttp_SetSslVerification(request, priv->isStrict);
        if (priv->isStrict)
            BasicHttp_SetConnectedProc(request, OnAuthorityConnected);
        return;
    }
    BasicHttp_SetSslCtxProc(request, orvane_session_ssl_ctx_proc_cb);
    BasicHttp_SetConnectedProc(request, OnGuardedConnected);
    BasicHttp_SetFreshConnection(request); /* one that was kept may be anybody's */
    if (priv->isStrict)
        BasicHttp_ForbidReuse(request);
}

void OrvaneSessionVerify_SetUpCall(const OrvaneSession *session, BasicHttpRequest *request,
                                   bool isLogin) {
    const OrvaneSessionPrivate *priv = session->priv;
    if (!priv->isStrict && !IsCheckedAgain(session, isLogin)) {
        if (isLogin)
            BasicHttp_SetConnectedProc(request, OnLoginConnected);
        return;
    }
    BasicHttp_SetStrict(request, priv->isStrict);
    if (!priv->isStrict)
        BasicHttp_SetFreshConnection(request); /* one that was kept may be anybody's */
    BasicHttp_SetSslAuthorities(request, priv->sslCertificateFile, priv->sslCertificatePath);
    if (!priv->asksFunction) {
        BasicHttp_SetSslVerification(request, TRUE);
        BasicHttp_SetConnectedProc(request, OnAuthorityConnected);
        return;
    }
    BasicHttp_SetSslCtxProc(request, OnCallContext);
    BasicHttp_SetConnectedProc(request, OnGuardedConnected);
}

void OrvaneSessionVerify_HandshakeOver(OrvaneSession *session, OrvaneListener *listener) {
    OrvaneSessionPrivate *priv = session->priv;
    ObjectWatch<OrvaneSession> sessionWatch(session);
    ObjectWatch<OrvaneListener> watched(listener);
    ConnectionWatch watch(session);
    const bool isPending = priv->verifyState == ORVANE_VERIFY_ASKED;
    priv->verifyState = isPending ? ORVANE_VERIFY_WAITING : ORVANE_VERIFY_IDLE;
    priv->useLegacy = TRUE;
    OrvaneSessionSetFailed(session);
    if (isPending || !sessionWatch)
        return; /* the answer or another connect notifies the listener */
    if (watch.IsIn(ORVANE_SESSION_DISCONNECTED) ||
        (watch.IsSame() && OrvaneSessionReconnect_IsTrying(session)))
        orvane_session_ssl_verify_perform_response(session, watched.Get());
    else
        OrvaneSessionAcknowledgeUnexpected(watched.Get(), ORVANE_OUTCOME_DISCONNECTED);
}

OrvaneListener *OrvaneSessionVerify_TakeWaiting(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    const bool isHandshakeOver =
        priv->verifyState == ORVANE_VERIFY_WAITING || priv->verifyState == ORVANE_VERIFY_IDLE;
    if (priv->verifyContext == nullptr || !isHandshakeOver)
        return nullptr;
    OrvaneListener *listener = DecisionOf(priv->verifyContext)->Application();
    g_clear_weak_pointer(&priv->verifyContext);
    return listener;
}
