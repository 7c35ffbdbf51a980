// The program orvane-simulator: its command line, its output and its end.
#include <algorithm>

#include <gmock/gmock.h>

#include "tests/tools/orvane/program.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

TEST(SimulatorProgram, EndsWithTheStatusThatSaysWhy) {
    const struct {
        std::vector<std::string> arguments;
        const char *output;
        int status;
        const char *message;
    } rows[] = {
        {{"--version"}, "", 0, ""},
        {{"--version"}, "/dev/full", 1, ""},
        {{"--port", "0"}, "/dev/full", 1, "cannot be written: No space left"},
        {{"--port", "0"}, "closed", 1, "cannot be written: Bad file descriptor"},
        {{"--port", "-1"}, "", 2, "--port"},
        {{"--nonsense"}, "", 2, "--nonsense"},
        {{"--task-duration", "-1"}, "", 2, "--task-duration"},
        {{"--session-timeout", "-5"}, "", 2, "--session-timeout"},
        {{"--user", "nobody"}, "", 2, "--user nobody"},
        {{"--trouble", "slow:delay=-1"}, "", 2, "--trouble slow:delay=-1"},
        {{"--trouble", "Login"}, "", 2, "--trouble Login"},
        {{"--versions", "x"}, "", 2, "--versions x"},
        {{"--certificate", "x"}, "", 2, "--certificate x"},
        {{"--anchor", "/tmp/x"}, "", 2, "--anchor"},
        {{"--address", "192.0.2.1"}, "", 1, "192.0.2.1"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        const Ended ended =
            Program("bin/orvane-simulator", row.arguments, false, {.output = row.output}).Wait();
        EXPECT_EQ(row.status, ended.status) << ended.err;
        if (*row.message == '\0')
            continue;
        EXPECT_THAT(ended.err, AllOf(StartsWith("orvane-simulator: "), HasSubstr(row.message)));
        EXPECT_EQ(1, std::ranges::count(ended.err, '\n')) << ended.err;
    }
}

} // namespace
