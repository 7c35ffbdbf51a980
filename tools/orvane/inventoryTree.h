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
    bool isRunning; /* of a machine: its guest shows signs of life */
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
    /* By name, or the first that is not running; NULL if there is none. */
    const Entity *FindMachine(const std::string &name) const;
    /* Of many children of one kind only the first few are shown. */
    void Show(Terminal &terminal) const;

private:
    void ShowChildren(Terminal &terminal, const std::string &parentId,
                      const std::string &indent) const;

    std::string rootId;
    std::vector<Entity> entities;
    std::map<std::string, std::vector<const Entity *>> children; /* by id of the parent */
};

} // namespace orvaneCli
