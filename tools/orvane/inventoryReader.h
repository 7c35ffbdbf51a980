/*
 * inventoryReader.h -- the managed entities of the inventory, with their names and places, read in one call
 *
 * The tree is that of the property "parent": folders, datacenters, clusters, hosts, pools, machines, datastores and
 * networks. A name is as the service has it; a path is made of names in which "/" is "%2f", and
 * a "%" that begins such an escape "%25".
 *
 * Ownership: an entity keeps its proxy.
 * Errors:    Failure.
 */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/orvane/service.h"

namespace orvaneCli {

struct InventoryEntity {
    ProxyPtr object;
    std::string name;
    std::string parentId; /* empty for the root */
};

/* Properties that are read from the objects of a class, besides name and parent. */
struct ExtraProperties {
    GType type;
    std::vector<std::string> paths;
};

enum class InventoryDepth {
    kChildren,
    kAllBelow,
    kHostsBelow /* folders, datacenters, clusters and hosts; no machines */
};

constexpr size_t kMostPathLevels = 100; /* more are a cycle of parents */

/* Reads what is below an entity; the entity itself is not in the result. */
std::vector<InventoryEntity> ReadInventory(const Service &service, SkemaQormManagedObject *entity,
                                           InventoryDepth depth,
                                           const std::vector<ExtraProperties> &extra = {});

/* Whether entities can be below it. */
bool IsContainer(const Service &service, SkemaQormManagedObject *entity);

/* Reads one entity itself. */
InventoryEntity ReadEntity(const Service &service, SkemaQormManagedObject *entity,
                           const std::vector<ExtraProperties> &extra = {});

/* Reads one property set of one object, which need not be an entity. */
void ReadObject(const Service &service, SkemaQormManagedObject *object,
                const std::vector<std::string> &paths);

/* Parts of a filter, for objects that are followed: what is below an entity, and a spec of such parts, which it takes over. */
GObject *NewInventorySpec(const Service &service, SkemaQormManagedObject *entity);
GObject *NewFilterSpec(const std::vector<GObject *> &objects, const std::vector<GType> &types,
                       const std::vector<std::string> &paths);

/* A name as a part of a path, and back. */
std::string PathPart(std::string_view name);
std::string NameOfPart(std::string_view part);

} // namespace orvaneCli
