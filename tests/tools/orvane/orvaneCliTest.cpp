#include <unistd.h>

#include <sstream>

#include "tests/support/loopback.h"
#include "tests/tools/orvane/serviceFixture.h"

namespace {

const std::string kDocument = SourcePath("tests/tools/schemaImport/documents/many/service.wsdl");

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Words = std::vector<std::string>;
using OrvaneDemo = ProgramTest;
using OrvaneProgram = ProgramTest;

/* The demo with a given service, whose password is in the environment. */
struct OrvaneDemoAtAService : ProgramTest {
    OrvaneDemoAtAService() {
        setenv("ORVANE_PASSWORD", "secret", 1);
        server.RunInThread();
    }
    Ended Demo(std::vector<std::string> others = {}) const {
        others.insert(others.begin(), {"--url", server.Url()});
        return Run("demo", others);
    }
    simulator::Simulator server{{.machines = 3, .taskDurationMs = 200}};
};

/* Programs that show how to use the library. */
struct Examples : testing::Test {
    Examples() { server.RunInThread(); }
    ~Examples() override { EXPECT_EQ(0, server.NumSessions()); }
    std::vector<std::string> With(std::vector<std::string> others = {}) const {
        others.insert(others.begin(), {server.Url(), "administrator", "secret"});
        return others;
    }
    simulator::Simulator server{{.machines = 5, .taskDurationMs = 200}};
};

TEST_F(OrvaneDemo, ShowsEverythingInPlainTextAndOnOneScreen) {
    const Ended ended = Run({"demo", "--machines", "7", "--task-ms", "300"});
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

TEST_F(OrvaneDemo, ColoursAndMovesTheBarOnlyOnATerminalThatTakesIt) {
    const struct {
        const char *term;
        const char *noColor;
        bool isLive;
    } rows[] = {{"xterm", "", true}, {"xterm", "1", false}, {"dumb", "", false}};
    for (const auto &row : rows) {
        setenv("TERM", row.term, 1);
        setenv("NO_COLOR", row.noColor, 1);
        const Ended ended = Run({"demo", "--machines", "2", "--task-ms", "200"}, true);
        EXPECT_EQ(0, ended.status) << ended.out;
        EXPECT_EQ(row.isLive, ended.out.find("\033[") != std::string::npos) << ended.out;
    }
}

TEST_F(OrvaneDemo, ATakenPortIsOneLine) {
    int port = 0;
    const int taken = ListenOnLoopback(&port);
    ExpectFailure(Run({"demo", "--port", std::to_string(port)}), 1,
                  {"127.0.0.1:" + std::to_string(port)});
    close(taken);
}

TEST_F(OrvaneDemoAtAService, AFailureIsOneLineAndLogsOut) {
    ExpectFailure(Run({"demo", "--url", "http://127.0.0.1:1/sdk"}), 3, {"no service answers"});
    ExpectFailure(Demo({"--password", "wrong"}), 4,
                  {"InvalidLogin: The user name or the password is wrong; check the user name"});
    ExpectFailure(Demo({"--machine", "nobody"}), 1, {"nobody"});
    EXPECT_EQ(1, server.NumCalls("Logout"));
    server.AddTrouble({.kind = simulator::TroubleKind::Fault,
                       .method = "Login",
                       .message = "no\nAll of it worked."});
    ExpectFailure(Demo(), 1, {"SystemError: no\\nAll of it worked."});
    EXPECT_EQ(0, server.NumSessions());
}

TEST_F(OrvaneDemoAtAService, AServiceThatFallsSilentEndsItInTime) {
    for (const char *method : {"Login", "RetrieveProperties", "CreateFilter", "Logout"}) {
        server.AddTrouble({.kind = simulator::TroubleKind::Silent, .method = method, .count = -1});
        ExpectFailure(Demo({"--timeout", "1"}), 6, {"no answer within 1 s"});
        EXPECT_EQ(method == std::string("Logout") ? 1 : 0, server.NumSessions()) << method;
        server.ExpireSessions();
        server.ClearTroubles();
    }
}

TEST_F(OrvaneDemoAtAService, AGivenServiceIsOnlyReadUnlessAMachineIsNamed) {
    EXPECT_EQ(0, Demo().status);
    EXPECT_EQ(0, server.NumCalls("PowerOnVM_Task"));
    EXPECT_EQ(0, Demo({"--machine", "machine-0002"}).status);
    EXPECT_EQ(2, server.NumCalls("PowerOnVM_Task"));
    EXPECT_EQ("gray", server.Property("vm-102", "guestHeartbeatStatus"));
    EXPECT_EQ(0, server.NumSessions());
}

/* XML carries no C0 but line breaks; U+0085 and U+009B are C1. */
TEST_F(OrvaneDemoAtAService, NoNameForgesALineOrMovesTheCursor) {
    server.SetProperty("vm-101", "name", "a\nConnected  trusted\u0085\u009b2J\u202e\u2028z");
    const Ended ended = Demo();
    EXPECT_EQ(0, ended.status) << ended.err;
    EXPECT_THAT(ended.out,
                HasSubstr("a\\nConnected  trusted\\u0085\\u009b2J\\u202e\\u2028z  Virtual"));
}

TEST_F(OrvaneProgram, AWrongCommandLineIsOneLineThatSaysWhatToDo) {
    const std::pair<std::vector<std::string>, const char *> rows[] = {
        {{}, "see orvane --help"},
        {{"abuot"}, "\"abuot\" is no command of orvane; did you mean \"about\"?"},
        {{"frob\nnicate"}, "\"frob\\nnicate\" is no command of orvane; there are: demo, "},
        {{"schema", "imprt"}, "\"imprt\" is no command of orvane schema; did you mean \"import\"?"},
        {{"about"}, "which service?"},
        {{"about", "http://h/sdk", "u", "--url", "http://h/sdk"}, "take the place of the address"},
        {{"about", "a", "b", "c"}, "c; see orvane about --help"},
        {{"demo", "--password", "x"}, "see orvane demo --help"},
    };
    for (const auto &[arguments, text] : rows)
        ExpectFailure(Run(arguments), 2, {text});
}

TEST_F(OrvaneProgram, EachCommandHasExamplesAndTakesTheCommonOptions) {
    std::istringstream commands(Run({"complete", "--", ""}).out);
    for (std::string name; std::getline(commands, name);)
        EXPECT_THAT(Run({name, "--help"}).out,
                    testing::ContainsRegex("Examples:\n.*orvane " + name));
    const Words common = {"--profile",        "none",      "--timeout", "5",
                          "--wire",           "/dev/full", "-q",        "--log",
                          folder.Path("log"), "--no-color"};
    const Words rows[] = {{"config"},
                          {"profile", "list"},
                          {"completion", "bash"},
                          {"schema", "import", "-o", "/dev/null", kDocument}};
    for (const Words &row : rows) {
        for (const bool isBefore : {true, false}) {
            Words words = row;
            words.insert(isBefore ? words.begin() : words.end(), common.begin(), common.end());
            const Ended ended = Run(words);
            EXPECT_EQ("", ended.err);
            EXPECT_EQ(0, ended.status) << row.front();
        }
    }
    const Ended demo = Run({"-q", "demo", "--machines", "2", "--task-ms", "10"});
    EXPECT_EQ("", demo.out + demo.err);
}

TEST_F(OrvaneProgram, OutputThatCannotBeWrittenIsAFailure) {
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
        const Ended ended = Run(row.arguments, false, {.output = row.output});
        EXPECT_EQ(1, ended.status) << ended.err;
        EXPECT_THAT(ended.err, HasSubstr(row.reason));
    }
}

TEST_F(Examples, InventoryNamesAllMachines) {
    const Ended ended = Program("examples/inventory", With()).Wait();
    EXPECT_EQ(0, ended.status) << ended.err;
    EXPECT_THAT(ended.out, AllOf(HasSubstr("SkemaOzyVirtualMachine       machine-0001\n"),
                                 HasSubstr("SkemaOzyVirtualMachine       machine-0005\n"),
                                 HasSubstr("SkemaOzyDatastore            ")));

    const Ended refused =
        Program("examples/inventory", {server.Url(), "administrator", "no"}).Wait();
    EXPECT_EQ(1, refused.status);
    EXPECT_EQ(1, std::ranges::count(refused.err, '\n')) << refused.err;
}

TEST_F(Examples, ALoopOfTheApplicationsOwnServesTheLibrary) {
    const Ended ended = Program("examples/ownLoop", With()).Wait();
    EXPECT_EQ(0, ended.status) << ended.err;
    EXPECT_THAT(ended.out, HasSubstr("connected to "));
}

TEST_F(Examples, PowerOnFollowsTheTaskAndShowsTheFault) {
    const Ended first = Program("examples/powerOn", With({"vm-101"})).Wait();
    EXPECT_EQ(0, first.status) << first.err;
    EXPECT_THAT(first.out, AllOf(HasSubstr("100 %\n"), HasSubstr("it runs\n")));
    EXPECT_EQ("green", server.Property("vm-101", "guestHeartbeatStatus"));
    const Ended second = Program("examples/powerOn", With({"vm-101"})).Wait();
    EXPECT_EQ(1, second.status);
    EXPECT_EQ("it is in a state that does not allow this\n", second.err);
}

TEST_F(Examples, WatchShowsChangesUntilInterrupted) {
    Program watch("examples/watch", With({"name"}));
    ASSERT_TRUE(watch.WaitFor("vm-101 name = machine-0001\n"));
    EXPECT_TRUE(server.SetProperty("vm-101", "name", "renamed"));
    EXPECT_TRUE(watch.WaitFor("vm-101 name = renamed\n"));
    watch.Interrupt();
    const Ended ended = watch.Wait();
    EXPECT_EQ(0, ended.status) << ended.err;
}

} // namespace
