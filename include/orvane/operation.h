/*
 * operation.h -- the one end of an operation: a function that is invoked exactly once, with how it ended
 *
 *   static void on_completed(OrvaneListener *listener, OrvaneOutcome outcome, gpointer data) {
 *       g_autoptr(GError) error = NULL;
 *       if (orvane_listener_get_error(listener, &error))
 *           g_printerr("not switched on: %s\n", error->message);
 *       g_object_unref(listener);       // the application's reference, see Ownership
 *   }
 *   ...
 *   OrvaneListener *listener = orvane_listener_new();
 *   orvane_listener_set_completed_func(listener, on_completed, NULL, NULL);
 *   skema_ozy_virtual_machine_power_on(machine, NULL, listener);
 *
 * The signals of a listener are silent where a call cannot be sent, where its session is disconnected, and in some
 * other cases; see listener.h. A completion function is invoked in all of them. An operation is one method call, to
 * the end of its task if it returns one, or one connect, disconnect, load or retrieval of contents. docs/operations.md
 * has a table of all ends.
 *
 * Ownership: while a function is set, the operation has a reference of its own to the listener, from its beginning
 *            until the function has returned. It does not touch the reference of the application. That one is
 *            released by the handler of "success" or "failure" if the application has connected one that does so.
 *            An application that has no such handler releases its reference in the function, as above, or right
 *            after it has begun the operation. The library leaves that reference alone, also where listener.h says
 *            that a late reply releases it, with one exception: orvane_session_cancel_listener() still takes it over.
 * Errors:    of the domain ORVANE_ERROR, whose codes are OrvaneOutcome. The listener's fault is not changed.
 * Callbacks: a completion function is invoked by the loop, after the signals of the operation's end, and by
 *            orvane_shutdown(), and never from inside the function that begins the operation. It may do anything,
 *            such as begin the next operation with the same listener, or release the session. An operation that is
 *            begun while the library is shut down ends with NOT_SENT; its function is invoked by the loop after the
 *            next orvane_init(), or by the next orvane_shutdown().
 * Threads:   the loop's.
 */
#pragma once

#include <orvane/listener.h>

G_BEGIN_DECLS

/**
 * OrvaneOutcome:
 * @ORVANE_OUTCOME_SUCCEEDED: there may be a result
 * @ORVANE_OUTCOME_FAULT: the service answered with a fault, or its task failed
 * @ORVANE_OUTCOME_TRANSPORT: there was no reply, or one that is no SOAP message; see #OrvaneTransportError
 * @ORVANE_OUTCOME_NOT_SENT: nothing was sent, for instance because the session is not connected
 * @ORVANE_OUTCOME_DISCONNECTED: the connection ended first
 * @ORVANE_OUTCOME_SESSION_RELEASED: the last reference to the session was released first
 * @ORVANE_OUTCOME_SHUT_DOWN: orvane_shutdown() was called first
 * @ORVANE_OUTCOME_OBJECT_GONE: the proxy to be loaded was released first
 * @ORVANE_OUTCOME_TIMED_OUT: a time limit has passed
 * @ORVANE_OUTCOME_CANCELLED: the application, or somebody else, has cancelled the operation or its task
 *
 * How an operation ended.
 */
typedef enum {
    ORVANE_OUTCOME_SUCCEEDED,
    ORVANE_OUTCOME_FAULT,
    ORVANE_OUTCOME_TRANSPORT,
    ORVANE_OUTCOME_NOT_SENT,
    ORVANE_OUTCOME_DISCONNECTED,
    ORVANE_OUTCOME_SESSION_RELEASED,
    ORVANE_OUTCOME_SHUT_DOWN,
    ORVANE_OUTCOME_OBJECT_GONE,
    ORVANE_OUTCOME_TIMED_OUT,
    ORVANE_OUTCOME_CANCELLED
} OrvaneOutcome;

