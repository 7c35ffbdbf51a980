/* inventory URL USER PASSWORD -- connects to a service and prints what is in its inventory */
#include <orvane/inventory.h>
#include <orvane/orvane.h>
#include <orvane/orvaneGlib.h>
#include <orvane/schema/ozy.h>

int main(int argc, char **argv) {
    if (argc != 4 || !orvane_glib_init(NULL))
        return 2;
    g_autoptr(GError) error = NULL;
    g_autoptr(OrvaneSession) session = orvane_session_new();
    g_autoptr(OrvaneListener) login = orvane_listener_new(); /* one listener for each operation */
    g_autoptr(OrvaneListener) logout = orvane_listener_new();
    orvane_session_set_ssl_certificate_location(session, g_getenv("ORVANE_CA"), "/etc/ssl/certs");
    orvane_session_set_strict_tls(session, TRUE);
    orvane_session_connect(session, argv[1], argv[2], argv[3], login);
    if (!orvane_glib_wait(login, -1) && orvane_listener_get_error(login, &error))
        return g_printerr("not connected: %s\n", error->message), 1;

    static const char *const properties[] = {"name", NULL};
    g_autoptr(OrvaneInventory) all =
        orvane_inventory_new(session, SKEMA_TYPE_OZY_MANAGED_ENTITY, properties);
    while (!orvane_inventory_is_ready(all) && !orvane_inventory_get_error(all))
        g_main_context_iteration(NULL, TRUE);
    for (guint i = 0; i < g_list_model_get_n_items(G_LIST_MODEL(all)); i++) {
        g_autoptr(GObject) object = g_list_model_get_item(G_LIST_MODEL(all), i);
        g_autofree char *name = orvane_object_get_path_text(object, "name");
        g_print("%-28s %s\n", G_OBJECT_TYPE_NAME(object), name);
    }
    orvane_session_disconnect(session, logout);
    return !orvane_glib_wait(logout, 60000) || orvane_inventory_get_error(all);
}
