/* showFields OVERLAY URL USER PASSWORD -- reads fields that the library was built without: loads an overlay of
 * the schema, connects, and prints what the summary and the state of the first machines say
 *
 *   orvane-simulator --overlay examples/overlay/example.schema --port 8989
 *   showFields examples/overlay/example.schema http://127.0.0.1:8989/sdk administrator secret
 */
#define GLIB_DISABLE_DEPRECATION_WARNINGS /* lists are GValueArrays */
#include <stdlib.h>

#include <orvane/orvane.h>
#include <orvane/orvaneGlib.h>
#include <orvane/schema/ozy.h>

/* Waits for the operation to which the listener was given; ends the program if it fails. */
static void Await(OrvaneListener *listener) {
    if (orvane_glib_wait(listener, 60000))
        return;
    g_autoptr(SkemaQormMethodFault) fault = orvane_listener_get_fault(listener);
    g_printerr("%s\n", fault ? G_OBJECT_TYPE_NAME(fault) : "no answer");
    exit(1);
}

static GObject *ListItem(const GValueArray *list, guint at) {
    return list && at < list->n_values ? g_value_get_object(&list->values[at]) : NULL;
}

/* Properties that come from the overlay are read by name, like all others. */
static void ShowMachine(GObject *machine) {
    g_autofree char *name = NULL, *note = NULL;
    g_autoptr(GObject) summary = NULL, runtime = NULL;
    GValueArray *displays = NULL;
    gint priority = 0, uptime = 0, width = 0;
    gboolean isWatched = FALSE;
    g_object_get(machine, "name", &name, "summary", &summary, "runtime", &runtime, NULL);
    if (!summary || !runtime)
        return;
    g_object_get(summary, "note", &note, "priority", &priority, "display", &displays, NULL);
    g_object_get(runtime, "uptimeMinutes", &uptime, "isWatched", &isWatched, NULL);
    if (ListItem(displays, 0))
        g_object_get(ListItem(displays, 0), "width", &width, NULL);
    g_autoptr(GEnumClass) words = g_type_class_ref(orvane_lookup_type("ExamplePriority"));
    const GEnumValue *word = g_enum_get_value(words, priority);
    g_print("%s: note \"%s\", priority %s, display %d wide, up %d minutes, %s\n", name,
            note ? note : "", word ? word->value_nick : "?", width, uptime,
            isWatched ? "watched" : "not watched");
    if (displays)
        g_value_array_free(displays);
}

int main(int argc, char **argv) {
    g_autoptr(GError) error = NULL;
    if (argc != 5)
        return 2;
    if (!orvane_schema_load_overlay(argv[1], &error)) {
        g_printerr("%s\n", error->message);
        return 1;
    }
    if (!orvane_glib_init(NULL))
        return 1;

    g_autoptr(OrvaneListener) login = orvane_listener_new(); /* one listener for each operation */
    g_autoptr(OrvaneListener) retrieval = orvane_listener_new();
    g_autoptr(OrvaneListener) logout = orvane_listener_new();
    g_autoptr(OrvaneSession) session = orvane_session_new();
    orvane_session_set_ssl_certificate_location(session, g_getenv("ORVANE_CA"), "/etc/ssl/certs");
    orvane_session_set_strict_tls(session, TRUE);
    orvane_session_connect(session, argv[2], argv[3], argv[4], login);
    Await(login);

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
    GObject *what = orvane_property_spec_new(SKEMA_TYPE_OZY_VIRTUAL_MACHINE, FALSE, "name",
                                             "summary", "runtime", NULL);
    GValueArray *filters =
        orvane_filter_spec_set_new(TRUE, orvane_filter_spec_new(TRUE, from, what, NULL), NULL);
    orvane_session_retrieve_contents(session, filters, retrieval);
    g_value_array_free(filters);
    Await(retrieval);
    g_auto(GValue) result = G_VALUE_INIT;
    if (!orvane_listener_get_result(retrieval, &result))
        return 1;

    const GValueArray *machines = g_value_get_boxed(&result);
    for (guint i = 0; i < machines->n_values && i < 5; i++)
        ShowMachine(g_value_get_object(&machines->values[i]));
    orvane_session_disconnect(session, logout);
    Await(logout);
    return 0;
}
