/* powerOn URL USER PASSWORD ID -- switches a machine on and follows the task to its end */
#include <stdlib.h>

#include <orvane/orvane.h>
#include <orvane/orvaneGlib.h>
#include <orvane/schema/ozy.h>

/* What the callbacks share. */
typedef struct {
    OrvaneSession *session;
    const char *id;
    GMainLoop *loop;
    int status;
} App;

static void OnLoggedOut(GObject *session, GAsyncResult *result, gpointer data) {
    App *app = data;
    orvane_session_disconnect_finish(ORVANE_SESSION(session), result, NULL);
    g_main_loop_quit(app->loop);
}

static void OnProgress(OrvaneListener *task, gpointer data) {
    (void)data;
    g_print("%d %%\n", orvane_listener_get_progress(task));
}

/* The end of the task. A fault is an object of a class of its own, so a program can distinguish faults by type. */
static void OnSwitchedOn(GObject *task, GAsyncResult *result, gpointer data) {
    App *app = data;
    g_autoptr(GError) error = NULL;
    g_autoptr(SkemaQormMethodFault) fault = orvane_listener_get_fault(ORVANE_LISTENER(task));
    if (orvane_listener_complete_finish(ORVANE_LISTENER(task), result, NULL, &error)) {
        g_print("it runs\n");
        app->status = EXIT_SUCCESS;
    } else if (fault && SKEMA_IS_OZY_FAULT_INVALID_POWER_STATE(fault)) {
        g_printerr("it is in a state that does not allow this\n");
    } else {
        g_printerr("it failed: %s\n", error->message);
    }
    orvane_session_disconnect_async(app->session, NULL, OnLoggedOut, app);
}

static void SwitchOn(App *app) {
    /* a new proxy is floating: sink it to keep it */
    SkemaQormManagedObject *machine = g_object_ref_sink(
        orvane_session_get_object(app->session, app->id, SKEMA_TYPE_OZY_VIRTUAL_MACHINE));
    g_object_set_data_full(G_OBJECT(app->session), "machine", machine, g_object_unref);

    /* complete_async has a reference of its own */
    g_autoptr(OrvaneListener) task = orvane_listener_new();
    g_signal_connect(task, "progress", G_CALLBACK(OnProgress), NULL);
    skema_ozy_virtual_machine_power_on(SKEMA_OZY_VIRTUAL_MACHINE(machine), NULL, task);
    orvane_listener_complete_async(task, NULL, OnSwitchedOn, app);
}

static void OnConnected(GObject *session, GAsyncResult *result, gpointer data) {
    App *app = data;
    g_autoptr(GError) error = NULL;
    if (orvane_session_connect_finish(ORVANE_SESSION(session), result, &error)) {
        SwitchOn(app);
        return;
    }
    g_printerr("not connected: %s\n", error->message);
    g_main_loop_quit(app->loop);
}

int main(int argc, char **argv) {
    if (argc != 5 || !orvane_glib_init(NULL))
        return 2;
    App app = {orvane_session_new(), argv[4], g_main_loop_new(NULL, FALSE), EXIT_FAILURE};
    orvane_session_set_ssl_certificate_location(app.session, g_getenv("ORVANE_CA"),
                                                "/etc/ssl/certs");
    orvane_session_set_strict_tls(app.session, TRUE);
    orvane_session_set_strict_loads(app.session, TRUE);
    orvane_session_connect_async(app.session, argv[1], argv[2], argv[3], NULL, OnConnected, &app);
    g_main_loop_run(app.loop);

    g_object_unref(app.session);
    orvane_glib_shutdown();
    g_main_loop_unref(app.loop);
    return app.status;
}
