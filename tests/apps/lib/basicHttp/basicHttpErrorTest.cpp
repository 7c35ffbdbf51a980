// What goes wrong on the way, and the code that tells of it.
#include "tests/apps/lib/basicHttp/httpFixture.h"

#include <poll.h>

#include "tests/support/loopback.h"

namespace {

using BasicHttpErrors = BasicHttpFixture;

/* A name that is looked up in vain without asking anybody: a part of it is too long. */
const std::string kNoName = std::string(64, 'a') + ".invalid";

/* A port without a listener. */
int ClosedPort() {
    CannedServer server;
    return server.Port();
}

TEST_F(BasicHttpErrors, NoConnection) {
    const std::pair<std::string, BasicHttpErrorCode> rows[] = {
        {"http://127.0.0.1:" + std::to_string(ClosedPort()), BASICHTTP_ERROR_COULDNT_CONNECT},
        {"http://" + kNoName, BASICHTTP_ERROR_COULDNT_RESOLVE_HOST},
        {"ftp://127.0.0.1/x", BASICHTTP_ERROR_UNSUPPORTED_PROTOCOL},
        {"file:///etc/passwd", BASICHTTP_ERROR_UNSUPPORTED_PROTOCOL},
        {"http://host name/", BASICHTTP_ERROR_URL_MALFORMAT},
        {"http://[::1/", BASICHTTP_ERROR_URL_MALFORMAT},
        {"http://h/\r\nX: 1", BASICHTTP_ERROR_URL_MALFORMAT},
    };
    for (const auto &[url, error] : rows) {
        const Outcome outcome = Run(Get(url));
        EXPECT_EQ(error, outcome.error) << url;
        EXPECT_EQ("", outcome.content);
        EXPECT_EQ(0, outcome.status);
    }
    BasicHttpRequest *request = Request("/x");
    BasicHttp_SetProxy(request, ("http://" + kNoName + ":1").c_str(), BASICHTTP_PROXY_HTTP);
    EXPECT_EQ(BASICHTTP_ERROR_COULDNT_RESOLVE_PROXY, Run(request).error);
}

/* A server that answers a TLS greeting with plain text. */
TEST_F(BasicHttpErrors, TlsToAPlainPort) {
    int port = 0;
    const int listener = ListenOnLoopback(&port);
    int peer = -1;
    testLoop::Watch(listener, POLLIN, [&](short) {
        testLoop::Unwatch(listener);
        peer = accept(listener, nullptr, nullptr);
        ASSERT_LT(0, send(peer, "HTTP/1.1 400 no\r\n\r\n", 19, MSG_NOSIGNAL));
    });
    const Outcome outcome = Run(Get("https://127.0.0.1:" + std::to_string(port)));
    EXPECT_EQ(BASICHTTP_ERROR_SSL_CONNECT_ERROR, outcome.error);
    close(peer);
    close(listener);
}

TEST_F(BasicHttpErrors, AResetEndsTheTransfer) {
    AnswerAll({.bytes = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc", .reset = true});
    EXPECT_EQ(BASICHTTP_ERROR_TRANSFER, Run(Request("/x")).error);
}

TEST_F(BasicHttpErrors, MalformedLengthsAndRangesEndTheRequest) {
    /* without a line of the log it is taken */
    const std::pair<const char *, const char *> rows[] = {
        {"Content-Length: 2", nullptr},
        {"CONTENT-LENGTH: 2", nullptr},
        {"Content-Length:  2 ", nullptr},
        {"Content-Length: 2x", "Unexpected error parsing Content-Length."},
        {"Content-Length: -2", "Weird server reply"},
        {"Content-Length: +2", "Unexpected error parsing Content-Length."},
        {"Content-Length: 0x2", "Unexpected error parsing Content-Length."},
        {"Content-Length: ", "Weird server reply"},
        {"Content-Type: ", "Unexpected error parsing header."},
        {"Content-Range: bytes 0-99", nullptr},
        {"Content-Range: BYTES 0-99/200", nullptr},
        {"Content-Range: lines 0-99", "Error parsing Content-Range. Range-Type bytes expected."},
        {"Content-Range: bytes x-99", "Error parsing Content-Range. <digits>- expected."},
        {"Content-Range: bytes */9", "Error parsing Content-Range. <digits>- expected."},
        {"Content-Range: bytes 0", "Error parsing Content-Range. <digits>- expected."},
        {"Content-Range: bytes 0-", "Error parsing Content-Range. <digits>-<digits> expected."},
        {"Content-Range: bytes 0-9/",
         "Error parsing Content-Range. <digits>-<digits>/<digits> expected."},
        {"Content-Range: bytes 0-9/1x",
         "Error parsing Content-Range. <digits>-<digits>/<digits> expected."},
        {"Content-Range: bytes 0-9/99999999999999999999",
         "Error parsing Content-Range. <digits>-<digits>/<digits> expected."},
    };
    for (const auto &[line, logged] : rows) {
        LogRing_Clear();
        AnswerAll(
            {.bytes = "HTTP/1.1 200 OK\r\n" + std::string(line) + "\r\n\r\nok", .close = true});
        const Outcome outcome = Run(Request("/x"));
        EXPECT_EQ(logged == nullptr, outcome.error == BASICHTTP_ERROR_NONE) << line;
        EXPECT_EQ(logged == nullptr, outcome.content == "ok") << line;
        EXPECT_THAT(LogText(), testing::HasSubstr(logged ? logged : "")) << line;
    }
}

TEST_F(BasicHttpErrors, ResponsesAboveTheLimitAreGivenUp) {
    const std::pair<gsize, BasicHttpErrorCode> rows[] = {
        {1000, BASICHTTP_ERROR_NONE}, {999, BASICHTTP_ERROR_TRANSFER}, {0, BASICHTTP_ERROR_NONE}};
    AnswerAll(HttpReply(std::string(1000, 'x')));
    for (const auto &[limit, error] : rows) {
        BasicHttp_SetMaxResponseSize(limit);
        const Outcome outcome = Run(Request("/x"));
        EXPECT_EQ(error, outcome.error) << limit;
        EXPECT_EQ(error == BASICHTTP_ERROR_NONE ? 1000u : 0u, outcome.content.size());
    }
    EXPECT_NE(std::string::npos, LogText().find("is larger than 999 bytes."));
}

TEST_F(BasicHttpErrors, HeadersAboveTheLimitAreGivenUp) {
    const std::string chunked =
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nok\r\n0\r\n";
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"HTTP/1.1 200 OK\r\n", "X: " + std::string(195, 'x') + "\r\n",
         "Content-Length: 2\r\n\r\nok"},
        {chunked, "X: " + std::string(195, 'x') + "\r\n", "\r\n"}, /* trailers */
        {chunked, "X:" + std::string(196, 'x') + "\r\n", "\r\n"},  /* that are not kept */
        {"", "HTTP/1.1 100 C\r\nX: " + std::string(177, 'x') + "\r\n\r\n",
         "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"},
    };
    for (const auto &[before, line, after] : rows) {
        for (const auto &[numLines, error] :
             {std::pair(1500, BASICHTTP_ERROR_NONE), std::pair(1540, BASICHTTP_ERROR_TRANSFER)}) {
            std::string bytes = before;
            for (int i = 0; i < numLines; i++)
                bytes += line;
            AnswerAll({bytes + after});
            EXPECT_EQ(error, Run(Request("/x")).error) << line << numLines;
        }
    }
}

TEST_F(BasicHttpErrors, StatusesAreNoErrors) {
    const std::string text("a\0b\0", 4);
    for (int status : {204, 404, 500, 503}) {
        AnswerAll(HttpReply(status == 204 ? "" : text, status));
        const Outcome outcome = Run(Request("/x"));
        EXPECT_EQ(BASICHTTP_ERROR_NONE, outcome.error);
        EXPECT_EQ(status, outcome.status);
        EXPECT_EQ(status == 204 ? "" : text, outcome.content);
    }
}

TEST_F(BasicHttpErrors, HeadersAndRangesOfTheResponseCanBeRead) {
    AnswerAll({"HTTP/1.1 206 Part\r\nContent-Length: 2\r\nContent-Range: bytes 10-11/30\r\n"
               "X-Own: a: b\r\nX-Bare:c\r\nEtag: \"1\"\r\n\r\nok"});
    const Outcome outcome = Run(Request("/x"));
    EXPECT_EQ((std::vector<std::string>{"Content-Length: 2", "Content-Range: bytes 10-11/30",
                                        "X-Own: a: b", "Etag: \"1\""}),
              outcome.headers);
    EXPECT_EQ(30, outcome.info.totalSize);
    EXPECT_EQ(2, outcome.info.contentLength);
    EXPECT_EQ(10, outcome.info.rangeStart);
    EXPECT_EQ(11, outcome.info.rangeEnd);
    EXPECT_FALSE(BasicHttp_GetRecvContentInfo(nullptr, nullptr));
    EXPECT_NE(std::string::npos, LogText().find("BasicHttp_GetRecvContentInfo: Invalid argument."));

    AnswerAll({.bytes = "HTTP/1.1 200 OK\r\n\r\nok", .close = true});
    const BasicHttpContentInfo info = Run(Request("/x")).info;
    EXPECT_EQ(
        (std::vector<gint64>{-1, -1, 0, -1}),
        (std::vector<gint64>{info.totalSize, info.contentLength, info.rangeStart, info.rangeEnd}));
}

} // namespace
