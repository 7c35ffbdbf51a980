// How operations begin and end.
#include "ozy/lib/orvane/listener/orvaneOperation.h"

#include <utility>

#include "apps/lib/basicHttp/basicHttp.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "ozy/lib/orvane/listener/orvaneCompletion.h"
#include "ozy/lib/orvane/listener/orvaneListenerInt.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/soap/orvaneFault.h"

namespace {

constexpr gint64 kMicrosecondsPerMillisecond = 1000;
/* The open operations that are in no session's list. */
constinit OrvaneOperations gDetached = {};

bool HasFunctions(const OrvaneOperation &operation) {
    return operation.function != nullptr || operation.once != nullptr;
}

/* Reports the end of the operation from the loop. */
void PushEnd(OrvaneListener *listener) {
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    operation.ownsReference = false;
    OrvaneCompletion_Push(listener, operation.outcome, true,
                          std::exchange(operation.once, nullptr));
}

/* How an open operation ends if another one is begun. */
OrvaneOutcome OutcomeIfReplaced(const OrvaneOperation &operation) {
    if (operation.isDecided)
        return operation.outcome;
    return operation.isMarked ? operation.mark : ORVANE_OUTCOME_CANCELLED;
}

void Enlist(OrvaneListener *listener, OrvaneOperations *list) {
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    operation.next = list->first;
    operation.link = &list->first;
    if (operation.next != nullptr)
        OrvaneOperation_Of(operation.next).link = &operation.next;
    list->first = listener;
}

void Unlist(OrvaneOperation &operation) {
    if (operation.link == nullptr)
        return;
    *operation.link = operation.next;
    if (operation.next != nullptr)
        OrvaneOperation_Of(operation.next).link = operation.link;
    operation.link = nullptr;
    operation.next = nullptr;
}

OrvaneOutcome OutcomeOfFault(const OrvaneOperation &operation, SkemaQormMethodFault *fault) {
    if (fault == nullptr || G_OBJECT_TYPE(fault) != ORVANE_TYPE_FAULT_INVALID_RESPONSE)
        return operation.hasReply ? ORVANE_OUTCOME_TRANSPORT : ORVANE_OUTCOME_FAULT;
    guint errorCode = 0;
    g_object_get(fault, "errorCode", &errorCode, nullptr);
    switch (errorCode) {
    case BASICHTTP_ERROR_OPERATION_TIMEDOUT:
    case BASICHTTP_ERROR_CONNECT_TIMEOUT:
    case BASICHTTP_ERROR_INACTIVITY_TIMEOUT:
        return ORVANE_OUTCOME_TIMED_OUT;
    default:
        return ORVANE_OUTCOME_TRANSPORT;
    }
}

/* The outcome of a final state. */
OrvaneOutcome OutcomeOf(const OrvaneListener *listener) {
    const OrvaneListenerPrivate *priv = listener->priv;
    if (priv->state == ORVANE_LISTENER_SUCCEEDED)
        return ORVANE_OUTCOME_SUCCEEDED;
    if (priv->operation.isMarked)
        return priv->operation.mark;
    return OutcomeOfFault(priv->operation, priv->fault);
}

void OnTimeLimit(gpointer data) {
    OrvaneListener_StopOperation(
        ORVANE_LISTENER(data), ORVANE_OUTCOME_TIMED_OUT,
        OrvaneFault_NewInvalidResponse(BASICHTTP_ERROR_OPERATION_TIMEDOUT, 0, nullptr), true);
}

void StartTimeLimit(OrvaneListener *listener, guint milliseconds) {
    BasicHttpDeadline_Set(&OrvaneOperation_Of(listener).deadline,
                          BasicHttpDeadline_Now() + milliseconds * kMicrosecondsPerMillisecond,
                          OnTimeLimit, listener);
}

/* Asks the service to stop a task. It refuses one that cannot be cancelled, so that nothing is asked only if it is known
 * to be one. */
void CancelTask(OrvaneListener *listener) {
    SkemaOzyTask *task = listener->priv->task;
    SkemaOzyTaskInfo *info = nullptr;
    g_object_get(task, "info", &info, nullptr);
    const ObjectPtr<SkemaOzyTaskInfo> owner(info);
    gboolean isCancelable = TRUE;
    if (info != nullptr)
        g_object_get(info, "cancelable", &isCancelable, nullptr);
    if (isCancelable && OrvaneSession_IsLive(SKEMA_QORM_MANAGED_OBJECT(task)->session))
        skema_ozy_task_cancel(task, nullptr);
}

/* Takes the reference that an operation with functions has. */
void Hold(OrvaneListener *listener) {
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    if (!operation.isOpen || operation.ownsReference || !HasFunctions(operation))
        return;
    g_object_ref(listener);
    operation.ownsReference = true;
}

} // namespace

