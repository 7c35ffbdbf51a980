/*
 * glibPtr.h -- owners for what GLib, libxml2 and malloc() hand out: released on every path out of a scope
 *
 *   GPtr<char> text(g_strdup("x"));     ObjectPtr<GObject> object(...);     XmlDocPtr doc(...);
 *
 * Leave by .release() to hand the thing on.
 */
#pragma once

#include <cstdlib>
#include <memory>

#include <glib-object.h>
#include <libxml/tree.h>

template <auto release> struct Release {
    template <class T> void operator()(T *p) const { release(p); }
};
template <class T> using GPtr = std::unique_ptr<T, Release<g_free>>;
template <class T> using MallocPtr = std::unique_ptr<T, Release<free>>;
template <class T> using ObjectPtr = std::unique_ptr<T, Release<g_object_unref>>;
using XmlDocPtr = std::unique_ptr<xmlDoc, Release<xmlFreeDoc>>;

struct FreeGString {
    void operator()(GString *text) const { g_string_free(text, TRUE); }
};
using GStringPtr = std::unique_ptr<GString, FreeGString>;
