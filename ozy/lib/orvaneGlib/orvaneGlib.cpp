#include <orvane/orvaneGlib.h>

#include "ozy/lib/orvaneGlib/glibLoop.h"

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
