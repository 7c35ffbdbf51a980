/*
 * connectedSession.h -- a session as a login leaves it, without an update stream, and the plain call that benches make
 *
 *   ConnectedSession calls(server.Url("/sdk"));
 *   calls.Run(64, 16);      // 64 calls, 16 in flight, on the loop of epollLoop.h
 *
 * Errors:  a call that fails ends the program.
 * Threads: the loop's.
 */
#pragma once

#include <string>

#include <orvane/orvane.h>
#include <orvane/schema/ozy.h>

#include "apps/lib/basicHttp/basicHttp.h"
#include "bench/bareServer.h"
#include "bench/epollLoop.h"
#include "ozy/lib/orvane/session/orvaneSessionVerify.h"

/* A plain call and its reply, as the service speaks them. */
inline constexpr char kCallRequest[] =
    R"(<?xml version="1.0" encoding="UTF-8"?>)"
    R"(<soapenv:Envelope xmlns:soapenc="http://schemas.xmlsoap.org/soap/encoding/")"
    R"( xmlns:soapenv="http://schemas.xmlsoap.org/soap/envelope/")"
    R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
    R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"><soapenv:Body>)"
    R"(<CurrentTime xmlns="urn:ozy25"><_this type="ServiceInstance">ServiceInstance</_this>)"
    R"(</CurrentTime></soapenv:Body></soapenv:Envelope>)";
inline constexpr char kCallReply[] =
    R"(<?xml version="1.0" encoding="UTF-8"?>)"
    R"(<soapenv:Envelope xmlns:soapenc="http://schemas.xmlsoap.org/soap/encoding/")"
    R"( xmlns:soapenv="http://schemas.xmlsoap.org/soap/envelope/")"
    R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
    R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"><soapenv:Body>)"
    R"(<CurrentTimeResponse xmlns="urn:ozy25"><returnval>2024-05-06T07:08:09.123456Z</returnval>)"
    R"(</CurrentTimeResponse></soapenv:Body></soapenv:Envelope>)";
inline constexpr const char *kCallHeaders[] = {"Expect: ", "Content-Type: text/xml; charset=utf-8",
                                               "SOAPAction: \"urn:ozy25/6.0\"",
                                               "User-Agent: Halden-client"};

enum class Checks { kNone, kStrict };

inline gint Accept(GObject *context, gpointer, gpointer, gpointer,
                   OrvaneVerifyCertificateDoneFunc done) {
    done(context, TRUE);
    return 0;
}

/* A session as a login leaves it, without an update stream beside the calls. */
struct ConnectedSession {
    OrvaneSession *session = orvane_session_new();
    GObject *instance;
    long numToStart = 0;
    long numRunning = 0;

    explicit ConnectedSession(const std::string &url, Checks checks = Checks::kNone) {
        OrvaneSessionPrivate *priv = session->priv;
        priv->url = g_strdup(url.c_str());
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
    ConnectedSession(const ConnectedSession &) = delete;
    ConnectedSession &operator=(const ConnectedSession &) = delete;
};

inline void OnAnswer(OrvaneListener *listener, ConnectedSession *calls) {
    if (orvane_listener_get_state(listener) != ORVANE_LISTENER_SUCCEEDED)
        g_error("call: failed");
    g_object_unref(listener);
    calls->numRunning--;
    calls->Start();
}

inline void ConnectedSession::Start() {
    if (numToStart == 0)
        return;
    numToStart--;
    numRunning++;
    OrvaneListener *listener = orvane_listener_new();
    g_signal_connect(listener, "success", G_CALLBACK(OnAnswer), this);
    g_signal_connect(listener, "failure", G_CALLBACK(OnAnswer), this);
    skema_ozy_service_instance_current_time(SKEMA_OZY_SERVICE_INSTANCE(instance), listener);
}

inline void ConnectedSession::Run(long count, int numInFlight) {
    numToStart = count;
    for (int i = 0; i < numInFlight; i++)
        Start();
    while (numRunning > 0)
        epollLoop::RunOnce();
}
