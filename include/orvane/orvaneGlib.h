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

#include <gio/gio.h>

#include <orvane/listener.h>
#include <orvane/loop.h>
#include <orvane/operation.h>
#include <orvane/session.h>

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
 * run meanwhile, and may wait for other listeners in turn. It ends also where no signal is emitted; see
 * operation.h.
 *
 * Each wait is for an operation that began after the last completed wait for @listener. If there is none,
 * because a call could not be sent for instance, this returns %FALSE at once, with a warning. A wait that
 * timed out can be repeated.
 *
 * Returns: %TRUE if the operation succeeded; %FALSE if it failed, has not ended in time, or did not begin.
 *     orvane_listener_get_error() returns the reason
 */
ORVANE_EXPORT gboolean orvane_glib_wait(OrvaneListener *listener, gint timeout);

/**
 * orvane_listener_complete_async:
 * @listener: the listener of an operation that was begun
 * @cancellable: (nullable): gives up the operation as orvane_listener_abort() does; to be cancelled on any thread
 * @callback: (nullable) (scope async) (closure data): called once, when the operation has ended
 * @data: handed to @callback
 *
 * Waits for the operation that was begun last with @listener; if it has ended already, @callback comes in a later turn
 * of the loop. If none was begun, it fails with %ORVANE_OUTCOME_NOT_SENT. Neither the signals nor a completion function
 * of the application change. @listener is referenced until then, apart from the reference of the application, which it
 * releases whenever it likes.
 */
ORVANE_EXPORT void orvane_listener_complete_async(OrvaneListener *listener,
                                                  GCancellable *cancellable,
                                                  GAsyncReadyCallback callback, gpointer data);

/**
 * orvane_listener_complete_finish:
 * @listener: the listener
 * @result: what the callback was given
 * @value: (out) (optional): zeroed by the caller; on success the operation's result, to be released with
 *     g_value_unset(), or zeroed if it has none
 * @error: (nullable): of %ORVANE_ERROR; %G_IO_ERROR_CANCELLED if the cancellable was cancelled
 *
 * Returns: %TRUE if the operation succeeded; otherwise %FALSE with @error set
 */
ORVANE_EXPORT gboolean orvane_listener_complete_finish(OrvaneListener *listener,
                                                       GAsyncResult *result, GValue *value,
                                                       GError **error);

/**
 * orvane_session_connect_async:
 * @session: a session in state %ORVANE_SESSION_DISCONNECTED
 * @url: see orvane_session_connect()
 * @user: user name
 * @password: password
 * @cancellable: (nullable): gives up the connect
 * @callback: (nullable) (scope async) (closure data): called once, when it has ended
 * @data: handed to @callback
 *
 * orvane_session_connect() without a listener of the application. @session is referenced until @callback was called.
 */
ORVANE_EXPORT void orvane_session_connect_async(OrvaneSession *session, const char *url,
                                                const char *user, const char *password,
                                                GCancellable *cancellable,
                                                GAsyncReadyCallback callback, gpointer data);
/* (nullable) @error: as with orvane_listener_complete_finish(). */
ORVANE_EXPORT gboolean orvane_session_connect_finish(OrvaneSession *session, GAsyncResult *result,
                                                     GError **error);

/* orvane_session_disconnect() in the same form. The logout is not given up: after a cancel only its end is not waited
 * for. */
ORVANE_EXPORT void orvane_session_disconnect_async(OrvaneSession *session,
                                                   GCancellable *cancellable,
                                                   GAsyncReadyCallback callback, gpointer data);
ORVANE_EXPORT gboolean orvane_session_disconnect_finish(OrvaneSession *session,
                                                        GAsyncResult *result, GError **error);

/* orvane_session_load_object() in the same form. */
ORVANE_EXPORT void orvane_session_load_object_async(OrvaneSession *session, gboolean partialUpdates,
                                                    SkemaQormManagedObject *object,
                                                    GCancellable *cancellable,
                                                    GAsyncReadyCallback callback, gpointer data);
ORVANE_EXPORT gboolean orvane_session_load_object_finish(OrvaneSession *session,
                                                         GAsyncResult *result, GError **error);

/* orvane_session_retrieve_contents() in the same form. A retrieval that fails ends with the service's fault. */
ORVANE_EXPORT void orvane_session_retrieve_contents_async(OrvaneSession *session,
                                                          GValueArray *filterSpecSet,
                                                          GCancellable *cancellable,
                                                          GAsyncReadyCallback callback,
                                                          gpointer data);
/**
 * orvane_session_retrieve_contents_finish:
 * @session: the session
 * @result: what the callback was given
 * @error: (nullable): as with orvane_listener_complete_finish()
 *
 * Returns: (transfer full) (nullable): the proxies that were filled, to be released with g_value_array_free();
 *     %NULL with @error set if the retrieval failed
 */
ORVANE_EXPORT GValueArray *orvane_session_retrieve_contents_finish(OrvaneSession *session,
                                                                   GAsyncResult *result,
                                                                   GError **error);

G_END_DECLS
