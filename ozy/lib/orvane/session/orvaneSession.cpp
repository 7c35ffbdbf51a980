#include "ozy/lib/orvane/runtime/roomsAbove.h"

#include <cstdarg>
#include <span>
#include <utility>

#include <orvane/privilege.h>

#include "lib/misc/keyedHash.h"
#include "lib/misc/secret.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/schema/schemaLookup.h"
#include "ozy/lib/orvane/session/orvaneSessionCalls.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "ozy/lib/orvane/session/orvaneSessionVerify.h"
#include "ozy/lib/orvane/soap/orvaneSoap.h"

namespace {

enum { PROP_0, PROP_STATE, PROP_SERVICE_INSTANCE_CONTENT, PROP_SERVICE_INSTANCE, NUM_PROPERTIES };

/* Filled once, when the class is made. */
constinit GParamSpec *properties[NUM_PROPERTIES] = {};

void SetText(char **field, const char *text) {
    char *copy = g_strdup(text);
    g_free(*field);
    *field = copy;
}

/* All sessions that were not finalised yet, with their numbers; NULL while there are none. */
constinit GHashTable *gLiveSessions = nullptr;
constinit gsize gLastNumber = 0;

void EnterLive(OrvaneSession *session) {
    if (gLiveSessions == nullptr)
        gLiveSessions = g_hash_table_new(nullptr, nullptr);
    g_hash_table_insert(gLiveSessions, session, GSIZE_TO_POINTER(++gLastNumber));
}

void LeaveLive(OrvaneSession *session) {
    g_hash_table_remove(gLiveSessions, session);
    if (g_hash_table_size(gLiveSessions) == 0)
        g_clear_pointer(&gLiveSessions, g_hash_table_unref);
}

/* Ends all operations of the session. Runs the application's code. */
void TearDown(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    if (priv->moMgr != nullptr)
        orvane_momgr_cancel_updates(priv->moMgr, nullptr);
    OrvaneSessionUnlinkAllListeners(session);
    OrvaneSessionStopKeepAlive(session);
    orvane_session_cleanup_private_state(session, ORVANE_OUTCOME_SESSION_RELEASED);
}

/* An operation that the session's state does not allow. */
void FailAtOnce(OrvaneListener *listener) {
    if (listener == nullptr)
        return;
    ObjectWatch<OrvaneListener> watch(listener);
    OrvaneListener_BeginOperation(listener, nullptr);
    OrvaneListener_MarkOperation(listener, ORVANE_OUTCOME_NOT_SENT);
    orvane_listener_initiate(listener);
    if (watch)
        orvane_listener_acknowledge(listener, FALSE, nullptr);
}

/* Whether the role grants the privilege. */
bool RoleHas(GHashTable *roles, gint roleId, const char *privilege) {
    auto *set = static_cast<GHashTable *>(g_hash_table_lookup(roles, GINT_TO_POINTER(roleId)));
    return set != nullptr && skema_privilege_check(set, privilege) != 0;
}

} // namespace

GType orvane_session_state_get_type(void) {
    static gsize type = 0;
    if (g_once_init_enter(&type)) {
        /* INTERRUPTED is not registered: it is a state that the update stream sets from outside */
        static constexpr GEnumValue kValues[] = {
            {ORVANE_SESSION_DISCONNECTED, "ORVANE_SESSION_DISCONNECTED", "disconnected"},
            {ORVANE_SESSION_CONNECTING, "ORVANE_SESSION_CONNECTING", "connecting"},
            {ORVANE_SESSION_CONNECTED, "ORVANE_SESSION_CONNECTED", "connected"},
            {ORVANE_SESSION_DISCONNECTING, "ORVANE_SESSION_DISCONNECTING", "disconnecting"},
            {0, nullptr, nullptr},
        };
        g_once_init_leave(&type, g_enum_register_static("OrvaneSessionState", kValues));
    }
    return type;
}

G_DEFINE_TYPE_WITH_PRIVATE(OrvaneSession, orvane_session, G_TYPE_OBJECT)

