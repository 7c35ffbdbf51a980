/*
 * dottedVersion.h -- comparison of dotted version texts:  "5.10" > "5.5" > "5"
 *
 * Components are compared from the left. Numbers may have any length. A missing component counts as 0, so "6"
 * and "6.0" are equal. More text after the number makes a component higher ("2.5u2" > "2.5"); numbers inside
 * that text are compared as numbers ("2.5u10" > "2.5u9"). A component without a number has the number 0.
 *
 * Errors:  none; any text can be compared; NULL is the empty text.
 * Threads: no state; any thread may call.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/* Returns a number below 0, 0 or above 0 if the first is lower than, equal to or higher than the second. */
gint Util_CompareDotted(const char *first, const char *second);

G_END_DECLS
