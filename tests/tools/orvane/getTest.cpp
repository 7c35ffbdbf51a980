// "orvane get": tables and JSON of whole objects and of chosen properties, and what cannot be read.
#include <nlohmann/json.hpp>

#include "tests/tools/orvane/serviceFixture.h"
#include "tools/orvane/objectReader.h"

namespace {

using nlohmann::json;
using simulator::TroubleKind;
using testing::HasSubstr;

struct Get : WithSimulator {
    Get() : WithSimulator({.machines = 4, .jobs = 1}) {}
};

TEST_F(Get, ScreensOfWholeObjectsAndOfProperties) {
    const std::vector<std::string> wanted = {
        "get",       "vm-104", "/Datacenter/vm/machine-0001", "-k",
        "name",      "-k",     "guestHeartbeatStatus",        "-k",
        "network[*]"};
    EXPECT_EQ("OBJECT                name          guestHeartbeatStatus  network[*]\n"
              "vm-104                machine-0004  green                 Network:network-12\n"
              "\u2026ter/vm/machine-0001  machine-0001  gray                  Network:network-12\n",
              Screen(76, wanted));
    EXPECT_EQ("OBJECT\n"
              "  name  guestHeartbeatStatus  network[*]\n"
              "vm-104\n"
              "  machine-0004  green\n"
              "  Network:network-12\n"
              "/Datacenter/vm/machine-0001\n"
              "  machine-0001  gray  Network:network-12\n",
              Screen(40, wanted));
    EXPECT_THAT(Screen(40, {"get", "host-9"}),
                AllOf(HasSubstr("host-9  HostSystem:host-9\n"
                                "parent               ClusterComputeReso\u2026\n"
                                "overallStatus        green\n"),
                      HasSubstr("name                 host1.example.com\n")));
    EXPECT_THAT(Run({"get", "ServiceInstance"}).out,
                HasSubstr("content.about.fullName            Orvane simulator 6.0\n"));
    Program::language = "de_DE.UTF-8";
    EXPECT_THAT(Screen(80, {"get", "vm-101", "-k", "name"}), testing::StartsWith("OBJEKT  name\n"));
}

TEST_F(Get, JsonHasTypesAndNothingThatATerminalObeys) {
    server.SetProperty("vm-101", "name", "a\"b\u009b\u202e\nc");
    const Ended whole = Run({"get", "--output", "json", "vm-101", "host-9"});
    const json all = json::parse(whole.out, nullptr, false);
    ASSERT_EQ(2u, all.size()) << whole.out;
    EXPECT_EQ("VirtualMachine", all[0]["_type"]);
    EXPECT_EQ("a\"b\u009b\u202e\nc", all[0]["name"]);
    EXPECT_THAT(whole.out, HasSubstr("\\u009b\\u202e"));
    EXPECT_EQ(json::array({-1}), all[0]["effectiveRole"]);
    EXPECT_EQ(false, all[0]["configLocked"]);
    EXPECT_EQ(json({{"_type", "Folder"}, {"_id", "group-v3"}}), all[0]["parent"]);

    const Ended twice =
        Run({"get", "--output", "jsonl", "host-9", "vm-101", "host-9", "-k", "name"});
    EXPECT_EQ(3, std::ranges::count(twice.out, '\n')) << twice.err;
}

TEST_F(Get, EachFormHasTheSameValues) {
    const std::vector<std::string> wanted = {"get", "host-9", "-k", "vm[*]",
                                             "-k",  "name",   "-k", "permission"};
    std::vector<std::string> words = wanted;
    words.insert(words.end(), {"--output", "jsonl"});
    EXPECT_EQ("{\"_type\": \"HostSystem\", \"_id\": \"host-9\", \"vm[*]\": [{\"_type\": "
              "\"VirtualMachine\", "
              "\"_id\": \"vm-101\"}], \"name\": \"host1.example.com\"}\n",
              Run(words).out);
    words.back() = "plain";
    EXPECT_EQ("VirtualMachine:vm-101\thost1.example.com\t\n", Run(words).out);
    words.insert(words.begin() + 1, "host-10");
    EXPECT_EQ("host-10\tVirtualMachine:vm-102\thost2.example.com\t\n"
              "host-9\tVirtualMachine:vm-101\thost1.example.com\t\n",
              Run(words).out);
}

TEST_F(Get, WorksAtTheSecondServiceToo) {
    EXPECT_THAT(Run({"get", "--ferry", "ServiceInstance"}).out, HasSubstr("FerrySessionManager:"));
    for (const char *word : {"job-1", "conversion-0001", "Job:job-1"})
        EXPECT_EQ("conversion-0001\n",
                  Run({"get", "--ferry", word, "-k", "name", "--output", "plain"}).out);
    const Ended about = Run({"about", "--url", server.Url(), "administrator", "--ferry", "-q"});
    EXPECT_THAT(about.out, testing::StartsWith("  negotiated  ferry/5.0\n  address"));
    EXPECT_THAT(about.out, HasSubstr("/ferry as administrator\n"));
    EXPECT_THAT(Run({"about", "--ferry", "--output", "plain"}).out,
                HasSubstr("negotiated\tferry/5.0\nurl\t"));
}

TEST_F(WithOverlay, GetReadsInsideOfLists) {
    const Ended ended = Run({"get", "--output", "plain", "vm-101", "-k", "summary.display[*].width",
                             "-k", "runtime.powerState", "-k", "summary.display[#0].label"});
    EXPECT_THAT(ended.out, testing::MatchesRegex("[0-9, ]+\tpoweredOff\t.+\n")) << ended.err;
}

TEST_F(Get, WhatIsWrongIsOneLineThatHelps) {
    const struct {
        std::vector<std::string> words;
        int status;
        std::vector<std::string> texts;
    } rows[] = {
        {{}, 2, {"object is required"}},
        {{"vm-101", "-k", "nam"}, 2, {"VirtualMachine has no property \"nam\"; similar: name"}},
        {{"vm-101", "-k", "frobnicated"}, 2, {"there are: "}},
        {{"vm-101", "-k", "config.hardware"}, 2, {"orvane schema import"}},
        {{"vm-101", "-k", "parent.name"}, 2, {"\"name\" is in no object"}},
        {{"vm-101", "-k", ""}, 2, {"no property path"}},
        {{"vm-101", "-k", "name..x"}, 2, {"no property path"}},
        {{"vm-101", "vm-102x"}, 1, {"no object \"vm-102x\"; similar: \"vm-102\""}},
        {{"Task:task-77"}, 1, {"ManagedObjectNotFound", "\"orvane task ls\" shows"}},
        {{"--ferry", "job-12"}, 1, {"no job \"job-12\"; similar: \"job-1\""}},
        {{"--ferry", "x"}, 1, {"\"orvane job ls\" shows"}},
        {{"Job:job-1"}, 1, {"second service: --ferry"}},
        {{"task-9"}, 1, {"no object \"task-9\"; \"orvane task ls\" shows"}},
        {{"vm-101", "--profile", "x"}, 1, {"no profile \"x\"; \"orvane profile list\""}},
        {{"vm-101", "--user", "a\x01"}, 2, {"user name: the value has the character U+0001"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.words));
        ExpectFailure(Run("get", row.words), row.status, row.texts);
    }
}

TEST_F(Get, APropertyWithoutPermissionIsReportedAndTheRestIsShown) {
    server.DenyProperty("VirtualMachine", "datastore");
    const Ended ended = Run({"get", "vm-101", "--output", "json"});
    EXPECT_EQ("machine-0001", json::parse(ended.out, nullptr, false)[0]["name"]);
    const json error = json::parse(ended.err, nullptr, false)["error"];
    EXPECT_EQ("NoPermission", error["fault"]);
    EXPECT_EQ("vm-101: datastore cannot be read: NoPermission; the user lacks the privilege; log "
              "in as one "
              "that has it",
              error["message"]);
    EXPECT_EQ(1, ended.status);
    server.AddTrouble(
        {.kind = TroubleKind::Drop, .method = "RetrieveProperties", .count = -1, .bytes = 500});
    ExpectFailure(Run({"get", "vm-101"}), 3, {"no usable answer"});
}

TEST(TextOfJson, ShowsValuesAsTheProgramTakesThem) {
    const std::pair<const char *, const char *> rows[] = {
        {"null", ""},
        {"\"a b\"", "a b"},
        {"[1, true, \"x\"]", "1, true, x"},
        {R"({"_type": "Task", "_id": "task-1"})", "Task:task-1"},
        {R"([{"_type": "Task", "_id": "task-1"}, {"a": 1.5}])", "Task:task-1, {\"a\":1.5}"},
    };
    for (const auto &[text, shown] : rows)
        EXPECT_EQ(shown, orvaneCli::TextOfJson(nlohmann::ordered_json::parse(text)));
}

} // namespace
