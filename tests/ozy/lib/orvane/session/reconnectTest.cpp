// Sessions that connect again by themselves, against services that go, come back, and come back as something else.

#include <random>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "ozy/lib/orvane/session/orvaneSessionBackOff.h"
#include "tests/ozy/lib/orvane/session/askedApplication.h"
#include "tests/ozy/lib/orvane/session/renewalFixture.h"
#include "tests/support/temporaryFolder.h"
#include "tools/certificates/certificateKind.h"

using simulator::TroubleKind;

constexpr const char *kDisconnected = "disconnected SkemaQormFaultRequestCanceled";

class Reconnect : public RenewalTest {
protected:
    void SetUp() override { Begin(); }

    void Begin(const simulator::Options &options = {.hosts = 1, .machines = 3}) {
        former = options;
        Start(options);
        attempts.clear();
        delays.clear();
        password = "secret";
        GiveCredentials();
        policy = {1000, 60000, 0, OnReconnecting, OnReconnected, OnGone, this, nullptr};
        orvane_session_set_reconnect(session, &policy);
        prepare();
        ASSERT_TRUE(Connect());
    }
    /* The service is gone, and the session knows it. */
    void Lose() {
        port = server->Port();
        BreakOff();
        EXPECT_TRUE(UntilTry());
        StopServer();
        StartIdle();
    }
    /* The service closes all connections, and accepts none. */
    void BreakOff() {
        server->SetListening(false);
        server->ResetConnections();
    }
    bool UntilTry() {
        return Until([&] { return !delays.empty(); });
    }
    /* The service takes the permission for updates away, for once. What else is open stays so. */
    void RefuseUpdates() {
        Refuse("WaitForUpdatesEx", 1, "NoPermission");
        Rename("vm-103", "other");
        EXPECT_TRUE(UntilTry());
    }
    /* Another one is in its place. */
    void ComeBack(simulator::Options options) {
        options.port = port;
        StopServer();
        StartServer(std::move(options));
    }
    void ComeBack() { ComeBack(former); }
    /* The next try will find the service. */
    void LoseAndFind() {
        Lose();
        ComeBack();
    }
    /* A try has asked the application about a certificate, and waits for its answer. */
    void BeginAsked() {
        application = {};
        prepare = [&] { application.Watch(session); };
        Begin({.hosts = 1, .machines = 1, .certificateKind = "self-signed"});
        LoseAndFind();
        application.answer = Answer::Later;
        Move(1000);
        ASSERT_NE(nullptr, application.open);
    }
    /* A service elsewhere, whose clock is moved. */
    void StartIdle() { StartServer({.hosts = 1, .machines = 1}); }
    bool UntilConnected() {
        return MoveUntil([&] { return IsState(ORVANE_SESSION_CONNECTED); }) && IsWaiting();
    }
    std::string LastError() {
        GError *error = nullptr;
        if (!orvane_session_get_reconnect_error(session, &error))
            return "";
        const std::string text = error->message;
        g_error_free(error);
        return text;
    }

    Application application;
    OrvaneReconnect policy = {};
    std::vector<guint> attempts;
    std::vector<guint> delays;
    simulator::Options former;
    int port = 0;
    std::function<void()> prepare = [] {};
    std::function<void(const std::string &)> inPolicy = [](const std::string &) {};

private:
    void Say(const std::string &event) {
        events.push_back(event);
        inPolicy(event);
    }
    static void OnReconnecting(OrvaneSession *, guint attempt, guint delay, gpointer data) {
        auto *test = static_cast<Reconnect *>(data);
        test->attempts.push_back(attempt);
        test->delays.push_back(delay);
        test->inPolicy("reconnecting");
    }
    static void OnReconnected(OrvaneSession *, gpointer data) {
        static_cast<Reconnect *>(data)->Say("reconnected");
    }
    static void OnGone(OrvaneSession *, SkemaQormManagedObject *object, gpointer data) {
        static_cast<Reconnect *>(data)->Say(std::string("gone ") + object->id);
    }
};

