// What do many sessions, many connections and many calls in flight cost, compared with few?
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <orvane/filter.h>
#include <sys/resource.h>

#include "bench/bareCurl.h"
#include "bench/connectedSession.h"
#include "bench/freshProcess.h"
#include "bench/ratio.h"
#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "tools/simulator/simulator.h"

namespace {

using Wire = BareServer::Wire;

constexpr int kNumConnects = 1000;
constexpr int kConnectRounds = 3;
constexpr double kWantedConnects = 1.1;

/* The services of the rows, of which each round uses some. */
std::string UrlOf(Wire wire, size_t number = 0) {
    static std::deque<BareServer> plain;
    static std::deque<BareServer> tls;
    std::deque<BareServer> &servers = wire == Wire::kTls ? tls : plain;
    while (servers.size() <= number)
        servers.emplace_back(HttpOk(kCallReply), wire);
    return servers[number].Url("/sdk");
}

/* Calls in flight at one service, against the bare loop. */
void InFlight(benchmark::State &state, int numInFlight, Wire wire) {
    orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
    {
        ConnectedSession calls(UrlOf(wire));
        calls.Run(2 * numInFlight, numInFlight);
        for (auto _ : state)
            calls.Run(2 * numInFlight, numInFlight);
    }
    orvane_shutdown();
}

void BareInFlight(benchmark::State &state, int numInFlight, Wire wire) {
    BareCurl peer({.url = UrlOf(wire),
                   .body = kCallRequest,
                   .headers = {std::begin(kCallHeaders), std::end(kCallHeaders)},
                   .numInFlight = numInFlight});
    peer.Post(2 * numInFlight);
    for (auto _ : state)
        peer.Post(2 * numInFlight);
}

/* 64 calls one after the other, by turns to services that have one session each. */
void ByTurns(benchmark::State &state, size_t numServices) {
    orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
    {
        std::deque<ConnectedSession> sessions;
        for (size_t i = 0; i < numServices; i++)
            sessions.emplace_back(UrlOf(Wire::kTls, i)).Run(1, 1);
        for (auto _ : state) {
            for (size_t i = 0; i < 64; i++)
                sessions[i % numServices].Run(1, 1);
        }
    }
    orvane_shutdown();
}

using Sessions = std::vector<std::unique_ptr<OrvaneSession, void (*)(gpointer)>>;

Sessions LiveSessions(int count) {
    Sessions sessions;
    for (int i = 0; i < count; i++)
        sessions.emplace_back(orvane_session_new(), g_object_unref);
    return sessions;
}

/* Calls of one session while others exist. */
void AmongSessions(benchmark::State &state, int numOthers) {
    orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
    {
        const Sessions others = LiveSessions(numOthers);
        ConnectedSession calls(UrlOf(Wire::kPlain));
        calls.Run(16, 16);
        for (auto _ : state)
            calls.Run(64, 16);
    }
    orvane_shutdown();
}

/* Reads of a reference while other sessions exist. */
void ReadReference(benchmark::State &state, int numOthers) {
    orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
    {
        const Sessions others = LiveSessions(numOthers);
        ConnectedSession session("http://127.0.0.1");
        auto *spec = static_cast<GObject *>(
            g_object_new(orvane_lookup_type("ObjectSpec"), "obj", session.instance, nullptr));
        GValue value = G_VALUE_INIT;
        g_value_init(&value, skema_qorm_managed_object_get_type());
        for (auto _ : state)
            g_object_get_property(spec, "obj", &value);
        g_value_unset(&value);
        g_object_unref(spec);
    }
    orvane_shutdown();
}

/* Replies without an update, while filters of the application exist. */
void AmongFilters(benchmark::State &state, int numFilters) {
    orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
    {
        ConnectedSession session("http://127.0.0.1");
        OrvaneMOMgr *momgr = orvane_session_get_momgr(session.session);
        const ObjectPtr<GObject> spec(static_cast<GObject *>(
            g_object_new(orvane_lookup_type("PropertyFilterSpec"), nullptr)));
        const OrvaneFilterFuncs functions{};
        for (int i = 0; i < numFilters; i++)
            orvane_session_add_filter(session.session, spec.get(), TRUE, &functions, nullptr,
                                      nullptr);
        for (auto _ : state)
            orvane_listener_acknowledge(MOMgrNewListener(momgr, orvane_momgr_updates_cb), TRUE,
                                        nullptr);
    }
    orvane_shutdown();
}

/* A listener begins and ends to wait for a load for which others wait. */
void AmongListeners(benchmark::State &state, int numOthers) {
    orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
    {
        ConnectedSession session("http://127.0.0.1");
        const ObjectPtr<SkemaQormManagedObject> proxy(
            static_cast<SkemaQormManagedObject *>(g_object_ref_sink(orvane_session_get_object(
                session.session, "vm-1", skema_ozy_virtual_machine_get_type()))));
        std::vector<ObjectPtr<OrvaneListener>> others;
        const auto load = [&] {
            ObjectPtr<OrvaneListener> listener(orvane_listener_new());
            orvane_session_load_object(session.session, FALSE, proxy.get(), listener.get());
            return listener;
        };
        for (int i = 0; i < numOthers; i++)
            others.push_back(load());
        for (auto _ : state)
            load();
    }
    orvane_shutdown();
}

/* ---- connects ---- */

struct Connects {
    std::vector<OrvaneSession *> sessions;
    bool isWaiting = false;

