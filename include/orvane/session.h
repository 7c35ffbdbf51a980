/*
 * session.h -- one connection to one service endpoint
 *
 *   OrvaneSession *session = orvane_session_new();
 *   orvane_session_connect(session, "https://host.example/sdk", "root", password, listener);
 *   ... the loop runs; listener: "success" ...
 *   SkemaQormManagedObject *vm = orvane_session_get_object(session, "vm-42", SKEMA_TYPE_OZY_VIRTUAL_MACHINE);
 *   ...
 *   orvane_session_disconnect(session, other);
 *
 *   DISCONNECTED -> CONNECTING -> CONNECTED -> DISCONNECTING -> DISCONNECTED
 *                       |             |
 *                  DISCONNECTED   INTERRUPTED -> DISCONNECTING
 *
 * URL, version, cookies, proxies and calls belong to one connection and end with it. What the setters store
 * is kept, and used by the next request or connect. A session can be connected again once it is
 * DISCONNECTED.
 *
 * INTERRUPTED means that the service can no longer be reached, or no longer accepts the login. The library does
 * not try again: disconnect, then connect; unless orvane_session_set_reconnect() says otherwise.
 *
 * While connected, the session keeps one request open in which the service reports changes, and sends the
 * main service a call every 25 minutes to keep the login alive.
 *
 * Ownership: the application owns the session. Proxies and data objects point to their session without
 *            a reference. Those that outlive it may be kept and released, but their references to
 *            managed objects read as %NULL, and calls on them are refused with a warning. After a
 *            disconnect the proxies of the old connection still have the session, but no manager.
 * Errors:    reported through the listener. %NULL or a wrong type for the session, a listener or a
 *            required object is refused with GLib's warning of a failed check, and no listener is
 *            notified.
 * Signals:   "notify::state" at every change of the state. "roles-changed" after the roles of the service
 *            were read: for the main service right before the end of a connect, and at each later change.
 *            Handlers may do anything, also release the session.
 * Release:   a session may be released at any time. Nothing is sent. Listeners of loads, of retrievals and of a
 *            connect whose roles are being loaded fail with a RequestCanceled; no other listener is
 *            notified. The service ends the login when it expires; disconnect first to end it now.
 * Threads:   the loop's, between orvane_init() and orvane_shutdown(). A session may be released after
 *            orvane_shutdown(), which ends its requests without a signal.
 * Environment: HALDEN_HTTPSPROXY, a proxy for all requests; no other variable sets a proxy.
 *            HALDEN_PROXY_FILEPATH, see orvane_session_get_local_soap_url().
 */
#pragma once

#include <orvane/listener.h>

G_BEGIN_DECLS

/**
 * OrvaneSessionState:
 * @ORVANE_SESSION_DISCONNECTED: nothing is connected
 * @ORVANE_SESSION_CONNECTING: a connect is in progress, up to the login
 * @ORVANE_SESSION_CONNECTED: logged in
 * @ORVANE_SESSION_DISCONNECTING: a disconnect is in progress; after a hijack the last state
 * @ORVANE_SESSION_INTERRUPTED: the service cannot be reached or refuses. The value is not registered with
 *     the enumeration's #GType
 */
typedef enum {
    ORVANE_SESSION_DISCONNECTED = 1,
    ORVANE_SESSION_CONNECTING = 2,
    ORVANE_SESSION_CONNECTED = 4,
    ORVANE_SESSION_DISCONNECTING = 8,
    ORVANE_SESSION_INTERRUPTED = 16,
} OrvaneSessionState;

typedef struct _OrvaneSessionPrivate OrvaneSessionPrivate;

/**
 * OrvaneSession:
 *
 * Properties, all readable: "state", an OrvaneSessionState; "serviceInstanceContent", the service's
 * ServiceContent, and "serviceInstance", both %NULL before the login's first step.
 */
struct _OrvaneSession {
    /*< private >*/
    GObject parent;
    OrvaneSessionPrivate *priv;
};

/**
 * OrvaneSessionClass:
 * @roles_changed: default handler of "roles-changed"
 */
typedef struct {
    /*< private >*/
    GObjectClass parent;
    /*< public >*/
    void (*roles_changed)(OrvaneSession *session);
} OrvaneSessionClass;

#define ORVANE_TYPE_SESSION (orvane_session_get_type())
#define ORVANE_SESSION(obj) (G_TYPE_CHECK_INSTANCE_CAST((obj), ORVANE_TYPE_SESSION, OrvaneSession))
#define ORVANE_IS_SESSION(obj) (G_TYPE_CHECK_INSTANCE_TYPE((obj), ORVANE_TYPE_SESSION))

