/*
 * glibLoop.h -- the two functions of an event loop, over a GMainContext
 *
 * Each registration is one source. A callback may register and remove any, itself too. A source that was
 * removed does not run, even if it was already found to be ready.
 *
 * Ownership: the context is referenced from GlibLoop_Open() to GlibLoop_Close().
 * Errors:    the loop functions return 0, or 1 for a registration that is not possible or does not exist.
 * Threads:   one, which iterates the context.
 */
#pragma once

#include <glib.h>

#include <orvane/loop.h>

G_BEGIN_DECLS

void GlibLoop_Open(GMainContext *context);

/* Removes all registrations. */
void GlibLoop_Close(void);

gboolean GlibLoop_IsOpen(void);

/* (nullable): the context, while the loop is open. */
GMainContext *GlibLoop_Context(void);

gint GlibLoop_Callback(gint flags, OrvanePollFunction function, gpointer clientData, gint eventType,
                       gint64 info, gpointer lock, PollClassSet classSet);

/* Removes one registration with these attributes, the oldest if there are several. */
gint GlibLoop_CallbackRemove(gint flags, OrvanePollFunction function, gpointer clientData,
                             gint eventType, PollClassSet classSet);

G_END_DECLS
