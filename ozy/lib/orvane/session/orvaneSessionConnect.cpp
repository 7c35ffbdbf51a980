/*
 * A connect is a chain of steps. The end of each begins the next:
 *
 *   discovery -> [legacy document] -> RetrieveContent -> [ticket] -> login -> roles
 *
 * Each step has an internal listener (or, for a GET, a plain object) to which the application's listener is
 * bound weakly. If the application's listener dies, the chain continues without it. The first step that fails
 * ends the chain with the state DISCONNECTED.
 */
#include <utility>

#include "lib/misc/log.h"
#include "lib/misc/secret.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/session/orvaneSessionCalls.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "ozy/lib/orvane/session/orvaneSessionVerify.h"
#include "ozy/lib/orvane/session/sessionOwners.h"
#include "ozy/lib/orvane/soap/orvaneFault.h"

#include <orvane/schema/qorm.h>

namespace {

/* Set on the internal listeners of a chain. */
constexpr const char *kChainKey = "orvane_session_chain";
/* The serial of the operation that an object is a step of. */
constexpr const char *kOperationKey = "orvane_session_operation";

/* Adopts the cookie of an existing session. */
bool SetCookie(BasicHttpCookieJar *jar, const char *cookie) {
    const SecretText line(g_strdup_printf("Set-Cookie: %s; Path=/;", cookie));
    return BasicHttp_SetInitialCookie(jar, line.get());
}

/* Creates what a connection has from its beginning. */
bool SetUp(OrvaneSession *session, const char *url, OrvaneCnxParams *cnxParams) {
    OrvaneSessionPrivate *priv = session->priv;
    priv->url = g_strdup(url);
    priv->cnxParams = cnxParams;
    OrvaneSessionRelogin_Begin(session);
    OrvaneSessionReconnect_Begin(session, url);
    priv->cookieJar = BasicHttp_CreateCookieJar();
    priv->moMgr = orvane_momgr_new(session);
    OrvaneMOMgr_SetStrictLoads(priv->moMgr, priv->hasStrictLoads);
    if (!OrvaneSessionVerify_Begin(session))
        return false;
    if (cnxParams->kind == ORVANE_CNX_SSPI)
        priv->sspiState = orvane_create_sspi_state(cnxParams->first);
    if (cnxParams->kind == ORVANE_CNX_HIJACK)
        return SetCookie(priv->cookieJar, cnxParams->first);
    return true;
}

void ConnectWith(OrvaneSession *session, const char *url, OrvaneListener *listener,
                 OrvaneCnxParams *cnxParams) {
    if (cnxParams == nullptr)
        OrvaneListener_RefuseOperation(listener);
    g_return_if_fail(cnxParams);
    orvane_session_connect_internal(session, url, listener, cnxParams);
}

} // namespace

void orvane_session_connect(OrvaneSession *session, const char *url, const char *user,
                            const char *password, OrvaneListener *listener) {
    ConnectWith(session, url, listener,
                orvane_session_create_cnxparams(ORVANE_CNX_PASSWORD, user, password));
}

void orvane_session_clone(OrvaneSession *session, const char *url, const char *cloneTicket,
                          OrvaneListener *listener) {
    ConnectWith(session, url, listener,
                orvane_session_create_cnxparams(ORVANE_CNX_CLONE, cloneTicket));
}

void orvane_session_sspi_connect(OrvaneSession *session, const char *url, const char *sspiArgument,
                                 OrvaneListener *listener) {
    ConnectWith(session, url, listener,
                orvane_session_create_cnxparams(ORVANE_CNX_SSPI, sspiArgument));
}

void orvane_session_hijack(OrvaneSession *session, const char *url, const char *cookie,
                           OrvaneListener *listener) {
    ConnectWith(session, url, listener, orvane_session_create_cnxparams(ORVANE_CNX_HIJACK, cookie));
}

void orvane_session_connect_local(OrvaneSession *session, gboolean useHttps, const char *user,
                                  OrvaneListener *listener) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    const GPtr<char> url(orvane_session_get_local_soap_url(session, useHttps));
    ConnectWith(session, url.get(), listener,
                orvane_session_create_cnxparams(ORVANE_CNX_LOCAL, user));
}

/* -- steps ---------------------------------------------------------------------------------------- */

void OrvaneSessionBind(GObject *object, OrvaneListener *application) {
    orvane_bind_listener(object, application);
    g_object_set_data(object, kOperationKey,
                      GUINT_TO_POINTER(OrvaneListener_GetOperationSerial(application)));
}

OrvaneListener *OrvaneSessionBound(gpointer object) {
    auto *bound = static_cast<OrvaneListener *>(
        g_object_get_qdata(static_cast<GObject *>(object), orvane_quark_listener()));
    if (bound == nullptr)
        return nullptr;
    const guint serial =
        GPOINTER_TO_UINT(g_object_get_data(static_cast<GObject *>(object), kOperationKey));
    return OrvaneListener_ServesAnother(bound, serial) ? nullptr : bound;
}

