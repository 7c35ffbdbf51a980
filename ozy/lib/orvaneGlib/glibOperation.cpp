// Operations in the form of GIO: a GTask for each, completed by the completion function of its listener.
#include <utility>

#include <orvane/operation.h>
#include <orvane/orvaneGlib.h>
#include <orvane/schema/qorm.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvaneGlib/glibLoop.h"

namespace {

/* The data of a GTask. */
struct Waiting {
    ObjectPtr<OrvaneListener> listener;
    GSource *cancelSource; /* in the context of the library; NULL without a cancellable */
};

void StopCancelSource(Waiting *waiting) {
    GSource *source = std::exchange(waiting->cancelSource, nullptr);
    if (source == nullptr)
        return;
    g_source_destroy(source);
    g_source_unref(source);
}

void FreeWaiting(gpointer data) {
    auto *waiting = static_cast<Waiting *>(data);
    StopCancelSource(waiting);
    delete waiting;
}

void FreeValue(gpointer data) {
    auto *value = static_cast<GValue *>(data);
    if (G_IS_VALUE(value))
        g_value_unset(value);
    g_free(value);
}

/* The task returns the listener's result, or its error. Where a handler has begun the next operation with it, these are
 * no longer those of the operation that ended. */
void Return(GTask *task, OrvaneListener *listener, OrvaneOutcome outcome) {
    OrvaneOutcome current;
    const bool isSame = orvane_listener_get_outcome(listener, &current) && current == outcome;
    if (!isSame && outcome != ORVANE_OUTCOME_SUCCEEDED) {
        g_task_return_new_error(task, ORVANE_ERROR, static_cast<gint>(outcome),
                                "The operation has ended; its listener serves another one.");
        return;
    }
    GError *error = nullptr;
    if (orvane_listener_get_error(listener, &error)) {
        g_task_return_error(task, error);
        return;
    }
    GValue *value = g_new0(GValue, 1);
    orvane_listener_get_result(listener, value);
    g_task_return_pointer(task, value, FreeValue);
}

void OnCompleted(OrvaneListener *listener, OrvaneOutcome outcome, gpointer data) {
    auto *task = static_cast<GTask *>(data);
    StopCancelSource(static_cast<Waiting *>(g_task_get_task_data(task)));
    if (!g_task_get_completed(task) && !g_task_had_error(task))
        Return(task, listener, outcome);
}

/* The operation is given up, and no longer waited for. */
gboolean OnCancelled(GCancellable *, gpointer data) {
    const ObjectPtr<GTask> task(G_TASK(g_object_ref(data)));
    auto *waiting = static_cast<Waiting *>(g_task_get_task_data(task.get()));
    StopCancelSource(waiting);
    orvane_listener_abort(waiting->listener.get());
    g_task_return_error_if_cancelled(task.get());
    return G_SOURCE_REMOVE;
}

/* A source in the context of the library, since g_cancellable_cancel() may run on any thread. */
GSource *WatchCancellable(GTask *task) {
    GCancellable *cancellable = g_task_get_cancellable(task);
    GMainContext *context = GlibLoop_Context();
    if (cancellable == nullptr || context == nullptr)
        return nullptr;
    GSource *source = g_cancellable_source_new(cancellable);
    g_source_set_callback(source, G_SOURCE_FUNC(OnCancelled), task, nullptr);
    g_source_attach(source, context);
    return source;
}

/* Completes the task with the operation of the listener. Takes over the task. */
void Follow(GTask *task, OrvaneListener *listener) {
    auto *waiting =
        new Waiting{ObjectPtr<OrvaneListener>(ORVANE_LISTENER(g_object_ref(listener))), nullptr};
    g_task_set_task_data(task, waiting, FreeWaiting);
    waiting->cancelSource = WatchCancellable(task);
    orvane_listener_call_when_completed(listener, OnCompleted, task, g_object_unref);
}

GTask *NewTask(gpointer source, gpointer tag, GCancellable *cancellable,
               GAsyncReadyCallback callback, gpointer data) {
    GTask *task = g_task_new(source, cancellable, callback, data);
    g_task_set_source_tag(task, tag);
    return task;
}

GValue *Finish(gpointer source, gpointer tag, GAsyncResult *result, GError **error) {
    g_return_val_if_fail(g_task_is_valid(result, source), nullptr);
    g_return_val_if_fail(g_async_result_is_tagged(result, tag), nullptr);
    return static_cast<GValue *>(g_task_propagate_pointer(G_TASK(result), error));
}

gboolean FinishWithoutValue(gpointer source, gpointer tag, GAsyncResult *result, GError **error) {
    GValue *value = Finish(source, tag, result, error);
    if (value == nullptr)
        return FALSE;
    FreeValue(value);
    return TRUE;
}

} // namespace

