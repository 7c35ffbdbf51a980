/*
 * managerTest.h -- a session that is connected, and what the tests of its manager do with it
 */
#pragma once

#include "tests/ozy/lib/orvane/soap/soapFixture.h"
#include "tests/ozy/lib/orvane/updates/updateTexts.h"

struct ManagerTest : SessionTest {
    void SetUp() override { Connect(); }

    /* Logs in, and waits until the update stream is open. */
    void Connect() {
        ASSERT_EQ("success", SessionTest::Connect());
        ASSERT_TRUE(RunUntilWaiting());
        service->Forget();
    }
    void Disconnect() { EXPECT_EQ("success", SessionTest::Disconnect()); }

    bool RunUntilWaiting() {
        return testLoop::RunUntil([this] { return service->IsWaiting(); });
    }
    bool RunUntilCount(const std::string &method, size_t count) {
        return testLoop::RunUntil([&] { return service->Count(method) >= count; });
    }

    /* Sends changes and waits until they are applied and the next wait is open. */
    void Update(const std::string &objects) {
        ASSERT_TRUE(RunUntilWaiting());
        service->Update(objects);
        ASSERT_TRUE(RunUntilWaiting());
    }

    /* The proxy of a machine, owned by the test. */
    SkemaQormManagedObject *Machine(const std::string &id) {
        SkemaQormManagedObject *proxy =
            orvane_session_get_object(session, id.c_str(), SKEMA_TYPE_OZY_VIRTUAL_MACHINE);
        proxies.emplace_back(static_cast<SkemaQormManagedObject *>(g_object_ref_sink(proxy)));
        return proxy;
    }

    void Load(SkemaQormManagedObject *proxy, OrvaneListener *listener = nullptr) {
        orvane_session_load_object(session, FALSE, proxy, listener);
    }

    static std::string Name(SkemaQormManagedObject *proxy) {
        return GetString(G_OBJECT(proxy), "name");
    }

    std::vector<ObjectPtr<SkemaQormManagedObject>> proxies;
};
