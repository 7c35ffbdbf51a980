#include "ozy/lib/orvane/listener/orvaneCompletion.h"

#include <utility>

#include "apps/lib/basicHttp/basicHttp.h"
#include "lib/misc/log.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"

namespace {

constexpr PollClassSet kPollClassMain = {{1}};
/* Completion functions may begin operations, which end at once while the library shuts down. */
constexpr int kMaxShutdownRounds = 16;

struct EndedQueue {
    OrvaneEnded *first;
    OrvaneEnded *last;
    guint length;
    bool isRegistered; /* with the loop */
};

constinit EndedQueue gEnded = {};

/* Fails the listener of a stopped operation. Runs the application's code. */
void FailStopped(OrvaneListener *listener, SkemaQormMethodFault *fault) {
    ScopedValue value(SKEMA_TYPE_QORM_METHOD_FAULT);
    g_value_set_object(&value.value, fault);
    if (listener->priv->state == ORVANE_LISTENER_PENDING) {
        orvane_listener_acknowledge(listener, FALSE, &value.value);
        return;
    }
    OrvaneListenerTakeFault(listener, static_cast<SkemaQormMethodFault *>(g_object_ref(fault)));
    orvane_listener_set_state(listener, ORVANE_LISTENER_FAILED);
}

void InvokeFirst() {
    OrvaneEnded *ended = gEnded.first;
    gEnded.first = ended->next;
    if (gEnded.first == nullptr)
        gEnded.last = nullptr;
    gEnded.length--;
    if (ended->stopped != nullptr)
        OrvaneCompletion_FinishStopped(*ended->stopped);
    else
        OrvaneCompletion_Invoke(*ended);
    delete ended->stopped;
    delete ended;
}

void RegisterWithLoop();

/* Those that end meanwhile wait for the next turn of the loop. A function may run a loop of its own, so the rest of
 * the queue is registered before the first function is invoked. */
void CompleteCallback(gpointer) {
    gEnded.isRegistered = false;
    guint left = gEnded.length;
    if (left > 1)
        RegisterWithLoop();
    for (; left > 0 && gEnded.first != nullptr; left--)
        InvokeFirst();
    if (gEnded.first != nullptr || !gEnded.isRegistered)
        return;
    gEnded.isRegistered = false;
    orvane_poll_callback_remove(0, CompleteCallback, &gEnded, POLL_REALTIME, kPollClassMain);
}

void RegisterWithLoop() {
    if (gEnded.isRegistered || !BasicHttp_IsInited())
        return; /* orvane_shutdown() invokes the functions */
    gEnded.isRegistered = orvane_poll_callback(0, CompleteCallback, &gEnded, POLL_REALTIME, 0,
                                               nullptr, kPollClassMain) == 0;
    if (!gEnded.isRegistered)
        Warning("Orvane: The loop took no callback: the end of an operation is reported later.\n");
}

} // namespace

void OrvaneCompletion_FreeAll(OrvaneCompletion *list) {
    while (list != nullptr)
        delete std::exchange(list, list->next);
}

void OrvaneCompletion_FinishStopped(const OrvaneStopped &stopped) {
    OrvaneListener *listener = stopped.listener.Get();
    if (listener == nullptr || OrvaneOperation_Of(listener).serial != stopped.serial ||
        !OrvaneOperation_Of(listener).isOpen)
        return;
    if (!BasicHttp_IsInited()) {
        OrvaneListener_EndOperation(listener, OrvaneOperation_Of(listener).mark);
        return;
    }
    OrvaneOperation_Of(listener).isFailing = true;
    FailStopped(listener, stopped.fault.get());
    if (!stopped.listener || OrvaneOperation_Of(listener).serial != stopped.serial)
        return;
    OrvaneOperation_Of(listener).isFailing = false;
    if (OrvaneOperation_Of(listener).isOpen) /* it was FAILED already, by another operation */
        OrvaneListener_EndOperation(listener, OrvaneOperation_Of(listener).mark);
}

void OrvaneCompletion_Invoke(OrvaneEnded &ended) {
    OrvaneListener *listener = ended.listener.get();
    const OrvaneCompletion *function = OrvaneOperation_Of(listener).function;
    if (ended.callsFunction && function != nullptr)
        function->function(listener, ended.outcome, function->data);
    while (OrvaneCompletion *once = ended.once) {
        ended.once = once->next;
        once->function(listener, ended.outcome, once->data);
        delete once;
    }
}

void OrvaneCompletion_PushEntry(OrvaneEnded *ended) {
    (gEnded.last != nullptr ? gEnded.last->next : gEnded.first) = ended;
    gEnded.last = ended;
    gEnded.length++;
    RegisterWithLoop();
}

void OrvaneCompletion_Push(OrvaneListener *listener, OrvaneOutcome outcome, bool callsFunction,
                           OrvaneCompletion *once) {
    OrvaneCompletion_PushEntry(new OrvaneEnded{ObjectPtr<OrvaneListener>(listener), outcome,
                                               callsFunction, once, nullptr, nullptr});
}

void OrvaneCompletion_InvokeAll() {
    if (std::exchange(gEnded.isRegistered, false))
        orvane_poll_callback_remove(0, CompleteCallback, &gEnded, POLL_REALTIME, kPollClassMain);
    for (int round = 0; round < kMaxShutdownRounds && gEnded.first != nullptr; round++) {
        for (guint left = gEnded.length; left > 0 && gEnded.first != nullptr; left--)
            InvokeFirst();
    }
    if (gEnded.first != nullptr)
        Warning("Orvane: Operations that were begun during the shutdown are reported after the "
                "next start.\n");
}

void OrvaneListener_CompleteAfterInit(void) {
    if (gEnded.first != nullptr)
        RegisterWithLoop();
}
