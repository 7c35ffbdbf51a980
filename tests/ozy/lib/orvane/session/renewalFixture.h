/*
 * renewalFixture.h -- an application whose session is to survive what the simulated service does to it
 *
 * Time is moved by hand, for the library, the loop and the service together. What the session's functions and signals
 * report is recorded in order; what is read once, as a text.
 */
#pragma once

#include <map>

#include <orvane/orvane.h>
#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>

#include "apps/lib/basicHttp/basicHttpInt.h"
#include "tests/ozy/lib/orvane/runtime/objects.h"
#include "tests/support/matchers.h"
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
        On(session, "notify::state", [this](OrvaneSession *from, GParamSpec *) {
            events.push_back("state " + std::to_string(orvane_session_get_state(from)));
        });
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

    /* Begins an operation, which alone holds its listener. Its end is added to the ends. */
    template <class Function> void Do(const std::string &name, Function begin) {
        const ObjectPtr<OrvaneListener> listener(last = orvane_listener_new());
        numBegun++;
        orvane_listener_set_completed_func(
            last, OnCompleted, new Named{this, name},
            [](gpointer data) { delete static_cast<Named *>(data); });
        begin(last);
    }

    void GiveCredentials() {
        orvane_session_set_credentials_func(session, OnCredentials, this, nullptr);
    }
    bool Connect() {
        Do("connect", [this](auto *l) {
            orvane_session_connect(session, server->Url().c_str(), "administrator", "secret", l);
        });
        return WaitConnected();
    }
    /* For the operation "connect". */
    bool WaitConnected() {
        Until([&] { return ends.contains("connect"); });
        const bool isConnected = ends["connect"] == "succeeded";
        ends.clear();
        events.clear();
        IsWaiting();
        server->ResetCounters();
        return isConnected;
    }
    void Call(const std::string &name) {
        const auto instance = GetObject<SkemaOzyServiceInstance>(session, "serviceInstance");
        Do(name, [&](auto *l) { skema_ozy_service_instance_current_time(instance.get(), l); });
    }
    /* The end of a call, or nothing. */
    std::string Finish(const std::string &name) {
        ends.erase(name);
        Call(name);
        testLoop::Settle();
        return ends[name];
    }
    void BeginLoad(const std::string &name, const char *id) {
        Proxy *machine = Machine(id);
        Do(name, [&](auto *l) { orvane_session_load_object(session, FALSE, machine, l); });
    }
    void BeginPowerOn(const std::string &name, const char *id) {
        auto *machine = SKEMA_OZY_VIRTUAL_MACHINE(Machine(id));
        Do(name, [&](auto *l) { skema_ozy_virtual_machine_power_on(machine, nullptr, l); });
    }
    /* The service answers calls of a method with a fault. */
    void Refuse(const char *method, int count = -1, const char *fault = "NotAuthenticated",
                int skip = 0) {
        server->AddTrouble({.kind = simulator::TroubleKind::Fault,
                            .method = method,
                            .count = count,
                            .skip = skip,
                            .faultType = fault});
    }
    bool IsWaiting() {
        return Until([&] { return server->NumWaiting() == 1; });
    }
    /* Moves the clocks, at most so many times, until a condition holds. */
    bool MoveUntil(const std::function<bool()> &condition, int times = 70,
                   gint64 milliseconds = 1000) {
        while (!condition() && times-- > 0)
            Move(milliseconds);
        return condition();
    }
    void MoveSeconds(int seconds) {
        for (int i = 0; i < seconds; i++)
            Move(1000);
    }
    Proxy *Machine(const char *id) {
        const GType type = SKEMA_TYPE_OZY_VIRTUAL_MACHINE;
        return proxies.emplace_back(Own(orvane_session_get_object(session, id, type))).get();
    }
    /* A loaded machine, whose signals are recorded from then on. */
    Proxy *Load(const char *id) {
        BeginLoad(id, id);
        EXPECT_TRUE(Until([&] { return ends.contains(id); }));
        EXPECT_EQ("succeeded", ends[id]);
        Proxy *proxy = proxies.back().get();
        On(proxy, "notify", [this](Proxy *from, GParamSpec *pspec) {
            events.push_back(std::string(from->id) + " " + pspec->name);
        });
        On(proxy, "leave", [this] { events.emplace_back("leave"); });
        return proxy;
    }
    /* The same, once updates are awaited. What was recorded before is dropped. */
    Proxy *Follow(const char *id) {
        Proxy *proxy = Load(id);
        EXPECT_TRUE(IsWaiting());
        events.clear();
        return proxy;
    }
    static std::string Name(Proxy *proxy) { return GetString(proxy, "name", ""); }
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
    OrvaneListener *last = nullptr; /* of Do(); not owned */
    static inline gint64 clockOffset = 0;

private:
    struct Named {
        RenewalTest *test;
        std::string name;
    };
    int numBegun = 0;
    int numEnded = 0;

    static void OnCompleted(OrvaneListener *listener, OrvaneOutcome outcome, gpointer data) {
        const auto *named = static_cast<Named *>(data);
        const ObjectPtr<SkemaQormMethodFault> fault(orvane_listener_get_fault(listener));
        named->test->numEnded++;
        named->test->ends[named->name] =
            NickOf(outcome) + (fault ? std::string(" ") + G_OBJECT_TYPE_NAME(fault.get()) : "");
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
};
