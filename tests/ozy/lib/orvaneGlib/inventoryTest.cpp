// Inventories: what is in the list, against the simulator with and without a view manager; and how it changes, against a
// model that follows "items-changed".
#include <orvane/inventory.h>

#include <algorithm>
#include <functional>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <orvane/orvane.h>
#include <orvane/schema/ozy.h>

#include "lib/misc/glibPtr.h"
#include "tests/support/testLoop.h"
#include "tools/simulator/estate.h"
#include "tools/simulator/simulator.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAreArray;

using ItemPtr = ObjectPtr<SkemaQormManagedObject>;

ItemPtr Item(gpointer model, guint position) {
    return ItemPtr(SKEMA_QORM_MANAGED_OBJECT(g_list_model_get_item(G_LIST_MODEL(model), position)));
}

/* A view of a list: it knows what "items-changed" says, and nothing else. */
struct Mirror {
    std::vector<std::string> ids;
    std::vector<std::string> events;
    int numBlocks = 0;
    std::function<void()> then; /* at the next "items-changed" */

    void Watch(OrvaneInventory *inventory) {
        g_signal_connect(inventory, "items-changed", G_CALLBACK(OnItems), this);
        g_signal_connect(inventory, "object-changed", G_CALLBACK(OnChanged), this);
        g_signal_connect(inventory, "ready", G_CALLBACK(OnReady), this);
    }

private:
    static void OnItems(GListModel *model, guint position, guint removed, guint added,
                        Mirror *mirror) {
        mirror->numBlocks++;
        ASSERT_LE(position + removed, mirror->ids.size());
        const auto at = mirror->ids.begin() + position;
        std::vector<std::string> fresh;
        for (guint i = 0; i < added; i++)
            fresh.emplace_back(Item(model, position + i)->id);
        mirror->ids.insert(mirror->ids.erase(at, at + removed), fresh.begin(), fresh.end());
        ASSERT_EQ(g_list_model_get_n_items(model), mirror->ids.size());
        for (guint i = 0; i < mirror->ids.size(); i++)
            ASSERT_EQ(Item(model, i)->id, mirror->ids[i]);
        if (mirror->then)
            std::exchange(mirror->then, nullptr)();
    }
    static void OnChanged(OrvaneInventory *, SkemaQormManagedObject *object, const char *path,
                          Mirror *mirror) {
        char *name = nullptr;
        g_object_get(object, "name", &name, nullptr);
        const GPtr<char> owner(name);
        mirror->events.push_back(std::string(object->id) + " " + path + " " + (name ? name : ""));
    }
    static void OnReady(OrvaneInventory *, Mirror *mirror) { mirror->events.emplace_back("ready"); }
};

struct InventoryList : testing::Test {
    std::unique_ptr<simulator::Simulator> server;
    OrvaneSession *session = nullptr;
    OrvaneInventory *inventory = nullptr;
    Mirror mirror;

    void Start(simulator::Options options) {
        options.frozenClock = true;
        server = std::make_unique<simulator::Simulator>(options);
        server->Start();
        testLoop::Reset();
        testLoop::Watch(server->PollDescriptor(), 1, [this](short) { server->Run(); });
        ASSERT_TRUE(orvane_init(testLoop::Callback, testLoop::CallbackRemove));
        session = orvane_session_new();
    }
    void Connect() {
        OrvaneListener *listener = orvane_listener_new();
        orvane_session_connect(session, server->Url().c_str(), "administrator", "secret", listener);
        testLoop::RunUntil(
            [&] { return orvane_listener_get_state(listener) == ORVANE_LISTENER_SUCCEEDED; });
        EXPECT_EQ(ORVANE_LISTENER_SUCCEEDED, orvane_listener_get_state(listener));
        g_object_unref(listener);
    }
    void Disconnect() {
        orvane_session_disconnect(session, nullptr);
        testLoop::RunUntil(
            [&] { return orvane_session_get_state(session) == ORVANE_SESSION_DISCONNECTED; });
    }
    void MakeList(GType type, std::initializer_list<const char *> properties = {"name", nullptr}) {
        inventory = orvane_inventory_new(session, type, properties.begin());
        mirror.Watch(inventory);
        WaitReady();
    }
    bool IsReady() const {
        gboolean isReady = FALSE;
        g_object_get(inventory, "is-ready", &isReady, nullptr);
        return isReady;
    }
    void WaitReady() {
        testLoop::RunUntil([&] { return IsReady() || orvane_inventory_get_error(inventory); });
        const GError *error = orvane_inventory_get_error(inventory);
        EXPECT_TRUE(IsReady()) << (error ? error->message : "");
    }
    void TearDown() override {
        g_clear_object(&inventory);
        g_clear_object(&session);
        orvane_shutdown();
        testLoop::Unwatch(server->PollDescriptor());
        server.reset();
        testLoop::Reset();
    }
};

