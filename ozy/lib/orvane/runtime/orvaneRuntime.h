/*
 * orvaneRuntime.h -- what the library's own modules need of the object runtime beside
 * <orvane/runtime.h>: the version table and weak bindings to a listener
 *
 * Ownership: tables are filled by the first look-up and live as long as the process, also after
 *            orvane_shutdown().
 * Threads:   the first look-up belongs on the loop's thread; the tables are only read after it.
 */
#pragma once

#include <orvane/loop.h>
#include <orvane/runtime.h>

#include "ozy/lib/orvane/schema/versionCatalogue.h"

G_BEGIN_DECLS

/**
 * orvane_lookup_version:
 * @key: the wire text of a version, or one of the short forms "ozy2", "ozy25" and "ferry"
 *
 * Returns: (transfer none) (nullable): what the version includes; %NULL for an unknown key
 */
const OrvaneVersionEntry *orvane_lookup_version(const char *key);

/* Each registers the types of its namespace and inserts them, keyed by wire name. The core's map
 * leaves out the reflection types: no wire name leads to them. */
void skema_core_populate_name_map(GHashTable *table);
void skema_ozy_populate_name_map(GHashTable *table);
void skema_ferry_populate_name_map(GHashTable *table);

/**
 * orvane_bind_listener:
 * @object: what the listener waits for; must be unbound before it ends
 * @listener: not owned; the binding ends with it
 *
 * An earlier binding of @object is not looked at: its listener's end clears the binding of the later
 * one.
 */
void orvane_bind_listener(GObject *object, OrvaneListener *listener);

/* Ends the binding of the object, if there is one. */
void orvane_unbind_listener(GObject *object);

/* The weak notify of a binding. */
void orvane_bound_listener_weak_notify(gpointer object, GObject *listener);

/* The marshaller of "array_notify". */
void orvane_marshal_VOID__PARAM_BOOLEAN_BOXED(GClosure *closure, GValue *result, guint numParams,
                                              const GValue *params, gpointer hint, gpointer data);

/* The loop functions that orvane_init() was given; NULL before. */
extern OrvanePollCallback orvane_poll_callback;
extern OrvanePollCallbackRemove orvane_poll_callback_remove;

G_END_DECLS
