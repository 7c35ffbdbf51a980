// Logins that the service ends: who notices, what is sent again, and how often.
#include <orvane/filter.h>
#include <orvane/specBuilders.h>

#include "tests/ozy/lib/orvane/session/renewalFixture.h"
#include "tests/support/temporaryFolder.h"
#include "tools/simulator/estate.h"

namespace {

using simulator::TroubleKind;

constexpr const char *kNotAuthenticated = "fault SkemaOzyFaultNotAuthenticated";

} // namespace

class Relogin : public RenewalTest {
protected:
    void SetUp() override { Begin(); }

    void Begin(const simulator::Options &options = {.hosts = 1, .machines = 3}) {
        Start(options);
        GiveCredentials();
        ASSERT_TRUE(Connect());
    }
    /* The service ends the login; what follows from that has happened. */
    void Expire() {
        server->ExpireSessions();
        testLoop::Settle();
    }
    /* A filter of the names of machines that begins at an object. */
    guint AddFilter(Proxy *from, const OrvaneFilterFuncs *functions, gpointer data) {
        const ObjectPtr<GObject> spec(orvane_filter_spec_new(
            TRUE, orvane_property_spec_new(SKEMA_TYPE_OZY_VIRTUAL_MACHINE, FALSE, "name", nullptr),
            orvane_object_spec_new(from, FALSE, TRUE, nullptr), nullptr));
        const guint id =
            orvane_session_add_filter(session, spec.get(), TRUE, functions, data, nullptr);
        testLoop::Settle();
        return id;
    }
};

TEST_F(Relogin, CallsShareOneLoginAndAreSentAgain) {
    server->ExpireSessions();
    for (int i = 0; i < 5; i++)
        Call(std::to_string(i));
    testLoop::Settle();
    for (int i = 0; i < 5; i++)
        EXPECT_EQ("succeeded", ends[std::to_string(i)]);
    EXPECT_THAT(events, ElementsAre("credentials")) << "one question, and no state";
    EXPECT_EQ(1, server->NumCalls("Login"));
    EXPECT_TRUE(IsWaiting());
    EXPECT_EQ(1, server->NumSessions());

    /* once more, since updates have been received; the update stream itself notices */
    events.clear();
    Expire();
    EXPECT_THAT(events, ElementsAre("credentials"));
    EXPECT_TRUE(IsWaiting());
}

TEST_F(Relogin, LoadedObjectsAreComparedAndFollowed) {
    Proxy *first = Load("vm-101");
    Load("vm-102");
    const auto former = GetObject(first, "config");
    EXPECT_TRUE(IsWaiting());
    events.clear();

    server->ExpireSessions();
    ASSERT_TRUE(Rename("vm-101", "other"));
    ASSERT_TRUE(server->RemoveMachine("vm-102"));
    server->DenyProperty("VirtualMachine", "guestHeartbeatStatus");
    server->DenyProperty("VirtualMachine", "layout");
    testLoop::Settle();
    EXPECT_TRUE(IsWaiting());
    EXPECT_THAT(events, Contains("vm-101 name").Times(1));
    EXPECT_THAT(events, Contains("leave").Times(1));
    EXPECT_THAT(events, Not(Contains("vm-101 config"))) << "it is the same";
    EXPECT_EQ("other", Name(first));
    EXPECT_EQ(former, GetObject(first, "config"));

    EXPECT_EQ(2, server->NumFilters()) << "of the machine and of the roles";
    events.clear();
    Rename("vm-101", "third");
    testLoop::Settle();
    EXPECT_THAT(events, ElementsAre("vm-101 name"));
    orvane_session_unload_object(session, first, FALSE);
    testLoop::Settle();
    EXPECT_EQ(1, server->NumFilters());
}

TEST_F(Relogin, APropertyThatIsNoLongerSentIsReset) {
    Proxy *proxy = Load("vm-101");
    ASSERT_NE("", Name(proxy));
    EXPECT_TRUE(IsWaiting());
    events.clear();
    server->DenyProperty("VirtualMachine", "name");
    Expire();
    EXPECT_TRUE(IsWaiting());
    EXPECT_THAT(events, ElementsAre("credentials", "vm-101 name"));
    EXPECT_EQ("", Name(proxy));
}

TEST_F(Relogin, NothingIsResetAfterAHandlerHasEndedTheConnection) {
    Proxy *proxy = Load("vm-101");
    EXPECT_TRUE(IsWaiting());
    On(proxy, "notify", [this] { orvane_session_disconnect(session, nullptr); });
    events.clear();
    server->DenyProperty("VirtualMachine", "name");
    server->DenyProperty("VirtualMachine", "runtime");
    Expire();
    EXPECT_EQ(1, std::ranges::count_if(
                     events, [](const std::string &event) { return event.starts_with("vm-101"); }));
}

