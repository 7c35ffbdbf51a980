// Commands with names that mean nothing or several objects, and those whose service or reader fails: no answer and
// Ctrl-C, half an answer, a refusal, a session that has ended, a pipe that nobody reads, a full disk.
#include <unistd.h>

#include "tests/tools/orvane/serviceFixture.h"
#include "tests/tools/simulator/soapClient.h"

namespace {

using simulator::TroubleKind;
using testing::AnyOf;
using Words = std::vector<std::string>;

struct Trouble : WithSimulator {
    Trouble() : WithSimulator({.machines = 4, .taskDurationMs = 100, .jobs = 1}) {
        folder.Write(
            "overlay.schema",
            "namespace ozy\n\ndata VirtualMachineConfigSpec ...\n  name string? @ozy2/2.0\n");
        setenv("ORVANE_SCHEMA_OVERLAY", folder.Path("overlay.schema").c_str(), 1);
        Program::looksForLeaks = false;
    }

    void ExpectInterrupted(const Words &words, const char *method) {
        server.ResetCounters();
        server.AddTrouble({.kind = TroubleKind::Silent, .method = method, .count = -1});
        Program program("bin/orvane", words, true);
        EXPECT_TRUE(Eventually([&] { return server.NumCalls(method) > 0; }));
        const int terminal = program.OpenTerminal();
        program.Type("\x03");
        EXPECT_TRUE(program.WaitFor("orvane: interrupted\r\n"));
        EXPECT_TRUE(Eventually([&] { return HasEcho(terminal); }));
        close(terminal);
        EXPECT_EQ(130, program.Wait().status);
        EXPECT_EQ(0, server.NumSessions()) << "it has not logged out";
        EndTroubles();
    }

    /* Of the object in the place of "vm-101". */
    static void ExpectBadNames(const Words &words) {
        const struct {
            const char *name;
            const char *text;
        } rows[] = {
            {"/Datacenter/vm/machine-001", "similar: \"/Datacenter/vm/machine-000"},
            {"twin", "2 objects are called \"twin\": /Datacenter/vm/twin (vm-102)"},
            {"a\x1b[31m", "\"a\\x1b[31m\""},
        };
        for (const auto &row : rows) {
            Words changed = words;
            std::ranges::replace(changed, "vm-101", row.name);
            ExpectFailure(Run(changed), 1, {row.text});
        }
    }
};

TEST_F(Trouble, EndsEachCommandAsItShould) {
    const struct {
        Words words;
        const char *method; /* that is not answered, or in half */
        /* names, Ctrl-C, half an answer, refusal, expired session, pipe, full disk; others are tested elsewhere */
        std::string kinds;
    } rows[] = {
        {{"ls", "vm-101"}, "RetrieveProperties", "nchre"},
        {{"get", "vm-101", "-k", "name"}, "RetrieveProperties", "nchrepf"},
        {{"watch", "vm-101"}, "CreateFilter", "nchrepf"},
        {{"call", "ServiceInstance", "CurrentTime"}, "CurrentTime", "hrep"},
        {{"call", "vm-101", "MarkAsTemplate"}, "", "n"},
        {{"set", "vm-101", "name=x", "--no-wait"}, "ReconfigVM_Task", "nchrepf"},
        {{"power", "on", "vm-101"}, "", "n"},
        {{"power", "reset", "--yes", "vm-104"}, "ResetVM_Task", "chre"},
        {{"task", "ls"}, "RetrieveProperties", "chre"},
        {{"task", "cancel", "vm-101"}, "", "n"},
        {{"job", "ls"}, "RetrieveProperties", "chrep"},
        {{"job", "suspend", "job-1"}, "FerryServerJobSuspend", "chre"},
        {{"session", "ls"}, "RetrieveProperties", "chrepf"},
        {{"about", server.Url(), "administrator"}, "RetrieveServiceContent", "chrpf"},
        {{"demo", "--url", server.Url()}, "RetrieveProperties", "hre"},
        {{"completion", "bash"}, "", "pf"},
        {{"config"}, "", "pf"},
        {{"profile", "list"}, "", "pf"},
    };
    Run({"profile", "add", "lab", server.Url(), "administrator"});
    server.SetProperty("vm-102", "name", "twin");
    server.SetProperty("vm-103", "name", "twin");
    for (const auto &row : rows) {
        SCOPED_TRACE(row.words[0]);
        const auto has = [&](char kind) { return row.kinds.find(kind) != std::string::npos; };
        if (has('n'))
            ExpectBadNames(row.words);
        if (has('r')) {
            server.AddTrouble({.kind = TroubleKind::Fault,
                               .method = row.method,
                               .count = -1,
                               .faultType = "NoPermission"});
            ExpectFailure(Run(row.words), 1, {"the user lacks the privilege"});
            EndTroubles();
        }
        if (has('e')) {
            server.AddTrouble({.kind = TroubleKind::ExpireSession, .method = row.method});
            ExpectFailure(Run(row.words), 4, {"NotAuthenticated"});
            EndTroubles();
        }
        if (has('c'))
            ExpectInterrupted(row.words, row.method);
        if (has('h')) {
            server.AddTrouble(
                {.kind = TroubleKind::Drop, .method = row.method, .count = -1, .bytes = 100});
            ExpectFailure(Run(row.words), 3, {});
            EndTroubles();
        }
        if (has('p')) {
            const Ended ended = Run(row.words, false, {.output = "pipe"});
            EXPECT_THAT(ended.status, AnyOf(0, 141, -SIGPIPE));
            EXPECT_EQ("", ended.err);
        }
        if (has('f'))
            ExpectFailure(Run(row.words, false, {.output = "/dev/full"}), 1, {"No space left"});
    }
}

} // namespace
