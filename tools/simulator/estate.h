/*
 * estate.h -- the inventory that a fresh service has, and the objects that can be added to it
 *
 *   group-d1  Datacenters
 *     datacenter-2  Datacenter
 *       group-v3  vm        -> vm-101, vm-102, ...
 *       group-h4  host      -> domain-c7 (with resgroup-8) -> host-9, host-10, ...
 *       group-s5  datastore -> datastore-...
 *       group-n6  network   -> network-...
 */
#pragma once

#include <string>

#include "tools/simulator/inventory.h"

namespace simulator {

class Service;

constexpr char kRootFolderId[] = "group-d1";
constexpr char kMachineFolderId[] = "group-v3";

/* Fills the inventory of a service of either kind. */
void BuildEstate(Service &service);

/* A switched-off machine in a folder, on the next host in turn. */
ObjectPtr AddMachine(Service &service, const ObjectPtr &folder, const std::string &name);
/* Takes an entity, and what lies in it, out of everything that refers to it. */
void RemoveEntity(Service &service, const ObjectPtr &entity);
ObjectPtr AddFolder(Service &service, const ObjectPtr &parent, const std::string &name);
void MoveInto(Service &service, const ObjectPtr &folder, const ObjectPtr &entity);

/* Puts a reference into, or takes it out of, a list that an object has. */
void AddToList(Service &service, const ObjectPtr &holder, const std::string &property,
               const ObjectPtr &item);
void RemoveFromList(Service &service, const ObjectPtr &holder, const std::string &property,
                    const ObjectPtr &item);

/* The ServiceContent of the main service in its version. */
Value ContentValue(const Service &service);

} // namespace simulator
