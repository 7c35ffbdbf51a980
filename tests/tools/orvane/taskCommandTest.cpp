// "orvane power" and "orvane task": several machines at the same time, bars, and tasks that go on without the program.
#include <regex>

#include <nlohmann/json.hpp>

#include "tests/tools/orvane/serviceFixture.h"
#include "tests/tools/simulator/soapClient.h"

namespace {

using nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using Words = std::vector<std::string>;

/* The lines of a terminal after it has shown a text with movements of the cursor to the left and up. */
std::string Shown(const std::string &written) {
    std::vector<std::string> lines(1);
    for (size_t i = 0; i < written.size(); i++) {
        std::smatch code;
        const std::string rest = written.substr(i, 16);
        if (written[i] == '\n') {
            lines.emplace_back();
        } else if (std::regex_search(rest, code, std::regex("^\033\\[([0-9;]*)([A-Za-z])"))) {
            if (code[2] == "A")
                lines.resize(lines.size() - std::stoul(code[1]));
            if (code[2] == "J")
                lines.back().clear();
            i += code.length() - 1;
        } else if (written[i] != '\r') {
            lines.back() += written[i];
        }
    }
    std::string all;
    for (const std::string &line : lines)
        all += line + (&line == &lines.back() ? "" : "\n");
    return all;
}

struct Tasks : WithSimulator {
    explicit Tasks(int taskMs = 300) : WithSimulator({.machines = 5, .taskDurationMs = taskMs}) {
        Program::looksForLeaks = false;
    }
    void ExpectTaskStates(const Words &states) {
        const json all = json::parse(Run({"task", "ls", "--output", "json"}).out, nullptr, false);
        ASSERT_EQ(states.size(), all.size()) << all.dump();
        for (size_t i = 0; i < states.size(); i++)
            EXPECT_EQ(states[i], all[i]["state"]) << i;
    }
};

TEST_F(Tasks, PowerHasALineForEachMachine) {
    const Ended on = Run({"power", "on", "--parallel", "2", "vm-101", "vm-104", "vm-102"});
    EXPECT_EQ(1, on.status);
    EXPECT_THAT(on.out, AllOf(HasSubstr("vm-101  done\n"), HasSubstr("vm-104  failed\n"),
                              HasSubstr("vm-102  done\n")));
    EXPECT_EQ(3, std::ranges::count(on.out, '\n'));
    EXPECT_THAT(on.err, testing::StartsWith("orvane: vm-104: InvalidPowerState: "));
    const Ended lines =
        Run({"power", "suspend", "/Datacenter/vm/machine-0001", "--output", "jsonl"});
    EXPECT_EQ(json({{"name", "/Datacenter/vm/machine-0001"},
                    {"task", "task-4"},
                    {"result", "done"},
                    {"error", nullptr}}),
              json::parse(lines.out, nullptr, false));
    EXPECT_EQ("", Run({"power", "off", "vm-102", "--yes", "-q"}).out);
    ExpectTaskStates({"success", "error", "success", "success", "success"});
}

TEST_F(Tasks, NothingIsSwitchedIfOneIsWrongOrNobodyIsSure) {
    const std::pair<Words, const char *> rows[] = {
        {{"power", "on", "vm-101", "vm-99"}, "there is no object \"vm-99\""},
        {{"power", "on", "vm-101", "group-v3"}, "Folder has no method"},
        {{"power", "off", "vm-104"}, "power off needs --yes where nobody can be asked"},
        {{"power", "reset", "vm-104"}, "--yes"},
    };
    for (const auto &[words, text] : rows)
        ExpectFailure(Run(words), Run(words).status, {text});
    setenv("TERM", "xterm", 1);
    Program off("bin/orvane", {"--no-color", "power", "off", "vm-104"}, true);
    EXPECT_TRUE(off.WaitFor("  vm-104\r\nSwitch them off: yes or no?"));
    off.Type("no\n");
    const Ended ended = off.Wait();
    EXPECT_EQ(1, ended.status);
    EXPECT_THAT(ended.out, EndsWith("orvane: nothing was done\r\n"));
    EXPECT_EQ(0, server.NumCalls("PowerOnVM_Task") + server.NumCalls("PowerOffVM_Task"));
}

TEST_F(Tasks, BarsGiveWayToLinesOnATerminal) {
    setenv("TERM", "xterm", 1);
    for (const int columns : {80, 24}) {
        SCOPED_TRACE(columns);
        Program::columns = columns;
        const Words words = {"power", columns == 80 ? "on" : "suspend", "vm-101", "vm-102"};
        const std::string written = Run(words, true).out;
        const std::string first = Shown(written.substr(0, written.find("A\r\033[J") - 3));
        const std::string bar =
            "(\u2588|\u2591){" + std::to_string(columns == 80 ? 30 : 9) + "} +[0-9]+ %\n";
        EXPECT_THAT(first, MatchesRegex("vm-101  " + bar + "(vm-102  " + bar + ")?"));
        EXPECT_THAT(written, HasSubstr("A\r\033[J"));
        const std::string last = Shown(written);
        EXPECT_EQ("vm-101  done\nvm-102  done\n", last);
        for (const char *code : {"\033[?", "\007"})
            EXPECT_THAT(written, Not(HasSubstr(code)));
    }
}

TEST_F(Tasks, AreListedShownAndWaitedFor) {
    const Ended started = Run({"power", "on", "vm-101", "vm-102", "--no-wait"});
    EXPECT_EQ("vm-101  task-1\nvm-102  task-2\n", started.out);
    EXPECT_EQ("task-1  done\n", Run({"task", "wait", "task-1"}).out);
    server.FailTasks("PowerOffVM_Task", "SystemError");
    EXPECT_EQ("task-3\n", Run({"call", "vm-101", "PowerOffVM_Task", "--no-wait"}).out);
    const Ended failed = Run({"task", "wait", "task-3", "task-2"});
    EXPECT_EQ(1, failed.status);
    EXPECT_THAT(failed.out, AllOf(HasSubstr("task-2  done\n"), HasSubstr("task-3  failed\n")));
    EXPECT_THAT(failed.err, testing::StartsWith("orvane: task-3: SystemError: "));
    ExpectTaskStates({"success", "success", "error"});
    const Ended shown = Run({"task", "show", "task-3", "--output", "plain"});
    EXPECT_THAT(shown.out, AllOf(HasSubstr("entityName\tmachine-0001\n"),
                                 HasSubstr("state\terror\n"), HasSubstr("error\tSystemError: ")));
    const json all = json::parse(Run({"task", "show", "task-1", "--output", "json"}).out);
    EXPECT_EQ("VirtualMachine.PowerOnVM", all[0]["descriptionId"]);
    ExpectFailure(Run({"task", "wait", "vm-101"}), 2,
                  {"\"vm-101\" is a VirtualMachine, not a task"});
    ExpectFailure(Run({"task", "show", "task-9"}), 1, {"there is no object \"task-9\""});
    EXPECT_THAT(Screen(80, {"task", "ls"}),
                MatchesRegex("TASK    STATE      %  WHAT                     OBJECT        QUEUED\n"
                             "task-1  success  100  VirtualMachine.Power.*  machine-0001  "
                             "20[0-9-]+ [0-9:]+\n(.|\n)*"));
}

TEST_F(Tasks, NarrowGermanAndPipedOutput) {
    EXPECT_EQ("", Screen(40, {"task", "ls"})); /* there are none */
    Program::language = "de_DE.UTF-8";
    EXPECT_EQ("vm-101  fertig\n", Run({"power", "on", "vm-101"}).out);
    EXPECT_THAT(Screen(40, {"task", "ls"}),
                MatchesRegex("AUFGABE\n  ZUSTAND  %  WAS  OBJEKT  ANGELEGT\ntask-1\n"
                             "  success  100  VirtualMachine.PowerOnVM\n"
                             "  machine-0001  20[0-9-]+ [0-9:]+\n"));
    const Ended failed = Run({"power", "on", "vm-101"});
    EXPECT_EQ("vm-101  gescheitert\n", failed.out);
    ExpectFailure(Run({"power", "off", "vm-101"}), 2, {"power off braucht --yes"});
    setenv("TERM", "dumb", 1);
    EXPECT_EQ("vm-102  fertig\r\n", Run({"power", "on", "vm-102"}, true).out);
    const std::pair<Words, Words> rows[] = {
        {{"task", "ls"}, {"task", "ls"}},
        {{"power", "suspend", "vm-102"}, {"power", "on", "vm-102"}},
    };
    for (const auto &[unread, full] : rows) {
        EXPECT_EQ(141, Run(unread, false, {.output = "pipe"}).status);
        ExpectFailure(Run(full, false, {.output = "/dev/full"}), 1, {"No space left"});
    }
}

TEST_F(Tasks, ADryRunOfPowerShowsTheRequestsAndAsksNothing) {
    const Words words = {"power", "off", "vm-101", "machine-0002", "--dry-run"};
    EXPECT_THAT(Run(words).out, testing::ContainsRegex("<PowerOffVM_Task (.|\n)*>vm-101<(.|\n)*"
                                                       "<PowerOffVM_Task (.|\n)*>vm-102<"));
    Words asJson = words;
    asJson.insert(asJson.end(), {"--output", "json"});
    const json all = json::parse(Run(asJson).out, nullptr, false);
    ASSERT_EQ(2u, all.size());
    EXPECT_EQ("machine-0002", all[1]["name"]);
    EXPECT_THAT(all[1]["request"].get<std::string>(), HasSubstr(">vm-102<"));
    EXPECT_EQ(0, server.NumCalls("PowerOffVM_Task"));
}

/* Foreign names do not reach the terminal as they are. */
TEST_F(Tasks, ANameWithEscapeSequences) {
    server.SetProperty("vm-101", "name", "a\u009b31mb\u202e");
    const Ended on = Run({"power", "on", "a\u009b31mb\u202e"});
    EXPECT_EQ(0, on.status) << on.err;
    const std::string all = on.out + Screen(80, {"task", "ls"}) +
                            Run({"task", "show", "task-1"}).out +
                            Run({"task", "show", "task-1", "--output", "json"}).out;
    for (const char *raw : {"\u009b", "\u202e", "\033"})
        EXPECT_THAT(all, Not(HasSubstr(raw)));
}

struct LongTasks : Tasks {
    LongTasks() : Tasks(60000) {}
};

TEST_F(LongTasks, GoOnAfterTheProgramAndAreCancelled) {
    ExpectFailure(Run({"call", "vm-101", "PowerOnVM_Task", "--timeout", "1"}), 6,
                  {"the task has not ended within 1 s; the service goes on with it: "
                   "\"orvane task wait task-1\""});
    Program power("bin/orvane", {"power", "on", "vm-102", "vm-103", "--parallel", "1"}, true);
    EXPECT_TRUE(Eventually([&] { return server.NumCalls("PowerOnVM_Task") == 2; }));
    EXPECT_TRUE(Eventually([&] { return server.NumCalls("WaitForUpdatesEx") >= 4; }));
    power.Type("\x03");
    const Ended ended = power.Wait();
    EXPECT_EQ(130, ended.status);
    EXPECT_THAT(ended.out, EndsWith("orvane: interrupted; the service goes on with it: \"orvane "
                                    "task wait task-2\"\r\n"));
    EXPECT_EQ("task-1  is being cancelled\n", Run({"task", "cancel", "task-1"}).out);
    ExpectFailure(Run({"task", "wait", "task-1", "-q"}), 1, {"task-1: the task was cancelled"});
}

TEST_F(LongTasks, AServiceThatIsGoneAndASessionThatHasEnded) {
    const struct {
        std::function<void()> trouble;
        int status;
    } rows[] = {
        {[&] { server.ExpireSessions(); }, 4},
        {[&] {
             server.SetListening(false);
             server.ResetConnections();
         },
         3},
    };
    for (const auto &row : rows) {
        for (const Words &words :
             {Words{"call", "vm-101", "PowerOnVM_Task"}, Words{"task", "wait", "task-1"}}) {
            server.SetListening(true);
            server.ResetCounters();
            Program program("bin/orvane", words);
            EXPECT_TRUE(Eventually([&] { return server.NumCalls("WaitForUpdatesEx") >= 3; }));
            row.trouble();
            const Ended ended = program.Wait();
            EXPECT_EQ(row.status, ended.status) << ended.err;
            EXPECT_EQ(1, std::ranges::count(ended.err, '\n')) << ended.err;
            EXPECT_THAT(ended.err, HasSubstr("goes on with it: \"orvane task wait task-"));
        }
    }
    server.SetListening(true);
    server.ExpireSessions();
}

} // namespace
