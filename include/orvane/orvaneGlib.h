/*
 * orvaneGlib.h -- runs the library on a GMainContext, for applications that have a GLib loop
 */
#pragma once

#include <glib.h>

#include <orvane/loop.h>

G_BEGIN_DECLS

ORVANE_EXPORT gboolean orvane_glib_init(GMainContext *context);
ORVANE_EXPORT void orvane_glib_shutdown(void);

G_END_DECLS