OrvaneListener *OrvaneSessionNewListener(OrvaneSession *session, OrvaneListenerCallback callback,
                                         OrvaneListener *application) {
    OrvaneListener *internal = OrvaneListener_NewInternal(callback, session);
    g_object_set_data(G_OBJECT(internal), kChainKey, internal);
    if (application != nullptr)
        OrvaneSessionBind(G_OBJECT(internal), application);
    orvane_listener_set_time_limit(internal, OrvaneListener_TimeLimit(application, 0));
    return internal;
}

bool OrvaneSessionIsStep(OrvaneListener *listener) {
    return g_object_get_data(G_OBJECT(listener), kChainKey) != nullptr;
}

void OrvaneSessionCheckSent(OrvaneSession *session, OrvaneListener *internal) {
    if (OrvaneSession_HasCall(session, internal))
        return;
    if (OrvaneListener *application = OrvaneSessionBound(internal))
        OrvaneListener_MarkOperation(application, ORVANE_OUTCOME_NOT_SENT);
    orvane_listener_acknowledge(internal, FALSE, nullptr);
}

void OrvaneSessionDropListener(OrvaneListener *listener) {
    const bool isInChain = OrvaneSessionIsStep(listener);
    ObjectWatch<OrvaneListener> application(isInChain ? OrvaneSessionBound(listener) : nullptr);
    const bool isReleasedHere = isInChain || !OrvaneListener_HasCompleted(listener);
    OrvaneListener_EndOperation(listener, ORVANE_OUTCOME_DISCONNECTED);
    if (isReleasedHere)
        g_object_unref(listener);
    OrvaneSessionAcknowledgeUnexpected(application.Get(), ORVANE_OUTCOME_DISCONNECTED);
}

void OrvaneSessionAcknowledgeSuccess(OrvaneListener *application) {
    if (application != nullptr)
        orvane_listener_acknowledge(application, TRUE, nullptr);
}

void OrvaneSessionAcknowledgeFault(OrvaneListener *application, SkemaQormMethodFault *fault) {
    ScopedValue value(SKEMA_TYPE_QORM_METHOD_FAULT);
    g_value_take_object(&value.value, fault);
    if (application != nullptr)
        orvane_listener_acknowledge(application, FALSE, &value.value);
}

void OrvaneSessionAcknowledgeUnexpected(OrvaneListener *application, OrvaneOutcome outcome) {
    if (application == nullptr)
        return;
    OrvaneListener_MarkOperation(application, outcome);
    OrvaneSessionAcknowledgeFault(application, OrvaneFault_NewUnexpected());
}

void OrvaneSessionSetFailed(OrvaneSession *session) {
    if (!OrvaneSessionReconnect_IsTrying(session))
        orvane_session_set_state(session, ORVANE_SESSION_DISCONNECTED);
}

void OrvaneSessionConnectFailed(OrvaneSession *session, OrvaneListener *application,
                                SkemaQormMethodFault *fault) {
    ObjectWatch<OrvaneListener> watch(application);
    OrvaneSessionSetFailed(session);
    OrvaneSessionAcknowledgeFault(watch.Get(), fault);
}

