// --log and --log-level of both programs: what is in the file, who can read it, and what it does not replace.
#include <sys/stat.h>

#include "tests/tools/orvane/serviceFixture.h"

namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

struct ProgramLog : ProgramTest {
    ProgramLog() { Program::looksForLeaks = false; }
    const std::string path = folder.Path("a.log");
};

TEST_F(ProgramLog, HasNoSecretsAtItsMostVerboseLevel) {
    simulator::Simulator server({.machines = 2, .taskDurationMs = 50, .certificateKind = "good"});
    server.RunInThread();
    const Ended ended = Run({"demo", "--url", server.Url(), "--insecure", "--password-stdin",
                             "--machine", "machine-0002", "--log", path, "--log-level", "debug"},
                            false, {.input = "secret\n"});
    EXPECT_EQ(0, ended.status) << ended.err;
    const std::string log = folder.Read("a.log");
    EXPECT_THAT(log,
                AllOf(HasSubstr("I120: Log for orvane pid="), HasSubstr("PROGRAM: orvane demo\n"),
                      HasSubstr("Cookie: [redacted]"), HasSubstr("PowerOnVM_Task"),
                      HasSubstr("PROGRAM: ends with status 0\n")));
    EXPECT_THAT(log, Not(AnyOf(HasSubstr("secret"), HasSubstr("c2VjcmV0"))));
    struct stat status;
    EXPECT_EQ(0, stat(path.c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 0777u);
}

TEST_F(ProgramLog, IsNewForEachRunAndKeepsThree) {
    for (const char *word : {"one", "two", "three", "four", "five"}) {
        const std::string url = std::string("http://127.0.0.1:1/") + word;
        EXPECT_THAT(
            Run({"--log", path, "about", url, "root", "--password", "x", "--log-level", "warning"})
                .err,
            HasSubstr(word));
    }
    const std::pair<const char *, const char *> rows[] = {
        {"a.log", "five"}, {"a-0.log", "four"}, {"a-1.log", "three"}, {"a-2.log", "two"}};
    for (const auto &[name, word] : rows)
        EXPECT_THAT(folder.Read(name), AllOf(HasSubstr(std::string("/") + word + ": no service"),
                                             Not(HasSubstr("PROGRAM: ends"))));
    EXPECT_EQ("", folder.Read("a-3.log"));
}

TEST_F(ProgramLog, WhatCannotBeALogIsOneLineAndStaysAsItIs) {
    const std::string report = folder.Write("report", "my report\n");
    const std::string pipe = folder.Path("pipe");
    const std::string link = folder.Path("link");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    ASSERT_EQ(0, symlink(report.c_str(), link.c_str()));
    const struct {
        std::vector<std::string> arguments;
        int status;
        const char *message;
    } rows[] = {
        {{"--log", folder.Path("no/a.log")}, 1, "No such file or directory"},
        {{"--log", report}, 1, "is no log"},
        {{"--log", pipe}, 1, "is no regular file"},
        {{"--log", link}, 1, "is no regular file"},
        {{"--log", folder.Path()}, 1, "is no regular file"},
        {{"--log", "/dev/full"}, 1, "is no regular file"},
        {{"--log", path, "--log-level", "loud"}, 2, "error,warning,info"},
        {{"--log", ""}, 2, "--log: the name of the file is empty"},
        {{"--log-level", "info"}, 2, "--log-level requires --log"},
    };
    for (const char *program : {"orvane", "orvane-simulator"}) {
        for (const auto &row : rows) {
            SCOPED_TRACE(program + testing::PrintToString(row.arguments));
            std::vector<std::string> arguments = row.arguments;
            if (program == std::string("orvane"))
                arguments.insert(arguments.begin(), {"schema", "import", "x"});
            const Ended ended = Program("bin/" + std::string(program), arguments).Wait();
            EXPECT_EQ(row.status, ended.status);
            EXPECT_THAT(ended.err,
                        AllOf(StartsWith(program + std::string(": ")), HasSubstr(row.message)));
            EXPECT_EQ(1, std::ranges::count(ended.err, '\n')) << ended.err;
            EXPECT_EQ("", ended.out);
        }
    }
    EXPECT_EQ("my report\n", folder.Read("report"));
    EXPECT_EQ("", folder.Read("report-0"));
}

TEST_F(ProgramLog, GoesToStderrForADash) {
    const Ended ended = Run({"schema", "import", "nothing", "--log", "-"});
    EXPECT_THAT(ended.err, AllOf(StartsWith("PROGRAM: orvane schema import\n"),
                                 HasSubstr("PROGRAM: ends with status")));
}

} // namespace
