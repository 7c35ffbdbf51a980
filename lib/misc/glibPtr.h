/*
 * glibPtr.h -- owners for what GLib and libxml2 hand out: released on every path out of a scope
 *
 *   GPtr<char> text(g_strdup("x"));     ObjectPtr<GObject> object(...);     XmlDocPtr doc(...);
 *
 * Leave by .release() to hand the thing on.
 */
#pragma once

#include <memory>

#include <glib-object.h>
#include <libxml/tree.h>

template <auto release> struct Release {
    template <class T> void operator()(T *p) const { release(p); }
};
template <class T> using GPtr = std::unique_ptr<T, Release<g_free>>;
template <class T> using ObjectPtr = std::unique_ptr<T, Release<g_object_unref>>;
using XmlDocPtr = std::unique_ptr<xmlDoc, Release<xmlFreeDoc>>;
using StrvPtr = std::unique_ptr<char *, Release<g_strfreev>>;
using TypeClassPtr = std::unique_ptr<void, Release<g_type_class_unref>>;

struct FreeGString {
    void operator()(GString *text) const { g_string_free(text, TRUE); }
};
using GStringPtr = std::unique_ptr<GString, FreeGString>;
