// The last look at a connection: where a request may be sent, and how often.
#include "tests/apps/lib/basicHttp/httpFixture.h"

namespace {

struct BasicHttpGuard : BasicHttpFixture {
    /* The error that a request ends with when it got a connection to an address; 0 if it may be sent. */
    static BasicHttpErrorCode Look(BasicHttpRequest *request, std::string peerAddress) {
        char local[] = "127.0.0.1";
        request->errorOverride = BASICHTTP_ERROR_NONE;
        const int answer =
            BasicHttpPrereqCurlCallback(request, peerAddress.data(), local, 80, 40000);
        EXPECT_EQ(answer == CURL_PREREQFUNC_OK, request->errorOverride == BASICHTTP_ERROR_NONE);
        return request->errorOverride;
    }
    /* Sends to a proxy of the test's, so that the URL may name any host; it never answers. */
    BasicHttpRequest *Start(const char *url, bool isStrict, bool hasProxy = true) {
        BasicHttpRequest *request =
            BasicHttp_CreateRequest(url, BASICHTTP_METHOD_POST, nullptr, nullptr, "<x/>");
        BasicHttp_SetProxy(request, server.Url().c_str(),
                           hasProxy ? BASICHTTP_PROXY_HTTP : BASICHTTP_PROXY_NONE);
        Send(request, &unheard);
        BasicHttp_SetStrict(request, isStrict);
        return request;
    }
    Outcome unheard;
};

TEST_F(BasicHttpGuard, ARequestGoesWhereItWasSentOrLedAndNowhereElse) {
    /* the redirect was let through */
    const std::tuple<const char *, const char *, bool> rows[] = {
        {"http://h.invalid/x", "", true},
        {"h.invalid:80/x", "", true},
        {"http://h.invalid/x", "http://H.invalid:80/y", true},
        {"http://h.invalid/x", "https://h.invalid/x", false},
        {"http://h.invalid/x", "http://h.invalid:81/x", false},
        {"http://h.invalid/x", "http://other.invalid/x", false},
        {"https://h.invalid/x", "", false}, /* it has no TLS here */
    };
    for (const auto &[url, redirect, isAllowed] : rows) {
        BasicHttpRequest *request = Start(url, false);
        request->redirectUrl = redirect;
        EXPECT_EQ(isAllowed ? BASICHTTP_ERROR_NONE : BASICHTTP_ERROR_SSL_SECURITY,
                  Look(request, "10.0.0.1"))
            << url << " " << redirect;
        BasicHttp_FreeRequest(request);
    }
}

TEST_F(BasicHttpGuard, AStrictRequestWithoutTlsStaysOnThisMachine) {
    const std::tuple<const char *, const char *, bool, bool> rows[] = {
        {"http://localhost:9/x", "127.0.0.1", false, true},
        {"http://127.9.8.7:9/x", "127.9.8.7", false, true},
        {"http://[::1]:9/x", "::1", false, true},
        {"http://localhost:9/x", "10.0.0.1", false, false}, /* by whoever answers for names */
        {"http://localhost:9/x", "", false, false},
        {"http://localhost:9/x", "127.0.0.1", true, false},
        {"http://h.invalid/x", "127.0.0.1", true, false},
    };
    for (const auto &[url, peer, hasProxy, isAllowed] : rows) {
        for (bool isStrict : {true, false}) {
            BasicHttpRequest *request = Start(url, isStrict, hasProxy);
            EXPECT_EQ(isAllowed || !isStrict ? BASICHTTP_ERROR_NONE : BASICHTTP_ERROR_SSL_SECURITY,
                      Look(request, peer))
                << url << " at " << peer;
            BasicHttp_FreeRequest(request);
        }
    }
}

TEST_F(BasicHttpGuard, WhatItRefusesIsNotSent) {
    AnswerAll(HttpReply("<x/>"));
    BasicHttpRequest *request = Request("/x", BASICHTTP_METHOD_POST, "<login/>");
    request->redirectUrl = "https://127.0.0.1/";
    EXPECT_EQ(BASICHTTP_ERROR_SSL_SECURITY, Run(request).error);
    EXPECT_EQ(0u, server.Requests().size());
    EXPECT_THAT(LogText(), testing::HasSubstr("that is not where it may go."));
}

TEST_F(BasicHttpGuard, JudgesUrlsAsTheyAreSent) {
    const std::pair<BasicHttpUrlKind, std::vector<const char *>> rows[] = {
        {BASICHTTP_URL_ENCRYPTED,
         {"https://h/sdk", "HTTPS://localhost/sdk", "https://[fe80::1%25eth0]/"}},
        {BASICHTTP_URL_LOOPBACK, /* numbers as libcurl reads them */
         {"http://localhost:8080", "LOCALHOST/sdk", "http://127.255.3.4/", "http://0x7f000001/",
          "http://[::1]/", "http://u:p@localhost/"}},
        {BASICHTTP_URL_UNENCRYPTED, /* a name is no scheme */
         {"http://h/", "http://128.0.0.1/", "http://[::2]/", "http://localhost@h/",
          "http://127.0.0.1:80@h/sdk", "http://localhost.h/", "http://h?@localhost/", "ftp.h/sdk",
          "imap.h/sdk", "dict.localhost/sdk"}},
        {BASICHTTP_URL_INVALID, /* a "%" begins a zone, or a letter */
         {"http://localhos%74/sdk", "https://h%2ex/sdk", "ftp://h/", "file:///etc/passwd",
          "http://localhost:port/", "http://localhost:99999/", "http://local host/", "http://[::1/",
          "http://", "https:h", "", nullptr}},
    };
    for (const auto &[kind, urls] : rows) {
        for (const char *url : urls)
            EXPECT_EQ(kind, BasicHttp_JudgeUrl(url)) << (url ? url : "NULL");
    }
    EXPECT_TRUE(BasicHttp_IsLoopbackUrl("https://localhost/"));
    EXPECT_FALSE(BasicHttp_IsLoopbackUrl("https://localhos%74/"));
}

TEST_F(BasicHttpGuard, WhatThePeerMayHaveReadIsNotSentAgain) {
    /* repeatable: set by the application */
    const std::tuple<BasicHttpMethod, bool, size_t, bool> rows[] = {
        {BASICHTTP_METHOD_POST, false, 4, false},
        {BASICHTTP_METHOD_POST, false, 200000, false},
        {BASICHTTP_METHOD_POST, true, 4, true},
        {BASICHTTP_METHOD_PUT, false, 4, false},
        {BASICHTTP_METHOD_GET, false, 4, true}};
    for (const auto &[method, isRepeatable, bodySize, isRepeated] : rows) {
        size_t numSecond = 0;
        server.Answer([&](const CannedRequest &request) {
            CannedAnswer answer = HttpReply("<x/>");
            if (request.target == "/2" && ++numSecond == 1)
                answer.cutAfter = 0; /* closed without a byte */
            return answer;
        });
        Run(Request("/1"));
        BasicHttpRequest *request = Request("/2", method, std::string(bodySize, 'x').c_str());
        BasicHttp_AppendRequestHeader(request, "Expect: ");
        if (isRepeatable)
            BasicHttp_SetRepeatable(request, TRUE);
        LogRing_Clear();
        const Outcome outcome = Run(request);
        EXPECT_EQ(isRepeated ? BASICHTTP_ERROR_NONE : BASICHTTP_ERROR_TRANSFER, outcome.error);
        EXPECT_EQ(isRepeated ? 2u : 1u, numSecond) << method << " " << bodySize;
        EXPECT_EQ(isRepeated, LogText().find("is not sent again") == std::string::npos);
    }
}

TEST_F(BasicHttpGuard, WhatDidNotLeaveIsSentOnAnotherConnection) {
    AnswerAll(HttpReply("<x/>"));
    Run(Request("/1"));
    BasicHttpRequest *request = Request("/2", BASICHTTP_METHOD_POST, "<x/>");
    request->wasSent = true; /* it had a connection before, on which nothing was sent */
    EXPECT_EQ(BASICHTTP_ERROR_NONE, Run(request).error);
}

} // namespace