/* More objects than there are places, and one that is released while it waits for its turn. */
TEST_F(Relogin, ManyFiltersAreMadeAnew) {
    Begin({.hosts = 1, .machines = 40});
    for (const std::string &id : server->Ids("VirtualMachine"))
        Load(id.c_str());
    EXPECT_TRUE(IsWaiting());
    server->ExpireSessions();
    EXPECT_TRUE(Until([&] { return server->NumFilters() >= 5; }));
    proxies.pop_back();
    EXPECT_TRUE(Until([&] { return server->NumFilters() == 40; }));
    testLoop::Settle();
    EXPECT_EQ(40, server->NumFilters()) << "39 machines, and the roles";
    events.clear();
    Rename("vm-139", "x");
    testLoop::Settle();
    EXPECT_THAT(events, ElementsAre("vm-139 name"));
}

TEST_F(Relogin, AnOpenLoadAndATaskGoOn) {
    BeginPowerOn("task", "vm-101");
    EXPECT_TRUE(Until([&] { return server->NumFilters() == 2; }));
    BeginLoad("load", "vm-102");
    Expire();
    EXPECT_EQ("succeeded", ends["load"]);
    Move(3000);
    EXPECT_TRUE(Until([&] { return ends.contains("task"); }));
    EXPECT_EQ("succeeded", ends["task"]);
}

/* The service was replaced, so that it knows neither the login nor the task. */
TEST_F(Relogin, ATaskThatIsGoneFails) {
    for (const bool isLoaded : {true, false}) {
        SCOPED_TRACE(isLoaded);
        Begin();
        if (!isLoaded) { /* no update tells of the task */
            server->AddTrouble({.kind = TroubleKind::Silent, .method = "WaitForUpdatesEx"});
            Load("vm-102");
            testLoop::Settle();
        }
        BeginPowerOn("task", "vm-101");
        testLoop::Settle();
        events.clear();
        ends.clear();
        const int port = server->Port();
        StopServer();
        StartServer({.port = port, .hosts = 1, .machines = 3});
        EXPECT_TRUE(Until([&] { return ends.contains("task"); }));
        EXPECT_EQ("fault SkemaQormFaultManagedObjectNotFound", ends["task"]);
        EXPECT_TRUE(IsState(ORVANE_SESSION_CONNECTED));
    }
}

TEST_F(Relogin, AFilterOfTheApplicationStartsAgain) {
    OrvaneFilterFuncs functions = {};
    functions.created = [](SkemaQormMethodFault *fault, gpointer data) {
        static_cast<Texts *>(data)->emplace_back(fault ? "failed" : "created");
    };
    functions.entered = [](SkemaQormManagedObject *object, gpointer data) {
        static_cast<Texts *>(data)->push_back(std::string("entered ") + object->id);
    };
    functions.restarted = [](gpointer data) {
        static_cast<Texts *>(data)->emplace_back("restarted");
    };
    functions.finished = [](gboolean isWhole, gpointer data) {
        static_cast<Texts *>(data)->emplace_back(isWhole ? "finished" : "more");
    };
    Proxy *proxy = Machine("vm-101");
    Texts log, empty;
    const guint filter = AddFilter(proxy, &functions, &log);
    EXPECT_THAT(log, ElementsAre("created", "entered vm-101", "finished"));
    On(proxy, "notify::name", [&] { log.emplace_back("notify"); });
    Expire();
    EXPECT_THAT(log, ElementsAre("created", "entered vm-101", "finished", "restarted", "created",
                                 "entered vm-101", "finished"));
    log.clear();
    Rename("vm-101", "x");
    testLoop::Settle();
    EXPECT_THAT(log, ElementsAre("notify", "finished"));

    /* what the service no longer sends is reset, */
    log.clear();
    server->DenyProperty("VirtualMachine", "name");
    Expire();
    EXPECT_THAT(log, ElementsAre("restarted", "created", "notify", "entered vm-101", "finished"));
    EXPECT_EQ("", Name(proxy));
    /* and a filter that matches nothing is complete as well */
    const auto folder =
        Own(orvane_session_get_object(session, simulator::kRootFolderId, SKEMA_TYPE_OZY_FOLDER));
    const guint filterOfNone = AddFilter(folder.get(), &functions, &empty);
    Expire();
    EXPECT_THAT(empty, ElementsAre("created", "restarted", "created", "finished"));
    EXPECT_TRUE(IsWaiting());
    orvane_session_remove_filter(session, filterOfNone);
    orvane_session_remove_filter(session, filter);
    testLoop::Settle();
    EXPECT_EQ(1, server->NumFilters());
}

