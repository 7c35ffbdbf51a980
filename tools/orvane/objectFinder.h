/*
 * objectFinder.h -- the object that a user means by a path, an id or a name
 *
 *   /                               the root folder
 *   /Datacenter/vm/machine-0001     names from the root folder on; "%2f" is a slash in a name
 *   vm-101                          the id of an entity, a manager or a task
 *   ServiceInstance                 the same
 *   VirtualMachine:vm-101           an id with its class: of any object; it is not looked up
 *   machine-0001                    the name of an entity, if only one has it
 *   job-1  conversion-0001  Job:job-1    jobs, at the second service
 *
 * An id is stronger than a name.
 *
 * Errors:  Failure, with the nearest names for one that does not exist, and the paths where several objects are meant.
 */
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/orvane/inventoryReader.h"
#include "tools/orvane/service.h"

namespace orvaneCli {

class ObjectFinder {
public:
    explicit ObjectFinder(const Service &connected) : service(connected) {}

    /* The class is the one that is expected, for the advice if there is no such object. */
    ProxyPtr Find(const std::string &word, GType expected = 0);
    /* The path of an entity; its id for another object. */
    std::string PathOf(SkemaQormManagedObject *object) const;

private:
    ProxyPtr FindByPath(const std::string &path) const;
    ProxyPtr FindByIndex(const std::string &path) const;
    ProxyPtr FindChild(const ProxyPtr &parent, std::string_view part,
                       const std::string &path) const;
    ProxyPtr FindWithClass(const std::string &word) const;
    ProxyPtr FindManager(const std::string &id) const;
    ProxyPtr FindById(const std::string &id) const;
    ProxyPtr FindInInventory(const std::string &word, GType expected);
    std::string PathOf(const InventoryEntity &entity) const;

    const Service &service;
    std::optional<std::vector<InventoryEntity>> all; /* once a name had to be looked for */
};

} // namespace orvaneCli
