/*
 * versionCatalogue.h -- the releases of the services, and the earlier releases that each includes
 *
 *   "ozy25/2.5u2" (also "ozy25")  is "ozy.version.version3" and includes
 *                                 "", "ozy2/2.0", "ozy25/2.5", "ozy25/2.5u2"
 *
 * A release is known by its wire text. A property is tagged with the release that brought it and
 * goes to a service only if the service's release includes that one. This is membership, never an
 * order: a newer release is one that is not in the list. The empty text is in every list.
 *
 * Ownership: texts are static; a table owns its entries and frees one that is replaced.
 * Threads:   constant data; a table belongs to the thread that fills it.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/* A release and what it includes. */
typedef struct {
    const char *name;    /* "ozy.version.version5" */
    GPtrArray *versions; /* wire texts of all versions it includes, itself too; static strings */
    gsize reserved;      /* always 4 */
    guint32 mask;        /* the same members as bits: 1 << index in the catalogue */
} OrvaneVersionEntry;

/* A destroy function: frees the entry and its list, not the texts. */
void OrvaneVersionEntryFree(gpointer entry);

/* Index of a wire text in the catalogue (the bit in OrvaneVersionEntry::mask), -1 if unknown. */
gint OrvaneVersion_Index(const char *wireText);
/* Wire text of an index; NULL past the last. */
const char *OrvaneVersion_Text(guint index);

/* Each inserts the entries that its part of the schema knows, keyed by wire text. The table must
 * free values with OrvaneVersionEntryFree(): the families share keys, and the later insert stays.
 */
void skema_core_populate_version_map(GHashTable *table);
void skema_ozy_populate_version_map(GHashTable *table);
void skema_ferry_populate_version_map(GHashTable *table);
void skema_reflect_populate_version_map(GHashTable *table);

G_END_DECLS
