/*
 * logFixed.h -- logarithms of whole numbers as fractions of whole numbers
 *
 *   LogFixed_Base10(1000, &n, &d)   ->  n / d within a millionth of 3
 *
 * The denominator is the same for all values, so numerators can be compared and subtracted. No floating point
 * is used.
 *
 * Errors:    a value of 0 ends the process.
 * Threads:   no state; any thread may call.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

void LogFixed_Base10(guint64 value, guint64 *numerator, guint64 *denominator);

G_END_DECLS
