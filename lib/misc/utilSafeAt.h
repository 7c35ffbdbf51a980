/*
 * utilSafeAt.h -- the functions of utilSafe.h, with the caller's place in the text of a failure
 *
 *   Unrecoverable memory allocation failure at lib/file/file.cpp:120.  Bug number: 4711
 *
 * The last three arguments are the number of the known problem, -1 for none, and the caller's __FILE__ and
 * __LINE__.
 *
 * Ownership: the caller releases results with free().
 * Errors:    Panic(). NULL for a size of zero is no failure. A NULL text gives NULL.
 * Threads:   any.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

gpointer UtilSafeMalloc1(gsize size, gint bugNumber, const char *file, gint line);
gpointer UtilSafeCalloc1(gsize count, gsize size, gint bugNumber, const char *file, gint line);
gpointer UtilSafeRealloc1(gpointer pointer, gsize size, gint bugNumber, const char *file,
                          gint line);
char *UtilSafeStrdup1(const char *text, gint bugNumber, const char *file, gint line);
char *UtilSafeStrndup1(const char *text, gsize limit, gint bugNumber, const char *file, gint line);

void UtilAllocationFailure1(gint bugNumber, const char *file, gint line) G_GNUC_NORETURN;

G_END_DECLS
