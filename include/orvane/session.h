/*
 * session.h -- one connection to one service endpoint
 */
#pragma once

#include <orvane/listener.h>

G_BEGIN_DECLS

typedef enum {
    ORVANE_SESSION_DISCONNECTED = 1,
    ORVANE_SESSION_CONNECTING = 2,
    ORVANE_SESSION_CONNECTED = 4,
    ORVANE_SESSION_DISCONNECTING = 8,
    ORVANE_SESSION_INTERRUPTED = 16,
} OrvaneSessionState;

typedef struct _OrvaneSessionPrivate OrvaneSessionPrivate;

struct _OrvaneSession {
    GObject parent;
    OrvaneSessionPrivate *priv;
};

typedef struct {
    GObjectClass parent;
    void (*roles_changed)(OrvaneSession *session);
} OrvaneSessionClass;

#define ORVANE_TYPE_SESSION (orvane_session_get_type())
#define ORVANE_SESSION(obj) (G_TYPE_CHECK_INSTANCE_CAST((obj), ORVANE_TYPE_SESSION, OrvaneSession))
#define ORVANE_IS_SESSION(obj) (G_TYPE_CHECK_INSTANCE_TYPE((obj), ORVANE_TYPE_SESSION))

typedef void (*OrvaneVerifyCertificateDoneFunc)(GObject *context, gboolean accepted);
typedef gint (*OrvaneVerifyCertificateFunc)(GObject *context, gpointer storeContext,
                                            gpointer certificate, gpointer data,
                                            OrvaneVerifyCertificateDoneFunc done);

ORVANE_EXPORT GType orvane_session_get_type(void);
ORVANE_EXPORT GType orvane_session_state_get_type(void);
ORVANE_EXPORT OrvaneSession *orvane_session_new(void);
ORVANE_EXPORT OrvaneSessionState orvane_session_get_state(OrvaneSession *session);
ORVANE_EXPORT const char *orvane_session_get_version(OrvaneSession *session);
ORVANE_EXPORT const char *orvane_session_get_namespace(OrvaneSession *session);
ORVANE_EXPORT GPtrArray *orvane_session_get_all_versions(OrvaneSession *session);
ORVANE_EXPORT gboolean orvane_session_has_version(OrvaneSession *session, const char *version);
ORVANE_EXPORT SkemaQormManagedObject *
orvane_session_get_authorization_manager(OrvaneSession *session);
ORVANE_EXPORT OrvaneMOMgr *orvane_session_get_momgr(OrvaneSession *session);
ORVANE_EXPORT SkemaQormManagedObject *orvane_session_get_object(OrvaneSession *session,
                                                                const char *id, GType type);
ORVANE_EXPORT void orvane_session_load_object(OrvaneSession *session, gboolean partialUpdates,
                                              SkemaQormManagedObject *object,
                                              OrvaneListener *listener);
ORVANE_EXPORT void orvane_session_unload_object(OrvaneSession *session,
                                                SkemaQormManagedObject *object, gboolean clear);
ORVANE_EXPORT void orvane_session_retrieve_contents(OrvaneSession *session,
                                                    GValueArray *filterSpecSet,
                                                    OrvaneListener *listener);
ORVANE_EXPORT void orvane_session_load_properties(OrvaneSession *session,
                                                  SkemaQormManagedObject *object,
                                                  OrvaneListener *listener, gboolean all, ...)
    G_GNUC_NULL_TERMINATED;
ORVANE_EXPORT gboolean orvane_session_query_privilege(OrvaneSession *session,
                                                      SkemaQormManagedObject *object,
                                                      const char *privilege);

ORVANE_EXPORT void orvane_session_set_useragent(OrvaneSession *session, const char *text);
ORVANE_EXPORT void orvane_session_set_use_fresh_connection(OrvaneSession *session, gboolean value);
ORVANE_EXPORT void orvane_session_set_ssl_certificate_location(OrvaneSession *session,
                                                               const char *file, const char *path);
ORVANE_EXPORT void
orvane_session_set_verify_certificate_func(OrvaneSession *session, OrvaneVerifyCertificateFunc func,
                                           gpointer data);
ORVANE_EXPORT void orvane_session_target_ferry(OrvaneSession *session);
ORVANE_EXPORT gboolean orvane_session_target_is_ferry(OrvaneSession *session);

ORVANE_EXPORT void orvane_session_connect(OrvaneSession *session, const char *url, const char *user,
                                          const char *password, OrvaneListener *listener);
ORVANE_EXPORT void orvane_session_clone(OrvaneSession *session, const char *url,
                                        const char *cloneTicket, OrvaneListener *listener);
ORVANE_EXPORT void orvane_session_sspi_connect(OrvaneSession *session, const char *url,
                                               const char *sspiArgument, OrvaneListener *listener);
ORVANE_EXPORT void orvane_session_hijack(OrvaneSession *session, const char *url,
                                         const char *cookie, OrvaneListener *listener);
ORVANE_EXPORT void orvane_session_connect_local(OrvaneSession *session, gboolean useHttps,
                                                const char *user, OrvaneListener *listener);
ORVANE_EXPORT void orvane_session_disconnect(OrvaneSession *session, OrvaneListener *listener);
ORVANE_EXPORT char *orvane_session_get_local_soap_url(OrvaneSession *session, gboolean useHttps);

ORVANE_EXPORT void orvane_session_invoke_method(OrvaneSession *session, GObject *object,
                                                const char *methodName, OrvaneListener *listener,
                                                ...) G_GNUC_NULL_TERMINATED;
ORVANE_EXPORT void orvane_session_cancel_listener(OrvaneSession *session, OrvaneListener *listener);

G_DEFINE_AUTOPTR_CLEANUP_FUNC(OrvaneSession, g_object_unref)

G_END_DECLS
