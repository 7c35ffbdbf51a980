// "orvane completion" and what its scripts call.
#include <chrono>

#include "tests/tools/orvane/serviceFixture.h"

namespace {

/* With a profile "lab", and a machine whose name no terminal must show. */
struct OrvaneCompletion : ProgramTest {
    OrvaneCompletion() : server({.machines = 2, .jobs = 1}) {
        server.RunInThread();
        server.SetProperty("vm-102", "name", "machine\u009b2J");
        setenv("ORVANE_PASSWORD", "secret", 1);
        folder.Write("overlay.schema", R"(namespace ozy

data VirtualMachineConfigSpec ...
  name       string?            @ozy2/2.0
  isWatched  boolean?           @ozy2/2.0
  display    DisplayOfTest?     @ozy2/2.0

data DisplayOfTest : DynamicData  @ozy2/2.0
  size       SizeOfTest

data Tag ...
  key        string             @ozy2/2.0

enum SizeOfTest
  low medium high
)");
        setenv("ORVANE_SCHEMA_OVERLAY", folder.Path("overlay.schema").c_str(), 1);
        Run({"profile", "add", "lab", server.Url(), "administrator"});
    }

    static std::string Complete(const std::vector<std::string> &words) {
        std::vector<std::string> arguments = {"complete", "--"};
        arguments.insert(arguments.end(), words.begin(), words.end());
        const Ended ended = Run(arguments);
        EXPECT_EQ(0, ended.status);
        EXPECT_EQ("", ended.err);
        return ended.out;
    }

    simulator::Simulator server;
};

TEST_F(OrvaneCompletion, FindsTheWordsThatFit) {
    const struct {
        std::vector<std::string> words;
        const char *found;
    } rows[] = {
        {{"jo"}, "job\n"},
        {{"--color", "never", "prof"}, "profile\n"},
        {{"nonsense", "jo"}, ""},
        {{"complet"}, "completion\n"},
        {{"ls", "--prof"}, "--profile\n"},
        {{"ls", "--no-such", "x", "--prof"}, "--profile\n"},
        {{"ls", "--profile", "l"}, "lab\n"},
        {{"ls", "--profile=l"}, "--profile=lab\n"},
        {{"--output", "json"}, "json\njsonl\n"},
        {{"profile", "remove", ""}, "lab\n"},
        {{"profile", "add", ""}, ""},
        {{"completion", ""}, "bash\nfish\nzsh\n"},
        {{"ls", "--profile", "lab", ""}, "/Datacenter/\n"},
        {{"ls", "--profile", "lab", "/Datacenter/vm/"}, "/Datacenter/vm/machine-0001\n"},
        {{"ls", "--profile", "lab", "/Datacentre/"}, ""},
        {{"ls", "--profile", "none", "/"}, ""},
        {{"job", "cancel", "--profile", "lab", ""}, "conversion-0001\njob-1\n"},
        {{"task", "cancel", "--profile", "lab", ""}, "task-1\n"},
        {{"call", "--profile", "lab", "vm-101", "PowerO"}, "PowerOffVM_Task\nPowerOnVM_Task\n"},
        {{"call", "--profile", "lab", "group-v3", "PowerO"}, ""},
        {{"call", "PowerIsOn", "PowerOnV"}, "PowerOnVM_Task\n"},
        {{"call", "--profile", "lab", "vm-101", "SetScreenResolution", "width=1", ""}, "height=\n"},
        {{"call", "vm-101", "SetScreenResolution", "w"}, "width=\n"},
        {{"call", "vm-101", "CreateSnapshot_Task", "memory=t"}, "memory=true\n"},
        {{"call", "vm-101", "CreateSnapshot_Task", "name=t"}, ""},
        {{"get", "--profile", "lab", "vm-101", "-k", "ta"}, "tag\ntag[*].\n"},
        {{"get", "--profile", "lab", "group-v3", "-k", "tag[*].k"}, "tag[*].key\n"},
        {{"get", "--profile", "lab", "group-v3", "-k", "guestH"}, ""},
        {{"get", "--profile", "lab", "group-v3", "-k", "parent."}, ""},
        {{"get", "--property=guestH"}, "--property=guestHeartbeatStatus\n"},
        {{"watch", "--profile", "lab", "group-v3", "-k", "guestH"}, "guestHeartbeatStatus\n"},
        {{"watch", "--type", "HostSystem", "-k", "guestH"}, ""},
        {{"set", "--profile", "lab", "vm-101", "name=a", ""}, "isWatched=\ndisplay=\n"},
        {{"set", "--profile", "lab", "vm-101", "isWatched="}, "isWatched=false\nisWatched=true\n"},
        {{"set", "--profile", "lab", "vm-101", "d"}, "display=\ndisplay.\n"},
        {{"set", "--profile", "lab", "vm-101", "display."}, "display.size=\n"},
        {{"set", "--profile", "lab", "vm-101", "display.size=m"}, "display.size=medium\n"},
        {{"set", "--profile", "lab", "group-v3", ""}, ""},
    };
    Run({"call", "--profile", "lab", "vm-101", "PowerOnVM_Task", "--no-wait"});
    for (const auto &row : rows) {
        std::string found;
        int numTries = 0;
        do /* a slow machine is not in time */
            found = Complete(row.words);
        while (found != row.found && ++numTries < 20);
        EXPECT_EQ(row.found, found) << testing::PrintToString(row.words);
    }
}

TEST_F(OrvaneCompletion, WaitsForNoServiceAndAsksNothing) {
    const std::vector<std::string> words = {"ls", "--profile", "lab", "/"};
    unsetenv("ORVANE_PASSWORD");
    EXPECT_EQ("", Complete(words));
    EXPECT_EQ(0, server.NumCalls("Login"));
    setenv("ORVANE_PASSWORD", "secret", 1);
    Program::looksForLeaks = false; /* that takes its time */
    const struct {
        std::vector<std::string> words;
        const char *found;
    } rows[] = {
        {words, ""},
        {{"call", "--profile", "lab", "group-v3", "PowerOnV"}, "PowerOnVM_Task\n"},
    };
    for (const auto &row : rows) {
        server.AddTrouble({.kind = simulator::TroubleKind::Silent, .method = "RetrieveProperties"});
        const auto before = std::chrono::steady_clock::now();
        EXPECT_EQ(row.found, Complete(row.words));
        EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(1900))
            << "the time limit of its calls is two seconds";
    }
}

