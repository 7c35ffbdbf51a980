/*
 * orvaneRuntime.h -- the parts of the object runtime that only the library uses, beside
 * <orvane/runtime.h>: weak bindings to a listener, the loop functions
 *
 * Ownership: a binding owns neither its object nor its listener.
 * Threads:   the loop's.
 */
#pragma once

#include <orvane/loop.h>
#include <orvane/runtime.h>

G_BEGIN_DECLS

/**
 * orvane_bind_listener:
 * @object: the object; must be unbound before it is finalised
 * @listener: not owned; when it is finalised the binding ends
 *
 * An earlier binding of @object is not checked: when its listener is finalised, the later binding ends
 * as well.
 */
void orvane_bind_listener(GObject *object, OrvaneListener *listener);

/* Ends the binding of the object, if there is one. */
void orvane_unbind_listener(GObject *object);

/*
 * Returns the service's name of a class or enumeration. A subclass that an application registered
 * without one has that of its nearest ancestor; NULL if no ancestor has one.
 */
const char *OrvaneType_WireName(GType type);

/* The weak notify of a binding. */
void orvane_bound_listener_weak_notify(gpointer object, GObject *listener);

/* The marshaller of "array_notify". */
void orvane_marshal_VOID__PARAM_BOOLEAN_BOXED(GClosure *closure, GValue *result, guint numParams,
                                              const GValue *params, gpointer hint, gpointer data);

/* The loop functions that orvane_init() was given; NULL before. */
extern OrvanePollCallback orvane_poll_callback;
extern OrvanePollCallbackRemove orvane_poll_callback_remove;

G_END_DECLS
