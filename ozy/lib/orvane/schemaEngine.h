/*
 * schemaEngine.h -- registers the rows of the schema as classes and enumerations, stores and
 * releases the values of their fields, and packs the arguments of method stubs
 *
 * Generated code is one line a function: a get_type is orvane_schema_get_type(index), a method stub is
 * orvane_schema_invoke(index, object, listener, arguments...). Everything else is here, once.
 *
 * Errors:  an index past the tables is a broken program and panics.
 * Threads: classes may be registered from any thread; objects belong to the thread of the loop.
 */
#pragma once

#include <orvane/runtime.h>

#include "ozy/lib/orvane/schemaRows.h"

G_BEGIN_DECLS

GType orvane_schema_get_type(guint index);
void orvane_schema_invoke(guint method, gpointer object, OrvaneListener *listener, ...);

G_END_DECLS
