// How much more than libcurl alone does a call cost, one at a time and sixteen in flight?
#include <memory>
#include <string>

#include <benchmark/benchmark.h>
#include <orvane/orvane.h>
#include <orvane/schema/ozy.h>

#include "apps/lib/basicHttp/basicHttp.h"
#include "bench/bareCurl.h"
#include "bench/bareServer.h"
#include "bench/epollLoop.h"
#include "bench/ratio.h"
#include "ozy/lib/orvane/session/orvaneSessionVerify.h"

namespace {

constexpr long kCallsARound = 64;

/* A plain call and its reply, as the service speaks them. */
constexpr char kRequest[] =
    R"(<?xml version="1.0" encoding="UTF-8"?>)"
    R"(<soapenv:Envelope xmlns:soapenc="http://schemas.xmlsoap.org/soap/encoding/")"
    R"( xmlns:soapenv="http://schemas.xmlsoap.org/soap/envelope/")"
    R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
    R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"><soapenv:Body>)"
    R"(<CurrentTime xmlns="urn:ozy25"><_this type="ServiceInstance">ServiceInstance</_this>)"
    R"(</CurrentTime></soapenv:Body></soapenv:Envelope>)";
constexpr char kReply[] =
    R"(<?xml version="1.0" encoding="UTF-8"?>)"
    R"(<soapenv:Envelope xmlns:soapenc="http://schemas.xmlsoap.org/soap/encoding/")"
    R"( xmlns:soapenv="http://schemas.xmlsoap.org/soap/envelope/")"
    R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
    R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"><soapenv:Body>)"
    R"(<CurrentTimeResponse xmlns="urn:ozy25"><returnval>2024-05-06T07:08:09.123456Z</returnval>)"
    R"(</CurrentTimeResponse></soapenv:Body></soapenv:Envelope>)";
constexpr const char *kHeaders[] = {"Expect: ", "Content-Type: text/xml; charset=utf-8",
                                    "SOAPAction: \"urn:ozy25/6.0\"", "User-Agent: Halden-client"};

using Wire = BareServer::Wire;

std::string UrlOf(Wire wire) {
    static BareServer plain(HttpOk(kReply));
    static BareServer tls(HttpOk(kReply), Wire::kTls);
    return (wire == Wire::kTls ? tls : plain).Url("/sdk");
}

void Peer(benchmark::State &state, int numInFlight, Wire wire) {
    BareCurl peer({.url = UrlOf(wire),
                   .body = kRequest,
                   .headers = {std::begin(kHeaders), std::end(kHeaders)},
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
        BasicHttp_CreateRequest(url.c_str(), BASICHTTP_METHOD_POST, jar, nullptr, kRequest);
    BasicHttp_SetProxy(request, "", BASICHTTP_PROXY_NONE);
    for (const char *header : kHeaders)
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

enum class Checks { kNone, kStrict };

gint Accept(GObject *context, gpointer, gpointer, gpointer, OrvaneVerifyCertificateDoneFunc done) {
    done(context, TRUE);
    return 0;
}

/* A session as a login leaves it, without an update stream beside the calls. */
struct ConnectedSession {
    OrvaneSession *session = orvane_session_new();
    GObject *instance;
    long numToStart = 0;
    long numRunning = 0;

    ConnectedSession(Wire wire, Checks checks) {
        OrvaneSessionPrivate *priv = session->priv;
        priv->url = g_strdup(UrlOf(wire).c_str());
        priv->version = g_strdup("ozy25/6.0");
        priv->nameSpace = g_strdup("ozy25");
        priv->cookieJar = BasicHttp_CreateCookieJar();
        priv->moMgr = orvane_momgr_new(session);
        if (checks == Checks::kStrict) {
            orvane_session_set_strict_tls(session, TRUE);
            orvane_session_set_verify_certificate_func(session, Accept, nullptr);
            OrvaneSessionVerify_Begin(session);
        }
        orvane_session_set_state(session, ORVANE_SESSION_CONNECTED);
        instance = G_OBJECT(g_object_ref_sink(orvane_session_get_object(
            session, "ServiceInstance", skema_ozy_service_instance_get_type())));
    }
    ~ConnectedSession() {
        g_object_unref(instance);
        g_object_unref(session);
    }
    void Start();
    void Run(long count, int numInFlight);
};

void OnAnswer(OrvaneListener *listener, ConnectedSession *calls) {
    if (orvane_listener_get_state(listener) != ORVANE_LISTENER_SUCCEEDED)
        g_error("call: failed");
    g_object_unref(listener);
    calls->numRunning--;
    calls->Start();
}

void ConnectedSession::Start() {
    if (numToStart == 0)
        return;
    numToStart--;
    numRunning++;
    OrvaneListener *listener = orvane_listener_new();
    g_signal_connect(listener, "success", G_CALLBACK(OnAnswer), this);
    g_signal_connect(listener, "failure", G_CALLBACK(OnAnswer), this);
    skema_ozy_service_instance_current_time(SKEMA_OZY_SERVICE_INSTANCE(instance), listener);
}

void ConnectedSession::Run(long count, int numInFlight) {
    numToStart = count;
    for (int i = 0; i < numInFlight; i++)
        Start();
    while (numRunning > 0)
        epollLoop::RunOnce();
}

void OursWhole(benchmark::State &state, int numInFlight, Wire wire, Checks checks) {
    orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
    {
        ConnectedSession calls(wire, checks);
        calls.Run(numInFlight, numInFlight);
        for (auto _ : state)
            calls.Run(kCallsARound, numInFlight);
    }
    orvane_shutdown();
}

constexpr RatioRow kRows[] = {
    {"call1", "64 calls of a stub, 1 in flight : bare libcurl", 1.5},
    {"call16", "64 calls of a stub, 16 in flight : bare libcurl", 1.8},
    {"https1", "64 calls of a stub over https, 1 in flight : bare libcurl", 1.5},
    {"https16", "64 calls of a stub over https, 16 in flight : bare libcurl", 1.8},
    {"strict1", "64 calls of a stub over checked https, 1 in flight : bare libcurl", 1.5},
    {"strict16", "64 calls of a stub over checked https, 16 in flight : bare libcurl", 1.8},
    {"transport1", "64 posts through the transport, 1 in flight : bare libcurl", 1.3},
    {"transport16", "64 posts through the transport, 16 in flight : bare libcurl", 1.4},
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
    return Ratio_Main(argc, argv, kRows);
}