static void orvane_session_init(OrvaneSession *session) {
    auto *priv = static_cast<OrvaneSessionPrivate *>(orvane_session_get_instance_private(session));
    session->priv = priv;
    EnterLive(session);
    orvane_session_set_state(session, ORVANE_SESSION_DISCONNECTED);
    priv->roles = g_hash_table_new_full(KeyedHash_Number, g_direct_equal, nullptr,
                                        reinterpret_cast<GDestroyNotify>(g_hash_table_unref));
    priv->listeners = g_hash_table_new_full(KeyedHash_Number, g_direct_equal, nullptr, g_free);
    priv->maxTreeBytes = kOrvaneSoapMaxTreeBytes;
    priv->verifyState = ORVANE_VERIFY_IDLE;
    priv->server = ORVANE_SERVER(g_object_new(ORVANE_TYPE_OZY_SERVER, nullptr));
}

static void orvane_session_get_property(GObject *object, guint id, GValue *value,
                                        GParamSpec *pspec) {
    const OrvaneSessionPrivate *priv = ORVANE_SESSION(object)->priv;
    switch (id) {
    case PROP_STATE:
        g_value_set_enum(value, priv->state);
        return;
    case PROP_SERVICE_INSTANCE_CONTENT:
        g_value_set_object(value, priv->serviceContent);
        return;
    case PROP_SERVICE_INSTANCE:
        g_value_set_object(value, priv->serviceInstance);
        return;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
}

/* The parent's dispose runs first. It removes the application's weak references and handlers on the session
 * before the application's code runs in the tear-down; the session is then still complete enough to be
 * referenced. */
static void orvane_session_dispose(GObject *object) {
    G_OBJECT_CLASS(orvane_session_parent_class)->dispose(object);
    ObjectWatch<OrvaneSession>::EndAll(ORVANE_SESSION(object));
    TearDown(ORVANE_SESSION(object));
}

static void orvane_session_finalize(GObject *object) {
    OrvaneSession *session = ORVANE_SESSION(object);
    OrvaneSessionPrivate *priv = session->priv;
    TearDown(session); /* a handler may have begun something since dispose */
    LeaveLive(session);
    OrvaneOperations_EndAll(&priv->operations, ORVANE_OUTCOME_SESSION_RELEASED);
    ObjectWatch<OrvaneSession>::EndAll(session);
    g_hash_table_destroy(priv->roles);
    g_hash_table_destroy(priv->listeners);
    g_object_unref(priv->server);
    OrvaneSessionFreeCallHeaders(priv);
    OrvaneSessionReconnect_Free(session);
    OrvaneSessionRelogin_Free(session);
    BasicHttp_DeleteBandwidthGroup(priv->bandwidthGroup);
    OrvaneWireReceiver_Unref(priv->wireReceiver);
    g_free(priv->userAgent);
    g_free(priv->sslCertificateFile);
    g_free(priv->sslCertificatePath);
    G_OBJECT_CLASS(orvane_session_parent_class)->finalize(object);
}

static void orvane_session_class_init(OrvaneSessionClass *klass) {
    GObjectClass *object = G_OBJECT_CLASS(klass);
    object->get_property = orvane_session_get_property;
    object->dispose = orvane_session_dispose;
    object->finalize = orvane_session_finalize;

    properties[PROP_STATE] =
        g_param_spec_enum("state", "State", "The current state.", orvane_session_state_get_type(),
                          ORVANE_SESSION_DISCONNECTED, G_PARAM_READABLE);
    properties[PROP_SERVICE_INSTANCE_CONTENT] =
        g_param_spec_object("serviceInstanceContent", "", "", G_TYPE_OBJECT, G_PARAM_READABLE);
    properties[PROP_SERVICE_INSTANCE] =
        g_param_spec_object("serviceInstance", "", "", G_TYPE_OBJECT, G_PARAM_READABLE);
    g_object_class_install_properties(object, NUM_PROPERTIES, properties);

    g_signal_new("roles-changed", G_TYPE_FROM_CLASS(klass), G_SIGNAL_RUN_LAST,
                 G_STRUCT_OFFSET(OrvaneSessionClass, roles_changed), nullptr, nullptr,
                 g_cclosure_marshal_VOID__VOID, G_TYPE_NONE, 0);
}

/*
 * Every field is cleared before its object is released, since a release may run the application's code, which
 * may start the next connection. Requests are freed before the cookie jar that they share, and the manager
 * after the objects whose proxies are found through it.
 */
void orvane_session_cleanup_private_state(OrvaneSession *session, OrvaneOutcome outcome) {
    OrvaneSessionPrivate *priv = session->priv;
    ++priv->connection;
    ConnectionWatch watch(session);
    ObjectWatch<OrvaneSession> sessionWatch(session);
    OrvaneOperations_Mark(&priv->operations, outcome);
    OrvaneSessionReconnect_End(session);
    OrvaneSessionRelogin_End(session);
    OrvaneSessionFreeCalls(session);
    OrvaneSessionVerify_End(session);
    g_clear_pointer(&priv->url, g_free);
    g_clear_pointer(&priv->version, g_free);
    g_clear_pointer(&priv->nameSpace, g_free);
    g_clear_pointer(&priv->cnxParams, orvane_session_destroy_cnxparams);
    priv->useLegacy = FALSE;
    g_clear_pointer(&priv->cookieJar, BasicHttp_FreeCookieJar);
    g_clear_pointer(&priv->sspiState, orvane_destroy_sspi_state);

    ObjectPtr<GObject> userSession(std::exchange(priv->userSession, nullptr));
    ObjectPtr<SkemaQormManagedObject> sessionManager(std::exchange(priv->sessionManager, nullptr));
    OrvaneSessionGetRoles(session); /* the last ones are known also without a connection */
    ObjectPtr<SkemaQormManagedObject> authorization(
        std::exchange(priv->authorizationManager, nullptr));
    if (priv->roleListHandler != 0)
        g_signal_handler_disconnect(authorization.get(), priv->roleListHandler);
    priv->roleListHandler = 0;
    ObjectPtr<GObject> serviceContent(std::exchange(priv->serviceContent, nullptr));
    ObjectPtr<SkemaQormManagedObject> serviceInstance(
        std::exchange(priv->serviceInstance, nullptr));

    userSession.reset();
    sessionManager.reset();
    authorization.reset();
    serviceContent.reset();
    serviceInstance.reset();
    if (watch.IsSame())
        OrvaneSessionCancelConnect(session);
    if (watch.IsSame())
        g_clear_object(&priv->moMgr);
    if (sessionWatch)
        OrvaneOperations_EndMarked(&priv->operations);
}

/* -- construction and reading --------------------------------------------------------------------- */

OrvaneSession *orvane_session_new(void) {
    return ORVANE_SESSION(g_object_new(ORVANE_TYPE_SESSION, nullptr));
}

gboolean OrvaneSession_IsLive(const OrvaneSession *session) {
    return OrvaneSession_GetNumber(session) != 0;
}

OrvaneOperations *OrvaneSession_GetOperations(OrvaneSession *session) {
    return OrvaneSession_IsLive(session) ? &session->priv->operations : nullptr;
}

void OrvaneSession_EndAllForShutdown(void) {
    if (gLiveSessions == nullptr)
        return;
    GHashTableIter iter;
    gpointer session;
    g_hash_table_iter_init(&iter, gLiveSessions);
    while (g_hash_table_iter_next(&iter, &session, nullptr)) /* runs no code of the application */
        OrvaneOperations_EndAll(&ORVANE_SESSION(session)->priv->operations,
                                ORVANE_OUTCOME_SHUT_DOWN);
}

gsize OrvaneSession_GetNumber(const OrvaneSession *session) {
    if (gLiveSessions == nullptr)
        return 0;
    return GPOINTER_TO_SIZE(g_hash_table_lookup(gLiveSessions, session));
}

OrvaneMOMgr *OrvaneSession_GetManager(OrvaneSession *session, gsize number) {
    const bool isSame = number != 0 && OrvaneSession_GetNumber(session) == number;
    return isSame ? session->priv->moMgr : nullptr;
}

OrvaneSessionState orvane_session_get_state(OrvaneSession *session) {
    g_return_val_if_fail(ORVANE_IS_SESSION(session), ORVANE_SESSION_DISCONNECTED);
    return session->priv->state;
}

const char *orvane_session_get_version(OrvaneSession *session) {
    g_return_val_if_fail(ORVANE_IS_SESSION(session), nullptr);
    return session->priv->version;
}

const char *orvane_session_get_namespace(OrvaneSession *session) {
    g_return_val_if_fail(ORVANE_IS_SESSION(session), nullptr);
    return session->priv->nameSpace;
}

GPtrArray *orvane_session_get_all_versions(OrvaneSession *session) {
    g_return_val_if_fail(ORVANE_IS_SESSION(session), nullptr);
    if (session->priv->version == nullptr)
        return nullptr;
    const OrvaneVersionEntry *entry = orvane_lookup_version(session->priv->version);
    return entry != nullptr ? entry->versions : nullptr;
}

gboolean orvane_session_has_version(OrvaneSession *session, const char *version) {
    g_return_val_if_fail(version != nullptr, FALSE);
    const GPtrArray *versions = orvane_session_get_all_versions(session);
    if (versions == nullptr)
        return FALSE;
    for (gpointer has : std::span(versions->pdata, versions->len)) {
        if (strcmp(static_cast<const char *>(has), version) == 0)
            return TRUE;
    }
    return FALSE;
}

SkemaQormManagedObject *orvane_session_get_authorization_manager(OrvaneSession *session) {
    g_return_val_if_fail(ORVANE_IS_SESSION(session), nullptr);
    return session->priv->authorizationManager;
}

/* Called for each reference that is read or released, also for objects that outlived their session. */
OrvaneMOMgr *orvane_session_get_momgr(OrvaneSession *session) {
    return OrvaneSession_IsLive(session) ? session->priv->moMgr : nullptr;
}

SkemaQormManagedObject *orvane_session_get_object(OrvaneSession *session, const char *id,
                                                  GType type) {
    g_return_val_if_fail(ORVANE_IS_SESSION(session), nullptr);
    g_return_val_if_fail(id != nullptr, nullptr);
    g_return_val_if_fail(session->priv->moMgr != nullptr, nullptr);
    return orvane_momgr_lookup_or_create(session->priv->moMgr, id, type);
}

void orvane_session_load_object(OrvaneSession *session, gboolean partialUpdates,
                                SkemaQormManagedObject *object, OrvaneListener *listener) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    g_return_if_fail(object != nullptr && SKEMA_IS_QORM_MANAGED_OBJECT(object));
    g_return_if_fail(listener == nullptr || ORVANE_IS_LISTENER(listener));
    if (session->priv->state == ORVANE_SESSION_CONNECTED && session->priv->moMgr != nullptr) {
        orvane_momgr_load_object(session->priv->moMgr, partialUpdates, object, listener);
        return;
    }
    FailAtOnce(listener);
}

