// Connects: the requests of each kind, and each end of the chain.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "tests/ozy/lib/orvane/session/sessionFixture.h"
#include "tests/support/temporaryFolder.h"

namespace {

struct Connect : SessionTest {
    /* The whole head of a request but its first line. */
    std::string Head(const std::string &name, const std::string &rest) const {
        const CannedRequest request = service->Last(name);
        return "Host: 127.0.0.1:" + std::to_string(service->server.Port()) + "\r\n" + rest +
               (request.method == "POST"
                    ? "\r\nContent-Length: " + std::to_string(request.body.size())
                    : "");
    }
    void WaitForFilter() {
        EXPECT_TRUE(RunUntilCount("CreateFilter"));
        testLoop::Settle();
    }
    /* What a login sends. */
    static std::string LoginText(const std::string &user, const std::string &password) {
        return Envelope("<Login xmlns=\"urn:ozy25\"><_this type=\"SessionManager\">SessionManager"
                        "</_this><userName xsi:type=\"xsd:string\">" +
                        user + "</userName><password xsi:type=\"xsd:string\">" + password +
                        "</password></Login>");
    }
    /* The head of the last login. */
    std::string LoginHead(const std::string &agent, const std::string &action) const {
        return "POST /sdk HTTP/1.1\r\n" +
               Head("Login", "User-Agent: " + agent + "\r\nContent-Type: text/xml; charset=utf-8" +
                                 "\r\nSOAPAction: \"" + action + "\"");
    }
    std::string Clone(const char *ticket) {
        return Run([&](auto *l) { orvane_session_clone(session, Url().c_str(), ticket, l); });
    }
    std::string Hijack(const char *cookie) {
        return Run([&](auto *l) { orvane_session_hijack(session, Url().c_str(), cookie, l); });
    }
};

/* -- requests ------------------------------------------------------------------------------------- */

TEST_F(Connect, SendsWhatTheServiceExpects) {
    orvane_session_set_useragent(session, "tests/1");
    EXPECT_EQ("success", SessionTest::Connect());
    EXPECT_THAT(states, ElementsAre(ORVANE_SESSION_CONNECTING, ORVANE_SESSION_CONNECTED));
    EXPECT_STREQ("ozy25/6.0", orvane_session_get_version(session));
    EXPECT_STREQ("ozy25", orvane_session_get_namespace(session));
    EXPECT_THAT(service->Methods(), ElementsAre("GET /sdk/ozyServiceVersions.xml",
                                                "RetrieveServiceContent", "Login", "CreateFilter"));

    EXPECT_EQ("GET /sdk/ozyServiceVersions.xml HTTP/1.1\r\n" +
                  Head("ozyServiceVersions.xml", "User-Agent: tests/1\r\nAccept: text/xml"),
              service->Last("ozyServiceVersions.xml").head);
    EXPECT_EQ(LoginHead("tests/1", "urn:ozy25/6.0"), service->Last("Login").head);
    EXPECT_EQ(LoginText("root", "pass&lt;word&gt;"), service->Last("Login").body);
    EXPECT_EQ(
        Envelope("<RetrieveServiceContent xmlns=\"urn:ozy25\"><_this type=\"ServiceInstance\">"
                 "ServiceInstance</_this></RetrieveServiceContent>"),
        service->Last("RetrieveServiceContent").body);
}

TEST_F(Connect, FallsBackToTheOldDocument) {
    const struct {
        const char *name;
        CannedAnswer versions, wsdl;
        const char *version;
    } rows[] = {
        {"404 and a WSDL", HttpReply("", 404),
         HttpReply("<definitions><import namespace='urn:ozy25'/></definitions>"), "ozy25"},
        {"no XML, and a WSDL with an unknown version", HttpReply("plain"),
         HttpReply("<definitions><import namespace='urn:new'/></definitions>"), "ozy2/2.0"},
        {"no version, no WSDL", HttpReply("<namespaces/>"), HttpReply("", 500), "ozy2/2.0"},
        {"other document, reset", HttpReply("<other/>"), {.bytes = "", .reset = true}, "ozy2/2.0"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        service->answers["ozyServiceVersions.xml"] = row.versions;
        service->answers["ozyService?wsdl"] = row.wsdl;
        EXPECT_EQ("success", SessionTest::Connect());
        EXPECT_STREQ(row.version, orvane_session_get_version(session));
        EXPECT_STREQ(row.version, orvane_session_get_namespace(session));
        EXPECT_EQ(LoginHead("Halden-client", ""), service->Last("Login").head);
        EXPECT_EQ("success", Disconnect());
    }
}

TEST_F(Connect, ReachesTheSecondService) {
    orvane_session_target_ferry(session);
    EXPECT_TRUE(orvane_session_target_is_ferry(session));
    AnswerAsFerry(service.get(), HttpReply(Versions("urn:ferry", "4.0")));
    EXPECT_EQ("success", ConnectTo(service->server.Url().c_str()));
    EXPECT_THAT(service->Methods(), ElementsAre("GET /ferryServiceVersions.xml",
                                                "FerryRetrieveServiceContent", "FerryLogin"));
    EXPECT_EQ("/sdk", service->Last("FerryLogin").target);
    EXPECT_EQ("\"urn:ferry/4.0\"", service->Last("FerryLogin").Header("SOAPAction"));
    EXPECT_EQ(nullptr, orvane_session_get_authorization_manager(session));

    testLoop::Advance(G_GINT64_CONSTANT(1500000000));
    testLoop::Settle();
    EXPECT_EQ(3u, service->Methods().size()) << "there is nothing to keep alive";
    EXPECT_EQ("success", Disconnect());
    EXPECT_EQ(1u, service->Count("FerryLogout"));
}

TEST_F(Connect, ClonesASession) {
    EXPECT_EQ("success", Clone("ticket-1"));
    EXPECT_EQ(Envelope("<CloneSession xmlns=\"urn:ozy25\"><_this type=\"SessionManager\">"
                       "SessionManager</_this><cloneTicket xsi:type=\"xsd:string\">ticket-1"
                       "</cloneTicket></CloneSession>"),
              service->Last("CloneSession").body);
    EXPECT_EQ("success", Disconnect());
}

TEST_F(Connect, AdoptsASessionByItsCookieAndLeavesItThere) {
    EXPECT_EQ("success", Hijack("soap_session=\"52\""));
    EXPECT_EQ(ORVANE_SESSION_CONNECTED, State());
    EXPECT_EQ(0u, service->Count("Login"));
    EXPECT_EQ("soap_session=\"52\"", service->Last("RetrieveServiceContent").Header("Cookie"));
    EXPECT_EQ("soap_session=\"52\"", service->Last("CreateFilter").Header("Cookie"));

    Ending ending;
    orvane_session_disconnect(session, ending.listener);
    EXPECT_EQ(0, ending.times) << "not from inside the call";
    Wait(ending);
    EXPECT_EQ("success", ending.text);
    EXPECT_EQ(0u, service->Count("Logout"));
    EXPECT_EQ(ORVANE_SESSION_DISCONNECTING, State());
    EXPECT_EQ("failure", Disconnect());
}

TEST_F(Connect, RefusesACookieThatIsMoreThanOne) {
    EXPECT_EQ("failure Unexpected", Hijack("a=b\r\nX-Header: 1"));
    EXPECT_EQ(ORVANE_SESSION_DISCONNECTED, State());
    EXPECT_TRUE(service->Methods().empty());
}

/* -- local ---------------------------------------------------------------------------------------- */

struct LocalConnect : Connect {
    const TemporaryFolder folder;

    LocalConnect() { g_setenv("HALDEN_PROXY_FILEPATH", Path("proxy.xml").c_str(), TRUE); }
    ~LocalConnect() override { g_unsetenv("HALDEN_PROXY_FILEPATH"); }
    std::string Path(const char *name) const { return folder.Path(name); }
    void NameTicket(const std::string &path) {
        service->answers["AcquireLocalTicket"] = LocalTicket(path);
    }
    std::string ConnectLocal() {
        return Run([&](auto *l) { orvane_session_connect_local(session, FALSE, "root", l); });
    }
    void WriteProxy() const { folder.Write("proxy.xml", LocalPort(*service)); }
};

TEST_F(LocalConnect, FindsThePortOfTheLocalService) {
    const std::tuple<const char *, gboolean, const char *> rows[] = {
        {nullptr, TRUE, "https://localhost/sdk"},
        {nullptr, FALSE, "http://localhost/sdk"},
        {"<ConfigRoot><httpPort>80</httpPort></ConfigRoot>", TRUE, "https://localhost/sdk"},
        {"<ConfigRoot><httpPort>80</httpPort></ConfigRoot>", FALSE, "http://127.0.0.1:80/sdk"},
        {"<ConfigRoot><x/><httpsPort>1</httpsPort><httpPort>2</httpPort><httpsPort>3</httpsPort>"
         "</ConfigRoot>",
         TRUE, "https://127.0.0.1:1/sdk"},
        {"<ConfigRoot><x><httpPort>80</httpPort></x></ConfigRoot>", FALSE, "http://localhost/sdk"},
        {"<Other><httpPort>80</httpPort></Other>", FALSE, "http://localhost/sdk"},
        {"<ConfigRoot>", FALSE, "http://localhost/sdk"},
    };
    for (const auto &[file, useHttps, url] : rows) {
        SCOPED_TRACE(file ? file : "no file");
        LogRing_Clear();
        if (file)
            folder.Write("proxy.xml", file);
        EXPECT_STREQ(url, GPtr<char>(orvane_session_get_local_soap_url(session, useHttps)).get());
        if (!file) {
            EXPECT_EQ("I orvane_session_get_local_soap_url_ozy: Failed to load " +
                          Path("proxy.xml") +
                          " file. Set the env var HALDEN_PROXY_FILEPATH to "
                          "specify proxy filepath.\n",
                      LogText());
        }
    }
}

TEST_F(LocalConnect, LogsInWithTheTicketOfALocalFile) {
    WriteProxy();
    folder.Write("ticket", "one-time");
    NameTicket(Path("ticket"));
    EXPECT_EQ("success", ConnectLocal());
    EXPECT_THAT(service->Methods(),
                ElementsAre("GET /sdk/ozyServiceVersions.xml", "RetrieveServiceContent",
                            "AcquireLocalTicket", "Login", "CreateFilter"));
    EXPECT_EQ(LoginText("root-7", "one-time"), service->Last("Login").body);
    EXPECT_EQ("success", Disconnect());
    EXPECT_EQ(1u, service->Count("Logout"));
}

/* The text of a URL is never a format. */
TEST_F(LocalConnect, ReadsNoFileForAServiceElsewhere) {
    folder.Write("proxy.xml",
                 "<ConfigRoot><httpPort>1@service.invalid/%s%n%25</httpPort></ConfigRoot>");
    g_setenv("HALDEN_HTTPSPROXY", service->server.Url().c_str(), TRUE);
    NameTicket(Path("ticket"));
    EXPECT_EQ("failure Unexpected", ConnectLocal());
    g_unsetenv("HALDEN_HTTPSPROXY");
    EXPECT_EQ(1u, service->Count("AcquireLocalTicket"));
    EXPECT_THAT(LogText(),
                HasSubstr("W Orvane: http://127.0.0.1:1@service.invalid/%s%n%25/sdk is not "
                          "on this machine: its ticket file is not read.\n"));
}

TEST_F(LocalConnect, ReadsNoOtherFiles) {
    WriteProxy();
    folder.Write("ticket", std::string(4096, 'x'));
    NameTicket(Path("ticket"));
    EXPECT_EQ("success", ConnectLocal()) << "the largest that is read";
    EXPECT_EQ("success", Disconnect());

    folder.Write("ticket", std::string(4097, 'x'));
    EXPECT_EQ("failure Unexpected", ConnectLocal());
    folder.Write("ticket", "one-time");
    ASSERT_EQ(0, symlink(Path("ticket").c_str(), Path("link").c_str()));
    for (const std::string &path :
         {Path("link"), Path("none"), folder.Path(), std::string("/dev/zero")}) {
        NameTicket(path);
        EXPECT_EQ("failure Unexpected", ConnectLocal()) << path;
    }
    unlink(Path("ticket").c_str());
    ASSERT_EQ(0, mkfifo(Path("ticket").c_str(), 0600));
    NameTicket(Path("ticket"));
    EXPECT_EQ("failure Unexpected", ConnectLocal()) << "a pipe";
    service->answers["AcquireLocalTicket"] = Reply("AcquireLocalTicket");
    EXPECT_EQ("failure Unexpected", ConnectLocal()) << "no result";
    EXPECT_EQ(1u, service->Count("Login"));
}

/* -- failures ------------------------------------------------------------------------------------- */

TEST_F(Connect, ReportsWhichStepFailed) {
    const std::string noManager = Reference("propertyCollector", "PropertyCollector", "pc");
    const std::string noCollector = Reference("sessionManager", "SessionManager", "sm");
    const auto content = [](const std::string &inner) {
        return Reply("RetrieveServiceContent", inner, "xsi:type=\"ServiceContent\"");
    };
    const std::tuple<std::string, CannedAnswer, const char *> rows[] = {
        {"ozyServiceVersions.xml", HttpReply("no", 403), "failure InvalidResponse 0 403"},
        {"ozyServiceVersions.xml", HttpReply(kVersions, 500), "failure InvalidResponse 0 500"},
        {"ozyServiceVersions.xml", {.bytes = "", .reset = true}, "failure InvalidResponse 48 0"},
        {"RetrieveServiceContent", Fault("NotSupported"), "failure NotSupported"},
        {"RetrieveServiceContent", Reply("RetrieveServiceContent"), "failure Unexpected"},
        {"RetrieveServiceContent", content(noManager), "failure Unexpected"},
        {"RetrieveServiceContent", content(noCollector), "failure Unexpected"},
        {"Login", Fault("InvalidLogin"), "failure InvalidLogin"},
        {"Login", Fault("SSPIChallenge", "<base64Token>x</base64Token>"), "failure SSPIChallenge"},
        {"Login", Reply("Login"), "failure Unexpected"},
        {"Login", HttpReply("<html/>", 503), "failure Unexpected"},
        {"Login", HttpReply("busy", 503), "failure InvalidResponse 0 503 busy"},
        {"CreateFilter", Fault("NotAuthenticated"), "failure NotAuthenticated"},
    };
    for (const auto &[step, answer, ending] : rows) {
        SCOPED_TRACE(step);
        service = std::make_unique<Service>();
        service->answers[step] = answer;
        if (step == "CreateFilter")
            service->answers["WaitForUpdatesEx"] = {}; /* sends no update */
        states.clear();
        EXPECT_EQ(ending, SessionTest::Connect());
        EXPECT_EQ(ORVANE_SESSION_DISCONNECTED, State());
        EXPECT_EQ(ORVANE_SESSION_CONNECTING, states.front());
    }
    service = std::make_unique<Service>();
    EXPECT_EQ("success", SessionTest::Connect()) << "the same object connects after all that";
    EXPECT_EQ("success", Disconnect());
    testLoop::Advance(G_GINT64_CONSTANT(1500000000));
    testLoop::Settle();
    EXPECT_EQ(0u, service->Count("CurrentTime")) << "no keep-alive is left";
}

TEST_F(Connect, NeedsADisconnectedSession) {
    EXPECT_EQ("success", SessionTest::Connect());
    EXPECT_EQ("failure Unexpected", SessionTest::Connect());
    EXPECT_EQ(ORVANE_SESSION_DISCONNECTED, State());
    EXPECT_NE(nullptr, orvane_session_get_momgr(session)) << "kept until the next connect";
    EXPECT_EQ("success", SessionTest::Connect());
}

TEST_F(Connect, EndsWhenAnotherBeginsMeanwhile) {
    for (const char *step :
         {"ozyServiceVersions.xml", "RetrieveServiceContent", "Login", "WaitForUpdatesEx"}) {
        SCOPED_TRACE(step);
        service = std::make_unique<Service>();
        service->isQuiet = true; /* so that the roles do not come */
        Ending first;
        orvane_session_connect(session, Url().c_str(), "u", "p", first.listener);
        EXPECT_TRUE(RunUntilCount(step));
        EXPECT_EQ("failure Unexpected", SessionTest::Connect());
        Wait(first);
        EXPECT_EQ("failure Unexpected", first.text);
        service->isQuiet = false;
        EXPECT_EQ("success", SessionTest::Connect());
        EXPECT_EQ("success", Disconnect());
    }
}

/* While the roles are being loaded, the application may have nothing but the listener of the connect. */
struct RolesLoad : Connect {
    Ending connect, disconnect;
    std::vector<std::string> ends; /* of the connect and the disconnect, in order */

    RolesLoad() {
        service->isQuiet = true;
        connect.then = [this] { ends.push_back("connect " + connect.text); };
        disconnect.then = [this] { ends.push_back("disconnect " + disconnect.text); };
    }
    void Start() {
        orvane_session_connect(session, Url().c_str(), "u", "p", connect.listener);
        testLoop::RunUntil([&] { return service->Count("CreateFilter") > 0; }, 300);
        testLoop::Settle();
    }
    /* Runs the action once when the session gets into a state. */
    void At(int state, const std::function<void()> &action) {
        onState = [this, state, action](int now) {
            if (now != state)
                return;
            const auto run = action;
            onState = nullptr; /* frees this function */
            run();
        };
    }
    void Disconnect() { orvane_session_disconnect(session, disconnect.listener); }
};

TEST_F(RolesLoad, IsCanceledByADisconnect) {
    Start();
    Disconnect();
    EXPECT_THAT(ends, ElementsAre());
    Wait(disconnect);
    EXPECT_THAT(ends, ElementsAre("connect failure RequestCanceled", "disconnect success"));
}

TEST_F(RolesLoad, IsCanceledByADisconnectOfAHandler) {
    At(ORVANE_SESSION_CONNECTED, [&] { Disconnect(); });
    Start();
    Wait(disconnect);
    EXPECT_THAT(ends, ElementsAre("connect failure RequestCanceled", "disconnect success"));
}

TEST_F(RolesLoad, IsCanceledBeforeALogoutThatCannotBeSentFails) {
    At(ORVANE_SESSION_CONNECTED, [&] {
        orvane_shutdown();
        Disconnect();
    });
    Start();
    EXPECT_THAT(ends,
                ElementsAre("connect failure RequestCanceled", "disconnect failure Unexpected"));
}

/* The service may answer the logout first and then know the session no more. */
TEST_F(RolesLoad, ThatFailsDuringADisconnectLeavesItToTheLogout) {
    service->answers["CreateFilter"] = {};
    service->answers["Logout"] = {};
    Start();
    Disconnect();
    testLoop::RunUntil([&] { return service->Count("Logout") > 0; });
    service->server.Send(service->Last("CreateFilter").connection, Fault("NotAuthenticated").bytes);
    Wait(connect);
    EXPECT_EQ(ORVANE_SESSION_DISCONNECTING, State());
    service->server.Send(service->Last("Logout").connection, Reply("Logout").bytes);
    Wait(disconnect);
    EXPECT_THAT(ends, ElementsAre("connect failure RequestCanceled", "disconnect success"));
}

TEST_F(RolesLoad, IsCanceledWhenTheUpdatesCannotBegin) {
    service->answers["WaitForUpdatesEx"] = Fault("NoPermission");
    Start();
    EXPECT_THAT(ends, ElementsAre("connect failure RequestCanceled"));
    EXPECT_THAT(states, ElementsAre(2, 4, 16));
}

TEST_F(RolesLoad, IsCanceledWhenTheFirstWaitCannotBeSent) {
    for (const bool drops : {false, true}) {
        Ending ending;
        At(ORVANE_SESSION_CONNECTED, [&] {
            orvane_shutdown();
            if (drops)
                At(ORVANE_SESSION_INTERRUPTED, [&] { g_clear_object(&session); });
        });
        orvane_session_connect(session, Url().c_str(), "u", "p", ending.listener);
        Wait(ending);
        EXPECT_EQ("failure RequestCanceled", ending.text);
        StartOver();
        service->isQuiet = true;
    }
}

TEST_F(RolesLoad, OfAHijackedSessionIsCanceledWhenItIsReleased) {
    orvane_session_hijack(session, Url().c_str(), "a=b", connect.listener);
    WaitForFilter();
    Disconnect();
    Wait(disconnect);
    EXPECT_THAT(ends, ElementsAre("disconnect success"));
    g_clear_object(&session);
    EXPECT_THAT(ends, ElementsAre("disconnect success", "connect failure RequestCanceled"));
}

TEST_F(RolesLoad, AllowsAnythingInAHandlerOfTheCancel) {
    const std::function<void()> actions[] = {
        [&] { orvane_session_connect(session, Url().c_str(), "u", "p", nullptr); },
        [&] { g_clear_object(&session); },
        [&] { orvane_shutdown(); },
    };
    for (const auto &action : actions) {
        Ending ending;
        ending.then = action;
        orvane_session_connect(session, Url().c_str(), "u", "p", ending.listener);
        WaitForFilter();
        orvane_session_disconnect(session, nullptr);
        Wait(ending);
        EXPECT_EQ("failure RequestCanceled", ending.text);
        StartOver();
        service->isQuiet = true;
    }
}

TEST_F(Connect, RefusesWhatIsNoUrl) {
    const std::string endless = "http://127.0.0.1/" + std::string(8000001, 'x'); /* for libcurl */
    for (const char *url :
         {static_cast<const char *>(nullptr), "", "ftp://127.0.0.1/", "::", endless.c_str()}) {
        EXPECT_THAT(ConnectTo(url), HasSubstr("failure ")) << (url ? *url : '-');
        EXPECT_EQ(ORVANE_SESSION_DISCONNECTED, State());
    }
}

TEST_F(Connect, GoesThroughTheProxyThatIsSet) {
    g_setenv("HALDEN_HTTPSPROXY", service->server.Url().c_str(), TRUE);
    EXPECT_EQ("success", ConnectTo("http://service.invalid/sdk"));
    EXPECT_EQ("http://service.invalid/sdk/ozyServiceVersions.xml",
              service->Last("ozyServiceVersions.xml").target);
    EXPECT_EQ("http://service.invalid/sdk", service->Last("Login").target);
    EXPECT_EQ("success", Disconnect());
    g_unsetenv("HALDEN_HTTPSPROXY");

    g_setenv("http_proxy", "http://127.0.0.1:1", TRUE);
    EXPECT_EQ("success", SessionTest::Connect()) << "no other variable counts";
    g_unsetenv("http_proxy");
}

} // namespace
