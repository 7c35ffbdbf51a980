/*
 * estate.h -- the inventory of a new service, and the objects that can be added to it
 *
 *   group-d1  Datacenters
 *     datacenter-2  Datacenter
 *       group-v3  vm        -> vm-101, vm-102, ...
 *       group-h4  host      -> domain-c7 (with resgroup-8) -> host-9, host-10, ...
 *       group-s5  datastore -> datastore-...
 *       group-n6  network   -> network-...
 *
 * The second service has a folder of conversion jobs: group-c1 -> job-1, job-2, ...
 */
#pragma once

#include <string>

#include "tools/simulator/inventory.h"

namespace simulator {

class Service;

constexpr char kRootFolderId[] = "group-d1";
constexpr char kMachineFolderId[] = "group-v3";
constexpr char kJobFolderId[] = "group-c1";

/* Fills the inventory of a service of either kind. */
void BuildEstate(Service &service);

/* Adds a machine that is switched off to a folder, on the next host in turn. */
ObjectPtr AddMachine(Service &service, const ObjectPtr &folder, const std::string &name);
/* Removes an entity with its content, and all references to them. */
void RemoveEntity(Service &service, const ObjectPtr &entity);
ObjectPtr AddFolder(Service &service, const ObjectPtr &parent, const std::string &name);
void MoveInto(Service &service, const ObjectPtr &folder, const ObjectPtr &entity);

/* Adds a reference to a list of an object, or removes it. */
void AddToList(Service &service, const ObjectPtr &holder, const std::string &property,
               const ObjectPtr &item);
void RemoveFromList(Service &service, const ObjectPtr &holder, const std::string &property,
                    const ObjectPtr &item);

/* Returns the ServiceContent of the main service in its version. */
Value ContentValue(const Service &service);

} // namespace simulator
