/*
 * glibPtr.h -- owners for objects of GLib, libxml2 and malloc(), which are released on every path out of a
 * scope
 *
 *   GPtr<char> text(g_strdup("x"));     ObjectPtr<GObject> object(...);     XmlDocPtr doc(...);
 *
 * .release() passes the object to another owner.
 */
#pragma once

#include <cstdlib>
#include <memory>

#include <glib-object.h>
#include <libxml/tree.h>
#include <libxml/xmlmemory.h>

template <auto release> struct Release {
    template <class T> void operator()(T *p) const { release(p); }
};
template <class T> using GPtr = std::unique_ptr<T, Release<g_free>>;
template <class T> using MallocPtr = std::unique_ptr<T, Release<free>>;
template <class T> using ObjectPtr = std::unique_ptr<T, Release<g_object_unref>>;
using XmlDocPtr = std::unique_ptr<xmlDoc, Release<xmlFreeDoc>>;
struct FreeXmlText {
    void operator()(xmlChar *text) const { xmlFree(text); }
};
using XmlTextPtr = std::unique_ptr<xmlChar, FreeXmlText>;
using StrvPtr = std::unique_ptr<char *, Release<g_strfreev>>;
using TypeClassPtr = std::unique_ptr<void, Release<g_type_class_unref>>;

struct FreeGString {
    void operator()(GString *text) const { g_string_free(text, TRUE); }
};
using GStringPtr = std::unique_ptr<GString, FreeGString>;

struct FreeValueArray {
    void operator()(GValueArray *array) const { g_value_array_free(array); }
};
using ValueArrayPtr = std::unique_ptr<GValueArray, FreeValueArray>;

/* A value that is unset when the scope ends; zeroed, or of a type. */
struct ScopedValue {
    GValue value = G_VALUE_INIT;
    ScopedValue() = default;
    explicit ScopedValue(GType type) { g_value_init(&value, type); }
    ~ScopedValue() {
        if (G_IS_VALUE(&value))
            g_value_unset(&value);
    }
    ScopedValue(const ScopedValue &) = delete;
    ScopedValue &operator=(const ScopedValue &) = delete;
};
