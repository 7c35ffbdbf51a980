/*
 * productState.h -- what product the process belongs to, for texts that people read
 *
 * Ownership: the name is a constant.
 * Threads:   any. Set it before there are other threads or handlers of signals, which read it without the lock.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/* Bits of ProductState_IsProduct(). */
enum { PRODUCT_BENCHTOP = 1 };

/* Returns the name of the product, "Orvane" unless the program gave another. */
const char *ProductState_GetName(void);

/* Whether the process belongs to any of the products. A client of this library belongs to none. */
gboolean ProductState_IsProduct(guint products);

/* Sets both. The name is not copied; NULL restores the first one. */
void ProductState_Set(guint products, const char *name);

G_END_DECLS
