// The program orvane-simulator: its command line, its output and its end.
#include <algorithm>
#include <atomic>
#include <future>

#include <gmock/gmock.h>

#include "tests/support/temporaryFolder.h"
#include "tests/tools/orvane/program.h"
#include "tests/tools/simulator/soapClient.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

TEST(SimulatorProgram, EndsWithTheStatusThatSaysWhy) {
    /* where the output goes, the exit status, and a part of the message */
    const std::tuple<std::vector<std::string>, const char *, int, const char *> rows[] = {
        {{"--version"}, "", 0, ""},
        {{"--version"}, "/dev/full", 1, "cannot be written: No space left"},
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
    for (const auto &[arguments, output, status, message] : rows) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const Ended ended =
            Program("bin/orvane-simulator", arguments, false, {.output = output}).Wait();
        EXPECT_EQ(status, ended.status) << ended.err;
        if (*message == '\0')
            continue;
        EXPECT_THAT(ended.err, AllOf(StartsWith("orvane-simulator: "), HasSubstr(message)));
        EXPECT_EQ(1, std::ranges::count(ended.err, '\n')) << ended.err;
    }
}

TEST(SimulatorProgram, ASignalEndsItWhileItServes) {
    const TemporaryFolder folder;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(signal);
        Program program("bin/orvane-simulator", {"--machines", "5", "--log", folder.Path("log")});
        ASSERT_TRUE(program.WaitFor("/sdk\n"));
        const std::string url = program.Output().substr(0, program.Output().find('\n'));
        std::atomic<int> numReplies = 0;
        std::vector<std::future<void>> clients;
        for (int i = 0; i < 4; i++)
            clients.push_back(std::async(std::launch::async, [&] {
                SoapClient client(url);
                client.Login();
                while (client.Call("CurrentTime", "ServiceInstance", "ServiceInstance").error ==
                       CURLE_OK)
                    numReplies++;
            }));
        EXPECT_TRUE(Eventually([&] { return numReplies > 50; }));
        program.Signal(signal);
        const Ended ended = program.Wait();
        EXPECT_EQ(0, ended.status);
        EXPECT_EQ("", ended.err);
        clients.clear(); /* waits for them: their connections are closed */
        EXPECT_EQ(CURLE_COULDNT_CONNECT, SoapClient(url).Get(url).error);
        EXPECT_THAT(folder.Read("log"), AllOf(HasSubstr("POST /sdk CurrentTime -> 200"),
                                              HasSubstr("SIMULATOR: served ")));
    }
}

} // namespace