    void Connect(const std::string &url, int count);
};

[[noreturn]] void FailConnect(OrvaneListener *listener, size_t number) {
    gint code = 0;
    SkemaQormMethodFault *fault = orvane_listener_get_fault(listener);
    if (g_object_class_find_property(G_OBJECT_GET_CLASS(fault), "errorCode"))
        g_object_get(fault, "errorCode", &code, nullptr);
    g_error("connect: number %zu failed with %s, error %d", number, G_OBJECT_TYPE_NAME(fault),
            code);
}

void OnConnected(OrvaneListener *listener, Connects *connects) {
    if (orvane_listener_get_state(listener) != ORVANE_LISTENER_SUCCEEDED)
        FailConnect(listener, connects->sessions.size());
    g_object_unref(listener);
    connects->isWaiting = false;
}

void Connects::Connect(const std::string &url, int count) {
    for (int i = 0; i < count; i++) {
        OrvaneListener *listener = orvane_listener_new();
        g_signal_connect(listener, "success", G_CALLBACK(OnConnected), this);
        g_signal_connect(listener, "failure", G_CALLBACK(OnConnected), this);
        sessions.push_back(orvane_session_new());
        isWaiting = true;
        orvane_session_connect(sessions.back(), url.c_str(), "administrator", "secret", listener);
        while (isWaiting)
            epollLoop::RunOnce();
    }
}

/* Runs in a process of its own, and prints the row there. */
void MeasureConnects() {
    simulator::Simulator server({.machines = 1});
    server.RunInThread();
    orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
    Connects connects;
    connects.Connect(server.Url(), 10);
    const double start = ThreadSeconds();
    connects.Connect(server.Url(), kNumConnects / 2);
    const double middle = ThreadSeconds();
    connects.Connect(server.Url(), kNumConnects / 2);
    const double first = middle - start;
    const double second = ThreadSeconds() - middle;
    fmt::print(
        "{:<14} {:<58} first {:>6.1f} ms   second {:>6.1f} ms   {:.2f}   wanted {:.2f}   {}\n",
        "connects", "1,000 sessions connected: the second 500, against the first", first * 1e3,
        second * 1e3, second / first, kWantedConnects, Verdict(second / first, kWantedConnects));
    fflush(stdout);
}

constexpr RatioRow kRows[] = {
    {"services64", "64 calls by turns to 64 services over https : to 16", 1.1},
    {"https40", "80 calls over https, 40 in flight : bare libcurl", 1.6},
    {"https64", "128 calls over https, 64 in flight : bare libcurl", 1.6},
    {"call64", "128 calls, 64 in flight : bare libcurl", 1.5},
    {"call256", "512 calls, 256 in flight : bare libcurl", 1.6},
    {"call1000", "2,000 calls, 1,000 in flight : bare libcurl", 1.8},
    {"sessions1000", "64 calls with 1,000 other sessions : with none", 1.05},
    {"sessions4000", "64 calls with 4,000 other sessions : with none", 1.05},
    {"reference4000", "a reference read with 4,000 other sessions : with none", 1.1},
    {"filters4000", "a reply without an update, with 4,000 filters : with one", 1.1},
    {"listeners4000", "a listener of a load that 4,000 wait for : that one waits for", 1.1},
};

void Register(const std::string &row, const auto &ours, const auto &peer, int rounds) {
    benchmark::RegisterBenchmark((row + "/ours").c_str(), ours)->Iterations(rounds);
    benchmark::RegisterBenchmark((row + "/peer").c_str(), peer)->Iterations(rounds);
}

} // namespace

int main(int argc, char **argv) {
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);

    for (int i = 0; i < kConnectRounds && argc == 1; i++)
        InFreshProcess(MeasureConnects);

    const auto by = [](auto function, auto... arguments) {
        return [=](benchmark::State &state) { function(state, arguments...); };
    };
    Register("services64", by(ByTurns, size_t(64)), by(ByTurns, size_t(16)), 4);
    const struct {
        const char *row;
        int numInFlight;
        Wire wire;
    } ways[] = {{"https40", 40, Wire::kTls},
                {"https64", 64, Wire::kTls},
                {"call64", 64, Wire::kPlain},
                {"call256", 256, Wire::kPlain},
                {"call1000", 1000, Wire::kPlain}};
    for (const auto &way : ways)
        Register(way.row, by(InFlight, way.numInFlight, way.wire),
                 by(BareInFlight, way.numInFlight, way.wire), way.numInFlight > 256 ? 2 : 8);
    Register("sessions1000", by(AmongSessions, 1000), by(AmongSessions, 0), 16);
    Register("sessions4000", by(AmongSessions, 4000), by(AmongSessions, 0), 16);
    Register("reference4000", by(ReadReference, 4000), by(ReadReference, 0), 100000);
    Register("filters4000", by(AmongFilters, 4000), by(AmongFilters, 1), 20000);
    Register("listeners4000", by(AmongListeners, 4000), by(AmongListeners, 1), 20000);
    return Ratio_Main(argc, argv, kRows);
}