/**
 * OrvaneVerifyCertificateDoneFunc:
 * @context: (transfer full): what the application's function was called with
 * @accepted: the decision
 *
 * To be called exactly once for each call of an #OrvaneVerifyCertificateFunc, on the loop's thread. It has no
 * effect if the connect has ended in the meantime, or its session was released.
 */
typedef void (*OrvaneVerifyCertificateDoneFunc)(GObject *context, gboolean accepted);

/**
 * OrvaneVerifyCertificateFunc:
 * @context: (transfer full): to be handed to @done
 * @storeContext: the X509_STORE_CTX of the verification, valid until this returns
 * @certificate: the X509 of the peer, valid until this returns
 * @data: the pointer that was set with the function
 * @done: (scope async): takes the decision, now or later
 *
 * Decides on the certificate of a server. It is called inside a TLS handshake, which cannot wait: if @done has
 * not been called with %TRUE when this returns, the handshake fails. After a later %TRUE the connect starts again
 * automatically, and this function is called again. So the application must remember what it has accepted, by
 * its thumbprint for instance, and accept that certificate at once. SSL_GetServerCertErrors() tells what is wrong
 * with @certificate, SSL_GetCertInfo() what a person needs to know about it; see <orvane/ssl.h>.
 *
 * With an https proxy the proxy's certificate is checked by libcurl, by the authorities of this machine. Only where
 * no_proxy or NO_PROXY is set, the function is called for both, in two handshakes, and nothing in the arguments
 * tells them apart but @certificate itself.
 *
 * It may do anything, also release the session, but not shut the library down.
 *
 * Returns: ignored
 */
typedef gint (*OrvaneVerifyCertificateFunc)(GObject *context, gpointer storeContext,
                                            gpointer certificate, gpointer data,
                                            OrvaneVerifyCertificateDoneFunc done);

ORVANE_EXPORT GType orvane_session_get_type(void);
ORVANE_EXPORT GType orvane_session_state_get_type(void);

/**
 * orvane_session_new:
 *
 * Returns: (transfer full): a session for the main service, in state %ORVANE_SESSION_DISCONNECTED
 */
ORVANE_EXPORT OrvaneSession *orvane_session_new(void);

/**
 * orvane_session_get_state:
 * @session: a session
 *
 * Returns: its state, which may be %ORVANE_SESSION_INTERRUPTED although the property's type does not list it
 */
ORVANE_EXPORT OrvaneSessionState orvane_session_get_state(OrvaneSession *session);

/**
 * orvane_session_get_version:
 * @session: a session
 *
 * Returns: (transfer none) (nullable): the negotiated version, such as "ozy25/6.0"; valid until the
 *     connection ends. %NULL until it is known
 */
ORVANE_EXPORT const char *orvane_session_get_version(OrvaneSession *session);

/**
 * orvane_session_get_namespace:
 * @session: a session
 *
 * Returns: (transfer none) (nullable): the negotiated namespace, such as "ozy25"; valid as the version is
 */
ORVANE_EXPORT const char *orvane_session_get_namespace(OrvaneSession *session);

/**
 * orvane_session_get_all_versions:
 * @session: a session
 *
 * Returns: (transfer none) (nullable) (element-type utf8): all versions that the session's version includes:
 *     itself, older ones, and the empty text. %NULL until the version is known
 */
ORVANE_EXPORT GPtrArray *orvane_session_get_all_versions(OrvaneSession *session);

/**
 * orvane_session_has_version:
 * @session: a session
 * @version: a version, such as "ozy25/4.1"
 *
 * Returns: whether the session's version includes it
 */
ORVANE_EXPORT gboolean orvane_session_has_version(OrvaneSession *session, const char *version);

/**
 * orvane_session_get_authorization_manager:
 * @session: a session
 *
 * Returns: (transfer none) (nullable): the AuthorizationManager of the main service, once connected
 */
ORVANE_EXPORT SkemaQormManagedObject *
orvane_session_get_authorization_manager(OrvaneSession *session);

/**
 * orvane_session_get_momgr: (skip)
 * @session: (nullable): a session, which may have been finalised
 *
 * Returns: (transfer none) (nullable): the manager of its proxies; %NULL before the first connect, after a
 *     disconnect, and for a session that was finalised
 */