/**
 * OrvaneTransportError:
 * @ORVANE_TRANSPORT_NONE: the transfer itself went well
 * @ORVANE_TRANSPORT_UNSUPPORTED_PROTOCOL: the URL is neither http nor https
 * @ORVANE_TRANSPORT_URL_MALFORMAT: the URL cannot be read
 * @ORVANE_TRANSPORT_COULDNT_RESOLVE_PROXY: the name of the proxy is not known
 * @ORVANE_TRANSPORT_COULDNT_RESOLVE_HOST: the name of the host is not known
 * @ORVANE_TRANSPORT_COULDNT_CONNECT: no connection was made: it was refused, or there is no way to the host
 * @ORVANE_TRANSPORT_HTTP_RETURNED_ERROR: the status of the reply was an error
 * @ORVANE_TRANSPORT_OPERATION_TIMEDOUT: there was no reply in time
 * @ORVANE_TRANSPORT_SSL_CONNECT_ERROR: the TLS handshake failed
 * @ORVANE_TRANSPORT_TOO_MANY_REDIRECTS: the service redirected too often, or to another host
 * @ORVANE_TRANSPORT_TRANSFER: the connection broke, or the reply was too large
 * @ORVANE_TRANSPORT_SSL_SECURITY: the certificate was not accepted, or the connection is not encrypted but must be
 * @ORVANE_TRANSPORT_CONNECT_TIMEOUT: no connection was made in time
 * @ORVANE_TRANSPORT_INACTIVITY_TIMEOUT: nothing was transferred for too long
 * @ORVANE_TRANSPORT_GENERIC: anything else; the log has the cause
 *
 * The values of "errorCode" of an OrvaneFaultInvalidResponse.
 */
typedef enum {
    ORVANE_TRANSPORT_NONE = 0,
    ORVANE_TRANSPORT_UNSUPPORTED_PROTOCOL = 1,
    ORVANE_TRANSPORT_URL_MALFORMAT = 3,
    ORVANE_TRANSPORT_COULDNT_RESOLVE_PROXY = 5,
    ORVANE_TRANSPORT_COULDNT_RESOLVE_HOST = 6,
    ORVANE_TRANSPORT_COULDNT_CONNECT = 7,
    ORVANE_TRANSPORT_HTTP_RETURNED_ERROR = 22,
    ORVANE_TRANSPORT_OPERATION_TIMEDOUT = 28,
    ORVANE_TRANSPORT_SSL_CONNECT_ERROR = 35,
    ORVANE_TRANSPORT_TOO_MANY_REDIRECTS = 47,
    ORVANE_TRANSPORT_TRANSFER = 48,
    ORVANE_TRANSPORT_SSL_SECURITY = 49,
    ORVANE_TRANSPORT_CONNECT_TIMEOUT = 50,
    ORVANE_TRANSPORT_INACTIVITY_TIMEOUT = 51,
    ORVANE_TRANSPORT_GENERIC = 52
} OrvaneTransportError;

#define ORVANE_ERROR (orvane_error_quark())
#define ORVANE_TYPE_OUTCOME (orvane_outcome_get_type())
#define ORVANE_TYPE_TRANSPORT_ERROR (orvane_transport_error_get_type())

ORVANE_EXPORT GQuark orvane_error_quark(void);
ORVANE_EXPORT GType orvane_outcome_get_type(void);
ORVANE_EXPORT GType orvane_transport_error_get_type(void);

/**
 * OrvaneCompletedFunc:
 * @listener: the listener of the operation
 * @outcome: how the operation ended
 * @data: the pointer that was set with the function
 *
 * Invoked once for each operation of @listener; see the head of this file.
 */
typedef void (*OrvaneCompletedFunc)(OrvaneListener *listener, OrvaneOutcome outcome, gpointer data);

/**
 * orvane_listener_set_completed_func:
 * @listener: a listener
 * @function: (nullable) (scope notified) (closure data) (destroy destroy): invoked at the end of each operation
 * @data: handed to @function
 * @destroy: (nullable): called with @data when the function is replaced, or when @listener is finalised
 *
 * Replaces the function. It holds for the operation in progress, too, and for all that begin later. An operation
 * whose end was reported is not reported again.
 *
 * An operation that is begun with @listener before the former one has ended ends that one, with
 * %ORVANE_OUTCOME_CANCELLED unless its outcome was certain. What still comes for the former one is dropped. So begin the
 * next one in @function, or later.
 */
ORVANE_EXPORT void orvane_listener_set_completed_func(OrvaneListener *listener,
                                                      OrvaneCompletedFunc function, gpointer data,
                                                      GDestroyNotify destroy);

