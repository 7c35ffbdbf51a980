// Life of requests: what is sent, when they wait, and how they end. The scenarios end them at every step.
#include "tests/apps/lib/basicHttp/httpFixture.h"

namespace {

const std::string kForm = "\r\nContent-Type: application/x-www-form-urlencoded";

struct BasicHttp : BasicHttpFixture {
    /* What is behind the method and the path of each request. */
    std::string AnyHead(const std::string &agent = "Halden-client") const {
        return " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server.Port()) +
               "\r\nUser-Agent: " + agent + "\r\nAccept: */*";
    }
};

TEST_F(BasicHttp, MethodsGoOutAsTheyShould) {
    const std::tuple<BasicHttpMethod, const char *, const char *, std::string> rows[] = {
        {BASICHTTP_METHOD_GET, nullptr, "GET", ""},
        {BASICHTTP_METHOD_POST, "<x/>", "POST", "\r\nContent-Length: 4" + kForm},
        {BASICHTTP_METHOD_POST, nullptr, "POST", "\r\nContent-Length: 0" + kForm},
        {BASICHTTP_METHOD_HEAD, nullptr, "HEAD", ""},
        {BASICHTTP_METHOD_DELETE, nullptr, "DELETE", ""},
        {BASICHTTP_METHOD_PUT, "abc", "PUT", "\r\nContent-Length: 3\r\nExpect: 100-continue"},
    };
    server.Answer([](const CannedRequest &request) {
        return request.method == "HEAD"
                   ? CannedAnswer{"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n"}
                   : HttpReply("reply");
    });
    for (const auto &[method, body, name, ownHeaders] : rows) {
        const Outcome outcome = Run(Request("/x", method, body));
        EXPECT_EQ(BASICHTTP_ERROR_NONE, outcome.error);
        EXPECT_EQ(200, outcome.status);
        EXPECT_EQ(method == BASICHTTP_METHOD_HEAD ? "" : "reply", outcome.content);
        EXPECT_EQ(server.Url("/x"), outcome.url);
        const CannedRequest &seen = server.Requests().back();
        EXPECT_EQ(std::string(name) + " /x" + AnyHead() + ownHeaders, seen.head);
        EXPECT_EQ(body ? body : "", seen.body);
    }
    EXPECT_EQ(1, server.NumConnections());
}

TEST_F(BasicHttp, HeadersOfTheApplicationGoOut) {
    AnswerAll(HttpReply(""));
    BasicHttpRequest *request = BasicHttp_CreateRequest(
        server.Url("/x").c_str(), BASICHTTP_METHOD_POST, nullptr, "X-First: 1", "<x/>");
    EXPECT_TRUE(BasicHttp_AppendRequestHeader(request, "Expect: "));
    EXPECT_TRUE(BasicHttp_AppendRequestHeader(request, "Content-Type: text/xml; charset=utf-8"));
    EXPECT_TRUE(BasicHttp_AppendRequestHeader(request, "SOAPAction: \"urn:ozy25/6.0\""));
    EXPECT_TRUE(BasicHttp_AppendRangeRequestHeader(request, 100, 0));
    BasicHttp_SetUserAgent(request, "tester");
    Run(request);

    request = Request("/y");
    EXPECT_TRUE(BasicHttp_AppendRangeRequestHeader(request, 5, 10));
    Run(request);

    EXPECT_EQ("POST /x" + AnyHead("tester") +
                  "\r\nX-First: 1\r\nContent-Type: text/xml; charset=utf-8\r\n"
                  "SOAPAction: \"urn:ozy25/6.0\"\r\nRange:bytes=100-\r\nContent-Length: 4",
              server.Requests()[0].head);
    EXPECT_EQ("bytes=5-14", server.Requests()[1].Header("Range"));
    EXPECT_EQ("Halden-client", server.Requests()[1].Header("User-Agent"));
}

TEST_F(BasicHttp, HeadersMayBeSharedByRequestsAndOutliveTheirMaker) {
    AnswerAll(HttpReply(""));
    const char *texts[] = {"X-All: 1", "Accept:", nullptr};
    BasicHttpHeaders *headers = BasicHttp_CreateHeaders(texts);
    BasicHttpRequest *plain = Request("/plain");
    BasicHttpRequest *more = Request("/more");
    EXPECT_TRUE(BasicHttp_AppendRequestHeader(plain, "X-Replaced: 1"));
    BasicHttp_SetHeaders(plain, headers);
    BasicHttp_SetHeaders(more, headers);
    BasicHttp_FreeHeaders(headers);
    EXPECT_TRUE(BasicHttp_AppendRequestHeader(more, "X-More: 2"));
    Run(plain);
    Run(more);

    const std::tuple<const char *, const char *, const char *> rows[] = {
        {"X-All", "1", "1"}, {"Accept", "", ""}, {"X-Replaced", "", ""}, {"X-More", "", "2"}};
    for (const auto &[header, ofPlain, ofMore] : rows) {
        EXPECT_EQ(ofPlain, server.Requests()[0].Header(header)) << header;
        EXPECT_EQ(ofMore, server.Requests()[1].Header(header)) << header;
    }
}

TEST_F(BasicHttp, LineBreaksInHeadersAreRefused) {
    for (const char *text : {"X: 1\r\nY: 2", "X: 1\n", "\rX: 1"}) {
        EXPECT_EQ(nullptr, BasicHttp_CreateRequest("http://h/", BASICHTTP_METHOD_GET, nullptr, text,
                                                   "body"));
        BasicHttpRequest *request = Request("/x");
        LogRing_Clear();
        EXPECT_FALSE(BasicHttp_AppendRequestHeader(request, text));
        EXPECT_EQ(1u, CountInLog("W BasicHTTP: A request header with a line break is refused."));
        const char *texts[] = {"X: 1", text, nullptr};
        EXPECT_EQ(nullptr, BasicHttp_CreateHeaders(texts));
        BasicHttp_SetUserAgent(request, text);
        AnswerAll(HttpReply(""));
        Run(request);
        EXPECT_EQ("Halden-client", server.Requests().back().Header("User-Agent"));
    }
}

TEST_F(BasicHttp, WhatCannotBeIsRefused) {
    EXPECT_EQ(nullptr,
              BasicHttp_CreateRequest(nullptr, BASICHTTP_METHOD_GET, nullptr, nullptr, nullptr));
    for (int method : {-1, 5})
        EXPECT_EQ(nullptr, BasicHttp_CreateRequest("http://h/", BasicHttpMethod(method), nullptr,
                                                   nullptr, nullptr));
    EXPECT_FALSE(BasicHttp_SendRequest(nullptr, NoteOutcome, nullptr));
    BasicHttpRequest *request = Request("/x");
    EXPECT_FALSE(BasicHttp_SendRequest(request, nullptr, nullptr));
    EXPECT_FALSE(BasicHttp_AppendRequestHeader(request, nullptr));
    EXPECT_FALSE(BasicHttp_GetState(request, nullptr));
    long code = 0;
    EXPECT_FALSE(BasicHttp_GetResponseCode(request, &code)) << "not started";
    BasicHttp_CancelRequest(nullptr);
    BasicHttp_FreeRequest(nullptr);
    BasicHttp_FreeResponse(nullptr);

    AnswerAll(HttpReply("one"));
    Outcome outcome;
    outcome.then = [](BasicHttpRequest *done) {
        EXPECT_FALSE(BasicHttp_SendRequest(done, NoteOutcome, nullptr)) << "done";
        BasicHttp_FreeRequest(done);
    };
    Send(request, &outcome);
    EXPECT_FALSE(BasicHttp_SendRequest(request, NoteOutcome, nullptr)) << "on its way";
    RunUntilDone(outcome);
    EXPECT_EQ("one", outcome.content);
}

/* A URL that is longer than libcurl takes. */
TEST_F(BasicHttp, AStartThatFailsSaysSoAtOnceAndThatOfAQueuedRequestIsReported) {
    const std::string url = "http://127.0.0.1/" + std::string(8000001, 'x');
    BasicHttpRequest *request = Get(url);
    Outcome outcome;
    EXPECT_FALSE(BasicHttp_SendRequest(request, NoteOutcome, &outcome));
    EXPECT_EQ(BASICHTTP_STATE_IDLE, State(request));
    testLoop::Settle();
    EXPECT_EQ(0, outcome.numCalls);
    BasicHttp_FreeRequest(request);

    InitAgain(1);
    AnswerAll(HttpReply(""));
    Outcome first, second;
    Send(Request("/1"), &first);
    Send(Get(url), &second);
    RunUntilDone(second);
    EXPECT_EQ(BASICHTTP_ERROR_GENERIC, second.error);
    EXPECT_EQ("", second.content);
}

TEST_F(BasicHttp, LargeBodiesComeAndGoWhole) {
    server.Answer([](const CannedRequest &request) { return HttpReply(request.body); });
    for (size_t size : {65535, 65536, 3000000}) {
        std::string body(size, 'x');
        for (size_t i = 0; i < size; i += 97)
            body[i] = char('a' + i % 26);
        BasicHttpRequest *request = Request("/x", BASICHTTP_METHOD_POST, body.c_str());
        BasicHttp_AppendRequestHeader(request, "Expect: ");
        EXPECT_EQ(body, Run(request).content) << size;
    }
}

TEST_F(BasicHttp, RequestsWaitTheirTurn) {
    InitAgain(2);
    AnswerAll(HttpReply(""));
    Outcome outcomes[6];
    for (int i = 0; i < 6; i++)
        Send(Request("/" + std::to_string(i)), &outcomes[i]);
    size_t most = 0;
    EXPECT_TRUE(testLoop::RunUntil([&] {
        most = std::max(most, HashTable_GetNumElements(curlGlobalState->active));
        return std::ranges::all_of(outcomes, [](const Outcome &o) { return o.numCalls == 1; });
    }));
    EXPECT_EQ(2u, most);
    for (int i = 0; i < 6; i++)
        EXPECT_EQ("/" + std::to_string(i), server.Requests()[i].target);
}

TEST_F(BasicHttp, AFinishedRequestKeepsItsSlotUntilItIsFreed) {
    InitAgain(1);
    AnswerAll(HttpReply(""));
    Outcome first, second;
    BasicHttpRequest *kept = nullptr;
    first.then = [&](BasicHttpRequest *request) { kept = request; };
    Send(Request("/1"), &first);
    Send(Request("/2"), &second);
    RunUntilDone(first);
    testLoop::Settle();
    EXPECT_EQ(0, second.numCalls);
    BasicHttp_FreeRequest(kept);
    RunUntilDone(second);
}

TEST_F(BasicHttp, ARequestThatWaitsCanBeCancelledOrFreedAndIsNeverSent) {
    InitAgain(1);
    AnswerAll(HttpReply(""));
    Outcome outcomes[4];
    BasicHttpRequest *requests[4];
    for (int i = 0; i < 4; i++) {
        requests[i] = Request("/" + std::to_string(i));
        Send(requests[i], &outcomes[i]);
    }
    EXPECT_FALSE(BasicHttp_SendRequest(requests[1], NoteOutcome, nullptr)) << "waits already";
    BasicHttp_CancelRequest(requests[1]);
    EXPECT_EQ(BASICHTTP_STATE_DONE, State(requests[1]));
    BasicHttp_FreeRequest(requests[2]);
    RunUntilDone(outcomes[3]);
    EXPECT_EQ(2u, server.Requests().size());
    EXPECT_EQ(0, outcomes[1].numCalls + outcomes[2].numCalls);
    BasicHttp_FreeRequest(requests[1]);
}

TEST_F(BasicHttp, ShutdownEndsRequestsOfAllKinds) {
    InitAgain(2);
    AnswerNothing();
    Outcome outcomes[4];
    for (Outcome &outcome : outcomes)
        Send(Request("/x", BASICHTTP_METHOD_POST, "<x/>"), &outcome);
    EXPECT_TRUE(RunUntilServed(2));
    const guint generation = BasicHttp_GetGeneration();
    BasicHttp_Shutdown();
    EXPECT_FALSE(BasicHttp_IsInited());
    EXPECT_EQ(0u, BasicHttp_GetGeneration());
    EXPECT_EQ(0u, testLoop::Registrations().size());
    BasicHttp_Shutdown();

    BasicHttpRequest *request = Request("/y");
    EXPECT_FALSE(BasicHttp_SendRequest(request, NoteOutcome, nullptr)) << "not started";
    Init();
    EXPECT_EQ(generation + 1, BasicHttp_GetGeneration());
    AnswerAll(HttpReply("again"));
    EXPECT_EQ("again", Run(request).content);
    for (const Outcome &outcome : outcomes)
        EXPECT_EQ(0, outcome.numCalls);
}

TEST_F(BasicHttp, ASecondInitIsTheEndOfTheProgram) {
    EXPECT_DEATH(BasicHttp_Init(testLoop::Callback, testLoop::CallbackRemove),
                 "NOT_IMPLEMENTED .*basicHttp.cpp:");
}

TEST_F(BasicHttp, ConnectionsAreKeptUnlessARequestForbidsIt) {
    AnswerAll(HttpReply(""));
    Run(Request("/1"));
    BasicHttpRequest *request = Request("/2");
    BasicHttp_SetFreshConnection(request);
    BasicHttp_ForbidReuse(request);
    Run(request);
    testLoop::Settle();
    EXPECT_EQ(2, server.NumConnections());
    EXPECT_EQ(1, server.NumOpenConnections());
    Run(Request("/3"));
    EXPECT_EQ(2, server.NumConnections());
}

/* libcurl takes the version of a status line for one whose connections carry requests side by side. */
TEST_F(BasicHttp, NoConnectionCarriesTwoRequestsAtOnce) {
    server.Answer([](const CannedRequest &request) {
        return request.target == "/slow" ? CannedAnswer{}
                                         : CannedAnswer{"HTTP/2 200 x\r\nContent-Length: 0\r\n\r\n",
                                                        request.target == "/new"};
    });
    Sent slow(Request("/slow"));
    Run(Request("/new"));
    Run(Request("/next"));
    EXPECT_EQ(3, server.NumConnections());
    server.Send(0, HttpReply("slow").bytes);
    RunUntilDone(slow);
    EXPECT_EQ("slow", slow.content);
}

TEST_F(BasicHttp, NothingOfARequestStaysForTheNext) {
    AnswerAll(HttpReply("", 200, "text/xml", {"Set-Cookie: a=b; Path=/"}));
    BasicHttpRequest *request = Request("/1", BASICHTTP_METHOD_DELETE);
    BasicHttp_SetRequestNameAndPassword(request, BASICHTTP_AUTH_BASIC, "user", "secret");
    BasicHttp_AppendRequestHeader(request, "X-Own: 1");
    BasicHttp_SetUserAgent(request, "other");
    Run(request);
    Run(Request("/2"));
    EXPECT_EQ("Basic dXNlcjpzZWNyZXQ=", server.Requests()[0].Header("Authorization"));
    EXPECT_EQ("GET /2" + AnyHead(), server.Requests()[1].head);
}

TEST_F(BasicHttp, NothingOfACallStaysForTheNext) {
    BasicHttpCookieJar *jars[] = {NewJar(), NewJar()};
    BasicHttp_SetInitialCookie(jars[0], "Set-Cookie: a=b");
    server.Answer([](const CannedRequest &request) {
        return request.target == "/moved"   ? CannedAnswer{"HTTP/1.1 302 Found\r\nLocation: /x\r\n"
                                                           "Content-Length: 0\r\n\r\n"}
               : request.target == "/never" ? CannedAnswer{}
                                            : HttpReply("");
    });
    const auto call = [&](const char *path, const char *body, BasicHttpCookieJar *jar) {
        BasicHttpRequest *request = Request(path, BASICHTTP_METHOD_POST, body, jar);
        BasicHttp_SetProxy(request, "", BASICHTTP_PROXY_NONE);
        return request;
    };
    BasicHttpRequest *first = call("/1", "<one/>", jars[0]);
    BasicHttp_AppendRequestHeader(first, "X-Own: 1");
    BasicHttp_SetUserAgent(first, "other");
    Run(first);
    Run(call("/moved", "<two/>", jars[1]));
    Outcome never;
    BasicHttpRequest *cancelled = call("/never", "<a longer body/>", jars[0]);
    Send(cancelled, &never);
    EXPECT_TRUE(RunUntilServed(4));
    BasicHttp_FreeRequest(cancelled);
    Run(call("/5", "", jars[1]));
    Run(call("/6", "<six/>", jars[0]));

    const std::string start = AnyHead();
    std::vector<std::string> heads;
    for (const CannedRequest &request : server.Requests())
        heads.push_back(request.head);
    EXPECT_THAT(heads,
                testing::ElementsAre(
                    "POST /1" + AnyHead("other") +
                        "\r\nCookie: a=b\r\nX-Own: 1\r\nContent-Length: 6" + kForm,
                    "POST /moved" + start + "\r\nContent-Length: 6" + kForm, "GET /x" + start,
                    "POST /never" + start + "\r\nCookie: a=b\r\nContent-Length: 16" + kForm,
                    "POST /5" + start + "\r\nContent-Length: 0" + kForm,
                    "POST /6" + start + "\r\nCookie: a=b\r\nContent-Length: 6" + kForm));
}

TEST_F(BasicHttp, CredentialsAnswerAChallenge) {
    server.Answer([](const CannedRequest &request) {
        if (request.Header("Authorization").empty() ||
            request.Header("Authorization").find("response=\"\"") != std::string::npos)
            return HttpReply("", 401, "text/plain",
                             {"WWW-Authenticate: Digest realm=\"r\", nonce=\"n\", qop=\"auth\""});
        return HttpReply("in");
    });
    BasicHttpRequest *request = Request("/x", BASICHTTP_METHOD_POST, "<x/>");
    BasicHttp_SetRequestNameAndPassword(request, BASICHTTP_AUTH_DIGEST, "user", "secret");
    const Outcome outcome = Run(request);
    EXPECT_EQ("in", outcome.content);
    EXPECT_EQ(0u,
              server.Requests().back().Header("Authorization").find("Digest username=\"user\""));
    EXPECT_EQ("<x/>", server.Requests().back().body);

    request = Request("/y");
    BasicHttp_SetRequestNameAndPassword(request, BASICHTTP_AUTH_BASIC, "user", "secret");
    BasicHttp_SetRequestNameAndPassword(request, -1, "other", "other");
    BasicHttp_SetRequestNameAndPassword(request, BASICHTTP_AUTH_BASIC, "other", nullptr);
    EXPECT_EQ(401, Run(request).status) << "cleared";
}

TEST_F(BasicHttp, ZonesAreCutOutOfTheUrl) {
    const std::tuple<const char *, const char *, const char *> rows[] = {
        {"https://[fe80::1%eth0]:443", "https://[fe80::1]:443/", "eth0"},
        {"http://[fe80::1%3]:80/x%20y", "http://[fe80::1]:80/x%20y", "3"},
        {"http://[fe80::1%25eth0]/x", "http://[fe80::1]/x", "eth0"},
        {"http://[fe80::1%25]/x", "http://[fe80::1]/x", "25"},
        {"[fe80::1%eth0]/x", "http://[fe80::1]/x", "eth0"},
        {"http://user%40home:pw@[fe80::1%eth0]/x", "http://user%40home:pw@[fe80::1]/x", "eth0"},
        {"http://user%40home:pw@host/x", "http://user%40home:pw@host/x", ""},
        {"http://host?a=%41", "http://host?a=%41", ""},
        {"http://host/%41", "http://host/%41", ""},
        {"http://host/x", "http://host/x", ""},
    };
    for (const auto &[url, rewritten, zone] : rows) {
        const BasicHttpZone split = BasicHttpTakeZone(url);
        EXPECT_EQ(rewritten, split.url) << url;
        EXPECT_EQ(zone, split.zone) << url;
    }
    BasicHttpRequest *request = Get("http://[fe80::1%lo]:9/x");
    Sent outcome(request);
    EXPECT_EQ("http://[fe80::1]:9/x", request->url);
    BasicHttp_FreeRequest(request);
}

} // namespace
