// What is registered with the loop, and that libcurl's sockets stay our own.
#include "tests/apps/lib/basicHttp/httpFixture.h"

#include <fcntl.h>

namespace {

using BasicHttpSockets = BasicHttpFixture;

/* "0x115 fd 7" for each of libcurl's sockets, "0x0 after 0" for each timer. */
std::vector<std::string> Registered() {
    std::vector<std::string> all;
    for (const testLoop::Registration &one : testLoop::Registrations()) {
        const GPtr<char> text(g_strdup_printf("0x%x %s %" G_GINT64_FORMAT, unsigned(one.flags),
                                              one.eventType == POLL_DEVICE ? "fd" : "after",
                                              one.info));
        all.push_back(text.get());
    }
    return all;
}

using Texts = std::vector<std::string>;

TEST_F(BasicHttpSockets, EventsBecomeRegistrations) {
    const std::pair<int, Texts> rows[] = {
        {CURL_POLL_NONE, {}},
        {CURL_POLL_IN, {"0x115 fd 77"}},
        {CURL_POLL_IN, {"0x115 fd 77"}},
        {CURL_POLL_INOUT, {"0x115 fd 77", "0x119 fd 77"}},
        {CURL_POLL_OUT, {"0x119 fd 77"}},
        {CURL_POLL_REMOVE, {}},
        {CURL_POLL_REMOVE, {}},
        {CURL_POLL_INOUT, {"0x115 fd 77", "0x119 fd 77"}},
        {CURL_POLL_REMOVE, {}},
    };
    BasicHttpInsideCurl inside(curlGlobalState);
    for (const auto &[what, registered] : rows) {
        EXPECT_EQ(0, BasicHttpSocketCurlCallback(nullptr, 77, what, nullptr, nullptr));
        EXPECT_EQ(registered, Registered()) << what;
    }
}

TEST_F(BasicHttpSockets, EachHasAnEntryOfItsOwn) {
    BasicHttpInsideCurl inside(curlGlobalState);
    for (int descriptor : {77, 78, 79})
        BasicHttpSocketCurlCallback(nullptr, descriptor, CURL_POLL_IN, nullptr, nullptr);
    EXPECT_EQ(79, curlGlobalState->sockets->socket) << "newest first";
    BasicHttpSocketCurlCallback(nullptr, 78, CURL_POLL_REMOVE, nullptr, nullptr);
    EXPECT_EQ((Texts{"0x115 fd 77", "0x115 fd 79"}), Registered());
}

TEST_F(BasicHttpSockets, ThereIsOneTimer) {
    const std::pair<long, Texts> rows[] = {
        {5, {"0x0 after 5000"}}, {0, {"0x0 after 0"}}, {-1, {}}, {-1, {}}};
    BasicHttpInsideCurl inside(curlGlobalState);
    for (const auto &[timeout, registered] : rows) {
        EXPECT_EQ(0, BasicHttpTimerCurlCallback(curlGlobalState->multi, timeout, nullptr));
        EXPECT_EQ(registered, Registered()) << timeout;
    }
}

TEST_F(BasicHttpSockets, ARequestRegistersItsTimersAndItsEnd) {
    AnswerNothing();
    BasicHttpRequest *request = Request("/x");
    BasicHttp_SetConnectTimeout(request, 7);
    BasicHttp_SetInactivityTimeout(request, BASICHTTP_TIMEOUT_SENT, 9);
    Sent outcome(request);
    EXPECT_TRUE(RunUntilServed());
    const Texts registered = Registered();
    const std::string socket = std::to_string(request->socket);
    for (const std::string &text :
         {std::string("0x0 after 7000000"), std::string("0x1 after 2000000"), "0x115 fd " + socket})
        EXPECT_THAT(registered, testing::Contains(text));

    server.Send(0, HttpReply("").bytes);
    EXPECT_TRUE(testLoop::RunUntil([&] { return request->hasCompletion; }));
    EXPECT_THAT(Registered(), testing::Contains("0x0 after 0"));
    EXPECT_THAT(Registered(), testing::Not(testing::Contains("0x115 fd " + socket)));
    RunUntilDone(outcome);
    for (const std::string &text : Registered())
        EXPECT_EQ(std::string::npos, text.find("fd")) << text;
}

TEST_F(BasicHttpSockets, ADescriptorThatIsGoneDoesNotStopTheOthers) {
    AnswerAll(HttpReply(""));
    Sent outcome(Request("/x"));
    BasicHttpSocketEntry gone{nullptr, 999, nullptr, CURL_POLL_IN};
    BasicHttpSocketPollCallback(&gone);
    RunUntilDone(outcome);
    EXPECT_EQ(BASICHTTP_ERROR_NONE, outcome.error);
}

TEST_F(BasicHttpSockets, ChildrenDoNotInheritThem) {
    AnswerNothing();
    for (bool hasWorkaround : {true, false}) {
        BasicHttpRequest *request = Request("/x");
        if (!hasWorkaround)
            BasicHttp_DisableConnectionTimeoutWorkaround(request);
        Sent outcome(request);
        testLoop::Settle();
        ASSERT_NE(nullptr, curlGlobalState->sockets);
        EXPECT_TRUE(fcntl(curlGlobalState->sockets->socket, F_GETFD) & FD_CLOEXEC);
        BasicHttp_FreeRequest(request);
    }
}

TEST_F(BasicHttpSockets, ALoopThatTakesNothingIsLogged) {
    AnswerAll(HttpReply(""));
    Outcome outcome;
    testLoop::SetRefusing(true);
    Send(Request("/x"), &outcome);
    EXPECT_NE(std::string::npos, LogText().find("BasicHTTP: The loop does not take socket "));
    testLoop::SetRefusing(false);
}

/* Each row runs two rounds over 64 servers; a kept connection is accepted once. */
TEST_F(BasicHttpSockets, AsManyConnectionsAreKeptAsAreNeeded) {
    /* jars: one for each server, or one for all */
    const std::tuple<guint, size_t, bool, bool> rows[] = {
        {4096, 64, false, true}, {4096, 1, true, true}, {16, 64, false, false}};
    std::vector<CannedServer> servers(64);
    for (CannedServer &each : servers)
        each.Answer([](const CannedRequest &) { return HttpReply(""); });
    for (const auto &[limit, numJars, isAtOnce, isKept] : rows) {
        InitAgain();
        BasicHttp_SetMaxKeptConnections(limit);
        std::vector<BasicHttpCookieJar *> jars;
        for (size_t i = 0; i < numJars; i++)
            jars.push_back(NewJar());
        std::vector<int> before;
        for (const CannedServer &each : servers)
            before.push_back(each.NumConnections());
        for (int round = 0; round < 2; round++) {
            std::vector<Outcome> outcomes(servers.size());
            for (size_t i = 0; i < servers.size(); i++) {
                Send(Post(servers[i].Url("/"), jars[i % numJars]), &outcomes[i]);
                if (!isAtOnce)
                    RunUntilDone(outcomes[i]);
            }
            for (const Outcome &outcome : outcomes)
                RunUntilDone(outcome);
        }
        size_t numAccepted = 0;
        for (size_t i = 0; i < servers.size(); i++)
            numAccepted += size_t(servers[i].NumConnections() - before[i]);
        EXPECT_EQ(isKept, numAccepted == servers.size()) << numAccepted;
    }
    BasicHttp_SetMaxKeptConnections(4096);
}

} // namespace
