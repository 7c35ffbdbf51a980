/*
 * serviceFixture.h -- a simulated service that the environment names, for commands that work with one
 */
#pragma once

#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/tools/orvane/program.h"
#include "tools/simulator/simulator.h"

class WithSimulator : public testing::Test {
protected:
    explicit WithSimulator(const simulator::Options &options = {.machines = 4}) : server(options) {
        server.RunInThread();
        setenv("ORVANE_URL", server.Url().c_str(), 1);
        setenv("ORVANE_USER", "administrator", 1);
        setenv("ORVANE_PASSWORD", "secret", 1);
        setenv("LC_ALL", "C.UTF-8", 1); /* an encoding, of which program.cpp makes LC_CTYPE */
    }
    ~WithSimulator() override {
        for (const char *name :
             {"ORVANE_URL", "ORVANE_USER", "ORVANE_PASSWORD", "LC_ALL", "LC_CTYPE"})
            unsetenv(name);
        Program::columns = 0;
        Program::language = "C";
        EXPECT_EQ(0, server.NumSessions()) << "a command has not logged out";
    }

    static Ended Run(const std::vector<std::string> &words) {
        return Program("bin/orvane", words).Wait();
    }
    /* What it writes to a terminal of so many columns, without colours. */
    static std::string Screen(int columns, std::vector<std::string> words) {
        Program::columns = columns;
        setenv("TERM", "xterm", 1);
        words.insert(words.begin(), "--no-color");
        std::string text = Program("bin/orvane", words, true).Wait().out;
        std::erase(text, '\r');
        return text;
    }

    simulator::Simulator server;
};

/* A failure: its status, and one line on stderr with these texts. */
inline void ExpectFailure(const Ended &ended, int status, const std::vector<std::string> &texts) {
    EXPECT_EQ(status, ended.status) << ended.err;
    EXPECT_THAT(ended.err, testing::StartsWith("orvane: "));
    EXPECT_EQ(1, std::ranges::count(ended.err, '\n')) << ended.err;
    for (const std::string &text : texts)
        EXPECT_THAT(ended.err, testing::HasSubstr(text));
}
