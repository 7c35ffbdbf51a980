/*
 * utilSafe.h -- allocation that never returns NULL: lack of memory ends the process
 *
 * For code that cannot continue without the memory. Use malloc() where the caller is promised a result code.
 *
 * Ownership: the caller releases results with free().
 * Errors:    Panic("Unrecoverable memory allocation failure\n"). NULL for a size of zero is no failure. A
 *            NULL text gives NULL.
 * Threads:   any.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

gpointer UtilSafeMalloc0(gsize size) G_GNUC_MALLOC G_GNUC_ALLOC_SIZE(1);

/* Zeroed; a product that does not fit a gsize counts as lack of memory. */
gpointer UtilSafeCalloc0(gsize count, gsize size) G_GNUC_MALLOC G_GNUC_ALLOC_SIZE2(1, 2);

gpointer UtilSafeRealloc0(gpointer pointer, gsize size) G_GNUC_ALLOC_SIZE(2);

char *UtilSafeStrdup0(const char *text) G_GNUC_MALLOC;

/* Copies at most limit bytes of the text, which need not contain a NUL. */
char *UtilSafeStrndup0(const char *text, gsize limit) G_GNUC_MALLOC;

G_END_DECLS