TEST_F(Reconnect, LoadedObjectsComeBackAsTheyAreNow) {
    Proxy *first = Load("vm-101");
    Follow("vm-102");
    Lose();
    EXPECT_THAT(events, ElementsAre("state 16"));
    EXPECT_THAT(attempts, ElementsAre(1));
    ComeBack();
    Rename("vm-101", "other");
    server->RemoveMachine("vm-102");
    ASSERT_TRUE(UntilConnected());
    testLoop::Settle();
    EXPECT_THAT(events, AllOf(Contains("vm-101 name").Times(1), Contains("gone vm-102").Times(1),
                              Contains("leave").Times(1), Not(Contains("vm-101 config"))));
    EXPECT_EQ((Texts{"state 16", "credentials", "state 4", "reconnected"}),
              Texts(events.begin(), events.begin() + 4));
    EXPECT_EQ("other", Name(first));
    EXPECT_EQ(2, server->NumFilters());
    EXPECT_FALSE(orvane_session_get_reconnect_error(session, nullptr));

    events.clear();
    Rename("vm-101", "third");
    testLoop::Settle();
    EXPECT_THAT(events, ElementsAre("vm-101 name"));
    EXPECT_EQ("succeeded", Finish("a"));

    /* and a second time */
    LoseAndFind();
    ASSERT_TRUE(UntilConnected());
    EXPECT_EQ("vm-101", std::string(first->id));
}

TEST_F(Reconnect, WhatIsOpenEndsAsDisconnected) {
    Load("vm-103");
    server->AddTrouble({.kind = TroubleKind::Silent, .method = "CurrentTime", .count = 2});
    Call("call");
    BeginPowerOn("task", "vm-101");
    EXPECT_TRUE(Until([&] { return server->NumFilters() == 3; }));
    server->AddTrouble({.kind = TroubleKind::Silent, .method = "CreateFilter"});
    BeginLoad("load", "vm-102");
    ends.clear();
    testLoop::Settle();
    ASSERT_TRUE(ends.empty());
    RefuseUpdates();
    testLoop::Settle();
    EXPECT_THAT(ends, testing::UnorderedElementsAre(testing::Pair("call", kDisconnected),
                                                    testing::Pair("task", kDisconnected),
                                                    testing::Pair("load", kDisconnected)));
    Call("meanwhile");
    server->ResetCounters();
    ASSERT_TRUE(UntilConnected());
    EXPECT_EQ(kDisconnected, ends["meanwhile"]);
    EXPECT_EQ(2, server->NumCalls("CreateFilter")) << "of the roles and of vm-103";
}

/* A load without a listener, and an unload, while there is no connection. */
TEST_F(Reconnect, UnloadsAndLoadsWithoutListenersAreRemembered) {
    Proxy *first = Load("vm-101");
    Load("vm-103");
    server->AddTrouble({.kind = TroubleKind::Silent, .method = "CreateFilter"});
    Proxy *second = Machine("vm-102");
    orvane_session_load_object(session, FALSE, second, nullptr);
    testLoop::Settle();
    RefuseUpdates();
    orvane_session_unload_object(session, first, FALSE);
    server->ResetCounters();
    ASSERT_TRUE(UntilConnected());
    testLoop::Settle();
    EXPECT_EQ(3, server->NumCalls("CreateFilter")) << "of the roles, vm-102 and vm-103";
    EXPECT_NE("", Name(second));
}

TEST_F(Reconnect, DelaysDoubleAndAreRandom) {
    Lose();
    ASSERT_TRUE(MoveUntil([&] { return delays.size() >= 9; }, 300));
    const guint kLongest[] = {1000, 2000, 4000, 8000, 16000, 32000, 60000, 60000, 60000};
    for (size_t i = 0; i < 9; i++) {
        EXPECT_LE(delays[i], kLongest[i]);
        EXPECT_GE(delays[i], kLongest[i] / 2);
        EXPECT_EQ(i + 1, attempts[i]);
    }
    EXPECT_THAT(LastError(), HasSubstr("refused"));
    EXPECT_THAT(events, ElementsAre("state 16"));
}

TEST_F(Reconnect, AThousandSessionsSpreadTheirTries) {
    for (guint tries : {0u, 3u, 20u}) {
        constexpr int kSlots = 10;
        int numInSlot[kSlots] = {};
        const gint64 longest = std::min<gint64>(60000, 1000 << std::min(tries, 6u));
        for (int i = 0; i < 1000; i++) {
            const gint64 delay = OrvaneBackOff_Delay(1000, 60000, tries);
            ASSERT_GE(delay, longest / 2);
            ASSERT_LE(delay, longest);
            numInSlot[std::min<gint64>(kSlots - 1, (delay - longest / 2) * kSlots * 2 / longest)]++;
        }
        for (int number : numInSlot)
            EXPECT_THAT(number, AllOf(testing::Gt(40), testing::Lt(200))) << tries;
    }
    EXPECT_GE(OrvaneBackOff_Delay(1, G_MAXINT64, 4000), G_MAXINT64 / 2) << "no overflow";
}

