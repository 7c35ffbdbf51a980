/*
 * privilege.h -- tables that tell which privileges were granted
 *
 *   GHashTable *table = skema_privilege_create_table();
 *   skema_privilege_update(table, "Folder.Create", TRUE);
 *   if (skema_privilege_check(table, "Folder.Create")) ...
 *   g_hash_table_destroy(table);
 *
 * A privilege is a dotted identifier. A table is a GHashTable from identifiers to truth values.
 *
 * Threads: a table belongs to one thread at a time.
 */
#pragma once

#include <glib.h>

#include <orvane/export.h>

G_BEGIN_DECLS

/**
 * skema_privilege_create_table:
 *
 * Returns: (transfer full) (element-type utf8 gboolean): a table of all identifiers that the library
 *     knows, none of them granted; release it with g_hash_table_destroy()
 */
ORVANE_EXPORT GHashTable *skema_privilege_create_table(void);

/**
 * skema_privilege_update:
 * @table: (element-type utf8 gboolean): the table
 * @identifier: the privilege; one that the table does not have is added
 * @granted: whether it is granted
 */
ORVANE_EXPORT void skema_privilege_update(GHashTable *table, const char *identifier,
                                          gboolean granted);

/**
 * skema_privilege_check:
 * @table: (element-type utf8 gboolean): the table
 * @identifier: the privilege
 *
 * Returns: what was stored for it; 0 for one that the table does not have
 */
ORVANE_EXPORT gint skema_privilege_check(GHashTable *table, const char *identifier);

G_END_DECLS
