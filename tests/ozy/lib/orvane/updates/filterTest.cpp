// Filters of the application: their updates do not take part in loads, whatever arrives first.
#include <orvane/filter.h>

#include "tests/ozy/lib/orvane/updates/updateTexts.h"

namespace {

struct Filters : SessionTest {
    guint filter = 0;
    std::vector<std::string> events;
    std::function<void(const std::string &)> then;
    int numDestroyed = 0;

    void SetUp() override { ASSERT_EQ("success", Connect()); }
    ~Filters() override { g_clear_object(&session); } /* ends the filter, which is recorded above */

    void Say(const std::string &event) {
        events.push_back(event);
        if (then)
            then(event);
    }
    static Filters &Of(gpointer data) { return *static_cast<Filters *>(data); }
    static const OrvaneFilterFuncs *Functions() {
        static constexpr OrvaneFilterFuncs kAll = {
            [](SkemaQormMethodFault *fault, gpointer data) {
                Of(data).Say(fault ? "failed" : "created");
            },
            [](SkemaQormManagedObject *object, gpointer data) {
                Of(data).Say(std::string("entered ") + object->id + " " +
                             GetString(object, "name", ""));
            },
            [](SkemaQormManagedObject *object, const char *path, gpointer data) {
                Of(data).Say(std::string("changed ") + object->id + " " + path + " " +
                             GetString(object, "name"));
            },
            [](SkemaQormManagedObject *object, gpointer data) {
                Of(data).Say(std::string("left ") + object->id);
            },
            [](gboolean isWhole, gpointer data) { Of(data).Say(isWhole ? "finished" : "more"); },
            [](gpointer data) { Of(data).Say("ended"); },
            [](gpointer data) { Of(data).Say("rewound"); },
            [](gpointer data) { Of(data).Say("restarted"); },
        };
        return &kAll;
    }
    ObjectPtr<GObject> spec;
    void Add() {
        if (State() == ORVANE_SESSION_CONNECTED)
            MakeSpec();
        filter = orvane_session_add_filter(session, spec.get(), TRUE, Functions(), this,
                                           [](gpointer data) { Of(data).numDestroyed++; });
    }
    void MakeSpec() {
        const auto root = Owned("group-d1", SKEMA_TYPE_OZY_FOLDER);
        spec.reset(orvane_filter_spec_new(
            TRUE, orvane_property_spec_new(SKEMA_TYPE_OZY_VIRTUAL_MACHINE, FALSE, "name", nullptr),
            orvane_object_spec_new(root.get(), TRUE, TRUE, nullptr), nullptr));
    }
    static std::string Object(const char *kind, const char *id, const char *name = nullptr) {
        return ::Object(kind, "VirtualMachine", id, name ? Assign("name", String(name)) : "");
    }
    void Send(const std::string &filterId, const std::string &objects, bool isTruncated = false) {
        service->Reply(UpdateSet(9, filterId, objects, Tag("truncated", isTruncated ? "1" : "0")));
        testLoop::Settle();
    }
};

/* The role load has created filter-1, so an application's first one is filter-2. */
TEST_F(Filters, UpdatesAreAppliedAndReported) {
    Add();
    EXPECT_THAT(events, ElementsAre()); /* not from inside */
    testLoop::Settle();
    Send("filter-2", Object("enter", "vm-1", "a") + Object("enter", "vm-2"), true);
    Send("filter-2",
         Object("modify", "vm-1", "b") + Object("modify", "vm-9", "c") + Object("leave", "vm-2"));
    EXPECT_THAT(events,
                ElementsAre("created", "entered vm-1 a", "entered vm-2 ", "more",
                            "changed vm-1 name b", "changed vm-9 name c", "left vm-2", "finished"));
    orvane_session_remove_filter(session, filter);
    orvane_session_remove_filter(session, filter);
    EXPECT_EQ(1, numDestroyed);
    testLoop::Settle();
    EXPECT_EQ(1u, service->Count("DestroyPropertyFilter"));
}

/* The updates of a removed filter, one whose creation is not answered included, are dropped: a load that is open is not
 * answered by them, and eleven more can start. */
TEST_F(Filters, LoadsAreNotAnsweredByThem) {
    std::vector<std::unique_ptr<Ending>> loads;
    std::vector<ObjectPtr<SkemaQormManagedObject>> proxies;
    const auto load = [&](const std::string &id) {
        loads.push_back(std::make_unique<Ending>());
        proxies.push_back(Owned(id));
        orvane_session_load_object(session, FALSE, proxies.back().get(), loads.back()->listener);
    };
    Add();
    testLoop::Settle();
    load("vm-1"); /* filter-3 */
    testLoop::Settle();
    for (int i = 0; i < 20; i++)
        Send("filter-2", Object("enter", "vm-1", "a"));
    EXPECT_EQ(0, loads[0]->times);
    orvane_session_remove_filter(session, filter);
    Send("filter-2", Object("enter", "vm-1", "b"));
    EXPECT_EQ(0, loads[0]->times);
    service->Forget();
    for (int i = 0; i < 20; i++)
        load("other-" + std::to_string(i));
    testLoop::Settle();
    EXPECT_EQ(10u, service->Count("CreateFilter")); /* one of the eleven is open */
    Send("filter-3", Object("enter", "vm-1", "c"));
    EXPECT_EQ("success", loads[0]->text);
    EXPECT_EQ(11u, service->Count("CreateFilter"));
}

/* The first update overtakes the reply to the creation; the update of a load that comes behind it waits, too. */
TEST_F(Filters, AnUpdateMayOvertakeTheCreation) {
    Ending ending;
    const auto proxy = Owned("vm-1");
    orvane_session_load_object(session, FALSE, proxy.get(), ending.listener); /* filter-2 */
    testLoop::Settle();
    service->answers["CreateFilter"] = {}; /* not answered yet */
    Add();
    testLoop::Settle();
    Send("filter-7", Object("enter", "vm-5", "early"));
    Send("filter-2", Object("enter", "vm-1", "load"));
    EXPECT_THAT(events, ElementsAre());
    EXPECT_EQ(0, ending.times);
    const CannedRequest open = service->Last("CreateFilter");
    service->server.Send(open.connection, FilterReply("filter-7").bytes);
    testLoop::Settle();
    EXPECT_THAT(events, ElementsAre("created", "entered vm-5 early", "finished"));
    EXPECT_EQ("success", ending.text);
    EXPECT_EQ(1, proxy->loadCount);
}

TEST_F(Filters, ARefusedCreationIsReportedOnce) {
    service->answers["CreateFilter"] = Fault("InvalidProperty");
    Add();
    testLoop::Settle();
    EXPECT_THAT(events, ElementsAre("failed"));
    EXPECT_EQ(1, numDestroyed);
    EXPECT_EQ("success", Disconnect());
    EXPECT_THAT(events, ElementsAre("failed"));
    Add();
    EXPECT_EQ(0u, filter);
    EXPECT_EQ(2, numDestroyed);
}

/* Whatever a function does at whatever event: none is called after a removal, or after "ended", and each end is one. */
TEST_F(Filters, AFunctionMayDoAnything) {
    const std::function<void()> actions[] = {
        [&] { orvane_session_remove_filter(session, filter); },
        [&] { orvane_session_disconnect(session, nullptr); },
        [&] { g_clear_object(&session); },
    };
    for (const auto &action : actions) {
        for (const char *when :
             {"created", "entered vm-1 a", "changed vm-1 name b", "left vm-2", "finished"}) {
            events.clear();
            const int before = numDestroyed;
            const auto filterId =
                "filter-" + std::to_string(2 + service->Count("CreateFilter") - 1);
            Add();
            then = [&](const std::string &event) {
                if (event == when) {
                    const std::function<void()> act = action; /* this function is gone then */
                    then = nullptr;
                    act();
                }
            };
            for (const std::string &objects :
                 {Object("enter", "vm-1", "a") + Object("enter", "vm-2", "a"),
                  Object("modify", "vm-1", "b") + Object("leave", "vm-2") +
                      Object("leave", "vm-1")}) {
                testLoop::Settle();
                if (session && State() == ORVANE_SESSION_CONNECTED)
                    Send(filterId, objects);
            }
            ASSERT_FALSE(then) << when << " was not reached";
            if (session && State() == ORVANE_SESSION_CONNECTED) {
                EXPECT_EQ(when, events.back());
            } else {
                EXPECT_EQ("ended", events.back()) << when;
                EXPECT_EQ(1, std::ranges::count(events, "ended"));
                StartOver();
                ASSERT_EQ("success", Connect());
            }
            EXPECT_EQ(before + 1, numDestroyed);
        }
    }
}

} // namespace