TEST_F(Reconnect, TheLastTryIsTheEnd) {
    policy.attempts = 3;
    orvane_session_set_reconnect(session, &policy);
    Proxy *proxy = Follow("vm-101");
    Lose();
    MoveSeconds(20);
    EXPECT_THAT(attempts, ElementsAre(1, 2, 3));
    EXPECT_THAT(events, ElementsAre("state 16", "state 1"));
    EXPECT_NE("", LastError());
    EXPECT_EQ(nullptr, orvane_session_get_momgr(session));
    EXPECT_NE("", Name(proxy));
    ComeBack();
    EXPECT_TRUE(Connect()) << "by the application";
}

/* Nothing of the login goes to a service that is another one. */
TEST_F(Reconnect, AnotherServiceIsRefused) {
    const std::pair<const char *, simulator::Options> rows[] = {
        {"has version ozy25/5.5 now, not ozy25/6.0",
         {.hosts = 1, .machines = 3, .version = "ozy25/5.5"}},
        {"is another one now", {.hosts = 1, .machines = 3, .instanceUuid = "another"}},
        {"is another one now", {.hosts = 1, .machines = 3, .instanceUuid = ""}},
    };
    for (const auto &[error, options] : rows) {
        SCOPED_TRACE(options.version + options.instanceUuid);
        Begin();
        const std::string version = orvane_session_get_version(session);
        Lose();
        ComeBack(options);
        Move(1000);
        Move(2000);
        EXPECT_GE(server->NumDocuments(), 1);
        EXPECT_EQ(0, server->NumCalls("Login"));
        EXPECT_THAT(events, ElementsAre("state 16"));
        EXPECT_THAT(LastError(), HasSubstr(error));
        EXPECT_GE(attempts.size(), 2u);
        EXPECT_EQ(version, orvane_session_get_version(session));
        ComeBack();
        EXPECT_TRUE(UntilConnected());
    }
}

TEST_F(Reconnect, APasswordIsNotSentToAnotherCertificate) {
    enum class At { Try, Login, OtherLogin };
    const struct {
        bool isStrict;
        bool hasFunction; /* otherwise the authorities decide */
        At at;            /* where the peer changes */
    } rows[] = {{true, true, At::Try},         {true, true, At::Login},
                {false, true, At::Try},        {false, true, At::Login},
                {false, false, At::Try},       {false, false, At::Login},
                {false, true, At::OtherLogin}, {false, false, At::OtherLogin}};
    const simulator::Options tls = {.hosts = 1, .machines = 1, .certificateKind = "good"};
    const TemporaryFolder folder;
    for (const auto &row : rows) {
        SCOPED_TRACE(&row - rows);
        application = {};
        prepare = [&] {
            orvane_session_set_strict_tls(session, row.isStrict);
            const std::string file = folder.Write("root.pem", server->Certificate()->anchor.pem);
            if (row.hasFunction)
                application.Watch(session);
            else
                orvane_session_set_ssl_certificate_location(session, file.c_str(), nullptr);
        };
        Begin(tls);
        application.accepted.insert(application.asked.begin(), application.asked.end());
        application.answer = Answer::No; /* to another one */
        former.certificate = server->Certificate()->Pem();
        former.privateKey = server->Certificate()->KeyPem();
        former.certificateKind.clear();
        port = server->Port();
        if (row.at != At::OtherLogin)
            Lose();
        if (row.at == At::Login)
            ComeBack();
        if (row.at == At::Try)
            ComeBack(tls);
        else
            inCredentials = [&] { ComeBack(tls); };
        if (row.at == At::OtherLogin)
            server->ExpireSessions();
        MoveSeconds(5);
        EXPECT_EQ(0, server->NumCalls("Login"));
        EXPECT_THAT(events, Contains("state 16"));
        EXPECT_THAT(LastError(), HasSubstr("certificate"));
        EXPECT_GE(attempts.size(), 2u);
        ComeBack();
        EXPECT_TRUE(UntilConnected());
    }
}

/* The identity of a service that does not report it is not known. */
TEST_F(Reconnect, NoCredentialsAreAskedForWithoutContent) {
    LoseAndFind();
    server->AddTrouble({.kind = TroubleKind::Fault, .method = "RetrieveServiceContent"});
    Move(1000);
    EXPECT_EQ(1, server->NumCalls("RetrieveServiceContent"));
    EXPECT_EQ(0, server->NumCalls("Login"));
    EXPECT_THAT(events, ElementsAre("state 16"));
    EXPECT_THAT(attempts, ElementsAre(1, 2));
    EXPECT_TRUE(UntilConnected());
}

