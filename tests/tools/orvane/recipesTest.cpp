// The recipes of docs/cli.md, run as a reader runs them.
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <thread>

#include <glib.h>

#include "tests/tools/orvane/serviceFixture.h"

namespace {

struct Recipe {
    std::string title;
    std::string commands;
    std::string output;
};

std::vector<Recipe> ReadRecipes() {
    std::ifstream file(SourcePath("docs/cli.md"));
    std::vector<Recipe> recipes;
    std::string *block = nullptr;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("## ") && g_ascii_isdigit(line[3])) {
            recipes.push_back({line.substr(3), "", ""});
        } else if (line.starts_with("```")) {
            if (recipes.empty()) {
                ADD_FAILURE() << "a block before the first recipe";
                break;
            }
            const bool isStart = block == nullptr;
            block = !isStart          ? nullptr
                    : line == "```sh" ? &recipes.back().commands
                                      : &recipes.back().output;
        } else if (block != nullptr) {
            *block += line + "\n";
        }
    }
    return recipes;
}

/* Whether a text is as expected, where "..." is for anything. */
bool Matches(std::string_view text, std::string_view expected) {
    const size_t gap = expected.find("...");
    if (gap == std::string_view::npos)
        return text == expected;
    if (!text.starts_with(expected.substr(0, gap)))
        return false;
    text.remove_prefix(gap);
    expected.remove_prefix(gap + 3);
    for (size_t i = 0; i <= text.size(); i++) {
        if (Matches(text.substr(i), expected))
            return true;
    }
    return false;
}

/* Lets a simulator's time pass as soon as a job was cancelled. */
class Ticking {
public:
    explicit Ticking(simulator::Simulator &server)
        : thread([this, &server] {
              std::unique_lock lock(mutex);
              while (!isEnding) {
                  if (server.NumCalls("FerryServerJobStop") > 0)
                      server.Advance(10);
                  wake.wait_for(lock, std::chrono::milliseconds(5));
              }
          }) {}
    ~Ticking() {
        {
            const std::lock_guard lock(mutex);
            isEnding = true;
        }
        wake.notify_one();
        thread.join();
    }

private:
    std::mutex mutex;
    std::condition_variable wake;
    bool isEnding = false;
    std::thread thread; /* uses the others */
};

using Recipes = ProgramTest;

TEST_F(Recipes, DoWhatTheirPageSays) {
    simulator::Simulator server({.hosts = 2,
                                 .machines = 4,
                                 .taskDurationMs = 0,
                                 .jobs = 2,
                                 .jobDurationMs = 1000,
                                 .frozenClock = true});
    server.RunInThread();
    const Ticking ticking(server);
    setenv("URL", server.Url().c_str(), 1);
    setenv("ORVANE_PROFILE", "lab", 1);
    setenv("ORVANE_PASSWORD", "secret", 1);
    const std::string start = "set -eu\nset -o pipefail\ncd '" + folder.Path() +
                              "'\nPATH=" + BuildPath("bin") + ":$PATH\n";
    const std::vector<Recipe> recipes = ReadRecipes();
    EXPECT_EQ(10u, recipes.size());
    for (const Recipe &recipe : recipes) {
        const Ended ended = Program("/bin/bash", {"-c", start + recipe.commands}).Wait();
        EXPECT_EQ(0, ended.status) << recipe.title;
        EXPECT_EQ("", ended.err) << recipe.title;
        EXPECT_TRUE(!recipe.output.empty() && Matches(ended.out, recipe.output))
            << recipe.title << "\nprints\n"
            << ended.out;
    }
    unsetenv("URL");
    EXPECT_EQ(0, server.NumSessions());
}

} // namespace
