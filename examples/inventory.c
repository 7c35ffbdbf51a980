/* inventory URL USER PASSWORD -- connects to a service and prints what is in its inventory */
#define GLIB_DISABLE_DEPRECATION_WARNINGS /* lists are GValueArrays */
#include <stdlib.h>

#include <orvane/orvane.h>
#include <orvane/orvaneGlib.h>
#include <orvane/schema/ozy.h>

/* Runs the loop until the operation has ended; ends the program if it failed. */
static void Await(OrvaneListener *listener) {
    while (orvane_listener_get_state(listener) < ORVANE_LISTENER_SUCCEEDED)
        g_main_context_iteration(NULL, TRUE);
    if (orvane_listener_get_state(listener) == ORVANE_LISTENER_SUCCEEDED)
        return;
    SkemaQormMethodFault *fault = orvane_listener_get_fault(listener);
    g_printerr("%s\n", fault && fault->fault_string ? fault->fault_string : "no usable answer");
    exit(EXIT_FAILURE);
}

/* The names of all that "childEntity" of folders and "vmFolder" of datacenters lead to. */
static GValueArray *NamesBelow(SkemaQormManagedObject *folder) {
    GObject *down = orvane_traversal_spec_new("down", SKEMA_TYPE_OZY_FOLDER, "childEntity", FALSE,
                                              TRUE, orvane_selection_spec_new("down"),
                                              orvane_selection_spec_new("machines"), NULL);
    GObject *machines =
        orvane_traversal_spec_new("machines", SKEMA_TYPE_OZY_DATACENTER, "vmFolder", FALSE, TRUE,
                                  orvane_selection_spec_new("down"), NULL);
    GObject *from = orvane_object_spec_new(folder, FALSE, TRUE, down, machines, NULL);
    GObject *names = orvane_property_spec_new(SKEMA_TYPE_OZY_MANAGED_ENTITY, FALSE, "name", NULL);
    return orvane_filter_spec_set_new(TRUE, orvane_filter_spec_new(TRUE, from, names, NULL), NULL);
}

int main(int argc, char **argv) {
    if (argc != 4 || !orvane_glib_init(NULL))
        return 2;
    OrvaneSession *session = orvane_session_new();
    OrvaneListener *connect = orvane_listener_new();
    orvane_session_connect(session, argv[1], argv[2], argv[3], connect);
    Await(connect);

    GObject *content;
    SkemaQormManagedObject *root;
    g_object_get(session, "serviceInstanceContent", &content, NULL);
    g_object_get(content, "rootFolder", &root, NULL);
    GValueArray *what = NamesBelow(root);
    OrvaneListener *retrieve = orvane_listener_new();
    orvane_session_retrieve_contents(session, what, retrieve);
    Await(retrieve);

    GValue result = G_VALUE_INIT;
    orvane_listener_get_result(retrieve, &result);
    const GValueArray *objects = g_value_get_boxed(&result);
    for (guint i = 0; i < objects->n_values; i++) {
        char *name;
        GObject *object = g_value_get_object(&objects->values[i]);
        g_object_get(object, "name", &name, NULL);
        g_print("%-28s %s\n", G_OBJECT_TYPE_NAME(object), name);
        g_free(name);
    }
    g_value_unset(&result);
    g_value_array_free(what);

    OrvaneListener *disconnect = orvane_listener_new();
    orvane_session_disconnect(session, disconnect);
    Await(disconnect);
    GObject *ours[] = {content,
                       G_OBJECT(root),
                       G_OBJECT(connect),
                       G_OBJECT(retrieve),
                       G_OBJECT(disconnect),
                       G_OBJECT(session)};
    for (guint i = 0; i < G_N_ELEMENTS(ours); i++)
        g_object_unref(ours[i]);
    orvane_glib_shutdown();
    return 0;
}
