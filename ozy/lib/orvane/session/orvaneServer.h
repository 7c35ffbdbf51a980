/*
 * orvaneServer.h -- what differs between the services that a session can talk to: the classes of its
 * service instance and session manager, the places of its documents, the keep-alive
 *
 *   slot                       OrvaneOzyServer             OrvaneFerryServer
 *   get_service_versions_url   URL/ozyServiceVersions.xml  URL/ferryServiceVersions.xml
 *   get_legacy_versions_url    URL/ozyService?wsdl         none
 *   get_soap_url               URL                         URL/sdk
 *
 * The session names no class of a service; it asks its OrvaneServer, an object without state.
 *
 * Ownership: URLs and the service instance are the caller's; arguments stay the caller's.
 * Errors:    asking a service for what it does not have (clone and local ticket of the second one) is
 *            a programmer's error and panics.
 * Threads:   the loop's.
 */
#pragma once

#include <orvane/session.h>

G_BEGIN_DECLS

typedef struct {
    GObject parent;
} OrvaneServer;

typedef struct {
    GObjectClass parent;
    /* a new proxy, one reference of which is the caller's */
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
