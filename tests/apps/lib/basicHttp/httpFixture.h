/*
 * httpFixture.h -- the transport on the tests' loop, with a clock that moves by hand, a canned server,
 * and requests whose end is noted
 *
 *   Outcome outcome;
 *   Send(Request("/x"), &outcome);
 *   RunUntilDone(outcome);
 *   EXPECT_EQ("<x/>", outcome.content);
 *
 * After each test nothing may be left on the loop.
 */
#pragma once

#include <algorithm>

#include <gmock/gmock.h>

#include "apps/lib/basicHttp/basicHttp.h"
#include "apps/lib/basicHttp/basicHttpInt.h"
#include "tests/support/cannedServer.h"
#include "tests/support/logText.h"
#include "tests/support/testLoop.h"

inline gint64 testClockOffset;

inline gint64 TestClock() {
    return g_get_monotonic_time() + testClockOffset;
}

/* Moves the loop's clock and the transport's. */
inline void AdvanceClock(gint64 microseconds) {
    testClockOffset += microseconds;
    testLoop::Advance(microseconds);
}

/* Moves the clocks, and lets all happen that is due then. */
inline void PassSeconds(gint64 seconds) {
    AdvanceClock(seconds * G_USEC_PER_SEC);
    testLoop::Settle();
}

using JarPtr = std::unique_ptr<BasicHttpCookieJar, Release<BasicHttp_FreeCookieJar>>;

/* How a request ended. It is then freed, unless "then" is set to something else. */
struct Outcome {
    int numCalls = 0;
    BasicHttpErrorCode error = BASICHTTP_ERROR_NONE;
    long status = 0;
    std::string content;
    std::string url;
    std::vector<std::string> headers;
    BasicHttpContentInfo info{};
    std::function<void(BasicHttpRequest *)> then = BasicHttp_FreeRequest;
};

inline void NoteOutcome(BasicHttpRequest *request, BasicHttpResponse *response, gpointer data) {
    auto *outcome = static_cast<Outcome *>(data);
    outcome->numCalls++;
    outcome->error = response->errorCode;
    outcome->status = response->responseCode;
    EXPECT_EQ('\0', response->content[response->contentLength]);
    outcome->content.assign(response->content, response->contentLength);
    outcome->url = response->effectiveURL ? response->effectiveURL : "";
    for (guint i = 0; i < BasicHttp_GetNumResponseHeaders(request); i++)
        outcome->headers.push_back(BasicHttp_GetResponseHeader(request, i));
    EXPECT_EQ(nullptr, BasicHttp_GetResponseHeader(request, guint(outcome->headers.size())));
    BasicHttp_GetRecvContentInfo(request, &outcome->info);
    BasicHttp_FreeResponse(response);
    if (outcome->then)
        outcome->then(request);
}

struct BasicHttpFixture : testing::Test {
    static constexpr const char *kVariables[] = {
        "http_proxy", "https_proxy", "all_proxy",  "ALL_PROXY",         "HTTPS_PROXY",
        "no_proxy",   "NO_PROXY",    "HTTP_PROXY", "HALDEN_HTTPSPROXY", "HALDEN_BASICHTTP_TRACE"};

    void SetUp() override {
        for (const char *variable : kVariables)
            g_unsetenv(variable);
        testLoop::Reset();
        testClockOffset = 0;
        basicHttpNow = TestClock;
        LogRing_Clear();
        Init();
    }
    void TearDown() override {
        BasicHttp_Shutdown();
        BasicHttp_SetMaxResponseSize(gsize(256) << 20);
        EXPECT_EQ(0u, testLoop::Registrations().size());
        EXPECT_GE(0, testLoop::NumMissed());
        for (const char *variable : kVariables)
            g_unsetenv(variable);
    }

    static void Init(gint maxOutstandingRequests = -1) {
        ASSERT_TRUE(
            BasicHttp_InitEx(testLoop::Callback, testLoop::CallbackRemove, maxOutstandingRequests));
    }
    static void InitAgain(gint maxOutstandingRequests = -1) {
        BasicHttp_Shutdown();
        Init(maxOutstandingRequests);
    }

    BasicHttpRequest *Request(const std::string &path,
                              BasicHttpMethod method = BASICHTTP_METHOD_GET,
                              const char *body = nullptr, BasicHttpCookieJar *jar = nullptr) {
        return BasicHttp_CreateRequest(server.Url(path).c_str(), method, jar, nullptr, body);
    }
    static BasicHttpRequest *Get(const std::string &url, BasicHttpCookieJar *jar = nullptr) {
        return BasicHttp_CreateRequest(url.c_str(), BASICHTTP_METHOD_GET, jar, nullptr, nullptr);
    }
    static BasicHttpRequest *Post(const std::string &url, BasicHttpCookieJar *jar = nullptr) {
        return BasicHttp_CreateRequest(url.c_str(), BASICHTTP_METHOD_POST, jar, nullptr, "<x/>");
    }
    /* A jar that lives as long as the test. */
    BasicHttpCookieJar *NewJar() { return ownJars.emplace_back(BasicHttp_CreateCookieJar()).get(); }
    static void Send(BasicHttpRequest *request, Outcome *outcome) {
        ASSERT_TRUE(BasicHttp_SendRequest(request, NoteOutcome, outcome));
    }
    static void RunUntilDone(const Outcome &outcome) {
        EXPECT_TRUE(testLoop::RunUntil([&] { return outcome.numCalls > 0; }));
        EXPECT_EQ(1, outcome.numCalls);
    }
    static Outcome Run(BasicHttpRequest *request) {
        Outcome outcome;
        Send(request, &outcome);
        RunUntilDone(outcome);
        return outcome;
    }
    void AnswerAll(const CannedAnswer &answer) {
        server.Answer([answer](const CannedRequest &) { return answer; });
    }
    /* Never answers, so that the request stays where it is. */
    void AnswerNothing() { AnswerAll(CannedAnswer{}); }
    bool RunUntilServed(size_t numRequests = 1) {
        return testLoop::RunUntil([=, this] { return server.Requests().size() >= numRequests; });
    }
    static BasicHttpState State(BasicHttpRequest *request) {
        BasicHttpState state = BASICHTTP_STATE_IDLE;
        EXPECT_TRUE(BasicHttp_GetState(request, &state));
        return state;
    }

    CannedServer server;

private:
    std::vector<JarPtr> ownJars;
};

/* A request that is on its way, and how it ends. */
struct Sent : Outcome {
    explicit Sent(BasicHttpRequest *request) { BasicHttpFixture::Send(request, this); }
};