ORVANE_EXPORT OrvaneMOMgr *orvane_session_get_momgr(OrvaneSession *session);

/**
 * orvane_session_get_object:
 * @session: a session that was connected
 * @id: id of a managed object
 * @type: its class, used if there is no proxy of that id yet
 *
 * Returns: (transfer floating) (nullable): the proxy of that id; sink it to keep it
 */
ORVANE_EXPORT SkemaQormManagedObject *orvane_session_get_object(OrvaneSession *session,
                                                                const char *id, GType type);

/**
 * orvane_session_load_object:
 * @session: a session
 * @partialUpdates: whether the service may report changes inside a property one by one
 * @object: the proxy to fill
 * @listener: (nullable): succeeds, without a result, once the first values are in @object
 *
 * From then on the properties are kept up to date, with a notify at each change. Loads are counted; undo each
 * with orvane_session_unload_object(). On a session that is not CONNECTED, @listener fails without a
 * fault before this returns.
 *
 * With @partialUpdates the service may report a change inside a property by its path, such as
 * "summary.runtime.powerState". It is written into the nested object, and "notify" is emitted by that nested
 * object, not by @object. Connect to the nested object to see such changes, or load without @partialUpdates.
 *
 * At most eleven loads are being answered at a time; more wait for their turn. If a proxy is released while
 * the service creates its filter, that load keeps its place until the connection ends: after eleven of them no
 * load is started any more. So hold a reference to @object until @listener has ended; to give up a load,
 * release its listener and keep @object until the load is over. A session in which loads have stopped
 * recovers by a disconnect and a connect. A session with orvane_session_set_strict_loads() gives the place back.
 */
ORVANE_EXPORT void orvane_session_load_object(OrvaneSession *session, gboolean partialUpdates,
                                              SkemaQormManagedObject *object,
                                              OrvaneListener *listener);

/**
 * orvane_session_unload_object:
 * @session: the session of @object
 * @object: a loaded proxy
 * @clear: whether its properties are reset when the last load is undone
 */
ORVANE_EXPORT void orvane_session_unload_object(OrvaneSession *session,
                                                SkemaQormManagedObject *object, gboolean clear);

/**
 * orvane_session_retrieve_contents:
 * @session: a session
 * @filterSpecSet: (transfer none): what to retrieve, see orvane_filter_spec_set_new()
 * @listener: (nullable): succeeds with an array of the proxies that were filled. If the call fails, @listener
 *     fails only when the connection ends, with a RequestCanceled
 *
 * Reads properties once. On a session that is not CONNECTED, @listener fails without a fault before this
 * returns.
 */
ORVANE_EXPORT void orvane_session_retrieve_contents(OrvaneSession *session,
                                                    GValueArray *filterSpecSet,
                                                    OrvaneListener *listener);

/**
 * orvane_session_load_properties: (skip)
 * @session: a session
 * @object: the proxy to fill
 * @listener: (nullable): as with orvane_session_retrieve_contents()
 * @all: whether all properties are read
 * @...: paths of the properties to read otherwise, ended by %NULL
 *
 * Reads properties of one object once.
 */
ORVANE_EXPORT void orvane_session_load_properties(OrvaneSession *session,
                                                  SkemaQormManagedObject *object,
                                                  OrvaneListener *listener, gboolean all,
                                                  ...) G_GNUC_NULL_TERMINATED;

/**
 * orvane_session_query_privilege:
 * @session: a session to the main service
 * @object: a proxy whose "effectiveRole" is loaded
 * @privilege: such as "Folder.Create"
 *
 * Returns: whether one of the user's roles on @object has the privilege; nothing is sent
 */
ORVANE_EXPORT gboolean orvane_session_query_privilege(OrvaneSession *session,
                                                      SkemaQormManagedObject *object,
                                                      const char *privilege);

/**
 * orvane_session_set_useragent:
 * @session: a session
 * @text: (nullable): the value of User-Agent; %NULL for the library's own
 */
ORVANE_EXPORT void orvane_session_set_useragent(OrvaneSession *session, const char *text);

/**
 * orvane_session_set_use_fresh_connection:
 * @session: a session
 * @value: whether each request opens a connection of its own and closes it afterwards
 */
ORVANE_EXPORT void orvane_session_set_use_fresh_connection(OrvaneSession *session, gboolean value);