/* -- begin and end -------------------------------------------------------------------------------- */

void OrvaneListenerOpenOperation(OrvaneListener *listener) {
    if (listener->priv->isInternal)
        return;
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    operation.isInPlace = false;
    if (std::exchange(operation.hasInPlaceEnd, false))
        PushEnd(listener);
    OrvaneListener_EndOperation(listener, OutcomeIfReplaced(operation));
    operation.serial++;
    operation.isOpen = true;
    Enlist(listener, &gDetached);
    operation.isDecided = operation.isMarked = operation.hasOutcome = false;
    operation.isFaultCurrent = operation.hasReply = operation.isInPlace = false;
    operation.isStopped = operation.isFailing = operation.isOfFormer = false;
    operation.stop = nullptr;
    g_clear_pointer(&operation.url, g_free);
    if (operation.timeLimit > 0)
        StartTimeLimit(listener, operation.timeLimit);
    Hold(listener);
}

void OrvaneListener_BeginOperation(OrvaneListener *listener, OrvaneOperations *list) {
    if (listener->priv->isInternal)
        return;
    OrvaneListenerOpenOperation(listener);
    OrvaneOperation_Of(listener).isFresh = true;
    if (list != nullptr) {
        Unlist(OrvaneOperation_Of(listener));
        Enlist(listener, list);
    }
    if (list != nullptr && list->timeLimit > 0 && OrvaneOperation_Of(listener).timeLimit == 0)
        StartTimeLimit(listener, list->timeLimit);
}

void OrvaneListener_EndOperation(OrvaneListener *listener, OrvaneOutcome outcome) {
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    if (!operation.isOpen)
        return;
    Unlist(operation);
    BasicHttpDeadline_Clear(&operation.deadline);
    operation.isOpen = operation.isFresh = operation.isDecided = false;
    operation.hasOutcome = true;
    operation.outcome = outcome;
    if (!operation.ownsReference)
        return;
    if (operation.isInPlace) {
        operation.hasInPlaceEnd = true;
        return;
    }
    PushEnd(listener);
}

void OrvaneListener_EndOperationOf(OrvaneListener *listener, guint serial, OrvaneOutcome outcome) {
    if (OrvaneOperation_Of(listener).serial == serial)
        OrvaneListener_EndOperation(listener, outcome);
}

void OrvaneListener_EndWithFault(OrvaneListener *listener, SkemaQormMethodFault *fault,
                                 OrvaneListener *source) {
    ObjectPtr<SkemaQormMethodFault> owner(fault);
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    if (!operation.isOpen)
        return;
    OrvaneListener_CopyReply(listener, source);
    const OrvaneOutcome outcome =
        operation.isMarked ? operation.mark : OutcomeOfFault(operation, fault);
    std::swap(operation.fault, fault);
    (void)owner.release();
    owner.reset(
        fault); /* of an earlier operation; released last, since that may run the application's code */
    operation.isFaultCurrent = true;
    OrvaneListener_EndOperation(listener, outcome);
}

void OrvaneListener_RefuseOperation(OrvaneListener *listener) {
    if (listener == nullptr || !ORVANE_IS_LISTENER(listener))
        return;
    OrvaneListener_BeginOperation(listener, nullptr);
    OrvaneListener_EndOperation(listener, ORVANE_OUTCOME_NOT_SENT);
}

void OrvaneListener_SetStop(OrvaneListener *listener, OrvaneOperationStop stop, gpointer data) {
    OrvaneOperation_Of(listener).stop = stop;
    OrvaneOperation_Of(listener).stopData = data;
}

guint OrvaneListener_TimeLimit(const OrvaneListener *listener, guint otherwise) {
    const guint own = listener != nullptr ? OrvaneOperation_Of(listener).timeLimit : 0;
    return own > 0 ? own : otherwise;
}

bool OrvaneListener_StopOperation(OrvaneListener *listener, OrvaneOutcome outcome,
                                  SkemaQormMethodFault *fault, bool isAtOnce) {
    ObjectPtr<SkemaQormMethodFault> owner(fault);
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    if (!operation.isOpen || operation.isDecided || operation.isMarked || operation.isStopped ||
        operation.stop == nullptr)
        return false;
    operation.isStopped = true;
    BasicHttpDeadline_Clear(&operation.deadline);
    OrvaneListener_MarkOperation(listener, outcome);
    OrvaneListener_LeaveOperations(listener); /* it fails also if the session is released first */
    auto *stopped = new OrvaneStopped{ObjectWatch<OrvaneListener>(listener), operation.serial,
                                      std::move(owner)};
    if (outcome == ORVANE_OUTCOME_CANCELLED && listener->priv->task != nullptr)
        CancelTask(listener);
    operation.stop(listener, operation.stopData);
    if (stopped->listener && operation.serial == stopped->serial)
        OrvaneListenerReleaseTask(listener);
    if (!isAtOnce) {
        OrvaneCompletion_PushEntry(
            new OrvaneEnded{nullptr, outcome, false, nullptr, stopped, nullptr});
        return true;
    }
    OrvaneCompletion_FinishStopped(*stopped);
    delete stopped;
    return true;
}

