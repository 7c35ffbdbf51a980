/*
 * The second half of a connect:
 *
 *   RetrieveContent -> login -> CONNECTED, updates, keep-alive -> roles of the main service -> success
 *                   -> AcquireLocalTicket -> login with the ticket -> ...
 *
 * The callback of each call owns the internal listener. It reads the application's listener through it again
 * each time the application's code has run.
 */
#include <cstring>
#include <span>
#include <utility>

#include <orvane/privilege.h>
#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>

#include "lib/misc/keyedHash.h"
#include "lib/misc/log.h"
#include "lib/misc/secret.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/schema/schemaSession.h"
#include "ozy/lib/orvane/session/sessionOwners.h"

namespace {

constexpr gint64 kKeepAliveUs = G_GINT64_CONSTANT(1500000000); /* 25 minutes */
constexpr PollClassSet kPollClassMain = {{1}};

/* A new reference to the object that is the result; NULL if the call failed or has none. */
ObjectPtr<GObject> ResultObject(OrvaneListener *internal) {
    ScopedValue result;
    if (!orvane_listener_get_result(internal, &result.value) || !G_IS_VALUE(&result.value) ||
        !G_VALUE_HOLDS_OBJECT(&result.value))
        return nullptr;
    return ObjectPtr<GObject>(static_cast<GObject *>(g_value_dup_object(&result.value)));
}

/* Reads a text or a proxy from a data object. NULL if the object has no such property. */
template <class T> T *ReadProperty(GObject *object, const char *name) {
    T *read = nullptr;
    if (g_object_class_find_property(G_OBJECT_GET_CLASS(object), name) != nullptr)
        g_object_get(object, name, &read, nullptr);
    return read;
}

/* Ends the chain with the fault of a call. A call that succeeded has none; then the fault is an
 * OrvaneFaultUnexpected. */
void FailConnect(OrvaneSession *session, OrvaneListener *internal) {
    OrvaneListener_CopyReply(OrvaneSessionBound(internal), internal);
    OrvaneSessionConnectFailed(session, OrvaneSessionBound(internal),
                               orvane_listener_get_fault(internal));
}

/* The text that identifies a service; NULL if it has none. */
GPtr<char> InstanceOf(GObject *content) {
    const ObjectPtr<GObject> about(content != nullptr ? ReadProperty<GObject>(content, "about")
                                                      : nullptr);
    return GPtr<char>(about ? ReadProperty<char>(about.get(), "instanceUuid") : nullptr);
}

/* Ids of objects would mean others in another service. One that had no identity may have one now. */
bool IsSameService(GObject *former, GObject *latter) {
    const GPtr<char> before = InstanceOf(former);
    return !before || g_strcmp0(before.get(), InstanceOf(latter).get()) == 0;
}

/* -- service content ------------------------------------------------------------------------------ */

void orvane_session_retrieveServiceInstanceContent_cb(OrvaneListener *internal, gpointer data) {
    const ListenerPtr owner(internal);
    OrvaneSession *session = ORVANE_SESSION(data);
    OrvaneSessionPrivate *priv = session->priv;
    ObjectPtr<GObject> content = ResultObject(internal);
    if (OrvaneSessionReconnect_IsTrying(session) && !content) {
        FailConnect(session, internal); /* the session manager is that of the former connection */
        return;
    }
    if (OrvaneSessionReconnect_IsTrying(session) &&
        !IsSameService(priv->serviceContent, content.get())) {
        OrvaneSessionConnectFailed(
            session, OrvaneSessionBound(internal),
            OrvaneSessionReconnect_NewRefusal("the service is another one now"));
        return;
    }
    if (content) {
        const ObjectPtr<GObject> formerContent(
            std::exchange(priv->serviceContent, content.release()));
        const ObjectPtr<SkemaQormManagedObject> formerManager(std::exchange(
            priv->sessionManager,
            ReadProperty<SkemaQormManagedObject>(priv->serviceContent, "sessionManager")));
    }
    if (priv->sessionManager == nullptr ||
        !orvane_session_invoke_login(session, OrvaneSessionBound(internal)))
        FailConnect(session, internal);
}

/* -- after the login ------------------------------------------------------------------------------ */

void orvane_session_keep_alive_cb(gpointer data) {
    const OrvaneSessionPrivate *priv = ORVANE_SESSION(data)->priv;
    if (priv->serviceInstance != nullptr)
        orvane_server_keep_alive(priv->server, priv->serviceInstance, nullptr);
}

void StartKeepAlive(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    if (priv->keepAliveActive)
        return; /* armed by an earlier connection, whose roles could not be loaded */
    const gint refused =
        orvane_poll_callback(POLL_FLAG_PERIODIC, orvane_session_keep_alive_cb, session,
                             POLL_REALTIME, kKeepAliveUs, nullptr, kPollClassMain);
    if (refused != 0)
        Warning("Orvane: The loop took no timer: the session will not be kept alive.\n");
    priv->keepAliveActive = refused == 0;
}

GHashTable *RoleSet(GHashTable *roles, gint roleId) {
    auto *set = static_cast<GHashTable *>(g_hash_table_lookup(roles, GINT_TO_POINTER(roleId)));
    if (set == nullptr) {
        set = g_hash_table_new_full(KeyedHash_Text, g_str_equal, g_free, nullptr);
        g_hash_table_insert(roles, GINT_TO_POINTER(roleId), set);
    }
    return set;
}

void AddRole(GHashTable *roles, GObject *role) {
    gint roleId = 0;
    GValueArray *privilege = nullptr;
    g_object_get(role, "roleId", &roleId, "privilege", &privilege, nullptr);
    const ValueArrayPtr names(privilege);
    if (!names)
        return;
    GHashTable *set = RoleSet(roles, roleId);
    for (const GValue &name : std::span(names->values, names->n_values)) {
        if (G_VALUE_HOLDS_STRING(&name) && g_value_get_string(&name) != nullptr)
            skema_privilege_update(set, g_value_get_string(&name), TRUE);
    }
}

/* The list is read when a privilege is next queried, since one reply may change it many times. */
void orvane_session_role_list_cb(OrvaneSession *session) {
    g_hash_table_remove_all(session->priv->roles);
    session->priv->areRolesStale = true;
    g_signal_emit_by_name(session, "roles-changed");
}

/* Handles the end of the load of the authorization manager. */
void orvane_session_load_authorization_manager_cb(OrvaneListener *internal,
                                                  OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    if (priv->rolesLoadListener != internal)
        return; /* the clean-up took it */
    const bool hasSucceeded = orvane_listener_get_state(internal) == ORVANE_LISTENER_SUCCEEDED;
    if (!hasSucceeded && priv->state != ORVANE_SESSION_CONNECTED) {
        OrvaneSessionCancelConnect(session); /* a disconnect has begun, which settles the state */
        return;
    }
    const ListenerPtr owner(std::exchange(priv->rolesLoadListener, nullptr));
    if (!hasSucceeded) {
        FailConnect(session, internal);
        return;
    }
    if (priv->state == ORVANE_SESSION_CONNECTED) {
        priv->roleListHandler =
            g_signal_connect_swapped(priv->authorizationManager, "notify::roleList",
                                     G_CALLBACK(orvane_session_role_list_cb), session);
        orvane_session_role_list_cb(session);
    }
    OrvaneSessionAcknowledgeSuccess(OrvaneSessionBound(internal));
}

/* Makes the listener that will load the roles. It is not an internal one: a load may end without a signal,
 * so the session keeps it. */
OrvaneListener *NewRolesLoad(OrvaneSession *session, OrvaneListener *application) {
    OrvaneListener *load = orvane_listener_new();
    if (application != nullptr)
        OrvaneSessionBind(G_OBJECT(load), application);
    orvane_listener_set_time_limit(load, OrvaneListener_TimeLimit(application, 0));
    for (const char *signal : {"success", "failure"})
        g_signal_connect(load, signal, G_CALLBACK(orvane_session_load_authorization_manager_cb),
                         session);
    return load;
}

/* Loads the roles of the main service. A service without an authorization manager has none: FALSE. */
bool LoadRoles(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    priv->authorizationManager =
        ReadProperty<SkemaQormManagedObject>(priv->serviceContent, "authorizationManager");
    if (priv->authorizationManager == nullptr)
        return false;
    orvane_momgr_load_object(priv->moMgr, FALSE, priv->authorizationManager,
                             priv->rolesLoadListener);
    return true;
}

/* Starts the update stream. Runs the application's code. FALSE if the service has no collector. */
bool StartUpdates(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    ObjectPtr<SkemaQormManagedObject> collector(
        ReadProperty<SkemaQormManagedObject>(priv->serviceContent, "propertyCollector"));
    if (collector)
        orvane_momgr_set_collector(priv->moMgr, collector.get());
    return collector != nullptr;
}

void HandleLogin(OrvaneSession *session, OrvaneListener *internal) {
    OrvaneSessionPrivate *priv = session->priv;
    ConnectionWatch watch(session);
    priv->rolesLoadListener = NewRolesLoad(session, OrvaneSessionBound(internal));
    orvane_session_set_state(session, ORVANE_SESSION_CONNECTED);
    if (!watch.IsIn(ORVANE_SESSION_CONNECTED))
        return; /* a handler ended the connection; the clean-up notifies the connect's listener */
    const bool hasUpdates = StartUpdates(session);
    if (watch.IsSame())
        StartKeepAlive(session);
    if (!watch.IsIn(ORVANE_SESSION_CONNECTED))
        return;

    const bool isMain = ORVANE_IS_OZY_SERVER(priv->server);
    if (isMain && hasUpdates && LoadRoles(session))
        return;
    const ListenerPtr load(std::exchange(priv->rolesLoadListener, nullptr));
    if (isMain && !hasUpdates)
        FailConnect(session, load.get()); /* nothing could ever be loaded */
    else
        OrvaneSessionAcknowledgeSuccess(OrvaneSessionBound(load.get()));
}

/* Answers the challenge of a single sign-on. FALSE if the fault is none, or cannot be answered. */
bool AnswerChallenge(OrvaneSession *session, OrvaneListener *internal) {
    ObjectPtr<SkemaQormMethodFault> fault(orvane_listener_get_fault(internal));
    if (!fault || !SKEMA_IS_OZY_FAULT_SSPICHALLENGE(fault.get()))
        return false;
    const GPtr<char> token(ReadProperty<char>(G_OBJECT(fault.get()), "base64Token"));
    return orvane_set_sspi_challenge(session->priv->sspiState, token.get()) &&
           orvane_session_invoke_login(session, OrvaneSessionBound(internal));
}

void orvane_session_login_cb(OrvaneListener *internal, gpointer data) {
    const ListenerPtr owner(internal);
    OrvaneSession *session = ORVANE_SESSION(data);
    OrvaneSessionPrivate *priv = session->priv;
    if (orvane_listener_get_state(internal) != ORVANE_LISTENER_SUCCEEDED) {
        if (!AnswerChallenge(session, internal))
            FailConnect(session, internal);
        return;
    }
    if (priv->cnxParams->kind != ORVANE_CNX_HIJACK) {
        priv->userSession = ResultObject(internal).release();
        if (priv->userSession == nullptr) {
            FailConnect(session, internal);
            return;
        }
    }
    HandleLogin(session, internal);
}

/* -- local ticket --------------------------------------------------------------------------------- */

/* The user and the password of a ticket; NULL if it cannot be used. Only a service on this machine may name a
 * file. */
OrvaneCnxParams *TicketParams(const OrvaneSessionPrivate *priv, GObject *ticket) {
    const GPtr<char> user(ReadProperty<char>(ticket, "userName"));
    const GPtr<char> path(ReadProperty<char>(ticket, "passwordFilePath"));
    if (!user || !path)
        return nullptr;
    if (!BasicHttp_IsLoopbackUrl(priv->url)) {
        Warning("Orvane: %s is not on this machine: its ticket file is not read.\n", priv->url);
        return nullptr;
    }
    const SecretText password(OrvaneSessionReadTicket(path.get()));
    return orvane_session_create_cnxparams(ORVANE_CNX_PASSWORD, user.get(), password.get());
}

void orvane_session_localticket_cb(OrvaneListener *internal, gpointer data) {
    const ListenerPtr owner(internal);
    OrvaneSession *session = ORVANE_SESSION(data);
    OrvaneSessionPrivate *priv = session->priv;
    OrvaneCnxParams *params = OrvaneSessionReadTicketReply(session, internal);
    if (params != nullptr) {
        orvane_session_destroy_cnxparams(priv->cnxParams);
        priv->cnxParams = params;
    }
    if (params == nullptr || !orvane_session_invoke_login(session, OrvaneSessionBound(internal)))
        FailConnect(session, internal);
}

/* Sends the call for the kind of login. FALSE if there is none to send: the caller still owns the listener. */
bool SendLogin(OrvaneSession *session, OrvaneListener *internal) {
    OrvaneSessionPrivate *priv = session->priv;
    OrvaneCnxParams *params = priv->cnxParams;
    switch (params->kind) {
    case ORVANE_CNX_PASSWORD:
        orvane_server_session_manager_login(priv->server, priv->sessionManager, params->first,
                                            params->second, nullptr, internal);
        Secret_FreeText(std::exchange(params->second, nullptr));
        return true;
    case ORVANE_CNX_CLONE:
        orvane_server_session_manager_clone_session(priv->server, priv->sessionManager,
                                                    params->first, internal);
        return true;
    case ORVANE_CNX_LOCAL:
        orvane_server_session_manager_acquire_local_ticket(priv->server, priv->sessionManager,
                                                           params->first, internal);
        return true;
    case ORVANE_CNX_SSPI: {
        char *token = nullptr;
        if (!orvane_get_sspi_response(priv->sspiState, &token))
            return false;
        const SecretText owner(token);
        orvane_server_session_manager_login_by_sspi(priv->server, priv->sessionManager, token, "",
                                                    internal);
        return true;
    }
    case ORVANE_CNX_HIJACK:
        return true;
    }
    return false;
}

} // namespace

