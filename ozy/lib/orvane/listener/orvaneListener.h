/*
 * orvaneListener.h -- the library's own side of a listener: how an operation drives it, and the
 * listeners that the library makes for its own steps
 *
 *   UNUSED -> PENDING -> ACKNOWLEDGED -> SUCCEEDED | FAILED
 *   PENDING, with a task: -> ACKNOWLEDGED <-> RUNNING -> SUCCEEDED | FAILED
 *
 * Ownership: an operation never frees an application's listener but on the two paths of a reply that
 *            nobody is to hear of (cancelled, session over). An internal listener belongs to the
 *            operation it was handed to: its callback releases it, or the session when it frees a
 *            call whose reply will not be heard.
 * Callbacks: a handler may drop the listener, the session or both; nothing is emitted on a listener
 *            whose last reference went in one of its handlers.
 * Threads:   the loop's.
 */
#pragma once

#include <orvane/listener.h>

#include "ozy/lib/orvane/runtime/roomsAbove.h"

G_BEGIN_DECLS

/* Both ends of an internal step; orvane_listener_get_state() tells which. Releases the listener. */
typedef void (*OrvaneListenerCallback)(OrvaneListener *internal, gpointer data);

/**
 * OrvaneListener_NewInternal:
 * @callback: what both "success" and "failure" run
 * @data: handed to it; must live as long as the operation
 *
 * Hand the result to exactly one operation, and release it at the end of @callback. If the operation
 * ends without a signal (the session goes, or drops the call) the session releases it.
 *
 * Returns: (transfer full): a listener of the library's own
 */
OrvaneListener *OrvaneListener_NewInternal(OrvaneListenerCallback callback, gpointer data);

/* Whether OrvaneListener_NewInternal() made it. */
gboolean OrvaneListener_IsInternal(OrvaneListener *listener);

/**
 * orvane_listener_initiate:
 * @listener: the listener of an operation that begins
 *
 * State PENDING. Before that it drops what an earlier operation left: the task that it followed, its
 * progress, its fault, and its result unless orvane_listener_set_return_type() was called since. Runs the
 * application's code, which may release the listener.
 */
void orvane_listener_initiate(OrvaneListener *listener);

/* Stores the state, notifies "state", then emits the state's signal; nothing for an equal state. */
void orvane_listener_set_state(OrvaneListener *listener, OrvaneListenerState state);

/**
 * orvane_listener_get_return_type:
 * @listener: the listener of a call
 * @isArray: (out): whether a list of them is expected
 *
 * Returns: the type of the result or of one of its elements; 0 if the call has none
 */
GType orvane_listener_get_return_type(OrvaneListener *listener, gboolean *isArray);

/**
 * orvane_listener_acknowledge:
 * @listener: the listener of the operation that was answered
 * @success: whether it succeeded; not looked at if @value holds a task
 * @value: (nullable): the result, the fault, or a task to follow; unset counts as %NULL
 *
 * Runs the application's handlers before it returns.
 */
void orvane_listener_acknowledge(OrvaneListener *listener, gboolean success, const GValue *value);

/* Acknowledges a failure with a RequestCanceled. */
void OrvaneListener_AcknowledgeCanceled(OrvaneListener *listener);

G_END_DECLS
