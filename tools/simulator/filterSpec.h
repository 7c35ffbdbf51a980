/*
 * filterSpec.h -- the objects and properties that a property filter selects
 *
 * An object set names objects to start from; selection specs lead from an object over a property
 * that refers to others, and on from there by the specs named in their select set, cycles included:
 *
 *   {name "down", type Folder, path childEntity, selectSet [{name "down"}, {name "toMachines"}]}
 *
 * Errors: ParseFilterSpec() and Select() throw Fault.
 */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "tools/simulator/inventory.h"
#include "tools/simulator/soapRequest.h"

namespace simulator {

struct PropertyRow {
    std::string type;
    bool all = false;
    std::vector<std::string> paths;
};

struct TraversalRow {
    std::string name;
    std::string type;
    std::string path;
    bool skip = false;
    std::vector<size_t> next; /* indices of traversals */
};

struct ObjectRow {
    std::string type;
    std::string id;
    bool skip = false;
    std::vector<size_t> next;
};

struct FilterSpec {
    std::vector<PropertyRow> properties;
    std::vector<ObjectRow> objects;
    std::vector<TraversalRow> traversals;
    bool reportMissing = false;

    /* Returns the row with an object's properties: that of its most derived class; null if there is none. */
    const PropertyRow *RowFor(std::string_view type) const;
    /* Returns whether a traversal reads this property. */
    bool Traverses(std::string_view property) const;
};

FilterSpec ParseFilterSpec(const Element &element);

struct Selection {
    std::vector<ObjectPtr> objects; /* in the order of the traversal */
    std::unordered_set<const Object *> visited;
    std::vector<const ObjectRow *> missing; /* starting points that do not exist */
};

/* Returns the objects that a filter selects. A starting point that does not exist is a fault, unless missing
 * ones are to be reported. */
Selection Select(const FilterSpec &spec, const Inventory &inventory, bool reportMissing);

} // namespace simulator
