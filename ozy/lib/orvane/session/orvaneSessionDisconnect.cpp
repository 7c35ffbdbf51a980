/*
 * A disconnect stops updates and keep-alive and logs out. After any answer it unlinks the listeners of open
 * calls and cleans up; the application's listener is acknowledged last.
 *
 * A hijacked session belongs to somebody else and is not logged out: the application's listener succeeds in the
 * next turn of the loop, and the session stays in DISCONNECTING until it is released.
 */
#include <orvane/schema/qorm.h>

#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/session/orvaneSessionCalls.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"

namespace {

constexpr PollClassSet kPollClassMain = {{1}};
/* The serial of the operation that is to succeed. */
constexpr const char *kDelayedOperation = "orvane_session_delayed_operation";

void OnDelayedListenerGone(gpointer, GObject *listener);

void orvane_session_delayed_acknowledge_success(gpointer data) {
    OrvaneListener *listener = ORVANE_LISTENER(data);
    const guint serial =
        GPOINTER_TO_UINT(g_object_steal_data(G_OBJECT(listener), kDelayedOperation));
    g_object_weak_unref(G_OBJECT(listener), OnDelayedListenerGone, nullptr);
    if (!OrvaneListener_ServesAnother(listener, serial))
        orvane_listener_acknowledge(listener, TRUE, nullptr);
}

void OnDelayedListenerGone(gpointer, GObject *listener) {
    orvane_poll_callback_remove(0, orvane_session_delayed_acknowledge_success, listener,
                                POLL_REALTIME, kPollClassMain);
}

/* Acknowledges success from the loop, if the listener exists then. */
void AcknowledgeSoon(OrvaneListener *listener) {
    g_object_weak_ref(G_OBJECT(listener), OnDelayedListenerGone, nullptr);
    g_object_set_data(G_OBJECT(listener), kDelayedOperation,
                      GUINT_TO_POINTER(OrvaneListener_GetOperationSerial(listener)));
    const gint refused = orvane_poll_callback(0, orvane_session_delayed_acknowledge_success,
                                              listener, POLL_REALTIME, 0, nullptr, kPollClassMain);
    if (refused != 0)
        orvane_session_delayed_acknowledge_success(listener);
}

/* Stores the result or the fault of the logout. Returns whether it succeeded. */
bool NoteOutcome(OrvaneListener *internal, GValue *outcome) {
    if (orvane_listener_get_result(internal, outcome))
        return true;
    g_value_init(outcome, SKEMA_TYPE_QORM_METHOD_FAULT);
    g_value_take_object(outcome, orvane_listener_get_fault(internal));
    return false;
}

void orvane_session_logout_cb(OrvaneListener *internal, gpointer data) {
    OrvaneSession *session = ORVANE_SESSION(data);
    ObjectWatch<OrvaneListener> application(OrvaneSessionBound(internal));
    ScopedValue outcome;
    const bool succeeded = NoteOutcome(internal, &outcome.value);
    if (application) { /* it ends below, not with the connection */
        OrvaneListener_LeaveOperations(application.Get());
        OrvaneListener_CopyReply(application.Get(), internal);
    }
    g_object_unref(internal);

    OrvaneSessionUnlinkAllListeners(session);
    ConnectionWatch watch(session);
    orvane_session_set_state(session, ORVANE_SESSION_DISCONNECTED);
    if (watch.IsSame())
        orvane_session_cleanup_private_state(session, ORVANE_OUTCOME_DISCONNECTED);
    if (application)
        orvane_listener_acknowledge(application.Get(), succeeded, &outcome.value);
}

} // namespace

void orvane_session_disconnect(OrvaneSession *session, OrvaneListener *listener) {
    g_return_if_fail(session);
    g_return_if_fail(ORVANE_IS_SESSION(session));
    g_return_if_fail(listener == nullptr || ORVANE_IS_LISTENER(listener));

    OrvaneSessionPrivate *priv = session->priv;
    ObjectWatch<OrvaneSession> sessionWatch(session);
    ObjectWatch<OrvaneListener> application(listener);
    guint serial = 0;
    if (listener != nullptr) {
        OrvaneListener_BeginOperation(listener, &priv->operations);
        serial = OrvaneListener_GetOperationSerial(listener);
        orvane_listener_initiate(listener);
    }
    if (!sessionWatch)
        return;
    if (priv->state != ORVANE_SESSION_CONNECTED && priv->state != ORVANE_SESSION_INTERRUPTED) {
        if (!application)
            return;
        OrvaneListener_MarkOperation(application.Get(), ORVANE_OUTCOME_NOT_SENT);
        orvane_listener_acknowledge(application.Get(), FALSE, nullptr);
        return;
    }

    OrvaneSessionReconnect_Stop(session);
    ConnectionWatch watch(session);
    orvane_session_set_state(session, ORVANE_SESSION_DISCONNECTING);
    if (!watch.IsIn(ORVANE_SESSION_DISCONNECTING)) {
        if (application)
            OrvaneListener_EndOperationOf(listener, serial, ORVANE_OUTCOME_DISCONNECTED);
        return;
    }
    orvane_momgr_cancel_updates(priv->moMgr, nullptr);
    OrvaneSessionStopKeepAlive(session);
    OrvaneSessionRelogin_Stop(session);
    if (priv->cnxParams->kind == ORVANE_CNX_HIJACK) {
        if (application)
            AcknowledgeSoon(application.Get());
        return;
    }
    OrvaneListener *internal =
        OrvaneSessionNewListener(session, orvane_session_logout_cb, application.Get());
    /* a disconnect is not stopped: its limit is that of the request */
    const OrvaneTimeLimits limits = priv->timeLimits;
    priv->timeLimits.total = OrvaneListener_TimeLimit(application.Get(), limits.total);
    orvane_server_session_manager_logout(priv->server, priv->sessionManager, internal);
    priv->timeLimits = limits;
    OrvaneSessionCheckSent(session, internal);
}