TEST_F(OrvaneCompletion, IsAScriptThatQuotesWhatItFinds) {
    constexpr char kScript[] = R"script(
set -u
eval "$("$0" completion bash)"
complete_last() {
    COMP_LINE="$0 ls --profile=lab $1${2-}" COMPREPLY=()
    COMP_WORDS=("$0" ls --profile = lab "$1" ${2:+"$2"}) # split as bash does it
    COMP_CWORD=$(( ${#COMP_WORDS[@]} - 1 ))
    for (( try = 0; try < 20 && ${#COMPREPLY[@]} == 0; try++ )); do # a slow machine is not in time
        _orvane "$0" 2>/dev/null
    done
    printf '%s|' "${COMPREPLY[@]}"
}
complete_last '/Datacenter/host/Clu'
complete_last '/Datacenter/host/Cluster\ 1/Re'
complete_last "'/Datacenter/host/Cluster 1/Re"
complete_last /Datacenter/vm/a :
complete_last '"/Datacenter/vm/\$'
complete_last "'/Datacenter/vm/\$"
complete_last "'/Datacenter/vm/\$a'\\''b"
)script";
    server.SetProperty("vm-101", "name", "a:b");
    server.SetProperty("vm-102", "name", "$a'b\"!c");
    const Ended ended = Program("/bin/bash", {"-c", kScript, BuildPath("bin/orvane")}).Wait();
    EXPECT_EQ("/Datacenter/host/Cluster\\ 1/|/Datacenter/host/Cluster\\ 1/Resources/|"
              "/Datacenter/host/Cluster 1/Resources/|b|"
              R"(/Datacenter/vm/\$a'b\""'!'"c|/Datacenter/vm/$a'\''b"!c|b"!c|)",
              ended.out);
    EXPECT_EQ("", ended.err);
}

} // namespace