bool OrvaneListener_IsOperationOpen(const OrvaneListener *listener) {
    return OrvaneOperation_Of(listener).isOpen;
}

bool OrvaneListener_ServesAnother(const OrvaneListener *listener, guint serial) {
    return OrvaneOperation_Of(listener).isObserved && OrvaneOperation_Of(listener).serial != serial;
}

bool OrvaneListener_IsGivenUp(const OrvaneListener *listener, guint serial) {
    const OrvaneOperation &operation = OrvaneOperation_Of(listener);
    if (operation.serial != serial)
        return operation.isObserved;
    return operation.isStopped && !operation.isFailing;
}

guint OrvaneListener_GetOperationSerial(const OrvaneListener *listener) {
    return OrvaneOperation_Of(listener).serial;
}

bool OrvaneListener_HasCompleted(const OrvaneListener *listener) {
    return HasFunctions(OrvaneOperation_Of(listener));
}

bool OrvaneListener_IsObserved(const OrvaneListener *listener) {
    return OrvaneOperation_Of(listener).isObserved;
}

void OrvaneListener_MarkOperation(OrvaneListener *listener, OrvaneOutcome outcome) {
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    if (!operation.isOpen || operation.isDecided || operation.isMarked)
        return;
    operation.isMarked = true;
    operation.mark = outcome;
}

void OrvaneListener_LeaveOperations(OrvaneListener *listener) {
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    if (!operation.isOpen)
        return;
    Unlist(operation);
    Enlist(listener, &gDetached);
}

void OrvaneListener_JoinOperations(OrvaneListener *listener, OrvaneOperations *list) {
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    if (!operation.isOpen)
        return;
    Unlist(operation);
    Enlist(listener, list);
    if (list->timeLimit > 0 && operation.deadline.place == 0)
        StartTimeLimit(listener, list->timeLimit);
}

void OrvaneListener_NoteUrl(OrvaneListener *listener, const char *url) {
    if (listener == nullptr || url == nullptr)
        return;
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    g_free(operation.url);
    operation.url = BasicHttp_RedactUrl(url);
}

void OrvaneListener_NoteReply(OrvaneListener *listener, guint errorCode, glong responseCode) {
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    operation.hasReply = true;
    operation.errorCode = errorCode;
    operation.responseCode = responseCode;
}

void OrvaneListener_CopyReply(OrvaneListener *to, const OrvaneListener *from) {
    if (to == nullptr || from == nullptr)
        return;
    OrvaneListener_NoteUrl(to, OrvaneOperation_Of(from).url);
    if (OrvaneOperation_Of(from).hasReply)
        OrvaneListener_NoteReply(to, OrvaneOperation_Of(from).errorCode,
                                 OrvaneOperation_Of(from).responseCode);
}

void OrvaneListener_AcknowledgeReply(OrvaneListener *listener, guint serial, gboolean success,
                                     const GValue *value) {
    ObjectWatch<OrvaneListener> watch(listener);
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    const guint current = operation.serial;
    operation.isOfFormer = current != serial;
    operation.isInPlace = !operation.isOfFormer;
    orvane_listener_acknowledge(listener, success, value);
    if (!watch || operation.serial != current)
        return;
    operation.isOfFormer = operation.isInPlace = false;
    if (!std::exchange(operation.hasInPlaceEnd, false))
        return;
    operation.ownsReference = false;
    OrvaneEnded ended{ObjectPtr<OrvaneListener>(listener),    operation.outcome, true,
                      std::exchange(operation.once, nullptr), nullptr,           nullptr};
    OrvaneCompletion_Invoke(ended);
}

void OrvaneListenerDecideOutcome(OrvaneListener *listener) {
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    if (!operation.isOpen)
        return;
    operation.outcome = OutcomeOf(listener);
    operation.isDecided = true;
}

void OrvaneListenerFinalizeOperation(OrvaneListener *listener) {
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    Unlist(operation);
    BasicHttpDeadline_Clear(&operation.deadline);
    operation.isOpen = false;
    OrvaneCompletion_FreeAll(std::exchange(operation.once, nullptr));
    delete std::exchange(operation.function, nullptr);
    g_clear_object(&operation.fault);
    g_clear_pointer(&operation.url, g_free);
}

/* -- the operations of a session ------------------------------------------------------------------ */

void OrvaneOperations_Mark(OrvaneOperations *list, OrvaneOutcome outcome) {
    for (OrvaneListener *listener = list->first; listener != nullptr;
         listener = OrvaneOperation_Of(listener).next)
        OrvaneListener_MarkOperation(listener, outcome);
}

