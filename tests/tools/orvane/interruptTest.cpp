// Signals while the program runs: it logs out, leaves the terminal as it was, and ends with 128 and the number.
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/loopback.h"
#include "tests/tools/orvane/serviceFixture.h"
#include "tests/tools/simulator/soapClient.h"

namespace {

using simulator::TroubleKind;
using testing::AllOf;
using testing::AnyOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

struct OrvaneInterrupted : ProgramTest {
    OrvaneInterrupted() : server({.machines = 3, .taskDurationMs = 60000}) {
        setenv("ORVANE_PASSWORD", "secret", 1);
        Program::looksForLeaks = false;
        server.RunInThread();
    }

    std::vector<std::string> Demo() const {
        return {"demo", "--url", server.Url(), "--machine", "machine-0002"};
    }
    void Silence(const char *method, int skip = 0) {
        server.AddTrouble(
            {.kind = TroubleKind::Silent, .method = method, .count = -1, .skip = skip});
    }
    bool HasCalled(const char *method, int count = 1) const {
        return Eventually([&] { return server.NumCalls(method) >= count; });
    }

    simulator::Simulator server;
};

TEST_F(OrvaneInterrupted, LogsOutWhereverItWaits) {
    const struct {
        const char *silenced;
        const char *waitsIn;
        int count;
        int numLogouts;
    } rows[] = {
        {"RetrieveServiceContent", "RetrieveServiceContent", 1, 0}, /* connecting */
        {"RetrieveProperties", "RetrieveProperties", 1, 1},         /* a call */
        {"none", "WaitForUpdatesEx", 4, 1},                         /* a task, and updates */
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.waitsIn);
        server.ResetCounters();
        server.ClearTroubles();
        Silence(row.silenced);
        Program demo("bin/orvane", Demo(), true);
        EXPECT_TRUE(HasCalled(row.waitsIn, row.count));
        demo.Type("\x03");
        const Ended ended = demo.Wait();
        EXPECT_EQ(130, ended.status);
        EXPECT_THAT(ended.out, EndsWith("orvane: interrupted\r\n"));
        EXPECT_EQ(row.numLogouts, server.NumCalls("Logout"));
        EXPECT_EQ(0, server.NumSessions());
    }
    server.ResetCounters();
    server.AddTrouble({.kind = TroubleKind::Slow, .method = "Login", .delayMs = 300});
    Program demo("bin/orvane", Demo());
    EXPECT_TRUE(HasCalled("Login"));
    demo.Interrupt();
    EXPECT_EQ(130, demo.Wait().status);
    EXPECT_EQ(1, server.NumCalls("Logout")) << "the answer comes after the signal";
}

TEST_F(OrvaneInterrupted, EndsWithTheNumberOfTheSignalAndAtOnceWithTheSecond) {
    Silence("RetrieveProperties");
    for (const int signal : {SIGTERM, SIGHUP, SIGINT}) {
        server.ResetCounters();
        Program demo("bin/orvane", Demo());
        EXPECT_TRUE(HasCalled("RetrieveProperties"));
        demo.Signal(signal);
        EXPECT_EQ(128 + signal, demo.Wait().status);
    }
    rlimit coreFile{};
    getrlimit(RLIMIT_CORE, &coreFile);
    coreFile.rlim_cur = 0;
    setrlimit(RLIMIT_CORE, &coreFile);
    server.ResetCounters();
    Program quit("bin/orvane", Demo());
    EXPECT_TRUE(HasCalled("RetrieveProperties"));
    quit.Signal(SIGQUIT);
    const Ended ended = quit.Wait();
    EXPECT_EQ(-SIGQUIT, ended.status);
    EXPECT_EQ("", ended.err);

    Silence("Logout");
    server.ResetCounters();
    Program demo("bin/orvane", Demo(), true);
    EXPECT_TRUE(HasCalled("RetrieveProperties"));
    demo.Type("\x03");
    EXPECT_TRUE(HasCalled("Logout"));
    demo.Type("\x03");
    EXPECT_EQ(-SIGINT, demo.Wait().status);
}

TEST_F(OrvaneInterrupted, WhatWasIgnoredAtItsStartStaysIgnored) {
    Silence("RetrieveProperties");
    for (const int ignored : {SIGINT, SIGHUP})
        signal(ignored, SIG_IGN);
    Program demo("bin/orvane", Demo());
    for (const int ignored : {SIGINT, SIGHUP})
        signal(ignored, SIG_DFL);
    EXPECT_TRUE(HasCalled("RetrieveProperties"));
    demo.Signal(SIGINT);
    demo.Signal(SIGHUP);
    demo.Signal(SIGTERM);
    EXPECT_EQ(128 + SIGTERM, demo.Wait().status);
}

