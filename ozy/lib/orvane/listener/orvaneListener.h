/*
 * orvaneListener.h -- listeners inside the library: how an operation drives one, and the internal listeners
 * of the library's own calls
 *
 *   UNUSED -> PENDING -> ACKNOWLEDGED -> SUCCEEDED | FAILED
 *   PENDING, with a task: -> ACKNOWLEDGED <-> RUNNING -> SUCCEEDED | FAILED
 *
 * Ownership: an operation releases an application's listener only where a reply is dropped (the call was
 *            cancelled, the session is over). An internal listener belongs to the operation that it was
 *            handed to: its callback releases it, or the session when it frees a call without a signal.
 * Callbacks: a handler may release the listener, the session or both. Nothing more is emitted on a listener
 *            whose last reference was released in one of its handlers.
 * Threads:   the loop's.
 */
#pragma once

#include <orvane/listener.h>

#include "ozy/lib/orvane/runtime/roomsAbove.h"

G_BEGIN_DECLS

/* Handles "success" and "failure" of an internal listener, which it releases. */
typedef void (*OrvaneListenerCallback)(OrvaneListener *internal, gpointer data);

/**
 * OrvaneListener_NewInternal:
 * @callback: handler of both "success" and "failure"
 * @data: handed to @callback; must live as long as the operation
 *
 * Hand the result to exactly one operation, and release it at the end of @callback. If the operation
 * ends without a signal (the session is released, or drops the call) the session releases it.
 *
 * Returns: (transfer full): an internal listener
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
 * @isArray: (out): whether an array of the type is expected
 *
 * Returns: the type of the result or of one of its elements; 0 if the call has none
 */
GType orvane_listener_get_return_type(OrvaneListener *listener, gboolean *isArray);

/**
 * orvane_listener_acknowledge:
 * @listener: the listener of the operation that was answered
 * @success: whether it succeeded; ignored if @value holds a task
 * @value: (nullable): the result, the fault, or a task to follow; unset counts as %NULL
 *
 * Runs the application's handlers before it returns.
 */
void orvane_listener_acknowledge(OrvaneListener *listener, gboolean success, const GValue *value);

/* Acknowledges a failure with a RequestCanceled. */
void OrvaneListener_AcknowledgeCanceled(OrvaneListener *listener);

G_END_DECLS
