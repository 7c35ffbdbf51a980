/*
 * glibLoop.h -- the two functions of an event loop, over a GMainContext
 *
 * Each registration is one source. A callback may register and remove whatever it likes, itself too: a
 * source that has been removed is not run any more, even if it was already found to be ready.
 *
 * Ownership: the context is referenced from GlibLoop_Open() to GlibLoop_Close().
 * Errors:    the loop functions answer 0, or 1 for what cannot be watched or is not there.
 * Threads:   one, which iterates the context.
 */
#pragma once

#include <glib.h>

#include <orvane/loop.h>

G_BEGIN_DECLS

void GlibLoop_Open(GMainContext *context);

/* Removes all that is still registered. */
void GlibLoop_Close(void);

gboolean GlibLoop_IsOpen(void);

/* NULL while it is not open. */
GMainContext *GlibLoop_Context(void);

gint GlibLoop_Callback(gint flags, OrvanePollFunction function, gpointer clientData, gint eventType,
                       gint64 info, gpointer lock, PollClassSet classSet);

/* Removes one registration that has all these attributes, the oldest if there are several. */
gint GlibLoop_CallbackRemove(gint flags, OrvanePollFunction function, gpointer clientData,
                             gint eventType, PollClassSet classSet);

G_END_DECLS
