/* The main service. Its URL is the SOAP URL; its documents are under it. */
#include <orvane/schema/ozy.h>

#include "ozy/lib/orvane/session/orvaneServer.h"

namespace {

SkemaQormManagedObject *CreateServiceInstance(OrvaneServer *) {
    return SKEMA_QORM_MANAGED_OBJECT(g_object_new(SKEMA_TYPE_OZY_SERVICE_INSTANCE, nullptr));
}

void RetrieveContent(OrvaneServer *, SkemaQormManagedObject *serviceInstance,
                     OrvaneListener *listener) {
    skema_ozy_service_instance_retrieve_content(SKEMA_OZY_SERVICE_INSTANCE(serviceInstance),
                                                listener);
}

char *GetServiceVersionsUrl(OrvaneServer *, const char *url) {
    return g_strdup_printf("%s/ozyServiceVersions.xml", url);
}

char *GetLegacyVersionsUrl(OrvaneServer *, const char *url) {
    return g_strdup_printf("%s/ozyService?wsdl", url);
}

void Login(OrvaneServer *, SkemaQormManagedObject *sessionManager, const char *user,
           const char *password, const char *locale, OrvaneListener *listener) {
    skema_ozy_session_manager_login(SKEMA_OZY_SESSION_MANAGER(sessionManager), user, password,
                                    locale, listener);
}

void LoginBySspi(OrvaneServer *, SkemaQormManagedObject *sessionManager, const char *token,
                 const char *locale, OrvaneListener *listener) {
    skema_ozy_session_manager_login_by_sspi(SKEMA_OZY_SESSION_MANAGER(sessionManager), token,
                                            locale, listener);
}

void AcquireLocalTicket(OrvaneServer *, SkemaQormManagedObject *sessionManager, const char *user,
                        OrvaneListener *listener) {
    skema_ozy_session_manager_acquire_local_ticket(SKEMA_OZY_SESSION_MANAGER(sessionManager), user,
                                                   listener);
}

void CloneSession(OrvaneServer *, SkemaQormManagedObject *sessionManager, const char *ticket,
                  OrvaneListener *listener) {
    skema_ozy_session_manager_clone_session(SKEMA_OZY_SESSION_MANAGER(sessionManager), ticket,
                                            listener);
}

void Logout(OrvaneServer *, SkemaQormManagedObject *sessionManager, OrvaneListener *listener) {
    skema_ozy_session_manager_logout(SKEMA_OZY_SESSION_MANAGER(sessionManager), listener);
}

void KeepAlive(OrvaneServer *, SkemaQormManagedObject *serviceInstance, OrvaneListener *listener) {
    skema_ozy_service_instance_current_time(SKEMA_OZY_SERVICE_INSTANCE(serviceInstance), listener);
}

char *GetSoapUrl(OrvaneServer *, const char *url) {
    return g_strdup(url);
}

constexpr OrvaneServerSlots kSlots = {
    .create_service_instance = CreateServiceInstance,
    .service_instance_retrieve_content = RetrieveContent,
    .get_service_versions_url = GetServiceVersionsUrl,
    .get_legacy_versions_url = GetLegacyVersionsUrl,
    .session_manager_login = Login,
    .session_manager_login_by_sspi = LoginBySspi,
    .session_manager_acquire_local_ticket = AcquireLocalTicket,
    .session_manager_clone_session = CloneSession,
    .session_manager_logout = Logout,
    .keep_alive = KeepAlive,
    .get_soap_url = GetSoapUrl,
};

} // namespace

typedef OrvaneServer OrvaneOzyServer;
typedef OrvaneServerClass OrvaneOzyServerClass;

G_DEFINE_TYPE(OrvaneOzyServer, orvane_ozy_server, ORVANE_TYPE_SERVER)

static void orvane_ozy_server_init(OrvaneOzyServer *) {}

static void orvane_ozy_server_class_init(OrvaneOzyServerClass *klass) {
    klass->slots = kSlots;
}
