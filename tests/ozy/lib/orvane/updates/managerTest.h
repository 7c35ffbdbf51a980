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

    /* Sends changes and waits until they are applied and the next wait is open. */
    void Update(const std::string &objects) {
        ASSERT_TRUE(RunUntilWaiting());
        service->Update(objects);
        ASSERT_TRUE(RunUntilWaiting());
    }

    /* The proxy of a machine, owned by the test. */
    SkemaQormManagedObject *Machine(const std::string &id) {
        return proxies.emplace_back(Owned(id)).get();
    }

    void Load(SkemaQormManagedObject *proxy, OrvaneListener *listener = nullptr) {
        orvane_session_load_object(session, FALSE, proxy, listener);
    }

    /* Loads the machines whose numbers are in a range. */
    void LoadMachines(int first, int end) {
        for (int i = first; i < end; i++)
            Load(Machine("vm-" + std::to_string(i)));
    }
    bool RunUntilEnd(const Ending &ending) {
        return testLoop::RunUntil([&] { return ending.times > 0; });
    }

    static std::string Name(SkemaQormManagedObject *proxy) { return GetString(proxy, "name"); }
    /* The ids in a list of proxies, without their first bytes: "a b ". */
    static std::string Ids(SkemaQormManagedObject *holder, const char *property, size_t skip = 0) {
        std::string ids;
        const auto list = GetList(holder, property);
        for (const GValue &element : std::span(list->values, list->n_values))
            ids += static_cast<SkemaQormManagedObject *>(g_value_get_object(&element))->id + skip +
                   std::string(" ");
        return ids;
    }

    std::vector<ObjectPtr<SkemaQormManagedObject>> proxies;
};
