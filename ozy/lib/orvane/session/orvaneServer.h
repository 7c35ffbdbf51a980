/*
 * orvaneServer.h -- the differences between the services that a session can talk to: the classes of the
 * service instance and the session manager, the URLs of the documents, the keep-alive
 *
 *   slot                       OrvaneOzyServer             OrvaneFerryServer
 *   get_service_versions_url   URL/ozyServiceVersions.xml  URL/ferryServiceVersions.xml
 *   get_legacy_versions_url    URL/ozyService?wsdl         none
 *   get_soap_url               URL                         URL/sdk
 *
 * The session names no class of a service; it calls its OrvaneServer, an object without state.
 *
 * Ownership: the caller owns the URLs and the service instance that are returned, and all arguments.
 * Errors:    to call a slot that a service does not have (clone and local ticket of the second one) is a
 *            programmer's error and panics.
 * Threads:   the loop's.
 */
#pragma once

#include <orvane/session.h>

G_BEGIN_DECLS

typedef struct {
    GObject parent;
} OrvaneServer;

/* The functions of one service. None is NULL. */
typedef struct {
    /* (transfer floating): a new proxy */
    SkemaQormManagedObject *(*create_service_instance)(OrvaneServer *server);
    void (*service_instance_retrieve_content)(OrvaneServer *server,
                                              SkemaQormManagedObject *serviceInstance,
                                              OrvaneListener *listener);
    char *(*get_service_versions_url)(OrvaneServer *server, const char *url);
    /* NULL if the service has no such document */
    char *(*get_legacy_versions_url)(OrvaneServer *server, const char *url);
    void (*session_manager_login)(OrvaneServer *server, SkemaQormManagedObject *sessionManager,
                                  const char *user, const char *password, const char *locale,
                                  OrvaneListener *listener);
    void (*session_manager_login_by_sspi)(OrvaneServer *server,
                                          SkemaQormManagedObject *sessionManager, const char *token,
                                          const char *locale, OrvaneListener *listener);
    void (*session_manager_acquire_local_ticket)(OrvaneServer *server,
                                                 SkemaQormManagedObject *sessionManager,
                                                 const char *user, OrvaneListener *listener);
    void (*session_manager_clone_session)(OrvaneServer *server,
                                          SkemaQormManagedObject *sessionManager,
                                          const char *ticket, OrvaneListener *listener);
    void (*session_manager_logout)(OrvaneServer *server, SkemaQormManagedObject *sessionManager,
                                   OrvaneListener *listener);
    void (*keep_alive)(OrvaneServer *server, SkemaQormManagedObject *serviceInstance,
                       OrvaneListener *listener);
    char *(*get_soap_url)(OrvaneServer *server, const char *url);
} OrvaneServerSlots;

typedef struct {
    GObjectClass parent;
    OrvaneServerSlots slots;
} OrvaneServerClass;

#define ORVANE_TYPE_SERVER (orvane_server_get_type())
#define ORVANE_SERVER(obj) (G_TYPE_CHECK_INSTANCE_CAST((obj), ORVANE_TYPE_SERVER, OrvaneServer))
#define ORVANE_SERVER_CLASS(klass)                                                                 \
    (G_TYPE_CHECK_CLASS_CAST((klass), ORVANE_TYPE_SERVER, OrvaneServerClass))
#define ORVANE_SERVER_GET_CLASS(obj)                                                               \
    (G_TYPE_INSTANCE_GET_CLASS((obj), ORVANE_TYPE_SERVER, OrvaneServerClass))

#define ORVANE_TYPE_OZY_SERVER (orvane_ozy_server_get_type())
#define ORVANE_IS_OZY_SERVER(obj) (G_TYPE_CHECK_INSTANCE_TYPE((obj), ORVANE_TYPE_OZY_SERVER))
#define ORVANE_TYPE_FERRY_SERVER (orvane_ferry_server_get_type())
#define ORVANE_IS_FERRY_SERVER(obj) (G_TYPE_CHECK_INSTANCE_TYPE((obj), ORVANE_TYPE_FERRY_SERVER))

GType orvane_server_get_type(void);
GType orvane_ozy_server_get_type(void);   /* the main service */
GType orvane_ferry_server_get_type(void); /* the second service */

SkemaQormManagedObject *orvane_server_create_service_instance(OrvaneServer *server);
void orvane_server_service_instance_retrieve_content(OrvaneServer *server,
                                                     SkemaQormManagedObject *serviceInstance,
                                                     OrvaneListener *listener);
char *orvane_server_get_service_versions_url(OrvaneServer *server, const char *url);
char *orvane_server_get_legacy_versions_url(OrvaneServer *server, const char *url);
void orvane_server_session_manager_login(OrvaneServer *server,
                                         SkemaQormManagedObject *sessionManager, const char *user,
                                         const char *password, const char *locale,
                                         OrvaneListener *listener);
void orvane_server_session_manager_login_by_sspi(OrvaneServer *server,
                                                 SkemaQormManagedObject *sessionManager,
                                                 const char *token, const char *locale,
                                                 OrvaneListener *listener);
void orvane_server_session_manager_acquire_local_ticket(OrvaneServer *server,
                                                        SkemaQormManagedObject *sessionManager,
                                                        const char *user, OrvaneListener *listener);
void orvane_server_session_manager_clone_session(OrvaneServer *server,
                                                 SkemaQormManagedObject *sessionManager,
                                                 const char *ticket, OrvaneListener *listener);
void orvane_server_session_manager_logout(OrvaneServer *server,
                                          SkemaQormManagedObject *sessionManager,
                                          OrvaneListener *listener);
void orvane_server_keep_alive(OrvaneServer *server, SkemaQormManagedObject *serviceInstance,
                              OrvaneListener *listener);
char *orvane_server_get_soap_url(OrvaneServer *server, const char *url);

G_END_DECLS
