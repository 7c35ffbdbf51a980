#include "tools/orvane/inventoryReader.h"

#include <algorithm>
#include <array>
#include <set>

#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>

#include "tools/orvane/message.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

/* A property that leads from an entity to those below it. */
struct Way {
    const char *name;
    GType (*type)();
    const char *property;
    const char *since; /* the first version that has it; older services refuse it */
    bool leadsToHosts;
};

constexpr auto kWays = std::to_array<Way>({
    {"children", skema_ozy_folder_get_type, "childEntity", "", true},
    {"machineFolder", skema_ozy_datacenter_get_type, "vmFolder", "", false},
    {"hostFolder", skema_ozy_datacenter_get_type, "hostFolder", "", true},
    {"datastoreFolder", skema_ozy_datacenter_get_type, "datastoreFolder", "ozy25/4.0", false},
    {"networkFolder", skema_ozy_datacenter_get_type, "networkFolder", "ozy25/4.0", false},
    {"hosts", skema_ozy_compute_resource_get_type, "host", "", true},
    {"rootPool", skema_ozy_compute_resource_get_type, "resourcePool", "", false},
    {"pools", skema_ozy_resource_pool_get_type, "resourcePool", "", false},
});

void SetPaths(GObject *propertySpec, const std::vector<std::string> &paths) {
    const ValueArrayPtr texts(g_value_array_new(static_cast<guint>(paths.size())));
    for (const std::string &path : paths) {
        GValue value = G_VALUE_INIT;
        g_value_init(&value, G_TYPE_STRING);
        g_value_set_string(&value, path.c_str());
        g_value_array_append(texts.get(), &value);
        g_value_unset(&value);
    }
    g_object_set(propertySpec, "pathSet", texts.get(), nullptr);
}

GObject *PropertySpec(GType type, const std::vector<std::string> &paths) {
    GObject *spec = orvane_property_spec_new(type, FALSE, nullptr);
    SetPaths(spec, paths);
    return spec;
}

GType SelectionType() {
    return SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_SELECTION_SPEC;
}

std::vector<const Way *> WaysFrom(const Service &service, SkemaQormManagedObject *entity,
                                  InventoryDepth depth) {
    std::vector<const Way *> ways;
    for (const Way &way : kWays) {
        const bool isKnown =
            *way.since == '\0' || orvane_session_has_version(service.Session(), way.since);
        const bool isUsed = depth == InventoryDepth::kChildren
                                ? g_type_is_a(G_OBJECT_TYPE(entity), way.type()) != 0
                                : depth == InventoryDepth::kAllBelow || way.leadsToHosts;
        if (isKnown && isUsed)
            ways.push_back(&way);
    }
    return ways;
}

GObject *ObjectSpec(const Service &service, SkemaQormManagedObject *entity, InventoryDepth depth) {
    const std::vector<const Way *> ways = WaysFrom(service, entity, depth);
    const ValueArrayPtr traversals(g_value_array_new(static_cast<guint>(ways.size())));
    for (const Way *way : ways) {
        GObject *traversal =
            orvane_traversal_spec_new(way->name, way->type(), way->property, FALSE, TRUE, nullptr);
        if (depth != InventoryDepth::kChildren) {
            const ValueArrayPtr further(g_value_array_new(static_cast<guint>(ways.size())));
            for (const Way *next : ways)
                AppendObject(further.get(), SelectionType(), orvane_selection_spec_new(next->name));
            g_object_set(traversal, "selectSet", further.get(), nullptr);
        }
        AppendObject(traversals.get(), SelectionType(), traversal);
    }
    GObject *spec = orvane_object_spec_new(entity, TRUE, TRUE, nullptr);
    g_object_set(spec, "selectSet", traversals.get(), nullptr);
    return spec;
}

/* All that is read from objects of a class. A service uses one property spec for an object: that of its nearest class. */
std::vector<std::string> PathsOf(GType type, const std::vector<ExtraProperties> &extra) {
    std::vector<std::string> paths = {"name", "parent"};
    for (const ExtraProperties &each : extra) {
        if (!g_type_is_a(type, each.type))
            continue;
        for (const std::string &path : each.paths) {
            if (std::ranges::find(paths, path) == paths.end())
                paths.push_back(path);
        }
    }
    return paths;
}

ValueArrayPtr SetOfOne(GObject *filterSpec) {
    return ValueArrayPtr(orvane_filter_spec_set_new(TRUE, filterSpec, nullptr));
}

InventoryEntity MakeEntity(ObjectPtr<GObject> object) {
    gchar *name = nullptr;
    SkemaQormManagedObject *parent = nullptr;
    g_object_get(object.get(), "name", &name, "parent", &parent, nullptr);
    const GPtr<char> nameOwner(name);
    const ProxyPtr parentOwner(parent);
    return {ProxyPtr(reinterpret_cast<SkemaQormManagedObject *>(object.release())),
            name != nullptr ? name : "", parent != nullptr ? parent->id : ""};
}

