#include "ozy/lib/orvane/session/orvaneServer.h"

G_DEFINE_ABSTRACT_TYPE(OrvaneServer, orvane_server, G_TYPE_OBJECT)

static void orvane_server_init(OrvaneServer *) {}

/* GObject zeroes the record; each service's class fills the slots. */
static void orvane_server_class_init(OrvaneServerClass *) {}

SkemaQormManagedObject *orvane_server_create_service_instance(OrvaneServer *server) {
    return ORVANE_SERVER_GET_CLASS(server)->slots.create_service_instance(server);
}

void orvane_server_service_instance_retrieve_content(OrvaneServer *server,
                                                     SkemaQormManagedObject *serviceInstance,
                                                     OrvaneListener *listener) {
    ORVANE_SERVER_GET_CLASS(server)->slots.service_instance_retrieve_content(
        server, serviceInstance, listener);
}

char *orvane_server_get_service_versions_url(OrvaneServer *server, const char *url) {
    return ORVANE_SERVER_GET_CLASS(server)->slots.get_service_versions_url(server, url);
}

char *orvane_server_get_legacy_versions_url(OrvaneServer *server, const char *url) {
    return ORVANE_SERVER_GET_CLASS(server)->slots.get_legacy_versions_url(server, url);
}

void orvane_server_session_manager_login(OrvaneServer *server,
                                         SkemaQormManagedObject *sessionManager, const char *user,
                                         const char *password, const char *locale,
                                         OrvaneListener *listener) {
    ORVANE_SERVER_GET_CLASS(server)->slots.session_manager_login(server, sessionManager, user,
                                                                 password, locale, listener);
}

void orvane_server_session_manager_login_by_sspi(OrvaneServer *server,
                                                 SkemaQormManagedObject *sessionManager,
                                                 const char *token, const char *locale,
                                                 OrvaneListener *listener) {
    ORVANE_SERVER_GET_CLASS(server)->slots.session_manager_login_by_sspi(server, sessionManager,
                                                                         token, locale, listener);
}

void orvane_server_session_manager_acquire_local_ticket(OrvaneServer *server,
                                                        SkemaQormManagedObject *sessionManager,
                                                        const char *user,
                                                        OrvaneListener *listener) {
    ORVANE_SERVER_GET_CLASS(server)->slots.session_manager_acquire_local_ticket(
        server, sessionManager, user, listener);
}

void orvane_server_session_manager_clone_session(OrvaneServer *server,
                                                 SkemaQormManagedObject *sessionManager,
                                                 const char *ticket, OrvaneListener *listener) {
    ORVANE_SERVER_GET_CLASS(server)->slots.session_manager_clone_session(server, sessionManager,
                                                                         ticket, listener);
}

void orvane_server_session_manager_logout(OrvaneServer *server,
                                          SkemaQormManagedObject *sessionManager,
                                          OrvaneListener *listener) {
    ORVANE_SERVER_GET_CLASS(server)->slots.session_manager_logout(server, sessionManager, listener);
}

void orvane_server_keep_alive(OrvaneServer *server, SkemaQormManagedObject *serviceInstance,
                              OrvaneListener *listener) {
    ORVANE_SERVER_GET_CLASS(server)->slots.keep_alive(server, serviceInstance, listener);
}

char *orvane_server_get_soap_url(OrvaneServer *server, const char *url) {
    return ORVANE_SERVER_GET_CLASS(server)->slots.get_soap_url(server, url);
}
