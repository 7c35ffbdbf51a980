/*
 * utilSafe.h -- allocation that never answers null: lack of memory ends the process
 *
 * For what a program cannot go on without. Where a caller is promised a code, use malloc().
 *
 * Ownership: results are the caller's, to be released with free().
 * Errors:    Panic("Unrecoverable memory allocation failure\n"). A size of zero that gives null is
 *            no failure; a null text gives null.
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

/* At most limit bytes of the text, which need not end in a NUL before that. */
char *UtilSafeStrndup0(const char *text, gsize limit) G_GNUC_MALLOC;

G_END_DECLS
