// Applies one change of one property: a value is assigned, added to an array, or removed from one, at the
// place that the path names. A change that does not fit is dropped without a log line, since the service may
// be newer than the schema, or hostile.
#include <span>

#include <orvane/schema/qorm.h>

#include "ozy/lib/orvane/soap/orvaneSoapCheck.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "ozy/lib/orvane/updates/orvaneUpdatePath.h"

namespace {

/* Whether a value can be an element of an array. */
bool IsElement(const GValue *value, GType elementType) {
    if (!G_IS_VALUE(value))
        return false;
    if (elementType == 0 || elementType == G_TYPE_VALUE)
        return true;
    if (!g_type_is_a(elementType, G_TYPE_OBJECT))
        return G_VALUE_HOLDS(value, elementType);
    return MOMgrGetObject(value, elementType) != nullptr;
}

GType ElementType(GParamSpec *pspec) {
    return GPOINTER_TO_SIZE(g_param_spec_get_qdata(pspec, orvane_quark_arraytype()));
}

bool IsArrayOf(const GValue *value, GType elementType) {
    if (!G_VALUE_HOLDS(value, G_TYPE_VALUE_ARRAY))
        return false;
    const auto *array = static_cast<const GValueArray *>(g_value_get_boxed(value));
    if (array == nullptr)
        return true;
    for (const GValue &element : std::span(array->values, array->n_values)) {
        if (!IsElement(&element, elementType))
            return false;
    }
    return true;
}

/* Whether the object in a value is of the type; NULL always is. */
bool IsObjectOf(const GValue *value, GType type) {
    if (!G_VALUE_HOLDS_OBJECT(value))
        return false;
    return g_value_get_object(value) == nullptr || MOMgrGetObject(value, type) != nullptr;
}

/* Converts a value to the property's type. False if that would change the value. */
bool Convert(GParamSpec *pspec, const GValue *value, GValue *converted) {
    if (pspec->value_type == G_TYPE_VALUE_ARRAY && !IsArrayOf(value, ElementType(pspec)))
        return false;
    if (g_type_is_a(pspec->value_type, G_TYPE_OBJECT) && !IsObjectOf(value, pspec->value_type))
        return false;
    return g_value_transform(value, converted) && !g_param_value_validate(pspec, converted);
}

void Assign(GObject *object, const char *name, const GValue *value) {
    GParamSpec *pspec = OrvaneUpdatePath_FindProperty(object, name);
    if (pspec == nullptr)
        return;
    if (pspec->value_type == G_TYPE_VALUE) {
        const GValue none = G_VALUE_INIT;
        orvane_object_set_any(object, pspec->name, value != nullptr ? value : &none);
        return;
    }
    ScopedValue converted(pspec->value_type);
    if (!G_IS_VALUE(value) || Convert(pspec, value, &converted.value))
        g_object_set_property(object, pspec->name, &converted.value);
}

void EmitArrayNotify(GObject *object, GParamSpec *pspec, gboolean isAdded, const GValue *element) {
    if (g_signal_lookup("array_notify", G_OBJECT_TYPE(object)) == 0)
        return;
    GPtr<char> signal(g_strdup_printf("array_notify::%s", pspec->name));
    g_signal_emit_by_name(object, signal.get(), pspec, isAdded, element);
}

void SetArray(GObject *object, GParamSpec *pspec, const GValueArray *array) {
    ScopedValue value(G_TYPE_VALUE_ARRAY);
    g_value_set_static_boxed(&value.value, array); /* the class copies it */
    g_object_set_property(object, pspec->name, &value.value);
}

/* Appends a value; an array of the type "any" holds boxed values. */
void Append(GValueArray *array, GType elementType, const GValue *value) {
    if (elementType != G_TYPE_VALUE || G_VALUE_HOLDS(value, G_TYPE_VALUE)) {
        g_value_array_append(array, value);
        return;
    }
    ScopedValue boxed(G_TYPE_VALUE);
    g_value_set_boxed(&boxed.value, value);
    g_value_array_append(array, &boxed.value);
}

/* "array_notify" is emitted before the element is in the array, "notify" after that. */
void Add(GObject *object, const std::string &piece, const GValue *value) {
    GParamSpec *pspec =
        OrvaneUpdatePath_FindProperty(object, OrvaneUpdatePath_PropertyName(piece).c_str());
    if (pspec == nullptr || pspec->value_type != G_TYPE_VALUE_ARRAY ||
        !IsElement(value, ElementType(pspec)))
        return;

    ValueArrayPtr array = OrvaneUpdatePath_GetArray(object, pspec);
    if (array == nullptr)
        array.reset(g_value_array_new(1));
    Append(array.get(), ElementType(pspec), value);

    g_object_freeze_notify(object);
    EmitArrayNotify(object, pspec, TRUE, value);
    SetArray(object, pspec, array.get());
    g_object_thaw_notify(object);
}

} // namespace

/* "array_notify" is emitted while the element is still in the array. */
void orvane_momgr_remove_element(OrvaneMOMgr *momgr, GObject *object, const char *path) {
    gint index = 0;
    ValueArrayPtr array(orvane_momgr_extract_array_element(momgr, object, path, &index));
    if (array == nullptr ||
        !OrvaneSoapCheck(static_cast<guint>(index) < array->n_values, "g_value_array_get_nth",
                         "index < value_array->n_values"))
        return;
    GParamSpec *pspec =
        OrvaneUpdatePath_FindProperty(object, OrvaneUpdatePath_PropertyName(path).c_str());
    /* A key without an element has the index -1, which the array refuses with a warning. */
    const GValue *element = g_value_array_get_nth(array.get(), static_cast<guint>(index));
    if (element == nullptr || pspec == nullptr)
        return;

    EmitArrayNotify(object, pspec, FALSE, element);
    g_value_array_remove(array.get(), static_cast<guint>(index));
    SetArray(object, pspec, array.get());
}

void orvane_momgr_update_property(OrvaneMOMgr *momgr, GObject *object, const char *name,
                                  const GValue *value, gint op) {
    g_return_if_fail(momgr);
    g_return_if_fail(object);
    g_return_if_fail(name);
    const auto holdManager = MOMgrHold(momgr);
    const auto holdObject = MOMgrHold(object);
    const OrvaneUpdateTarget target = OrvaneUpdatePath_Resolve(momgr, object, name);
    if (target.object == nullptr)
        return;

    switch (op) {
    case SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_ASSIGN:
        Assign(target.object.get(), target.last.c_str(), value);
        break;
    case SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_ADD:
        Add(target.object.get(), target.last, value);
        break;
    case SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_REMOVE:
    case SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_INDIRECTREMOVE:
        orvane_momgr_remove_element(momgr, target.object.get(), target.last.c_str());
        break;
    }
}
