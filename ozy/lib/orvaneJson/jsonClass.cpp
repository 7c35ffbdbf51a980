#include "ozy/lib/orvaneJson/jsonClass.h"

#include <atomic>
#include <cstring>

#include <orvane/runtime.h>
#include <orvane/schema/qorm.h>

#include "lib/misc/glibPtr.h"

namespace {

constexpr int kOptional = 1 << G_PARAM_USER_SHIFT;

constinit GMutex gLock;

GQuark ClassQuark() {
    static constinit std::atomic<GQuark> quark = 0;
    if (quark.load(std::memory_order_relaxed) == 0)
        quark = g_quark_from_static_string("ORVANE_JSON_CLASS");
    return quark.load(std::memory_order_relaxed);
}

JsonProperty MakeProperty(GParamSpec *pspec) {
    JsonProperty property{};
    property.pspec = pspec;
    property.place =
        JsonPlace::Of(G_PARAM_SPEC_VALUE_TYPE(pspec),
                      GPOINTER_TO_SIZE(g_param_spec_get_qdata(pspec, orvane_quark_arraytype())));
    property.isOptional = (pspec->flags & kOptional) != 0;
    const std::string name = pspec->name;
    if (property.isOptional)
        property.mark = g_quark_from_string(("_" + name).c_str());
    property.key = "\"" + name + "\":";
    /* a redirected property belongs to another class than the one that keeps it */
    if (g_param_spec_get_redirect_target(pspec) == nullptr && G_TYPE_IS_CLASSED(pspec->owner_type))
        property.get =
            static_cast<GObjectClass *>(g_type_class_peek(pspec->owner_type))->get_property;
    return property;
}

JsonClass *MakeClass(GType type) {
    auto *klass = static_cast<GObjectClass *>(g_type_class_ref(type)); /* kept */
    auto *made = new JsonClass{};
    made->type = type;
    made->wireName = JsonType_Name(type);
    guint count = 0;
    const GPtr<GParamSpec *> specs(g_object_class_list_properties(klass, &count));
    for (guint i = 0; i < count; i++) {
        /* what has no version is no part of the schema, such as a property of an application's class */
        if ((specs.get()[i]->flags & G_PARAM_READWRITE) == G_PARAM_READWRITE &&
            g_param_spec_get_qdata(specs.get()[i], orvane_quark_version()) != nullptr)
            made->properties.push_back(MakeProperty(specs.get()[i]));
    }
    return made;
}

} // namespace

const JsonClass *JsonClass_Get(GType type) {
    const GQuark quark = ClassQuark();
    if (const auto *klass = static_cast<JsonClass *>(g_type_get_qdata(type, quark)))
        return klass;
    JsonClass *made = MakeClass(type);
    g_mutex_lock(&gLock);
    const auto *first = static_cast<JsonClass *>(g_type_get_qdata(type, quark));
    if (first == nullptr)
        g_type_set_qdata(type, quark, made);
    g_mutex_unlock(&gLock);
    if (first == nullptr)
        return made;
    delete made;
    return first;
}

const JsonProperty *JsonClass_Find(const JsonClass *klass, const char *name) {
    for (const JsonProperty &property : klass->properties)
        if (strcmp(property.pspec->name, name) == 0)
            return &property;
    return nullptr;
}
