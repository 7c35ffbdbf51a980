#include "ozy/lib/orvane/runtime/orvaneRuntime.h"

#include "lib/misc/log.h"

GQuark orvane_quark_listener(void) {
    return g_quark_from_static_string("ORVANE_QUARK_LISTENER");
}

GQuark orvane_quark_arraytype(void) {
    return g_quark_from_static_string("ORVANE_QUARK_ARRAYTYPE");
}

GQuark orvane_quark_wsdlname(void) {
    return g_quark_from_static_string("ORVANE_QUARK_WSDLNAME");
}

GQuark orvane_quark_version(void) {
    return g_quark_from_static_string("ORVANE_QUARK_VERSION");
}

const char *OrvaneType_WireName(GType type) {
    gpointer name = nullptr;
    for (; type != 0 && name == nullptr; type = g_type_parent(type))
        name = g_type_get_qdata(type, orvane_quark_wsdlname());
    return static_cast<const char *>(name);
}

GEnumValue *orvane_enum_get_by_nick(GType enumType, const char *nick) {
    if (g_type_fundamental(enumType) != G_TYPE_ENUM) {
        Warning("%s: Attempted lookup '%s' on non-enum type\n", "orvane_enum_get_by_nick",
                nick != nullptr ? nick : "(null)");
        return nullptr;
    }
    /* the reference is never given back: enumerations stay for good */
    gpointer klass = g_type_class_peek_static(enumType);
    if (klass == nullptr)
        klass = g_type_class_ref(enumType);
    return g_enum_get_value_by_nick(static_cast<GEnumClass *>(klass), nick);
}

void orvane_value_cond_unset(GValue *value) {
    if (value != nullptr && G_VALUE_TYPE(value) != 0)
        g_value_unset(value);
}

void orvane_object_set_any(GObject *object, const char *propertyName, const GValue *value) {
    GValue wrapper = G_VALUE_INIT;
    g_value_init(&wrapper, G_TYPE_VALUE);
    g_value_set_boxed(&wrapper, value);
    g_object_set_property(object, propertyName, &wrapper);
    g_value_unset(&wrapper);
}

void orvane_object_get_any(GObject *object, const char *propertyName, GValue *dest) {
    GValue wrapper = G_VALUE_INIT;
    g_value_init(&wrapper, G_TYPE_VALUE);
    g_object_get_property(object, propertyName, &wrapper);
    const auto *inner = static_cast<const GValue *>(g_value_get_boxed(&wrapper));
    orvane_value_cond_unset(dest);
    if (inner != nullptr && G_VALUE_TYPE(inner) != 0) {
        g_value_init(dest, G_VALUE_TYPE(inner));
        g_value_copy(inner, dest);
    }
    g_value_unset(&wrapper);
}

void orvane_bind_listener(GObject *object, OrvaneListener *listener) {
    g_object_set_qdata(object, orvane_quark_listener(), listener);
    g_object_weak_ref(reinterpret_cast<GObject *>(listener), orvane_bound_listener_weak_notify,
                      object);
}

void orvane_unbind_listener(GObject *object) {
    auto *listener = static_cast<GObject *>(g_object_get_qdata(object, orvane_quark_listener()));
    if (listener == nullptr)
        return;
    g_object_weak_unref(listener, orvane_bound_listener_weak_notify, object);
    g_object_set_qdata(object, orvane_quark_listener(), nullptr);
}

void orvane_bound_listener_weak_notify(gpointer object, GObject * /* listener */) {
    g_object_set_qdata(static_cast<GObject *>(object), orvane_quark_listener(), nullptr);
}