std::vector<std::string> IdsOf(const simulator::Simulator &server,
                               const std::vector<const char *> &types) {
    std::vector<std::string> all;
    for (const char *type : types) {
        const auto ids = server.Ids(type);
        all.insert(all.end(), ids.begin(), ids.end());
    }
    return all;
}

/* With a view manager and without: the same list, also of what is beside the folders of machines. */
TEST_F(InventoryList, HasAllObjectsOfAClass) {
    const std::pair<GType, std::vector<const char *>> rows[] = {
        {SKEMA_TYPE_OZY_VIRTUAL_MACHINE, {"VirtualMachine"}},
        {SKEMA_TYPE_OZY_HOST_SYSTEM, {"HostSystem"}},
        {SKEMA_TYPE_OZY_DATASTORE, {"Datastore"}},
        {SKEMA_TYPE_OZY_NETWORK, {"Network"}},
        {SKEMA_TYPE_OZY_RESOURCE_POOL, {"ResourcePool"}},
        {SKEMA_TYPE_OZY_DATACENTER, {"Datacenter"}},
        {SKEMA_TYPE_OZY_COMPUTE_RESOURCE, {"ComputeResource", "ClusterComputeResource"}},
        {SKEMA_TYPE_OZY_MANAGED_ENTITY,
         {"VirtualMachine", "HostSystem", "Datastore", "Network", "ResourcePool", "Datacenter",
          "ClusterComputeResource", "Folder"}},
    };
    for (bool hasViews : {true, false}) {
        mirror = {};
        Start({.clusters = 2, .hosts = 3, .machines = 7, .viewManager = hasViews});
        Connect();
        for (const auto &[type, wireTypes] : rows) {
            SCOPED_TRACE(g_type_name(type));
            mirror = {};
            MakeList(type);
            auto expected = IdsOf(*server, wireTypes);
            std::erase(expected, simulator::kRootFolderId);
            EXPECT_FALSE(expected.empty());
            EXPECT_THAT(mirror.ids, UnorderedElementsAreArray(expected));
            EXPECT_THAT(mirror.events, ElementsAre("ready"));
            EXPECT_LE(mirror.numBlocks, 1);
            g_clear_object(&inventory);
            testLoop::Settle();
        }
        EXPECT_EQ(hasViews ? 8 : 0, server->NumCalls("CreateContainerView"));
        EXPECT_EQ(hasViews ? 8 : 0, server->NumCalls("DestroyView"));
        EXPECT_EQ(8, server->NumCalls("DestroyPropertyFilter"));
        if (hasViews)
            TearDown();
    }
}

TEST_F(InventoryList, FollowsTheService) {
    Start({.hosts = 1, .machines = 5});
    /* made before the connect, which it waits for */
    const char *properties[] = {"name", nullptr};
    inventory = orvane_inventory_new(session, SKEMA_TYPE_OZY_VIRTUAL_MACHINE, properties);
    mirror.Watch(inventory);
    Connect();
    WaitReady();
    ASSERT_THAT(mirror.ids, ElementsAre("vm-101", "vm-102", "vm-103", "vm-104", "vm-105"));
    EXPECT_TRUE(server->SetProperty("vm-103", "name", "renamed"));
    testLoop::Settle();
    EXPECT_THAT(mirror.events, ElementsAre("ready", "vm-103 name renamed"));
    mirror.numBlocks = 0;
    const std::string added = server->AddMachine("new");
    server->RemoveMachine("vm-102");
    server->RemoveMachine("vm-103");
    testLoop::Settle();
    EXPECT_THAT(mirror.ids,
                UnorderedElementsAreArray({"vm-101", "vm-104", "vm-105", added.c_str()}));
    guint position = 0, numItems = 0;
    const ItemPtr item = Item(inventory, 2);
    EXPECT_TRUE(orvane_inventory_find(inventory, item.get(), &position));
    EXPECT_EQ(2u, position);
    g_object_get(inventory, "n-items", &numItems, nullptr);
    EXPECT_EQ(4u, numItems);
    EXPECT_EQ(nullptr, g_list_model_get_item(G_LIST_MODEL(inventory), 4));
}

