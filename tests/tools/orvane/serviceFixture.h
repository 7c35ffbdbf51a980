/*
 * serviceFixture.h -- what tests of the program share: an environment of their own, and a simulated service
 */
#pragma once

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <termios.h>

#include "tests/support/paths.h"
#include "tests/support/temporaryFolder.h"
#include "tests/tools/orvane/program.h"
#include "tools/simulator/simulator.h"

/* Runs the program as somebody without files. */
struct ProgramTest : testing::Test {
    ProgramTest() { setenv("XDG_CONFIG_HOME", folder.Path().c_str(), 1); }
    ~ProgramTest() override {
        for (const char *name : {"XDG_CONFIG_HOME", "ORVANE_URL", "ORVANE_USER", "ORVANE_PASSWORD",
                                 "ORVANE_PASSWORD_FILE", "ORVANE_PROFILE", "ORVANE_SCHEMA_OVERLAY",
                                 "NO_COLOR", "LC_ALL", "LC_CTYPE"})
            unsetenv(name);
        Program::columns = 0;
        Program::language = "C";
        Program::looksForLeaks = true;
    }

    static Ended Run(const std::vector<std::string> &words, bool onTerminal = false,
                     const Streams &streams = {}) {
        return Program("bin/orvane", words, onTerminal, streams).Wait();
    }
    static Ended Run(const char *command, std::vector<std::string> words) {
        words.insert(words.begin(), command);
        return Run(words);
    }

    const TemporaryFolder folder;
};

/* A service that the environment names, for commands that work with one. */
struct WithSimulator : ProgramTest {
    explicit WithSimulator(const simulator::Options &options = {.machines = 4}) : server(options) {
        server.RunInThread();
        setenv("ORVANE_URL", server.Url().c_str(), 1);
        setenv("ORVANE_USER", "administrator", 1);
        setenv("ORVANE_PASSWORD", "secret", 1);
        setenv("LC_ALL", "C.UTF-8", 1); /* an encoding, of which program.cpp makes LC_CTYPE */
    }
    ~WithSimulator() override {
        EXPECT_EQ(0, server.NumSessions()) << "a command has not logged out";
    }

    /* What it writes to a terminal of so many columns, without colours. */
    static std::string Screen(int columns, std::vector<std::string> words) {
        Program::columns = columns;
        setenv("TERM", "xterm", 1);
        words.insert(words.begin(), "--no-color");
        std::string text = Run(words, true).out;
        std::erase(text, '\r');
        return text;
    }

    /* Ends the troubles, and the session that one has left. */
    void EndTroubles() {
        server.ClearTroubles();
        server.ExpireSessions();
    }

    simulator::Simulator server;
};

/* A service whose machines have the properties of the overlay of the examples. */
struct WithOverlay : WithSimulator {
    WithOverlay() : WithSimulator({.machines = 4, .overlay = {kOverlay}}) {
        setenv("ORVANE_SCHEMA_OVERLAY", kOverlay.c_str(), 1);
    }
    static inline const std::string kOverlay = SourcePath("examples/overlay/example.schema");
};

/* Whether a terminal shows what is typed, and hands it over by lines. */
inline bool HasEcho(int terminal) {
    termios settings{};
    return tcgetattr(terminal, &settings) == 0 && (~settings.c_lflag & (ICANON | ECHO)) == 0;
}

/* A failure: its status, and one line on stderr with these texts. */
inline void ExpectFailure(const Ended &ended, int status, const std::vector<std::string> &texts) {
    EXPECT_EQ(status, ended.status) << ended.err;
    EXPECT_THAT(ended.err, testing::StartsWith("orvane: "));
    EXPECT_EQ(1, std::ranges::count(ended.err, '\n')) << ended.err;
    for (const std::string &text : texts)
        EXPECT_THAT(ended.err, testing::HasSubstr(text));
}