/**
 * orvane_session_set_reply_limits:
 * @session: a session
 * @bodyBytes: largest body of a reply, in bytes; 0 for no limit; 256 MiB at first
 * @treeBytes: largest memory of the tree that a reply is read into, in bytes; 0 for no limit; 1 GiB at
 *   first
 *
 * Limits what a service can make the process allocate. Both count for replies to calls and for the documents of
 * a connect. A larger body, or one announced as larger, ends the transfer. What arrived before is read; the call
 * fails with an OrvaneFaultInvalidResponse whose errorCode is not 0 if that is no whole reply. A larger tree fails
 * the call as a reply that is no XML does, with a line in the log. The tree of a plain reply takes 3 to 38 times its
 * text. The limit is checked as memory is taken; a text that arrives in pieces can exceed it by up to twice its own
 * size.
 *
 * To be called before the requests that it is to limit.
 */
ORVANE_EXPORT void orvane_session_set_reply_limits(OrvaneSession *session, guint64 bodyBytes,
                                                   guint64 treeBytes);

/**
 * OrvaneTimeLimits:
 * @connect: milliseconds until a connection must be established, including its TLS handshake; 0 for no limit
 * @inactivity: milliseconds without a byte sent or received on a request that is open; 0 for no limit
 * @total: milliseconds from the beginning of an operation to its end; 0 for no limit
 *
 * The first two hold for each request. The third holds for each operation of an application's listener, to the end of its
 * task if it has one, and for each request of the library itself.
 */
typedef struct {
    guint connect;
    guint inactivity;
    guint total;
} OrvaneTimeLimits;

/**
 * orvane_session_set_time_limits:
 * @session: a session
 * @limits: (nullable): copied; %NULL for no limits, which is the initial state
 *
 * Holds for what begins later, except for the request that waits for updates. The service may leave a call without an
 * answer for long before it fails, so choose @inactivity accordingly. What takes longer fails with an
 * OrvaneFaultInvalidResponse of an errorCode of #OrvaneTransportError: CONNECT_TIMEOUT, INACTIVITY_TIMEOUT or
 * OPERATION_TIMEDOUT. The transfer is closed, and its connection is not used again. A limit of a listener,
 * orvane_listener_set_time_limit(), replaces @total for its operations.
 */
ORVANE_EXPORT void orvane_session_set_time_limits(OrvaneSession *session,
                                                  const OrvaneTimeLimits *limits);

/**
 * OrvaneCredentialsFunc:
 * @session: the session that logs in again
 * @user: (out) (transfer full): the user's name
 * @password: (out) (transfer full): the password
 * @data: the pointer that was set with the function
 *
 * Both texts are allocated with GLib's allocator. The library wipes and frees them when the login was sent, and after a
 * result of %FALSE if they were set. It may do anything, also release the session, but not shut the library down.
 *
 * Returns: %FALSE to refuse
 */
typedef gboolean (*OrvaneCredentialsFunc)(OrvaneSession *session, char **user, char **password,
                                          gpointer data);

/**
 * orvane_session_set_credentials_func:
 * @session: a session
 * @function: (nullable) (scope notified) (closure data) (destroy destroy): returns user and password when they are needed
 *   again; %NULL for none, which is the initial state
 * @data: passed to @function
 * @destroy: (nullable): releases @data when the function is replaced or the session is finalised
 *
 * Makes the session log in again automatically when the service has ended the login, which it reports by the fault
 * NotAuthenticated. All calls that get this fault wait for one login, and are then sent once more: the service has not
 * begun them. @function is called from the loop, once for each login. What it returns is not kept.
 *
 * - A second NotAuthenticated for a call is its end. If the login fails, the calls that wait fail with the fault that
 *   they had. Time limits and orvane_listener_abort() hold for a call that waits.
 * - The service has forgotten the filters. They are created anew: loaded objects are compared with what the service
 *   sends, notified where they differ, and reset where it sends nothing; for one that is gone, "leave" is emitted. For
 *   an application's own filters see "restarted" in <orvane/filter.h>.
 * - NotAuthenticated for updates does not make the state %ORVANE_SESSION_INTERRUPTED, unless the service or @function
 *   refuses the login. NoPermission still does.
 * - There is one login at a time. The first begins at once. Until the service has created all filters and reported updates,
 *   the next ones wait for 1, 2, 4 ... 60 seconds, up to half of that less by chance, so that many clients do not log in
 *   together.
 *
 * It holds for connections of orvane_session_connect() and of orvane_session_connect_local(). The latter requests a new
 * ticket, and @function is not called. A clone ticket and a hijacked cookie cannot be used again: those sessions do not
 * log in again.
 */
