// Cookie jars, and the cookie that a jar starts with.
#include "tests/apps/lib/basicHttp/httpFixture.h"
#include "tests/support/temporaryFolder.h"

namespace {

struct BasicHttpCookies : BasicHttpFixture {
    std::string SentCookie(BasicHttpCookieJar *jar, const std::string &host = "127.0.0.1") {
        const std::string url = "http://" + host + ":" + std::to_string(server.Port()) + "/";
        Run(Get(url, jar));
        return server.Requests().back().Header("Cookie");
    }
    void AnswerWithCookie(const std::string &cookie) {
        AnswerAll(HttpReply("", 200, "text/xml", {"Set-Cookie: " + cookie}));
    }
};

TEST_F(BasicHttpCookies, RequestsOfAJarShareThem) {
    AnswerWithCookie("id=1; Path=/");
    BasicHttpCookieJar *jar = NewJar();
    BasicHttpCookieJar *other = NewJar();
    EXPECT_EQ("", SentCookie(jar));
    EXPECT_EQ("", SentCookie(other));
    EXPECT_EQ("", SentCookie(nullptr));
    EXPECT_EQ("id=1", SentCookie(jar));
    EXPECT_EQ("", SentCookie(nullptr)) << "no jar, no memory";
    EXPECT_EQ("", SentCookie(BASICHTTP_DEFAULT_COOKIE_JAR));
    EXPECT_EQ("id=1", SentCookie(BASICHTTP_DEFAULT_COOKIE_JAR));
    InitAgain();
    EXPECT_EQ("", SentCookie(BASICHTTP_DEFAULT_COOKIE_JAR)) << "ended with the transport";
    EXPECT_EQ("id=1", SentCookie(jar)) << "did not";
}

TEST_F(BasicHttpCookies, AJarMayBeFreedBeforeItsRequests) {
    AnswerWithCookie("id=1");
    BasicHttpCookieJar *jar = BasicHttp_CreateCookieJar();
    Sent outcome(Request("/", BASICHTTP_METHOD_GET, nullptr, jar));
    BasicHttpRequest *unsent = Request("/", BASICHTTP_METHOD_GET, nullptr, jar);
    BasicHttp_FreeCookieJar(jar);
    RunUntilDone(outcome);
    EXPECT_EQ(BASICHTTP_ERROR_NONE, Run(unsent).error);
    EXPECT_EQ("id=1", server.Requests().back().Header("Cookie"));
}

TEST_F(BasicHttpCookies, AFileKeepsThem) {
    const TemporaryFolder folder;
    const std::string path = folder.Path("cookies");
    server.Answer([](const CannedRequest &) {
        return HttpReply(
            "", 200, "text/xml",
            {"Set-Cookie: session=1; Path=/", "Set-Cookie: long=2; Path=/; Max-Age=1000"});
    });
    BasicHttpCookieJar *jar = BasicHttp_CreateCookieFile(path.c_str());
    EXPECT_EQ("", SentCookie(jar));
    BasicHttp_FreeCookieJar(jar);

    AnswerAll(HttpReply(""));
    jar = BasicHttp_CreateCookieFile(path.c_str());
    EXPECT_EQ("session=1; long=2", SentCookie(jar));
    BasicHttp_NewCookieSession(jar);
    EXPECT_EQ("long=2", SentCookie(jar));
    BasicHttp_FreeCookieJar(jar);
}

TEST_F(BasicHttpCookies, AnInitialCookieIsPutInOnceAndStaysWithItsHost) {
    AnswerAll(HttpReply(""));
    BasicHttpCookieJar *jar = NewJar();
    EXPECT_TRUE(BasicHttp_SetInitialCookie(jar, "Set-Cookie: soap=\"abc\"; Path=/;"));
    EXPECT_EQ("soap=\"abc\"", SentCookie(jar));
    EXPECT_EQ("soap=\"abc\"", SentCookie(jar));
    EXPECT_EQ("", SentCookie(jar, "localhost"));
    BasicHttpCookieJar *next = NewJar();
    EXPECT_EQ("", SentCookie(next)) << "the handle of the request before is used again";

    BasicHttp_SetInitialCookie(next, "Set-Cookie: other=1; Path=/; Domain=localhost");
    EXPECT_EQ("", SentCookie(next));
    EXPECT_EQ("other=1", SentCookie(next, "localhost")) << "names its host";
}

TEST_F(BasicHttpCookies, InitialCookiesAreBound) {
    const std::tuple<const char *, const char *, const char *> rows[] = {
        {"Set-Cookie: a=b; Path=/;", "http://h:80/sdk", "h\tFALSE\t/\tFALSE\t0\ta\tb"},
        {"Set-Cookie: a=b; Path=/;", "https://h/sdk", "h\tFALSE\t/\tTRUE\t0\ta\tb"},
        {"set-cookie:a=b=c;path=/x;secure;HttpOnly", "http://h/",
         "#HttpOnly_h\tFALSE\t/x\tTRUE\t0\ta\tb=c"},
        {"Set-Cookie: a=; Path=no; Domain=", "https://[::1]:8443/", "::1\tFALSE\t/\tTRUE\t0\ta\t"},
        {"Set-Cookie: a=b; Expires=Thu, 01 Jan 2037 00:00:00 GMT", "http://h/",
         "h\tFALSE\t/\tFALSE\t2114380800\ta\tb"},
        {"Set-Cookie: a=b; Max-Age=0", "http://h/", "h\tFALSE\t/\tFALSE\t1\ta\tb"},
        {"Set-Cookie: a=b; Domain=other", "http://h/", "Set-Cookie: a=b; Domain=other"},
        {"Set-Cookie: a=b; Domain=other", "https://h/", "Set-Cookie: a=b; Domain=other; Secure"},
        {"other\tFALSE\t/\tFALSE\t0\ta\tb", "http://h/", "other\tFALSE\t/\tFALSE\t0\ta\tb"},
    };
    for (const auto &[line, url, bound] : rows)
        EXPECT_EQ(bound, BasicHttpBindCookie(line, url)) << line;
}

TEST_F(BasicHttpCookies, OtherTextsAreRefusedAndTheJarStaysAsItWas) {
    AnswerAll(HttpReply(""));
    BasicHttpCookieJar *jar = NewJar();
    EXPECT_TRUE(BasicHttp_SetInitialCookie(jar, "Set-Cookie: a=b"));
    for (const char *line : {"Set-Cookie: a=b\r\nX: 1", "Set-Cookie: a=b\n", "Set-Cookie: a=b\x01",
                             "Set-Cookie: ", "Set-Cookie: ab; Path=/", "Set-Cookie: =b",
                             "Set-Cookie: ; a=b", "a=b", "ALL", ""})
        EXPECT_FALSE(BasicHttp_SetInitialCookie(jar, line)) << line;
    EXPECT_EQ("a=b", SentCookie(jar));
    EXPECT_TRUE(BasicHttp_SetInitialCookie(jar, "Set-Cookie: never=sent"));
    EXPECT_TRUE(BasicHttp_SetInitialCookie(jar, nullptr));
    EXPECT_EQ("a=b", SentCookie(jar));
}

} // namespace
