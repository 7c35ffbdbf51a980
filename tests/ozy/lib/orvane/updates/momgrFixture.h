/*
 * momgrFixture.h -- a session that is connected to the service of momgrService.h, and what the tests of
 * the manager do with it
 */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <orvane/orvane.h>
#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>

#include "lib/misc/glibPtr.h"
#include "tests/ozy/lib/orvane/updates/momgrService.h"
#include "tests/support/testLoop.h"

namespace momgr {

/* A listener of the application, and what it was told. */
class Outcome {
public:
    Outcome() : listener(orvane_listener_new()) {
        for (const char *signal : {"acknowledge", "success", "failure"})
            g_signal_connect_data(listener, signal, G_CALLBACK(OnSignal), new Told{this, signal},
                                  FreeTold, G_CONNECT_DEFAULT);
    }
    ~Outcome() { Drop(); }
    Outcome(const Outcome &) = delete;
    Outcome &operator=(const Outcome &) = delete;

    void Drop() {
        if (listener == nullptr)
            return;
        g_signal_handlers_disconnect_matched(listener, G_SIGNAL_MATCH_FUNC, 0, 0, nullptr,
                                             reinterpret_cast<gpointer>(OnSignal), nullptr);
        g_clear_object(&listener);
    }

    /* Class of the fault; empty without one. */
    std::string Fault() const {
        const ObjectPtr<SkemaQormMethodFault> fault(orvane_listener_get_fault(listener));
        return fault != nullptr ? G_OBJECT_TYPE_NAME(fault.get()) : "";
    }
    bool IsOver() const { return told == "acknowledge success" || told == "acknowledge failure"; }

    OrvaneListener *listener;
    std::string told; /* signals in order */
    std::function<void()> onSuccess;
    std::function<void()> onFailure;

private:
    struct Told {
        Outcome *outcome;
        std::string signal;
    };
    static void FreeTold(gpointer told, GClosure *) { delete static_cast<Told *>(told); }
    static void OnSignal(OrvaneListener *, Told *told) {
        Outcome *outcome = told->outcome;
        const std::string signal = told->signal;
        outcome->told += (outcome->told.empty() ? "" : " ") + signal;
        const auto then = signal == "success"   ? outcome->onSuccess
                          : signal == "failure" ? outcome->onFailure
                                                : nullptr;
        if (then)
            then();
    }
};

class ManagerTest : public testing::Test {
protected:
    void SetUp() override {
        testLoop::Reset();
        ASSERT_TRUE(orvane_init(testLoop::Callback, testLoop::CallbackRemove));
        session.reset(orvane_session_new());
        Connect();
    }

    /* Logs in; the authorization manager is loaded in the course of it. */
    void Connect() {
        Outcome outcome;
        service.Update(Enter("AuthorizationManager", "auth"));
        orvane_session_connect(session.get(), service.Url().c_str(), "u", "p", outcome.listener);
        ASSERT_TRUE(testLoop::RunUntil([&] { return outcome.IsOver(); }));
        ASSERT_EQ("acknowledge success", outcome.told) << outcome.Fault();
        ASSERT_TRUE(RunUntilWaiting());
        service.calls.clear();
    }

    void Disconnect() {
        Outcome outcome;
        orvane_session_disconnect(session.get(), outcome.listener);
        EXPECT_TRUE(testLoop::RunUntil([&] { return outcome.IsOver(); }));
        testLoop::Settle();
    }

    void TearDown() override {
        proxies.clear();
        session.reset();
        testLoop::Settle();
        orvane_shutdown();
        EXPECT_TRUE(testLoop::Registrations().empty());
    }

    bool RunUntilWaiting() {
        return testLoop::RunUntil([this] { return service.IsWaiting(); });
    }
    bool RunUntilCount(const std::string &method, int count) {
        return testLoop::RunUntil([&] { return service.Count(method) >= count; });
    }

    /* Sends changes and waits until they are applied and the next wait is open. */
    void Update(const std::string &objects) {
        ASSERT_TRUE(RunUntilWaiting());
        service.Update(objects);
        ASSERT_TRUE(RunUntilWaiting());
    }

    /* The proxy of a machine, owned by the test. */
    SkemaQormManagedObject *Machine(const std::string &id) {
        SkemaQormManagedObject *proxy = orvane_session_get_object(
            session.get(), id.c_str(), skema_ozy_virtual_machine_get_type());
        proxies.emplace_back(static_cast<SkemaQormManagedObject *>(g_object_ref_sink(proxy)));
        return proxy;
    }

    void Load(SkemaQormManagedObject *proxy, OrvaneListener *listener = nullptr) {
        orvane_session_load_object(session.get(), FALSE, proxy, listener);
    }

    static std::string Name(SkemaQormManagedObject *proxy) {
        char *name = nullptr;
        g_object_get(proxy, "name", &name, nullptr);
        const GPtr<char> owner(name);
        return name != nullptr ? name : "(NULL)";
    }

    Service service;
    ObjectPtr<OrvaneSession> session;
    std::vector<ObjectPtr<SkemaQormManagedObject>> proxies;
};

} // namespace momgr