TEST_F(Relogin, ASecondRefusalIsTheEndOfTheCall) {
    Refuse("CurrentTime");
    EXPECT_EQ(kNotAuthenticated, Finish("a"));
    EXPECT_EQ(2, server->NumCalls("CurrentTime"));
    EXPECT_EQ(1, server->NumCalls("Login"));
    EXPECT_TRUE(IsState(ORVANE_SESSION_CONNECTED));
}

/* A service that accepts the login and refuses everything. */
TEST_F(Relogin, ThePausesGrowUntilUpdatesCome) {
    for (const char *method : {"WaitForUpdatesEx", "CreateFilter", "CurrentTime"})
        Refuse(method);
    Expire();
    EXPECT_EQ(1, server->NumCalls("Login"));
    const auto Logins = [&](int seconds) {
        server->ResetCounters();
        MoveSeconds(seconds);
        return server->NumCalls("Login");
    };
    const int numEarly =
        Logins(20); /* after 0.5..1, 1..2, 2..4, 4..8 and 8..16 s, looked at each second */
    EXPECT_GE(numEarly, 3);
    EXPECT_LE(numEarly, 6);
    Logins(120);
    const int numLate = Logins(120); /* every 30 to 60 s */
    EXPECT_GE(numLate, 2);
    EXPECT_LE(numLate, 4);
    EXPECT_TRUE(IsState(ORVANE_SESSION_CONNECTED));

    server->ClearTroubles();
    EXPECT_TRUE(MoveUntil([&] { return server->NumWaiting() == 1; }));
    server->ResetCounters();
    Expire();
    EXPECT_EQ(1, server->NumCalls("Login")) << "at once again";
}

/* One that accepts the login and some filters, so that updates come, and refuses the rest. */
TEST_F(Relogin, ThePausesGrowUntilTheFiltersAreComplete) {
    Load("vm-101");
    EXPECT_TRUE(IsWaiting());
    const std::function<void()> arm = [&] {
        inCredentials = arm;
        server->ClearTroubles();
        Refuse("CreateFilter", -1, "NotAuthenticated", 1);
    };
    inCredentials = arm;
    server->ResetCounters();
    server->ExpireSessions();
    MoveSeconds(20);
    EXPECT_GE(server->NumCalls("Login"), 3);
    EXPECT_LE(server->NumCalls("Login"), 7);
    inCredentials = [&] { server->ClearTroubles(); };
    EXPECT_TRUE(MoveUntil([&] { return server->NumFilters() == 2; }));
}

/* A late refusal of a call of a former login does not disturb those that wait for the next one. */
TEST_F(Relogin, ACallOfAFormerLoginWaitsForTheOneThatIsDue) {
    server->AddTrouble({.kind = TroubleKind::Slow, .method = "CurrentTime", .delayMs = 5000});
    Call("slow");
    testLoop::Settle();
    Expire();
    EXPECT_TRUE(IsWaiting());
    server->AddTrouble({.kind = TroubleKind::Silent, .method = "Login"});
    server->ExpireSessions();
    Call("a");
    testLoop::Settle();
    Move(5000);
    EXPECT_TRUE(ends.empty());
    EXPECT_EQ(2, server->NumCalls("CurrentTime"));
}

/* The function runs a loop of its own until the login has been tried again. */
TEST_F(Relogin, CredentialsThatComeTooLateAreNotSent) {
    inCredentials = [&] {
        server->AddTrouble({.kind = TroubleKind::Silent, .method = "Login"});
        Move(61000);
        Move(1000);
    };
    Expire();
    EXPECT_EQ(1, server->NumCalls("Login")) << "the second is in progress";
    Move(61000);
    Move(2000);
    EXPECT_TRUE(IsWaiting());
}

TEST_F(Relogin, NothingIsSentAgainAfterADisconnect) {
    OrvaneFilterFuncs functions = {};
    functions.restarted = [](gpointer data) {
        orvane_session_disconnect(static_cast<OrvaneSession *>(data), nullptr);
    };
    AddFilter(Machine("vm-101"), &functions, session);
    server->ExpireSessions();
    EXPECT_EQ("disconnected", Finish("a"));
    EXPECT_EQ(1, server->NumCalls("CurrentTime"));
}

TEST_F(Relogin, ARefusedLoginEndsTheCallsAsTheyWereRefused) {
    for (const char *given : {"wrong", ""}) {
        SCOPED_TRACE(given);
        Begin();
        password = given;
        server->ExpireSessions();
        EXPECT_EQ(kNotAuthenticated, Finish("a"));
        EXPECT_THAT(events, ElementsAre("credentials", "state 16"));
        Move(120000);
        EXPECT_EQ(*given ? 1 : 0, server->NumCalls("Login")) << "no account is locked";
    }
}

