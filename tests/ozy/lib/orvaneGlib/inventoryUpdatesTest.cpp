// Inventories: each kind of update set, as "items-changed" shows it, against a list that is kept by hand.
#include <random>

#include "tests/ozy/lib/orvane/updates/updateTexts.h"
#include "tests/ozy/lib/orvaneGlib/listMirror.h"

namespace {

struct InventoryUpdates : SessionTest {
    OrvaneInventory *inventory = nullptr;
    ListMirror mirror;

    /* The service has no view manager; filter-1 is that of the roles. */
    void SetUp() override {
        ASSERT_EQ("success", Connect());
        inventory = orvane_inventory_new(session, SKEMA_TYPE_OZY_VIRTUAL_MACHINE, nullptr);
        mirror.Watch(inventory);
        On(inventory, "object-changed", [this] { CallHandler(); });
        testLoop::Settle();
    }
    void TearDown() override { g_clear_object(&inventory); }

    std::function<void()> inHandler; /* of the next signal */
    std::string filter = "filter-2";

    void CallHandler() {
        if (inHandler)
            std::exchange(inHandler, nullptr)();
    }
    void SetOtherRoot() {
        filter = "filter-3";
        orvane_inventory_set_root(
            inventory, orvane_session_get_object(session, "group-9", SKEMA_TYPE_OZY_FOLDER));
    }
    /* "+1 -2 *3": machine 1 enters, 2 leaves, the name of 3 changes. */
    void Send(const std::string &text) {
        std::string objects;
        std::istringstream words(text);
        for (std::string word; words >> word;) {
            const std::string kind = word[0] == '+' ? "enter" : word[0] == '-' ? "leave" : "modify";
            objects += Object(kind, "VirtualMachine", word.substr(1),
                              kind == "leave" ? "" : Assign("name", String("n")));
        }
        mirror.blocks.clear();
        service->Reply(UpdateSet(9, filter, objects));
        testLoop::Settle();
    }
};

TEST_F(InventoryUpdates, AreShownInBlocks) {
    const struct {
        const char *updates;
        const char *blocks;
        std::vector<std::string> ids;
    } rows[] = {
        {"+a +b +c +d +e", "(0 0 5)", {"a", "b", "c", "d", "e"}},
        {"-b", "(1 1 1)(4 1 0)", {"a", "e", "c", "d"}},
        {"-d", "(3 1 0)", {"a", "e", "c"}},
        {"+f +f +a", "(3 0 1)", {"a", "e", "c", "f"}}, /* one twice, and one that is there */
        {"-x *x", "", {"a", "e", "c", "f"}},           /* never seen */
        {"+g -g", "", {"a", "e", "c", "f"}},           /* comes and goes */
        {"-a +a", "", {"a", "e", "c", "f"}},           /* goes and comes */
        {"-a -a", "(0 1 1)(3 1 0)", {"f", "e", "c"}},
        {"-f -e +h +i +j -i", "(0 1 1)(1 2 2)", {"c", "h", "j"}},
        {"-c -h -j", "(0 3 0)", {}},
        {"-c", "", {}},
        {"+k -k +k", "(0 0 1)", {"k"}},
    };
    for (const auto &row : rows) {
        Send(row.updates);
        EXPECT_EQ(row.blocks, mirror.blocks) << row.updates;
        EXPECT_EQ(row.ids, mirror.ids) << row.updates;
    }
}

TEST_F(InventoryUpdates, ChangesOfObjectsInTheListAreReported) {
    Send("+a +b");
    Send("*a *x +c *c *b");
    EXPECT_THAT(mirror.events, ElementsAre("ready", "a name n", "b name n"));
}

/* A handler of the old root's updates sets another one: nothing of the old root stays. */
TEST_F(InventoryUpdates, OfAnotherRootReplaceTheList) {
    Send("+a +b");
    EXPECT_TRUE(orvane_inventory_is_ready(inventory));
    inHandler = [this] { SetOtherRoot(); };
    Send("+c -b *a +d");
    EXPECT_FALSE(inHandler);
    EXPECT_FALSE(orvane_inventory_is_ready(inventory));
    Send("+d +e");
    EXPECT_THAT(mirror.ids, UnorderedElementsAreArray({"d", "e"}));
    EXPECT_TRUE(orvane_inventory_is_ready(inventory));
}

TEST_F(InventoryUpdates, OfAnotherRootAreAwaitedInAHandler) {
    On(inventory, "items-changed", [this] { CallHandler(); });
    inHandler = [this] { SetOtherRoot(); };
    Send("+a +b");
    EXPECT_FALSE(orvane_inventory_is_ready(inventory)) << "the other root has sent nothing";
    Send("+b +c");
    EXPECT_THAT(mirror.ids, UnorderedElementsAreArray({"b", "c"}));
    EXPECT_TRUE(orvane_inventory_is_ready(inventory));
}

/* The service has lost the place in its updates, and sends them from the beginning. */
TEST_F(InventoryUpdates, FromTheBeginningAreADifference) {
    Send("+a +b +c");
    service->Fail("InvalidCollectorVersion");
    testLoop::Settle();
    EXPECT_FALSE(orvane_inventory_is_ready(inventory));
    Send("+a +d +c");
    EXPECT_THAT(mirror.ids, UnorderedElementsAreArray({"a", "c", "d"}));
    EXPECT_TRUE(orvane_inventory_is_ready(inventory));
    /* nothing is left, and the filter is not even named */
    service->Fail("InvalidCollectorVersion");
    service->Reply("<returnval xsi:type=\"UpdateSet\"><version>9</version></returnval>");
    testLoop::Settle();
    EXPECT_THAT(mirror.ids, ElementsAre());
    EXPECT_TRUE(orvane_inventory_is_ready(inventory));
}

TEST_F(InventoryUpdates, EndWithTheStream) {
    Send("+a");
    service->Fail("NoPermission");
    testLoop::Settle();
    EXPECT_EQ(ORVANE_SESSION_INTERRUPTED, State());
    EXPECT_FALSE(orvane_inventory_is_ready(inventory));
    EXPECT_THAT(mirror.ids, ElementsAre("a"));
}

/* Random sets against a model of them. */
TEST_F(InventoryUpdates, AgreeWithAModel) {
    std::mt19937 random(20260102);
    std::vector<std::string> model;
    for (int round = 0; round < 150; round++) {
        std::string updates;
        for (auto i = random() % 12; i > 0; i--) {
            const std::string id = std::to_string(random() % 20);
            const auto at = std::ranges::find(model, id);
            if (random() % 2 == 0) {
                updates += "+" + id + " ";
                if (at == model.end())
                    model.push_back(id);
            } else {
                updates += "-" + id + " ";
                if (at != model.end())
                    model.erase(at);
            }
        }
        Send(updates);
        ASSERT_THAT(mirror.ids, UnorderedElementsAreArray(model)) << round << ": " << updates;
        ASSERT_LE(std::ranges::count(mirror.blocks, '('), 2) << updates;
    }
}

} // namespace
