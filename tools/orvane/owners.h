/*
 * owners.h -- owners of what the library's public interface returns, for the parts of the program that use sessions
 *
 * Those parts include installed headers only, as an application does; "./dev lint" checks it.
 */
#pragma once

#include <memory>
#include <string>

#include <glib-object.h>
#include <orvane/method.h>

namespace orvaneCli {

template <auto release> struct Released {
    template <class T> void operator()(T *object) const { release(object); }
};
template <class T> using GPtr = std::unique_ptr<T, Released<g_free>>;
template <class T> using ObjectPtr = std::unique_ptr<T, Released<g_object_unref>>;

struct FreeValueArray {
    void operator()(GValueArray *array) const { g_value_array_free(array); }
};
using ValueArrayPtr = std::unique_ptr<GValueArray, FreeValueArray>;
using StrvPtr = std::unique_ptr<char *, Released<g_strfreev>>;
using TypeClassPtr = std::unique_ptr<void, Released<g_type_class_unref>>;
using MethodPtr = std::unique_ptr<OrvaneMethodInfo, Released<orvane_method_info_free>>;
using DateTimePtr = std::unique_ptr<GDateTime, Released<g_date_time_unref>>;

/* The message of an error, which is released. */
inline std::string TakeMessage(GError *error) {
    const std::unique_ptr<GError, Released<g_error_free>> owner(error);
    return error->message;
}

/* Adds an object to a list of objects of this type, and takes it over. */
inline void AppendObject(GValueArray *array, GType type, GObject *object) {
    GValue value = G_VALUE_INIT;
    g_value_init(&value, type);
    g_value_take_object(&value, object);
    g_value_array_append(array, &value);
    g_value_unset(&value);
}

} // namespace orvaneCli