/* The function runs a loop of its own, for a dialog, until the try has ended. */
TEST_F(Reconnect, CredentialsThatComeTooLateAreNotSent) {
    inCredentials = [&] { Move(61000); };
    LoseAndFind();
    Move(1000);
    EXPECT_EQ(0, server->NumCalls("Login"));
    EXPECT_THAT(attempts, ElementsAre(1, 2));
    EXPECT_TRUE(UntilConnected());
    EXPECT_EQ(1, server->NumCalls("Login"));
}

TEST_F(Reconnect, ACallThatIsMadeDuringATryEnds) {
    BeginAsked();
    Call("a");
    GError *error = nullptr;
    const ObjectPtr<OrvaneListener> called(ORVANE_LISTENER(g_object_ref(last)));
    EXPECT_TRUE(ends.empty());
    testLoop::Settle();
    EXPECT_EQ(kDisconnected, ends["a"]) << "before the service is known";
    ASSERT_TRUE(orvane_listener_get_error(called.get(), &error));
    EXPECT_THAT(error->message, HasSubstr("is connecting again"));
    g_error_free(error);
    application.answer = Answer::Yes;
    application.Decide(true);
    EXPECT_TRUE(UntilConnected());
    EXPECT_EQ(0, server->NumCalls("CurrentTime"));
}

/* The application has asked a person, who answers when the try is over. */
TEST_F(Reconnect, ALateAnswerHoldsForTheNextTryAndItsCertificate) {
    const struct {
        const char *name;
        bool accepts;
        bool isOther; /* the next try meets another certificate */
        size_t times; /* that the next try asks */
        bool connects;
    } rows[] = {{"yes", true, false, 0, true},
                {"no", false, false, 0, false},
                {"yes to another", true, true, 1, true}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        BeginAsked();
        Move(60000);
        EXPECT_THAT(attempts, ElementsAre(1, 2));
        application.answer = Answer::Yes;
        application.done(application.open, row.accepts);
        if (row.isOther)
            ComeBack(former);
        application.asked.clear();
        Move(2000);
        EXPECT_EQ(row.times, application.asked.size());
        EXPECT_EQ(row.connects, IsState(ORVANE_SESSION_CONNECTED));
        EXPECT_TRUE(UntilConnected()) << "it is asked again";
        EXPECT_EQ(row.connects ? row.times : 1, application.asked.size());
    }
}

/* Services that accept a login, and then close or refuse the call for updates. */
TEST_F(Reconnect, ThePausesGrowUntilUpdatesCome) {
    constexpr const char *kWait = "WaitForUpdatesEx";
    const simulator::Trouble kTroubles[] = {
        {.kind = TroubleKind::Close, .method = kWait, .count = -1},
        {.kind = TroubleKind::Page, .method = kWait, .count = -1, .status = 502},
        {.kind = TroubleKind::Fault, .method = kWait, .count = -1, .faultType = "NoPermission"},
        {.kind = TroubleKind::Fault, .method = "Login", .count = -1},
    };
    for (const simulator::Trouble &trouble : kTroubles) {
        SCOPED_TRACE(trouble.method + std::to_string(int(trouble.kind)));
        Begin();
        server->AddTrouble(trouble);
        server->ResetConnections();
        if (trouble.method == "Login") {
            server->SetListening(false);
            testLoop::Settle();
            server->SetListening(true);
        }
        testLoop::Settle();
        EXPECT_THAT(attempts, ElementsAre(1));
        MoveSeconds(20);
        EXPECT_THAT(attempts.back(), AllOf(testing::Ge(4u), testing::Le(6u)));
        EXPECT_LE(server->NumCalls("Login"), 6);
        EXPECT_LE(server->NumCalls("WaitForUpdatesEx"), 40) << "three a connection, sent twice";
        server->ClearTroubles();
        EXPECT_TRUE(UntilConnected());
        Load("vm-101");
        testLoop::Settle();
        attempts.clear();
        BreakOff();
        testLoop::Settle();
        EXPECT_THAT(attempts, ElementsAre(1)) << "they begin anew";
    }
}

