/*
 * After a reply that names a task, the listener loads the task's proxy, so that the service keeps its
 * "info" up to date, and takes its state from there.
 *
 *   queued -> ACKNOWLEDGED    running -> RUNNING    success -> SUCCEEDED    error, cancelled -> FAILED
 *
 * The task may outlive its session; SchemaSession_GetManager() then returns NULL.
 */
#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/listener/orvaneListenerInt.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/schema/schemaSession.h"
#include "ozy/lib/orvane/soap/orvaneFault.h"

#include <orvane/schema/qorm.h>

namespace {

SkemaQormManagedObject *TaskProxy(const OrvaneListenerPrivate *priv) {
    return SKEMA_QORM_MANAGED_OBJECT(priv->task);
}

ObjectPtr<GObject> TaskInfo(SkemaOzyTask *task) {
    GObject *info = nullptr;
    g_object_get(task, "info", &info, nullptr);
    return ObjectPtr<GObject>(info);
}

/* Stores the result or the fault of a task that ended. Returns the listener's state for the task's state. */
OrvaneListenerState ReadTaskState(OrvaneListener *listener, GObject *info, gint state) {
    OrvaneListenerPrivate *priv = listener->priv;
    switch (state) {
    case SKEMA_OZY_TASK_INFO_QUEUED:
        return ORVANE_LISTENER_ACKNOWLEDGED;
    case SKEMA_OZY_TASK_INFO_RUNNING:
        return ORVANE_LISTENER_RUNNING;
    case SKEMA_OZY_TASK_INFO_SUCCESS:
        orvane_object_get_any(info, "result", &priv->result);
        return ORVANE_LISTENER_SUCCEEDED;
    case SKEMA_OZY_TASK_INFO_ERROR: {
        SkemaQormMethodFault *fault = nullptr;
        g_object_get(info, "error", &fault, nullptr);
        OrvaneListenerTakeFault(listener, fault);
        return ORVANE_LISTENER_FAILED;
    }
    default:
        return priv->state;
    }
}

/* Runs at once, and after each change of the task's info. */
void orvane_listener_task_info_cb(OrvaneListener *listener) {
    OrvaneListenerPrivate *priv = listener->priv;
    SkemaOzyTask *task = priv->task;
    g_return_if_fail(task);
    ObjectPtr<GObject> info = TaskInfo(task);
    if (!info)
        return; /* not loaded yet */

    gint state = 0;
    gint progress = 0;
    gboolean cancelled = FALSE;
    g_object_get(info.get(), "state", &state, "cancelled", &cancelled, "progress", &progress,
                 nullptr);

    if (priv->progress != progress) {
        ObjectWatch<OrvaneListener> watch(listener);
        priv->progress = progress;
        OrvaneListenerEmitProgress(listener);
        if (!watch || priv->task != task)
            return;
    }
    if (cancelled) {
        OrvaneListenerTakeFault(listener, OrvaneListenerNewRequestCanceled());
        OrvaneListener_MarkOperation(listener, ORVANE_OUTCOME_CANCELLED);
        orvane_listener_set_state(listener, ORVANE_LISTENER_FAILED);
        return;
    }
    orvane_listener_set_state(listener, ReadTaskState(listener, info.get(), state));
}

/* The service has forgotten the task, together with the login: nothing more will come of it. */
void OnTaskLeft(OrvaneListener *listener) {
    OrvaneListenerPrivate *priv = listener->priv;
    const OrvaneMOMgr *momgr = SchemaSession_GetManager(SchemaSession_Of(TaskProxy(priv)));
    if (momgr == nullptr || !OrvaneMOMgr_WasRenewed(momgr) ||
        priv->state == ORVANE_LISTENER_SUCCEEDED || priv->state == ORVANE_LISTENER_FAILED)
        return;
    OrvaneListenerTakeFault(
        listener, SKEMA_QORM_METHOD_FAULT(g_object_new(
                      SKEMA_TYPE_QORM_FAULT_MANAGED_OBJECT_NOT_FOUND, "obj", priv->task, nullptr)));
    orvane_listener_set_state(listener, ORVANE_LISTENER_FAILED);
}

/* Releases the load's listener when the load is over. */
void ReleaseLoadListener(OrvaneListenerPrivate *priv) {
    OrvaneListener *load = priv->taskLoadListener;
    priv->taskLoadListener = nullptr;
    priv->taskLoadHandler = 0;
    if (load != nullptr)
        g_object_unref(load);
}

void orvane_listener_on_task_loaded(OrvaneListener *, OrvaneListener *listener) {
    listener->priv->taskLoaded = TRUE;
    ReleaseLoadListener(listener->priv);
}

/* The service will report no more of the task, so the listener fails. If the connection ended, nothing is
 * emitted: the session's state tells. */
void OnTaskLoadFailed(OrvaneListener *load, OrvaneListener *listener) {
    OrvaneListenerPrivate *priv = listener->priv;
    const SchemaSession of = SchemaSession_Of(TaskProxy(priv));
    SkemaQormMethodFault *fault = orvane_listener_get_fault(load);
    OrvaneListener_CopyReply(listener, load);
    ReleaseLoadListener(priv);
    if (SchemaSession_GetManager(of) == nullptr ||
        orvane_session_get_state(of.session) == ORVANE_SESSION_DISCONNECTED) {
        g_clear_object(&fault);
        return;
    }
    OrvaneListenerTakeFault(listener, fault != nullptr ? fault : OrvaneFault_NewUnexpected());
    orvane_listener_set_state(listener, ORVANE_LISTENER_FAILED);
}

void LoadTask(OrvaneListener *listener) {
    OrvaneListenerPrivate *priv = listener->priv;
    OrvaneMOMgr *momgr = SchemaSession_GetManager(SchemaSession_Of(TaskProxy(priv)));
    if (momgr == nullptr)
        return;
    ObjectPtr<OrvaneListener> load(ORVANE_LISTENER(g_object_ref(orvane_listener_new())));
    orvane_listener_set_time_limit(load.get(), OrvaneListener_TimeLimit(listener, 0));
    priv->taskLoadListener = load.get();
    priv->taskLoadHandler = g_signal_connect(load.get(), "success",
                                             G_CALLBACK(orvane_listener_on_task_loaded), listener);
    g_signal_connect(load.get(), "failure", G_CALLBACK(OnTaskLoadFailed), listener);
    orvane_momgr_load_object(momgr, FALSE, TaskProxy(priv), load.get());
}

} // namespace

