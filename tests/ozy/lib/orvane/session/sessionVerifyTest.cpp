// The application decides on certificates, over real https; and strict sessions.
#include <poll.h>

#include "lib/ssl/sslThunks.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "tests/ozy/lib/orvane/session/askedApplication.h"
#include "tests/ozy/lib/orvane/session/sessionFixture.h"
#include "tests/support/temporaryFolder.h"
#include "tools/certificates/certificateKind.h"
#include "tools/simulator/simulator.h"

namespace {

struct SessionVerify : SessionTest {
    SessionVerify() { waitMs = 60000; } /* for handshakes on a busy machine */
    ~SessionVerify() override {
        if (server)
            testLoop::Unwatch(server->PollDescriptor());
    }
    void Serve(const std::string &kind, int port = 0) {
        if (server)
            testLoop::Unwatch(server->PollDescriptor());
        server.reset();
        server = std::make_unique<simulator::Simulator>(simulator::Options{
            .port = port, .hosts = 1, .machines = 1, .frozenClock = true, .certificateKind = kind});
        server->Start();
        testLoop::Watch(server->PollDescriptor(), POLLIN, [this](short) { server->Run(); });
    }
    void AskApplication() { application.Watch(session); }
    void Begin(Ending &ending) {
        orvane_session_connect(session, server->Url().c_str(), "administrator", "secret",
                               ending.listener);
    }
    std::string Connect() { return ConnectTo(server->Url().c_str(), "administrator", "secret"); }
    std::string Call() {
        return Run([this](auto *l) { CurrentTime(l); });
    }
    /* If that is needed. */
    void End() {
        if (State() != ORVANE_SESSION_DISCONNECTED) {
            EXPECT_EQ("success", Disconnect());
        }
    }
    /* Until it was put or, later, the failed handshake was reported and the connect is deferred. */
    void WaitForQuestion(bool onlyPut = false) {
        EXPECT_TRUE(testLoop::RunUntil([&] {
            return application.open && (onlyPut || State() == ORVANE_SESSION_DISCONNECTED);
        }));
    }
    std::string Thumbprint() const { return server->Certificate()->Leaf().thumbprint; }

