/* watch URL USER PASSWORD ID -- shows each change of a machine's properties, until interrupted */
#include <signal.h>

#include <glib-unix.h>
#include <orvane/orvane.h>
#include <orvane/orvaneGlib.h>
#include <orvane/schema/ozy.h>

static gboolean OnInterrupt(gpointer loop) {
    g_main_loop_quit(loop);
    return G_SOURCE_REMOVE;
}

/* The properties of a loaded object follow the service; each change is an ordinary notify. */
static void OnNotify(GObject *machine, GParamSpec *property, gpointer data) {
    (void)data;
    GValue value = G_VALUE_INIT;
    g_value_init(&value, property->value_type);
    g_object_get_property(machine, property->name, &value);
    char *text = g_strdup_value_contents(&value);
    g_print("%s = %s\n", property->name, text);
    g_free(text);
    g_value_unset(&value);
}

/* Waits for the operation to which the listener was given, and releases the listener. */
static gboolean Succeeds(OrvaneListener *listener) {
    GError *error = NULL;
    const gboolean isWell = orvane_glib_wait(listener, -1);
    if (orvane_listener_get_error(listener, &error)) {
        g_printerr("%s\n", error->message);
        g_error_free(error);
    }
    g_object_unref(listener);
    return isWell;
}

static gboolean Watch(OrvaneSession *session, const char *id) {
    OrvaneListener *load = orvane_listener_new();
    SkemaQormManagedObject *machine =
        g_object_ref_sink(orvane_session_get_object(session, id, SKEMA_TYPE_OZY_VIRTUAL_MACHINE));
    g_signal_connect(machine, "notify", G_CALLBACK(OnNotify), NULL);
    orvane_session_load_object(session, FALSE, machine, load);
    const gboolean isLoaded = Succeeds(load);
    if (isLoaded) {
        GMainLoop *loop = g_main_loop_new(NULL, FALSE);
        g_unix_signal_add(SIGINT, OnInterrupt, loop);
        g_main_loop_run(loop);
        g_main_loop_unref(loop);
        orvane_session_unload_object(session, machine, FALSE);
    }
    g_object_unref(machine);
    return isLoaded;
}

int main(int argc, char **argv) {
    if (argc != 5 || !orvane_glib_init(NULL))
        return 2;
    OrvaneSession *session = orvane_session_new();
    orvane_session_set_ssl_certificate_location(session, g_getenv("ORVANE_CA"), "/etc/ssl/certs");
    orvane_session_set_strict_tls(session, TRUE);
    orvane_session_set_strict_loads(session, TRUE); /* an id that is not known ends the load */
    OrvaneListener *login = orvane_listener_new();
    orvane_session_connect(session, argv[1], argv[2], argv[3], login);
    gboolean isWell = Succeeds(login);
    if (isWell) {
        isWell = Watch(session, argv[4]);
        OrvaneListener *logout = orvane_listener_new();
        orvane_session_disconnect(session, logout);
        isWell = Succeeds(logout) && isWell;
    }
    g_object_unref(session);
    orvane_glib_shutdown();
    return isWell ? 0 : 1;
}
