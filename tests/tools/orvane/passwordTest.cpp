// Where the password of a login comes from, and that nothing is sent without one.
#include <unistd.h>

#include "tests/tools/orvane/serviceFixture.h"
#include "tests/tools/simulator/soapClient.h"

namespace {

using namespace std::string_literals;
using testing::HasSubstr;

struct Password : ProgramTest {
    Password() : server({.machines = 1, .users = {{"root", "right"}, {"nobody", ""}}}) {
        Program::looksForLeaks = false;
        server.RunInThread();
    }

    std::vector<std::string> About(const char *user, std::vector<std::string> others = {}) const {
        others.insert(others.begin(), {"about", server.Url(), user});
        return others;
    }

    simulator::Simulator server;
};

TEST_F(Password, IsTheFirstThatIsGivenAndNeverAnEmptyOne) {
    const std::string right = folder.Write("right", "right\r\nmore");
    const std::string empty = folder.Write("empty", "\n");
    const std::string withNul = folder.Write("nul", "right"s + '\0' + "x\n");
    const std::string missing = folder.Path("missing");
    const struct {
        std::vector<std::string> arguments;
        std::string input, file, environment;
        int status;
        const char *message;
    } rows[] = {
        {{"--password-stdin"}, "right\nwrong", "", "wrong", 0, ""},
        {{"--password-stdin"}, "right", missing, "", 0, ""},
        {{"--password", "right"}, "wrong\n", missing, "wrong", 0, ""},
        {{}, "wrong\n", right, "wrong", 0, ""},
        {{}, "wrong\n", "", "right", 0, ""},
        {{}, "right\n", "", "", 2, "no password for root"},
        {{"--password-stdin"}, "", right, "right", 2, "stdin holds none"},
        {{"--password-stdin"}, "\nright\n", "", "right", 2, "stdin holds none"},
        {{"--password-stdin"}, "right"s + '\0' + "\n", "", "right", 2, "a NUL cannot be part"},
        {{}, "", withNul, "right", 2, "a NUL cannot be part"},
        {{}, "", missing, "right", 2, "missing: No such file"},
        {{}, "", empty, "right", 2, "empty holds none"},
        {{"--password-stdin", "--password", "right"}, "right", "", "", 2, "excludes"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.arguments) + row.input + row.file);
        setenv("ORVANE_PASSWORD_FILE", row.file.c_str(), 1);
        setenv("ORVANE_PASSWORD", row.environment.c_str(), 1);
        server.ResetCounters();
        const Ended ended = Run(About("root", row.arguments), false, {.input = row.input});
        EXPECT_EQ(row.status, ended.status) << ended.err;
        EXPECT_THAT(ended.err, HasSubstr(row.message));
        EXPECT_EQ(row.status == 0, server.NumCalls("Login") == 1);
    }
}

TEST_F(Password, IsTypedUnseenAndTheEchoComesBack) {
    const struct {
        const char *user;
        const char *typed;
        int status;
        int numLogins;
    } rows[] = {
        {"root", "right\n", 0, 1},
        {"nobody", "\n", 0, 1}, /* the user may mean that */
        {"root", "\x04", 2, 0},
        {"root", "rig\x03", 130, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.typed);
        server.ResetCounters();
        Program program("bin/orvane", About(row.user), true);
        const int terminal = program.OpenTerminal();
        EXPECT_TRUE(program.WaitFor("Password of "));
        EXPECT_FALSE(HasEcho(terminal));
        program.Type(row.typed);
        EXPECT_TRUE(Eventually([&] { return HasEcho(terminal); }));
        close(terminal);
        const Ended ended = program.Wait();
        EXPECT_EQ(row.status, ended.status) << ended.out;
        EXPECT_EQ(row.numLogins, server.NumCalls("Login"));
        EXPECT_EQ(std::string::npos, ended.out.find("rig")) << ended.out;
    }
}

} // namespace
