#include "ozy/lib/orvane/session/orvaneSessionRelogin.h"

#include <algorithm>
#include <utility>

#include <orvane/schema/qorm.h>

#include "lib/misc/log.h"
#include "lib/misc/secret.h"
#include "ozy/lib/orvane/session/orvaneSessionBackOff.h"
#include "ozy/lib/orvane/session/orvaneSessionCalls.h"
#include "ozy/lib/orvane/session/sessionOwners.h"
#include "ozy/lib/orvane/soap/orvaneFault.h"

namespace {

void FreeSource(const OrvaneCredentialsSource *source) {
    if (source->destroy != nullptr)
        source->destroy(source->data);
    delete source;
}

/* Set on the listener of a call for a ticket. */
constexpr const char *kCallbackKey = "orvane_session_login_callback";

constexpr gint64 kSecond = G_USEC_PER_SEC;
constexpr gint64 kFirstDelay = kSecond;
constexpr gint64 kLongestDelay = 60 * kSecond;
/* A service that does not answer the login by then will not answer it. */
constexpr gint64 kLoginLimit = 60 * kSecond;

/* The text in a property of the object; NULL if it has none. */
GPtr<char> ReadText(GObject *object, const char *property) {
    char *text = nullptr;
    if (object != nullptr && g_object_class_find_property(G_OBJECT_GET_CLASS(object), property))
        g_object_get(object, property, &text, nullptr);
    return GPtr<char>(text);
}

/* Whether both logins are the same session of the service, which then still has its filters. */
bool IsSameSession(GObject *former, GObject *latter) {
    const GPtr<char> before = ReadText(former, "key");
    const GPtr<char> after = ReadText(latter, "key");
    return before && after && strcmp(before.get(), after.get()) == 0;
}

void SetIdle(OrvaneRelogin *relogin) {
    BasicHttpDeadline_Clear(&relogin->deadline);
    relogin->state = OrvaneReloginState::Idle;
    relogin->internal = nullptr;
}

/* Whether another login could do better. A service that cannot be reached interrupts the session, and one that connects
 * again has a way of its own for any failure of the transport. */
bool IsWorthTrying(OrvaneSession *session, SkemaQormMethodFault *fault) {
    if (fault != nullptr && G_OBJECT_TYPE(fault) != ORVANE_TYPE_FAULT_INVALID_RESPONSE)
        return false;
    guint errorCode = BASICHTTP_ERROR_NONE;
    if (fault != nullptr)
        g_object_get(fault, "errorCode", &errorCode, nullptr);
    return errorCode != BASICHTTP_ERROR_COULDNT_CONNECT && !OrvaneSession_Reconnects(session);
}

/* The calls that wait fail with what they were refused with. The update stream waits for another login, or interrupts the
 * session. */
void Fail(OrvaneSession *session, bool isTriedAgain) {
    OrvaneSessionPrivate *priv = session->priv;
    const ObjectPtr<OrvaneSession> hold(ORVANE_SESSION(g_object_ref(session)));
    const ConnectionWatch watch(session);
    SetIdle(&priv->relogin);
    Log("Orvane: Logging in again to %s failed%s.\n", priv->url,
        isTriedAgain ? ", it will be tried again" : "");
    OrvaneSessionFailRefusedCalls(session);
    if (!watch.IsSame() || !OrvaneMOMgr_IsWaitingForLogin(priv->moMgr))
        return;
    if (!isTriedAgain || !OrvaneSession_RenewLogin(session))
        OrvaneMOMgr_EndLogin(priv->moMgr, ORVANE_MOMGR_LOGIN_FAILED);
}

void Succeed(OrvaneSession *session, ObjectPtr<GObject> userSession) {
    OrvaneSessionPrivate *priv = session->priv;
    const ObjectPtr<OrvaneSession> hold(ORVANE_SESSION(g_object_ref(session)));
    const ConnectionWatch watch(session);
    SetIdle(&priv->relogin);
    priv->relogin.number++;
    const bool isSame = IsSameSession(priv->userSession, userSession.get());
    const ObjectPtr<GObject> former(std::exchange(priv->userSession, userSession.release()));
    OrvaneMOMgr_EndLogin(priv->moMgr,
                         isSame ? ORVANE_MOMGR_LOGIN_KEPT : ORVANE_MOMGR_LOGIN_RENEWED);
    if (watch.IsSame())
        OrvaneSessionRepeatCalls(session);
}

/* The reply to the login. */
void OnLogin(OrvaneListener *internal, gpointer data) {
    const ListenerPtr owner(internal);
    OrvaneSession *session = ORVANE_SESSION(data);
    if (session->priv->relogin.internal != internal)
        return;
    OrvaneSessionReconnect_NoteLogin(session, internal);
    ObjectPtr<GObject> userSession = OrvaneSessionRelogin_TakeUserSession(internal);
    if (userSession) {
        Succeed(session, std::move(userSession));
        return;
    }
    const ObjectPtr<SkemaQormMethodFault> fault(orvane_listener_get_fault(internal));
    Fail(session, IsWorthTrying(session, fault.get()));
}

void OnLoginLimit(gpointer data) {
    OrvaneSession *session = ORVANE_SESSION(data);
    if (OrvaneListener *internal = std::exchange(session->priv->relogin.internal, nullptr))
        OrvaneSession_StopCalls(session, internal);
    Fail(session, IsWorthTrying(session, nullptr));
}

/* The login is due. */
void OnDue(gpointer data) {
    OrvaneSession *session = ORVANE_SESSION(data);
    OrvaneRelogin *relogin = &session->priv->relogin;
    const ObjectPtr<OrvaneSession> hold(ORVANE_SESSION(g_object_ref(session)));
    relogin->state = OrvaneReloginState::Running;
    relogin->tries++;
    BasicHttpDeadline_Set(&relogin->deadline, BasicHttpDeadline_Now() + kLoginLimit, OnLoginLimit,
                          session);
    if (!OrvaneSessionRelogin_Send(session, OnLogin))
        Fail(session, false);
}

/* Makes the internal listener of the next call, and notes it. */
OrvaneListener *NewPart(OrvaneSession *session, OrvaneListenerCallback callback) {
    OrvaneListener *internal = OrvaneSessionNewListener(session, callback, nullptr);
    session->priv->relogin.internal = internal;
    return internal;
}

void SendPassword(OrvaneSession *session, const char *user, const char *password,
                  OrvaneListenerCallback callback) {
    OrvaneSessionPrivate *priv = session->priv;
    OrvaneListener *internal = NewPart(session, callback);
    orvane_server_session_manager_login(priv->server, priv->sessionManager, user, password, nullptr,
                                        internal);
    OrvaneSessionCheckSent(session, internal);
}

/* Tells the logins apart for which credentials are asked. Each has a limit of its own. */
struct Attempt {
    explicit Attempt(const OrvaneSessionPrivate *priv)
        : relogin(priv->relogin.state), loginDue(priv->relogin.deadline.due),
          reconnect(priv->reconnector.state), connectDue(priv->reconnector.deadline.due) {}
    bool operator==(const Attempt &) const = default;

