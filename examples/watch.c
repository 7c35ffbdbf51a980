/* watch URL USER PASSWORD PROPERTY... -- shows properties of all machines and each change of them, until interrupted. A
 * login that expires and a connection that is lost are renewed; what has changed meanwhile is shown then. */
#include <signal.h>

#include <glib-unix.h>
#include <orvane/inventory.h>
#include <orvane/orvane.h>
#include <orvane/orvaneGlib.h>
#include <orvane/schema/ozy.h>

static gboolean OnInterrupt(gpointer loop) {
    g_main_loop_quit(loop);
    return G_SOURCE_REMOVE;
}

/* The path is the service's own, and may lead deeper than the property that is watched. */
static void OnChanged(OrvaneInventory *machines, SkemaQormManagedObject *machine, const char *path,
                      gpointer data) {
    (void)machines, (void)data;
    g_autofree char *text = orvane_object_get_path_text(G_OBJECT(machine), path);
    g_print("%s %s = %s\n", machine->id, path, text ? text : "");
}

static void OnReady(OrvaneInventory *machines, char **properties) {
    for (guint i = 0; i < g_list_model_get_n_items(G_LIST_MODEL(machines)); i++) {
        g_autoptr(SkemaQormManagedObject) machine =
            g_list_model_get_item(G_LIST_MODEL(machines), i);
        for (char **property = properties; *property; property++)
            OnChanged(machines, machine, *property, NULL);
    }
}

static void OnError(OrvaneInventory *machines, GParamSpec *property, GMainLoop *loop) {
    (void)property;
    if (orvane_inventory_get_error(machines)) {
        g_printerr("%s\n", orvane_inventory_get_error(machines)->message);
        g_main_loop_quit(loop);
    }
}

static gboolean OnCredentials(OrvaneSession *session, char **user, char **password, gpointer argv) {
    (void)session;
    *user = g_strdup(((char **)argv)[2]);
    *password = g_strdup(((char **)argv)[3]);
    return TRUE;
}

static void OnReconnecting(OrvaneSession *session, guint attempt, guint delay, gpointer data) {
    (void)session;
    if (attempt > 0) {
        g_printerr("the connection is lost; try %u follows in %u ms\n", attempt, delay);
        return;
    }
    g_printerr("the connection is lost, and the service does not accept the login any more\n");
    g_main_loop_quit(data);
}

int main(int argc, char **argv) {
    if (argc < 5 || !orvane_glib_init(NULL))
        return 2;
    g_autoptr(GError) error = NULL;
    g_autoptr(GMainLoop) loop = g_main_loop_new(NULL, FALSE);
    g_autoptr(OrvaneSession) session = orvane_session_new();
    g_autoptr(OrvaneListener) login = orvane_listener_new();
    g_autoptr(OrvaneListener) logout = orvane_listener_new();
    orvane_session_set_ssl_certificate_location(session, g_getenv("ORVANE_CA"), "/etc/ssl/certs");
    orvane_session_set_strict_tls(session, TRUE);
    orvane_session_set_credentials_func(session, OnCredentials, argv, NULL);
    const OrvaneReconnect reconnect = {.reconnecting = OnReconnecting, .data = loop};
    orvane_session_set_reconnect(session, &reconnect);
    orvane_session_connect(session, argv[1], argv[2], argv[3], login);
    if (!orvane_glib_wait(login, -1) && orvane_listener_get_error(login, &error))
        return g_printerr("not connected: %s\n", error->message), 1;

    char **properties = argv + 4;
    g_autoptr(OrvaneInventory) machines = orvane_inventory_new(
        session, SKEMA_TYPE_OZY_VIRTUAL_MACHINE, (const char *const *)properties);
    g_signal_connect(machines, "object-changed", G_CALLBACK(OnChanged), NULL);
    g_signal_connect(machines, "ready", G_CALLBACK(OnReady), properties);
    g_signal_connect(machines, "notify::error", G_CALLBACK(OnError), loop);
    g_unix_signal_add(SIGINT, OnInterrupt, loop);
    OnError(machines, NULL, loop); /* one that was there before the handler */
    if (!orvane_inventory_get_error(machines))
        g_main_loop_run(loop);
    orvane_session_disconnect(session, logout);
    return !orvane_glib_wait(logout, 60000) || orvane_inventory_get_error(machines);
}
