/*
 * renewalFixture.h -- an application whose session is to survive what the simulated service does to it
 *
 * Time is moved by hand, for the library, the loop and the service together. What the session's functions and signals
 * report is recorded in order; what is read once, as a text.
 */
#pragma once

#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <orvane/operation.h>
#include <orvane/orvane.h>
#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>

#include "apps/lib/basicHttp/basicHttpInt.h"
#include "lib/misc/glibPtr.h"
#include "tests/support/testLoop.h"
#include "tools/simulator/simulator.h"

class RenewalTest : public testing::Test {
protected:
    using Texts = std::vector<std::string>;
    using Proxy = SkemaQormManagedObject;

    RenewalTest() { Start({.hosts = 1, .machines = 3}); }
    ~RenewalTest() override {
        proxies.clear();
        g_clear_object(&session);
        testLoop::Settle();
        if (BasicHttp_IsInited())
            orvane_shutdown();
        EXPECT_TRUE(testLoop::Registrations().empty());
        EXPECT_EQ(numBegun, numEnded) << "each operation has one end";
        StopServer();
        testLoop::Reset();
        basicHttpNow = g_get_monotonic_time;
    }

    void Start(const simulator::Options &options) {
        proxies.clear();
        g_clear_object(&session);
        StopServer();
        testLoop::Reset();
        clockOffset = 0;
        basicHttpNow = [] { return g_get_monotonic_time() + clockOffset; };
        StartServer(options);
        if (!BasicHttp_IsInited())
            orvane_init(testLoop::Callback, testLoop::CallbackRemove);
        events.clear();
        session = orvane_session_new();
        g_signal_connect_swapped(session, "notify::state", G_CALLBACK(OnState), this);
    }
    void StartServer(simulator::Options options) {
        options.frozenClock = true;
        server = std::make_unique<simulator::Simulator>(std::move(options));
        server->Start();
        testLoop::Watch(server->PollDescriptor(), 1, [this](short) { server->Run(); });
    }
    void StopServer() {
        if (server)
            testLoop::Unwatch(server->PollDescriptor());
        server.reset();
    }

    /* Moves all clocks. */
    void Move(gint64 milliseconds) {
        clockOffset += milliseconds * 1000;
        server->Advance(milliseconds);
        testLoop::Advance(milliseconds * 1000);
        testLoop::Settle();
    }
    bool Until(const std::function<bool()> &condition) {
        return testLoop::RunUntil(condition, 3000);
    }

    /* A listener whose end is added to the ends. Begin one operation with it at once. */
    OrvaneListener *New(const std::string &name) {
        OrvaneListener *listener = orvane_listener_new();
        numBegun++;
        orvane_listener_set_completed_func(
            listener, OnCompleted, new Named{this, name},
            [](gpointer data) { delete static_cast<Named *>(data); });
        return listener;
    }
    /* The listener of an operation that was begun; the operation itself holds it. */
    static void Drop(OrvaneListener *listener) { g_object_unref(listener); }

