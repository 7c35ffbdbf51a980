#include "ozy/lib/orvaneGlib/inventorySpec.h"

#include <array>

#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>
#include <orvane/specBuilders.h>

#include "lib/misc/glibPtr.h"

namespace {

/* A property that leads from an entity to others. */
struct Way {
    const char *name;
    GType (*type)();
    const char *property;
    bool isOld; /* there are services without it */
};

constexpr auto kWays = std::to_array<Way>({
    {"children", skema_ozy_folder_get_type, "childEntity", false},
    {"machineFolder", skema_ozy_datacenter_get_type, "vmFolder", false},
    {"hostFolder", skema_ozy_datacenter_get_type, "hostFolder", false},
    {"datastoreFolder", skema_ozy_datacenter_get_type, "datastoreFolder", true},
    {"networkFolder", skema_ozy_datacenter_get_type, "networkFolder", true},
    {"datastores", skema_ozy_datacenter_get_type, "datastore", false},
    {"networks", skema_ozy_datacenter_get_type, "network", false},
    {"hosts", skema_ozy_compute_resource_get_type, "host", false},
    {"rootPool", skema_ozy_compute_resource_get_type, "resourcePool", false},
    {"pools", skema_ozy_resource_pool_get_type, "resourcePool", false},
    {"pooledMachines", skema_ozy_resource_pool_get_type, "vm", false},
});

/* Adds the names of the ways that can follow any other. */
void SelectAll(GObject *spec, const char *property, const std::vector<const Way *> &ways) {
    const ValueArrayPtr set(g_value_array_new(guint(ways.size())));
    for (const Way *way : ways) {
        ScopedValue value(skema_qorm_core_property_collector_selection_spec_get_type());
        g_value_take_object(&value.value, orvane_selection_spec_new(way->name));
        g_value_array_append(set.get(), &value.value);
    }
    g_object_set(spec, property, set.get(), nullptr);
}

GObject *PropertySpec(GType type, const std::vector<std::string> &properties) {
    GObject *spec = orvane_property_spec_new(type, FALSE, nullptr);
    const ValueArrayPtr paths(g_value_array_new(guint(properties.size())));
    for (const std::string &property : properties) {
        ScopedValue value(G_TYPE_STRING);
        g_value_set_string(&value.value, property.c_str());
        g_value_array_append(paths.get(), &value.value);
    }
    if (!properties.empty())
        g_object_set(spec, "pathSet", paths.get(), nullptr);
    return spec;
}

} // namespace

const char *InventorySpec_WireName(GType type) {
    const char *name = nullptr;
    for (; type != 0 && name == nullptr; type = g_type_parent(type))
        name = static_cast<const char *>(g_type_get_qdata(type, orvane_quark_wsdlname()));
    return name;
}

GObject *InventorySpec_NewOnView(SkemaQormManagedObject *view, GType type,
                                 const std::vector<std::string> &properties) {
    GObject *members = orvane_traversal_spec_new("members", SKEMA_TYPE_OZY_CONTAINER_VIEW, "view",
                                                 FALSE, TRUE, nullptr);
    return orvane_filter_spec_new(
        TRUE, PropertySpec(type, properties), PropertySpec(SKEMA_TYPE_OZY_CONTAINER_VIEW, {}),
        orvane_object_spec_new(view, FALSE, TRUE, members, nullptr), nullptr);
}

GObject *InventorySpec_NewOnRoot(OrvaneSession *session, SkemaQormManagedObject *root, GType type,
                                 const std::vector<std::string> &properties) {
    const bool hasNewWays = orvane_session_has_version(session, "ozy25/4.0");
    std::vector<const Way *> ways;
    for (const Way &way : kWays) {
        if (!way.isOld || hasNewWays)
            ways.push_back(&way);
    }
    GObject *object = orvane_object_spec_new(root, FALSE, TRUE, nullptr);
    const ValueArrayPtr selectSet(g_value_array_new(guint(ways.size())));
    for (const Way *way : ways) {
        ScopedValue value(skema_qorm_core_property_collector_selection_spec_get_type());
        GObject *spec =
            orvane_traversal_spec_new(way->name, way->type(), way->property, FALSE, TRUE, nullptr);
        SelectAll(spec, "selectSet", ways);
        g_value_take_object(&value.value, spec);
        g_value_array_append(selectSet.get(), &value.value);
    }
    g_object_set(object, "selectSet", selectSet.get(), nullptr);
    GObject *rootSpec =
        g_type_is_a(G_OBJECT_TYPE(root), type) ? nullptr : PropertySpec(G_OBJECT_TYPE(root), {});
    return orvane_filter_spec_new(TRUE, PropertySpec(type, properties), object, rootSpec, nullptr);
}