/* Another login with them could lock the account. */
TEST_F(Reconnect, ARefusedLoginEndsTheTries) {
    for (const bool isTry : {true, false}) {
        SCOPED_TRACE(isTry);
        Begin();
        password = "changed";
        if (isTry) {
            LoseAndFind();
        } else {
            server->ExpireSessions();
        }
        MoveSeconds(120);
        EXPECT_EQ(1, server->NumCalls("Login"));
        EXPECT_EQ(0u, attempts.back());
        EXPECT_EQ(isTry ? 2u : 1u, attempts.size());
        EXPECT_TRUE(IsState(ORVANE_SESSION_INTERRUPTED));
        EXPECT_THAT(LastError(), HasSubstr("password is wrong"));
        orvane_session_disconnect(session, nullptr);
        testLoop::Settle();
        EXPECT_TRUE(Connect()) << "by the application";
        password = "secret";
        LoseAndFind();
        EXPECT_TRUE(UntilConnected());
    }
}

/* The limit is one of silence. */
TEST_F(Reconnect, ALargeUpdateMayTakeLong) {
    constexpr guint64 kBytesPerSecond = 256; /* the first 64 KiB are not limited */
    Proxy *proxy = Follow("vm-101");
    orvane_session_set_bandwidth_limit(session, 0, kBytesPerSecond);
    const std::string name(192 * 1024, 'x');
    Rename("vm-101", name.c_str());
    testLoop::Settle();
    const gint64 start = clockOffset;
    EXPECT_TRUE(MoveUntil([&] { return Name(proxy) == name; }, 100, 10000));
    EXPECT_GE(clockOffset - start, 400 * G_USEC_PER_SEC);
    EXPECT_THAT(events, Not(Contains("state 16")));
}

TEST_F(Reconnect, AServiceThatDoesNotAnswerUpdatesIsGivenUp) {
    server->AddTrouble({.kind = TroubleKind::Silent, .method = "WaitForUpdatesEx"});
    Rename("vm-101", "x");
    Load("vm-101");
    events.clear();
    EXPECT_TRUE(Until([&] { return server->NumWaiting() == 0; }));
    for (int i = 0; i < 35; i++)
        Move(10000);
    EXPECT_THAT(events, Not(Contains("state 16")));
    Move(11000);
    EXPECT_THAT(events, Contains("state 16"));
    EXPECT_TRUE(UntilConnected());
}

/* It ends the login, so that the session asks for credentials, but cannot log in. */
TEST_F(Reconnect, AServiceThatShutsDownIsLost) {
    Follow("vm-101");
    port = server->Port();
    StopServer();
    StartIdle();
    EXPECT_TRUE(UntilTry());
    EXPECT_TRUE(IsState(ORVANE_SESSION_INTERRUPTED));
    ComeBack();
    EXPECT_TRUE(UntilConnected());
}

/* Sockets of this process that end when their peer confirms nothing. */
static int NumWatchful() {
    constexpr int kDescriptors = 256;
    int number = 0;
    for (int descriptor = 0; descriptor < kDescriptors; descriptor++) {
        int keepAlive = 0;
        guint timeout = 0;
        socklen_t size = sizeof keepAlive;
        if (getsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &keepAlive, &size) != 0)
            continue;
        size = sizeof timeout;
        if (getsockopt(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, &timeout, &size) == 0 &&
            keepAlive != 0 && timeout > 0 && timeout <= 120000)
            number++;
    }
    return number;
}

TEST_F(Reconnect, SocketsNoticeADeadPeer) {
    EXPECT_EQ(server->NumOpenConnections(), NumWatchful());
    Start({.hosts = 1, .machines = 1});
    const int numKept = NumWatchful(); /* kept for another session */
    ASSERT_TRUE(Connect());
    EXPECT_LE(NumWatchful(), numKept) << "without a policy";
    orvane_session_set_reconnect(session, &policy);
    EXPECT_EQ("succeeded", Finish("a"));
    EXPECT_LT(numKept, NumWatchful()) << "on a connection that was kept";
}

TEST_F(Reconnect, ATryThatIsNotAnsweredEnds) {
    for (const char *method : {"versions", "RetrieveServiceContent", "Login"}) {
        SCOPED_TRACE(method);
        Begin();
        LoseAndFind();
        server->AddTrouble({.kind = TroubleKind::Silent, .method = method});
        Move(1000);
        Move(58000);
        EXPECT_THAT(attempts, ElementsAre(1));
        Move(2000);
        EXPECT_THAT(attempts, ElementsAre(1, 2));
        EXPECT_NE("", LastError());
        EXPECT_TRUE(UntilConnected());
    }
}

