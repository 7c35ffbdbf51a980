/* An application in C99, built from an installed copy: starts the library, uses the three schemas, the
 * builders of filters, JSON and the TLS layer. */
#include <orvane/inventory.h>
#include <orvane/json.h>
#include <orvane/log.h>
#include <orvane/orvane.h>
#include <orvane/orvaneGlib.h>
#include <orvane/schema/ferry.h>
#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>
#include <orvane/schemaOverlay.h>
#include <ssl/ssl.h>

static void OnLine(gint level, const char *text, gpointer data) {
    (void)level, (void)text;
    ++*(guint *)data;
}

static void OnRecord(OrvaneSession *session, const OrvaneWireRecord *record, gpointer data) {
    (void)session, (void)data;
    g_printerr("%s\n", record->text);
}

static gboolean OnCredentials(OrvaneSession *session, char **user, char **password, gpointer data) {
    (void)session, (void)user, (void)password, (void)data;
    return FALSE;
}

int main(void) {
    OrvaneReconnect reconnect = {0};
    OrvaneInventory *machines;
    OrvaneMethodInfo *method;
    char **methods;
    guint numLines = 0, numBefore;
    OrvaneSession *session;
    GObject *spec;
    char *json;
    orvane_log_set_handler(OnLine, &numLines, 145);
    if (!orvane_glib_init(NULL))
        return 1;
    if (!orvane_schema_add_overlay("tables", "namespace ozy\n", NULL))
        return 1;
    session = orvane_session_new();
    orvane_session_set_wire_func(session, OnRecord, NULL, NULL);
    orvane_session_set_wire_limit(session, 1024);
    orvane_session_set_credentials_func(session, OnCredentials, NULL, NULL);
    orvane_session_set_reconnect(session, &reconnect);
    if (orvane_session_get_reconnect_error(session, NULL))
        return 1;
    machines = orvane_inventory_new(session, SKEMA_TYPE_OZY_VIRTUAL_MACHINE, NULL);
    if (g_list_model_get_n_items(G_LIST_MODEL(machines)) != 0)
        return 1;
    g_object_unref(machines);
    spec = orvane_property_spec_new(SKEMA_TYPE_OZY_VIRTUAL_MACHINE, FALSE, "name", NULL);
    json = orvane_object_to_json(spec, ORVANE_JSON_COMPACT, NULL);
    g_print("%s %s %d %s\n", g_type_name(SKEMA_TYPE_OZY_VIRTUAL_MACHINE), G_OBJECT_TYPE_NAME(spec),
            SSL_IsThumbprint("x"), json);
    g_free(json);
    method = orvane_method_info_new(SKEMA_TYPE_OZY_VIRTUAL_MACHINE, "ReconfigVM_Task");
    methods = orvane_type_list_methods(SKEMA_TYPE_OZY_VIRTUAL_MACHINE);
    if (method == NULL || method->numArguments != 1 || methods[0] == NULL)
        return 1;
    orvane_method_info_free(method);
    g_strfreev(methods);
    g_print("%s", orvane_transport_error_get_text(ORVANE_TRANSPORT_NONE) ? "" : "no text");
    g_object_unref(spec);
    g_object_unref(session);
    orvane_glib_shutdown();
    numBefore = numLines;
    orvane_enum_get_by_nick(G_TYPE_INT, "one"); /* logs a line */
    orvane_log_set_handler(NULL, NULL, 0);
    orvane_enum_get_by_nick(G_TYPE_INT, "two");
    return numLines != numBefore + 1;
}
