/*
 * specBuilders.h -- what to retrieve, said in one expression
 *
 *   GValueArray *set = orvane_filter_spec_set_new(TRUE,
 *       orvane_filter_spec_new(TRUE,
 *           orvane_property_spec_new(SKEMA_TYPE_OZY_VIRTUAL_MACHINE, FALSE, "name", NULL),
 *           orvane_object_spec_new(folder, TRUE, TRUE,
 *               orvane_traversal_spec_new("children", SKEMA_TYPE_OZY_FOLDER, "childEntity", FALSE,
 *                   TRUE, orvane_selection_spec_new("children"), NULL),
 *               NULL),
 *           NULL),
 *       NULL);
 *   orvane_session_retrieve_contents(session, set, listener);
 *   g_value_array_free(set);
 *
 * Results are objects of the schema (SkemaQormCorePropertyCollectorFilterSpec and its parts), so what
 * a builder does not set can be set with g_object_set(). A class is named by its GType and goes out
 * under its name on the wire.
 *
 * Ownership: each result is the caller's. With takeOwnership the objects of a list are released after
 *            they were added, so that calls nest; without, they stay the caller's. A managed object in
 *            an object to retrieve is stored by its id only; a proxy that nobody owns is released with
 *            what was built.
 * Errors:    an object of a list that is of a wrong class is left out.
 * Threads:   the loop's.
 */
#pragma once

#include <orvane/runtime.h>

G_BEGIN_DECLS

/**
 * orvane_selection_spec_new:
 * @name: (nullable): name of the traversal that is to be followed here
 *
 * Returns: (transfer full): a SkemaQormCorePropertyCollectorSelectionSpec
 */
ORVANE_EXPORT GObject *orvane_selection_spec_new(const char *name);

/**
 * orvane_traversal_spec_new: (skip)
 * @name: (nullable): a name by which selection specs refer to this traversal
 * @type: class of the objects that it starts from
 * @path: the property that leads on: a managed object or an array of such
 * @skip: whether the objects that are reached are only passed through
 * @takeOwnership: whether the listed objects are released
 * @...: selection or traversal specs to follow from there, ended by %NULL
 *
 * Returns: (transfer full): a SkemaQormCorePropertyCollectorTraversalSpec
 */
ORVANE_EXPORT GObject *orvane_traversal_spec_new(const char *name, GType type, const char *path,
                                                 gboolean skip, gboolean takeOwnership,
                                                 ...) G_GNUC_NULL_TERMINATED;

/**
 * orvane_object_spec_new: (skip)
 * @object: (transfer none): the object to start from
 * @skip: whether it is only passed through
 * @takeOwnership: whether the listed objects are released
 * @...: selection or traversal specs to follow from it, ended by %NULL
 *
 * Returns: (transfer full): a SkemaQormCorePropertyCollectorObjectSpec
 */
ORVANE_EXPORT GObject *orvane_object_spec_new(SkemaQormManagedObject *object, gboolean skip,
                                              gboolean takeOwnership, ...) G_GNUC_NULL_TERMINATED;

/**
 * orvane_property_spec_new: (skip)
 * @type: class of the objects whose properties are wanted
 * @all: whether all properties are; the paths are then of no use
 * @...: property paths, such as "summary.config.name", ended by %NULL; none leave the list out
 *
 * Returns: (transfer full): a SkemaQormCorePropertyCollectorPropertySpec
 */
ORVANE_EXPORT GObject *orvane_property_spec_new(GType type, gboolean all,
                                                ...) G_GNUC_NULL_TERMINATED;

/**
 * orvane_property_spec_newv: (skip)
 * @type: class of the objects whose properties are wanted
 * @all: whether all properties are
 * @arguments: property paths, ended by %NULL; read to that end, the caller calls va_end()
 *
 * Returns: (transfer full): as orvane_property_spec_new()
 */
ORVANE_EXPORT GObject *orvane_property_spec_newv(GType type, gboolean all, va_list arguments);

/**
 * orvane_filter_spec_new: (skip)
 * @takeOwnership: whether the listed objects are released
 * @...: property specs and object specs in any order, ended by %NULL; others are left out
 *
 * Returns: (transfer full): a SkemaQormCorePropertyCollectorFilterSpec, both of whose arrays are set
 */
ORVANE_EXPORT GObject *orvane_filter_spec_new(gboolean takeOwnership, ...) G_GNUC_NULL_TERMINATED;

/**
 * orvane_filter_spec_set_new: (skip)
 * @takeOwnership: whether the listed objects are released
 * @...: filter specs, ended by %NULL
 *
 * Returns: (transfer full): an array of filter specs, to be freed with g_value_array_free()
 */
ORVANE_EXPORT GValueArray *orvane_filter_spec_set_new(gboolean takeOwnership,
                                                      ...) G_GNUC_NULL_TERMINATED;

G_END_DECLS
