#include "tools/orvane/inventoryTree.h"

#include <algorithm>

#include <fmt/format.h>
#include <orvane/schema/ozy.h>

#include "tools/orvane/message.h"

namespace orvaneCli {

namespace {

constexpr size_t kShown = 4; /* children of one kind */

/* A property of a class that leads further down the tree. */
struct Step {
    const char *name;
    GType (*type)();
    const char *path;
};

const Step kSteps[] = {
    {"folderToChildren", skema_ozy_folder_get_type, "childEntity"},
    {"datacenterToMachines", skema_ozy_datacenter_get_type, "vmFolder"},
    {"datacenterToHosts", skema_ozy_datacenter_get_type, "hostFolder"},
    {"computeResourceToHosts", skema_ozy_compute_resource_get_type, "host"},
};

/* A step, after which any of the steps may follow. */
GObject *Traversal(const Step &step) {
    return orvane_traversal_spec_new(
        step.name, step.type(), step.path, FALSE, TRUE, orvane_selection_spec_new(kSteps[0].name),
        orvane_selection_spec_new(kSteps[1].name), orvane_selection_spec_new(kSteps[2].name),
        orvane_selection_spec_new(kSteps[3].name), nullptr);
}

GValueArray *WhatToRead(SkemaQormManagedObject *rootFolder) {
    GObject *objects =
        orvane_object_spec_new(rootFolder, FALSE, TRUE, Traversal(kSteps[0]), Traversal(kSteps[1]),
                               Traversal(kSteps[2]), Traversal(kSteps[3]), nullptr);
    GObject *entities =
        orvane_property_spec_new(SKEMA_TYPE_OZY_MANAGED_ENTITY, FALSE, "name", "parent", nullptr);
    GObject *machines = orvane_property_spec_new(SKEMA_TYPE_OZY_VIRTUAL_MACHINE, FALSE, "name",
                                                 "parent", "guestHeartbeatStatus", nullptr);
    return orvane_filter_spec_set_new(
        TRUE, orvane_filter_spec_new(TRUE, objects, entities, machines, nullptr), nullptr);
}

Entity MakeEntity(ObjectPtr<GObject> object) {
    gchar *name = nullptr;
    SkemaQormManagedObject *parent = nullptr;
    g_object_get(object.get(), "name", &name, "parent", &parent, nullptr);
    const GPtr<char> nameOwner(name);
    const ObjectPtr<SkemaQormManagedObject> parentOwner(parent);

    gint heartbeat = SKEMA_OZY_MANAGED_ENTITY_GRAY;
    if (SKEMA_IS_OZY_VIRTUAL_MACHINE(object.get()))
        g_object_get(object.get(), "guestHeartbeatStatus", &heartbeat, nullptr);
    auto *proxy = reinterpret_cast<SkemaQormManagedObject *>(object.get());
    const std::string id = proxy->id;
    const std::string kind = ClassName(proxy);
    return {std::move(object),
            id,
            kind,
            name ? name : Text(MSGID("inventory.noName") "(no name)"),
            parent ? parent->id : "",
            heartbeat == SKEMA_OZY_MANAGED_ENTITY_GREEN};
}

} // namespace

InventoryTree InventoryTree::Read(OrvaneSession *session, SkemaQormManagedObject *rootFolder,
                                  int timeoutSeconds) {
    Operation retrieve(Text(MSGID("inventory.reading") "reading the inventory"), timeoutSeconds);
    const ValueArrayPtr specs(WhatToRead(rootFolder));
    orvane_session_retrieve_contents(session, specs.get(), retrieve.Listener());

    InventoryTree tree;
    tree.rootId = rootFolder->id;
    for (ObjectPtr<GObject> &object : retrieve.Objects())
        tree.entities.push_back(MakeEntity(std::move(object)));
    for (const Entity &entity : tree.entities)
        tree.children[entity.parentId].push_back(&entity);
    return tree;
}

size_t InventoryTree::Count(const std::string &kind) const {
    return size_t(std::ranges::count(entities, kind, &Entity::kind));
}

size_t InventoryTree::NumRunning() const {
    return size_t(std::ranges::count(entities, true, &Entity::isRunning));
}

std::string InventoryTree::Summary() const {
    std::map<std::string, size_t> counts;
    for (const Entity &entity : entities)
        counts[entity.kind]++;
    std::string all;
    for (const auto &[kind, count] : counts)
        all += fmt::format("{}{} {}", all.empty() ? "" : ", ", count, kind);
    return all;
}

const Entity *InventoryTree::FindMachine(const std::string &name) const {
    const auto found = std::ranges::find_if(entities, [&](const Entity &entity) {
        return entity.kind == "VirtualMachine" &&
               (name.empty() ? !entity.isRunning : entity.name == name);
    });
    return found == entities.end() ? nullptr : &*found;
}

void InventoryTree::Show(Terminal &terminal) const {
    const auto root = std::ranges::find(entities, rootId, &Entity::id);
    if (root != entities.end())
        terminal.Line("  " + Printable(root->name) +
                      terminal.Styled(Style::kFaint, "  " + root->kind));
    ShowChildren(terminal, rootId, "  ");
}

void InventoryTree::ShowChildren(Terminal &terminal, const std::string &parentId,
                                 const std::string &indent) const {
    const auto found = children.find(parentId);
    if (found == children.end())
        return;
    const bool isPretty = terminal.HasUnicode();
    const auto &all = found->second;
    const size_t shown = all.size() > kShown + 1 ? kShown : all.size();
    for (size_t i = 0; i < shown; i++) {
        const bool isLast = i + 1 == all.size();
        const char *branch = isPretty ? (isLast ? "\u2514\u2500 " : "\u251c\u2500 ") : "|- ";
        const char *further = isLast ? "   " : (isPretty ? "\u2502  " : "|  ");
        const std::string word =
            all[i]->isRunning ? Text(MSGID("inventory.running") "%s, running", all[i]->kind.c_str())
                              : all[i]->kind;
        terminal.Line(indent + branch + Printable(all[i]->name) +
                      terminal.Styled(Style::kFaint, "  " + word));
        ShowChildren(terminal, all[i]->id, indent + further);
    }
    if (shown < all.size())
        terminal.Line(indent + (isPretty ? "\u2514\u2500 " : "|- ") +
                      terminal.Styled(Style::kFaint, Text(MSGID("inventory.more") "and %d more",
                                                          static_cast<int>(all.size() - shown))));
}

} // namespace orvaneCli