void OrvaneListenerFollowTask(OrvaneListener *listener, SkemaOzyTask *task) {
    ObjectWatch<OrvaneListener> watch(listener);
    ObjectPtr<SkemaOzyTask> followed(SKEMA_OZY_TASK(g_object_ref(task)));
    OrvaneListenerReleaseTask(listener);
    if (!watch)
        return;

    OrvaneListenerPrivate *priv = listener->priv;
    priv->task = followed.release();
    priv->taskInfoHandler = g_signal_connect_swapped(
        priv->task, "notify::info", G_CALLBACK(orvane_listener_task_info_cb), listener);
    priv->taskLeaveHandler =
        g_signal_connect_swapped(priv->task, "leave", G_CALLBACK(OnTaskLeft), listener);
    orvane_listener_task_info_cb(listener);
    if (watch && priv->task == task)
        LoadTask(listener);
}

void OrvaneListenerReleaseTask(OrvaneListener *listener) {
    OrvaneListenerPrivate *priv = listener->priv;
    if (priv->task == nullptr)
        return;

    ObjectPtr<SkemaOzyTask> task(priv->task);
    SkemaQormManagedObject *proxy = TaskProxy(priv);
    OrvaneMOMgr *momgr = SchemaSession_GetManager(SchemaSession_Of(proxy));
    g_signal_handler_disconnect(priv->task, priv->taskInfoHandler);
    g_signal_handler_disconnect(priv->task, priv->taskLeaveHandler);
    priv->task = nullptr;
    priv->taskInfoHandler = priv->taskLeaveHandler = 0;
    if (priv->taskLoadListener != nullptr) {
        g_signal_handlers_disconnect_by_data(priv->taskLoadListener, listener);
        ReleaseLoadListener(priv);
    }
    if (priv->taskLoaded && momgr != nullptr)
        orvane_momgr_unload_object(momgr, proxy, TRUE);
    priv->taskLoaded = FALSE;
}

SkemaQormManagedObject *orvane_listener_get_task(OrvaneListener *listener) {
    g_return_val_if_fail(ORVANE_IS_LISTENER(listener), nullptr);
    return listener->priv->task != nullptr ? TaskProxy(listener->priv) : nullptr;
}

gint orvane_listener_get_progress(OrvaneListener *listener) {
    g_return_val_if_fail(ORVANE_IS_LISTENER(listener), kListenerNoProgress);
    const OrvaneListenerPrivate *priv = listener->priv;
    if (priv->task == nullptr)
        return priv->progress;
    ObjectPtr<GObject> taskInfo = TaskInfo(priv->task);
    g_return_val_if_fail(taskInfo, priv->progress);
    gint progress = 0;
    g_object_get(taskInfo.get(), "progress", &progress, nullptr);
    return progress;
}

gboolean orvane_listener_is_cancellable(OrvaneListener *listener) {
    g_return_val_if_fail(ORVANE_IS_LISTENER(listener), FALSE);
    const OrvaneListenerPrivate *priv = listener->priv;
    if (priv->task == nullptr)
        return FALSE;
    ObjectPtr<GObject> taskInfo = TaskInfo(priv->task);
    g_return_val_if_fail(taskInfo, FALSE);
    gboolean cancelable = FALSE;
    g_object_get(taskInfo.get(), "cancelable", &cancelable, nullptr);
    return cancelable;
}

gboolean orvane_listener_cancel(OrvaneListener *listener) {
    if (!orvane_listener_is_cancellable(listener))
        return FALSE;
    skema_ozy_task_cancel(listener->priv->task, nullptr);
    return TRUE;
}
