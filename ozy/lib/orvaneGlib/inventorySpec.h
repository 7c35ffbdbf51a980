/*
 * inventorySpec.h -- the filters of an inventory: on a container view, or on a traversal of the whole inventory
 *
 * Both match one more object than those that are wanted, the view or the root. Its update says that the filter has been
 * evaluated, also if nothing else is matched.
 *
 * Ownership: the results are the caller's.
 * Threads:   the loop's.
 */
#pragma once

#include <string>
#include <vector>

#include <orvane/session.h>

/* The name of a class on the wire. */
const char *InventorySpec_WireName(GType type);

GObject *InventorySpec_NewOnView(SkemaQormManagedObject *view, GType type,
                                 const std::vector<std::string> &properties);

GObject *InventorySpec_NewOnRoot(OrvaneSession *session, SkemaQormManagedObject *root, GType type,
                                 const std::vector<std::string> &properties);
