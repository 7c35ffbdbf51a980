#include "tools/simulator/estate.h"

#include <array>

#include <fmt/format.h>

#include "tools/simulator/authorization.h"
#include "tools/simulator/collector.h"
#include "tools/simulator/service.h"
#include "tools/simulator/types.h"

namespace simulator {

namespace {

constexpr char kConversionManager[] = "FerryServerConversionConversionManager";

/* The managers that a service content names, in the order of its fields. */
struct ManagerRow {
    std::string_view field;
    std::string_view type;
    std::string_view since;
};

constexpr auto kManagers = std::to_array<ManagerRow>({
    {"viewManager", "ViewManager", "ozy25/2.5"},
    {"about", "", ""},
    {"setting", "OptionManager", ""},
    {"userDirectory", "UserDirectory", ""},
    {"sessionManager", "SessionManager", ""},
    {"authorizationManager", "AuthorizationManager", ""},
    {"serviceManager", "ServiceManager", "ozy25/5.1"},
    {"perfManager", "PerformanceManager", ""},
    {"scheduledTaskManager", "ScheduledTaskManager", ""},
    {"alarmManager", "AlarmManager", ""},
    {"eventManager", "EventManager", ""},
    {"taskManager", "TaskManager", ""},
    {"extensionManager", "ExtensionManager", "ozy25/2.5"},
    {"customizationSpecManager", "CustomizationSpecManager", ""},
    {"customFieldsManager", "CustomFieldsManager", ""},
    {"diagnosticManager", "DiagnosticManager", ""},
    {"searchIndex", "SearchIndex", ""},
    {"fileManager", "FileManager", "ozy25/2.5"},
    {"virtualDiskManager", "VirtualDiskManager", "ozy25/2.5"},
    {"ovfManager", "OvfManager", "ozy25/4.0"},
    {"storageResourceManager", "StorageResourceManager", "ozy25/4.1"},
});

Value About(const Service &service) {
    const Value about =
        Structure("AboutInfo", {{"name", Text("Orvane simulator")},
                                {"fullName", Text("Orvane simulator " + service.names.version)},
                                {"vendor", Text("The Orvane developers")},
                                {"version", Text(service.names.version)},
                                {"build", Text("1")},
                                {"localeVersion", Text("INTL")},
                                {"localeBuild", Text("000")},
                                {"osType", Text("linux-x64")},
                                {"productLineId", Text("simulator")},
                                {"apiType", Text("Simulator")},
                                {"apiVersion", Text(service.names.version)},
                                {"instanceUuid", Text(service.options.instanceUuid)}});
    return service.options.instanceUuid.empty() ? WithField(about, "instanceUuid", nullptr) : about;
}

Value Status(const std::string &word) {
    return Enum("ManagedEntityStatus", word);
}

/* Returns the properties that every entity has, followed by its own. */
std::vector<Field> Entity(const std::string &name, const ObjectPtr &parent,
                          std::vector<Field> own = {}) {
    static const Value green = Status("green");
    static const Value roles = List("Int", {Int(kAdminRole)});
    static const Value noTexts = Texts({});
    static const Value noReferences = References({});
    static const Value yes = Truth(true);
    std::vector<Field> fields = {{"parent", parent ? parent->Reference() : nullptr},
                                 {"overallStatus", green},
                                 {"configStatus", green},
                                 {"effectiveRole", roles},
                                 {"name", Text(name)},
                                 {"disabledMethod", noTexts},
                                 {"recentTask", noReferences},
                                 {"alarmActionsEnabled", yes}};
    fields.insert(fields.end(), own.begin(), own.end());
    return fields;
}

ObjectPtr MakeFolder(Inventory &inventory, const std::string &id, const std::string &name,
                     const ObjectPtr &parent, const std::vector<std::string> &childTypes) {
    return inventory.Create(
        "Folder", id,
        Entity(name, parent, {{"childType", Texts(childTypes)}, {"childEntity", References({})}}));
}

/* Collects the items of lists, so that each list is set once. */
struct Lists {
    std::map<std::pair<Object *, std::string>, std::vector<Value>> items;

    void Add(const ObjectPtr &holder, const std::string &property, const ObjectPtr &item) {
        items[{holder.get(), property}].push_back(item->Reference());
    }

