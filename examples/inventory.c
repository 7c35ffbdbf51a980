/* inventory URL USER PASSWORD -- connects to a service and prints its inventory */
#define GLIB_DISABLE_DEPRECATION_WARNINGS /* lists are GValueArrays */
#include <orvane/orvane.h>
#include <orvane/orvaneGlib.h>
#include <orvane/schema/ozy.h>

int main(int argc, char **argv) {
    if (argc != 4 || !orvane_glib_init(NULL))
        return 2;
    g_autoptr(OrvaneSession) session = orvane_session_new();
    g_autoptr(OrvaneListener) login = orvane_listener_new(); /* one listener for each operation */
    g_autoptr(OrvaneListener) retrieval = orvane_listener_new();
    g_autoptr(OrvaneListener) logout = orvane_listener_new();
    orvane_session_set_ssl_certificate_location(session, g_getenv("ORVANE_CA"), "/etc/ssl/certs");
    orvane_session_set_strict_tls(session, TRUE);
    orvane_session_set_strict_loads(session, TRUE);
    orvane_session_connect(session, argv[1], argv[2], argv[3], login);
    if (!orvane_glib_wait(login, -1)) {
        g_autoptr(GError) error = NULL;
        orvane_listener_get_error(login, &error);
        return g_printerr("not connected: %s\n", error->message), 1;
    }
    g_autoptr(GObject) content = NULL;
    g_autoptr(SkemaQormManagedObject) root = NULL;
    g_object_get(session, "serviceInstanceContent", &content, NULL);
    g_object_get(content, "rootFolder", &root, NULL);
    GObject *down = orvane_traversal_spec_new("down", SKEMA_TYPE_OZY_FOLDER, "childEntity", FALSE,
                                              TRUE, orvane_selection_spec_new("down"),
                                              orvane_selection_spec_new("vms"), NULL);
    GObject *vms = orvane_traversal_spec_new("vms", SKEMA_TYPE_OZY_DATACENTER, "vmFolder", FALSE,
                                             TRUE, orvane_selection_spec_new("down"), NULL);
    GObject *from = orvane_object_spec_new(root, FALSE, TRUE, down, vms, NULL);
    GObject *names = orvane_property_spec_new(SKEMA_TYPE_OZY_MANAGED_ENTITY, FALSE, "name", NULL);
    GObject *filter = orvane_filter_spec_new(TRUE, from, names, NULL);
    GValueArray *filters = orvane_filter_spec_set_new(TRUE, filter, NULL);
    orvane_session_retrieve_contents(session, filters, retrieval);
    g_value_array_free(filters);
    g_auto(GValue) result = G_VALUE_INIT;
    if (!orvane_glib_wait(retrieval, 60000) || !orvane_listener_get_result(retrieval, &result))
        return 1;
    const GValueArray *found = g_value_get_boxed(&result);
    for (guint i = 0; i < found->n_values; i++) {
        GObject *object = g_value_get_object(&found->values[i]);
        g_autofree char *name = NULL;
        g_object_get(object, "name", &name, NULL);
        g_print("%-28s %s\n", G_OBJECT_TYPE_NAME(object), name);
    }
    orvane_session_disconnect(session, logout);
    return !orvane_glib_wait(logout, 60000);
}