namespace {

/* Stops a connect. One that has logged in is logged out. Runs the application's code. */
void StopConnect(OrvaneListener *, gpointer data) {
    auto *session = ORVANE_SESSION(data);
    OrvaneSessionPrivate *priv = session->priv;
    if (priv->rolesLoadListener != nullptr)
        orvane_unbind_listener(G_OBJECT(priv->rolesLoadListener));
    if (priv->state == ORVANE_SESSION_CONNECTED || priv->state == ORVANE_SESSION_INTERRUPTED) {
        orvane_session_disconnect(session, nullptr);
        return;
    }
    if (priv->state != ORVANE_SESSION_CONNECTING && priv->state != ORVANE_SESSION_DISCONNECTED)
        return;
    OrvaneSessionVerify_TakeWaiting(session);
    ConnectionWatch watch(session);
    OrvaneSessionFreeCalls(session);
    orvane_session_set_state(session, ORVANE_SESSION_DISCONNECTED);
    if (watch.IsSame())
        orvane_session_cleanup_private_state(session, ORVANE_OUTCOME_DISCONNECTED);
}

/* Stops a connect that has sent nothing. */
void StopBeforeSending(OrvaneListener *, gpointer) {}

/* Opens the operation of a connect, or continues the one of a connect that waited for the decision on a certificate.
 * It joins those of the session after the clean-up, which ends them. Runs the application's code. Returns the serial of
 * the operation; the listener may be gone. */
guint BeginOperation(OrvaneSession *session, OrvaneListener *listener) {
    const OrvaneOperation &operation = listener->priv->operation;
    const bool isPending = orvane_listener_get_state(listener) == ORVANE_LISTENER_PENDING;
    if (isPending && operation.isOpen && operation.stop == StopConnect &&
        operation.stopData == session) {
        OrvaneListener_LeaveOperations(listener);
        return operation.serial;
    }
    OrvaneListener_BeginOperation(listener, nullptr);
    OrvaneListener_SetStop(listener, StopBeforeSending, nullptr);
    const guint serial = operation.serial;
    if (!isPending)
        orvane_listener_initiate(listener);
    return serial;
}

/* Fails a connect that sends nothing. */
void RefuseConnect(OrvaneSession *session, OrvaneListener *listener) {
    if (listener != nullptr)
        OrvaneListener_MarkOperation(listener, ORVANE_OUTCOME_NOT_SENT);
    OrvaneSessionConnectFailed(session, listener, OrvaneFault_NewUnexpected());
}

/* Begins a connection. Each time the application's code has run, this continues only if the session still has
 * the connection that it began. */
void Begin(OrvaneSession *session, const char *url, OrvaneListener *listener, ParamsPtr params) {
    OrvaneSessionPrivate *priv = session->priv;
    ObjectWatch<OrvaneSession> sessionWatch(session);
    ObjectWatch<OrvaneListener> listenerWatch(listener);
    const guint serial = listener != nullptr ? BeginOperation(session, listener) : 0;
    const auto application = [&] {
        const bool isCurrent = listenerWatch && !OrvaneListener_IsGivenUp(listener, serial);
        return isCurrent ? listener : nullptr;
    };
    if (!sessionWatch && application() != nullptr)
        OrvaneListener_EndOperation(listener, ORVANE_OUTCOME_SESSION_RELEASED);
    if (!sessionWatch || (listener != nullptr && application() == nullptr))
        return;
    OrvaneListener_NoteUrl(listener, url);
    if (priv->state != ORVANE_SESSION_DISCONNECTED || url == nullptr) {
        const ListenerPtr load(std::exchange(priv->rolesLoadListener, nullptr));
        OrvaneSessionReconnect_Stop(session);
        RefuseConnect(session, listener);
        if (load) /* the connect that this one ended was loading the roles */
            OrvaneSessionAcknowledgeUnexpected(OrvaneSessionBound(load.get()),
                                               ORVANE_OUTCOME_DISCONNECTED);
        return;
    }
    if (!OrvaneSessionVerify_MayConnect(session, url)) {
        OrvaneSessionConnectFailed(
            session, listener,
            OrvaneFault_NewInvalidResponse(BASICHTTP_ERROR_SSL_SECURITY, 0, nullptr));
        return;
    }

    const GPtr<char> ownUrl(g_strdup(url)); /* the clean-up may release its owner */
    const guint connection = priv->connection + 1;
    orvane_session_cleanup_private_state(session, ORVANE_OUTCOME_DISCONNECTED);
    if (!sessionWatch || priv->connection != connection ||
        priv->state != ORVANE_SESSION_DISCONNECTED) {
        OrvaneSessionAcknowledgeUnexpected(application(), sessionWatch
                                                              ? ORVANE_OUTCOME_DISCONNECTED
                                                              : ORVANE_OUTCOME_SESSION_RELEASED);
        return;
    }
    if (listener != nullptr && application() == nullptr && listenerWatch)
        return; /* a handler gave the connect up */
    if (listenerWatch) {
        OrvaneListener_JoinOperations(listener, &priv->operations);
        OrvaneListener_SetStop(listener, StopConnect, session);
    }

    ConnectionWatch watch(session);
    bool isGood = SetUp(session, ownUrl.get(), params.release());
    if (isGood) {
        orvane_session_set_state(session, ORVANE_SESSION_CONNECTING);
        if (!watch.IsIn(ORVANE_SESSION_CONNECTING)) {
            OrvaneSessionAcknowledgeUnexpected(application(), ORVANE_OUTCOME_DISCONNECTED);
            return;
        }
        const GPtr<char> versionsUrl(
            orvane_server_get_service_versions_url(priv->server, ownUrl.get()));
        isGood = orvane_session_get_version_url(session, versionsUrl.get(),
                                                orvane_session_server_version_cb, application());
    }
    if (!isGood)
        RefuseConnect(session, application());
}

} // namespace

void orvane_session_connect_internal(OrvaneSession *session, const char *url,
                                     OrvaneListener *listener, OrvaneCnxParams *cnxParams) {
    ParamsPtr params(cnxParams);
    g_return_if_fail(session);
    g_return_if_fail(cnxParams);
    g_return_if_fail(ORVANE_IS_SESSION(session));
    g_return_if_fail(listener == nullptr || ORVANE_IS_LISTENER(listener));
    ObjectWatch<OrvaneListener> deferred(OrvaneSessionVerify_TakeWaiting(session));
    Begin(session, url, listener, std::move(params));
    if (deferred && deferred.Get() != listener) /* the connect that this one replaced */
        OrvaneSessionAcknowledgeUnexpected(deferred.Get(), ORVANE_OUTCOME_DISCONNECTED);
}
