#include "ozy/lib/orvane/session/orvaneSessionReconnect.h"

#include <algorithm>
#include <utility>

#include <orvane/operation.h>
#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>

#include "lib/misc/log.h"
#include "ozy/lib/orvane/session/orvaneSessionBackOff.h"
#include "ozy/lib/orvane/session/orvaneSessionCalls.h"
#include "ozy/lib/orvane/session/orvaneSessionVerify.h"
#include "ozy/lib/orvane/session/sessionOwners.h"
#include "ozy/lib/orvane/soap/orvaneFault.h"

namespace {

constexpr guint kFirstDelay = 1000; /* milliseconds */
constexpr guint kLongestDelay = 60000;
/* A service that has not answered all steps by then will not answer them. */
constexpr gint64 kTryLimit = 60 * G_USEC_PER_SEC;
constexpr gint64 kMicrosecondsPerMillisecond = 1000;

void FreePolicy(const OrvaneReconnect *policy) {
    if (policy->destroy != nullptr)
        policy->destroy(policy->data);
    delete policy;
}

/* The policy, which exists as long as the result; NULL without one. */
OrvaneReconnectPolicy HoldPolicy(const OrvaneSession *session) {
    const OrvaneReconnectPolicy *policy = session->priv->reconnector.policy;
    return policy != nullptr ? *policy : nullptr;
}

void SetUrl(OrvaneSessionPrivate *priv, const char *url) {
    g_free(std::exchange(priv->url, g_strdup(url)));
}

/* Ends what is open. Completion functions and handlers are invoked by the loop. */
void EndOpen(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    OrvaneOperations_StopAll(&priv->operations);
    OrvaneSessionRelogin_Stop(session);
    OrvaneSessionFreeCalls(session);
    OrvaneSessionStopKeepAlive(session);
    OrvaneMOMgr_Park(priv->moMgr);
}

/* Ends the try: its requests are closed, and the session has the URL of its connection again. */
void EndTry(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    OrvaneReconnector *reconnector = &priv->reconnector;
    const ListenerPtr listener(std::exchange(reconnector->listener, nullptr));
    if (listener)
        g_signal_handlers_disconnect_by_data(listener.get(), session);
    OrvaneSessionVerify_Forget(session);
    OrvaneSessionVerify_ForgetUsed(session);
    OrvaneSessionRelogin_Stop(session);
    OrvaneSessionFreeCalls(session);
    if (reconnector->soapUrl == nullptr)
        return;
    g_free(std::exchange(priv->url, std::exchange(reconnector->soapUrl, nullptr)));
    priv->useLegacy = reconnector->useLegacy;
}

/* There are no more tries. */
void GiveUp(OrvaneSession *session) {
    const ConnectionWatch watch(session);
    session->priv->reconnector.state = OrvaneReconnectState::Idle;
    Log("Orvane: The session at %s does not connect again.\n", session->priv->url);
    orvane_session_set_state(session, ORVANE_SESSION_DISCONNECTED);
    if (watch.IsSame())
        orvane_session_cleanup_private_state(session, ORVANE_OUTCOME_DISCONNECTED);
}

/* The service has refused the login. The session stays INTERRUPTED. */
void StayInterrupted(OrvaneSession *session) {
    const OrvaneReconnectPolicy policy = HoldPolicy(session);
    session->priv->reconnector.state = OrvaneReconnectState::Idle;
    Log("Orvane: The session at %s does not connect again: its login was refused.\n",
        session->priv->url);
    if (policy && policy->reconnecting != nullptr)
        policy->reconnecting(session, 0, 0, policy->data);
}

void OnTry(gpointer session);

void Schedule(OrvaneSession *session) {
    OrvaneReconnector *reconnector = &session->priv->reconnector;
    const OrvaneReconnectPolicy policy = HoldPolicy(session);
    if (reconnector->isLoginRefused) {
        StayInterrupted(session);
        return;
    }
    if (!policy || reconnector->isRefused ||
        (policy->attempts > 0 && reconnector->attempts >= policy->attempts)) {
        GiveUp(session);
        return;
    }
    const gint64 first = policy->firstDelay > 0 ? policy->firstDelay : kFirstDelay;
    const gint64 longest = policy->longestDelay > 0 ? policy->longestDelay : kLongestDelay;
    const gint64 delay =
        OrvaneBackOff_Delay(first, std::max(first, longest), reconnector->attempts);
    reconnector->attempts++;
    reconnector->state = OrvaneReconnectState::Scheduled;
    BasicHttpDeadline_Set(&reconnector->deadline,
                          BasicHttpDeadline_Now() + delay * kMicrosecondsPerMillisecond, OnTry,
                          session);
    if (policy->reconnecting != nullptr)
        policy->reconnecting(session, reconnector->attempts, guint(delay), policy->data);
}

/* What was open at the interruption ends, before the first try. */
void OnEnding(gpointer data) {
    const ObjectPtr<OrvaneSession> hold(ORVANE_SESSION(g_object_ref(data)));
    const ConnectionWatch watch(hold.get());
    EndOpen(hold.get());
    if (watch.IsIn(ORVANE_SESSION_INTERRUPTED))
        Schedule(hold.get());
}

void OnFailed(gpointer data) {
    const ObjectPtr<OrvaneSession> hold(ORVANE_SESSION(g_object_ref(data)));
    EndTry(hold.get());
    Schedule(hold.get());
}

/* The try has failed, for the reason that its listener has. The rest follows in the next turn of the loop. */
void Fail(OrvaneSession *session) {
    OrvaneReconnector *reconnector = &session->priv->reconnector;
    g_clear_error(&reconnector->error);
    orvane_listener_get_error(reconnector->listener, &reconnector->error);
    Log("Orvane: Connecting again to %s failed: %s\n", reconnector->url,
        reconnector->error != nullptr ? reconnector->error->message : "");
    reconnector->state = OrvaneReconnectState::Failed;
    OrvaneSessionVerify_Forget(session); /* an answer comes too late for this try */
    BasicHttpDeadline_Set(&reconnector->deadline, BasicHttpDeadline_Now(), OnFailed, session);
}

/* "failure" of the listener of a try. */
void OnTryFailed(OrvaneListener *listener, OrvaneSession *session) {
    if (session->priv->reconnector.listener == listener)
        Fail(session);
}

void FailWith(OrvaneSession *session, SkemaQormMethodFault *fault) {
    OrvaneSessionAcknowledgeFault(session->priv->reconnector.listener, fault);
}

void OnTryLimit(gpointer data) {
    FailWith(ORVANE_SESSION(data),
             OrvaneFault_NewInvalidResponse(BASICHTTP_ERROR_OPERATION_TIMEDOUT, 0, nullptr));
}

/* A try is due. */
void OnTry(gpointer data) {
    OrvaneSession *session = ORVANE_SESSION(data);
    OrvaneSessionPrivate *priv = session->priv;
    OrvaneReconnector *reconnector = &priv->reconnector;
    const ObjectPtr<OrvaneSession> hold(ORVANE_SESSION(g_object_ref(session)));
    const ConnectionWatch watch(session);
    EndOpen(session); /* the application may have made calls meanwhile */
    if (!watch.IsIn(ORVANE_SESSION_INTERRUPTED))
        return;
    reconnector->state = OrvaneReconnectState::Trying;
    reconnector->listener = orvane_listener_new();
    g_signal_connect(reconnector->listener, "failure", G_CALLBACK(OnTryFailed), session);
    orvane_listener_initiate(reconnector->listener);
    BasicHttpDeadline_Set(&reconnector->deadline, BasicHttpDeadline_Now() + kTryLimit, OnTryLimit,
                          session);
    reconnector->soapUrl = g_strdup(priv->url);
    OrvaneSessionVerify_DecideAnew(session);
    reconnector->useLegacy = priv->useLegacy;
    if (OrvaneSessionVerify_MayConnect(session, reconnector->url))
        OrvaneSessionReconnect_Discover(session);
    else
        FailWith(session, OrvaneFault_NewInvalidResponse(BASICHTTP_ERROR_SSL_SECURITY, 0, nullptr));
}

/* The login of a try went well. */
void Succeed(OrvaneSession *session, ObjectPtr<GObject> userSession) {
    OrvaneSessionPrivate *priv = session->priv;
    OrvaneReconnector *reconnector = &priv->reconnector;
    const ObjectPtr<OrvaneSession> hold(ORVANE_SESSION(g_object_ref(session)));
    const ConnectionWatch watch(session);
    const ListenerPtr listener(std::exchange(reconnector->listener, nullptr));
    g_signal_handlers_disconnect_by_data(listener.get(), session);
    BasicHttpDeadline_Clear(&reconnector->deadline);
    g_clear_pointer(&reconnector->soapUrl, g_free);
    g_clear_error(&reconnector->error);
    reconnector->state = OrvaneReconnectState::Idle;
    OrvaneSessionVerify_ForgetLate(session);
    const ObjectPtr<GObject> former(std::exchange(priv->userSession, userSession.release()));
    OrvaneSessionResume(session);
    const OrvaneReconnectPolicy policy = HoldPolicy(session);
    if (watch.IsIn(ORVANE_SESSION_CONNECTED) && policy && policy->reconnected != nullptr)
        policy->reconnected(session, policy->data);
}

void OnLogin(OrvaneListener *internal, gpointer data) {
    const ListenerPtr owner(internal);
    OrvaneSession *session = ORVANE_SESSION(data);
    OrvaneSessionPrivate *priv = session->priv;
    if (priv->relogin.internal != internal)
        return;
    priv->relogin.internal = nullptr;
    if (!OrvaneSessionReconnect_IsTrying(session))
        return;
    OrvaneSessionReconnect_NoteLogin(session, internal);
    ObjectPtr<GObject> userSession = OrvaneSessionRelogin_TakeUserSession(internal);
    if (userSession && OrvaneSessionHasCollector(session)) {
        Succeed(session, std::move(userSession));
        return;
    }
    OrvaneListener_CopyReply(priv->reconnector.listener, internal);
    FailWith(session, orvane_listener_get_fault(internal));
}

} // namespace