void OrvaneOperations_EndMarked(OrvaneOperations *list) {
    OrvaneListener *next = nullptr;
    for (OrvaneListener *listener = list->first; listener != nullptr; listener = next) {
        OrvaneOperation &operation = OrvaneOperation_Of(listener);
        next = operation.next;
        if (!operation.isMarked && !operation.isDecided)
            continue;
        operation.isInPlace = false; /* orvane_shutdown() does not wait for the reply's handler */
        OrvaneListener_EndOperation(listener,
                                    operation.isDecided ? operation.outcome : operation.mark);
    }
}

void OrvaneListener_StopReconnecting(OrvaneListener *listener) {
    const guint serial = OrvaneListener_GetOperationSerial(listener);
    const ObjectWatch<OrvaneListener> watch(listener);
    OrvaneListener_LeaveOperations(listener);
    SkemaQormMethodFault *fault = OrvaneListenerNewRequestCanceled();
    g_free(
        std::exchange(fault->fault_string, g_strdup("the session is connecting again by itself")));
    if (!OrvaneListener_StopOperation(listener, ORVANE_OUTCOME_DISCONNECTED, fault, false) &&
        watch && !OrvaneOperation_Of(listener).isDecided && !OrvaneOperation_Of(listener).isStopped)
        OrvaneListener_EndOperationOf(listener, serial, ORVANE_OUTCOME_DISCONNECTED);
}

void OrvaneOperations_StopAll(OrvaneOperations *list) {
    while (OrvaneListener *listener = list->first)
        OrvaneListener_StopReconnecting(listener);
}

void OrvaneOperations_EndAll(OrvaneOperations *list, OrvaneOutcome outcome) {
    OrvaneOperations_Mark(list, outcome);
    OrvaneOperations_EndMarked(list);
}

void OrvaneListener_CompleteForShutdown(void) {
    OrvaneOperations_EndAll(&gDetached, ORVANE_OUTCOME_SHUT_DOWN);
    OrvaneCompletion_InvokeAll();
}

/* -- for the application -------------------------------------------------------------------------- */

void orvane_listener_set_completed_func(OrvaneListener *listener, OrvaneCompletedFunc function,
                                        gpointer data, GDestroyNotify destroy) {
    g_return_if_fail(ORVANE_IS_LISTENER(listener));
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    const ObjectPtr<OrvaneListener> hold(ORVANE_LISTENER(g_object_ref(listener)));
    OrvaneCompletion *former = operation.function;
    operation.function =
        function != nullptr ? new OrvaneCompletion{function, data, destroy, nullptr} : nullptr;
    operation.isObserved = operation.isObserved || function != nullptr;
    if (HasFunctions(operation))
        Hold(listener);
    else if (operation.isOpen && std::exchange(operation.ownsReference, false))
        g_object_unref(listener);
    delete former;
}

void orvane_listener_call_when_completed(OrvaneListener *listener, OrvaneCompletedFunc function,
                                         gpointer data, GDestroyNotify destroy) {
    g_return_if_fail(ORVANE_IS_LISTENER(listener));
    g_return_if_fail(function != nullptr);
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    operation.isObserved = true;
    auto *once = new OrvaneCompletion{function, data, destroy, nullptr};
    if (operation.hasOutcome) {
        OrvaneCompletion_Push(static_cast<OrvaneListener *>(g_object_ref(listener)),
                              operation.outcome, false, once);
        return;
    }
    OrvaneCompletion **last = &operation.once;
    while (*last != nullptr)
        last = &(*last)->next;
    *last = once;
    Hold(listener);
}

void orvane_listener_set_time_limit(OrvaneListener *listener, guint milliseconds) {
    g_return_if_fail(ORVANE_IS_LISTENER(listener));
    OrvaneOperation_Of(listener).timeLimit = milliseconds;
}

gboolean orvane_listener_abort(OrvaneListener *listener) {
    g_return_val_if_fail(ORVANE_IS_LISTENER(listener), FALSE);
    if (OrvaneSessionWire_IsInFunction())
        return FALSE;
    return OrvaneListener_StopOperation(listener, ORVANE_OUTCOME_CANCELLED,
                                        OrvaneListenerNewRequestCanceled(), false);
}

gboolean orvane_listener_get_outcome(OrvaneListener *listener, OrvaneOutcome *outcome) {
    g_return_val_if_fail(ORVANE_IS_LISTENER(listener), FALSE);
    OrvaneOperation &operation = OrvaneOperation_Of(listener);
    operation.isObserved = true; /* the outcome must be that of the last operation */
    if (operation.hasOutcome && outcome != nullptr)
        *outcome = operation.outcome;
    return operation.hasOutcome;
}
