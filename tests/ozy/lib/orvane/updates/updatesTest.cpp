// The update stream: what is asked, what is done with each kind of answer, and what handlers of the
// application may do in the middle of one.
#include "ozy/lib/orvane/updates/orvaneMOMgr.h"

#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "tests/ozy/lib/orvane/updates/managerTest.h"

namespace {

struct Updates : ManagerTest {
    /* A machine that is loaded, and whose signals are recorded. */
    SkemaQormManagedObject *Watched(const std::string &id) {
        SkemaQormManagedObject *machine = Machine(id);
        Load(machine);
        Update(Enter("VirtualMachine", id, Assign("name", String("first"))));
        On(machine, "notify", [this](SkemaQormManagedObject *proxy, GParamSpec *pspec) {
            signals.push_back(std::string(proxy->id) + " " + pspec->name);
            if (onNotify)
                onNotify();
        });
        On(machine, "leave", [this, id] { signals.push_back(id + " leaves"); });
        return machine;
    }
    bool IsKnown(const std::string &id) {
        return orvane_momgr_lookup(orvane_session_get_momgr(session), id.c_str()) != nullptr;
    }

    std::vector<std::string> signals;
    std::function<void()> onNotify;
};

TEST_F(Updates, TheVersionDecidesWhichCallWaits) {
    EXPECT_EQ(0u, service->Count("WaitForUpdates"));
    Update("");
    EXPECT_EQ("<version xsi:type=\"xsd:string\">2</version><options xsi:type=\"WaitOptions\">"
              "<maxWaitSeconds xsi:type=\"xsd:int\">300</maxWaitSeconds></options>",
              service->Arguments("WaitForUpdatesEx"));

    Disconnect();
    service->answers["ozyServiceVersions.xml"] = HttpReply(Versions("urn:ozy25", "4.0"));
    Connect();
    service->Forget();
    Update("");
    EXPECT_EQ("<version xsi:type=\"xsd:string\">4</version>", service->Arguments("WaitForUpdates"));
    EXPECT_EQ(0u, service->Count("WaitForUpdatesEx"));
}

TEST_F(Updates, BecomePropertiesAndSignals) {
    SkemaQormManagedObject *machine = Watched("vm-1");
    Update(Modify("vm-1", Assign("name", String("second"))) + Modify("vm-1", "") +
           Object("leave", "VirtualMachine", "vm-1", Assign("name", String("third"))));
    EXPECT_EQ("second", Name(machine));
    EXPECT_EQ((std::vector<std::string>{"vm-1 name", "vm-1 leaves"}), signals);
}

/*
 * With a handler of "array_notify", a copy of the list is changed. Proxies without an owner end with the reply that
 * mentions them, or when their last element is removed; reading the list makes them again.
 */
TEST_F(Updates, ReferencesAreTheSameAfterChangesInPlaceAndInACopy) {
    const struct {
        const char *op, *id, *alive;
        const char *left; /* NULL: the list is not read */
    } rows[] = {
        {"add", "1", "", "1 "},
        {"add", "2", "1 ", "1 2 "},
        {"add", "3", "1 2 ", "1 2 3 "},
        {"add", "2", "1 3 ", "1 2 3 2 "},
        {"remove", "3", "1 2 ", "1 2 2 "},
        {"remove", "2", "1 2 ", "1 2 "},
        {"remove", "4", "1 2 ", "1 2 "},
        {"remove", "vm-1", "2 ", "2 "}, /* known, but no element */
        {"add", "4", "2 ", nullptr},
        {"remove", "4", "2 ", "2 "},
        {"remove", "2", "", ""},
        {"add", "3", "", "3 "},
    };
    for (auto *machine : {Watched("vm-1"), Watched("vm-2")}) {
        if (machine->id == std::string("vm-2"))
            On(machine, "array_notify::datastore", [] {});
        const std::string prefix = std::string("ds of ") + machine->id + " ";
        for (const auto &row : rows) {
            const std::string id = row.id == std::string("vm-1") ? row.id : prefix + row.id;
            SCOPED_TRACE(row.op + (" " + id));
            signals.clear();
            Update(Modify(machine->id,
                          row.op == std::string("add")
                              ? Change("add", "datastore", Reference("val", "Datastore", id))
                              : Change("remove", "datastore[\"" + id + "\"]")));
            std::string alive;
            for (const char *each : {"1", "2", "3", "4"})
                alive += IsKnown(prefix + each) ? each + std::string(" ") : "";
            EXPECT_EQ(row.alive, alive);
            EXPECT_EQ(alive == "1 2 " && row.id == std::string("4") ? 0u : 1u, signals.size());
            if (row.left != nullptr) {
                EXPECT_EQ(row.left, Ids(machine, "datastore", prefix.size()));
            }
        }
    }
}

/* Those that an application owns, and those that properties mention, keep their places. */
TEST_F(Updates, ProxiesInArraysAreReleasedWithTheReply) {
    Watched("vm-1");
    const SkemaQormManagedObject *owned = Machine("vm-2");
    const auto list = [](const char *name, const char *id) {
        return Tag(name, Reference("ManagedObjectReference", "VirtualMachine", id),
                   " xsi:type=\"ArrayOfManagedObjectReference\"");
    };
    const auto entry = [&](const std::string &value) { return Tag("key", "k") + value; };
    const auto fault = [&](const std::string &arguments) {
        return Typed("NoPermission",
                     Tag("faultMessage", Tag("key", "k") + Tag("arg", entry(arguments))));
    };
    Update(Modify("vm-1",
                  Assign("unknown", list("val", "vm-8")) + Assign("unknown", list("val", "vm-2")) +
                      Assign("unknown", Typed("KeyAnyValue", entry(list("value", "vm-9")))) +
                      Assign("unknown", Typed("ArrayOfKeyAnyValue",
                                              Tag("KeyAnyValue", entry(list("value", "vm-10"))))) +
                      Assign("unknown", fault(list("value", "vm-11")))));
    for (const char *id : {"vm-8", "vm-9", "vm-10", "vm-11"})
        EXPECT_FALSE(IsKnown(id)) << id;
    EXPECT_EQ(owned, orvane_momgr_lookup(orvane_session_get_momgr(session), "vm-2"));
}

TEST_F(Updates, OfUnknownObjectsLeaveNoProxyBehind) {
    Update(Enter("VirtualMachine", "vm-7", Assign("name", String("a"))) +
           Modify("vm-8", Assign("name", String("a"))));
    EXPECT_FALSE(IsKnown("vm-7"));
    EXPECT_FALSE(IsKnown("vm-8"));
}

TEST_F(Updates, AVersionThatIsRefusedStartsFromTheBeginning) {
    SkemaQormManagedObject *machine = Watched("vm-1");
    service->Fail("InvalidCollectorVersion");
    ASSERT_TRUE(RunUntilWaiting());
    EXPECT_EQ(std::string::npos, service->Arguments("WaitForUpdatesEx").find("<version"));

    /* the service then sends all that it has again; loads still count */
    Update(Enter("VirtualMachine", "vm-1", Assign("name", String("again"))));
    EXPECT_EQ("again", Name(machine));
    EXPECT_EQ(1u, machine->loadCount);
    orvane_session_unload_object(session, machine, FALSE);
    EXPECT_TRUE(RunUntilCount("DestroyPropertyFilter", 1));
}

TEST_F(Updates, AnswersOfNoUseAreFollowedByTheNextWait) {
    SkemaQormManagedObject *machine = Watched("vm-1");
    const std::string useless[] = {
        "",
        "<returnval></returnval>",
        "<returnval><version></version></returnval>",
        "<returnval><version>9</version><filterSet></filterSet></returnval>",
        "<returnval xsi:type=\"xsd:string\">x</returnval>",
        "<returnval><version>9</version><filterSet><objectSet><kind>enter</kind></objectSet>"
        "<objectSet><kind>nonsense</kind><obj type=\"Nonsense\">x</obj></objectSet></filterSet>"
        "</returnval>"};
    for (const std::string &result : useless) {
        const size_t before = service->Count("WaitForUpdatesEx");
        service->Reply(result);
        ASSERT_TRUE(RunUntilWaiting()) << result;
        EXPECT_EQ(before + 1, service->Count("WaitForUpdatesEx")) << result;
    }
    for (const char *fault : {"SystemError", "RuntimeFault", "Unheard"}) {
        service->Fail(fault);
        ASSERT_TRUE(RunUntilWaiting()) << fault;
    }
    service->Cut();
    ASSERT_TRUE(RunUntilWaiting());
    Update(Modify("vm-1", Assign("name", String("second"))));
    EXPECT_EQ("second", Name(machine));
    EXPECT_EQ(ORVANE_SESSION_CONNECTED, orvane_session_get_state(session));
}

TEST_F(Updates, AnotherCollectorReplacesTheFirst) {
    OrvaneMOMgr *manager = orvane_session_get_momgr(session);
    const ObjectPtr<GObject> first(
        G_OBJECT(g_object_ref(orvane_momgr_lookup(manager, "collector"))));
    const guint references = first->ref_count;
    orvane_momgr_set_collector(
        manager,
        orvane_session_get_object(session, "other", SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR));
    EXPECT_EQ(references - 1, first->ref_count);
    Update("");
    EXPECT_NE(service->Requests().back().body.find(">other</_this>"), std::string::npos);
}

TEST_F(Updates, MayBeStoppedFromWithin) {
    SkemaQormManagedObject *machine = Watched("vm-1");
    Watched("vm-2");
    const auto changes = Modify("vm-1", Assign("name", String("2")) + Assign("name", String("3"))) +
                         Modify("vm-2", Assign("name", String("2"))) +
                         Enter("VirtualMachine", "vm-3");
    Ending outcome, load;
    Load(Machine("vm-3"), load.listener);
    onNotify = [&] {
        onNotify = nullptr;
        orvane_session_disconnect(session, outcome.listener);
    };
    service->Update(changes);
    ASSERT_TRUE(testLoop::RunUntil([&] { return outcome.times > 0; }));
    EXPECT_EQ("2", Name(machine)) << "what came after the disconnect is not applied";
    EXPECT_EQ(std::vector<std::string>{"vm-1 name"}, signals);
    EXPECT_EQ("failure RequestCanceled", load.text);
    EXPECT_EQ(0u, service->Count("WaitForUpdates"));
}

TEST_F(Updates, SessionAndProxiesMayDieInTheMiddle) {
    Watched("vm-1");
    Watched("vm-2");
    Ending load;
    Load(Machine("vm-3"), load.listener);
    onNotify = [&] {
        proxies.clear();
        g_clear_object(&session);
    };
    service->Update(Modify("vm-1", Assign("name", String("2")) + Change("remove", "tag[1]")) +
                    Modify("vm-2", Assign("name", String("2"))) + Enter("VirtualMachine", "vm-3"));
    ASSERT_TRUE(testLoop::RunUntil([&] { return session == nullptr; }));
    testLoop::Settle();
    EXPECT_EQ(std::vector<std::string>{"vm-1 name"}, signals);
    EXPECT_EQ("", load.text) << "its proxy died first";
}

TEST_F(Updates, AnUnloadInTheMiddleIsNoHarm) {
    SkemaQormManagedObject *machine = Watched("vm-1");
    onNotify = [&] {
        onNotify = nullptr;
        orvane_session_unload_object(session, machine, TRUE);
        proxies.clear();
    };
    Update(Modify("vm-1", Assign("name", String("2")) + Assign("name", String("3"))));
    EXPECT_EQ(0u, service->Arguments("DestroyPropertyFilter").size());
}

TEST_F(Updates, CancelingCallsTheServiceIfThereIsAListener) {
    Ending outcome;
    OrvaneMOMgr *manager = orvane_session_get_momgr(session);
    orvane_momgr_cancel_updates(manager, outcome.listener);
    ASSERT_TRUE(testLoop::RunUntil([&] { return outcome.times > 0; }));
    EXPECT_EQ("success", outcome.text);
    EXPECT_EQ(1u, service->Count("CancelWaitForUpdates"));
    service->Update("");
    testLoop::Settle();
    EXPECT_EQ(0u, service->Count("WaitForUpdatesEx"));
}

/* The manager may outlive its session while it is referenced. */
TEST_F(Updates, AManagerWithoutASessionDoesNothing) {
    const auto manager = MOMgrHold(orvane_session_get_momgr(session));
    g_clear_object(&session);
    Ending outcome;
    orvane_momgr_cancel_updates(manager.get(), nullptr);
    orvane_momgr_wait_for_updates(manager.get());
    orvane_momgr_retrieve_contents(manager.get(), nullptr, outcome.listener);
    EXPECT_EQ("failure", outcome.text);
}

} // namespace