void OrvaneSessionReconnect_Begin(OrvaneSession *session, const char *url) {
    session->priv->reconnector.url = g_strdup(url);
}

void OrvaneSessionReconnect_Interrupted(OrvaneSession *session) {
    OrvaneReconnector *reconnector = &session->priv->reconnector;
    if (reconnector->policy == nullptr || reconnector->state != OrvaneReconnectState::Idle)
        return;
    if (!OrvaneSessionRelogin_HasCredentials(session)) {
        Log("Orvane: The session at %s cannot log in again: it stays interrupted.\n",
            session->priv->url);
        return;
    }
    reconnector->isRefused = false;
    reconnector->state = OrvaneReconnectState::Ending;
    BasicHttpDeadline_Set(&reconnector->deadline, BasicHttpDeadline_Now(), OnEnding, session);
}

void OrvaneSessionReconnect_Stop(OrvaneSession *session) {
    OrvaneReconnector *reconnector = &session->priv->reconnector;
    BasicHttpDeadline_Clear(&reconnector->deadline);
    OrvaneSessionVerify_ForgetLate(session);
    const OrvaneReconnectState state =
        std::exchange(reconnector->state, OrvaneReconnectState::Idle);
    if (state == OrvaneReconnectState::Trying || state == OrvaneReconnectState::Failed)
        EndTry(session);
}

