// Proxies; the canned server is one.
#include "tests/apps/lib/basicHttp/httpFixture.h"

namespace {

struct BasicHttpProxies : BasicHttpFixture {
    void SetUp() override {
        BasicHttpFixture::SetUp();
        server.Answer([](const CannedRequest &request) {
            return request.method == "CONNECT"
                       ? CannedAnswer{"HTTP/1.1 200 go\r\nX-Proxy: 1\r\n\r\n"}
                       : HttpReply("");
        });
    }
    static BasicHttpRequest *Elsewhere(guint32 flags = 0) {
        return BasicHttp_CreateRequestEx("http://elsewhere.invalid/x", BASICHTTP_METHOD_GET, flags,
                                         nullptr, nullptr, nullptr, nullptr, nullptr);
    }
};

TEST_F(BasicHttpProxies, AreAskedForTheWholeUrlOnAConnectionOfEachRequest) {
    for (int i = 0; i < 2; i++) {
        BasicHttpRequest *request = Elsewhere();
        BasicHttp_SetProxy(request, server.Url().c_str(), BASICHTTP_PROXY_HTTP);
        EXPECT_EQ(200, Run(request).status);
        EXPECT_EQ("http://elsewhere.invalid/x", server.Requests().back().target);
    }
    EXPECT_EQ(2, server.NumConnections());
}

TEST_F(BasicHttpProxies, AreTunnelledThroughWhenAsked) {
    BasicHttpRequest *request = Elsewhere(BASICHTTP_REQUEST_TUNNEL | BASICHTTP_REQUEST_NODELAY);
    BasicHttp_SetProxy(request, server.Url().c_str(), BASICHTTP_PROXY_HTTP);
    const Outcome outcome = Run(request);
    EXPECT_EQ(200, outcome.status);
    ASSERT_EQ(2u, server.Requests().size());
    EXPECT_EQ("elsewhere.invalid:80", server.Requests()[0].target);
    EXPECT_EQ("/x", server.Requests()[1].target);
    for (const std::string &header : outcome.headers)
        EXPECT_NE("X-Proxy: 1", header);
}

TEST_F(BasicHttpProxies, ComeFromOurVariable) {
    g_setenv("HALDEN_HTTPSPROXY", server.Url().c_str(), TRUE);
    EXPECT_EQ(200, Run(Elsewhere()).status);
    EXPECT_EQ("http://elsewhere.invalid/x", server.Requests().back().target);
}

TEST_F(BasicHttpProxies, OfTheEnvironmentCountUnlessTheProxyIsEmpty) {
    CannedServer proxy;
    proxy.Answer([](const CannedRequest &) { return HttpReply("proxy"); });
    g_setenv("http_proxy", proxy.Url().c_str(), TRUE);
    EXPECT_EQ("proxy", Run(Request("/x")).content);

    BasicHttpRequest *request = Request("/x");
    BasicHttp_SetProxy(request, "ignored", BASICHTTP_PROXY_NONE);
    EXPECT_EQ("", Run(request).content);
    EXPECT_EQ("/x", server.Requests().back().target);
}

TEST_F(BasicHttpProxies, AreLeftOutForSomeHosts) {
    BasicHttpRequest *request = Request("/x");
    BasicHttp_SetProxy(request, "http://127.0.0.1:1", BASICHTTP_PROXY_HTTP);
    BasicHttp_SetNoProxy(request, "localhost,127.0.0.1");
    EXPECT_EQ(200, Run(request).status);
    EXPECT_EQ("/x", server.Requests().back().target);
}

TEST_F(BasicHttpProxies, OfSocksSpeakSocks) {
    std::string greeting;
    BasicHttpRequest *request = Get("http://127.0.0.1:7/x");
    BasicHttp_SetProxy(request, ("127.0.0.1:" + std::to_string(server.Port())).c_str(),
                       BASICHTTP_PROXY_SOCKS4);
    Sent outcome(request);
    EXPECT_TRUE(testLoop::RunUntil([&] { return server.NumOpenConnections() == 1; }));
    testLoop::Settle();
    EXPECT_EQ(0u, server.Requests().size()) << "no HTTP before the proxy has agreed";
    server.Send(0, std::string("\0\x5b\0\0\0\0\0\0", 8));
    RunUntilDone(outcome);
    EXPECT_NE(BASICHTTP_ERROR_NONE, outcome.error) << "rejected";
}

TEST_F(BasicHttpProxies, OfAnUnknownKindAreTheEndOfTheProgram) {
    BasicHttpRequest *request = Elsewhere();
    BasicHttp_SetProxy(request, "h", 3);
    EXPECT_DEATH(BasicHttp_SendRequest(request, NoteOutcome, nullptr), "NOT_IMPLEMENTED ");
    BasicHttp_FreeRequest(request);
}

} // namespace