    void Set(Inventory &inventory) {
        for (auto &[key, values] : items)
            inventory.Set(inventory.Find(key.first->id), key.second, References(std::move(values)));
    }
};

struct Site {
    ObjectPtr machineFolder, hostFolder, datastore, network;
};

Site BuildDatacenter(Inventory &inventory, const ObjectPtr &root) {
    const ObjectPtr datacenter =
        inventory.Create("Datacenter", "datacenter-2", Entity("Datacenter", root));
    Site site;
    site.machineFolder =
        MakeFolder(inventory, kMachineFolderId, "vm", datacenter, {"Folder", "VirtualMachine"});
    site.hostFolder =
        MakeFolder(inventory, "group-h4", "host", datacenter, {"Folder", "ComputeResource"});
    const ObjectPtr datastores =
        MakeFolder(inventory, "group-s5", "datastore", datacenter, {"Folder", "Datastore"});
    const ObjectPtr networks =
        MakeFolder(inventory, "group-n6", "network", datacenter, {"Folder", "Network"});
    site.datastore =
        inventory.Create("Datastore", "datastore-11", Entity("datastore1", datastores));
    site.network = inventory.Create("Network", "network-12", Entity("Network 1", networks));

    inventory.Set(root, "childEntity", References({datacenter->Reference()}));
    inventory.Set(datastores, "childEntity", References({site.datastore->Reference()}));
    inventory.Set(networks, "childEntity", References({site.network->Reference()}));
    inventory.Set(datacenter, "vmFolder", site.machineFolder->Reference());
    inventory.Set(datacenter, "hostFolder", site.hostFolder->Reference());
    inventory.Set(datacenter, "datastoreFolder", datastores->Reference());
    inventory.Set(datacenter, "networkFolder", networks->Reference());
    inventory.Set(datacenter, "datastore", References({site.datastore->Reference()}));
    inventory.Set(datacenter, "network", References({site.network->Reference()}));
    return site;
}

void BuildClusters(Service &service, const Site &site, Lists &lists) {
    Inventory &inventory = service.inventory;
    const int numClusters = std::max(service.options.clusters, 1);
    for (int i = 0; i < numClusters; i++) {
        const ObjectPtr cluster =
            inventory.Create("ClusterComputeResource", inventory.NextId("domain-c"),
                             Entity(fmt::format("Cluster {}", i + 1), site.hostFolder,
                                    {{"host", References({})},
                                     {"datastore", References({site.datastore->Reference()})},
                                     {"network", References({site.network->Reference()})}}));
        const ObjectPtr pool = inventory.Create("ResourcePool", inventory.NextId("resgroup-"),
                                                Entity("Resources", cluster,
                                                       {{"owner", cluster->Reference()},
                                                        {"resourcePool", References({})},
                                                        {"vm", References({})}}));
        inventory.Set(cluster, "resourcePool", pool->Reference());
        lists.Add(site.hostFolder, "childEntity", cluster);

        for (int host = i; host < service.options.hosts; host += numClusters) {
            const ObjectPtr system =
                inventory.Create("HostSystem", inventory.NextId("host-"),
                                 Entity(fmt::format("host{}.example.com", host + 1), cluster,
                                        {{"vm", References({})},
                                         {"datastore", References({site.datastore->Reference()})},
                                         {"network", References({site.network->Reference()})}}));
            lists.Add(cluster, "host", system);
        }
    }
}

Value RuntimeOf(const ObjectPtr &host, bool isOn) {
    return Structure(
        "VirtualMachineRuntimeInfo",
        {{"host", host ? host->Reference() : nullptr},
         {"powerState", Enum("VirtualMachinePowerState", isOn ? "poweredOn" : "poweredOff")}});
}

ObjectPtr MakeMachine(Service &service, const ObjectPtr &folder, const ObjectPtr &host,
                      const std::string &name, bool isOn) {
    Inventory &inventory = service.inventory;
    const ObjectPtr cluster = host ? inventory.Find(host->Get("parent")->text) : nullptr;
    static const Value no = Truth(false);
    static const Value noReferences = References({});
    return inventory.Create(
        "VirtualMachine", inventory.NextId("vm-"),
        Entity(name, folder,
               {{"resourcePool", cluster ? cluster->Get("resourcePool") : nullptr},
                {"runtime", RuntimeOf(host, isOn)},
                {"datastore", cluster ? cluster->Get("datastore") : nullptr},
                {"network", cluster ? cluster->Get("network") : nullptr},
                {"rootSnapshot", noReferences},
                {"configLocked", no},
                {"guestHeartbeatStatus", Status(isOn ? "green" : "gray")}}));
}

void BuildMachines(Service &service, const Site &site, Lists &lists) {
    const auto hosts = service.inventory.OfType("HostSystem");
    for (int i = 0; i < service.options.machines; i++) {
        const ObjectPtr host =
            hosts.empty() ? nullptr : hosts[static_cast<size_t>(i) % hosts.size()];
        const ObjectPtr machine = MakeMachine(service, site.machineFolder, host,
                                              fmt::format("machine-{:04}", i + 1), i % 4 == 3);
        lists.Add(site.machineFolder, "childEntity", machine);
        lists.Add(site.datastore, "vm", machine);
        lists.Add(site.network, "vm", machine);
        if (host) {
            lists.Add(host, "vm", machine);
            lists.Add(service.inventory.Find(machine->Get("resourcePool")->text), "vm", machine);
        }
    }
    for (const ObjectPtr &host : hosts) {
        lists.Add(site.datastore, "host", host);
        lists.Add(site.network, "host", host);
    }
    /* Its class has no simple form in XML. */
    lists.items.erase({site.datastore.get(), "host"});
}

void BuildManagers(Service &service) {
    Inventory &inventory = service.inventory;
    for (const ManagerRow &row : kManagers) {
        if (row.type == "ViewManager" && !service.options.viewManager)
            continue;
        const std::string type(row.type);
        if (type.empty() ||
            !VersionHas(service.version, row.since.empty() ? "ozy2/2.0" : row.since))
            continue;
        std::vector<Field> fields;
        if (type == "SessionManager")
            fields = {{"sessionList", List("UserSession", {})},
                      {"currentSession", Structure("UserSession", {})},
                      {"message", Text("Welcome to the Orvane simulator.")},
                      {"messageLocaleList", Texts({"en", "de"})},
                      {"supportedLocaleList", Texts({"en", "de"})},
                      {"defaultLocale", Text("en")}};
        else if (type == "TaskManager")
            fields = {{"recentTask", References({})}, {"maxCollector", Int(32)}};
        else if (type == "EventManager")
            fields = {{"maxCollector", Int(32)}};
        else if (type == "ViewManager")
            fields = {{"viewList", References({})}};
        else if (type == "AuthorizationManager")
            fields = AuthorizationProperties();
        inventory.Create(type, type, std::move(fields));
    }
}

void BuildOzy(Service &service) {
    Inventory &inventory = service.inventory;
    inventory.StartIdsAt("group-v", 1001); /* ids of later folders differ from those above */
    inventory.StartIdsAt("domain-c", 7);
    inventory.StartIdsAt("resgroup-", 8);
    inventory.StartIdsAt("host-", 9);
    inventory.StartIdsAt("vm-", 101);

    BuildManagers(service);
    inventory.Create("ServiceInstance", "ServiceInstance",
                     {{"serverClock", Time(service.clock.WallTime())},
                      {"capability", Structure("Capability", {})},
                      {"content", ContentValue(service)}});
    const ObjectPtr root =
        MakeFolder(inventory, kRootFolderId, "Datacenters", nullptr, {"Folder", "Datacenter"});
    const Site site = BuildDatacenter(inventory, root);
    Lists lists;
    BuildClusters(service, site, lists);
    BuildMachines(service, site, lists);
    lists.Set(inventory);
}

void BuildJobs(Service &service) {
    Inventory &inventory = service.inventory;
    const ObjectPtr folder =
        inventory.Create("FerryServerConversionConversionFolder", kJobFolderId,
                         {{"overallStatus", Enum("FerryManagedEntityStatus", "green")},
                          {"name", Text("Conversions")},
                          {"job", References({})}});
    inventory.Create(kConversionManager, kConversionManager,
                     {{"rootFolder", folder->Reference()}, {"maxCollector", Int(32)}});
    for (int i = 1; i <= service.options.jobs; i++)
        service.jobs.Create(fmt::format("conversion-{:04}", i),
                            Structure("FerryServerConversionConversionJobSpec", {}));
}

void BuildFerry(Service &service) {
    Inventory &inventory = service.inventory;
    const Value content =
        Structure("FerryServerContent",
                  {{"sessionManager", Reference("FerrySessionManager", "FerrySessionManager")},
                   {"propertyCollector", Reference("PropertyCollector", kPropertyCollectorId)},
                   {"taskManager", Reference("FerryTaskManager", "FerryTaskManager")},
                   {"conversionManager", Reference(kConversionManager, kConversionManager)},
                   {"about", About(service)}});
    inventory.Create("FerryServiceInstance", "ServiceInstance",
                     {{"content", content}, {"currentTime", Time(service.clock.WallTime())}});
    inventory.Create("FerrySessionManager", "FerrySessionManager",
                     {{"sessionList", List("FerryUserSession", {})},
                      {"currentSession", Structure("FerryUserSession", {})},
                      {"messageLocaleList", Texts({"en"})},
                      {"supportedLocaleList", Texts({"en"})},
                      {"defaultLocale", Text("en")}});
    inventory.Create("FerryTaskManager", "FerryTaskManager",
                     {{"maxTask", Int(12)},
                      {"maxConnection", Int(0)},
                      {"recentTask", References({})},
                      {"maxCollector", Int(32)}});
    BuildJobs(service);
}

/* Removes the references to a machine that are not in its folder. */
void UnlinkMachine(Service &service, const ObjectPtr &machine) {
    std::vector<Value> holders = {machine->Get("resourcePool"),
                                  FieldOf(machine->Get("runtime"), "host")};
    for (const char *property : {"datastore", "network"})
        if (const Value list = machine->Get(property))
            holders.insert(holders.end(), list->items.begin(), list->items.end());
    for (const Value &holder : holders)
        if (holder)
            RemoveFromList(service, service.inventory.Find(holder->text), "vm", machine);
    for (const Value &snapshot : machine->Get("rootSnapshot")->items)
        if (const ObjectPtr object = service.inventory.Find(snapshot->text))
            service.inventory.Remove(object);
}

} // namespace

void BuildEstate(Service &service) {
    service.inventory.Create("PropertyCollector", kPropertyCollectorId, {});
    if (service.kind == Service::Kind::Ferry)
        BuildFerry(service);
    else
        BuildOzy(service);
    service.inventory.Forget(service.inventory.LastNumber());
}

Value ContentValue(const Service &service) {
    std::vector<Field> fields = {
        {"rootFolder", Reference("Folder", kRootFolderId)},
        {"propertyCollector", Reference("PropertyCollector", kPropertyCollectorId)}};
    for (const ManagerRow &row : kManagers) {
        const std::string type(row.type);
        if (type.empty())
            fields.push_back({"about", About(service)});
        else if (service.inventory.Find(type))
            fields.push_back({std::string(row.field), Reference(type, type)});
    }
    return Structure("ServiceContent", std::move(fields));
}

void AddToList(Service &service, const ObjectPtr &holder, const std::string &property,
               const ObjectPtr &item) {
    if (!holder)
        return;
    const Value list = holder->Get(property);
    service.inventory.Set(holder, property,
                          WithItem(list ? list : References({}), item->Reference()));
}

void RemoveFromList(Service &service, const ObjectPtr &holder, const std::string &property,
                    const ObjectPtr &item) {
    if (holder && holder->Get(property))
        service.inventory.Set(holder, property, WithoutReference(holder->Get(property), item->id));
}

ObjectPtr AddMachine(Service &service, const ObjectPtr &folder, const std::string &name) {
    const auto hosts = service.inventory.OfType("HostSystem");
    const size_t turn = service.inventory.LastNumber();
    const ObjectPtr host = hosts.empty() ? nullptr : hosts[turn % hosts.size()];
    ObjectPtr machine = MakeMachine(service, folder, host, name, false);
    AddToList(service, folder, "childEntity", machine);
    AddToList(service, host, "vm", machine);
    for (const char *property : {"resourcePool", "datastore", "network"}) {
        const Value value = machine->Get(property);
        if (!value)
            continue;
        const bool isList = value->kind == ValueKind::List;
        for (const Value &holder : isList ? value->items : std::vector<Value>{value})
            AddToList(service, service.inventory.Find(holder->text), "vm", machine);
    }
    return machine;
}

ObjectPtr AddFolder(Service &service, const ObjectPtr &parent, const std::string &name) {
    std::vector<std::string> types;
    if (const Value list = parent->Get("childType"))
        for (const Value &type : list->items)
            types.push_back(type->text);
    ObjectPtr folder =
        MakeFolder(service.inventory, service.inventory.NextId("group-v"), name, parent, types);
    AddToList(service, parent, "childEntity", folder);
    return folder;
}

void RemoveEntity(Service &service, const ObjectPtr &entity) {
    if (const Value children = entity->Get("childEntity"))
        for (const Value &child : children->items)
            if (const ObjectPtr object = service.inventory.Find(child->text))
                RemoveEntity(service, object);
    if (entity->type == "VirtualMachine")
        UnlinkMachine(service, entity);
    if (const Value parent = entity->Get("parent"))
        RemoveFromList(service, service.inventory.Find(parent->text), "childEntity", entity);
    service.inventory.Remove(entity);
}

void MoveInto(Service &service, const ObjectPtr &folder, const ObjectPtr &entity) {
    if (const Value parent = entity->Get("parent"))
        RemoveFromList(service, service.inventory.Find(parent->text), "childEntity", entity);
    AddToList(service, folder, "childEntity", entity);
    service.inventory.Set(entity, "parent", folder->Reference());
}

} // namespace simulator
