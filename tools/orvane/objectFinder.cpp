#include "tools/orvane/objectFinder.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>
#include <orvane/schema/ferry.h>
#include <orvane/schema/ozy.h>

#include "tools/orvane/idMap.h"
#include "tools/orvane/jobReader.h"
#include "tools/orvane/message.h"
#include "tools/orvane/nearestWord.h"
#include "tools/orvane/sendableText.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

constexpr size_t kMostShown = 5; /* objects or names in a message */
constexpr char kJob[] = "Job";   /* stands for all classes of jobs */

/* How ids of a class usually begin. A guess, which is checked. */
struct IdRow {
    const char *beginning;
    GType (*type)();
};
constexpr auto kIds = std::to_array<IdRow>({
    {"vm-", skema_ozy_virtual_machine_get_type},
    {"host-", skema_ozy_host_system_get_type},
    {"group-", skema_ozy_folder_get_type},
    {"datacenter-", skema_ozy_datacenter_get_type},
    {"domain-c", skema_ozy_cluster_compute_resource_get_type},
    {"domain-s", skema_ozy_compute_resource_get_type},
    {"resgroup-", skema_ozy_resource_pool_get_type},
    {"datastore-", skema_ozy_datastore_get_type},
    {"network-", skema_ozy_network_get_type},
    {"task-", skema_ozy_task_get_type},
    {"job-", skema_ferry_server_job_job_get_type},
});

ProxyPtr Retain(const ProxyPtr &proxy) {
    return ProxyPtr(static_cast<SkemaQormManagedObject *>(g_object_ref(proxy.get())));
}

/* The class whose ids begin so; 0 for another beginning. */
GType TypeOfId(const std::string &id) {
    const auto *row = std::ranges::find_if(
        kIds, [&](const IdRow &each) { return id.starts_with(each.beginning); });
    return row == kIds.end() ? 0 : row->type();
}

Failure NotFound(const std::string &word, const std::vector<std::string> &similar,
                 GType expected = 0) {
    const std::string shown = Printable(word);
    const GType type = expected != 0 ? expected : TypeOfId(word.substr(word.rfind(':') + 1));
    if (g_type_is_a(type, SKEMA_TYPE_FERRY_SERVER_JOB_JOB))
        return Failure(
            Text(MSGID("object.needsFerry") "there is no object \"%s\"; jobs are objects "
                                            "of the second service: --ferry",
                 shown.c_str()));
    const bool isTask = g_type_is_a(type, SKEMA_TYPE_OZY_TASK); /* no other object is similar */
    if (similar.empty() || isTask)
        return Failure(Text(MSGID("object.none") "there is no object \"%s\"; \"%s\" shows what "
                                                 "there is",
                            shown.c_str(), ListCommandOf(type)));
    std::string names;
    for (const std::string &name : similar)
        names += fmt::format("{}\"{}\"", names.empty() ? "" : ", ", Printable(name));
    return Failure(Text(MSGID("object.similar") "there is no object \"%s\"; similar: %s",
                        shown.c_str(), names.c_str()));
}

Failure Ambiguous(const std::string &word, const std::vector<std::string> &meant, size_t count) {
    std::string names;
    for (const std::string &name : meant)
        names += fmt::format("{}{}", names.empty() ? "" : ", ", Printable(name));
    if (count > meant.size())
        names += ", ...";
    return Failure(Text(MSGID("object.several") "%d objects are called \"%s\": %s; name one by its "
                                                "path or id",
                        static_cast<int>(count), Printable(word).c_str(), names.c_str()));
}

} // namespace

ProxyPtr ObjectFinder::FindByIndex(const std::string &path) const {
    const ProxyPtr index = service.Manager("searchIndex");
    if (!index || path.find('%') != std::string::npos)
        return nullptr;
    Operation search(Text(MSGID("object.searching") "looking for %s", Printable(path).c_str()),
                     service.TimeoutSeconds());
    skema_ozy_search_index_find_by_inventory_path(SKEMA_OZY_SEARCH_INDEX(index.get()),
                                                  path.c_str() + 1, search.Listener());
    return search.Object();
}

ProxyPtr ObjectFinder::FindChild(const ProxyPtr &parent, std::string_view part,
                                 const std::string &path) const {
    const std::string name = NameOfPart(part);
    std::vector<InventoryEntity> children =
        ReadInventory(service, parent.get(), InventoryDepth::kChildren);
    std::vector<InventoryEntity *> found;
    for (InventoryEntity &child : children) {
        if (child.name == name || child.name == part)
            found.push_back(&child);
    }
    if (found.size() == 1)
        return std::move(found.front()->object);
    if (found.empty()) {
        std::vector<std::string> names;
        for (const InventoryEntity &child : children)
            names.push_back(PathPart(child.name));
        names = NearestWords(part, names, kMostShown);
        const std::string folder = path.substr(0, static_cast<size_t>(part.data() - path.data()));
        for (std::string &each : names)
            each.insert(0, folder);
        throw NotFound(path, names);
    }
    std::vector<std::string> ids;
    for (size_t i = 0; i < std::min(found.size(), kMostShown); i++)
        ids.push_back(
            fmt::format("{} {}", ClassName(found[i]->object.get()), found[i]->object->id));
    throw Ambiguous(path, ids, found.size());
}

