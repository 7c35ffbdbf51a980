// "orvane job" and "orvane session", as a user runs them.
#include <thread>

#include <nlohmann/json.hpp>

#include "tests/tools/orvane/serviceFixture.h"

namespace {

using simulator::TroubleKind;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

struct OrvaneJobs : WithSimulator {
    OrvaneJobs()
        : WithSimulator({.machines = 1, .jobs = 3, .jobDurationMs = 1000, .frozenClock = true}) {
        server.Advance(420);
    }
};

TEST_F(OrvaneJobs, AreListedShownAndCancelled) {
    EXPECT_EQ("NAME             STATE   TASK     PROGRESS  ID\n"
              "conversion-0001  active  running        42  job-1\n"
              "conversion-0002  active  running        42  job-2\n"
              "conversion-0003  active  running        42  job-3\n",
              Run({"job", "ls"}).out);
    const Ended cancelled = Run({"job", "cancel", "job-1", "conversion-0003"});
    EXPECT_EQ(0, cancelled.status) << cancelled.err;
    EXPECT_EQ("conversion-0001 (job-1): cancelled\nconversion-0003 (job-3): cancelled\n",
              cancelled.out);
    EXPECT_EQ("conversion-0001\tdeactivated\terror\t42\tjob-1\n"
              "conversion-0002\tactive\trunning\t42\tjob-2\n"
              "conversion-0003\tdeactivated\terror\t42\tjob-3\n",
              Run({"job", "ls", "--output", "plain"}).out);
    EXPECT_THAT(Run({"job", "show", "job-1"}).out,
                MatchesRegex("NAME +conversion-0001\nSTATE +deactivated\nTASK +error\n"
                             "PROGRESS +42\nSTATUS +red\nCREATED .*\nSTARTED .*\nENDED .*\n"
                             "ID +job-1\nERROR +RequestCanceled: The job was cancelled.\n"));
    const auto shown = nlohmann::json::parse(Run({"job", "show", "--output", "json"}).out);
    ASSERT_EQ(3u, shown.size());
    EXPECT_EQ(42, shown[1]["progress"]);
    EXPECT_EQ(nullptr, shown[1]["error"]);
    EXPECT_THAT(shown[1]["created"], MatchesRegex("20..-.*T.*Z"));
}

TEST_F(OrvaneJobs, AreSuspendedAndGoOn) {
    const struct {
        const char *change;
        const char *out;
        const char *state;
    } rows[] = {
        {"suspend", "conversion-0001 (job-1): suspended\n", "suspended"},
        {"resume", "conversion-0001 (job-1): resumed\n", "active"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(row.out, Run({"job", row.change, "conversion-0001"}).out);
        EXPECT_EQ(row.state, server.Property("job-1", "info.state"));
        ExpectFailure(Run({"job", row.change, "job-1"}), 1, {"job job-1: InvalidState"});
    }
}

TEST_F(OrvaneJobs, ThatCannotBeCancelledDoNotKeepTheOthersFromIt) {
    server.Advance(1000);
    server.SetProperty("job-2", "name", "twin\u009b2J");
    const Ended ended = Run({"job", "cancel", "job-1", "twin\u009b2J"});
    EXPECT_EQ(1, ended.status);
    EXPECT_EQ("orvane: cancelling job job-1: InvalidState: The job has ended.\n"
              "orvane: cancelling job job-2: InvalidState: The job has ended.\n",
              ended.err);
    EXPECT_THAT(Run({"job", "ls"}).out, HasSubstr("twin\\u009b2J"));
}

TEST_F(OrvaneJobs, AreRefusedWithAReason) {
    server.SetProperty("job-2", "name", "twin");
    server.SetProperty("job-3", "name", "twin");
    const struct {
        const char *user;
        std::vector<std::string> arguments;
        simulator::Trouble trouble;
        int status;
        const char *message;
    } rows[] = {
        {"administrator",
         {"cancel", "conversion-0010"},
         {},
         1,
         "there is no job \"conversion-0010\"; similar: \"conversion-0001\""},
        {"administrator", {"cancel", "a\033[2Jb"}, {}, 1, "there is no job \"a\\x1b[2Jb\""},
        {"administrator",
         {"cancel", "twin"},
         {},
         1,
         "2 jobs are called \"twin\": job-2, job-3; name one by its id"},
        {"observer", {"cancel", "job-1"}, {}, 1, "NoPermission"},
        {"administrator",
         {"cancel", "job-1"},
         {.kind = TroubleKind::ExpireSession, .method = "FerryServerJobStop"},
         4,
         "NotAuthenticated"},
        {"administrator",
         {"ls"},
         {.kind = TroubleKind::Reset, .method = "RetrieveProperties"},
         3,
         "reading the jobs"},
        {"administrator", {"cancel"}, {}, 2, "job is required"},
        {"administrator", {"lss"}, {}, 2, "did you mean \"ls\"?"},
    };
    for (const auto &row : rows) {
        setenv("ORVANE_USER", row.user, 1);
        if (!row.trouble.method.empty())
            server.AddTrouble(row.trouble);
        ExpectFailure(Run("job", row.arguments), row.status, {row.message});
        EndTroubles();
    }
    EXPECT_EQ("running", server.Property("job-1", "info.lastTask.state"));
}

TEST_F(OrvaneJobs, AreWrittenWhereverThereIsRoom) {
    ExpectFailure(Run({"job", "ls"}, false, {.output = "/dev/full"}), 1,
                  {"the output cannot be written"});
    Program::language = "de_DE.UTF-8";
    EXPECT_THAT(Run({"job", "ls", "--quiet"}).out, testing::StartsWith("conversion-0001  active"));
    EXPECT_THAT(Run({"job", "ls"}).out, HasSubstr("FORTSCHRITT  KENNUNG\n"));
}

TEST_F(OrvaneJobs, AreNotThereAtTheMainService) {
    setenv("ORVANE_URL", (server.Url() + "/").c_str(), 1);
    EXPECT_EQ(3, Run({"job", "ls"}).status);
}

TEST_F(OrvaneJobs, AreWatchedToTheirEndWithALineForEachChange) {
    Program watch("bin/orvane", {"job", "watch", "job-1", "conversion-0002"});
    ASSERT_TRUE(watch.WaitFor("\"id\": \"job-2\""));
    server.Advance(10);
    ASSERT_TRUE(watch.WaitFor("{\"id\": \"job-1\", \"name\": \"conversion-0001\", \"state\": "
                              "\"active\", \"task\": \"running\", \"progress\": 43}\n"));
    EXPECT_THAT(watch.Output(), Not(HasSubstr("job-3")));
    Run({"job", "cancel", "job-2"});
    ASSERT_TRUE(watch.WaitFor("\"task\": \"error\""));
    server.Advance(1000);
    const Ended ended = watch.Wait();
    EXPECT_THAT(ended.out, HasSubstr("\"task\": \"success\", \"progress\": 100}"));
    EXPECT_EQ(1, ended.status);
    EXPECT_EQ("orvane: 1 of 2 jobs failed\n", ended.err);
}

TEST_F(OrvaneJobs, AreWatchedOnATerminalAndInterrupted) {
    setenv("TERM", "xterm", 1);
    Program watch("bin/orvane", {"job", "watch"}, true);
    ASSERT_TRUE(watch.WaitFor("42 %"));
    server.Advance(10);
    ASSERT_TRUE(watch.WaitFor("43 %"));
    EXPECT_THAT(watch.Output(), HasSubstr("conversion-0003  "));
    {
        const std::jthread changes([this](const std::stop_token &stop) {
            for (int i = 0; !stop.stop_requested(); i++)
                server.SetProperty("job-3", "name", "changed-" + std::to_string(i));
        });
        EXPECT_TRUE(watch.WaitFor("changed-")) << "changes without a pause hide all of them";
    }
    watch.Interrupt();
    const Ended ended = watch.Wait();
    EXPECT_EQ(130, ended.status);
    EXPECT_THAT(ended.out, EndsWith("\r\033[Jorvane: interrupted\r\n")) << "in place of the bars";
    server.Advance(1000);
    const Ended over = Run({"job", "watch"}, true);
    EXPECT_EQ(0, over.status);
    EXPECT_THAT(over.out, HasSubstr("conversion-0002  \033[32mdone"));
}

TEST_F(OrvaneJobs, AreNotWatchedWithoutTheService) {
    const std::function<void()> losses[] = {
        [&] { server.ExpireSessions(); },
        [&] {
            server.SetListening(false);
            server.ResetConnections();
        },
    };
    for (const auto &lose : losses) {
        Program watch("bin/orvane", {"job", "watch", "--output", "plain"});
        ASSERT_TRUE(watch.WaitFor("job-3\tconversion-0003\tactive\trunning\t42\n"));
        lose();
        const Ended ended = watch.Wait();
        EXPECT_EQ(3, ended.status);
        EXPECT_EQ("orvane: the connection to the service is lost; try again\n", ended.err);
    }
    server.SetListening(true);
    server.ExpireSessions();
}

TEST_F(OrvaneJobs, SessionsAreListedWithoutTheirKeys) {
    const Ended table = Run({"session", "ls"});
    EXPECT_THAT(table.out,
                MatchesRegex("USER +OWN +NAME +ADDRESS +LOGIN +ACTIVE +CALLS +AGENT\n"
                             "administrator +\\* +Simulated administrator +127.0.0.1 .*\n"));
    for (const bool isFerry : {false, true}) {
        std::vector<std::string> arguments = {"session", "ls", "--output", "jsonl"};
        if (isFerry)
            arguments.emplace_back("--ferry");
        const auto session = nlohmann::json::parse(Run(arguments).out);
        EXPECT_EQ("administrator", session["user"]);
        EXPECT_EQ(true, session["own"]);
        EXPECT_EQ(isFerry, session["calls"].is_null());
        EXPECT_FALSE(session.contains("key"));
    }
    server.DenyProperty("SessionManager", "sessionList");
    ExpectFailure(Run({"session", "ls"}), 1, {"the service does not tell who is logged in\n"});
}

} // namespace
