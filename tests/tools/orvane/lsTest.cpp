// "orvane ls": whole screens, forms of output, paths and names, conditions, and what is wrong with them.
#include <nlohmann/json.hpp>

#include "tests/tools/orvane/serviceFixture.h"

namespace {

using nlohmann::json;
using simulator::TroubleKind;
using testing::HasSubstr;

using Ls = WithSimulator;

TEST_F(Ls, ScreensOfEightyAndFortyColumns) {
    server.SetProperty("vm-102", "name", "\u6f22\u5b57/with a rather long name, longer than that");
    EXPECT_EQ("NAME                          TYPE            POWER    HOST               ID\n"
              "machine-0001                  VirtualMachine           host1.example.com  vm-101\n"
              "machine-0003                  VirtualMachine           host3.example.com  vm-103\n"
              "machine-0004                  VirtualMachine  running  host4.example.com  vm-104\n"
              "\u6f22\u5b57%2fwith a rather long n\u2026  VirtualMachine           "
              "host2.example.com  vm-102\n",
              Screen(80, {"ls", "-l", "/Datacenter/vm"}));
    EXPECT_EQ("NAME\n"
              "  TYPE  POWER  HOST  ID\n"
              "machine-0001\n"
              "  VirtualMachine  host1.example.com\n"
              "  vm-101\n"
              "machine-0003\n"
              "  VirtualMachine  host3.example.com\n"
              "  vm-103\n"
              "machine-0004\n"
              "  VirtualMachine  running\n"
              "  host4.example.com  vm-104\n"
              "\u6f22\u5b57%2fwith a rather long name, longer \u2026\n"
              "  VirtualMachine  host2.example.com\n"
              "  vm-102\n",
              Screen(40, {"ls", "-l", "/Datacenter/vm"}));
    EXPECT_EQ("/Datacenter/host/Cluster 1\n",
              Screen(40, {"ls", "-R", "--type", "ClusterComputeResource"}));
    Program::language = "de_DE.UTF-8";
    EXPECT_THAT(Screen(80, {"ls", "-l", "/"}),
                HasSubstr("NAME        TYP         STATUS  HOST  KENNUNG\n"));
}

TEST_F(Ls, EachFormHasEverything) {
    const Ended asJson = Run({"ls", "-Rl", "--output", "json"});
    const json all = json::parse(asJson.out, nullptr, false);
    ASSERT_EQ(17u, all.size()) << asJson.out;
    EXPECT_EQ(json({{"path", "/Datacenter/vm/machine-0004"},
                    {"name", "machine-0004"},
                    {"type", "VirtualMachine"},
                    {"power", "running"},
                    {"host", "host4.example.com"},
                    {"id", "vm-104"}}),
              all.back());
    EXPECT_EQ(json(), all.front()["power"]);
    EXPECT_EQ("[]\n", Run({"ls", "--type", "Network", "--output", "json"}).out);

    const Ended lines = Run({"ls", "-Rl", "--output", "jsonl"});
    EXPECT_EQ(17, std::ranges::count(lines.out, '\n'));
    EXPECT_EQ(all.back(),
              json::parse(lines.out.substr(lines.out.rfind('\n', lines.out.size() - 2))));
    EXPECT_EQ("/Datacenter/vm/machine-0004\tVirtualMachine\trunning\thost4.example.com\tvm-104\n",
              Run({"--output", "plain", "ls", "-Rl", "--filter", "name == machine-0004"}).out);
    EXPECT_EQ("machine-0004\n", Run({"ls", "vm-104"}).out);
}

TEST_F(Ls, FindsAnEntityByPathIdClassAndName) {
    server.SetProperty("group-h4", "name", "a/b%2fc");
    server.SetProperty("vm-103", "name", "vm-101"); /* an id is stronger than a name */
    const std::pair<const char *, const char *> rows[] = {
        {"/", "/Datacenter"},
        {"//Datacenter///vm/", "/Datacenter/vm/machine-0001"},
        {"/Datacenter/a%2fb%252fc", "/Datacenter/a%2fb%252fc/Cluster 1"},
        {"/Datacenter/a%2fb%252fc/Cluster 1/Resources", ""},
        {"group-v3", "/Datacenter/vm/machine-0001"},
        {"Folder:group-v3", "/Datacenter/vm/machine-0001"},
        {"vm", "/Datacenter/vm/machine-0001"},
        {"vm-101", "/Datacenter/vm/machine-0001"},
        {"machine-0002", "/Datacenter/vm/machine-0002"},
        {"host2.example.com", "/Datacenter/a%2fb%252fc/Cluster 1/host2.example.com"},
    };
    for (const auto &[word, path] : rows) {
        const Ended ended = Run({"ls", "--output", "jsonl", word});
        const std::string first = ended.out.substr(0, ended.out.find('\n'));
        EXPECT_EQ(path, first.empty() ? "" : json::parse(first)["path"]) << word << ended.err;
    }
}

TEST_F(Ls, FiltersByConditions) {
    const struct {
        std::vector<std::string> words;
        const char *names;
    } rows[] = {
        {{"guestHeartbeatStatus == green"}, "machine-0004\n"},
        {{"name ~ MACHINE and name != machine-0001 and guestHeartbeatStatus == gray"},
         "machine-0002\nmachine-0003\n"},
        {{"name == \"machine-0001\" or name>=machine-0004"}, "machine-0001\nmachine-0004\n"},
        {{"effectiveRole[*] < 0.5"}, "machine-0001\nmachine-0002\nmachine-0003\nmachine-0004\n"},
        {{"effectiveRole[#0] <= -2"}, ""},
        {{"snapshot.currentSnapshot == x", "--type", "VirtualMachine"}, ""},
        {{"tag[*].key != x", "--type", "Folder"}, ""},
    };
    for (const auto &row : rows) {
        std::vector<std::string> words = {"ls", "/Datacenter/vm", "--filter"};
        words.insert(words.end(), row.words.begin(), row.words.end());
        const Ended ended = Run(words);
        EXPECT_EQ(row.names, ended.out) << row.words[0] << ended.err;
    }
}

TEST_F(WithOverlay, LsShowsAndFiltersThePowerState) {
    const Ended ended = Run({"ls", "-lR", "--filter",
                             "runtime.powerState == poweredOn and summary.display[*].width > 0"});
    EXPECT_EQ("PATH                         TYPE            POWER      HOST               ID\n"
              "/Datacenter/vm/machine-0004  VirtualMachine  poweredOn  host4.example.com  vm-104\n",
              ended.out)
        << ended.err;
}

TEST_F(Ls, WhatIsWrongIsOneLineThatHelps) {
    server.SetProperty("vm-102", "name", "machine-0001");
    server.SetProperty("vm-103", "name", "\u009b2Jevil\nname");
    const struct {
        std::vector<std::string> words;
        int status;
        std::vector<std::string> texts;
    } rows[] = {
        {{"/Datacenter/vmm"}, 1, {"no object \"/Datacenter/vmm\"; similar: \"/Datacenter/vm\""}},
        {{"/Datacentre/vm"}, 1, {"similar: \"/Datacenter\""}},
        {{"/Datacenter/vm/machine-0004/x"}, 1, {"\"orvane ls -R\" shows"}},
        {{"machine-0005"}, 1, {"similar: \"machine-0001\", "}},
        {{"vm-999"}, 1, {"no object \"vm-999\"", "\"vm-104\""}},
        {{"machine-0001"},
         1,
         {"2 objects are called \"machine-0001\": /Datacenter/vm/machine-0001 (vm-101), "}},
        {{"/Datacenter/vm/a\x1b[31m"}, 1, {"a\\x1b[31m"}},
        {{"\u009b2Jevil nam"}, 1, {"\\u009b2Jevil\\nname"}},
        {{"TaskManager"}, 1, {"is not in the inventory"}},
        {{"--type", "VirtalMachine"}, 2, {"did you mean \"VirtualMachine\"?"}},
        {{"--type", "Task"}, 2, {"no class of objects in the inventory"}},
        {{"--filter", "overallStatus == gren"}, 2, {"\"gren\" is no ", "gray, green"}},
        {{"--filter", "configLocked == maybe"}, 2, {"there are: true, false"}},
        {{"--filter", "effectiveRole[*] > abc"}, 2, {"\"abc\" is no int"}},
        {{"--filter", "nme == x"}, 2, {"no property \"nme\"; similar: name"}},
        {{"--filter", "runtime.powerState == x"}, 2, {"orvane schema import"}},
        {{"--filter", "name.x == y"}, 2, {"\"x\" is in no object"}},
        {{"--filter", "name[ == y"}, 2, {"no condition"}},
        {{"--filter", "name = y"}, 2, {"no condition"}},
        {{"--filter", "name == y and"}, 2, {"no condition"}},
        {{"--filter", "name == \"y"}, 2, {"no condition"}},
        {{"--url", "http://127.0.0.1:1/sdk", "--user", "x"}, 3, {"no service answers"}},
        {{"--user", "administrator", "--password", "x"}, 4, {"InvalidLogin"}},
        {{"--wire", "/no/such/file"}, 1, {"--wire /no/such/file: No such file"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.words.back());
        const Ended ended = Run("ls", row.words);
        EXPECT_EQ("", ended.out);
        ExpectFailure(ended, row.status, row.texts);
    }
    unsetenv("ORVANE_URL");
    ExpectFailure(Run({"ls"}), 2, {"--profile NAME"});
}

TEST_F(Ls, ASessionThatEndsAndAServiceThatDiesEndIt) {
    const struct {
        simulator::Trouble trouble;
        int status;
        const char *text;
    } rows[] = {
        {{.kind = TroubleKind::ExpireSession, .method = "RetrieveProperties"}, 4, "try again"},
        {{.kind = TroubleKind::Reset, .method = "RetrieveProperties", .count = -1},
         3,
         "no usable answer"},
        {{.kind = TroubleKind::Drop, .method = "RetrieveProperties", .count = -1, .bytes = 700},
         3,
         ""},
        {{.kind = TroubleKind::Silent, .method = "RetrieveProperties", .count = -1},
         6,
         "no answer within 1 s"},
        {{.kind = TroubleKind::Fault, .method = "RetrieveProperties", .faultType = "NoPermission"},
         1,
         "the user lacks the privilege"},
    };
    for (const auto &row : rows) {
        server.AddTrouble(row.trouble);
        ExpectFailure(Run({"ls", "--timeout", "1"}), row.status, {row.text});
        EndTroubles();
    }
    server.DenyProperty("VirtualMachine", "name");
    EXPECT_EQ("\n\n\n\n", Run({"ls", "/Datacenter/vm"}).out);
}

TEST_F(Ls, OutputThatNobodyReadsIsNoFailureAndAFullDiskIs) {
    ExpectFailure(Run({"ls"}, false, {.output = "/dev/full"}), 1, {"No space left"});
    const Ended ended = Run({"ls", "-R"}, false, {.output = "pipe"});
    EXPECT_EQ(141, ended.status);
    EXPECT_EQ("", ended.err);
}

TEST_F(Ls, WritesWhatIsSentWithoutThePassword) {
    EXPECT_EQ(0, Run({"ls", "--wire", folder.Path("wire")}).status);
    const std::string text = folder.Read("wire");
    EXPECT_THAT(text, HasSubstr("> RetrieveProperties "));
    EXPECT_THAT(text, HasSubstr("> Logout "));
    EXPECT_THAT(text, testing::Not(HasSubstr("secret")));
}

} // namespace