    OrvaneReloginState relogin;
    gint64 loginDue;
    OrvaneReconnectState reconnect;
    gint64 connectDue;
};

/* The reply with a local ticket. Without one, the end of the login is that of this call. */
void OnTicket(OrvaneListener *internal, gpointer data) {
    OrvaneSession *session = ORVANE_SESSION(data);
    const auto callback = reinterpret_cast<OrvaneListenerCallback>(
        g_object_get_data(G_OBJECT(internal), kCallbackKey));
    if (session->priv->relogin.internal != internal) {
        g_object_unref(internal);
        return;
    }
    const ParamsPtr params(OrvaneSessionReadTicketReply(session, internal));
    if (!params) {
        callback(internal, data);
        return;
    }
    g_object_unref(internal);
    SendPassword(session, params->first, params->second, callback);
}

} // namespace

void OrvaneSessionRelogin_Begin(OrvaneSession *session) {
    const OrvaneCnxParams *params = session->priv->cnxParams;
    OrvaneRelogin *relogin = &session->priv->relogin;
    relogin->isPassword = params->kind == ORVANE_CNX_PASSWORD;
    if (params->kind == ORVANE_CNX_LOCAL)
        relogin->localUser = g_strdup(params->first);
}

void OrvaneSessionRelogin_Stop(OrvaneSession *session) {
    OrvaneRelogin *relogin = &session->priv->relogin;
    OrvaneListener *internal = relogin->internal;
    SetIdle(relogin);
    if (internal != nullptr)
        OrvaneSession_StopCalls(session, internal);
}