ProxyPtr ObjectFinder::FindByPath(const std::string &path) const {
    const bool isRoot = path.find_first_not_of('/') == std::string::npos;
    if (ProxyPtr found = isRoot ? nullptr : FindByIndex(path))
        return found;
    ProxyPtr at(static_cast<SkemaQormManagedObject *>(g_object_ref(service.Root())));
    for (size_t start = 0; start < path.size();) {
        const size_t end = std::min(path.find('/', start), path.size());
        if (end > start)
            at = FindChild(at, std::string_view(path).substr(start, end - start), path);
        start = end + 1;
    }
    return at;
}

ProxyPtr ObjectFinder::FindWithClass(const std::string &word) const {
    const size_t colon = word.find(':');
    if (colon == std::string::npos || colon + 1 == word.size())
        return nullptr;
    const std::string name = word.substr(0, colon);
    const bool isJob = name == kJob && orvane_session_target_is_ferry(service.Session());
    const GType type = isJob ? SKEMA_TYPE_FERRY_SERVER_JOB_JOB : orvane_lookup_type(name.c_str());
    if (type == 0 || !g_type_is_a(type, SKEMA_TYPE_QORM_MANAGED_OBJECT))
        return nullptr;
    return service.Proxy(word.substr(colon + 1), type);
}

ProxyPtr ObjectFinder::FindManager(const std::string &id) const {
    SkemaQormManagedObject *instance = nullptr;
    g_object_get(service.Session(), "serviceInstance", &instance, nullptr);
    ProxyPtr owner(instance);
    if (owner && id == owner->id)
        return owner;
    if (service.Content() == nullptr)
        return nullptr;
    guint count = 0;
    const GPtr<GParamSpec *> specs(
        g_object_class_list_properties(G_OBJECT_GET_CLASS(service.Content()), &count));
    for (guint i = 0; i < count; i++) {
        if (!g_type_is_a(specs.get()[i]->value_type, SKEMA_TYPE_QORM_MANAGED_OBJECT))
            continue;
        ProxyPtr manager = service.Manager(specs.get()[i]->name);
        if (manager && id == manager->id)
            return manager;
    }
    return nullptr;
}

ProxyPtr ObjectFinder::FindById(const std::string &id) const {
    const GType type = TypeOfId(id);
    if (type == 0 || g_type_is_a(type, SKEMA_TYPE_FERRY_SERVER_JOB_JOB))
        return nullptr;
    ProxyPtr object = service.Proxy(id, type);
    const bool isEntity = SKEMA_IS_OZY_MANAGED_ENTITY(object.get());
    try {
        ReadObject(service, object.get(), {isEntity ? "name" : "info"});
    } catch (const Failure &failure) {
        if (failure.fault != "ManagedObjectNotFound")
            throw;
        return nullptr; /* it may be a name, or the id of an object of another class */
    }
    return object;
}

std::string ObjectFinder::PathOf(const InventoryEntity &entity) const {
    IdMap<const InventoryEntity *> byId;
    for (const InventoryEntity &each : *all)
        byId.emplace(each.object->id, &each);
    std::string path;
    const InventoryEntity *at = &entity;
    for (size_t i = 0; i < kMostPathLevels; i++) {
        path = "/" + PathPart(at->name) + path;
        const auto parent = byId.find(at->parentId);
        if (parent == byId.end())
            break;
        at = parent->second;
    }
    return path;
}

std::string ObjectFinder::PathOf(SkemaQormManagedObject *object) const {
    if (!SKEMA_IS_OZY_MANAGED_ENTITY(object))
        return object->id;
    std::string path;
    ProxyPtr at(static_cast<SkemaQormManagedObject *>(g_object_ref(object)));
    for (size_t i = 0; i < kMostPathLevels && at.get() != service.Root(); i++) {
        ReadObject(service, at.get(), {"name", "parent"});
        gchar *name = nullptr;
        SkemaQormManagedObject *parent = nullptr;
        g_object_get(at.get(), "name", &name, "parent", &parent, nullptr);
        const GPtr<char> nameOwner(name);
        path = "/" + PathPart(name != nullptr ? name : "") + path;
        if (parent == nullptr)
            break;
        at.reset(parent);
    }
    return path.empty() ? "/" : path;
}

ProxyPtr ObjectFinder::FindInInventory(const std::string &word, GType expected) {
    if (!all)
        all = ReadInventory(service, service.Root(), InventoryDepth::kAllBelow);
    std::vector<const InventoryEntity *> found;
    for (const InventoryEntity &each : *all) {
        if (word == each.object->id)
            return Retain(each.object);
        if (word == each.name)
            found.push_back(&each);
    }
    if (found.size() == 1)
        return Retain(found.front()->object);
    std::vector<std::string> names;
    if (found.empty()) {
        for (const InventoryEntity &each : *all) {
            names.push_back(each.name);
            names.emplace_back(each.object->id);
        }
        throw NotFound(word, NearestWords(word, names, kMostShown), expected);
    }
    for (size_t i = 0; i < std::min(found.size(), kMostShown); i++)
        names.push_back(fmt::format("{} ({})", PathOf(*found[i]), found[i]->object->id));
    throw Ambiguous(word, names, found.size());
}

ProxyPtr ObjectFinder::Find(const std::string &word, GType expected) {
    if (!WhyUnsendable(word).empty())
        throw NotFound(word, {}, expected);
    if (word.starts_with('/'))
        return FindByPath(word);
    if (ProxyPtr found = FindWithClass(word))
        return found;
    if (ProxyPtr found = FindManager(word))
        return found;
    if (orvane_session_target_is_ferry(service.Session())) /* it has no inventory */
        return std::move(FindJobs(service, {word}).front().object);
    if (ProxyPtr found = FindById(word))
        return found;
    return FindInInventory(word, expected);
}

} // namespace orvaneCli