void OrvaneSessionReconnect_End(OrvaneSession *session) {
    OrvaneReconnector *reconnector = &session->priv->reconnector;
    OrvaneSessionReconnect_Stop(session);
    g_clear_pointer(&reconnector->url, g_free);
    reconnector->attempts = 0;
    reconnector->isRefused = reconnector->isLoginRefused = false;
}

void OrvaneSessionReconnect_Free(OrvaneSession *session) {
    OrvaneReconnector *reconnector = &session->priv->reconnector;
    g_clear_error(&reconnector->error);
    delete std::exchange(reconnector->policy, nullptr);
}

bool OrvaneSessionReconnect_IsActive(const OrvaneSession *session) {
    return session->priv->reconnector.state != OrvaneReconnectState::Idle;
}

bool OrvaneSessionReconnect_IsTrying(const OrvaneSession *session) {
    return session->priv->reconnector.state == OrvaneReconnectState::Trying;
}

/* The cookies of the former login are of no use any more. No request of the session is in flight. */
void OrvaneSessionReconnect_Discover(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    const char *url = priv->reconnector.url;
    OrvaneSessionFreeCalls(session);
    SetUrl(priv, url);
    BasicHttp_FreeCookieJar(std::exchange(priv->cookieJar, BasicHttp_CreateCookieJar()));
    const GPtr<char> versionsUrl(orvane_server_get_service_versions_url(priv->server, url));
    if (!OrvaneSessionVerify_Begin(session) ||
        !orvane_session_get_version_url(session, versionsUrl.get(),
                                        orvane_session_server_version_cb,
                                        priv->reconnector.listener))
        FailWith(session, OrvaneFault_NewUnexpected());
}