    void GiveCredentials() {
        orvane_session_set_credentials_func(session, OnCredentials, this, nullptr);
    }
    bool Connect() {
        OrvaneListener *listener = New("connect");
        orvane_session_connect(session, server->Url().c_str(), "administrator", "secret", listener);
        return WaitConnected(listener);
    }
    /* Takes over the listener, which is named "connect". */
    bool WaitConnected(OrvaneListener *listener) {
        Drop(listener);
        Until([&] { return ends.contains("connect"); });
        const bool isConnected = ends["connect"] == "succeeded";
        ends.clear();
        events.clear();
        Until([&] { return server->NumWaiting() == 1; });
        server->ResetCounters();
        return isConnected;
    }
    void Call(const std::string &name) {
        SkemaOzyServiceInstance *instance = nullptr;
        g_object_get(session, "serviceInstance", &instance, nullptr);
        OrvaneListener *listener = New(name);
        skema_ozy_service_instance_current_time(instance, listener);
        last = listener;
        g_object_unref(instance);
        Drop(listener);
    }
    /* The end of a call, or nothing. */
    std::string Finish(const std::string &name) {
        ends.erase(name);
        Call(name);
        testLoop::Settle();
        return ends[name];
    }
    void BeginLoad(const std::string &name, const char *id) {
        OrvaneListener *listener = New(name);
        orvane_session_load_object(session, FALSE, Machine(id), listener);
        Drop(listener);
    }
    void BeginPowerOn(const std::string &name, const char *id) {
        OrvaneListener *listener = New(name);
        auto *machine = SKEMA_OZY_VIRTUAL_MACHINE(Machine(id));
        skema_ozy_virtual_machine_power_on(machine, nullptr, listener);
        Drop(listener);
    }
    void MoveSeconds(int seconds) {
        for (int i = 0; i < seconds; i++)
            Move(1000);
    }
    Proxy *Machine(const char *id) {
        Proxy *proxy = orvane_session_get_object(session, id, SKEMA_TYPE_OZY_VIRTUAL_MACHINE);
        proxies.emplace_back(static_cast<Proxy *>(g_object_ref_sink(proxy)));
        return proxy;
    }
    /* A loaded machine, whose signals are recorded from then on. */
    Proxy *Load(const char *id) {
        Proxy *proxy = Machine(id);
        OrvaneListener *listener = New(id);
        orvane_session_load_object(session, FALSE, proxy, listener);
        Drop(listener);
        EXPECT_TRUE(Until([&] { return ends.contains(id); }));
        EXPECT_EQ("succeeded", ends[id]);
        g_signal_connect(proxy, "notify", G_CALLBACK(OnNotify), this);
        g_signal_connect_swapped(proxy, "leave", G_CALLBACK(OnLeave), this);
        return proxy;
    }
    static std::string Name(Proxy *proxy) {
        char *name = nullptr;
        g_object_get(proxy, "name", &name, nullptr);
        const GPtr<char> owner(name);
        return name ? name : "";
    }
    bool Rename(const char *id, const char *name) { return server->SetProperty(id, "name", name); }
    bool IsState(OrvaneSessionState state) const {
        return orvane_session_get_state(session) == state;
    }

    std::unique_ptr<simulator::Simulator> server;
    OrvaneSession *session = nullptr;
    std::vector<ObjectPtr<Proxy>> proxies;
    Texts events;                            /* states, notifies, questions for credentials */
    std::map<std::string, std::string> ends; /* of the operations, by their names */
    std::string password = "secret";         /* of the function; empty to refuse */
    std::function<void()> inCredentials;
    OrvaneListener *last = nullptr; /* of Call(); not owned */
    static inline gint64 clockOffset = 0;

private:
    struct Named {
        RenewalTest *test;
        std::string name;
    };
    int numBegun = 0;
    int numEnded = 0;

    static void OnCompleted(OrvaneListener *listener, OrvaneOutcome outcome, gpointer data) {
        static auto *outcomes = static_cast<GEnumClass *>(g_type_class_ref(ORVANE_TYPE_OUTCOME));
        const auto *named = static_cast<Named *>(data);
        const ObjectPtr<SkemaQormMethodFault> fault(orvane_listener_get_fault(listener));
        std::string text = g_enum_get_value(outcomes, int(outcome))->value_nick;
        if (fault)
            text += std::string(" ") + G_OBJECT_TYPE_NAME(fault.get());
        named->test->numEnded++;
        named->test->ends[named->name] = text;
    }
    static gboolean OnCredentials(OrvaneSession *, char **user, char **word, gpointer data) {
        auto *test = static_cast<RenewalTest *>(data);
        test->events.emplace_back("credentials");
        if (test->inCredentials)
            std::exchange(test->inCredentials, nullptr)();
        *user = g_strdup("administrator");
        *word = test->password.empty() ? nullptr : g_strdup(test->password.c_str());
        return *word != nullptr;
    }
    static void OnState(RenewalTest *test, GParamSpec *, OrvaneSession *from) {
        test->events.push_back("state " + std::to_string(orvane_session_get_state(from)));
    }
    static void OnNotify(Proxy *proxy, GParamSpec *pspec, RenewalTest *test) {
        test->events.push_back(std::string(proxy->id) + " " + pspec->name);
    }
    static void OnLeave(RenewalTest *test) { test->events.emplace_back("leave"); }
};