/* Whether the text begins with "%" and two hexadecimal digits. */
bool IsEscape(std::string_view text) {
    return text.size() >= 3 && text[0] == '%' && g_ascii_isxdigit(text[1]) != 0 &&
           g_ascii_isxdigit(text[2]) != 0;
}

} // namespace

std::vector<InventoryEntity> ReadInventory(const Service &service, SkemaQormManagedObject *entity,
                                           InventoryDepth depth,
                                           const std::vector<ExtraProperties> &extra) {
    GObject *filterSpec = orvane_filter_spec_new(
        TRUE, ObjectSpec(service, entity, depth),
        PropertySpec(SKEMA_TYPE_OZY_MANAGED_ENTITY, PathsOf(SKEMA_TYPE_OZY_MANAGED_ENTITY, extra)),
        nullptr);
    if (!extra.empty()) {
        GValueArray *specs = nullptr;
        g_object_get(filterSpec, "propSet", &specs, nullptr);
        const ValueArrayPtr all(specs);
        std::set<GType> types;
        for (const ExtraProperties &each : extra)
            types.insert(each.type);
        types.erase(SKEMA_TYPE_OZY_MANAGED_ENTITY);
        for (const GType type : types)
            AppendObject(all.get(), SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_PROPERTY_SPEC,
                         PropertySpec(type, PathsOf(type, extra)));
        g_object_set(filterSpec, "propSet", all.get(), nullptr);
    }
    Operation retrieve(Text(MSGID("inventory.reading") "reading the inventory"),
                       service.TimeoutSeconds());
    const ValueArrayPtr set = SetOfOne(filterSpec);
    orvane_session_retrieve_contents(service.Session(), set.get(), retrieve.Listener());
    std::vector<InventoryEntity> entities;
    std::vector<ObjectPtr<GObject>> objects = retrieve.Objects();
    entities.reserve(objects.size());
    for (ObjectPtr<GObject> &object : objects) {
        if (SKEMA_IS_OZY_MANAGED_ENTITY(object.get()))
            entities.push_back(MakeEntity(std::move(object)));
    }
    return entities;
}

bool IsContainer(const Service &service, SkemaQormManagedObject *entity) {
    return !WaysFrom(service, entity, InventoryDepth::kChildren).empty();
}

InventoryEntity ReadEntity(const Service &service, SkemaQormManagedObject *entity,
                           const std::vector<ExtraProperties> &extra) {
    ReadObject(service, entity, PathsOf(G_OBJECT_TYPE(entity), extra));
    return MakeEntity(ObjectPtr<GObject>(G_OBJECT(g_object_ref(entity))));
}

void ReadObject(const Service &service, SkemaQormManagedObject *object,
                const std::vector<std::string> &paths) {
    Operation retrieve(Text(MSGID("object.reading") "reading %s", Printable(object->id).c_str()),
                       service.TimeoutSeconds());
    const ValueArrayPtr set =
        SetOfOne(orvane_filter_spec_new(TRUE, orvane_object_spec_new(object, FALSE, TRUE, nullptr),
                                        PropertySpec(G_OBJECT_TYPE(object), paths), nullptr));
    orvane_session_retrieve_contents(service.Session(), set.get(), retrieve.Listener());
    retrieve.Succeed();
}

GObject *NewInventorySpec(const Service &service, SkemaQormManagedObject *entity) {
    return ObjectSpec(service, entity, InventoryDepth::kAllBelow);
}

GObject *NewFilterSpec(const std::vector<GObject *> &objects, const std::vector<GType> &types,
                       const std::vector<std::string> &paths) {
    GObject *spec = orvane_filter_spec_new(TRUE, nullptr);
    const ValueArrayPtr objectSet(g_value_array_new(static_cast<guint>(objects.size())));
    for (GObject *object : objects)
        AppendObject(objectSet.get(), SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_OBJECT_SPEC, object);
    const ValueArrayPtr propSet(g_value_array_new(static_cast<guint>(types.size())));
    for (const GType type : types)
        AppendObject(propSet.get(), SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_PROPERTY_SPEC,
                     PropertySpec(type, paths));
    g_object_set(spec, "objectSet", objectSet.get(), "propSet", propSet.get(), nullptr);
    return spec;
}

std::string PathPart(std::string_view name) {
    if (name.find_first_of("/%") == std::string_view::npos)
        return std::string(name);
    std::string part;
    for (size_t i = 0; i < name.size(); i++) {
        if (name[i] == '/')
            part += "%2f";
        else if (IsEscape(name.substr(i)))
            part += "%25";
        else
            part += name[i];
    }
    return part;
}

std::string NameOfPart(std::string_view part) {
    std::string name;
    for (size_t i = 0; i < part.size(); i++) {
        if (IsEscape(part.substr(i))) {
            name += static_cast<char>(g_ascii_xdigit_value(part[i + 1]) * 16 +
                                      g_ascii_xdigit_value(part[i + 2]));
            i += 2;
        } else {
            name += part[i];
        }
    }
    return name;
}

} // namespace orvaneCli
