// Which OpenSSL fits, and the last look at a connection. Real certificates are the sessions' tests.
#include <ssl/ssl.h>

#include "tests/apps/lib/basicHttp/httpFixture.h"
#include "tests/support/tlsFront.h"

namespace {

TEST(BasicHttpTlsKind, ObjectsAreOnlySharedWithTheSameOpenSsl) {
    const std::tuple<const char *, bool, bool> rows[] = {{"OpenSSL/3.0.15", true, true},
                                                         {"OpenSSL/1.0.2u", false, true},
                                                         {"OpenSSL/3.0.15", false, false},
                                                         {"OpenSSL/1.1.1w", true, false},
                                                         {"GnuTLS/3.7.9", true, false},
                                                         {"GnuTLS/3.7.9", false, false},
                                                         {nullptr, true, false}};
    for (const auto &[library, isOpaque, isSame] : rows)
        EXPECT_EQ(isSame, BasicHttpIsSameOpenSsl(library, isOpaque));
}

struct BasicHttpTls : BasicHttpFixture {
    static int numLooks;
    static gboolean mayGoOn;
    static gboolean Look(BasicHttpRequest *, gboolean isEncrypted, gpointer ssl, gpointer) {
        numLooks++;
        EXPECT_FALSE(isEncrypted);
        EXPECT_EQ(nullptr, ssl);
        return mayGoOn;
    }
};
int BasicHttpTls::numLooks = 0;
gboolean BasicHttpTls::mayGoOn = TRUE;

TEST_F(BasicHttpTls, EachConnectionIsLookedAtBeforeItIsUsed) {
    numLooks = 0;
    server.Answer([](const CannedRequest &request) {
        return request.target == "/from" ? HttpReply("", 302, "", {"Location: /to"})
                                         : HttpReply("<x/>");
    });
    for (bool isAllowed : {true, false}) {
        mayGoOn = isAllowed;
        BasicHttpRequest *request = Request("/from");
        BasicHttp_SetConnectedProc(request, Look);
        const Outcome outcome = Run(request);
        EXPECT_EQ(isAllowed ? BASICHTTP_ERROR_NONE : BASICHTTP_ERROR_SSL_SECURITY, outcome.error);
    }
    EXPECT_EQ(3, numLooks) << "once more after the redirect, and at the kept connection";
    EXPECT_EQ(2u, server.Requests().size());
}

void CountContext(BasicHttpRequest *, gpointer, gpointer outcome) {
    static_cast<Outcome *>(outcome)->headers.push_back("context");
}

/* The peer presents a certificate that libcurl does not accept from a proxy, so the second handshake never comes. */
TEST_F(BasicHttpTls, TheCertificateOfAProxyIsNotTheApplications) {
    SSL_Init(nullptr, nullptr, nullptr);
    const TlsFront proxy(server.Port(), *certificates::MakeKind("self-signed"));
    const std::tuple<const char *, const char *, bool> rows[] = {
        {"HTTPS", nullptr, false}, {"https", nullptr, false}, {"https", "h.invalid", true}};
    for (const auto &[scheme, noProxy, isAsked] : rows) {
        BasicHttpRequest *request = Get("https://elsewhere.invalid/");
        BasicHttp_SetProxy(request, (scheme + proxy.Url("/").substr(5)).c_str(),
                           BASICHTTP_PROXY_HTTP);
        BasicHttp_SetNoProxy(request, noProxy);
        BasicHttp_SetSslCtxProc(request, CountContext);
        const Outcome outcome = Run(request);
        EXPECT_EQ(BASICHTTP_ERROR_SSL_SECURITY, outcome.error);
        EXPECT_EQ(isAsked ? 1u : 0u, outcome.headers.size());
    }
}

TEST_F(BasicHttpTls, ConnectionsKeptApartAreNotShared) {
    AnswerAll(HttpReply("<x/>"));
    BasicHttpCookieJar *jar = BasicHttp_CreateCookieJar();
    EXPECT_TRUE(BasicHttp_KeepConnectionsApart(jar));
    Run(Request("/1"));
    for (const char *path : {"/2", "/3"})
        Run(Request(path, BASICHTTP_METHOD_GET, nullptr, jar));
    Run(Request("/4"));
    std::vector<int> connections;
    for (const CannedRequest &request : server.Requests())
        connections.push_back(request.connection);
    EXPECT_THAT(connections, testing::ElementsAre(0, 1, 1, 0));
    BasicHttp_Shutdown();
    BasicHttp_FreeCookieJar(jar); /* which may come after the transport's end */
    EXPECT_TRUE(testLoop::RunUntil([&] { return server.NumOpenConnections() == 0; }));
    EXPECT_FALSE(BasicHttp_KeepConnectionsApart(nullptr));
}

} // namespace
