/*
 * inventory.h -- a list of all objects of a class, with some of their properties, that keeps itself up to date
 *
 *   const char *const properties[] = {"name", "runtime", NULL};
 *   OrvaneInventory *machines = orvane_inventory_new(session, SKEMA_TYPE_OZY_VIRTUAL_MACHINE, properties);
 *   g_signal_connect(machines, "object-changed", G_CALLBACK(OnChanged), NULL);
 *   ... a GtkListView shows it; g_list_model_get_item() returns proxies ...
 *
 * It is a #GListModel of proxies. It uses one filter of the session, on a container view if the service has a view manager,
 * otherwise on a traversal that reaches every managed entity. So an object needs no load of its own. A session that is not
 * connected yet is waited for. When the connection ends, the list stays as it is; when the session is connected again, the
 * same list is brought up to date, by the difference. A session that connects again by itself keeps its proxies; those of
 * another orvane_session_connect() are others, which replace all that are in the list.
 *
 *   WAITING -> FILLING -> READY            is-ready is %TRUE in the last only
 *      ^          |         |
 *      +----------+---------+              the connection has ended, or was interrupted
 *
 * Order: that of arrival. When objects are removed, the last ones take their places. All that a reply brings or takes away is
 *        at most two "items-changed".
 *
 * Signals: "object-changed" (object, path): a property of an object in the list has changed; the path is the service's,
 *        such as "runtime.powerState". "notify" of the object was emitted before.
 *        "ready": the list has become complete. It is so for the first time in a connection, or again, after the service has
 *        sent everything anew.
 * Properties, all readable: "n-items", "is-ready", "root", and "error", why there is no list (a #GError; %NULL if all
 *        is well).
 * Ownership: the list holds its objects, and does not keep the session.
 * Callbacks: any handler may do anything, also release the list or the session.
 * Threads:   the loop's. No main context is needed.
 */
#pragma once

#include <gio/gio.h>

#include <orvane/session.h>

G_BEGIN_DECLS

#define ORVANE_TYPE_INVENTORY (orvane_inventory_get_type())
ORVANE_EXPORT G_DECLARE_FINAL_TYPE(OrvaneInventory, orvane_inventory, ORVANE, INVENTORY, GObject)

/**
 * orvane_inventory_new:
 * @session: the session of the main service
 * @type: the class of the objects, a subclass of SkemaOzyManagedEntity; objects of its subclasses are in the list, too
 * @properties: (nullable) (array zero-terminated=1): the properties that are kept up to date, such as "name" or
 *   "config.hardware"; %NULL for none
 *
 * Returns: (transfer full): an empty list, which is filled by the loop
 */
ORVANE_EXPORT OrvaneInventory *orvane_inventory_new(OrvaneSession *session, GType type,
                                                    const char *const *properties);

/**
 * orvane_inventory_set_root:
 * @inventory: a list
 * @root: (nullable): the folder, or other entity, below which objects are listed; %NULL for the root folder of the service
 *
 * If the list has been filled, it is brought up to date with the objects below the new root.
 */
ORVANE_EXPORT void orvane_inventory_set_root(OrvaneInventory *inventory,
                                             SkemaQormManagedObject *root);

/**
 * orvane_inventory_find:
 * @inventory: a list
 * @object: a proxy
 * @position: (out) (optional): its place, if it is in the list
 *
 * Returns: whether it is in the list; the time does not depend on the length
 */
ORVANE_EXPORT gboolean orvane_inventory_find(OrvaneInventory *inventory,
                                             SkemaQormManagedObject *object, guint *position);

/**
 * orvane_inventory_is_ready:
 * @inventory: a list
 *
 * Returns: whether it is complete and follows the service
 */
ORVANE_EXPORT gboolean orvane_inventory_is_ready(OrvaneInventory *inventory);

/**
 * orvane_inventory_get_error:
 * @inventory: a list
 *
 * Returns: (transfer none) (nullable): why the service gives no list, such as a property that does not exist
 */
ORVANE_EXPORT const GError *orvane_inventory_get_error(OrvaneInventory *inventory);

G_END_DECLS
