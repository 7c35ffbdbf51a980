/*
 * The head of a response, and what comes with it, to a request that carries a secret: it ends once, what is kept is
 * bounded, and no other host is contacted.
 *
 * The input is the response's bytes; "@PORT@" is the port of a stranger. --seeds FOLDER writes what to start from.
 */
#include <algorithm>
#include <cstdint>

#include "apps/lib/basicHttp/basicHttp.h"
#include "fuzz/seeds.h"
#include "tests/hostile/ledger.h"
#include "tests/support/cannedServer.h"
#include "tests/support/testLoop.h"

namespace {

constexpr size_t kMaxKept = 300 << 10;
constexpr size_t kMaxRequests = 11; /* ten redirects */

struct Ends {
    int number = 0;
    size_t numKept = 0;
};

void OnSent(BasicHttpRequest *request, BasicHttpResponse *response, gpointer data) {
    auto *ends = static_cast<Ends *>(data);
    ends->number++;
    for (guint i = 0; i < BasicHttp_GetNumResponseHeaders(request); i++)
        ends->numKept += strlen(BasicHttp_GetResponseHeader(request, i));
    BasicHttpContentInfo info;
    BasicHttp_GetRecvContentInfo(request, &info);
    Require(std::min({info.contentLength, info.rangeStart, info.rangeEnd, info.totalSize}) >= -1,
            "a negative length");
    BasicHttp_FreeResponse(response);
    BasicHttp_FreeRequest(request);
}

void Send(const CannedServer &server, Ends *ends) {
    BasicHttpCookieJar *jar = BasicHttp_CreateCookieJar();
    BasicHttp_SetInitialCookie(jar, "Set-Cookie: session=canary-cookie; Path=/");
    BasicHttpRequest *request =
        BasicHttp_CreateRequest(server.Url("/x").c_str(), BASICHTTP_METHOD_POST, jar, nullptr,
                                "<password>canary-password</password>");
    BasicHttp_SetProxy(request, "", BASICHTTP_PROXY_NONE);
    BasicHttp_FreeCookieJar(jar);
    Require(BasicHttp_SendRequest(request, OnSent, ends), "not sent");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) {
    WriteSeeds(*argc, *argv,
               [](const hostile::Row &, const std::string &answer) { return answer; });
    RequireNoComplaints();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (ShowsSecret(data, size))
        return 0;
    CannedServer stranger;
    CannedServer server;
    const std::string bytes =
        hostile::WithPort({reinterpret_cast<const char *>(data), size}, stranger.Port());
    server.Answer([&](const CannedRequest &request) {
        const std::string here = "127.0.0.1:" + std::to_string(server.Port());
        Require(request.Header("Host") == here, "as " + request.Header("Host"));
        return CannedAnswer{.bytes = bytes, .close = true};
    });

    testLoop::Reset();
    hostile::Ledger ledger;
    Ends ends;
    BasicHttp_Init(testLoop::Callback, testLoop::CallbackRemove);
    Send(server, &ends);
    testLoop::RunUntil([&] { return ends.number > 0; }, 5000);
    BasicHttp_Shutdown();
    testLoop::RunUntil([&] { return server.NumOpenConnections() == 0; }, 5000);
    const std::string wrong = ledger.Close(server.NumBytesWritten());
    Require(wrong.empty(), wrong);
    Require(ends.number == 1, std::to_string(ends.number) + " ends");
    Require(ends.numKept <= kMaxKept, std::to_string(ends.numKept) + " bytes of headers are kept");
    Require(server.Requests().size() <= kMaxRequests, "too many redirects");
    Require(stranger.NumConnections() == 0, "a stranger was called");
    Require(testLoop::Registrations().empty(), "callbacks are left");
    return 0;
}