ORVANE_EXPORT void orvane_session_set_credentials_func(OrvaneSession *session,
                                                       OrvaneCredentialsFunc function,
                                                       gpointer data, GDestroyNotify destroy);

/**
 * OrvaneReconnect:
 * @firstDelay: milliseconds before the first try; 0 for 1,000
 * @longestDelay: the delay doubles with each try up to this; 0 for 60,000
 * @attempts: number of tries in a row; 0 for any number
 * @reconnecting: (nullable): the next try is due in @delay milliseconds; @attempt is its number, from 1. An @attempt of 0
 *   means that there is none: the service has refused user or password, and the state stays %ORVANE_SESSION_INTERRUPTED
 * @reconnected: (nullable): the session is CONNECTED again. Loaded objects and filters are being brought up to date
 * @objectGone: (nullable): a loaded object does not exist any more; it is not followed any more, and keeps its properties.
 *   This is called after its signal "leave". Unload it as usual
 * @data: passed to the functions
 * @destroy: (nullable): releases @data when the policy is replaced or the session is finalised
 *
 * How a session connects again. The functions are called from the loop. They may do anything, also release the session, but
 * not shut the library down. Up to half of each delay is left out by chance, so that many clients do not come back together.
 */
typedef struct {
    guint firstDelay;
    guint longestDelay;
    guint attempts;
    void (*reconnecting)(OrvaneSession *session, guint attempt, guint delay, gpointer data);
    void (*reconnected)(OrvaneSession *session, gpointer data);
    void (*objectGone)(OrvaneSession *session, SkemaQormManagedObject *object, gpointer data);
    gpointer data;
    GDestroyNotify destroy;
} OrvaneReconnect;

/**
 * orvane_session_set_reconnect: (skip)
 * @session: a session
 * @reconnect: (nullable): copied; %NULL for none, which is the initial state
 *
 * Makes the session connect again automatically when it is INTERRUPTED. The state and its signals are as without it: the state
 * is %ORVANE_SESSION_INTERRUPTED until it is %ORVANE_SESSION_CONNECTED again. Set it before the connect.
 *
 * With it the session is also INTERRUPTED when the call for updates has failed three times in a row for any reason of the
 * transport, or when the service sends nothing on it for 60 seconds more than it may be silent. A peer that is gone
 * without a word is noticed within two minutes, by TCP.
 *
 * - Operations that are open end with %ORVANE_OUTCOME_DISCONNECTED and "failure" with a RequestCanceled. What was asked of the
 *   service may have been done. Calls that are made while the state is INTERRUPTED end so at the next try. During a try they
 *   end so without being sent, since the service is not identified yet.
 * - Each try is a connect from its beginning: version, certificate, login. The login needs
 *   orvane_session_set_credentials_func(), which is called for each try, or a local ticket. A session that has neither, such as
 *   one with a clone ticket or a hijacked cookie, stays INTERRUPTED as without a policy.
 * - The service must have the same version, and the same instanceUuid if it has one; otherwise the try fails, and no
 *   credentials are asked for. One that had an instanceUuid must have it. The certificate is checked as by a connect; a
 *   function for it decides anew. An answer that comes after the end of the try holds for the next one, which does not call
 *   the function for that certificate. Where there is a function, or a location of CA certificates, the login and the
 *   calls before it are sent to no peer whose certificate is not accepted, also if the session is not strict. This holds for
 *   another login of the same connection, too.
 * - Afterwards proxies and filters are the same, and are brought up to date as after another login; see
 *   orvane_session_set_credentials_func().
 * - The delays begin anew when the service has reported updates. After the last try, or when the credentials
 *   are refused by the application, the session is DISCONNECTED.
 * - When the service refuses user or password by InvalidLogin, there is no further try, whatever @attempts is: more of them
 *   could lock the account. The state stays INTERRUPTED, and reconnecting() is called with 0. To go on, disconnect and
 *   connect.
 *
 * orvane_session_disconnect() and any connect function end the tries. So does the next failure if the policy was removed.
 */
ORVANE_EXPORT void orvane_session_set_reconnect(OrvaneSession *session,
                                                const OrvaneReconnect *reconnect);

/**
 * orvane_session_get_reconnect_error:
 * @session: a session
 * @error: (out) (optional) (nullable): an error of the domain %ORVANE_ERROR, see <orvane/operation.h>
 *
 * Returns: %TRUE if the last try to connect again has failed, or the service has refused another login;
 *   otherwise %FALSE, with @error unchanged
 */