GHashTable *OrvaneSessionGetRoles(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    if (!std::exchange(priv->areRolesStale, false) || priv->authorizationManager == nullptr)
        return priv->roles;
    GValueArray *roleList = nullptr;
    g_object_get(priv->authorizationManager, "roleList", &roleList, nullptr);
    if (const ValueArrayPtr roles{roleList}) {
        for (const GValue &role : std::span(roles->values, roles->n_values)) {
            if (G_VALUE_HOLDS(&role, SKEMA_TYPE_OZY_AUTHORIZATION_ROLE) &&
                g_value_get_object(&role) != nullptr)
                AddRole(priv->roles, G_OBJECT(g_value_get_object(&role)));
        }
    }
    return priv->roles;
}

OrvaneCnxParams *OrvaneSessionReadTicketReply(OrvaneSession *session, OrvaneListener *internal) {
    const ObjectPtr<GObject> ticket = ResultObject(internal);
    return ticket ? TicketParams(session->priv, ticket.get()) : nullptr;
}

void orvane_session_retrieveServiceInstanceContent(OrvaneSession *session,
                                                   OrvaneListener *listener) {
    OrvaneSessionPrivate *priv = session->priv;
    SkemaQormManagedObject *instance = orvane_server_create_service_instance(priv->server);
    g_clear_object(&priv->serviceInstance);
    priv->serviceInstance = SKEMA_QORM_MANAGED_OBJECT(g_object_ref_sink(instance));
    SchemaSession_Set(instance, session);
    instance->id = g_strdup("ServiceInstance");

    OrvaneListener *internal = OrvaneSessionNewListener(
        session, orvane_session_retrieveServiceInstanceContent_cb, listener);
    orvane_server_service_instance_retrieve_content(priv->server, instance, internal);
    OrvaneSessionCheckSent(session, internal);
}