void OrvaneSessionRelogin_End(OrvaneSession *session) {
    OrvaneRelogin *relogin = &session->priv->relogin;
    OrvaneSessionRelogin_Stop(session);
    g_clear_pointer(&relogin->localUser, g_free);
    relogin->isPassword = false;
    relogin->number = relogin->tries = 0;
}

void OrvaneSessionRelogin_Free(OrvaneSession *session) {
    delete std::exchange(session->priv->relogin.credentials, nullptr);
}

bool OrvaneSessionRelogin_IsPossible(const OrvaneSession *session) {
    return session->priv->relogin.credentials != nullptr &&
           OrvaneSessionRelogin_HasCredentials(session) &&
           session->priv->state == ORVANE_SESSION_CONNECTED;
}

bool OrvaneSessionRelogin_HasCredentials(const OrvaneSession *session) {
    const OrvaneRelogin &relogin = session->priv->relogin;
    return relogin.localUser != nullptr || (relogin.isPassword && relogin.credentials != nullptr);
}

bool OrvaneSessionRelogin_IsPart(const OrvaneSession *session, const OrvaneListener *listener) {
    return session->priv->relogin.internal == listener;
}

bool OrvaneSession_RenewLogin(OrvaneSession *session) {
    OrvaneRelogin *relogin = &session->priv->relogin;
    if (!OrvaneSessionRelogin_IsPossible(session))
        return false;
    if (relogin->state != OrvaneReloginState::Idle)
        return true;
    const gint64 delay = relogin->tries == 0
                             ? 0
                             : OrvaneBackOff_Delay(kFirstDelay, kLongestDelay, relogin->tries - 1);
    relogin->state = OrvaneReloginState::Scheduled;
    BasicHttpDeadline_Set(&relogin->deadline, BasicHttpDeadline_Now() + delay, OnDue, session);
    return true;
}

void OrvaneSession_NoteUpdates(OrvaneSession *session, bool isComplete) {
    if (isComplete)
        session->priv->relogin.tries = 0;
    session->priv->reconnector.attempts = 0;
}

ObjectPtr<GObject> OrvaneSessionRelogin_TakeUserSession(OrvaneListener *internal) {
    ScopedValue result;
    const bool isTicket = g_object_get_data(G_OBJECT(internal), kCallbackKey) != nullptr;
    if (isTicket || !orvane_listener_get_result(internal, &result.value) ||
        !G_IS_VALUE(&result.value) || !G_VALUE_HOLDS_OBJECT(&result.value))
        return nullptr;
    return ObjectPtr<GObject>(static_cast<GObject *>(g_value_dup_object(&result.value)));
}

bool OrvaneSessionRelogin_Send(OrvaneSession *session, OrvaneListenerCallback callback) {
    OrvaneSessionPrivate *priv = session->priv;
    if (priv->relogin.localUser != nullptr) {
        OrvaneListener *internal = NewPart(session, OnTicket);
        g_object_set_data(G_OBJECT(internal), kCallbackKey, reinterpret_cast<gpointer>(callback));
        orvane_server_session_manager_acquire_local_ticket(priv->server, priv->sessionManager,
                                                           priv->relogin.localUser, internal);
        OrvaneSessionCheckSent(session, internal);
        return true;
    }
    if (priv->relogin.credentials == nullptr)
        return false;
    const ConnectionWatch watch(session);
    const OrvaneSessionState state = priv->state;
    const Attempt attempt(priv);
    const OrvaneCredentials credentials = *priv->relogin.credentials;
    char *user = nullptr;
    char *password = nullptr;
    const bool isGiven =
        credentials->function(session, &user, &password, credentials->data) != FALSE;
    const SecretText ownUser(user);
    const SecretText ownPassword(password);
    if (!watch.IsIn(state) || attempt != Attempt(priv))
        return true; /* the connection or the login was ended, by the application or by a limit */
    if (!isGiven || user == nullptr || password == nullptr)
        return false;
    SendPassword(session, user, password, callback);
    return true;
}

void orvane_session_set_credentials_func(OrvaneSession *session, OrvaneCredentialsFunc function,
                                         gpointer data, GDestroyNotify destroy) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    OrvaneCredentials *credentials =
        function != nullptr ? new OrvaneCredentials(
                                  new OrvaneCredentialsSource{function, data, destroy}, FreeSource)
                            : nullptr;
    delete std::exchange(session->priv->relogin.credentials, credentials);
}