ORVANE_EXPORT gboolean orvane_session_get_reconnect_error(OrvaneSession *session, GError **error);

/**
 * orvane_session_set_strict_loads:
 * @session: a session
 * @value: whether no load and no retrieval is left pending without a reason; %FALSE at first
 *
 * Allowed at any time. With it
 * - a retrieval that fails, because of a mistyped path for instance, fails at once with the service's fault, not when the
 *   connection ends;
 * - a load of an object that the service reports as missing fails with the service's fault;
 * - a load whose proxy was released gives back its place among the eleven, and updates of objects that nobody loads
 *   take no place away.
 */
ORVANE_EXPORT void orvane_session_set_strict_loads(OrvaneSession *session, gboolean value);

/**
 * orvane_session_set_bandwidth_limit:
 * @session: a session
 * @uploadPerSecond: bytes of request bodies per second that all requests of the session send together; 0: no limit,
 *   as at first
 * @downloadPerSecond: the same for the bodies of replies that they receive
 *
 * Allowed at any time. A transfer that is faster than its part of the limit is paused until its average has fallen to
 * it; transfers in progress follow a change at once. The limit is divided equally between the requests in flight, and
 * what slow ones leave unused goes to the others. Not limited are the first piece of each body, up to 64 KiB, and
 * requests that are more than the limit has bytes. A pause for the limit does not count as inactivity.
 */
ORVANE_EXPORT void orvane_session_set_bandwidth_limit(OrvaneSession *session,
                                                      guint64 uploadPerSecond,
                                                      guint64 downloadPerSecond);

/**
 * orvane_session_set_ssl_certificate_location:
 * @session: a session
 * @file: (nullable) (type filename): a file of CA certificates
 * @path: (nullable) (type filename): a directory of them
 *
 * If either is set, the requests by which a connect finds out the version check the server's certificate
 * and name against them. The login and later calls do so only if the session is strict, see
 * orvane_session_set_strict_tls().
 */
ORVANE_EXPORT void orvane_session_set_ssl_certificate_location(OrvaneSession *session,
                                                               const char *file, const char *path);

/**
 * orvane_session_set_verify_certificate_func: (skip)
 * @session: a session
 * @func: (nullable) (scope forever) (closure data): decides on server certificates
 * @data: handed to @func
 *
 * To be set before connecting. Each request by which a connect finds out the version opens a connection of its own
 * and has @func decide on it. A rejected certificate fails the connect with an OrvaneFaultInvalidResponse of
 * errorCode 49. Until the answer has come, the state is %ORVANE_SESSION_DISCONNECTED and the connect's listener
 * is pending; another connect in the meantime ends that one with an OrvaneFaultUnexpected.
 *
 * The answer of @func replaces the check of the chain: a certificate that @func accepts is not compared with the
 * CA certificates of orvane_session_set_ssl_certificate_location(), also if both are set. Where a location is
 * set, the name in the URL is still checked against the certificate, whatever @func answers. A function that
 * requires the chain to be good as well asks SSL_GetServerCertErrors() and refuses what has errors:
 *
 *   const guint64 errors = SSL_GetServerCertErrors(storeContext, certificate, "host.example", NULL);
 *   done(context, errors == 0 && IsOneOfOurs(certificate));
 *
 * It checks issuer, time, use and name by the CA certificates of the location and of this machine. It is called at most
 * once for a handshake.
 *
 * The calls that follow use the accepted connection if they can. Otherwise they use others that were not
 * checked, unless the session is strict; see orvane_session_set_strict_tls(). A login that the session sends again by itself
 * uses no such connection. Each decision is logged at the audit
 * level.
 */
ORVANE_EXPORT void orvane_session_set_verify_certificate_func(OrvaneSession *session,
                                                              OrvaneVerifyCertificateFunc func,
                                                              gpointer data);

/**
 * OrvaneUrlKind:
 * @ORVANE_URL_INVALID: no http or https URL, or one that parsers read differently, such as "http://localhos%74/"
 * @ORVANE_URL_UNENCRYPTED: http to another machine
 * @ORVANE_URL_LOOPBACK: http to this machine, named as "localhost", an address of 127.0.0.0/8, or ::1
 * @ORVANE_URL_ENCRYPTED: https
 */
