/*
 * listener.h -- the completion object of one asynchronous operation: a call, a connect, a load
 *
 *   OrvaneListener *listener = orvane_listener_new();
 *   g_signal_connect(listener, "success", G_CALLBACK(on_success), data);
 *   g_signal_connect(listener, "failure", G_CALLBACK(on_failure), data);
 *   skema_ozy_virtual_machine_power_on(machine, NULL, listener);
 *   ...
 *   void on_success(OrvaneListener *listener, gpointer data) { ...; g_object_unref(listener); }
 *
 * A method that returns a Task looks like one that does its work at once: the listener goes on
 * following the task, and succeeds or fails when the task does.
 *
 *   plain:  UNUSED -> PENDING -> ACKNOWLEDGED -> SUCCEEDED | FAILED
 *   task:   UNUSED -> PENDING -> ACKNOWLEDGED <-> RUNNING -> SUCCEEDED | FAILED
 *
 * Signals, none of which has arguments. "notify::state" comes first each time, and "notify::result" or
 * "notify::fault" before both where a plain operation has one:
 *   acknowledge   the service has accepted the operation. A task that is first seen running skips it
 *   progress      the task's progress has changed
 *   success       there may be a result
 *   failure       there may be a fault; without one the reason was not reported
 *
 * A task's end may be signalled more than once. While the listener exists it follows every change of the
 * task: if the service reports another state after the end, the listener leaves SUCCEEDED or FAILED, and
 * "success" or "failure" is emitted again when the task ends again. A handler that releases a reference
 * each time it runs would release one too many. So disconnect the handler, or release the last
 * reference, when it runs first.
 *
 * A listener can be used again after its operation ended. A new operation first drops the task that was
 * followed, its progress, and the result and fault of the operation before.
 *
 * Ownership: a listener is handed to one operation with one reference, which the handler of "success"
 *            or "failure" releases. If an operation ends without either signal, the reference still
 *            belongs to the application, with two exceptions in which the library releases it:
 *            - after orvane_session_cancel_listener();
 *            - when the reply to a call arrives after the session's state became DISCONNECTED without
 *              a disconnect, because a connect failed or was refused. An application that uses such a
 *              listener afterwards needs a reference of its own.
 *            The library holds no reference to a listener of an application. Releasing the last one
 *            ends the operation without a signal; a task continues on the service.
 * Errors:    never returned: a failed operation has a SkemaQormMethodFault.
 * Ends without a signal: a call that cannot be sent; a call, or a connect before its login, that is open when
 *            its session is disconnected or released. Loads, retrievals of contents and a connect that loads
 *            the roles fail with a RequestCanceled then. So watch the session's state too, or set a completion
 *            function, which is invoked in all these cases; see operation.h.
 * Callbacks: handlers run inside the loop's callbacks. They may do anything: release the listener,
 *            disconnect or release the session, or start other operations.
 * Threads:   the loop's.
 */
#pragma once

#include <orvane/runtime.h>

G_BEGIN_DECLS

/**
 * OrvaneListenerState:
 * @ORVANE_LISTENER_UNUSED: new
 * @ORVANE_LISTENER_PENDING: the operation was started
 * @ORVANE_LISTENER_ACKNOWLEDGED: the service has accepted it; a task is queued
 * @ORVANE_LISTENER_RUNNING: its task is running
 * @ORVANE_LISTENER_SUCCEEDED: it is over, perhaps with a result
 * @ORVANE_LISTENER_FAILED: it is over, perhaps with a fault
 *
 * Each is a bit, so a mask can name several.
 */
typedef enum {
    ORVANE_LISTENER_UNUSED = 1,
    ORVANE_LISTENER_PENDING = 2,
    ORVANE_LISTENER_ACKNOWLEDGED = 4,
    ORVANE_LISTENER_RUNNING = 8,
    ORVANE_LISTENER_SUCCEEDED = 16,
    ORVANE_LISTENER_FAILED = 32,
} OrvaneListenerState;

typedef struct _OrvaneListenerPrivate OrvaneListenerPrivate;

/**
 * OrvaneListener:
 *
 * Properties, all readable: "state", an OrvaneListenerState; "result", a boxed #GValue; "fault", a
 * SkemaQormMethodFault.
 */
struct _OrvaneListener {
    /*< private >*/
    GObject parent;
    OrvaneListenerPrivate *priv;
};