TEST_F(Relogin, ALoginThatIsNotAnsweredIsTriedAgain) {
    server->AddTrouble({.kind = TroubleKind::Silent, .method = "Login"});
    server->ExpireSessions();
    Call("a");
    testLoop::Settle();
    EXPECT_TRUE(ends.empty());
    Move(61000);
    EXPECT_EQ(kNotAuthenticated, ends["a"]);
    EXPECT_TRUE(IsState(ORVANE_SESSION_CONNECTED));
    Move(1000);
    EXPECT_EQ(2, server->NumCalls("Login"));
    EXPECT_TRUE(IsWaiting());
}

TEST_F(Relogin, LimitsAndAbortsHoldForACallThatWaits) {
    server->AddTrouble({.kind = TroubleKind::Silent, .method = "Login"});
    server->ExpireSessions();
    Call("aborted");
    OrvaneListener *aborted = last;
    const OrvaneTimeLimits limits = {0, 0, 5000};
    orvane_session_set_time_limits(session, &limits);
    Call("late");
    testLoop::Settle();
    EXPECT_TRUE(orvane_listener_abort(aborted));
    Move(5000);
    EXPECT_EQ("cancelled SkemaQormFaultRequestCanceled", ends["aborted"]);
    EXPECT_EQ("timed-out OrvaneFaultInvalidResponse", ends["late"]);
    Move(60000);
    Move(1000);
    EXPECT_TRUE(IsWaiting());
    EXPECT_EQ(2, server->NumCalls("CurrentTime")) << "neither was sent again";
}

TEST_F(Relogin, OtherRefusalsAndOtherConnectionsStayAsTheyAre) {
    Refuse("CurrentTime", 1, "NoPermission");
    Call("a");
    testLoop::Settle();
    EXPECT_EQ("fault SkemaOzyFaultNoPermission", ends["a"]);
    EXPECT_TRUE(events.empty());
    Refuse("WaitForUpdatesEx", 1, "NoPermission");
    Rename("vm-101", "x");
    Load("vm-101");
    testLoop::Settle();
    EXPECT_THAT(events, Contains("state 16"));
    EXPECT_EQ(0, server->NumCalls("Login"));
}

TEST_F(Relogin, ALocalSessionGetsAnotherTicket) {
    const TemporaryFolder folder;
    Start({.hosts = 1, .machines = 3, .ticketDirectory = folder.Path()});
    GiveCredentials();
    const std::string proxy =
        folder.Write("proxy.xml", "<ConfigRoot><httpPort>" + std::to_string(server->Port()) +
                                      "</httpPort></ConfigRoot>");
    setenv("HALDEN_PROXY_FILEPATH", proxy.c_str(), 1);
    Do("connect",
       [&](auto *l) { orvane_session_connect_local(session, FALSE, "administrator", l); });
    ASSERT_TRUE(WaitConnected());
    for (int i = 0; i < 2; i++) {
        server->ExpireSessions();
        EXPECT_EQ("succeeded", Finish("a"));
        EXPECT_TRUE(IsWaiting());
    }
    EXPECT_EQ(2, server->NumCalls("AcquireLocalTicket"));
    EXPECT_TRUE(events.empty()) << "no question";

    server->AddTrouble({.kind = TroubleKind::NoResult, .method = "AcquireLocalTicket"});
    server->ExpireSessions();
    EXPECT_EQ(kNotAuthenticated, Finish("b"));
    unsetenv("HALDEN_PROXY_FILEPATH");
}

TEST_F(Relogin, AHijackedSessionHasNone) {
    Call("a");
    testLoop::Settle();
    const std::string used = server->LastHeader("CurrentTime", "cookie");
    OrvaneSession *owner = std::exchange(session, orvane_session_new());
    GiveCredentials();
    Do("connect",
       [&](auto *l) { orvane_session_hijack(session, server->Url().c_str(), used.c_str(), l); });
    testLoop::Settle();
    ASSERT_EQ("succeeded", ends["connect"]);
    g_object_unref(owner);
    events.clear();
    Expire();
    EXPECT_TRUE(IsState(ORVANE_SESSION_INTERRUPTED));
    EXPECT_TRUE(events.empty());
}

TEST_F(Relogin, TheFunctionMayEndTheSession) {
    const std::function<void()> kEnds[] = {
        [&] { orvane_session_disconnect(session, nullptr); },
        [&] { g_clear_object(&session); },
        [&] { orvane_session_set_credentials_func(session, nullptr, nullptr, nullptr); },
    };
    for (const auto &end : kEnds) {
        Begin();
        inCredentials = end;
        server->ExpireSessions();
        Call("a");
        testLoop::Settle();
        EXPECT_TRUE(ends.contains("a"));
    }
}
