/*
 * orvaneRuntime.h -- what the library's own modules need of the object runtime beside
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
 * @object: what the listener waits for; must be unbound before it ends
 * @listener: not owned; the binding ends with it
 *
 * An earlier binding of @object is not looked at: its listener's end clears the binding of the later
 * one.
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
