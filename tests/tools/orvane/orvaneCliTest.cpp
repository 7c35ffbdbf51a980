#include <algorithm>
#include <string>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/tools/orvane/program.h"
#include "tools/simulator/simulator.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

Ended RunProgram(const std::string &path, const std::vector<std::string> &arguments,
                 bool onTerminal = false) {
    return Program(path, arguments, onTerminal).Wait();
}

Ended Demo(std::vector<std::string> arguments, bool onTerminal = false) {
    arguments.insert(arguments.begin(), "demo");
    return RunProgram("bin/orvane", arguments, onTerminal);
}

std::vector<std::string> With(const simulator::Simulator &server,
                              std::vector<std::string> others = {}) {
    std::vector<std::string> all = {server.Url(), "administrator", "secret"};
    all.insert(all.end(), others.begin(), others.end());
    return all;
}

/* One line on stderr, and only there, is all that a person gets of a failure. */
void ExpectOneLine(const Ended &ended, const std::string &text) {
    EXPECT_EQ(1, ended.status);
    EXPECT_THAT(ended.err, AllOf(StartsWith("orvane: "), HasSubstr(text)));
    EXPECT_EQ(1, std::ranges::count(ended.err, '\n')) << ended.err;
}

TEST(OrvaneDemo, ShowsEverythingInPlainTextAndOnOneScreen) {
    const Ended ended = Demo({"--machines", "7", "--task-ms", "300"});
    EXPECT_EQ(0, ended.status) << ended.err;
    EXPECT_EQ("", ended.err);
    for (const char *text :
         {"negotiated ozy25/6.0", "7 VirtualMachine; 1 running", "host1.example.com",
          "update guestHeartbeatStatus = green", "PowerOnVM_Task",
          "InvalidPowerState: ", "ManagedObjectNotFound: ", "Logged out", "All of it worked.\n"})
        EXPECT_THAT(ended.out, HasSubstr(text));
    EXPECT_THAT(ended.out, Not(HasSubstr("\033")));
    EXPECT_LE(std::ranges::count(ended.out, '\n'), 50) << ended.out;
}

TEST(OrvaneDemo, ColoursAndMovesTheBarOnlyOnATerminalThatTakesIt) {
    const struct {
        const char *term;
        const char *noColor;
        bool isLive;
    } rows[] = {{"xterm", "", true}, {"xterm", "1", false}, {"dumb", "", false}};
    for (const auto &row : rows) {
        setenv("TERM", row.term, 1);
        setenv("NO_COLOR", row.noColor, 1);
        const Ended ended = Demo({"--machines", "2", "--task-ms", "200"}, true);
        EXPECT_EQ(0, ended.status) << ended.out;
        EXPECT_EQ(row.isLive, ended.out.find("\033[") != std::string::npos) << ended.out;
    }
}

TEST(OrvaneDemo, ATakenPortIsOneLine) {
    const int taken = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    ASSERT_EQ(0, bind(taken, generic, length));
    ASSERT_EQ(0, listen(taken, 1));
    ASSERT_EQ(0, getsockname(taken, generic, &length));
    const std::string port = std::to_string(ntohs(address.sin_port));
    ExpectOneLine(Demo({"--port", port}), "127.0.0.1:" + port);
    close(taken);
}

TEST(OrvaneDemo, AServiceThatIsNotThereOrRefusesIsOneLine) {
    ExpectOneLine(Demo({"--url", "http://127.0.0.1:1/sdk"}), "no service answers");
    simulator::Simulator server({.machines = 3});
    server.RunInThread();
    ExpectOneLine(Demo({"--url", server.Url(), "--password", "wrong"}), "InvalidLogin");
    ExpectOneLine(Demo({"--url", server.Url(), "--machine", "nobody"}), "nobody");
}

TEST(OrvaneDemo, AServiceThatFallsSilentEndsItInTime) {
    simulator::Simulator server({.machines = 3});
    server.RunInThread();
    for (const char *method : {"Login", "RetrieveProperties", "CreateFilter", "Logout"}) {
        server.AddTrouble({.kind = simulator::TroubleKind::Silent, .method = method, .count = -1});
        ExpectOneLine(Demo({"--url", server.Url(), "--timeout", "1"}), "no answer within 1 s");
        server.ClearTroubles();
    }
}

TEST(OrvaneDemo, AGivenServiceIsOnlyReadUnlessAMachineIsNamed) {
    simulator::Simulator server({.machines = 3, .taskDurationMs = 200});
    server.RunInThread();
    EXPECT_EQ(0, Demo({"--url", server.Url()}).status);
    EXPECT_EQ(0, server.NumCalls("PowerOnVM_Task"));
    EXPECT_EQ(0, Demo({"--url", server.Url(), "--machine", "machine-0002"}).status);
    EXPECT_EQ(2, server.NumCalls("PowerOnVM_Task"));
    EXPECT_EQ("gray", server.Property("vm-102", "guestHeartbeatStatus"));
    EXPECT_EQ(0, server.NumSessions());
}

TEST(Examples, InventoryNamesAllMachines) {
    simulator::Simulator server({.machines = 5});
    server.RunInThread();
    const Ended ended = RunProgram("examples/inventory", With(server));
    EXPECT_EQ(0, ended.status) << ended.err;
    EXPECT_THAT(ended.out, AllOf(HasSubstr("SkemaOzyVirtualMachine       machine-0001\n"),
                                 HasSubstr("SkemaOzyVirtualMachine       machine-0005\n")));
    EXPECT_EQ(0, server.NumSessions());

    const Ended refused = RunProgram("examples/inventory", {server.Url(), "administrator", "no"});
    EXPECT_EQ(1, refused.status);
    EXPECT_EQ(1, std::ranges::count(refused.err, '\n')) << refused.err;
}

TEST(Examples, PowerOnFollowsTheTaskAndTellsTheFault) {
    simulator::Simulator server({.machines = 1, .taskDurationMs = 200});
    server.RunInThread();
    const Ended first = RunProgram("examples/powerOn", With(server, {"vm-101"}));
    EXPECT_EQ(0, first.status) << first.err;
    EXPECT_THAT(first.out, AllOf(HasSubstr("100 %\n"), HasSubstr("it runs\n")));
    EXPECT_EQ("green", server.Property("vm-101", "guestHeartbeatStatus"));
    const Ended second = RunProgram("examples/powerOn", With(server, {"vm-101"}));
    EXPECT_EQ(1, second.status);
    EXPECT_EQ("it is in a state that does not allow this\n", second.err);
}

TEST(Examples, WatchShowsChangesUntilInterrupted) {
    simulator::Simulator server({.machines = 1});
    server.RunInThread();
    Program watch("examples/watch", With(server, {"vm-101"}));
    ASSERT_TRUE(watch.WaitFor("name = \"machine-0001\"\n"));
    EXPECT_TRUE(server.SetProperty("vm-101", "name", "renamed"));
    EXPECT_TRUE(watch.WaitFor("name = \"renamed\"\n"));
    watch.Interrupt();
    const Ended ended = watch.Wait();
    EXPECT_EQ(0, ended.status) << ended.err;
    EXPECT_EQ(0, server.NumSessions());
}

} // namespace
