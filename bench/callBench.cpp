// How much more than libcurl alone does a call cost, one at a time and sixteen in flight?
#include <cstdio>
#include <memory>
#include <string>

#include <unistd.h>

#include <benchmark/benchmark.h>
#include <orvane/orvane.h>

#include "apps/lib/basicHttp/basicHttp.h"
#include "bench/bareCurl.h"
#include "bench/connectedSession.h"
#include "bench/epollLoop.h"
#include "bench/ratio.h"

namespace {

constexpr long kCallsARound = 64;

using Wire = BareServer::Wire;

std::string UrlOf(Wire wire) {
    static BareServer plain(HttpOk(kCallReply));
    static BareServer tls(HttpOk(kCallReply), Wire::kTls);
    return (wire == Wire::kTls ? tls : plain).Url("/sdk");
}

void Peer(benchmark::State &state, int numInFlight, Wire wire) {
    BareCurl peer({.url = UrlOf(wire),
                   .body = kCallRequest,
                   .headers = {std::begin(kCallHeaders), std::end(kCallHeaders)},
                   .numInFlight = numInFlight});
    peer.Post(numInFlight);
    for (auto _ : state)
        peer.Post(kCallsARound);
}

/* Calls as a session makes them, without what it does with the texts. */
struct Calls {
    std::string url = UrlOf(Wire::kPlain);
    BasicHttpCookieJar *jar = BasicHttp_CreateCookieJar();
    long numToStart = 0;
    long numRunning = 0;

    ~Calls() { BasicHttp_FreeCookieJar(jar); }
    void Start();
    void Run(long count, int numInFlight);
};

void OnSent(BasicHttpRequest *request, BasicHttpResponse *response, gpointer data) {
    auto *calls = static_cast<Calls *>(data);
    if (response->errorCode != BASICHTTP_ERROR_NONE || response->responseCode != 200)
        g_error("call: error %d, status %ld", response->errorCode, response->responseCode);
    BasicHttp_FreeResponse(response);
    BasicHttp_FreeRequest(request);
    calls->numRunning--;
    calls->Start();
}

void Calls::Start() {
    if (numToStart == 0)
        return;
    numToStart--;
    numRunning++;
    BasicHttpRequest *request =
        BasicHttp_CreateRequest(url.c_str(), BASICHTTP_METHOD_POST, jar, nullptr, kCallRequest);
    BasicHttp_SetProxy(request, "", BASICHTTP_PROXY_NONE);
    for (const char *header : kCallHeaders)
        BasicHttp_AppendRequestHeader(request, header);
    if (!BasicHttp_SendRequest(request, OnSent, this))
        g_error("call: not sent");
}

void Calls::Run(long count, int numInFlight) {
    numToStart = count;
    for (int i = 0; i < numInFlight; i++)
        Start();
    while (numRunning > 0)
        epollLoop::RunOnce();
}

void Ours(benchmark::State &state, int numInFlight) {
    BasicHttp_Init(epollLoop::Callback, epollLoop::CallbackRemove);
    {
        Calls calls;
        calls.Run(numInFlight, numInFlight);
        for (auto _ : state)
            calls.Run(kCallsARound, numInFlight);
    }
    BasicHttp_Shutdown();
}

/* ---- the whole way: stub, request text, transport, reply, listener ---- */

void OursWhole(benchmark::State &state, int numInFlight, Wire wire, Checks checks) {
    orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
    {
        ConnectedSession calls(UrlOf(wire), checks);
        calls.Run(numInFlight, numInFlight);
        for (auto _ : state)
            calls.Run(kCallsARound, numInFlight);
    }
    orvane_shutdown();
}

/* ---- the same calls with their records in a file ---- */

void Recorded(benchmark::State &state, bool isRecorded) {
    char path[] = "/dev/shm/wireXXXXXX";
    close(g_mkstemp(path));
    if (isRecorded)
        g_setenv("ORVANE_WIRE", path, TRUE);
    OursWhole(state, 16, Wire::kPlain, Checks::kNone);
    g_unsetenv("ORVANE_WIRE");
    remove(path);
}

constexpr RatioRow kRows[] = {
    {"call1", "64 calls of a stub, 1 in flight : bare libcurl", 1.3},
    {"call16", "64 calls of a stub, 16 in flight : bare libcurl", 1.8},
    {"https1", "64 calls of a stub over https, 1 in flight : bare libcurl", 1.5},
    {"https16", "64 calls of a stub over https, 16 in flight : bare libcurl", 1.8},
    {"strict1", "64 calls of a stub over checked https, 1 in flight : bare libcurl", 1.5},
    {"strict16", "64 calls of a stub over checked https, 16 in flight : bare libcurl", 1.8},
    {"transport1", "64 posts through the transport, 1 in flight : bare libcurl", 1.3},
    {"transport16", "64 posts through the transport, 16 in flight : bare libcurl", 1.4},
    {"wire", "64 calls of a stub, 16 in flight, with a wire record : without", 1.3},
};

} // namespace

int main(int argc, char **argv) {
    const struct {
        const char *name;
        Wire wire;
        Checks checks;
    } ways[] = {{"call", Wire::kPlain, Checks::kNone},
                {"https", Wire::kTls, Checks::kNone},
                {"strict", Wire::kTls, Checks::kStrict}};
    for (const auto &way : ways) {
        for (int numInFlight : {1, 16}) {
            const std::string name = way.name + std::to_string(numInFlight);
            benchmark::RegisterBenchmark((name + "/ours").c_str(), OursWhole, numInFlight, way.wire,
                                         way.checks);
            benchmark::RegisterBenchmark((name + "/peer").c_str(), Peer, numInFlight, way.wire);
        }
    }
    benchmark::RegisterBenchmark("transport1/ours", Ours, 1);
    benchmark::RegisterBenchmark("transport1/peer", Peer, 1, Wire::kPlain);
    benchmark::RegisterBenchmark("transport16/ours", Ours, 16);
    benchmark::RegisterBenchmark("transport16/peer", Peer, 16, Wire::kPlain);
    benchmark::RegisterBenchmark("wire/ours", Recorded, true);
    benchmark::RegisterBenchmark("wire/peer", Recorded, false);
    return Ratio_Main(argc, argv, kRows);
}
