#include "ozy/lib/orvaneJson/jsonClass.h"

#include <atomic>
#include <cstring>

#include <orvane/runtime.h>
#include <orvane/schema/qorm.h>

#include "lib/misc/glibPtr.h"

namespace {

constexpr int kOptional = 1 << G_PARAM_USER_SHIFT;

/* Types without a class of their own, and their names on the wire. */
struct PlainType {
    const char *name;
    GType (*type)();
};

constexpr PlainType kPlainTypes[] = {
    {"xsd:string", [] { return G_TYPE_STRING; }},
    {"xsd:boolean", [] { return G_TYPE_BOOLEAN; }},
    {"xsd:int", [] { return G_TYPE_INT; }},
    {"xsd:byte", [] { return G_TYPE_CHAR; }},
    {"xsd:long", [] { return G_TYPE_INT64; }},
    {"xsd:unsignedByte", [] { return G_TYPE_UCHAR; }},
    {"xsd:unsignedInt", [] { return G_TYPE_UINT; }},
    {"xsd:unsignedLong", [] { return G_TYPE_UINT64; }},
    {"xsd:float", [] { return G_TYPE_FLOAT; }},
    {"xsd:double", [] { return G_TYPE_DOUBLE; }},
    {"xsd:dateTime", orvane_timeval_get_type},
    {"xsd:base64Binary", orvane_byte_array_get_type},
    {"xsd:anyURI", orvane_uri_get_type},
};

constinit GMutex gLock;

GQuark ClassQuark() {
    static constinit std::atomic<GQuark> quark = 0;
    if (quark.load(std::memory_order_relaxed) == 0)
        quark = g_quark_from_static_string("ORVANE_JSON_CLASS");
    return quark.load(std::memory_order_relaxed);
}

JsonKind KindOfBoxed(GType type) {
    if (g_type_is_a(type, G_TYPE_VALUE))
        return JsonKind::Any;
    if (g_type_is_a(type, G_TYPE_VALUE_ARRAY))
        return JsonKind::Array;
    if (g_type_is_a(type, ORVANE_TYPE_TIMEVAL))
        return JsonKind::Timeval;
    if (g_type_is_a(type, ORVANE_TYPE_URI))
        return JsonKind::Uri;
    return g_type_is_a(type, ORVANE_TYPE_BYTE_ARRAY) ? JsonKind::Bytes : JsonKind::Other;
}

JsonKind KindOfObject(GType type) {
    if (g_type_is_a(type, skema_qorm_managed_object_get_type()))
        return JsonKind::Managed;
    return g_type_is_a(type, skema_qorm_data_object_get_type()) ||
                   g_type_is_a(type, skema_qorm_method_fault_get_type())
               ? JsonKind::Object
               : JsonKind::Other;
}

JsonProperty MakeProperty(GParamSpec *pspec) {
    JsonProperty property{};
    property.pspec = pspec;
    property.type = G_PARAM_SPEC_VALUE_TYPE(pspec);
    property.kind = JsonKind_Of(property.type);
    property.elementType =
        GPOINTER_TO_SIZE(g_param_spec_get_qdata(pspec, orvane_quark_arraytype()));
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

JsonKind JsonKind_Of(GType type) {
    switch (G_TYPE_FUNDAMENTAL(type)) {
    case G_TYPE_BOOLEAN:
        return JsonKind::Boolean;
    case G_TYPE_CHAR:
        return JsonKind::Byte;
    case G_TYPE_UCHAR:
        return JsonKind::UnsignedByte;
    case G_TYPE_INT:
        return JsonKind::Int;
    case G_TYPE_UINT:
        return JsonKind::UnsignedInt;
    case G_TYPE_INT64:
        return JsonKind::Long;
    case G_TYPE_UINT64:
        return JsonKind::UnsignedLong;
    case G_TYPE_FLOAT:
        return JsonKind::Float;
    case G_TYPE_DOUBLE:
        return JsonKind::Double;
    case G_TYPE_STRING:
        return JsonKind::String;
    case G_TYPE_ENUM:
        return JsonKind::Enum;
    case G_TYPE_BOXED:
        return KindOfBoxed(type);
    case G_TYPE_OBJECT:
        return KindOfObject(type);
    default:
        return JsonKind::Other;
    }
}

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

const char *JsonType_Name(GType type) {
    for (const PlainType &plain : kPlainTypes)
        if (plain.type() == type)
            return plain.name;
    for (; type != 0; type = g_type_parent(type))
        if (const auto *name =
                static_cast<const char *>(g_type_get_qdata(type, orvane_quark_wsdlname())))
            return name;
    return nullptr;
}

GType JsonType_OfName(const char *name) {
    for (const PlainType &plain : kPlainTypes)
        if (strcmp(plain.name, name) == 0)
            return plain.type();
    return orvane_lookup_type(name);
}