void orvane_session_unload_object(OrvaneSession *session, SkemaQormManagedObject *object,
                                  gboolean clear) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    g_return_if_fail(object != nullptr && SKEMA_IS_QORM_MANAGED_OBJECT(object));
    g_return_if_fail(session->priv->moMgr != nullptr);
    orvane_momgr_unload_object(session->priv->moMgr, object, clear);
}

gboolean orvane_session_query_privilege(OrvaneSession *session, SkemaQormManagedObject *object,
                                        const char *privilege) {
    g_return_val_if_fail(ORVANE_IS_SESSION(session), FALSE);
    g_return_val_if_fail(object != nullptr && SKEMA_IS_QORM_MANAGED_OBJECT(object), FALSE);
    g_return_val_if_fail(privilege != nullptr, FALSE);
    GValueArray *effectiveRole = nullptr;
    g_object_get(object, "effectiveRole", &effectiveRole, nullptr);
    const ValueArrayPtr roles(effectiveRole);
    if (!roles)
        return FALSE;
    GHashTable *known = OrvaneSessionGetRoles(session);
    for (const GValue &role : std::span(roles->values, roles->n_values)) {
        if (G_VALUE_HOLDS_INT(&role) && RoleHas(known, g_value_get_int(&role), privilege))
            return TRUE;
    }
    return FALSE;
}

