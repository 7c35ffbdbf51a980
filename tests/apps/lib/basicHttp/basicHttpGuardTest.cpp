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
    const struct {
        const char *url;
        const char *redirect; /* that was let through */
        bool isAllowed;
    } rows[] = {
        {"http://h.invalid/x", "", true},
        {"h.invalid:80/x", "", true},
        {"http://h.invalid/x", "http://H.invalid:80/y", true},
        {"http://h.invalid/x", "https://h.invalid/x", false},
        {"http://h.invalid/x", "http://h.invalid:81/x", false},
        {"http://h.invalid/x", "http://other.invalid/x", false},
        {"https://h.invalid/x", "", false}, /* it has no TLS here */
    };
    for (const auto &row : rows) {
        BasicHttpRequest *request = Start(row.url, false);
        request->redirectUrl = row.redirect;
        EXPECT_EQ(row.isAllowed ? BASICHTTP_ERROR_NONE : BASICHTTP_ERROR_SSL_SECURITY,
                  Look(request, "10.0.0.1"))
            << row.url << " " << row.redirect;
        BasicHttp_FreeRequest(request);
    }
}

TEST_F(BasicHttpGuard, AStrictRequestWithoutTlsStaysOnThisMachine) {
    const struct {
        const char *url;
        const char *peer;
        bool hasProxy, isAllowed;
    } rows[] = {
        {"http://localhost:9/x", "127.0.0.1", false, true},
        {"http://127.9.8.7:9/x", "127.9.8.7", false, true},
        {"http://[::1]:9/x", "::1", false, true},
        {"http://localhost:9/x", "10.0.0.1", false, false}, /* by whoever answers for names */
        {"http://localhost:9/x", "", false, false},
        {"http://localhost:9/x", "127.0.0.1", true, false},
        {"http://h.invalid/x", "127.0.0.1", true, false},
    };
    for (const auto &row : rows) {
        for (bool isStrict : {true, false}) {
            BasicHttpRequest *request = Start(row.url, isStrict, row.hasProxy);
            EXPECT_EQ(row.isAllowed || !isStrict ? BASICHTTP_ERROR_NONE
                                                 : BASICHTTP_ERROR_SSL_SECURITY,
                      Look(request, row.peer))
                << row.url << " at " << row.peer;
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
    const struct {
        const char *url;
        BasicHttpUrlKind kind;
    } rows[] = {
        {"https://h/sdk", BASICHTTP_URL_ENCRYPTED},
        {"HTTPS://localhost/sdk", BASICHTTP_URL_ENCRYPTED},
        {"https://[fe80::1%25eth0]/", BASICHTTP_URL_ENCRYPTED},
        {"http://localhost:8080", BASICHTTP_URL_LOOPBACK},
        {"LOCALHOST/sdk", BASICHTTP_URL_LOOPBACK},
        {"http://127.255.3.4/", BASICHTTP_URL_LOOPBACK},
        {"http://0x7f000001/", BASICHTTP_URL_LOOPBACK}, /* as libcurl reads it */
        {"http://[::1]/", BASICHTTP_URL_LOOPBACK},
        {"http://u:p@localhost/", BASICHTTP_URL_LOOPBACK},
        {"http://h/", BASICHTTP_URL_UNENCRYPTED},
        {"http://128.0.0.1/", BASICHTTP_URL_UNENCRYPTED},
        {"http://[::2]/", BASICHTTP_URL_UNENCRYPTED},
        {"http://localhost@h/", BASICHTTP_URL_UNENCRYPTED},
        {"http://127.0.0.1:80@h/sdk", BASICHTTP_URL_UNENCRYPTED},
        {"http://localhost.h/", BASICHTTP_URL_UNENCRYPTED},
        {"http://h?@localhost/", BASICHTTP_URL_UNENCRYPTED},
        {"ftp.h/sdk", BASICHTTP_URL_UNENCRYPTED}, /* a name is no scheme */
        {"imap.h/sdk", BASICHTTP_URL_UNENCRYPTED},
        {"dict.localhost/sdk", BASICHTTP_URL_UNENCRYPTED},
        {"http://localhos%74/sdk", BASICHTTP_URL_INVALID}, /* a zone, or a letter */
        {"https://h%2ex/sdk", BASICHTTP_URL_INVALID},
        {"ftp://h/", BASICHTTP_URL_INVALID},
        {"file:///etc/passwd", BASICHTTP_URL_INVALID},
        {"http://localhost:port/", BASICHTTP_URL_INVALID},
        {"http://localhost:99999/", BASICHTTP_URL_INVALID},
        {"http://local host/", BASICHTTP_URL_INVALID},
        {"http://[::1/", BASICHTTP_URL_INVALID},
        {"http://", BASICHTTP_URL_INVALID},
        {"https:h", BASICHTTP_URL_INVALID},
        {"", BASICHTTP_URL_INVALID},
        {nullptr, BASICHTTP_URL_INVALID},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.kind, BasicHttp_JudgeUrl(row.url)) << (row.url ? row.url : "NULL");
    EXPECT_TRUE(BasicHttp_IsLoopbackUrl("https://localhost/"));
    EXPECT_FALSE(BasicHttp_IsLoopbackUrl("https://localhos%74/"));
}

TEST_F(BasicHttpGuard, WhatThePeerMayHaveReadIsNotSentAgain) {
    const struct {
        BasicHttpMethod method;
        bool isRepeatable; /* set by the application */
        size_t bodySize;
        bool isRepeated;
    } rows[] = {{BASICHTTP_METHOD_POST, false, 4, false},
                {BASICHTTP_METHOD_POST, false, 200000, false},
                {BASICHTTP_METHOD_POST, true, 4, true},
                {BASICHTTP_METHOD_PUT, false, 4, false},
                {BASICHTTP_METHOD_GET, false, 4, true}};
    for (const auto &row : rows) {
        size_t numSecond = 0;
        server.Answer([&](const CannedRequest &request) {
            CannedAnswer answer = HttpReply("<x/>");
            if (request.target == "/2" && ++numSecond == 1)
                answer.cutAfter = 0; /* closed without a byte */
            return answer;
        });
        Run(Request("/1"));
        BasicHttpRequest *request =
            Request("/2", row.method, std::string(row.bodySize, 'x').c_str());
        BasicHttp_AppendRequestHeader(request, "Expect: ");
        if (row.isRepeatable)
            BasicHttp_SetRepeatable(request, TRUE);
        LogRing_Clear();
        const Outcome outcome = Run(request);
        EXPECT_EQ(row.isRepeated ? BASICHTTP_ERROR_NONE : BASICHTTP_ERROR_TRANSFER, outcome.error);
        EXPECT_EQ(row.isRepeated ? 2u : 1u, numSecond) << row.method << " " << row.bodySize;
        EXPECT_EQ(row.isRepeated, LogText().find("is not sent again") == std::string::npos);
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
