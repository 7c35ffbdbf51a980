// Inventories: what is in the list, against the simulator with and without a view manager; and how it changes, against a
// model that follows "items-changed".

#include "tests/ozy/lib/orvane/session/renewalFixture.h"
#include "tests/ozy/lib/orvaneGlib/listMirror.h"
#include "tools/simulator/estate.h"

namespace {

struct InventoryList : RenewalTest {
    OrvaneInventory *inventory = nullptr;
    ListMirror mirror;

    /* Another service and another mirror. */
    void Start(const simulator::Options &options) {
        g_clear_object(&inventory);
        mirror = {};
        RenewalTest::Start(options);
    }
    void Disconnect() {
        orvane_session_disconnect(session, nullptr);
        Until([&] { return IsState(ORVANE_SESSION_DISCONNECTED); });
    }
    void NewList(GType type, const char *property = "name") {
        const char *properties[] = {property, nullptr};
        inventory = orvane_inventory_new(session, type, properties);
        mirror.Watch(inventory);
    }
    void MakeList(GType type) {
        NewList(type);
        WaitReady();
    }
    bool IsReady() const { return GetNumber<gboolean>(inventory, "is-ready"); }
    void WaitReady() {
        testLoop::RunUntil([&] { return IsReady() || orvane_inventory_get_error(inventory); });
        const GError *error = orvane_inventory_get_error(inventory);
        EXPECT_TRUE(IsReady()) << (error ? error->message : "");
    }
    Texts Names() const {
        Texts names;
        for (guint i = 0; i < mirror.ids.size(); i++)
            names.push_back(Name(Item(inventory, i).get()));
        return names;
    }
    void TearDown() override { g_clear_object(&inventory); }
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
    }
}

TEST_F(InventoryList, FollowsTheService) {
    Start({.hosts = 1, .machines = 5});
    /* made before the connect, which it waits for */
    NewList(SKEMA_TYPE_OZY_VIRTUAL_MACHINE);
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
    guint position = 0;
    const auto item = Item(inventory, 2);
    EXPECT_TRUE(orvane_inventory_find(inventory, item.get(), &position));
    EXPECT_EQ(2u, position);
    EXPECT_EQ(4u, GetNumber<guint>(inventory, "n-items"));
    EXPECT_EQ(nullptr, g_list_model_get_item(G_LIST_MODEL(inventory), 4));
}

/* After a new connection the list is the same object, with what the service has by then. */
TEST_F(InventoryList, ComesBackWithTheNextConnection) {
    for (bool hasViews : {true, false}) {
        SCOPED_TRACE(hasViews);
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
    }
}

TEST_F(InventoryList, SaysWhyThereIsNone) {
    Start({.machines = 1});
    Connect();
    NewList(SKEMA_TYPE_OZY_VIRTUAL_MACHINE, "noSuchProperty");
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
    const auto cluster =
        Own(orvane_session_get_object(session, server->Ids("ClusterComputeResource")[0].c_str(),
                                      SKEMA_TYPE_OZY_CLUSTER_COMPUTE_RESOURCE));
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
    const auto root = GetObject<Proxy>(inventory, "root");
    EXPECT_EQ(root.get(),
              orvane_session_get_object(session, cluster->id, G_OBJECT_TYPE(root.get())));
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
            Start({.hosts = 1, .machines = 5});
            Connect();
            if (isFirst)
                mirror.then = action;
            NewList(SKEMA_TYPE_OZY_VIRTUAL_MACHINE);
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
        }
    }
}

TEST_F(InventoryList, StaysAndIsBroughtUpToDateAfterALoginOrAConnection) {
    for (const bool hasViews : {true, false}) {
        for (const bool isLogin : {true, false}) {
            SCOPED_TRACE(testing::Message() << "views " << hasViews << " login " << isLogin);
            Start({.hosts = 1, .machines = 4, .viewManager = hasViews});
            GiveCredentials();
            const OrvaneReconnect policy = {1, 1, 0, nullptr, nullptr, nullptr, nullptr, nullptr};
            orvane_session_set_reconnect(session, &policy);
            ASSERT_TRUE(Connect());
            MakeList(SKEMA_TYPE_OZY_VIRTUAL_MACHINE);
            mirror.numBlocks = 0;
            const auto first = Item(inventory, 0);
            if (isLogin) {
                server->ExpireSessions();
            } else {
                server->SetListening(false);
                server->ResetConnections();
                EXPECT_TRUE(Until([&] { return IsState(ORVANE_SESSION_INTERRUPTED); }));
                server->SetListening(true);
            }
            const Texts ids = server->Ids("VirtualMachine");
            Rename(ids[0].c_str(), "renamed");
            server->RemoveMachine(ids[1]);
            server->AddMachine("added");
            EXPECT_TRUE(Until([&] { return testing::Value(Names(), Contains("added")); }));
            WaitReady();
            EXPECT_EQ(4u, Names().size());
            EXPECT_THAT(Names(), Contains("renamed"));
            EXPECT_LE(mirror.numBlocks, 2);
            EXPECT_TRUE(orvane_inventory_find(inventory, first.get(), nullptr)) << "the same proxy";
            EXPECT_EQ(nullptr, orvane_inventory_get_error(inventory));

            mirror.events.clear();
            Rename(ids[2].c_str(), "again");
            EXPECT_TRUE(Until([&] { return !mirror.events.empty(); }));
            EXPECT_THAT(mirror.events, ElementsAre(ids[2] + " name again"));
        }
    }
}

} // namespace
