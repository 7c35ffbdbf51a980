/*
 * productState.h -- what product the process belongs to, for texts that people read
 *
 * Ownership: the name is a constant.
 * Threads:   any.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/* Bits of ProductState_IsProduct(). */
enum { PRODUCT_BENCHTOP = 1 };

/* Returns the name of the product, "Orvane" unless the program gave another. */
const char *ProductState_GetName(void);

/* Sets the name, which is not copied. NULL restores the first one. */
void ProductState_SetName(const char *name);

/* Whether the process belongs to any of the products. A client of this library belongs to none. */
gboolean ProductState_IsProduct(guint products);

G_END_DECLS
