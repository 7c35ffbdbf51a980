/*
 * orvaneRuntime.h -- what the library's own modules need of the object runtime beside
 * <orvane/runtime.h>: the version table and weak bindings to a listener
 */
#pragma once

#include <orvane/loop.h>
#include <orvane/runtime.h>

G_BEGIN_DECLS

/* A release and what it includes. */
typedef struct {
    const char *name;    /* "ozy.version.version5" */
    GPtrArray *versions; /* wire texts of all versions it includes, itself too; static strings */
    gsize reserved;      /* always 4 */
    guint32 mask;        /* the same members as bits: 1 << index in the catalogue */
} OrvaneVersionEntry;

const OrvaneVersionEntry *orvane_lookup_version(const char *key);
void OrvaneVersionEntryFree(gpointer entry);

/* Index of a wire text in the catalogue (the bit in OrvaneVersionEntry::mask), -1 if unknown. */
gint OrvaneVersion_Index(const char *wireText);
/* Wire text of an index; NULL past the last. */
const char *OrvaneVersion_Text(guint index);

void skema_core_populate_version_map(GHashTable *table);
void skema_ozy_populate_version_map(GHashTable *table);
void skema_ferry_populate_version_map(GHashTable *table);
void skema_reflect_populate_version_map(GHashTable *table);
void skema_core_populate_name_map(GHashTable *table);
void skema_ozy_populate_name_map(GHashTable *table);
void skema_ferry_populate_name_map(GHashTable *table);

void orvane_bind_listener(GObject *object, OrvaneListener *listener);
void orvane_unbind_listener(GObject *object);
void orvane_bound_listener_weak_notify(gpointer object, GObject *listener);

void orvane_marshal_VOID__PARAM_BOOLEAN_BOXED(GClosure *closure, GValue *result, guint numParams,
                                              const GValue *params, gpointer hint, gpointer data);

/* The loop functions that orvane_init() was given; NULL before. */
extern OrvanePollCallback orvane_poll_callback;
extern OrvanePollCallbackRemove orvane_poll_callback_remove;

G_END_DECLS