typedef enum {
    ORVANE_URL_INVALID = 0,
    ORVANE_URL_UNENCRYPTED = 1,
    ORVANE_URL_LOOPBACK = 2,
    ORVANE_URL_ENCRYPTED = 3,
} OrvaneUrlKind;

/**
 * orvane_session_judge_url:
 * @url: (nullable): a URL, as given to a connect
 *
 * Reads a URL as the transport does; without a scheme it is http, whatever its host is called. A strict session
 * connects to %ORVANE_URL_ENCRYPTED and, without a proxy, to %ORVANE_URL_LOOPBACK. May be called before
 * orvane_init().
 *
 * Returns: its kind
 */
ORVANE_EXPORT OrvaneUrlKind orvane_session_judge_url(const char *url);

/**
 * orvane_session_set_strict_tls:
 * @session: a session
 * @value: whether every connection of the session is checked; %FALSE at first
 *
 * Holds from the next connect on. Then nothing of the session, in particular no login, is sent over a connection
 * that was not checked:
 *
 * - A function given to orvane_session_set_verify_certificate_func() decides on each connection, in place of a
 *   check of the chain. It is not called again for a certificate that it has accepted since the connect. If a
 *   call needs a new connection whose certificate is another one, the answer must come at once: otherwise the
 *   call fails with an OrvaneFaultInvalidResponse of errorCode 49, and a later %TRUE counts for later connections.
 * - Without a function, certificate and name are checked by the CA certificates of
 *   orvane_session_set_ssl_certificate_location(), or by those of this machine if no location is set.
 * - A URL that is not https is refused with the same fault before anything is sent, unless it is
 *   %ORVANE_URL_LOOPBACK, no proxy is set, and the connection leads to a loopback address;
 *   see orvane_session_judge_url().
 *
 * Without it, a login that goes over a connection that was not checked leaves an audit line in the log.
 */
ORVANE_EXPORT void orvane_session_set_strict_tls(OrvaneSession *session, gboolean value);

/**
 * orvane_session_target_ferry:
 * @session: a session that is not connected yet
 *
 * Makes it a session to the second service, permanently.
 */
ORVANE_EXPORT void orvane_session_target_ferry(OrvaneSession *session);

/**
 * orvane_session_target_is_ferry:
 * @session: a session
 *
 * Returns: whether it is a session to the second service
 */
ORVANE_EXPORT gboolean orvane_session_target_is_ferry(OrvaneSession *session);

/**
 * orvane_session_connect:
 * @session: a session in state %ORVANE_SESSION_DISCONNECTED
 * @url: SOAP URL of the main service ("https://host/sdk"), or root URL of the second ("https://host")
 * @user: user name
 * @password: password; the library's copy is wiped once it was sent
 * @listener: (nullable): succeeds without a result when the session can be used: for the main service,
 *     when the roles of the user are known; otherwise with the login
 *
 * Finds out the version of the service, logs in, starts the update stream. May return before anything is
 * sent.
 *
 * If any step fails, the state is %ORVANE_SESSION_DISCONNECTED again, and @listener has the fault: that
 * of the call; an OrvaneFaultInvalidResponse with the transport's error and the HTTP status; or an
 * OrvaneFaultUnexpected where neither is known. @listener fails with the last, before this returns, for a
 * %NULL or unusable @url, and on a session in any other state. The connection of that session, or the connect
 * in progress, is then over as well: its state becomes DISCONNECTED, and the listener of that connect
 * fails with the same fault.
 *
 * If the session is disconnected, interrupted or released after it became CONNECTED and before the roles are
 * known, @listener fails with a RequestCanceled: when the session is interrupted, or else before the
 * disconnect's listener is notified.
 *
 * Without @user or @password this only warns.
 */
ORVANE_EXPORT void orvane_session_connect(OrvaneSession *session, const char *url, const char *user,
                                          const char *password, OrvaneListener *listener);

/**
 * orvane_session_clone:
 * @session: a session in state %ORVANE_SESSION_DISCONNECTED, for the main service
 * @url: SOAP URL
 * @cloneTicket: a ticket that another session got from AcquireCloneTicket
 * @listener: (nullable): see orvane_session_connect()
 *
 * Connects as the user of another session. The second service has no clone tickets: to try is a
 * programmer's error, which ends the process at the login.
 */
ORVANE_EXPORT void orvane_session_clone(OrvaneSession *session, const char *url,
                                        const char *cloneTicket, OrvaneListener *listener);

