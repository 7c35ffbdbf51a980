/*
 * A whole session against a service of which one answer is the input: the application's listeners end once, no
 * other host is contacted, and the costs stay within the ledger of tests/hostile.
 *
 * The first byte picks the answer, the second how it comes and how the application logs in; "@PORT@" is the port of a
 * stranger. --seeds FOLDER writes what to start from.
 */
#include <cstdint>
#include <iterator>

#include "fuzz/seeds.h"
#include "tests/hostile/attackedService.h"
#include "tests/hostile/ledger.h"
#include "tests/support/testLoop.h"

using namespace hostile;

namespace {

constexpr const char *kMethods[] = {
    "ozyServiceVersions.xml", "RetrieveServiceContent", "Login",       "CloneSession",
    "CreateFilter",           "WaitForUpdatesEx",       "CurrentTime", "Logout"};
constexpr Login kLogins[] = {Login::kPassword, Login::kTicket, Login::kCookie};

enum Form : uint8_t { kIsBody = 1, kIsEndedBySelf = 2 };
constexpr int kLoginShift = 2;

constexpr char kHead[] = "HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\n\r\n";

std::string Seed(const Row &row, const std::string &answer) {
    const auto method = std::find(std::begin(kMethods), std::end(kMethods), row.method);
    if (method == std::end(kMethods))
        return "";
    const auto login = std::find(std::begin(kLogins), std::end(kLogins), row.login);
    const bool isBody = answer.starts_with(kHead);
    const int form = (isBody ? kIsBody : 0) | (row.isEndedBySelf ? kIsEndedBySelf : 0) |
                     int(login - kLogins) << kLoginShift;
    return std::string{char(method - kMethods), char(form)} +
           (isBody ? answer.substr(sizeof kHead - 1) : answer);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) {
    WriteSeeds(*argc, *argv, Seed);
    RequireNoComplaints();
    const AttackedService friendly({});
    hostile::Run({.url = friendly.server.Url("/sdk")}); /* what is made once in a process */
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2 || ShowsSecret(data, size))
        return 0;
    CannedServer stranger;
    CannedAnswer answer{
        .bytes = WithPort({reinterpret_cast<const char *>(data) + 2, size - 2}, stranger.Port()),
        .close = true};
    if (data[1] & kIsBody)
        answer.bytes.insert(0, kHead);
    AttackedService service({kMethods[data[0] % std::size(kMethods)], answer});
    testLoop::SetIdle([&] {
        service.GoOn();
        return 20;
    });

    Ledger ledger;
    bool eachEndsOnce = false;
    const std::string steps =
        hostile::Run({.url = service.server.Url("/sdk"),
                      .login = kLogins[(data[1] >> kLoginShift) % std::size(kLogins)],
                      .isEndedBySelf = (data[1] & kIsEndedBySelf) != 0,
                      .limitMs = 5000},
                     &eachEndsOnce);
    testLoop::RunUntil([&] { return service.server.NumOpenConnections() == 0; }, 5000);
    const std::string wrong = ledger.Close(service.server.NumBytesWritten());
    testLoop::SetIdle(nullptr);
    Require(wrong.empty(), wrong);
    Require(stranger.NumConnections() == 0, "a stranger was called");
    Require(eachEndsOnce, steps);
    return 0;
}
