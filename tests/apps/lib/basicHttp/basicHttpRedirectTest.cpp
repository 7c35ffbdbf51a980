// Redirects: which are followed, and with what. That a refused one never reaches the other server is a hostile peer's test.
#include "tests/apps/lib/basicHttp/httpFixture.h"

namespace {

using BasicHttpRedirect = BasicHttpFixture;

CannedAnswer RedirectTo(const std::string &where, int status) {
    return HttpReply("moved", status, "text/plain", {"Location: " + where});
}

TEST_F(BasicHttpRedirect, OnlyTheSamePlaceIsFollowed) {
    using Targets = std::vector<const char *>;
    const std::tuple<const char *, Targets, Targets> rows[] = {
        {"http://h/a",
         {"http://h/b", "http://H:80/b", "//h/b", "https://h/b"},
         {"http://h:81/b", "http://h2/b", "https://h2/b", "//h2/b", "http://h@h2/b",
          "http://h.evil/b", "http:\\\\h2/b", "ftp://h/b", "file:///etc/passwd", "http:///h2/b",
          "http://h:80@h2/b", "http://h%2f@h2/b", "http://2130706433/b", "http://h\t:81/b"}},
        {"http://h:80/a", {"/b"}, {}},
        {"http://h/a/b", {"c?d=e f"}, {}},
        {"http://h:8080/a", {"https://h:8443/b"}, {}},
        {"https://h/a", {"https://h:443/b"}, {"http://h/b", "https://h:444/b"}},
        {"https://[::1]:8443/a", {"https://[::1]:8443/b"}, {}},
        {"h/a", {"http://h/b"}, {}},
        {"ftp.h/a", {"/b"}, {}},
        {"http://127.0.0.1/a", {}, {"http://localhost/b"}},
    };
    for (const auto &[from, followed, refused] : rows) {
        for (const char *to : followed)
            EXPECT_TRUE(BasicHttpFollowedUrl(from, to).has_value()) << from << " to " << to;
        for (const char *to : refused)
            EXPECT_FALSE(BasicHttpFollowedUrl(from, to).has_value()) << from << " to " << to;
    }
}

TEST_F(BasicHttpRedirect, ALocationOfAnotherKindOfResponseIsNothing) {
    for (int status : {200, 201, 299, 400, 404, 503}) {
        AnswerAll(RedirectTo("http://other.invalid/there", status));
        const Outcome outcome = Run(Request("/x"));
        EXPECT_EQ(BASICHTTP_ERROR_NONE, outcome.error) << status;
        EXPECT_EQ("moved", outcome.content) << status;
    }
}

TEST_F(BasicHttpRedirect, MethodAndBodyFollowByStatus) {
    const std::pair<int, std::string> rows[] = {
        {301, "POST"}, {302, "GET"}, {303, "GET"}, {307, "POST"}};
    for (const auto &[status, method] : rows) {
        server.Answer([status = status](const CannedRequest &request) {
            return request.target == "/x" ? RedirectTo("/there", status)
                                          : HttpReply(request.method + request.body);
        });
        /* one that libcurl has as a whole, and one that must be rewound */
        for (const std::string &body : {std::string("<x/>"), std::string(100000, 'y')}) {
            BasicHttpRequest *request = Request("/x", BASICHTTP_METHOD_POST, body.c_str());
            BasicHttp_AppendRequestHeader(request, "Expect: ");
            const Outcome outcome = Run(request);
            EXPECT_EQ(BASICHTTP_ERROR_NONE, outcome.error);
            EXPECT_EQ(method + (method == "POST" ? body : ""), outcome.content) << status;
            EXPECT_EQ(server.Url("/there"), outcome.url);
        }
    }
}

TEST_F(BasicHttpRedirect, TenAreFollowedAndNoMore) {
    int numRedirects = 10;
    server.Answer([&](const CannedRequest &request) {
        const int number = atoi(request.target.c_str() + 1);
        return number < numRedirects ? RedirectTo("/" + std::to_string(number + 1), 302)
                                     : HttpReply("here");
    });
    EXPECT_EQ("here", Run(Request("/0")).content);
    numRedirects = 11;
    EXPECT_EQ(BASICHTTP_ERROR_TOO_MANY_REDIRECTS, Run(Request("/0")).error);
}

TEST_F(BasicHttpRedirect, ContentInfoOfTheFirstResponseIsForgotten) {
    server.Answer([](const CannedRequest &request) {
        return request.target == "/x"
                   ? RedirectTo("/there", 302)
                   : CannedAnswer{.bytes = "HTTP/1.1 200 OK\r\nX-Last: 1\r\n\r\nall",
                                  .close = true};
    });
    const Outcome outcome = Run(Request("/x"));
    EXPECT_EQ("all", outcome.content);
    EXPECT_EQ(-1, outcome.info.contentLength);
    EXPECT_EQ("X-Last: 1", outcome.headers.back());
}

} // namespace