TEST_F(OrvaneInterrupted, EndsAnImportAndLeavesNoFile) {
    int port = 0;
    const int listener = ListenOnLoopback(&port);
    for (const int signal : {SIGINT, SIGTERM}) {
        Program import("bin/orvane", {"schema", "import", "--url",
                                      "http://127.0.0.1:" + std::to_string(port) + "/a.xsd",
                                      "--output", folder.Path("made.schema")});
        pollfd connection = {listener, POLLIN, 0};
        ASSERT_EQ(1, poll(&connection, 1, 20000)) << "no request";
        const int peer = accept(listener, nullptr, nullptr);
        import.Signal(signal);
        const Ended ended = import.Wait();
        EXPECT_EQ(128 + signal, ended.status);
        EXPECT_EQ("orvane: interrupted\n", ended.err);
        close(peer);
    }
    close(listener);
    EXPECT_EQ(0, rmdir(folder.Path().c_str())) << "a file is left";
}

TEST_F(OrvaneInterrupted, ACrashIsHandledAsTheSettingsSay) {
    const std::string settings = "panic.loopOnPanic = TRUE\npanic.addrSpaceReservedKB = 64\n";
    mkdir(folder.Path("orvane").c_str(), 0700);
    folder.Write("orvane/config", settings + "coreDumpOnPanic = FALSE\n");
    Silence("RetrieveProperties");
    std::vector<std::string> words = Demo();
    words.insert(words.end(), {"--log", folder.Path("log")});
    Program demo("bin/orvane", words, true);
    EXPECT_TRUE(HasCalled("RetrieveProperties"));
    demo.Signal(SIGUSR1);
    EXPECT_TRUE(demo.WaitFor("Looping pid="));
    EXPECT_THAT(folder.Read("log"),
                AllOf(HasSubstr(", size:64KB)\n"), HasSubstr("Unexpected signal: 10.\n"),
                      Not(HasSubstr("core dump"))));
}

TEST_F(OrvaneInterrupted, StopsAtThePromptAndAsksAgain) {
    unsetenv("ORVANE_PASSWORD");
    const auto about = Program::StartJob("bin/orvane", {"about", server.Url(), "administrator"});
    const int terminal = about->OpenTerminal();
    EXPECT_TRUE(about->WaitFor("Password of administrator: "));
    EXPECT_FALSE(HasEcho(terminal));
    about->Type("half\x1a");
    EXPECT_TRUE(about->WaitFor("[stop 1]"));
    EXPECT_TRUE(HasEcho(terminal));
    about->Type("\n");
    EXPECT_TRUE(Eventually([&] { return !HasEcho(terminal); }));
    about->Type("secret\n");
    EXPECT_TRUE(Eventually([&] { return HasEcho(terminal); }));
    close(terminal);
    const Ended ended = about->Wait();
    EXPECT_EQ(0, ended.status) << ended.out;
    EXPECT_THAT(ended.out, Not(AnyOf(HasSubstr("half"), HasSubstr("secret"))));
    EXPECT_THAT(ended.out, testing::ContainsRegex("Password of(.|\n)*stop 1(.|\n)*Password of"));
}

TEST_F(OrvaneInterrupted, ANewWidthOfTheTerminalRedrawsTheBar) {
    setenv("TERM", "xterm", 1);
    setenv("NO_COLOR", "", 1);
    setenv("LC_ALL", "C", 1);
    Program demo("bin/orvane", Demo(), true);
    unsetenv("LC_ALL");
    const std::string begin = "PowerOnVM_Task  \033[32m\033[0m\033[2m";
    EXPECT_TRUE(demo.WaitFor(begin + std::string(30, '.') + "\033[0m   0 %"));
    const int terminal = demo.OpenTerminal();
    const winsize narrow = {.ws_row = 24, .ws_col = 30, .ws_xpixel = 0, .ws_ypixel = 0};
    EXPECT_EQ(0, ioctl(terminal, TIOCSWINSZ, &narrow));
    EXPECT_TRUE(demo.WaitFor("\r\033[K  " + begin + ".....\033[0m   0 %"));
    close(terminal);
    demo.Type("\x03");
    EXPECT_EQ(130, demo.Wait().status);
}

TEST_F(OrvaneInterrupted, StopsInATaskAndGoesOnMoreThanOnce) {
    const auto demo = Program::StartJob("bin/orvane", Demo());
    EXPECT_TRUE(HasCalled("WaitForUpdatesEx", 4));
    for (const char *number : {"1", "2"}) {
        demo->Type("\x1a");
        EXPECT_TRUE(demo->WaitFor("[stop " + std::string(number)));
        demo->Type("\n");
        EXPECT_TRUE(demo->WaitFor("[go " + std::string(number)));
    }
    demo->Type("\x03");
    EXPECT_EQ(130, demo->Wait().status);
    EXPECT_EQ(0, server.NumSessions());
}

} // namespace
