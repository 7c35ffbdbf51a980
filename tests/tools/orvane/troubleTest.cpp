// Commands whose service or reader fails: no answer and Ctrl-C, half an answer, a pipe that nobody reads, a full disk.
#include <unistd.h>

#include "tests/tools/orvane/serviceFixture.h"
#include "tests/tools/simulator/soapClient.h"

namespace {

using simulator::TroubleKind;
using testing::AnyOf;
using Words = std::vector<std::string>;

struct Trouble : WithSimulator {
    Trouble() : WithSimulator({.machines = 4, .taskDurationMs = 100}) {
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
};

TEST_F(Trouble, EndsEachCommandAsItShould) {
    const struct {
        Words words;
        const char *method; /* that is not answered, or in half */
        std::string
            kinds; /* Ctrl-C, half an answer, pipe, full disk; others are tested elsewhere */
    } rows[] = {
        {{"ls"}, "RetrieveProperties", "ch"},
        {{"get", "vm-101", "-k", "name"}, "RetrieveProperties", "chpf"},
        {{"watch", "vm-101"}, "CreateFilter", "chpf"},
        {{"call", "ServiceInstance", "CurrentTime"}, "CurrentTime", "hp"},
        {{"set", "vm-101", "name=x", "--no-wait"}, "ReconfigVM_Task", "chpf"},
        {{"power", "reset", "--yes", "vm-104"}, "ResetVM_Task", "ch"},
        {{"task", "ls"}, "RetrieveProperties", "ch"},
        {{"job", "ls"}, "RetrieveProperties", "chp"},
        {{"session", "ls"}, "RetrieveProperties", "chpf"},
        {{"about", server.Url(), "administrator"}, "RetrieveServiceContent", "chpf"},
        {{"completion", "bash"}, "", "pf"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.words[0]);
        const auto has = [&](char kind) { return row.kinds.find(kind) != std::string::npos; };
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
