/*
 * keeper.h -- a class that an application registers below one of the schema, and that keeps each property as it is set
 *
 *   std::vector<Kept> Properties() { return {{g_param_spec_string("text", "", "", "", kFlags)}, ...}; }
 *   const GType type = RegisterKeeper(orvane_lookup_type("DataObject"), "TestBox", Properties);
 */
#pragma once

#include "tests/ozy/lib/orvane/soap/soapFixture.h"

struct Kept {
    GParamSpec *pspec;
    GType elementType = 0; /* of an array */
    bool isOnWire = true;
};
using KeptProperties = std::vector<Kept> (*)();

inline void KeeperSet(GObject *object, guint, const GValue *value, GParamSpec *pspec) {
    g_object_set_data_full(object, (std::string("kept ") + pspec->name).c_str(),
                           g_boxed_copy(G_TYPE_VALUE, value),
                           [](gpointer kept) { g_boxed_free(G_TYPE_VALUE, kept); });
    if (pspec->flags & (1 << G_PARAM_USER_SHIFT))
        g_object_set_data(object, (std::string("_") + pspec->name).c_str(), GINT_TO_POINTER(1));
}

inline void KeeperGet(GObject *object, guint, GValue *value, GParamSpec *pspec) {
    const gpointer kept = g_object_get_data(object, (std::string("kept ") + pspec->name).c_str());
    if (kept != nullptr)
        g_value_copy(static_cast<const GValue *>(kept), value);
}

inline void KeeperInit(gpointer klass, gpointer properties) {
    auto *object = static_cast<GObjectClass *>(klass);
    object->set_property = KeeperSet;
    object->get_property = KeeperGet;
    guint id = 0;
    for (const Kept &kept : reinterpret_cast<KeptProperties>(properties)()) {
        if (kept.isOnWire)
            g_param_spec_set_qdata(kept.pspec, orvane_quark_version(), const_cast<char *>(""));
        if (kept.elementType != 0)
            g_param_spec_set_qdata(kept.pspec, orvane_quark_arraytype(),
                                   GSIZE_TO_POINTER(kept.elementType));
        g_object_class_install_property(object, ++id, kept.pspec);
    }
}

inline GType RegisterKeeper(GType parent, const char *name, KeptProperties properties) {
    GTypeQuery query;
    g_type_query(parent, &query);
    const GTypeInfo info = {.class_size = static_cast<guint16>(query.class_size),
                            .class_init = KeeperInit,
                            .class_data = reinterpret_cast<gconstpointer>(properties),
                            .instance_size = static_cast<guint16>(query.instance_size)};
    return g_type_register_static(parent, name, &info, static_cast<GTypeFlags>(0));
}