/* -- setters -------------------------------------------------------------------------------------- */

void orvane_session_set_useragent(OrvaneSession *session, const char *text) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    SetText(&session->priv->userAgent, text);
}

void orvane_session_set_use_fresh_connection(OrvaneSession *session, gboolean value) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    session->priv->useFreshConnection = value;
}

void orvane_session_set_reply_limits(OrvaneSession *session, guint64 bodyBytes, guint64 treeBytes) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    session->priv->hasReplyLimits = true;
    session->priv->maxBodyBytes = bodyBytes;
    session->priv->maxTreeBytes = treeBytes;
}

void orvane_session_set_time_limits(OrvaneSession *session, const OrvaneTimeLimits *limits) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    session->priv->timeLimits = limits != nullptr ? *limits : OrvaneTimeLimits{};
    session->priv->operations.timeLimit = session->priv->timeLimits.total;
}

void orvane_session_set_strict_loads(OrvaneSession *session, gboolean value) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    session->priv->hasStrictLoads = value;
    if (session->priv->moMgr != nullptr)
        OrvaneMOMgr_SetStrictLoads(session->priv->moMgr, value);
}

void orvane_session_set_bandwidth_limit(OrvaneSession *session, guint64 uploadPerSecond,
                                        guint64 downloadPerSecond) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    OrvaneSessionPrivate *priv = session->priv;
    if (priv->bandwidthGroup != nullptr) {
        BasicHttp_ChangeBandwidthGroup(priv->bandwidthGroup, uploadPerSecond, downloadPerSecond);
        return;
    }
    if (uploadPerSecond == 0 && downloadPerSecond == 0)
        return;
    priv->bandwidthGroup = BasicHttp_CreateBandwidthGroup(uploadPerSecond, downloadPerSecond);
    OrvaneSessionLimitCalls(session);
}