void OrvaneSessionCancelConnect(OrvaneSession *session) {
    const ListenerPtr load(std::exchange(session->priv->rolesLoadListener, nullptr));
    OrvaneListener *application = load ? OrvaneSessionBound(load.get()) : nullptr;
    if (application == nullptr)
        return;
    OrvaneListener_MarkOperation(application, ORVANE_OUTCOME_DISCONNECTED);
    OrvaneListener_AcknowledgeCanceled(application);
}

bool OrvaneSessionHasCollector(OrvaneSession *session) {
    return ObjectPtr<SkemaQormManagedObject>(ReadProperty<SkemaQormManagedObject>(
               session->priv->serviceContent, "propertyCollector")) != nullptr;
}

/* The roles were loaded by the connect, unless it was interrupted before. */
void OrvaneSessionResume(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    const ConnectionWatch watch(session);
    orvane_session_set_state(session, ORVANE_SESSION_CONNECTED);
    if (!watch.IsIn(ORVANE_SESSION_CONNECTED))
        return;
    const ObjectPtr<SkemaQormManagedObject> collector(
        ReadProperty<SkemaQormManagedObject>(priv->serviceContent, "propertyCollector"));
    OrvaneMOMgr_Resume(priv->moMgr, collector.get());
    if (watch.IsSame())
        StartKeepAlive(session);
    if (!watch.IsIn(ORVANE_SESSION_CONNECTED) || !ORVANE_IS_OZY_SERVER(priv->server) ||
        priv->roleListHandler != 0 || priv->rolesLoadListener != nullptr)
        return;
    const ObjectPtr<SkemaQormManagedObject> former(
        std::exchange(priv->authorizationManager, nullptr));
    priv->rolesLoadListener = NewRolesLoad(session, nullptr);
    if (!LoadRoles(session))
        g_clear_object(&priv->rolesLoadListener);
}

