// "orvane watch": the table on a terminal, the lines in a pipe, and how both end.
#include <nlohmann/json.hpp>
#include <sys/ioctl.h>
#include <unistd.h>

#include "tests/tools/orvane/serviceFixture.h"
#include "tests/tools/simulator/soapClient.h"

namespace {

using nlohmann::json;
using simulator::TroubleKind;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

struct Watch : WithSimulator {
    Watch() {
        setenv("TERM", "xterm", 1);
        setenv("NO_COLOR", "1", 1);
        Program::columns = 40;
    }

    /*
     * It refuses connections, and knows no session any more. The connections end first: over one of
     * them the program would log in again when its waiting call ends with the session.
     */
    void LoseService() {
        server.SetListening(false);
        server.ResetConnections();
        server.ExpireSessions();
    }
};

/* The JSON lines, without their times. */
std::vector<json> Lines(const std::string &text) {
    std::vector<json> lines;
    for (size_t start = 0, end = 0; (end = text.find('\n', start)) != std::string::npos;
         start = end + 1) {
        lines.push_back(json::parse(text.substr(start, end - start), nullptr, false));
        lines.back().erase("time");
    }
    return lines;
}

TEST_F(Watch, WritesALineForEachChangeIntoAPipe) {
    Program watch("bin/orvane",
                  {"watch", "/Datacenter/vm", "-k", "name", "-k", "guestHeartbeatStatus"});
    ASSERT_TRUE(watch.WaitFor("\"ready\""));
    server.SetProperty("vm-101", "overallStatus", "red"); /* nobody watches that */
    server.SetProperty("vm-101", "name", "\u009b2J\u202e\"x\n");
    ASSERT_TRUE(watch.WaitFor("changed"));
    const std::string added = server.AddMachine("later");
    ASSERT_TRUE(watch.WaitFor(added));
    server.RemoveMachine("vm-102");
    ASSERT_TRUE(watch.WaitFor("left"));
    watch.Interrupt();
    const Ended ended = watch.Wait();
    EXPECT_EQ(130, ended.status) << ended.err;
    EXPECT_EQ("orvane: interrupted\n", ended.err);
    EXPECT_THAT(ended.out, HasSubstr(R"("\u009b2J\u202e\"x\n")"));

    const std::vector<json> lines = Lines(ended.out);
    ASSERT_EQ(8u, lines.size()) << ended.out;
    EXPECT_EQ(json::parse(
                  R"({"event": "entered", "_type": "VirtualMachine", "_id": "vm-101", "properties":
                              {"name": "machine-0001", "guestHeartbeatStatus": "gray"}})"),
              lines[0]);
    EXPECT_EQ("ready", lines[4]["event"]);
    EXPECT_EQ(json({{"name", "\u009b2J\u202e\"x\n"}}), lines[5]["properties"]);
    EXPECT_EQ("later", lines[6]["properties"]["name"]);
    EXPECT_EQ(json::parse(R"({"event": "left", "_type": "VirtualMachine", "_id": "vm-102"})"),
              lines[7]);
}

TEST_F(Watch, EndsWhenNobodyReadsItsOutputAnyMore) {
    Program watch("bin/orvane", {"watch", "machine-0004"});
    ASSERT_TRUE(watch.WaitFor("\"ready\""));
    watch.CloseOutput();
    const Ended ended = watch.Wait();
    EXPECT_EQ(141, ended.status);
    EXPECT_EQ("", ended.err);
}

TEST_F(Watch, TheFormPlainHasTabsAndATimeLimitEndsIt) {
    const Ended ended = Run({"watch", "machine-0004", "--output", "plain", "--for", "1"});
    EXPECT_EQ(0, ended.status) << ended.err;
    EXPECT_THAT(ended.out,
                testing::MatchesRegex("[^\t]*\tentered\tvm-104\tname\tmachine-0004\n"
                                      "[^\t]*\tentered\tvm-104\tguestHeartbeatStatus\tgreen\n"
                                      "[^\t]*\tentered\tvm-104\toverallStatus\tgreen\n"
                                      "[^\t]*\tready\t\t\t\n"));
}

TEST_F(Watch, DrawsTheTableInPlaceAndOnlyWhatDiffers) {
    Program watch("bin/orvane", {"watch", "-k", "name", "-k", "guestHeartbeatStatus"}, true);
    const std::string rest = "\033[K\r\n";
    ASSERT_TRUE(watch.WaitFor("machine-0004  green"));
    ASSERT_TRUE(watch.WaitFor("0 changes"));
    EXPECT_THAT(watch.Output(), StartsWith("name          guestHeartbeatSta\u2026  ID" + rest +
                                           "machine-0001  gray                vm-101" + rest +
                                           "machine-0002  gray                vm-102" + rest));
    const size_t drawn = watch.Output().size();
    server.SetProperty("vm-102", "guestHeartbeatStatus", "yellow");
    ASSERT_TRUE(watch.WaitFor("1 changes"));
    const std::string again = watch.Output().substr(drawn);
    EXPECT_THAT(again, HasSubstr("\033[5A\r\n\r\nmachine-0002  yellow              vm-102" + rest +
                                 "\r\n\r\n"));
    EXPECT_THAT(again, Not(HasSubstr("machine-0001")));

    const int terminal = watch.OpenTerminal();
    const winsize narrow = {.ws_row = 6, .ws_col = 25, .ws_xpixel = 0, .ws_ypixel = 0};
    EXPECT_EQ(0, ioctl(terminal, TIOCSWINSZ, &narrow));
    EXPECT_TRUE(watch.WaitFor("\033[Jmachine-0001" + rest + "  gray  vm-101" + rest))
        << watch.Output();
    EXPECT_TRUE(watch.WaitFor("and 3 more"));
    close(terminal);
    watch.Type("\x03");
    const Ended ended = watch.Wait();
    EXPECT_EQ(130, ended.status);
    EXPECT_THAT(ended.out, testing::EndsWith("\norvane: interrupted\r\n"));
}

TEST_F(Watch, ManyChangesAreDrawnTenTimesASecondAtMost) {
    Program watch("bin/orvane", {"watch"}, true);
    ASSERT_TRUE(watch.WaitFor("0 changes"));
    const size_t drawn = watch.Output().size();
    const auto start = std::chrono::steady_clock::now();
    for (int i = 1; i <= 400; i++)
        server.SetProperty("vm-101", "name", "name-" + std::to_string(i));
    ASSERT_TRUE(watch.WaitFor("name-400"));
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    const std::string text = watch.Output().substr(drawn);
    size_t numDraws = 0;
    for (size_t at = text.find("\033[5A"); at != std::string::npos;
         at = text.find("\033[5A", at + 1))
        numDraws++;
    EXPECT_LE(double(numDraws), taken.count() * 10 + 2);
    watch.Type("\x03");
    EXPECT_EQ(130, watch.Wait().status);
}

TEST_F(Watch, WhatIsWrongIsOneLineThatHelps) {
    const struct {
        std::vector<std::string> words;
        int status;
        std::vector<std::string> texts;
    } rows[] = {
        {{"/Datacenter/vmm"}, 1, {"similar: \"/Datacenter/vm\""}},
        {{"-k", "nam"}, 2, {"VirtualMachine has no property \"nam\"; similar: name"}},
        {{"TaskManager"}, 2, {"-k PROPERTY-PATH is required"}},
        {{"vm-101", "host-9", "-k", "guestHeartbeatStatus"}, 2, {"HostSystem has no property"}},
        {{"--for", "0"}, 2, {"--for"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.words.back());
        ExpectFailure(Run("watch", row.words), row.status, row.texts);
    }
    server.AddTrouble({.kind = TroubleKind::Fault,
                       .method = "CreateFilter",
                       .count = -1,
                       .skip = 1,
                       .faultType = "NoPermission"});
    ExpectFailure(Run({"watch", "--timeout", "5"}), 1, {"following the objects: NoPermission"});
}

TEST_F(Watch, AServiceThatDiesAndASessionThatEndsEndIt) {
    for (const bool isExpired : {false, true}) {
        Program watch("bin/orvane", {"watch", "vm-101", "--timeout", "1"});
        ASSERT_TRUE(watch.WaitFor("\"ready\""));
        if (isExpired)
            server.ExpireSessions();
        else
            server.AddTrouble({.kind = TroubleKind::Reset, .method = "", .count = -1});
        server.ResetConnections();
        ExpectFailure(watch.Wait(), 3,
                      {isExpired ? "the connection to the service is lost" : "no usable answer"});
        EndTroubles();
    }
}

TEST_F(Watch, ReconnectSurvivesALostServiceAndShowsWhatHasChanged) {
    Program watch("bin/orvane", {"watch", "-k", "name", "--reconnect", "--output", "jsonl"});
    ASSERT_TRUE(watch.WaitFor("\"ready\""));
    LoseService();
    ASSERT_TRUE(watch.WaitFor("\"reconnecting\""));
    server.SetProperty("vm-101", "name", "meanwhile");
    server.RemoveMachine("vm-102");
    server.SetListening(true);
    ASSERT_TRUE(watch.WaitFor("\"reconnected\""));
    ASSERT_TRUE(watch.WaitFor("\"left\""));
    server.ExpireSessions(); /* the next login is no interruption */
    server.SetProperty("vm-103", "name", "after");
    ASSERT_TRUE(watch.WaitFor("\"after\""));
    watch.Interrupt();
    const Ended ended = watch.Wait();
    EXPECT_EQ(130, ended.status) << ended.err;

    const std::vector<json> lines = Lines(ended.out);
    EXPECT_EQ(json::parse(R"({"event": "reconnecting", "attempt": 1, "seconds": 1})"), lines[5])
        << ended.out;
    const auto again = std::ranges::find(lines, json({{"event", "reconnected"}}));
    ASSERT_LE(6, lines.end() - again) << ended.out;
    EXPECT_EQ("meanwhile", again[1]["properties"]["name"]);
    EXPECT_EQ("vm-104", again[3]["_id"]);
    EXPECT_EQ(json::parse(R"({"event": "left", "_type": "VirtualMachine", "_id": "vm-102"})"),
              again[4]);
    EXPECT_EQ("ready", again[5]["event"]);
}

TEST_F(Watch, ReconnectShowsTheNextTryInTheTableAndCanBeInterrupted) {
    Program::columns = 80;
    Program watch("bin/orvane", {"watch", "--reconnect"}, true);
    ASSERT_TRUE(watch.WaitFor("0 changes"));
    const int terminal = watch.OpenTerminal();
    LoseService();
    ASSERT_TRUE(watch.WaitFor("connection lost, tries again in 1 s"));
    server.SetListening(true);
    ASSERT_TRUE(watch.WaitFor("; connected again"));
    LoseService();
    ASSERT_TRUE(watch.WaitFor("connection lost, tries again in 2 s")); /* the second try */
    watch.Type("\x03");
    EXPECT_TRUE(watch.WaitFor("\norvane: interrupted\r\n"));
    EXPECT_TRUE(HasEcho(terminal));
    close(terminal);
    EXPECT_EQ(130, watch.Wait().status);
}

TEST_F(Watch, ReconnectEndsWhenTheLoginIsRefusedOrTheTimeIsOver) {
    {
        Program watch("bin/orvane", {"watch", "vm-101", "--reconnect"});
        ASSERT_TRUE(watch.WaitFor("\"ready\""));
        server.AddTrouble({.kind = TroubleKind::Fault,
                           .method = "Login",
                           .count = -1,
                           .faultType = "InvalidLogin"});
        LoseService();
        server.SetListening(true);
        ExpectFailure(watch.Wait(), 4, {"does not accept the login any more; check the user"});
        server.ClearTroubles();
    }
    Program watch("bin/orvane", {"watch", "vm-101", "--reconnect", "--for", "1"});
    ASSERT_TRUE(watch.WaitFor("\"ready\""));
    LoseService();
    ExpectFailure(watch.Wait(), 3, {"the connection to the service is lost"});
}

TEST_F(Watch, StopsAndGoesOnAndASilentServiceEndsItInTime) {
    const auto job = Program::StartJob("bin/orvane", {"watch", "vm-101"});
    ASSERT_TRUE(job->WaitFor("0 changes"));
    job->Type("\x1a");
    ASSERT_TRUE(job->WaitFor("[stop 1]"));
    job->Type("\n");
    ASSERT_TRUE(job->WaitFor("\033[Jname"));
    job->Type("\x03");
    EXPECT_EQ(130, job->Wait().status);

    server.AddTrouble(
        {.kind = TroubleKind::Silent, .method = "CreateFilter", .count = -1, .skip = 1});
    ExpectFailure(Run({"watch", "vm-101", "--timeout", "1"}), 6, {"no answer within 1 s"});
}

} // namespace