SkemaQormMethodFault *OrvaneSessionReconnect_NewRefusal(const char *text) {
    SkemaQormMethodFault *fault = OrvaneFault_NewUnexpected();
    g_free(std::exchange(fault->fault_string, g_strdup(text)));
    return fault;
}

void OrvaneSessionReconnect_NoteLogin(OrvaneSession *session, OrvaneListener *internal) {
    OrvaneReconnector *reconnector = &session->priv->reconnector;
    ObjectPtr<SkemaQormMethodFault> fault(orvane_listener_get_fault(internal));
    reconnector->isLoginRefused = fault && SKEMA_IS_OZY_FAULT_INVALID_LOGIN(fault.get());
    g_clear_error(&reconnector->error);
    if (!reconnector->isLoginRefused)
        return;
    const ListenerPtr failed(orvane_listener_new()); /* has the text */
    orvane_listener_initiate(failed.get());
    OrvaneSessionAcknowledgeFault(failed.get(), fault.release());
    orvane_listener_get_error(failed.get(), &reconnector->error);
}

bool OrvaneSessionReconnect_LogIn(OrvaneSession *session) {
    const ConnectionWatch watch(session);
    const bool isSent = OrvaneSessionRelogin_Send(session, OnLogin);
    if (!isSent && watch.IsSame())
        session->priv->reconnector.isRefused = true;
    return isSent;
}

bool OrvaneSession_Reconnects(OrvaneSession *session) {
    return session->priv->reconnector.policy != nullptr;
}

void OrvaneSession_NoteGone(OrvaneSession *session, SkemaQormManagedObject *object) {
    const OrvaneReconnectPolicy policy = HoldPolicy(session);
    if (policy && policy->objectGone != nullptr)
        policy->objectGone(session, object, policy->data);
}

void orvane_session_set_reconnect(OrvaneSession *session, const OrvaneReconnect *reconnect) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    OrvaneReconnector *reconnector = &session->priv->reconnector;
    OrvaneReconnectPolicy *policy =
        reconnect != nullptr
            ? new OrvaneReconnectPolicy(new OrvaneReconnect(*reconnect), FreePolicy)
            : nullptr;
    delete std::exchange(reconnector->policy, policy);
}

gboolean orvane_session_get_reconnect_error(OrvaneSession *session, GError **error) {
    g_return_val_if_fail(ORVANE_IS_SESSION(session), FALSE);
    const GError *last = session->priv->reconnector.error;
    if (last == nullptr)
        return FALSE;
    if (error != nullptr)
        *error = g_error_copy(last);
    return TRUE;
}
