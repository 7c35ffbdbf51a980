/*
 * specBuilders.h -- what to retrieve, said in one expression
 */
#pragma once

#include <orvane/runtime.h>

G_BEGIN_DECLS

ORVANE_EXPORT GObject *orvane_selection_spec_new(const char *name);
ORVANE_EXPORT GObject *orvane_traversal_spec_new(const char *name, GType type, const char *path,
                                                 gboolean skip, gboolean takeOwnership,
                                                 ...) G_GNUC_NULL_TERMINATED;
ORVANE_EXPORT GObject *orvane_object_spec_new(SkemaQormManagedObject *object, gboolean skip,
                                              gboolean takeOwnership, ...) G_GNUC_NULL_TERMINATED;
ORVANE_EXPORT GObject *orvane_property_spec_new(GType type, gboolean all,
                                                ...) G_GNUC_NULL_TERMINATED;
ORVANE_EXPORT GObject *orvane_property_spec_newv(GType type, gboolean all, va_list arguments);
ORVANE_EXPORT GObject *orvane_filter_spec_new(gboolean takeOwnership, ...) G_GNUC_NULL_TERMINATED;
ORVANE_EXPORT GValueArray *orvane_filter_spec_set_new(gboolean takeOwnership,
                                                      ...) G_GNUC_NULL_TERMINATED;

G_END_DECLS