void orvane_session_set_ssl_certificate_location(OrvaneSession *session, const char *file,
                                                 const char *path) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    SetText(&session->priv->sslCertificateFile, file);
    SetText(&session->priv->sslCertificatePath, path);
}

void orvane_session_set_verify_certificate_func(OrvaneSession *session,
                                                OrvaneVerifyCertificateFunc func, gpointer data) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    session->priv->verifyFunc = func;
    session->priv->verifyData = data;
}

void orvane_session_target_ferry(OrvaneSession *session) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    g_object_unref(session->priv->server);
    session->priv->server = ORVANE_SERVER(g_object_new(ORVANE_TYPE_FERRY_SERVER, nullptr));
}

gboolean orvane_session_target_is_ferry(OrvaneSession *session) {
    g_return_val_if_fail(ORVANE_IS_SESSION(session), FALSE);
    return session->priv->server != nullptr && ORVANE_IS_FERRY_SERVER(session->priv->server);
}

/* -- state ---------------------------------------------------------------------------------------- */

void orvane_session_set_state(OrvaneSession *session, OrvaneSessionState state) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    if (session->priv->state == state)
        return;
    session->priv->state = state;
    g_object_notify_by_pspec(G_OBJECT(session), properties[PROP_STATE]);
}

/* The update that would answer the load of the roles will not come. */
void orvane_session_set_interrupted(OrvaneSession *session) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    ConnectionWatch watch(session);
    orvane_session_set_state(session, ORVANE_SESSION_INTERRUPTED);
    if (watch.IsSame())
        OrvaneSessionCancelConnect(session);
    if (watch.IsIn(ORVANE_SESSION_INTERRUPTED))
        OrvaneSessionReconnect_Interrupted(session);
}

/* -- how to log in -------------------------------------------------------------------------------- */

OrvaneCnxParams *orvane_session_create_cnxparams(gint kind, ...) {
    va_list arguments;
    va_start(arguments, kind);
    const char *first = va_arg(arguments, const char *);
    const char *second = kind == ORVANE_CNX_PASSWORD ? va_arg(arguments, const char *) : nullptr;
    va_end(arguments);

    if (first == nullptr && kind != ORVANE_CNX_SSPI)
        return nullptr;
    if (second == nullptr && kind == ORVANE_CNX_PASSWORD)
        return nullptr;
    OrvaneCnxParams *params = g_new0(OrvaneCnxParams, 1);
    params->kind = static_cast<OrvaneCnxKind>(kind);
    params->first = g_strdup(first);
    params->second = g_strdup(second);
    return params;
}

void orvane_session_destroy_cnxparams(OrvaneCnxParams *params) {
    if (params == nullptr)
        return;
    Secret_FreeText(params->first); /* may be a ticket or a cookie */
    Secret_FreeText(params->second);
    g_free(params);
}
