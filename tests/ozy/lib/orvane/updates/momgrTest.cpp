// The registry of proxies, and loads from the call to the answer.
#include "ozy/lib/orvane/updates/orvaneMOMgr.h"

#include <memory>
#include <utility>

#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "tests/ozy/lib/orvane/updates/managerTest.h"

namespace {

struct Registry : testing::Test {
    SkemaQormManagedObject *Get(const char *id) {
        return orvane_momgr_lookup_or_create(manager.get(), id, skema_ozy_folder_get_type());
    }
    SkemaQormManagedObject *Find(const char *id) { return orvane_momgr_lookup(manager.get(), id); }

    ObjectPtr<OrvaneSession> session{orvane_session_new()};
    ObjectPtr<OrvaneMOMgr> manager{orvane_momgr_new(session.get())};
};

TEST_F(Registry, AProxyLeavesWithItsLastReference) {
    auto proxy = Own(Get("a"));
    proxy.reset();
    EXPECT_EQ(nullptr, Find("a"));
    proxy = Own(Get("a"));
    manager.reset();
    EXPECT_STREQ("a", proxy->id) << "a manager that goes leaves owned proxies alone";
}

TEST_F(Registry, DiscardingFreesOnlyProxiesWithoutAnOwner) {
    const auto owned = Own(Get("owned"));
    gpointer unowned = Get("unowned");
    g_object_add_weak_pointer(static_cast<GObject *>(unowned), &unowned);
    orvane_momgr_discard_by_id(manager.get(), "owned");
    orvane_momgr_discard_by_id(manager.get(), "unowned");
    EXPECT_EQ(nullptr, unowned);
    EXPECT_EQ(nullptr, Find("owned"));
    const auto next = Own(Get("owned"));
    EXPECT_NE(owned.get(), next.get());

    Warnings warnings;
    orvane_momgr_discard_by_id(manager.get(), "unknown");
    ASSERT_EQ(1u, warnings.texts.size());
    EXPECT_THAT(warnings.texts[0], HasSubstr("'object'"));
}

TEST_F(Registry, AnotherProxyOfTheSameIdReplacesIt) {
    const auto first = Own(Get("a"));
    const auto second = Own(Get("b"));
    g_free(second->id);
    second->id = g_strdup("a");
    orvane_momgr_insert(manager.get(), second.get());
    EXPECT_EQ(second.get(), Find("a"));
    EXPECT_EQ(nullptr, Find("b"));
}

TEST_F(Registry, ProxiesWithoutAnOwnerDieWithTheManager) {
    gpointer proxies[100];
    for (gpointer &proxy : proxies) {
        proxy = Get(std::to_string(&proxy - proxies).c_str());
        g_object_add_weak_pointer(static_cast<GObject *>(proxy), &proxy);
    }
    manager.reset();
    for (gpointer proxy : proxies)
        EXPECT_EQ(nullptr, proxy);
}

using Loads = ManagerTest;

TEST_F(Loads, ElevenFiltersAreCreatedAtATime) {
    service->answers["CreateFilter"] = {};
    Ending outcomes[12];
    for (int i = 0; i < 12; i++)
        Load(Machine("vm-" + std::to_string(i)), outcomes[i].listener);
    EXPECT_TRUE(RunUntilCount("CreateFilter", 11));
    testLoop::Settle();
    EXPECT_EQ(11u, service->Count("CreateFilter"));

    Update(Enter("VirtualMachine", "vm-3", Assign("name", String("third"))));
    EXPECT_EQ("success", outcomes[3].text);
    EXPECT_EQ("third", Name(Machine("vm-3")));
    EXPECT_TRUE(RunUntilCount("CreateFilter", 12));
    EXPECT_NE(service->Arguments("CreateFilter").find(">vm-11<"), std::string::npos);
}

TEST_F(Loads, RequestsAllPropertiesOfOneObject) {
    orvane_session_load_object(session, TRUE, Machine("vm-1"), nullptr);
    ASSERT_TRUE(RunUntilCount("CreateFilter", 1));
    EXPECT_EQ("<spec xsi:type=\"PropertyFilterSpec\">"
              "<propSet xsi:type=\"PropertySpec\">"
              "<type xsi:type=\"xsd:string\">VirtualMachine</type>"
              "<all xsi:type=\"xsd:boolean\">1</all></propSet>"
              "<objectSet xsi:type=\"ObjectSpec\">"
              "<obj type=\"VirtualMachine\" xsi:type=\"ManagedObjectReference\">vm-1</obj>"
              "<skip xsi:type=\"xsd:boolean\">0</skip></objectSet></spec>"
              "<partialUpdates xsi:type=\"xsd:boolean\">1</partialUpdates>",
              service->Arguments("CreateFilter"));
}

TEST_F(Loads, AreCountedAndShareOneFilter) {
    SkemaQormManagedObject *machine = Machine("vm-1");
    Ending first, second, third;
    Load(machine, first.listener);
    Load(machine, second.listener);
    EXPECT_EQ(0u, machine->loadCount);
    ASSERT_TRUE(RunUntilCount("CreateFilter", 1));
    Update(Enter("VirtualMachine", "vm-1"));
    EXPECT_EQ(2u, machine->loadCount);
    EXPECT_EQ("success", first.text);
    EXPECT_EQ("success", second.text);

    Load(machine, third.listener);
    EXPECT_EQ("success", third.text) << "at once";
    for (int left = 2; left >= 0; left--) {
        EXPECT_EQ(0u, service->Count("DestroyPropertyFilter"));
        orvane_session_unload_object(session, machine, FALSE);
    }
    EXPECT_TRUE(RunUntilCount("DestroyPropertyFilter", 1));
    EXPECT_EQ(1u, service->Count("CreateFilter"));

    Warnings warnings;
    orvane_session_unload_object(session, machine, FALSE);
    ASSERT_EQ(1u, warnings.texts.size());
    EXPECT_THAT(warnings.texts[0],
                testing::MatchesRegex("orvane_momgr_unload_object: unbalanced unload count for "
                                      "object 0x[0-9a-f]+ \\(SkemaOzyVirtualMachine\\)\n"));
}

TEST_F(Loads, AnUnloadMayClearTheProperties) {
    SkemaQormManagedObject *machine = Machine("vm-1");
    for (const bool clear : {false, true}) {
        Ending outcome;
        Load(machine, outcome.listener);
        Update(Enter("VirtualMachine", "vm-1", Assign("name", String("a"))));
        int numNotified = 0;
        const gulong handler = On(machine, "notify::name", [&] { numNotified++; });
        orvane_session_unload_object(session, machine, clear);
        EXPECT_EQ(clear ? "(NULL)" : "a", Name(machine));
        EXPECT_EQ(clear ? 1 : 0, numNotified);
        g_signal_handler_disconnect(machine, handler);
    }
}

TEST_F(Loads, AFilterThatIsRefusedAnswersAllThatWait) {
    service->answers["CreateFilter"] = Fault("NoPermission");
    SkemaQormManagedObject *machine = Machine("vm-1");
    Ending first, second;
    Load(machine, first.listener);
    Load(machine, second.listener);
    ASSERT_TRUE(RunUntilEnd(second));
    EXPECT_EQ("failure NoPermission", first.text);
    EXPECT_EQ("failure NoPermission", second.text);
    EXPECT_EQ(0u, machine->loadCount);

    service->answers.erase("CreateFilter");
    Ending third;
    Load(machine, third.listener);
    Update(Enter("VirtualMachine", "vm-1"));
    EXPECT_EQ("success", third.text);
}

TEST_F(Loads, OfAProxyThatDiesEmitNothingAndLeaveNoFilter) {
    for (const bool isLoaded : {false, true}) {
        Ending outcome;
        Load(Machine("vm-1"), outcome.listener);
        if (isLoaded)
            Update(Enter("VirtualMachine", "vm-1"));
        proxies.clear();
        ASSERT_TRUE(RunUntilCount("DestroyPropertyFilter", 1));
        EXPECT_EQ("", service->Arguments("DestroyPropertyFilter"));
        Update(Enter("VirtualMachine", "vm-1"));
        EXPECT_EQ(isLoaded ? "success" : "", outcome.text);
        EXPECT_EQ(1u, service->Count("DestroyPropertyFilter"));
        if (!isLoaded) {
            EXPECT_EQ(ORVANE_LISTENER_PENDING, orvane_listener_get_state(outcome.listener));
        }
        service->Forget();
    }
}

/* Only the request for its filter refers to such a proxy, so it dies with the request. */
TEST_F(Loads, OfProxiesWithoutAnOwnerEmitNothing) {
    Ending outcomes[14];
    for (int i = 0; i < 14; i++)
        Load(orvane_session_get_object(session, std::to_string(i).c_str(),
                                       skema_ozy_virtual_machine_get_type()),
             outcomes[i].listener);
    ASSERT_TRUE(RunUntilCount("DestroyPropertyFilter", 11));
    Disconnect();
    for (int i = 0; i < 14; i++)
        EXPECT_EQ(i < 11 ? "" : "failure RequestCanceled", outcomes[i].text) << i;
}

TEST_F(Loads, AListenerThatDiesIsForgotten) {
    service->answers["CreateFilter"] = {};
    SkemaQormManagedObject *queued = nullptr;
    std::vector<std::unique_ptr<Ending>> outcomes;
    for (int i = 0; i < 13; i++) {
        queued = Machine("vm-" + std::to_string(i));
        outcomes.push_back(std::make_unique<Ending>());
        Load(queued, outcomes.back()->listener);
    }
    Ending second;
    Load(Machine("vm-0"), second.listener);
    ASSERT_TRUE(RunUntilCount("CreateFilter", 11));
    outcomes.clear();

    /* two that were queued have no listener any more */
    Update(Enter("VirtualMachine", "vm-0") + Enter("VirtualMachine", "vm-1"));
    testLoop::Settle();
    EXPECT_EQ(11u, service->Count("CreateFilter"));
    EXPECT_EQ("success", second.text);
    EXPECT_EQ(1u, Machine("vm-0")->loadCount);
    EXPECT_EQ(0u, Machine("vm-1")->loadCount);
}

TEST_F(Loads, AHandlerMayDropTheListenersBehindItAndLoadAgain) {
    SkemaQormManagedObject *machine = Machine("vm-1");
    Ending first, second, third, again;
    first.then = [&] {
        g_clear_object(&second.listener);
        g_clear_object(&first.listener);
        Load(machine, again.listener);
    };
    for (Ending *outcome : {&first, &second, &third})
        Load(machine, outcome->listener);
    Update(Enter("VirtualMachine", "vm-1"));
    EXPECT_EQ("success", first.text);
    EXPECT_EQ("", second.text);
    EXPECT_EQ("success", third.text);
    EXPECT_EQ("success", again.text);
    EXPECT_EQ(4u, machine->loadCount);
}

TEST_F(Loads, AListenerWaitsForOneLoadAtATime) {
    Ending outcome;
    Load(Machine("vm-1"), outcome.listener);
    {
        Warnings warnings;
        Load(Machine("vm-2"), outcome.listener);
        EXPECT_EQ(1u, warnings.texts.size());
    }
    Update(Enter("VirtualMachine", "vm-2"));
    EXPECT_EQ("", outcome.text);
    EXPECT_EQ(1u, Machine("vm-2")->loadCount);
    Update(Enter("VirtualMachine", "vm-1"));
    EXPECT_EQ("success", outcome.text);
}

/* Eleven proxies die, six while their filters are made and five after it: the twelfth load still starts. */
TEST_F(Loads, OfAStrictSessionGiveTheirPlacesBack) {
    orvane_session_set_strict_loads(session, TRUE);
    LoadMachines(0, 5);
    testLoop::Settle();
    service->answers["CreateFilter"] = {};
    LoadMachines(5, 11);
    ASSERT_TRUE(RunUntilCount("CreateFilter", 11));
    proxies.clear();
    service->answers.erase("CreateFilter");
    LoadMachines(11, 23);
    testLoop::Settle();
    EXPECT_EQ(22u, service->Count("CreateFilter"));

    /* an update of an object that nobody loads makes no room */
    Update(Enter("VirtualMachine", "vm-99"));
    testLoop::Settle();
    EXPECT_EQ(22u, service->Count("CreateFilter"));
    Update(Enter("VirtualMachine", "vm-11"));
    EXPECT_TRUE(RunUntilCount("CreateFilter", 23));
}

/* Six places are lost before the session becomes strict. */
TEST_F(Loads, GetLostPlacesBackWhenTheSessionBecomesStrict) {
    service->answers["CreateFilter"] = {};
    LoadMachines(0, 11);
    ASSERT_TRUE(RunUntilCount("CreateFilter", 11));
    proxies.clear();
    LoadMachines(11, 12);
    testLoop::Settle();
    EXPECT_EQ(11u, service->Count("CreateFilter"));
    orvane_session_set_strict_loads(session, TRUE);
    EXPECT_TRUE(RunUntilCount("CreateFilter", 12));
}

TEST_F(Loads, OfAMissingObjectFailInAStrictSession) {
    const std::string missing =
        "<missingSet>" + Reference("obj", "VirtualMachine", "vm-1") +
        "<fault><fault "
        "xsi:type=\"ManagedObjectNotFound\"/><localizedMessage>gone</localizedMessage>"
        "</fault></missingSet>";
    for (const bool isStrict : {false, true}) {
        orvane_session_set_strict_loads(session, isStrict);
        Ending outcome;
        Load(Machine("vm-1"), outcome.listener);
        testLoop::Settle();
        Update(missing);
        EXPECT_EQ(isStrict ? "failure ManagedObjectNotFound" : "", outcome.text);
        EXPECT_EQ(isStrict ? 1u : 0u, service->Count("DestroyPropertyFilter"));
        proxies.clear();
        testLoop::Settle();
        service->Forget();
    }
}

TEST_F(Loads, AllowAnythingInAHandlerOfTheCancel) {
    for (const bool drops : {false, true}) {
        service->answers["CreateFilter"] = {};
        Ending first, second, connect;
        Load(Machine("vm-1"), first.listener);
        Load(Machine("vm-2"), second.listener);
        ASSERT_TRUE(RunUntilCount("CreateFilter", 2));
        service->Forget();
        second.then = [&] {
            g_clear_object(&first.listener);
            g_clear_object(&second.listener);
            service->answers.erase("CreateFilter");
            if (drops) {
                g_clear_object(&session);
                return;
            }
            orvane_session_connect(session, Url().c_str(), "u", "p", connect.listener);
        };
        orvane_session_disconnect(session, nullptr);
        ASSERT_TRUE(RunUntilEnd(second));
        testLoop::Settle();
        EXPECT_EQ("", first.text);
        EXPECT_EQ("failure RequestCanceled", second.text);
        EXPECT_TRUE(drops || RunUntilEnd(connect));
        proxies.clear();
    }
}

TEST_F(Loads, ASessionThatIsDroppedCancelsThem) {
    Ending load, contents;
    SkemaQormManagedObject *machine = Machine("vm-1");
    Load(machine, load.listener);
    orvane_session_load_properties(session, machine, contents.listener, TRUE, nullptr);
    g_clear_object(&session);
    testLoop::Settle();
    EXPECT_EQ("failure RequestCanceled", load.text);
    EXPECT_EQ("failure RequestCanceled", contents.text);
    EXPECT_STREQ("vm-1", machine->id);
}

TEST_F(Loads, AProxyOfAFormerConnectionCanBeLoadedAgain) {
    SkemaQormManagedObject *machine = Machine("vm-1");
    Load(machine);
    Update(Enter("VirtualMachine", "vm-1"));
    EXPECT_EQ(1u, machine->loadCount);
    Disconnect();
    Connect();

    Ending outcome;
    Load(machine, outcome.listener);
    EXPECT_EQ("", outcome.text);
    EXPECT_TRUE(RunUntilCount("CreateFilter", 1));
    Update(Enter("VirtualMachine", "vm-1", Assign("name", String("b"))));
    EXPECT_EQ("success", outcome.text);
    EXPECT_EQ("b", Name(machine));

    /* but not if another proxy has its id by now */
    SkemaQormManagedObject *second = Machine("vm-2");
    Disconnect();
    Connect();
    Machine("vm-2");
    Ending refused;
    Load(second, refused.listener);
    EXPECT_EQ("failure", refused.text);
}

TEST_F(Loads, AFilterOfALoadGivenUpIsReplacedByTheNext) {
    auto outcome = std::make_unique<Ending>();
    SkemaQormManagedObject *machine = Machine("vm-1");
    Load(machine, outcome->listener);
    ASSERT_TRUE(RunUntilCount("CreateFilter", 1));
    testLoop::Settle();
    outcome.reset();
    Load(machine);
    ASSERT_TRUE(RunUntilCount("CreateFilter", 2));
    EXPECT_TRUE(RunUntilCount("DestroyPropertyFilter", 1));
    EXPECT_NE(service->Requests().back().body.find(">filter-2<"), std::string::npos)
        << "filter-1 is the authorization manager's";
}

/* A proxy without an id cannot be called, so nothing is sent, and no reply would come. */
TEST_F(Loads, ThatCannotBeSentFailAtOnce) {
    SkemaQormManagedObject *collector =
        orvane_momgr_lookup(orvane_session_get_momgr(session), "collector");
    char *id = std::exchange(collector->id, nullptr);
    Ending first;
    Load(Machine("vm-0"), first.listener);
    EXPECT_EQ("failure Unexpected", first.text);

    /* each failure starts the next that waits, which must not nest */
    collector->id = id;
    service->answers["CreateFilter"] = {};
    constexpr int kNumLoads = 200;
    std::vector<std::unique_ptr<Ending>> outcomes;
    std::vector<const char *> frames;
    for (int i = 1; i <= kNumLoads; i++) {
        outcomes.push_back(std::make_unique<Ending>());
        outcomes.back()->then = [&, ending = outcomes.back().get()] {
            if (ending->text != "success")
                frames.push_back(static_cast<const char *>(__builtin_frame_address(0)));
        };
        Load(Machine("vm-" + std::to_string(i)), outcomes.back()->listener);
    }
    collector->id = nullptr;
    service->Update(Enter("VirtualMachine", "vm-1"));
    EXPECT_TRUE(testLoop::RunUntil([&] { return outcomes.back()->times > 0; }));
    EXPECT_EQ("success", outcomes[0]->text);
    EXPECT_EQ("", outcomes[1]->text) << "its CreateFilter call had been sent";
    EXPECT_EQ("failure Unexpected", outcomes[11]->text);
    ASSERT_EQ(kNumLoads - 11u, frames.size());
    EXPECT_EQ(frames.front(), frames.back());
    EXPECT_EQ(ORVANE_SESSION_INTERRUPTED, orvane_session_get_state(session))
        << "the next wait could not be sent either";
    collector->id = id;
}

/* Reading contents once. */
struct Contents : ManagerTest {
    static std::string Content(const std::string &id, const std::string &name) {
        return Tag("returnval", Reference("obj", "VirtualMachine", id) +
                                    Tag("propSet", Tag("name", "name") + String(name)));
    }
    void Answer(const std::string &results) {
        service->answers["RetrieveProperties"] =
            HttpReply(ResponseText("RetrieveProperties", results));
    }
};

TEST_F(Contents, AreWrittenIntoTheProxiesThatAreTheResult) {
    Answer(Content("vm-1", "a") + Content("vm-2", "b"));
    SkemaQormManagedObject *machine = Machine("vm-1");
    Ending outcome;
    outcome.keeps = true;
    orvane_session_load_properties(session, machine, outcome.listener, FALSE, "name", nullptr);
    ASSERT_TRUE(RunUntilEnd(outcome));
    EXPECT_EQ("<specSet xsi:type=\"PropertyFilterSpec\">"
              "<propSet xsi:type=\"PropertySpec\">"
              "<type xsi:type=\"xsd:string\">VirtualMachine</type>"
              "<all xsi:type=\"xsd:boolean\">0</all>"
              "<pathSet xsi:type=\"xsd:string\">name</pathSet></propSet>"
              "<objectSet xsi:type=\"ObjectSpec\">"
              "<obj type=\"VirtualMachine\" xsi:type=\"ManagedObjectReference\">vm-1</obj>"
              "<skip xsi:type=\"xsd:boolean\">0</skip></objectSet></specSet>",
              service->Arguments("RetrieveProperties"));
    EXPECT_EQ("a", Name(machine));

    Value result;
    ASSERT_TRUE(orvane_listener_get_result(outcome.listener, result.get()));
    ASSERT_EQ(2u, result.Array()->n_values);
    EXPECT_EQ(machine, g_value_get_object(&result.Array()->values[0]));
    EXPECT_EQ("b", Name(Machine("vm-2")));
    gboolean isArray = FALSE;
    EXPECT_EQ(SKEMA_TYPE_QORM_MANAGED_OBJECT,
              orvane_listener_get_return_type(outcome.listener, &isArray));
    EXPECT_TRUE(isArray);
}

TEST_F(Contents, ReleaseProxiesOfListsThatNobodyOwns) {
    const auto property = [](const char *name, const char *id) {
        return Tag("propSet", Tag("name", name) + ListOf("Datastore", id));
    };
    Answer(Tag("returnval", Reference("obj", "VirtualMachine", "vm-1") +
                                property("unknown", "ds-1") + property("datastore", "ds-2") +
                                property("unknown", "ds-3")));
    const auto owned = Owned("ds-3", SKEMA_TYPE_OZY_DATASTORE);
    SkemaQormManagedObject *machine = Machine("vm-1");
    OrvaneMOMgr *manager = orvane_session_get_momgr(session);
    Ending outcome;
    orvane_session_load_properties(session, machine, outcome.listener, TRUE, nullptr);
    ASSERT_TRUE(RunUntilEnd(outcome));
    EXPECT_EQ(nullptr, orvane_momgr_lookup(manager, "ds-1"));
    EXPECT_EQ(nullptr, orvane_momgr_lookup(manager, "ds-2"));
    EXPECT_EQ(owned.get(), orvane_momgr_lookup(manager, "ds-3"));
    const auto list = GetList(machine, "datastore");
    ASSERT_EQ(1u, list->n_values);
    EXPECT_EQ(orvane_momgr_lookup(manager, "ds-2"), g_value_get_object(&list->values[0]));
}

TEST_F(Contents, MayBeNone) {
    Answer("");
    Ending outcome;
    outcome.keeps = true;
    orvane_session_load_properties(session, Machine("vm-1"), outcome.listener, TRUE, nullptr);
    ASSERT_TRUE(RunUntilEnd(outcome));
    Value result;
    EXPECT_TRUE(orvane_listener_get_result(outcome.listener, result.get()));
    EXPECT_EQ(nullptr, result.Array());
}

TEST_F(Contents, OfACallThatFailsAreAnsweredWhenTheConnectionEnds) {
    service->answers["RetrieveProperties"] = Fault("NoPermission");
    SkemaQormManagedObject *machine = Machine("vm-1");
    Ending outcome;
    auto dropped = std::make_unique<Ending>();
    for (Ending *each : {&outcome, dropped.get()})
        orvane_session_load_properties(session, machine, each->listener, TRUE, nullptr);
    ASSERT_TRUE(RunUntilCount("RetrieveProperties", 2));
    testLoop::Settle();
    EXPECT_EQ("", outcome.text);
    dropped.reset();
    Disconnect();
    EXPECT_EQ("failure RequestCanceled", outcome.text);

    Ending late;
    orvane_session_load_properties(session, machine, late.listener, TRUE, nullptr);
    EXPECT_EQ("failure", late.text);

    orvane_session_set_strict_loads(session, TRUE);
    Connect();
    Ending strict;
    orvane_session_load_properties(session, machine, strict.listener, TRUE, nullptr);
    Wait(strict);
    EXPECT_EQ("failure NoPermission", strict.text);
}

} // namespace
