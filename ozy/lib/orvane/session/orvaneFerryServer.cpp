/* The second service. Calls are posted to "/sdk" under its URL. */
#include <orvane/schema/ferry.h>

#include "lib/misc/panic.h"
#include "ozy/lib/orvane/session/orvaneServer.h"

namespace {

SkemaQormManagedObject *CreateServiceInstance(OrvaneServer *) {
    return SKEMA_QORM_MANAGED_OBJECT(g_object_new(SKEMA_TYPE_FERRY_SERVICE_INSTANCE, nullptr));
}

void RetrieveContent(OrvaneServer *, SkemaQormManagedObject *serviceInstance,
                     OrvaneListener *listener) {
    skema_ferry_service_instance_retrieve_content(SKEMA_FERRY_SERVICE_INSTANCE(serviceInstance),
                                                  listener);
}

char *GetServiceVersionsUrl(OrvaneServer *, const char *url) {
    return g_strdup_printf("%s/ferryServiceVersions.xml", url);
}

char *GetLegacyVersionsUrl(OrvaneServer *, const char *) {
    return nullptr; /* this service never had that document */
}

void Login(OrvaneServer *, SkemaQormManagedObject *sessionManager, const char *user,
           const char *password, const char *locale, OrvaneListener *listener) {
    skema_ferry_session_manager_login(SKEMA_FERRY_SESSION_MANAGER(sessionManager), user, password,
                                      locale, listener);
}

void LoginBySspi(OrvaneServer *, SkemaQormManagedObject *sessionManager, const char *token,
                 const char *locale, OrvaneListener *listener) {
    skema_ferry_session_manager_login_by_sspi(SKEMA_FERRY_SESSION_MANAGER(sessionManager), token,
                                              locale, listener);
}

void AcquireLocalTicket(OrvaneServer *, SkemaQormManagedObject *, const char *, OrvaneListener *) {
    NOT_IMPLEMENTED();
}

void CloneSession(OrvaneServer *, SkemaQormManagedObject *, const char *, OrvaneListener *) {
    NOT_IMPLEMENTED();
}

void Logout(OrvaneServer *, SkemaQormManagedObject *sessionManager, OrvaneListener *listener) {
    skema_ferry_session_manager_logout(SKEMA_FERRY_SESSION_MANAGER(sessionManager), listener);
}

void KeepAlive(OrvaneServer *, SkemaQormManagedObject *, OrvaneListener *) {
    /* this service has no keep-alive call */
}

char *GetSoapUrl(OrvaneServer *, const char *url) {
    return g_strdup_printf("%s/sdk", url);
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

typedef OrvaneServer OrvaneFerryServer;
typedef OrvaneServerClass OrvaneFerryServerClass;

G_DEFINE_TYPE(OrvaneFerryServer, orvane_ferry_server, ORVANE_TYPE_SERVER)

static void orvane_ferry_server_init(OrvaneFerryServer *) {}

static void orvane_ferry_server_class_init(OrvaneFerryServerClass *klass) {
    klass->slots = kSlots;
}
