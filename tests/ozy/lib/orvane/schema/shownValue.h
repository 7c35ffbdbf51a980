/*
 * shownValue.h -- what a value holds, for people: 7, "text", 5.7s, 00ff, [1 2], any(7), a SelectionSpec
 */
#pragma once

#include <span>

#include <orvane/runtime.h>
#include <orvane/schema/qorm.h>

#include "tests/ozy/lib/orvane/soap/soapFixture.h"

namespace schemaKinds {

inline std::string Show(const GValue *value);

inline std::string ShowBytes(const GByteArray *bytes) {
    std::string text;
    for (const guint8 byte : std::span(bytes->data, bytes->len)) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

inline std::string ShowArray(const GValueArray *array) {
    std::string text;
    for (const GValue &element : std::span(array->values, array->n_values))
        text += (text.empty() ? "" : " ") + Show(&element);
    return "[" + text + "]";
}

inline std::string ShowBoxed(const GValue *value) {
    gpointer boxed = g_value_get_boxed(value);
    if (boxed == nullptr)
        return "NULL";
    if (G_VALUE_HOLDS(value, G_TYPE_VALUE))
        return "any(" + Show(static_cast<const GValue *>(boxed)) + ")";
    if (G_VALUE_HOLDS(value, G_TYPE_VALUE_ARRAY))
        return ShowArray(static_cast<const GValueArray *>(boxed));
    if (G_VALUE_HOLDS(value, ORVANE_TYPE_BYTE_ARRAY))
        return ShowBytes(static_cast<const GByteArray *>(boxed));
    const auto *time = static_cast<const GTimeVal *>(boxed);
    return std::to_string(time->tv_sec) + "." + std::to_string(time->tv_usec) + "s";
}

inline std::string ShowObject(gpointer object) {
    if (object == nullptr)
        return "NULL";
    const char *name =
        static_cast<const char *>(g_type_get_qdata(G_OBJECT_TYPE(object), orvane_quark_wsdlname()));
    const std::string text = std::string("a ") + name;
    return SKEMA_IS_QORM_MANAGED_OBJECT(object)
               ? text + " " + static_cast<SkemaQormManagedObject *>(object)->id
               : text;
}

inline std::string Show(const GValue *value) {
    if (G_VALUE_TYPE(value) == 0)
        return "unset";
    if (G_VALUE_HOLDS_BOXED(value))
        return ShowBoxed(value);
    if (G_VALUE_HOLDS_OBJECT(value))
        return ShowObject(g_value_get_object(value));
    if (G_VALUE_HOLDS_ENUM(value)) {
        const auto *klass = static_cast<GEnumClass *>(g_type_class_peek(G_VALUE_TYPE(value)));
        return g_enum_get_value(const_cast<GEnumClass *>(klass), g_value_get_enum(value))
            ->value_nick;
    }
    if (G_VALUE_HOLDS_STRING(value)) {
        const char *text = g_value_get_string(value);
        return text != nullptr ? std::string("\"") + text + "\"" : "NULL";
    }
    if (G_VALUE_HOLDS_BOOLEAN(value))
        return std::to_string(g_value_get_boolean(value));
    if (G_VALUE_HOLDS_CHAR(value))
        return std::to_string(g_value_get_schar(value));
    GValue number = G_VALUE_INIT;
    g_value_init(&number, G_TYPE_DOUBLE);
    if (G_VALUE_HOLDS_INT(value) || G_VALUE_HOLDS_INT64(value))
        return std::to_string(G_VALUE_HOLDS_INT(value) ? g_value_get_int(value)
                                                       : g_value_get_int64(value));
    g_value_transform(value, &number);
    char text[32];
    g_ascii_formatd(text, sizeof text, "%g", g_value_get_double(&number));
    return text;
}

/* What a property holds, and another value for it. */
inline std::string Get(GObject *object, const std::string &property) {
    ScopedValue held(
        g_object_class_find_property(G_OBJECT_GET_CLASS(object), property.c_str())->value_type);
    g_object_get_property(object, property.c_str(), &held.value);
    return Show(&held.value);
}
inline void Set(GObject *object, const std::string &property, const Value &value) {
    g_object_set_property(object, property.c_str(), value.get());
}

} // namespace schemaKinds
