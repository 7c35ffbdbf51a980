/*
 * entities.cpp -- methods of all entities of the inventory, of folders and of the search index
 */
#include <array>

#include <fmt/format.h>

#include "tools/simulator/estate.h"
#include "tools/simulator/service.h"
#include "tools/simulator/types.h"

namespace simulator {

namespace {

using Result = std::optional<std::string>;

Result Start(Service &service, const CallPtr &call, bool cancelable,
             std::function<Value()> effect) {
    TaskPlan plan{call->request.method, call->target, call->session->user.name, cancelable,
                  std::move(effect)};
    return Returned(service.tasks.Start(std::move(plan))->Reference());
}

/* Returns the child with a name in a folder or another container of entities; null if there is none. */
ObjectPtr FindChildOf(const Service &service, const ObjectPtr &parent, const std::string &name) {
    for (const char *property : {"childEntity", "vmFolder", "hostFolder", "datastoreFolder",
                                 "networkFolder", "host", "resourcePool"}) {
        const Value value = parent->Get(property);
        if (!value)
            continue;
        const bool isList = value->kind == ValueKind::List;
        for (const Value &item : isList ? value->items : std::vector<Value>{value}) {
            ObjectPtr child = service.inventory.Find(item->text);
            if (child && child->Get("name") && child->Get("name")->text == name)
                return child;
        }
    }
    return nullptr;
}

void RequireFreeName(const Service &service, const ObjectPtr &folder, const std::string &name) {
    if (name.empty())
        throw Fault("InvalidName", "A name must not be empty.", {{"name", Text(name)}});
    if (const ObjectPtr other = FindChildOf(service, folder, name))
        throw Fault("DuplicateName", fmt::format("The name \"{}\" is in use.", name),
                    {{"name", Text(name)}, {"object", other->Reference()}});
}

Result Rename(Service &service, const CallPtr &call) {
    const std::string name = ReadText(call->Arguments(), "newName");
    const ObjectPtr entity = call->target;
    return Start(service, call, false, [&service, entity, name]() -> Value {
        const Value parent = entity->Get("parent");
        const ObjectPtr folder = parent ? service.inventory.Find(parent->text) : nullptr;
        if (folder)
            RequireFreeName(service, folder, name);
        service.inventory.Set(entity, "name", Text(name));
        return nullptr;
    });
}

Result Destroy(Service &service, const CallPtr &call) {
    const ObjectPtr entity = call->target;
    if (entity->id == kRootFolderId || entity->id == kMachineFolderId ||
        (entity->type != "VirtualMachine" && entity->type != "Folder"))
        throw Fault("NotSupported", "The entity belongs to the simulator and stays.");
    return Start(service, call, false, [&service, entity]() -> Value {
        const Value power = FieldOf(entity->Get("runtime"), "powerState");
        if (power && power->text == "poweredOn")
            throw Fault("InvalidPowerState", "A machine that runs cannot be destroyed.");
        RemoveEntity(service, entity);
        return nullptr;
    });
}

Result CreateFolder(Service &service, const CallPtr &call) {
    const std::string name = ReadText(call->Arguments(), "name");
    RequireFreeName(service, call->target, name);
    return Returned(AddFolder(service, call->target, name)->Reference());
}

bool LiesIn(const Service &service, const ObjectPtr &entity, const ObjectPtr &holder) {
    for (ObjectPtr at = entity; at;) {
        if (at == holder)
            return true;
        const Value parent = at->Get("parent");
        at = parent ? service.inventory.Find(parent->text) : nullptr;
    }
    return false;
}

Result MoveIntoFolder(Service &service, const CallPtr &call) {
    std::vector<ObjectPtr> entities;
    for (const Element *element : call->Arguments().Children("list"))
        entities.push_back(service.Require(*element, "ManagedEntity"));
    if (entities.empty())
        throw InvalidArgument("list", "\"list\" is missing.");
    const ObjectPtr folder = call->target;
    return Start(service, call, true, [&service, folder, entities]() -> Value {
        for (const ObjectPtr &entity : entities) {
            if (entity->gone)
                throw ObjectNotFound(entity->type, entity->id);
            if (LiesIn(service, folder, entity))
                throw Fault("InvalidFolder", "A folder cannot be moved into itself.");
            MoveInto(service, folder, entity);
        }
        return nullptr;
    });
}

/* Only the name of the machine's description is used. */
Result CreateMachine(Service &service, const CallPtr &call) {
    const Element &config = ReadElement(call->Arguments(), "config");
    const std::string name = OptionalText(config, "name", "new machine");
    const ObjectPtr folder = call->target;
    return Start(service, call, true, [&service, folder, name] {
        RequireFreeName(service, folder, name);
        return AddMachine(service, folder, name)->Reference();
    });
}

Result FindByInventoryPath(Service &service, const CallPtr &call) {
    const std::string path = ReadText(call->Arguments(), "inventoryPath");
    ObjectPtr at = service.inventory.Find(kRootFolderId);
    for (size_t start = 0; at && start < path.size();) {
        const size_t end = std::min(path.find('/', start), path.size());
        if (end > start)
            at = FindChildOf(service, at, path.substr(start, end - start));
        start = end + 1;
    }
    return at ? Returned(at->Reference()) : "";
}

Result FindChild(Service &service, const CallPtr &call) {
    const ObjectPtr parent =
        service.Require(ReadReference(call->Arguments(), "entity"), "ManagedEntity");
    const ObjectPtr child = FindChildOf(service, parent, ReadText(call->Arguments(), "name"));
    return child ? Returned(child->Reference()) : "";
}

constexpr auto kMethods = std::to_array<MethodRow>({
    {"ManagedEntity", "Rename_Task", Rename, Access::Change},
    {"ManagedEntity", "Destroy_Task", Destroy, Access::Change},
    {"Folder", "CreateFolder", CreateFolder, Access::Change},
    {"Folder", "MoveIntoFolder_Task", MoveIntoFolder, Access::Change},
    {"Folder", "CreateVM_Task", CreateMachine, Access::Change},
    {"SearchIndex", "FindByInventoryPath", FindByInventoryPath},
    {"SearchIndex", "FindChild", FindChild},
});

} // namespace

std::span<const MethodRow> EntityMethods() {
    return kMethods;
}

} // namespace simulator
