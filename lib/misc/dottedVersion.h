/*
 * dottedVersion.h -- which of two dotted version texts is the higher:  "5.10" > "5.5" > "5"
 *
 * Components are compared from the left, numbers as numbers of any length. A component that is missing
 * counts as 0, so "6" and "6.0" are equal. Behind its number a component may have more text: that makes
 * it higher ("2.5u2" > "2.5"), and numbers inside that text count as numbers too ("2.5u10" > "2.5u9").
 * A component without a number has the number 0.
 *
 * Errors:  none; any text can be compared, NULL as the empty one.
 * Threads: no state; any thread may call.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/* Below 0, 0 or above 0 as the first is lower than, equal to or higher than the second. */
gint Util_CompareDotted(const char *first, const char *second);

G_END_DECLS
