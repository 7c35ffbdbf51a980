/*
 * inventoryTree.h -- the entities of a service as a tree, read in one call
 *
 * Ownership: the tree keeps the proxies alive.
 * Errors:    throws Failure.
 */
#pragma once

#include <map>
#include <string>
#include <vector>

#include <orvane/orvane.h>

#include "tools/orvane/operation.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

struct Entity {
    ObjectPtr<GObject> object;
    std::string id;
    std::string kind; /* name of its class on the wire */
    std::string name;
    std::string parentId;
    bool isRunning; /* a machine whose guest reports a heartbeat */
};

class InventoryTree {
public:
    /* Folders, datacenters, compute resources, hosts and machines below a folder. */
    static InventoryTree Read(OrvaneSession *session, SkemaQormManagedObject *rootFolder,
                              int timeoutSeconds);

    size_t Size() const { return entities.size(); }
    size_t Count(const std::string &kind) const;
    size_t NumRunning() const;
    /* "1 Datacenter, 4 Folder, 4 HostSystem, 200 VirtualMachine" */
    std::string Summary() const;
    /* Returns the machine of a name, or with an empty name the first that is not running; or NULL. */
    const Entity *FindMachine(const std::string &name) const;
    /* Shows the tree; of an entity with many children only the first few. */
    void Show(Terminal &terminal) const;

private:
    void ShowChildren(Terminal &terminal, const std::string &parentId,
                      const std::string &indent) const;

    std::string rootId;
    std::vector<Entity> entities;
    std::map<std::string, std::vector<const Entity *>> children; /* by id of the parent */
};

} // namespace orvaneCli