/**
 * orvane_session_sspi_connect:
 * @session: a session in state %ORVANE_SESSION_DISCONNECTED
 * @url: SOAP URL
 * @sspiArgument: (nullable): argument of the single sign-on
 * @listener: (nullable): see orvane_session_connect()
 *
 * Connects by single sign-on, which this platform does not have: the connect always fails at the login, with
 * an OrvaneFaultUnexpected.
 */
ORVANE_EXPORT void orvane_session_sspi_connect(OrvaneSession *session, const char *url,
                                               const char *sspiArgument, OrvaneListener *listener);

/**
 * orvane_session_hijack:
 * @session: a session in state %ORVANE_SESSION_DISCONNECTED
 * @url: SOAP URL
 * @cookie: the cookie of an existing session, as "name=value"; sent to the URL's host only. A cookie with
 *     control bytes is refused with an OrvaneFaultUnexpected
 * @listener: (nullable): see orvane_session_connect()
 *
 * Uses a login that belongs to somebody else. It is never logged out: the listener of
 * orvane_session_disconnect() succeeds in the next turn of the loop, and the session stays in
 * %ORVANE_SESSION_DISCONNECTING until it is released. A connect that was still loading the roles then fails
 * with a RequestCanceled when the session is released.
 */
ORVANE_EXPORT void orvane_session_hijack(OrvaneSession *session, const char *url,
                                         const char *cookie, OrvaneListener *listener);

/**
 * orvane_session_connect_local:
 * @session: a session in state %ORVANE_SESSION_DISCONNECTED, for the main service
 * @useHttps: whether to use https
 * @user: user name
 * @listener: (nullable): see orvane_session_connect()
 *
 * Connects to the service of this machine, without a password: the service writes a ticket to a file that
 * only the user can read. The file must be a regular file of at most 4 KiB, and not a link.
 */
ORVANE_EXPORT void orvane_session_connect_local(OrvaneSession *session, gboolean useHttps,
                                                const char *user, OrvaneListener *listener);

/**
 * orvane_session_disconnect:
 * @session: a session in state %ORVANE_SESSION_CONNECTED or %ORVANE_SESSION_INTERRUPTED
 * @listener: (nullable): acknowledged last, when the session is DISCONNECTED and cleaned up: succeeds, or
 *     fails with the fault of the logout
 *
 * Logs out. The session is disconnected by any answer, and also if no answer could be read. In another state
 * @listener fails without a fault before this returns, and nothing changes.
 */
ORVANE_EXPORT void orvane_session_disconnect(OrvaneSession *session, OrvaneListener *listener);

/**
 * orvane_session_get_local_soap_url:
 * @session: a session for the main service; with the second one this ends the process
 * @useHttps: whether to use https
 *
 * Looks up the port in the configuration of this machine's web proxy: the file named by
 * HALDEN_PROXY_FILEPATH, or /etc/halden/nodehub/proxy.xml.
 *
 * Returns: (transfer full): a URL such as "https://127.0.0.1:443/sdk"; "https://localhost/sdk" if the file has
 *     no port
 */
ORVANE_EXPORT char *orvane_session_get_local_soap_url(OrvaneSession *session, gboolean useHttps);

/**
 * orvane_session_invoke_method: (skip)
 * @session: the session of @object
 * @object: the managed object to call
 * @methodName: the operation's name on the wire
 * @listener: (nullable): acknowledged with the outcome. The method stubs set the type of the result before
 * @...: pairs of a name and a const #GValue *, ended by a %NULL name; a zeroed value is left out. They are not
 *     used after this returns
 *
 * All method stubs call this. If the call cannot be sent (the session has no URL or version, the transport is
 * shut down), @listener stays in the state that it has, and no signal is emitted.
 */
ORVANE_EXPORT void orvane_session_invoke_method(OrvaneSession *session, GObject *object,
                                                const char *methodName, OrvaneListener *listener,
                                                ...) G_GNUC_NULL_TERMINATED;

/**
 * orvane_session_cancel_listener:
 * @session: the session of a call
 * @listener: (transfer full): the listener that was handed to it
 *
 * Gives up a call: no more signals are emitted on @listener. The request stays open, and the reference that
 * was handed over is released when the reply comes or the connection ends. Hold another reference to use
 * @listener after this.
 */
ORVANE_EXPORT void orvane_session_cancel_listener(OrvaneSession *session, OrvaneListener *listener);

G_DEFINE_AUTOPTR_CLEANUP_FUNC(OrvaneSession, g_object_unref)

G_END_DECLS
