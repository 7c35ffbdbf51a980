/* powerOn URL USER PASSWORD ID -- switches a machine on and follows the task to its end */
#include <stdlib.h>

#include <orvane/orvane.h>
#include <orvane/orvaneGlib.h>
#include <orvane/schema/ozy.h>

static GMainLoop *loop;
static int status = EXIT_FAILURE;

static void OnProgress(OrvaneListener *task, gpointer data) {
    (void)data;
    g_print("%d %%\n", orvane_listener_get_progress(task));
}

/* The end of the logout; the session has nothing left to wait for. */
static void OnLoggedOut(OrvaneListener *listener, gpointer data) {
    (void)data;
    g_object_unref(listener);
    g_main_loop_quit(loop);
}

static void LogOut(OrvaneSession *session) {
    OrvaneListener *listener = orvane_listener_new();
    g_signal_connect(listener, "success", G_CALLBACK(OnLoggedOut), NULL);
    g_signal_connect(listener, "failure", G_CALLBACK(OnLoggedOut), NULL);
    orvane_session_disconnect(session, listener);
}

static void OnSwitchedOn(OrvaneListener *task, OrvaneSession *session) {
    g_print("it runs\n");
    status = EXIT_SUCCESS;
    g_object_unref(task); /* the reference that the call was given */
    LogOut(session);
}

/* A fault is an object of a class of its own, so a program can distinguish faults by type. */
static void OnRefused(OrvaneListener *task, OrvaneSession *session) {
    SkemaQormMethodFault *fault = orvane_listener_get_fault(task);
    if (fault && G_TYPE_CHECK_INSTANCE_TYPE(fault, skema_ozy_fault_invalid_power_state_get_type()))
        g_printerr("it is in a state that does not allow this\n");
    else
        g_printerr("it failed: %s\n", fault ? G_OBJECT_TYPE_NAME(fault) : "no reason given");
    g_clear_object(&fault);
    g_object_unref(task);
    LogOut(session);
}

static void SwitchOn(OrvaneSession *session, const char *id) {
    /* a new proxy is floating: sink it to keep it */
    SkemaQormManagedObject *machine =
        g_object_ref_sink(orvane_session_get_object(session, id, SKEMA_TYPE_OZY_VIRTUAL_MACHINE));
    g_object_set_data_full(G_OBJECT(session), "machine", machine, g_object_unref);

    OrvaneListener *task = orvane_listener_new();
    g_signal_connect(task, "progress", G_CALLBACK(OnProgress), NULL);
    g_signal_connect(task, "success", G_CALLBACK(OnSwitchedOn), session);
    g_signal_connect(task, "failure", G_CALLBACK(OnRefused), session);
    skema_ozy_virtual_machine_power_on(SKEMA_OZY_VIRTUAL_MACHINE(machine), NULL, task);
}

static void OnConnected(OrvaneListener *listener, const char *id) {
    SwitchOn(g_object_get_data(G_OBJECT(listener), "session"), id);
    g_object_unref(listener);
}

static void OnNotConnected(OrvaneListener *listener, const char *id) {
    (void)id;
    g_printerr("the service does not let us in\n");
    g_object_unref(listener);
    g_main_loop_quit(loop);
}

int main(int argc, char **argv) {
    if (argc != 5 || !orvane_glib_init(NULL))
        return 2;
    loop = g_main_loop_new(NULL, FALSE);
    OrvaneSession *session = orvane_session_new();
    orvane_session_set_ssl_certificate_location(session, g_getenv("ORVANE_CA"), "/etc/ssl/certs");
    orvane_session_set_strict_tls(session, TRUE);
    OrvaneListener *listener = orvane_listener_new();
    g_object_set_data(G_OBJECT(listener), "session", session);
    g_signal_connect(listener, "success", G_CALLBACK(OnConnected), argv[4]);
    g_signal_connect(listener, "failure", G_CALLBACK(OnNotConnected), argv[4]);
    orvane_session_connect(session, argv[1], argv[2], argv[3], listener);
    g_main_loop_run(loop);

    g_object_unref(session);
    orvane_glib_shutdown();
    g_main_loop_unref(loop);
    return status;
}