/* After a new connection the list is the same object, with what the service has by then. */
TEST_F(InventoryList, ComesBackWithTheNextConnection) {
    for (bool hasViews : {true, false}) {
        SCOPED_TRACE(hasViews);
        mirror = {};
        Start({.hosts = 1, .machines = 4, .viewManager = hasViews});
        Connect();
        MakeList(SKEMA_TYPE_OZY_VIRTUAL_MACHINE);
        Disconnect();
        EXPECT_FALSE(IsReady());
        EXPECT_EQ(4u, mirror.ids.size());
        server->RemoveMachine("vm-101");
        const std::string added = server->AddMachine("new");
        Connect();
        WaitReady();
        EXPECT_THAT(mirror.ids,
                    UnorderedElementsAreArray({"vm-102", "vm-103", "vm-104", added.c_str()}));
        EXPECT_THAT(mirror.events, ElementsAre("ready", "ready"));
        if (hasViews)
            TearDown();
    }
}

TEST_F(InventoryList, SaysWhyThereIsNone) {
    Start({.machines = 1});
    Connect();
    const char *properties[] = {"noSuchProperty", nullptr};
    inventory = orvane_inventory_new(session, SKEMA_TYPE_OZY_VIRTUAL_MACHINE, properties);
    testLoop::RunUntil([&] { return orvane_inventory_get_error(inventory) != nullptr; });
    ASSERT_NE(nullptr, orvane_inventory_get_error(inventory));
    EXPECT_THAT(orvane_inventory_get_error(inventory)->message, HasSubstr("InvalidProperty"));
    testLoop::Settle();
    EXPECT_EQ(1, server->NumCalls("DestroyView")) << "nothing is left at the service";
    EXPECT_FALSE(IsReady());
}

/* An empty list is complete, too; another root has other objects. */
TEST_F(InventoryList, FollowsItsRoot) {
    Start({.clusters = 2, .hosts = 4, .machines = 0});
    Connect();
    MakeList(SKEMA_TYPE_OZY_VIRTUAL_MACHINE);
    EXPECT_THAT(mirror.ids, ElementsAre());
    g_clear_object(&inventory);
    MakeList(SKEMA_TYPE_OZY_HOST_SYSTEM);
    ASSERT_EQ(4u, mirror.ids.size());
    const ItemPtr cluster(SKEMA_QORM_MANAGED_OBJECT(g_object_ref_sink(
        orvane_session_get_object(session, server->Ids("ClusterComputeResource")[0].c_str(),
                                  SKEMA_TYPE_OZY_CLUSTER_COMPUTE_RESOURCE))));
    mirror.numBlocks = 0;
    orvane_inventory_set_root(inventory, cluster.get());
    WaitReady();
    EXPECT_EQ(2u, mirror.ids.size());
    EXPECT_LE(mirror.numBlocks, 2);

    /* the root is no item, in the next connection either, whose proxy is another */
    g_clear_object(&inventory);
    mirror = {};
    MakeList(SKEMA_TYPE_OZY_MANAGED_ENTITY);
    orvane_inventory_set_root(inventory, cluster.get());
    WaitReady();
    const auto before = mirror.ids;
    Disconnect();
    Connect();
    WaitReady();
    EXPECT_THAT(mirror.ids, UnorderedElementsAreArray(before));
    EXPECT_THAT(mirror.ids, Not(Contains(cluster->id)));
    SkemaQormManagedObject *root = nullptr;
    g_object_get(inventory, "root", &root, nullptr);
    const ItemPtr owner(root);
    EXPECT_EQ(root, orvane_session_get_object(session, cluster->id, G_OBJECT_TYPE(root)));
}

/* Whatever a handler of a block does, nothing crashes, leaks or is shown twice. */
TEST_F(InventoryList, AHandlerMayDoAnything) {
    const std::function<void()> actions[] = {
        [&] { g_clear_object(&inventory); },
        [&] { g_clear_object(&session); },
        [&] { orvane_session_disconnect(session, nullptr); },
        [&] { orvane_inventory_set_root(inventory, nullptr); },
        [&] { testLoop::Settle(); },
    };
    for (const auto &action : actions) {
        for (bool isFirst : {true, false}) {
            mirror = {};
            Start({.hosts = 1, .machines = 5});
            Connect();
            if (isFirst)
                mirror.then = action;
            const char *properties[] = {"name", nullptr};
            inventory = orvane_inventory_new(session, SKEMA_TYPE_OZY_VIRTUAL_MACHINE, properties);
            mirror.Watch(inventory);
            testLoop::RunUntil([&] { return mirror.numBlocks > 0; });
            testLoop::Settle();
            if (!isFirst) {
                mirror.then = action;
                server->RemoveMachine("vm-102");
                server->AddMachine("x");
                testLoop::RunUntil([&] { return !mirror.then; });
                testLoop::Settle();
            }
            EXPECT_FALSE(mirror.then);
            TearDown();
        }
    }
    Start({});
}

} // namespace
