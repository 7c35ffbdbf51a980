// Filter specs from lists of arguments. They are ordinary objects of the schema, which g_object_new() could
// make as well, in ten times as many lines.
#include <cstdarg>
#include <span>

#include <orvane/schema/qorm.h>
#include <orvane/session.h>
#include <orvane/specBuilders.h>

#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"

namespace {

struct SpecTypes {
    GType selection = skema_qorm_core_property_collector_selection_spec_get_type();
    GType property = skema_qorm_core_property_collector_property_spec_get_type();
    GType object = skema_qorm_core_property_collector_object_spec_get_type();
    GType filter = skema_qorm_core_property_collector_filter_spec_get_type();
};

GObject *NewSpec(GType type) {
    return static_cast<GObject *>(g_object_new(type, nullptr));
}

void Append(GValueArray *array, GType type, gpointer object) {
    ScopedValue value(type);
    g_value_set_object(&value.value, object);
    g_value_array_append(array, &value.value);
}

/* Collects the objects of a list that are of one class. */
struct Heap {
    GType type;
    ValueArrayPtr array;
};

/* Sorts the objects of a list into heaps. Objects of other classes are left out. */
void Collect(std::span<Heap> heaps, gboolean takeOwnership, va_list arguments) {
    while (gpointer object = va_arg(arguments, gpointer)) {
        for (Heap &heap : heaps) {
            if (!g_type_check_instance_is_a(static_cast<GTypeInstance *>(object), heap.type))
                continue;
            Append(heap.array.get(), heap.type, object);
            break;
        }
        if (takeOwnership)
            g_object_unref(object);
    }
}

void SetArray(GObject *object, const char *name, const GValueArray *array) {
    g_object_set(object, name, array, nullptr);
}

/* Collects selection specs in "selectSet", which is not set if there are none. */
void SetSelections(GObject *object, gboolean takeOwnership, va_list arguments) {
    Heap heap = {SpecTypes().selection, ValueArrayPtr(g_value_array_new(0))};
    Collect({&heap, 1}, takeOwnership, arguments);
    if (heap.array->n_values > 0)
        SetArray(object, "selectSet", heap.array.get());
}

} // namespace

GObject *orvane_selection_spec_new(const char *name) {
    GObject *selectionSpec = NewSpec(SpecTypes().selection);
    g_return_val_if_fail(selectionSpec, nullptr);
    if (name != nullptr)
        g_object_set(selectionSpec, "name", name, nullptr);
    return selectionSpec;
}

GObject *orvane_traversal_spec_new(const char *name, GType type, const char *path, gboolean skip,
                                   gboolean takeOwnership, ...) {
    GObject *traversalSpec = NewSpec(skema_qorm_core_property_collector_traversal_spec_get_type());
    g_return_val_if_fail(traversalSpec, nullptr);
    if (name != nullptr)
        g_object_set(traversalSpec, "name", name, nullptr);
    g_object_set(traversalSpec, "type", OrvaneType_WireName(type), "path", path, "skip", skip,
                 nullptr);
    va_list arguments;
    va_start(arguments, takeOwnership);
    SetSelections(traversalSpec, takeOwnership, arguments);
    va_end(arguments);
    return traversalSpec;
}

GObject *orvane_object_spec_new(SkemaQormManagedObject *object, gboolean skip,
                                gboolean takeOwnership, ...) {
    GObject *objectSpec = NewSpec(SpecTypes().object);
    g_return_val_if_fail(objectSpec, nullptr);
    g_object_set(objectSpec, "obj", object, "skip", skip, nullptr);
    va_list arguments;
    va_start(arguments, takeOwnership);
    SetSelections(objectSpec, takeOwnership, arguments);
    va_end(arguments);
    return objectSpec;
}

GObject *orvane_property_spec_new(GType type, gboolean all, ...) {
    va_list arguments;
    va_start(arguments, all);
    GObject *propertySpec = orvane_property_spec_newv(type, all, arguments);
    va_end(arguments);
    return propertySpec;
}

GObject *orvane_property_spec_newv(GType type, gboolean all, va_list arguments) {
    GObject *propertySpec = NewSpec(SpecTypes().property);
    g_return_val_if_fail(propertySpec, nullptr);
    g_object_set(propertySpec, "type", OrvaneType_WireName(type), "all", all, nullptr);

    ValueArrayPtr paths(g_value_array_new(0));
    while (const char *path = va_arg(arguments, const char *)) {
        ScopedValue value(G_TYPE_STRING);
        g_value_set_string(&value.value, path);
        g_value_array_append(paths.get(), &value.value);
    }
    if (paths->n_values > 0)
        SetArray(propertySpec, "pathSet", paths.get());
    return propertySpec;
}

GObject *orvane_filter_spec_new(gboolean takeOwnership, ...) {
    GObject *filterSpec = NewSpec(SpecTypes().filter);
    g_return_val_if_fail(filterSpec, nullptr);
    Heap heaps[] = {{SpecTypes().property, ValueArrayPtr(g_value_array_new(1))},
                    {SpecTypes().object, ValueArrayPtr(g_value_array_new(1))}};
    va_list arguments;
    va_start(arguments, takeOwnership);
    Collect(heaps, takeOwnership, arguments);
    va_end(arguments);
    SetArray(filterSpec, "propSet", heaps[0].array.get());
    SetArray(filterSpec, "objectSet", heaps[1].array.get());
    return filterSpec;
}

GValueArray *orvane_filter_spec_set_new(gboolean takeOwnership, ...) {
    GValueArray *valueArray = g_value_array_new(1);
    g_return_val_if_fail(valueArray, nullptr);
    Heap heap = {SpecTypes().filter, ValueArrayPtr(valueArray)};
    va_list arguments;
    va_start(arguments, takeOwnership);
    Collect({&heap, 1}, takeOwnership, arguments);
    va_end(arguments);
    return heap.array.release();
}

void orvane_session_load_properties(OrvaneSession *session, SkemaQormManagedObject *object,
                                    OrvaneListener *listener, gboolean all, ...) {
    g_return_if_fail(object && SKEMA_IS_QORM_MANAGED_OBJECT(object));
    va_list paths;
    va_start(paths, all);
    GObject *propertySpec = orvane_property_spec_newv(G_OBJECT_TYPE(object), all, paths);
    va_end(paths);
    GObject *objectSpec = orvane_object_spec_new(object, FALSE, TRUE, nullptr);
    GObject *filterSpec = orvane_filter_spec_new(TRUE, objectSpec, propertySpec, nullptr);
    ValueArrayPtr set(orvane_filter_spec_set_new(TRUE, filterSpec, nullptr));
    orvane_session_retrieve_contents(session, set.get(), listener);
}
