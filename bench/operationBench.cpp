// What do the ends of operations cost: a completion function, a GAsyncResult, a time limit?
#include <benchmark/benchmark.h>

#include <orvane/operation.h>
#include <orvane/orvaneGlib.h>

#include "bench/connectedSession.h"
#include "bench/ratio.h"

namespace {

enum class Way { kSignal, kFunction, kAsync, kLimit };

constexpr guint kHour = 3600000;

/* Calls of one session, each of which begins the next at its end. */
struct Calls {
    ConnectedSession of;
    Way way;
    void (*runLoop)();
    long numToStart = 0;
    long numRunning = 0;

    void Start();
    void OnEnd() {
        numRunning--;
        Start();
    }
    void Run(long count, int numInFlight);
};

void OnSuccess(OrvaneListener *listener, Calls *calls) {
    g_object_unref(listener);
    calls->OnEnd();
}

void OnCompleted(OrvaneListener *listener, OrvaneOutcome outcome, gpointer data) {
    if (outcome != ORVANE_OUTCOME_SUCCEEDED)
        g_error("call: outcome %d", outcome);
    g_object_unref(listener);
    static_cast<Calls *>(data)->OnEnd();
}

void OnReady(GObject *listener, GAsyncResult *result, gpointer data) {
    if (!orvane_listener_complete_finish(ORVANE_LISTENER(listener), result, nullptr, nullptr))
        g_error("call: failed");
    static_cast<Calls *>(data)->OnEnd();
}

void Calls::Start() {
    if (numToStart == 0)
        return;
    numToStart--;
    numRunning++;
    OrvaneListener *listener = orvane_listener_new();
    if (way == Way::kSignal || way == Way::kLimit)
        g_signal_connect(listener, "success", G_CALLBACK(OnSuccess), this);
    if (way == Way::kLimit)
        orvane_listener_set_time_limit(listener, kHour);
    if (way == Way::kFunction)
        orvane_listener_set_completed_func(listener, OnCompleted, this, nullptr);
    skema_ozy_service_instance_current_time(SKEMA_OZY_SERVICE_INSTANCE(of.instance), listener);
    if (way != Way::kAsync)
        return;
    orvane_listener_complete_async(listener, nullptr, OnReady, this);
    g_object_unref(listener);
}

void Calls::Run(long count, int numInFlight) {
    numToStart = count;
    for (int i = 0; i < numInFlight; i++)
        Start();
    while (numRunning > 0)
        runLoop();
}

std::string Url() {
    static BareServer server(HttpOk(kCallReply));
    return server.Url("/sdk");
}

void OnEpoll(benchmark::State &state, Way way, int count, int numInFlight) {
    orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
    {
        Calls calls{.of = ConnectedSession(Url()), .way = way, .runLoop = epollLoop::RunOnce};
        calls.Run(count, numInFlight);
        for (auto _ : state)
            calls.Run(count, numInFlight);
    }
    orvane_shutdown();
}

void OnGlib(benchmark::State &state, Way way) {
    orvane_glib_init(nullptr);
    {
        Calls calls{.of = ConnectedSession(Url()), .way = way, .runLoop = [] {
                        g_main_context_iteration(nullptr, TRUE);
                    }};
        calls.Run(16, 16);
        for (auto _ : state)
            calls.Run(64, 16);
    }
    orvane_glib_shutdown();
}

constexpr RatioRow kRows[] = {
    {"function", "64 calls with a completion function : with a \"success\" handler", 1.02},
    {"async", "64 calls through complete_async and _finish : with a \"success\" handler", 1.15},
    {"limit", "1,000 calls in flight, each with a time limit : without one", 1.05},
};

} // namespace

int main(int argc, char **argv) {
    benchmark::RegisterBenchmark("function/ours", OnEpoll, Way::kFunction, 64, 16);
    benchmark::RegisterBenchmark("function/peer", OnEpoll, Way::kSignal, 64, 16);
    benchmark::RegisterBenchmark("async/ours", OnGlib, Way::kAsync);
    benchmark::RegisterBenchmark("async/peer", OnGlib, Way::kSignal);
    benchmark::RegisterBenchmark("limit/ours", OnEpoll, Way::kLimit, 2000, 1000);
    benchmark::RegisterBenchmark("limit/peer", OnEpoll, Way::kSignal, 2000, 1000);
    return Ratio_Main(argc, argv, kRows);
}
