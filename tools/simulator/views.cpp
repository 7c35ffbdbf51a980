#include "tools/simulator/views.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>

#include "tools/simulator/estate.h"
#include "tools/simulator/service.h"
#include "tools/simulator/types.h"

namespace simulator {

namespace {

/* Properties through which entities contain others; they lead to each entity once. */
constexpr auto kContaining =
    std::to_array<const char *>({"childEntity", "vmFolder", "hostFolder", "datastoreFolder",
                                 "networkFolder", "host", "resourcePool"});

void GatherChildren(const Inventory &inventory, const Object &parent,
                    std::vector<ObjectPtr> &children) {
    /* Classes whose properties refer to entities beside or above them. */
    if (parent.type == "VirtualMachine" || parent.type == "Datastore" || parent.type == "Network")
        return;
    for (const char *property : kContaining) {
        const Value value = parent.Get(property);
        if (!value)
            continue;
        const bool isList = value->kind == ValueKind::List;
        for (const Value &item : isList ? value->items : std::vector<Value>{value})
            if (ObjectPtr child = inventory.Find(item->text))
                children.push_back(std::move(child));
    }
}

/* Members that the view has already come first, so that updates contain the new ones only. */
Value InOldOrder(const ObjectPtr &view, std::vector<Value> members) {
    std::map<std::string_view, size_t> old;
    if (view)
        for (const Value &item : view->Get("view")->items)
            old.emplace(item->text, old.size());
    const auto place = [&old](const Value &item) {
        const auto at = old.find(item->text);
        return at == old.end() ? SIZE_MAX : at->second;
    };
    std::ranges::stable_sort(members, {}, place);
    return References(std::move(members));
}

} // namespace

Value Views::Members(const Row &row) const {
    std::vector<Value> members;
    std::set<const Object *> seen;
    std::vector<ObjectPtr> open;
    GatherChildren(service.inventory, *row.container, open);
    for (size_t i = 0; i < open.size(); i++) {
        const ObjectPtr object = open[i];
        if (!seen.insert(object.get()).second)
            continue;
        if (row.types.empty() || std::ranges::any_of(row.types, [&](const std::string &type) {
                return IsA(object->type, type);
            }))
            members.push_back(object->Reference());
        if (row.recursive)
            GatherChildren(service.inventory, *object, open);
    }
    return InOldOrder(row.view, std::move(members));
}

ObjectPtr Views::Add(Row row, const std::string &type, std::vector<Field> fields) {
    row.view = service.inventory.Create(type, service.inventory.NextId("view-"), std::move(fields));
    rows.push_back(row);
    AddToList(service, service.inventory.Find("ViewManager"), "viewList", row.view);
    return row.view;
}

ObjectPtr Views::CreateContainer(const SessionPtr &owner, const ObjectPtr &container,
                                 std::vector<std::string> types, bool recursive) {
    Row row{nullptr, owner, container, std::move(types), recursive};
    const std::vector<Field> fields = {{"view", Members(row)},
                                       {"container", container->Reference()},
                                       {"type", Texts(row.types)},
                                       {"recursive", Truth(recursive)}};
    return Add(std::move(row), "ContainerView", fields);
}

ObjectPtr Views::CreateList(const SessionPtr &owner, std::vector<Value> members) {
    return Add({nullptr, owner, nullptr, {}, false}, "ListView",
               {{"view", References(std::move(members))}});
}

void Views::Destroy(const ObjectPtr &view) {
    RemoveFromList(service, service.inventory.Find("ViewManager"), "viewList", view);
    std::erase_if(rows, [&](const Row &row) { return row.view == view; });
    service.inventory.Remove(view);
}

void Views::EndSession(const SessionPtr &session) {
    std::vector<ObjectPtr> own;
    for (const Row &row : rows)
        if (row.owner == session)
            own.push_back(row.view);
    for (const ObjectPtr &view : own)
        Destroy(view);
}

void Views::Settle() {
    Inventory &inventory = service.inventory;
    const bool isStale =
        !inventory.JournalReaches(settledAt) ||
        std::ranges::any_of(inventory.Since(settledAt), [](const Change &change) {
            return (change.property.empty() && change.object->gone) ||
                   std::ranges::find(kContaining, change.property) != kContaining.end();
        });
    if (isStale && !rows.empty())
        for (const Row &row : std::vector(rows))
            if (row.container)
                inventory.Set(row.view, "view", Members(row));
    settledAt = inventory.LastNumber();
}

namespace {

using Result = std::optional<std::string>;

Result CreateContainerView(Service &service, const CallPtr &call) {
    const Element &arguments = call->Arguments();
    const ObjectPtr container =
        service.Require(ReadReference(arguments, "container"), "ManagedEntity");
    const bool recursive = ReadTruth(arguments, "recursive");
    std::vector<std::string> types = ReadTexts(arguments, "type");
    for (const std::string &type : types)
        if (!IsType(type))
            throw Fault("InvalidType", "There is no such type.", {{"argument", Text(type)}});
    return Returned(
        service.views.CreateContainer(call->session, container, std::move(types), recursive)
            ->Reference());
}

Result CreateListView(Service &service, const CallPtr &call) {
    std::vector<Value> members;
    for (const Element *element : call->Arguments().Children("obj"))
        members.push_back(service.Require(*element, "ManagedObject")->Reference());
    return Returned(service.views.CreateList(call->session, std::move(members))->Reference());
}

Result DestroyView(Service &service, const CallPtr &call) {
    service.views.Destroy(call->target);
    return "";
}

constexpr auto kMethods = std::to_array<MethodRow>({
    {"ViewManager", "CreateContainerView", CreateContainerView, Access::Session, "ozy25/2.5"},
    {"ViewManager", "CreateListView", CreateListView, Access::Session, "ozy25/2.5"},
    {"View", "DestroyView", DestroyView, Access::Session, "ozy25/2.5"},
});

} // namespace

std::span<const MethodRow> ViewMethods() {
    return kMethods;
}

} // namespace simulator
