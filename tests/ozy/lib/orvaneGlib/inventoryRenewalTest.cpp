// Inventories of a session that logs in again, and of one that connects again: the same list, kept up to date.
#include <orvane/inventory.h>

#include "tests/ozy/lib/orvane/session/renewalFixture.h"

namespace {

using testing::ElementsAre;

class InventoryRenewal : public RenewalTest {
protected:
    void Follow() {
        GiveCredentials();
        const OrvaneReconnect policy = {1, 1, 0, nullptr, nullptr, nullptr, nullptr, nullptr};
        orvane_session_set_reconnect(session, &policy);
        ASSERT_TRUE(Connect());
        static const char *const kProperties[] = {"name", nullptr};
        inventory.reset(orvane_inventory_new(session, SKEMA_TYPE_OZY_VIRTUAL_MACHINE, kProperties));
        g_signal_connect(inventory.get(), "items-changed", G_CALLBACK(OnItems), this);
        g_signal_connect(inventory.get(), "object-changed", G_CALLBACK(OnChanged), this);
        ASSERT_TRUE(UntilReady());
        numBlocks = 0;
    }
    bool UntilReady() {
        return Until([&] { return orvane_inventory_is_ready(inventory.get()); });
    }
    Texts Names() {
        Texts names;
        GListModel *list = G_LIST_MODEL(inventory.get());
        for (guint i = 0; i < g_list_model_get_n_items(list); i++) {
            const ObjectPtr<Proxy> item(static_cast<Proxy *>(g_list_model_get_item(list, i)));
            names.push_back(Name(item.get()));
        }
        return names;
    }

    ObjectPtr<OrvaneInventory> inventory;
    int numBlocks = 0;
    Texts changed;

private:
    static void OnItems(GListModel *, guint, guint, guint, InventoryRenewal *test) {
        test->numBlocks++;
    }
    static void OnChanged(OrvaneInventory *, Proxy *object, const char *path,
                          InventoryRenewal *test) {
        test->changed.push_back(std::string(object->id) + " " + path);
    }
};

TEST_F(InventoryRenewal, TheListStaysAndIsBroughtUpToDate) {
    for (const bool hasViews : {true, false}) {
        for (const bool isLogin : {true, false}) {
            SCOPED_TRACE(testing::Message() << "views " << hasViews << " login " << isLogin);
            inventory.reset();
            Start({.hosts = 1, .machines = 4, .viewManager = hasViews});
            Follow();
            const ObjectPtr<Proxy> first(
                static_cast<Proxy *>(g_list_model_get_item(G_LIST_MODEL(inventory.get()), 0)));
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
            EXPECT_TRUE(Until([&] { return testing::Value(Names(), testing::Contains("added")); }));
            EXPECT_TRUE(UntilReady());
            EXPECT_EQ(4u, Names().size());
            EXPECT_THAT(Names(), testing::Contains("renamed"));
            EXPECT_LE(numBlocks, 2);
            EXPECT_TRUE(orvane_inventory_find(inventory.get(), first.get(), nullptr))
                << "the same proxy";
            EXPECT_EQ(nullptr, orvane_inventory_get_error(inventory.get()));

            changed.clear();
            Rename(ids[2].c_str(), "again");
            EXPECT_TRUE(Until([&] { return !changed.empty(); }));
            EXPECT_THAT(changed, ElementsAre(ids[2] + " name"));
        }
    }
    inventory.reset();
}

} // namespace