TEST_F(Reconnect, WithoutCredentialsThereIsNoTry) {
    orvane_session_set_credentials_func(session, nullptr, nullptr, nullptr);
    BreakOff();
    testLoop::Settle();
    Move(60000);
    EXPECT_THAT(events, ElementsAre("state 16"));
    EXPECT_TRUE(attempts.empty());

    Begin();
    password.clear(); /* the function refuses */
    LoseAndFind();
    Move(1000);
    EXPECT_THAT(events, ElementsAre("state 16", "credentials", "state 1"));
}

/* A service that does anything at any time, seeded. Each operation has one end, which the fixture checks, and once the
 * service behaves, the session is as it should be. */
TEST_F(Reconnect, AnyServiceLeavesTheSessionUsable) {
    constexpr int kSeeds = 6;
    constexpr int kActions = 40;
    constexpr const char *kMethods[] = {"versions",      "RetrieveServiceContent", "Login",
                                        "CreateFilter",  "WaitForUpdatesEx",       "CurrentTime",
                                        "PowerOnVM_Task"};
    constexpr const char *kFaults[] = {"NotAuthenticated", "NoPermission",
                                       "InvalidCollectorVersion", "SystemError"};
    for (int seed = 0; seed < kSeeds; seed++) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const auto below = [&](size_t number) { return size_t(random()) % number; };
        const auto trouble = [&] {
            server->AddTrouble({.kind = TroubleKind(below(size_t(TroubleKind::NoResult) + 1)),
                                .method = kMethods[below(std::size(kMethods))],
                                .count = int(below(5)),
                                .bytes = below(400),
                                .delayMs = int64_t(below(3000)),
                                .faultType = kFaults[below(std::size(kFaults))]});
        };
        const std::function<void()> kActs[] = {
            trouble,
            trouble,
            [&] { server->ExpireSessions(); },
            [&] { server->ResetConnections(); },
            [&] { server->SetListening(below(2) == 0); },
            [&] { ComeBack(); },
            [&] { Call("call"); },
            [&] { BeginPowerOn("task", "vm-101"); },
            [&] { BeginLoad("load", "vm-102"); },
            [&] { Rename("vm-101", std::to_string(below(100)).c_str()); },
            [&] { server->ClearTroubles(); },
            [&] { Move(gint64(below(90000))); },
        };
        Begin();
        port = server->Port();
        inCredentials = [&] { kActs[below(6)](); };
        for (int i = 0; i < kActions && !IsState(ORVANE_SESSION_DISCONNECTED); i++) {
            kActs[below(std::size(kActs))]();
            Move(gint64(below(3000)));
        }
        inCredentials = nullptr;
        ComeBack();
        MoveUntil([&] { return server->NumWaiting() > 0; }, 100, 10000);
        EXPECT_TRUE(IsState(ORVANE_SESSION_CONNECTED));
        EXPECT_EQ("succeeded", Finish("last"));
    }
}

/* What an application may do in each of its functions, and between them. */
TEST_F(Reconnect, TheApplicationMayEndItAnywhere) {
    const auto disconnect = [&](OrvaneListener *l) { orvane_session_disconnect(session, l); };
    const auto connect = [&](OrvaneListener *l) {
        orvane_session_connect(session, "http://127.0.0.1:1/sdk", "u", "p", l);
    };
    const std::pair<const char *, std::function<void()>> rows[] = {
        {"disconnect", [&] { Do("disconnect", disconnect); }},
        {"release", [&] { g_clear_object(&session); }},
        {"connect", [&] { Do("second", connect); }},
        {"no policy", [&] { orvane_session_set_reconnect(session, nullptr); }},
        {"no credentials",
         [&] { orvane_session_set_credentials_func(session, nullptr, nullptr, nullptr); }},
    };
    for (const auto &[name, function] : rows) {
        for (const char *at : {"reconnecting", "credentials", "reconnected", "gone vm-102"}) {
            SCOPED_TRACE(std::string(name) + " in " + at);
            inPolicy = [](const std::string &) {};
            inCredentials = nullptr;
            Begin();
            Load("vm-101");
            Load("vm-102");
            bool isDone = false;
            const auto end = [&, &act = function] {
                if (!std::exchange(isDone, true))
                    act();
            };
            inPolicy = [&](const std::string &event) {
                if (event == at)
                    end();
            };
            if (std::string(at) == "credentials")
                inCredentials = end;
            LoseAndFind();
            server->RemoveMachine("vm-102");
            MoveSeconds(3);
            EXPECT_TRUE(isDone);
        }
    }
}
