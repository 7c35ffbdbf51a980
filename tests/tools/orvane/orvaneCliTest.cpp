#include <algorithm>
#include <string>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/paths.h"
#include "tests/tools/orvane/program.h"
#include "tools/simulator/simulator.h"

namespace {

const std::string kDocument = SourcePath("tests/tools/schemaImport/documents/many/service.wsdl");

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

/* The demo with a given service, whose password is in the environment. */
struct OrvaneDemoAtAService : testing::Test {
    OrvaneDemoAtAService() { setenv("ORVANE_PASSWORD", "secret", 1); }
    ~OrvaneDemoAtAService() override { unsetenv("ORVANE_PASSWORD"); }

    static Ended At(const std::string &url, std::vector<std::string> others = {}) {
        others.insert(others.begin(), {"--url", url});
        return Demo(others);
    }
};

std::vector<std::string> With(const simulator::Simulator &server,
                              std::vector<std::string> others = {}) {
    std::vector<std::string> all = {server.Url(), "administrator", "secret"};
    all.insert(all.end(), others.begin(), others.end());
    return all;
}

/* A failure is reported by one line on stderr. */
void ExpectOneLine(const Ended &ended, const std::string &text, int status = 1) {
    EXPECT_EQ(status, ended.status);
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

TEST_F(OrvaneDemoAtAService, AFailureIsOneLineAndLogsOut) {
    ExpectOneLine(At("http://127.0.0.1:1/sdk"), "no service answers", 3);
    simulator::Simulator server({.machines = 3});
    server.RunInThread();
    ExpectOneLine(At(server.Url(), {"--password", "wrong"}),
                  "InvalidLogin: The user name or the password is wrong; check the user name", 4);
    ExpectOneLine(At(server.Url(), {"--machine", "nobody"}), "nobody");
    EXPECT_EQ(1, server.NumCalls("Logout"));
    server.AddTrouble({.kind = simulator::TroubleKind::Fault,
                       .method = "Login",
                       .message = "no\nAll of it worked."});
    ExpectOneLine(At(server.Url()), "SystemError: no\\nAll of it worked.");
    EXPECT_EQ(0, server.NumSessions());
}

TEST_F(OrvaneDemoAtAService, AServiceThatFallsSilentEndsItInTime) {
    simulator::Simulator server({.machines = 3});
    server.RunInThread();
    for (const char *method : {"Login", "RetrieveProperties", "CreateFilter", "Logout"}) {
        server.AddTrouble({.kind = simulator::TroubleKind::Silent, .method = method, .count = -1});
        ExpectOneLine(At(server.Url(), {"--timeout", "1"}), "no answer within 1 s", 6);
        EXPECT_EQ(method == std::string("Logout") ? 1 : 0, server.NumSessions()) << method;
        server.ExpireSessions();
        server.ClearTroubles();
    }
}

TEST_F(OrvaneDemoAtAService, AGivenServiceIsOnlyReadUnlessAMachineIsNamed) {
    simulator::Simulator server({.machines = 3, .taskDurationMs = 200});
    server.RunInThread();
    EXPECT_EQ(0, At(server.Url()).status);
    EXPECT_EQ(0, server.NumCalls("PowerOnVM_Task"));
    EXPECT_EQ(0, At(server.Url(), {"--machine", "machine-0002"}).status);
    EXPECT_EQ(2, server.NumCalls("PowerOnVM_Task"));
    EXPECT_EQ("gray", server.Property("vm-102", "guestHeartbeatStatus"));
    EXPECT_EQ(0, server.NumSessions());
}

/* XML carries no C0 but line breaks; U+0085 and U+009B are C1. */
TEST_F(OrvaneDemoAtAService, NoNameForgesALineOrMovesTheCursor) {
    simulator::Simulator server({.machines = 3});
    server.RunInThread();
    server.SetProperty("vm-101", "name", "a\nConnected  trusted\u0085\u009b2J\u202e\u2028z");
    const Ended ended = At(server.Url());
    EXPECT_EQ(0, ended.status) << ended.err;
    EXPECT_THAT(ended.out,
                HasSubstr("a\\nConnected  trusted\\u0085\\u009b2J\\u202e\\u2028z  Virtual"));
}

TEST_F(OrvaneDemoAtAService, AnInterruptLogsOut) {
    simulator::Simulator server({.machines = 3});
    server.RunInThread();
    server.AddTrouble(
        {.kind = simulator::TroubleKind::Silent, .method = "CreateFilter", .skip = 1});
    Program demo("bin/orvane", {"demo", "--url", server.Url()});
    ASSERT_TRUE(demo.WaitFor("Inventory"));
    demo.Interrupt();
    const Ended ended = demo.Wait();
    EXPECT_EQ(130, ended.status);
    EXPECT_EQ("orvane: interrupted\n", ended.err);
    EXPECT_EQ(0, server.NumSessions());
}

TEST(OrvaneProgram, AWrongCommandLineIsOneLineThatSaysWhatToDo) {
    const std::pair<std::vector<std::string>, const char *> rows[] = {
        {{}, "see orvane --help"},
        {{"abuot"}, "\"abuot\" is no command of orvane; did you mean \"about\"?"},
        {{"frob\nnicate"}, "\"frob\\nnicate\" is no command of orvane; there are: demo, "},
        {{"schema", "imprt"}, "\"imprt\" is no command of orvane schema; did you mean \"import\"?"},
        {{"about"}, "url is required; see orvane about --help"},
        {{"about", "a", "b", "c"}, "c; see orvane about --help"},
        {{"demo", "--password", "x"}, "see orvane demo --help"},
    };
    for (const auto &[arguments, text] : rows) {
        const Ended ended = RunProgram("bin/orvane", arguments);
        EXPECT_EQ(2, ended.status) << ended.err;
        EXPECT_THAT(ended.err, AllOf(StartsWith("orvane: "), HasSubstr(text)));
        EXPECT_EQ(1, std::ranges::count(ended.err, '\n')) << ended.err;
    }
}

TEST(OrvaneProgram, OutputThatCannotBeWrittenIsAFailure) {
    const struct {
        std::vector<std::string> arguments;
        const char *output;
        const char *reason;
    } rows[] = {
        {{"--version"}, "/dev/full", "No space left"},
        {{"about", "--help"}, "closed", "Bad file descriptor"},
        {{"demo", "--machines", "1", "--task-ms", "100"}, "/dev/full", "No space left"},
        {{"schema", "import", "-o", "-", kDocument}, "closed", "Bad file descriptor"},
    };
    for (const auto &row : rows) {
        const Ended ended =
            Program("bin/orvane", row.arguments, false, {.output = row.output}).Wait();
        EXPECT_EQ(1, ended.status) << ended.err;
        EXPECT_THAT(ended.err, HasSubstr(row.reason));
    }
}

TEST(Examples, InventoryNamesAllMachines) {
    simulator::Simulator server({.machines = 5});
    server.RunInThread();
    const Ended ended = RunProgram("examples/inventory", With(server));
    EXPECT_EQ(0, ended.status) << ended.err;
    EXPECT_THAT(ended.out, AllOf(HasSubstr("SkemaOzyVirtualMachine       machine-0001\n"),
                                 HasSubstr("SkemaOzyVirtualMachine       machine-0005\n"),
                                 HasSubstr("SkemaOzyDatastore            ")));
    EXPECT_EQ(0, server.NumSessions());

    const Ended refused = RunProgram("examples/inventory", {server.Url(), "administrator", "no"});
    EXPECT_EQ(1, refused.status);
    EXPECT_EQ(1, std::ranges::count(refused.err, '\n')) << refused.err;
}

TEST(Examples, ALoopOfTheApplicationsOwnServesTheLibrary) {
    simulator::Simulator server({.machines = 1});
    server.RunInThread();
    const Ended ended = RunProgram("examples/ownLoop", With(server));
    EXPECT_EQ(0, ended.status) << ended.err;
    EXPECT_THAT(ended.out, HasSubstr("connected to "));
    EXPECT_EQ(0, server.NumSessions());
}

TEST(Examples, PowerOnFollowsTheTaskAndShowsTheFault) {
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
    Program watch("examples/watch", With(server, {"name"}));
    ASSERT_TRUE(watch.WaitFor("vm-101 name = machine-0001\n"));
    EXPECT_TRUE(server.SetProperty("vm-101", "name", "renamed"));
    EXPECT_TRUE(watch.WaitFor("vm-101 name = renamed\n"));
    watch.Interrupt();
    const Ended ended = watch.Wait();
    EXPECT_EQ(0, ended.status) << ended.err;
    EXPECT_EQ(0, server.NumSessions());
}

} // namespace