void orvane_listener_complete_async(OrvaneListener *listener, GCancellable *cancellable,
                                    GAsyncReadyCallback callback, gpointer data) {
    g_return_if_fail(ORVANE_IS_LISTENER(listener));
    GTask *task = NewTask(listener, reinterpret_cast<gpointer>(orvane_listener_complete_async),
                          cancellable, callback, data);
    const bool isBegun = orvane_listener_get_operation_count(listener) > 0 ||
                         orvane_listener_get_outcome(listener, nullptr);
    if (isBegun) {
        Follow(task, listener);
        return;
    }
    /* the task and the listener would keep each other without end */
    g_task_return_new_error(task, ORVANE_ERROR, ORVANE_OUTCOME_NOT_SENT,
                            "No operation was begun with the listener.");
    g_object_unref(task);
}

gboolean orvane_listener_complete_finish(OrvaneListener *listener, GAsyncResult *result,
                                         GValue *value, GError **error) {
    GValue *got =
        Finish(listener, reinterpret_cast<gpointer>(orvane_listener_complete_async), result, error);
    if (got == nullptr)
        return FALSE;
    if (value != nullptr)
        std::swap(*value, *got);
    FreeValue(got);
    return TRUE;
}

void orvane_session_connect_async(OrvaneSession *session, const char *url, const char *user,
                                  const char *password, GCancellable *cancellable,
                                  GAsyncReadyCallback callback, gpointer data) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    GTask *task = NewTask(session, reinterpret_cast<gpointer>(orvane_session_connect_async),
                          cancellable, callback, data);
    const ObjectPtr<OrvaneListener> listener(orvane_listener_new());
    orvane_session_connect(session, url, user, password, listener.get());
    Follow(task, listener.get());
}

gboolean orvane_session_connect_finish(OrvaneSession *session, GAsyncResult *result,
                                       GError **error) {
    return FinishWithoutValue(session, reinterpret_cast<gpointer>(orvane_session_connect_async),
                              result, error);
}

void orvane_session_disconnect_async(OrvaneSession *session, GCancellable *cancellable,
                                     GAsyncReadyCallback callback, gpointer data) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    GTask *task = NewTask(session, reinterpret_cast<gpointer>(orvane_session_disconnect_async),
                          cancellable, callback, data);
    const ObjectPtr<OrvaneListener> listener(orvane_listener_new());
    orvane_session_disconnect(session, listener.get());
    Follow(task, listener.get());
}

gboolean orvane_session_disconnect_finish(OrvaneSession *session, GAsyncResult *result,
                                          GError **error) {
    return FinishWithoutValue(session, reinterpret_cast<gpointer>(orvane_session_disconnect_async),
                              result, error);
}

void orvane_session_load_object_async(OrvaneSession *session, gboolean partialUpdates,
                                      SkemaQormManagedObject *object, GCancellable *cancellable,
                                      GAsyncReadyCallback callback, gpointer data) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    g_return_if_fail(object != nullptr && SKEMA_IS_QORM_MANAGED_OBJECT(object));
    GTask *task = NewTask(session, reinterpret_cast<gpointer>(orvane_session_load_object_async),
                          cancellable, callback, data);
    const ObjectPtr<OrvaneListener> listener(orvane_listener_new());
    orvane_session_load_object(session, partialUpdates, object, listener.get());
    Follow(task, listener.get());
}

gboolean orvane_session_load_object_finish(OrvaneSession *session, GAsyncResult *result,
                                           GError **error) {
    return FinishWithoutValue(session, reinterpret_cast<gpointer>(orvane_session_load_object_async),
                              result, error);
}

void orvane_session_retrieve_contents_async(OrvaneSession *session, GValueArray *filterSpecSet,
                                            GCancellable *cancellable, GAsyncReadyCallback callback,
                                            gpointer data) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    g_return_if_fail(filterSpecSet != nullptr);
    GTask *task =
        NewTask(session, reinterpret_cast<gpointer>(orvane_session_retrieve_contents_async),
                cancellable, callback, data);
    const ObjectPtr<OrvaneListener> listener(orvane_listener_new());
    orvane_session_retrieve_contents(session, filterSpecSet, listener.get());
    Follow(task, listener.get());
}

GValueArray *orvane_session_retrieve_contents_finish(OrvaneSession *session, GAsyncResult *result,
                                                     GError **error) {
    GValue *value = Finish(
        session, reinterpret_cast<gpointer>(orvane_session_retrieve_contents_async), result, error);
    if (value == nullptr)
        return nullptr;
    GValueArray *proxies = nullptr;
    if (G_VALUE_HOLDS(value, G_TYPE_VALUE_ARRAY))
        proxies = static_cast<GValueArray *>(g_value_dup_boxed(value));
    FreeValue(value);
    return proxies != nullptr ? proxies : g_value_array_new(0);
}