/**
 * orvane_listener_call_when_completed:
 * @listener: a listener
 * @function: (scope notified) (closure data) (destroy destroy): invoked at the end of one operation
 * @data: handed to @function
 * @destroy: (nullable): called with @data after @function, or when @listener is finalised
 *
 * Adds a function for one operation only: the one in progress; otherwise the last one, which has ended, and then
 * @function is invoked in the next turn of the loop; otherwise the first that is begun. It neither replaces nor
 * delays the function of orvane_listener_set_completed_func(). For layers, such as coroutines.
 */
ORVANE_EXPORT void orvane_listener_call_when_completed(OrvaneListener *listener,
                                                       OrvaneCompletedFunc function, gpointer data,
                                                       GDestroyNotify destroy);

/**
 * orvane_listener_get_outcome:
 * @listener: a listener
 * @outcome: (out) (optional): how its last operation ended
 *
 * Works without a completion function, too. A listener that it was called for is treated like one with such a function
 * where another operation replaces one that has not ended: what still comes for the former one is dropped.
 *
 * Returns: %TRUE if the last operation has ended; %FALSE with @outcome unchanged if it is in progress, or if there
 *     was none
 */
ORVANE_EXPORT gboolean orvane_listener_get_outcome(OrvaneListener *listener,
                                                   OrvaneOutcome *outcome);

/**
 * orvane_listener_get_error:
 * @listener: a listener
 * @error: (out) (optional) (nullable): an error of the domain %ORVANE_ERROR, whose code is the outcome and whose
 *     message is for people
 *
 * Returns why the last operation did not succeed. It may be called in a handler of "failure", too. The message names
 * what a person can do about it. Text of the service in it is on one line and free of control characters.
 *
 * Returns: %TRUE if the operation has ended without success; otherwise %FALSE, with @error unchanged
 */
ORVANE_EXPORT gboolean orvane_listener_get_error(OrvaneListener *listener, GError **error);

/**
 * orvane_listener_set_time_limit:
 * @listener: a listener
 * @milliseconds: how long each operation may take; 0 for the limit of its session, which is the initial value
 *
 * Holds for the operations that begin later. It counts from the beginning of the operation to its end, which for a method
 * that returns a task is the end of the task. An operation that takes longer fails with an OrvaneFaultInvalidResponse
 * of errorCode %ORVANE_TRANSPORT_OPERATION_TIMEDOUT and the outcome %ORVANE_OUTCOME_TIMED_OUT. Its transfer is closed,
 * and the connection is not used again. A task continues at the service; orvane_listener_cancel() ends it.
 *
 * orvane_session_set_time_limits() has limits for all operations of a session.
 */
ORVANE_EXPORT void orvane_listener_set_time_limit(OrvaneListener *listener, guint milliseconds);

/**
 * orvane_listener_abort:
 * @listener: a listener
 *
 * Gives up its operation: a call, a task, a load, a retrieval of contents, or a connect. The transfer is closed at once.
 * @listener fails with a RequestCanceled and %ORVANE_OUTCOME_CANCELLED in the next turn of the loop. Whether the service
 * has done what was asked is not known.
 *
 * A task is asked to stop, unless the service says that it cannot be cancelled; if the reply that names it has not
 * arrived yet, it continues. The filter of a load is destroyed if nobody else waits for it. A connect ends with the state
 * DISCONNECTED before this returns; if it has logged in already, it is logged out first. A disconnect cannot be given up.
 *
 * Returns: %TRUE if @listener will fail for this reason; %FALSE if no operation is in progress that can be given up, and
 *     inside a function of orvane_session_set_wire_func()
 */
ORVANE_EXPORT gboolean orvane_listener_abort(OrvaneListener *listener);

/**
 * orvane_fault_describe:
 * @fault: a fault
 *
 * Returns: (transfer full): its name and the service's text, such as "InvalidPowerState: The machine is running.",
 *     on one line and free of control characters; of an InvalidProperty with the path of the property
 */
ORVANE_EXPORT char *orvane_fault_describe(SkemaQormMethodFault *fault);

/**
 * orvane_transport_error_get_text:
 * @error: a value of "errorCode"
 *
 * Returns: (transfer none): what it means, for people; that of %ORVANE_TRANSPORT_GENERIC for an unknown value
 */
ORVANE_EXPORT const char *orvane_transport_error_get_text(OrvaneTransportError error);

G_END_DECLS