    Application application;
    std::unique_ptr<simulator::Simulator> server;
};

constexpr char kRefused[] = "failure InvalidResponse 49 0";

TEST_F(SessionVerify, AnAnswerAtOnceSettlesIt) {
    AskApplication();
    for (const char *kind : {"self-signed", "expired", "good", "good-chain", "intermediate-no-ca",
                             "name-constraint"}) {
        SCOPED_TRACE(kind);
        Serve(kind);
        application.asked.clear();
        for (Answer answer : {Answer::No, Answer::Yes}) {
            application.answer = answer;
            LogRing_Clear();
            EXPECT_EQ(answer == Answer::Yes ? "success" : kRefused, Connect());
            EXPECT_THAT(LogText(),
                        HasSubstr("A Orvane: Instantiating QORM session at " + server->Url() +
                                  "\nA Orvane: Verifying SSL certificate with thumbprint " +
                                  Thumbprint() + "\nA Orvane: Certificate " +
                                  (answer == Answer::Yes ? "accepted\n" : "rejected\n")));
            End();
        }
        EXPECT_THAT(application.asked, ElementsAre(Thumbprint(), Thumbprint()));
    }
    /* the last kind once more, with libcurl looking on */
    const TemporaryFolder folder;
    orvane_session_set_ssl_certificate_location(
        session, folder.Write("ca.pem", server->Certificate()->anchor.pem).c_str(), nullptr);
    EXPECT_EQ("success", Connect());
}

TEST_F(SessionVerify, ALaterYesStartsOverAndALaterNoFails) {
    Serve("self-signed");
    AskApplication();
    application.answer = Answer::Later;
    const struct {
        const char *name;
        bool accepts, isBeforeTheError;
        const char *ending;
        size_t times;
    } rows[] = {{"no", false, false, kRefused, 1},
                {"yes", true, false, "success", 2},
                {"yes before the error", true, true, "success", 2}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        application.accepted.clear();
        application.asked.clear();
        Ending ending;
        Begin(ending);
        WaitForQuestion(row.isBeforeTheError);
        EXPECT_EQ(0, ending.times);
        EXPECT_EQ(0, server->NumDocuments()) << "nothing was sent";
        application.Decide(row.accepts);
        Wait(ending);
        EXPECT_EQ(row.ending, ending.text);
        EXPECT_EQ(1, ending.times);
        EXPECT_EQ(row.times, application.asked.size());
        End();
        server->ResetCounters();
    }
}

TEST_F(SessionVerify, WhoeverGoesWhileTheQuestionIsOpenLeavesNoTrace) {
    Serve("self-signed");
    application.answer = Answer::Later;
    for (const char *what : {"listener", "session", "another connect", "shutdown", "at once"}) {
        SCOPED_TRACE(what);
        const std::string who = what;
        AskApplication();
        application.inside = nullptr;
        if (who == "at once")
            application.inside = [this] { g_clear_object(&session); };
        Ending ending;
        Ending second;
        Begin(ending);
        WaitForQuestion(who == "at once");
        if (who == "listener")
            g_clear_object(&ending.listener);
        if (who == "session")
            g_clear_object(&session);
        if (who == "shutdown")
            orvane_shutdown();
        if (who == "another connect") {
            GObject *first = std::exchange(application.open, nullptr);
            Begin(second);
            EXPECT_EQ("failure Unexpected", ending.text);
            WaitForQuestion();
            application.done(first, TRUE); /* in vain */
            EXPECT_EQ(ORVANE_SESSION_DISCONNECTED, State());
        }
        application.Decide(false);
        testLoop::Settle();
        EXPECT_EQ(who == "shutdown" ? kRefused : "", who == "another connect" ? "" : ending.text);
        EXPECT_EQ(who == "another connect" ? kRefused : "", second.text);

        if (!session)
            MakeSession();
        if (!BasicHttp_IsInited())
            orvane_init(testLoop::Callback, testLoop::CallbackRemove);
    }
}

/* -- strict ---------------------------------------------------------------------------------------- */

TEST_F(SessionVerify, AStrictSessionAsksAboutEachCertificateOnce) {
    Serve("self-signed");
    Application other;
    OrvaneSession *careless = orvane_session_new();
    Ending hasConnected;
    orvane_session_connect(careless, server->Url().c_str(), "administrator", "secret",
                           hasConnected.listener);
    Wait(hasConnected);
    EXPECT_EQ("success", hasConnected.text);
    EXPECT_THAT(LogText(), HasSubstr("A Orvane: Sending a login to " + server->Url() +
                                     " over a connection that was not checked\n"));
    LogRing_Clear();

    AskApplication();
    orvane_session_set_strict_tls(session, TRUE);
    const int before = server->NumConnections();
    EXPECT_EQ("success", Connect());
    EXPECT_LE(before + 3, server->NumConnections()) << "discovery, calls, updates";
    EXPECT_THAT(application.asked, ElementsAre(Thumbprint()));
    EXPECT_THAT(LogText(), Not(HasSubstr("not checked")));

    /* another certificate under the same address */
    const int port = server->Port();
    Serve("self-signed", port);
    application.answer = Answer::No;
    EXPECT_EQ(kRefused, Call());
    EXPECT_EQ(Thumbprint(), application.asked.back());
    EXPECT_EQ(0, server->NumCalls());

    application.answer = Answer::Later;
    EXPECT_EQ(kRefused, Call());
    application.Decide(true); /* for the next */
    const size_t asked = application.asked.size();
    EXPECT_THAT(Call(), Not(HasSubstr("InvalidResponse")));
    EXPECT_EQ(1, server->NumCalls("CurrentTime"));
    EXPECT_EQ(asked, application.asked.size());
    g_object_unref(careless);
}

TEST_F(SessionVerify, AStrictSessionWithoutAFunctionGoesByAuthorities) {
    const TemporaryFolder folder;
    const std::tuple<const char *, bool, const char *> rows[] = {
        {"good", true, "success"},      {"good-chain", true, "success"},
        {"good", false, kRefused},      {"self-signed", false, kRefused},
        {"wrong-host", true, kRefused}, {"expired", true, kRefused}};
    orvane_session_set_strict_tls(session, TRUE);
    for (const auto &[kind, isNamed, outcome] : rows) {
        Serve(kind);
        const std::string file = folder.Write("root.pem", server->Certificate()->anchor.pem);
        orvane_session_set_ssl_certificate_location(session, isNamed ? file.c_str() : nullptr,
                                                    nullptr);
        EXPECT_EQ(outcome, Connect()) << kind;
        End();
    }
}

TEST_F(SessionVerify, AStrictSessionSendsNothingInTheClearToAnotherMachine) {
    orvane_session_set_strict_tls(session, TRUE);
    EXPECT_EQ("success", SessionTest::Connect()) << "this machine";
    EXPECT_EQ("success", SessionTest::Disconnect());
    g_setenv("HALDEN_HTTPSPROXY", "", TRUE); /* no proxy */
    EXPECT_EQ("success", SessionTest::Connect());
    g_setenv("HALDEN_HTTPSPROXY", service->server.Url().c_str(), TRUE);
    EXPECT_EQ(kRefused, Call()) << "calls are checked, too";
    g_unsetenv("HALDEN_HTTPSPROXY");
    EXPECT_EQ("success", SessionTest::Disconnect());
    g_setenv("HALDEN_HTTPSPROXY", "http://127.0.0.1:1", TRUE);
    EXPECT_EQ(kRefused, SessionTest::Connect()) << "a proxy may be anywhere";
    g_unsetenv("HALDEN_HTTPSPROXY");
    const std::pair<std::string, const char *> rows[] = {
        {"http://service.invalid/sdk", "it would not be encrypted"},
        {"ftp.service.invalid/sdk", "it would not be encrypted"},
        {"http://127.0.0.1:80@service.invalid/sdk", "it would not be encrypted"},
        {"http://localhos%74/sdk", "that is no unambiguous http or https URL"},
        {"http:///", "that is no unambiguous http or https URL"},
    };
    for (const auto &[url, why] : rows) {
        LogRing_Clear();
        Ending ending;
        orvane_session_connect(session, url.c_str(), "u", "p", ending.listener);
        EXPECT_EQ(kRefused, ending.text);
        EXPECT_EQ("A Orvane: Refusing the connection to " + url + ": " + why + "\n", LogText());
    }
}

} // namespace