gboolean orvane_session_invoke_login(OrvaneSession *session, OrvaneListener *listener) {
    if (OrvaneSessionReconnect_IsTrying(session))
        return OrvaneSessionReconnect_LogIn(session);
    const OrvaneCnxKind kind = session->priv->cnxParams->kind;
    OrvaneListener *internal = OrvaneSessionNewListener(
        session, kind == ORVANE_CNX_LOCAL ? orvane_session_localticket_cb : orvane_session_login_cb,
        listener);
    if (!SendLogin(session, internal)) {
        g_object_unref(internal);
        if (listener != nullptr)
            OrvaneListener_MarkOperation(listener, ORVANE_OUTCOME_NOT_SENT);
        return FALSE;
    }
    if (kind == ORVANE_CNX_HIJACK) {
        orvane_listener_initiate(internal);
        orvane_listener_acknowledge(internal, TRUE, nullptr); /* the session exists already */
    } else {
        OrvaneSessionCheckSent(session, internal);
    }
    return TRUE;
}

void OrvaneSessionStopKeepAlive(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    if (!priv->keepAliveActive)
        return;
    priv->keepAliveActive = FALSE;
    orvane_poll_callback_remove(POLL_FLAG_PERIODIC, orvane_session_keep_alive_cb, session,
                                POLL_REALTIME, kPollClassMain);
}
