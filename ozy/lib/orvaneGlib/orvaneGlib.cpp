#include <orvane/operation.h>
#include <orvane/orvaneGlib.h>

#include "ozy/lib/orvaneGlib/glibLoop.h"

namespace {

constexpr const char *kWaitedKey = "orvane_glib_waited";

struct Deadline {
    GSource *source = nullptr;
    bool hasPassed = false;

    Deadline(GMainContext *context, gint timeout) {
        if (timeout < 0)
            return;
        source = g_timeout_source_new(guint(timeout));
        g_source_set_callback(source, Pass, this, nullptr);
        g_source_attach(source, context);
    }
    ~Deadline() {
        if (source == nullptr)
            return;
        g_source_destroy(source);
        g_source_unref(source);
    }

private:
    static gboolean Pass(gpointer deadline) {
        static_cast<Deadline *>(deadline)->hasPassed = true;
        return G_SOURCE_REMOVE;
    }
};

bool IsInProgress(OrvaneListener *listener) {
    return !orvane_listener_get_outcome(listener, nullptr);
}

/* How many operations of the listener the waits have seen to their end. */
guint CountWaited(OrvaneListener *listener) {
    return GPOINTER_TO_UINT(g_object_get_data(G_OBJECT(listener), kWaitedKey));
}

void SetWaited(OrvaneListener *listener) {
    g_object_set_data(G_OBJECT(listener), kWaitedKey,
                      GUINT_TO_POINTER(orvane_listener_get_operation_count(listener)));
}

} // namespace

gboolean orvane_glib_init(GMainContext *context) {
    g_return_val_if_fail(!GlibLoop_IsOpen(), FALSE);
    GlibLoop_Open(context ? context : g_main_context_default());
    if (orvane_init(GlibLoop_Callback, GlibLoop_CallbackRemove))
        return TRUE;
    GlibLoop_Close();
    return FALSE;
}

void orvane_glib_shutdown(void) {
    g_return_if_fail(GlibLoop_IsOpen());
    orvane_shutdown();
    GlibLoop_Close();
}

gboolean orvane_glib_wait(OrvaneListener *listener, gint timeout) {
    g_return_val_if_fail(ORVANE_IS_LISTENER(listener), FALSE);
    g_return_val_if_fail(GlibLoop_IsOpen(), FALSE);
    if (orvane_listener_get_operation_count(listener) == CountWaited(listener)) {
        g_warning("%s: no operation was begun on the listener since the last wait", __func__);
        return FALSE;
    }
    g_object_ref(listener); /* a handler may release it, and shut the library down */
    GMainContext *context = g_main_context_ref(GlibLoop_Context());
    {
        const Deadline deadline(context, timeout);
        while (IsInProgress(listener) && !deadline.hasPassed && GlibLoop_Context() == context)
            g_main_context_iteration(context, TRUE);
    }
    g_main_context_unref(context);
    if (!IsInProgress(listener))
        SetWaited(listener);
    OrvaneOutcome outcome = ORVANE_OUTCOME_NOT_SENT;
    const gboolean hasSucceeded =
        orvane_listener_get_outcome(listener, &outcome) && outcome == ORVANE_OUTCOME_SUCCEEDED;
    g_object_unref(listener);
    return hasSucceeded;
}
