// How commands end: the exit status for each kind of failure, and errors as JSON.
#include <nlohmann/json.hpp>

#include "tests/tools/orvane/serviceFixture.h"

namespace {

using ExitStatus = ProgramTest;
using simulator::TroubleKind;
using testing::HasSubstr;

TEST_F(ExitStatus, TellsKindsOfFailuresApartAndJsonHasThem) {
    simulator::Simulator server({.machines = 1, .certificateKind = "self-signed"});
    server.RunInThread();
    const struct {
        TroubleKind kind;
        const char *method;
        const char *fault;
        int status;
        const char *message;
    } rows[] = {
        {TroubleKind::Fault, "Login", "InvalidLogin", 4, "check the user name and the password"},
        {TroubleKind::Fault, "Login", "SystemError", 1, "connecting to "},
        {TroubleKind::Reset, "Login", "", 3, "no usable answer"},
        {TroubleKind::Close, "versions", "", 3, "no usable answer"},
        {TroubleKind::Silent, "Login", "", 6, "no answer within 1 s"},
        {TroubleKind::Fault, "Logout", "NotAuthenticated", 4, "logging out"},
    };
    for (const auto &row : rows) {
        server.AddTrouble(
            {.kind = row.kind, .method = row.method, .count = -1, .faultType = row.fault});
        const char *limit = row.kind == TroubleKind::Silent ? "1" : "60";
        const Ended ended = Run({"about", server.Url(), "administrator", "--password", "secret",
                                 "--insecure", "--timeout", limit, "--output", "jsonl"});
        server.ClearTroubles();
        server.ExpireSessions();
        EXPECT_EQ(row.status, ended.status) << row.method;
        const auto document = nlohmann::json::parse(ended.err, nullptr, false);
        ASSERT_TRUE(document.is_object()) << ended.err;
        const auto &error = document["error"];
        EXPECT_EQ(row.status, error["status"]);
        EXPECT_EQ(row.fault, error.value("fault", ""));
        EXPECT_THAT(error["message"].get<std::string>(), HasSubstr(row.message));
    }
}

TEST_F(ExitStatus, AWrongCommandLineIsJsonIfItAsksForThat) {
    for (const char *word : {"abuot", "--frob"}) {
        const Ended ended = Run({"--output", "json", word});
        EXPECT_EQ(2, ended.status);
        const auto document = nlohmann::json::parse(ended.err, nullptr, false);
        ASSERT_TRUE(document.is_object()) << ended.err;
        EXPECT_EQ(2, document["error"]["status"]);
    }
}

} // namespace
