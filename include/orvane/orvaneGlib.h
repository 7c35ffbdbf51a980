/*
 * orvaneGlib.h -- runs the library on a GMainContext, for applications that have a GLib loop
 *
 *   orvane_glib_init(NULL);
 *   ... make a session, connect, g_main_loop_run() ...
 *   orvane_glib_shutdown();
 *
 * It replaces orvane_init() and orvane_shutdown(). Each timer and each socket of the library becomes a source
 * of default priority in the context. Signals of listeners and changes of properties are emitted only while
 * the context is iterated. Link with liborvane-glib.
 *
 * Ownership: the context is referenced until orvane_glib_shutdown().
 * Errors:    orvane_glib_init() returns FALSE.
 * Threads:   the thread that iterates the context makes all calls into the library.
 */
#pragma once

#include <glib.h>

#include <orvane/listener.h>
#include <orvane/loop.h>

G_BEGIN_DECLS

/**
 * orvane_glib_init:
 * @context: (nullable): the context that the application iterates; %NULL for the default one
 *
 * Starts the library in @context. Call it once, before all other functions of the library, or again after
 * orvane_glib_shutdown(). No callback runs before it returns.
 *
 * Returns: %TRUE, or %FALSE if the library does not start; then @context is not referenced
 */
ORVANE_EXPORT gboolean orvane_glib_init(GMainContext *context);

/**
 * orvane_glib_shutdown:
 *
 * Ends the library, and removes its sources from the context. No callback runs afterwards. Release sessions
 * and listeners first.
 */
ORVANE_EXPORT void orvane_glib_shutdown(void);

/**
 * orvane_glib_wait:
 * @listener: (transfer none): the listener of an operation that was begun
 * @timeout: how long to wait at most, in milliseconds; -1 without a limit
 *
 * Iterates the context until the operation has ended, for programs that have nothing else to do. Handlers
 * run meanwhile, and may wait for other listeners in turn. An operation that ends without a signal never
 * ends here, see listener.h: after orvane_session_cancel_listener() for instance. Give a @timeout where
 * that can happen.
 *
 * Each wait is for an operation that began after the last completed wait for @listener. If there is none,
 * because a call could not be sent for instance, this returns %FALSE at once, with a warning. A wait that
 * timed out can be repeated.
 *
 * Returns: %TRUE if the operation succeeded; %FALSE if it failed, has not ended in time, or did not begin.
 *     orvane_listener_get_state() and orvane_listener_get_fault() tell more
 */
ORVANE_EXPORT gboolean orvane_glib_wait(OrvaneListener *listener, gint timeout);

G_END_DECLS