/**
 * OrvaneListenerClass:
 * @acknowledge: default handler of "acknowledge"
 * @progress: default handler of "progress"
 * @success: default handler of "success"
 * @failure: default handler of "failure"
 */
typedef struct {
    /*< private >*/
    GObjectClass parent;
    /*< public >*/
    void (*acknowledge)(OrvaneListener *listener);
    void (*progress)(OrvaneListener *listener);
    void (*success)(OrvaneListener *listener);
    void (*failure)(OrvaneListener *listener);
} OrvaneListenerClass;

#define ORVANE_TYPE_LISTENER (orvane_listener_get_type())
#define ORVANE_LISTENER(obj)                                                                       \
    (G_TYPE_CHECK_INSTANCE_CAST((obj), ORVANE_TYPE_LISTENER, OrvaneListener))
#define ORVANE_IS_LISTENER(obj) (G_TYPE_CHECK_INSTANCE_TYPE((obj), ORVANE_TYPE_LISTENER))

ORVANE_EXPORT GType orvane_listener_get_type(void);
ORVANE_EXPORT GType orvane_listener_state_get_type(void);

/**
 * orvane_listener_new:
 *
 * Returns: (transfer full): a listener in state %ORVANE_LISTENER_UNUSED
 */
ORVANE_EXPORT OrvaneListener *orvane_listener_new(void);

/**
 * orvane_listener_get_state:
 * @listener: a listener
 *
 * Returns: the state of its operation
 */
ORVANE_EXPORT OrvaneListenerState orvane_listener_get_state(OrvaneListener *listener);

/**
 * orvane_listener_get_operation_count:
 * @listener: a listener
 *
 * Tells whether a call really began an operation: one that could not be sent does not.
 *
 * Returns: how many operations were begun with it
 */
ORVANE_EXPORT guint orvane_listener_get_operation_count(OrvaneListener *listener);

/**
 * orvane_listener_is_task:
 * @listener: a listener
 *
 * Returns: %TRUE once the reply named a task, until the next operation begins
 */
ORVANE_EXPORT gboolean orvane_listener_is_task(OrvaneListener *listener);

/**
 * orvane_listener_get_task:
 * @listener: a listener
 *
 * The task can be given to another program by its id, or called itself.
 *
 * Returns: (transfer none) (nullable): the proxy of the task that the reply named, until the next operation begins;
 *     %NULL if there is none
 */
ORVANE_EXPORT SkemaQormManagedObject *orvane_listener_get_task(OrvaneListener *listener);

/**
 * orvane_listener_get_progress:
 * @listener: a listener
 *
 * Returns: how much of the task is done, in percent; %G_MININT32 if that is not known
 */
ORVANE_EXPORT gint orvane_listener_get_progress(OrvaneListener *listener);

/**
 * orvane_listener_is_cancellable:
 * @listener: a listener
 *
 * Returns: whether the service says that the task can be cancelled; %FALSE without a task
 */
ORVANE_EXPORT gboolean orvane_listener_is_cancellable(OrvaneListener *listener);

/**
 * orvane_listener_cancel:
 * @listener: a listener
 *
 * Asks the service to cancel the task. The state changes when the task's state does: a cancelled task fails
 * with a RequestCanceled. It may have ended before the request arrived.
 *
 * To give up a plain call release its listener, or use orvane_session_cancel_listener().
 *
 * Returns: %FALSE if there is no task, or none that can be cancelled; nothing is sent then
 */
ORVANE_EXPORT gboolean orvane_listener_cancel(OrvaneListener *listener);

/**
 * orvane_listener_get_fault:
 * @listener: a listener
 *
 * Returns: (transfer full) (nullable): why it failed; %NULL in any other state, or if the reason was not
 *     reported
 */
ORVANE_EXPORT SkemaQormMethodFault *orvane_listener_get_fault(OrvaneListener *listener);

/**
 * orvane_listener_get_result:
 * @listener: a listener
 * @value: (inout): zeroed, or holding a value, which is released; on success a copy of the result, to
 *     be released with g_value_unset(), or zeroed if the operation has none
 *
 * Returns: %TRUE in state %ORVANE_LISTENER_SUCCEEDED; otherwise %FALSE, with @value as it was
 */
ORVANE_EXPORT gboolean orvane_listener_get_result(OrvaneListener *listener, GValue *value);

G_DEFINE_AUTOPTR_CLEANUP_FUNC(OrvaneListener, g_object_unref)

G_END_DECLS
