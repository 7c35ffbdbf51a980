/*
 * schemaLookup.h -- types and versions by their names on the wire
 *
 *   "VirtualMachine", "ozy25:VirtualMachine"  ->  the GType     orvane_lookup_type(), installed
 *   "ozy25/6.0", "ozy25"                      ->  what the version includes
 *
 * The first look-up of a type registers all types. Their names are constant data, or were made when an overlay was loaded.
 *
 * Ownership: the table of versions is filled by the first look-up and lives as long as the process, also after
 *            orvane_shutdown().
 * Threads:   the first look-up belongs on the loop's thread; the table is only read after it.
 */
#pragma once

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

/* Each registers the types of its namespace and inserts them, keyed by wire name, unless @table is NULL. The core's map
 * leaves out the reflection types: no wire name leads to them. */
void skema_core_populate_name_map(GHashTable *table);
void skema_ozy_populate_name_map(GHashTable *table);
void skema_ferry_populate_name_map(GHashTable *table);

G_END_DECLS
