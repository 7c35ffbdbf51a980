// "orvane call" and "orvane set": results, help, requests that are not sent, and all that can go wrong.
#include <nlohmann/json.hpp>

#include "tests/tools/orvane/serviceFixture.h"
#include "tests/tools/simulator/soapClient.h"

namespace {

using nlohmann::json;
using simulator::TroubleKind;
using testing::HasSubstr;
using testing::Not;
using Words = std::vector<std::string>;

struct Call : WithSimulator {
    Call() : WithSimulator({.machines = 4, .taskDurationMs = 300}) {
        folder.Write("overlay.schema", "namespace ozy\n\ndata VirtualMachineConfigSpec ...\n"
                                       "  name string? @ozy2/2.0\n  numCPUs int? @ozy2/2.0\n");
        setenv("ORVANE_SCHEMA_OVERLAY", folder.Path("overlay.schema").c_str(), 1);
        Program::looksForLeaks = false;
    }
};

TEST_F(Call, WritesTheResultInEachForm) {
    const struct {
        Words words;
        const char *out;
    } rows[] = {
        {{"vm-101", "Rename_Task", "newName=a"}, ""},
        {{"vm-101", "Rename_Task", "newName=b", "--output", "json"}, "null\n"},
        {{"vm-101", "CreateSnapshot_Task", "name=s", "memory=false", "quiesce=false"},
         "snapshot-1\n"},
        {{"vm-101", "CreateSnapshot_Task", "name=s", "memory=false", "quiesce=false", "--output",
          "jsonl"},
         "{\"_type\":\"VirtualMachineSnapshot\",\"_id\":\"snapshot-2\"}\n"},
        {{"group-v3", "CreateFolder", "name=@@x"}, "group-v1001\n"},
    };
    for (const auto &row : rows) {
        const Ended ended = Run("call", row.words);
        EXPECT_EQ(0, ended.status) << row.words[1] << ": " << ended.err;
        EXPECT_EQ("", ended.err);
        EXPECT_EQ(row.out, ended.out) << row.words[1];
    }
}

TEST_F(Call, ShowsWhatAMethodTakes) {
    EXPECT_EQ("CreateSnapshot_Task of VirtualMachine\n"
              "Starts a task, whose end is waited for.\n"
              "ARGUMENT     TYPE               NEEDED  RELEASE\n"
              "name         string             yes\n"
              "description  string             no\n"
              "memory       boolean, probably  yes\n"
              "quiesce      boolean, probably  yes\n",
              Screen(80, {"call", "vm-101", "CreateSnapshot_Task", "--help"}));
    EXPECT_EQ("ReconfigVM_Task of VirtualMachine\n"
              "Starts a task, whose end is waited for.\n"
              "ARGUMENT\n"
              "  TYPE  NEEDED  RELEASE\n"
              "spec\n"
              "  VirtualMachineConfigSpec, probably\n"
              "  yes\n"
              "spec.name\n"
              "  string  no  ozy2/2.0\n"
              "spec.numCPUs\n"
              "  int  no  ozy2/2.0\n",
              Screen(40, {"call", "ReconfigVM_Task", "-h"}));
    Program::language = "de_DE.UTF-8";
    EXPECT_EQ("MarkAsTemplate von VirtualMachine\nHat kein Ergebnis.\nSie hat keine Argumente.\n",
              Screen(80, {"call", "MarkAsTemplate", "-h"}));
    const json all = json::parse(Run({"call", "SetTaskState", "-h", "--output", "json"}).out);
    EXPECT_EQ("TaskInfoState", all[0]["arguments"][0]["type"]);
    EXPECT_EQ(json({"queued", "running", "success", "error"}), all[0]["arguments"][0]["words"]);
    EXPECT_EQ(0, server.NumCalls("Login"));
}

TEST_F(Call, ARequestThatIsNotSentShowsNoSecret) {
    for (const Words &words : {Words{"call", "vm-101", "UnlockVM", "key=sesame", "--dry-run"},
                               Words{"set", "vm-101", "name=new", "numCPUs=4", "--dry-run"}}) {
        const Ended ended = Run(words);
        EXPECT_EQ(0, ended.status) << ended.err;
        EXPECT_THAT(ended.out, Not(HasSubstr("sesame")));
        const bool isCall = words[0] == "call";
        EXPECT_THAT(ended.out, HasSubstr(isCall ? "<key>[redacted]</key>"
                                                : "<name xsi:type=\"xsd:string\">new</name>\n"
                                                  "          <numCPUs xsi:type=\"xsd:int\">4<"));
    }
    EXPECT_EQ(0, server.NumCalls("UnlockVM") + server.NumCalls("ReconfigVM_Task"));
}

TEST_F(Call, ASecretIsNotInMemoryAnyMoreWhenTheSessionEnds) {
    const std::string secret = "a Secret that is Long Enough for the Heap";
    folder.Write("key", secret + "\n");
    server.AddTrouble({.kind = TroubleKind::Silent, .method = "Logout", .count = -1});
    Program call("bin/orvane",
                 {"call", "vm-101", "UnlockVM", "key=@" + folder.Path("key"), "--dry-run"});
    EXPECT_TRUE(Eventually([&] { return server.NumCalls("Logout") > 0; }));
    EXPECT_TRUE(call.HasInMemory("administrator"));
    EXPECT_FALSE(call.HasInMemory(secret.substr(9)));
    call.Interrupt();
    EXPECT_EQ(130, call.Wait().status);
    EndTroubles();
}

TEST_F(Call, SetChangesTheConfiguration) {
    EXPECT_EQ(0, Run({"set", "/Datacenter/vm/machine-0001", "name=web"}).status);
    EXPECT_EQ("web\n", Run({"ls", "vm-101"}).out);
    const Ended started = Run({"set", "web", "name=a\u202eb", "--no-wait"});
    EXPECT_EQ("task-2\n", started.out) << started.err;
    EXPECT_EQ(0, Run({"task", "wait", "task-2"}).status);
    EXPECT_THAT(Run({"ls", "vm-101"}).out, Not(HasSubstr("\u202e")));
}

TEST_F(Call, WhatIsWrongIsOneLine) {
    const struct {
        Words words;
        int status;
        Words texts;
    } rows[] = {
        {{"call", "/Datacenter/vm/machine-001", "MarkAsTemplate"},
         1,
         {"similar: \"/Datacenter/vm/machine-0001\""}},
        {{"call", "twin", "MarkAsTemplate"}, 1, {"2 objects are called \"twin\": ", "id"}},
        {{"call", "vm-101", "MarkAsTemplat"}, 2, {"did you mean \"MarkAsTemplate\"?"}},
        {{"call", "vm-101", "PowerOnn"}, 2, {"did you mean \"PowerOnVM_Task\"?"}},
        {{"call", "group-v3", "PowerOnVM_Task"}, 2, {"Folder has no method \"PowerOnVM_Task\""}},
        {{"call", "vm-101", "UnlockVM", "kye=x"}, 2, {"has no argument \"kye\"", "\"key\"?"}},
        {{"call", "vm-101", "ResetVM_Task", "a=x"}, 2, {"has no argument \"a\", and no other"}},
        {{"call", "vm-101", "UnlockVM", "key"}, 2, {"\"key\" is not of the form NAME=VALUE"}},
        {{"call", "vm-101", "SetScreenResolution", "width=1", "height=x"},
         2,
         {"height: \"x\" is no int"}},
        {{"call", "vm-101", "SetScreenResolution", "width=1"}, 2, {"needs height=VALUE"}},
        {{"call", "vm-101", "PowerOnVM_Task", "host=vm-102"},
         2,
         {"host: \"vm-102\" is a VirtualMachine, not a HostSystem"}},
        {{"call", "vm-101", "Rename_Task", "newName=a\x1b"}, 2, {"newName: ", "U+001B"}},
        {{"set", "vm-101", "name=a\x1b"}, 2, {"name: ", "U+001B"}},
        {{"call", "ComputeResourceConfigSpec", "-h"}, 2, {"a data object, not a method", "import"}},
        {{"call", "vm-101"}, 2, {"needs an object and a method"}},
        {{"call", "MarkAsTemplat", "-h"}, 2, {"did you mean \"MarkAsTemplate\"?"}},
        {{"call", "vm-101", "Rename_Task", "newName=x", "--user", "observer"},
         1,
         {"NoPermission", "log in as one that has it"}},
        {{"call", "vm-101", "MarkAsTemplate"}, 1, {"MarkAsTemplate: MethodNotFound"}},
        {{"call", "vm-104", "PowerOnVM_Task"}, 1, {"InvalidPowerState"}},
        {{"set", "vm-101", "nam=x"}, 2, {"no property \"nam\"; did you mean \"name\"?"}},
        {{"set", "vm-101", "numCPUs=many"}, 2, {"numCPUs: "}},
        {{"set", "group-v3", "name=x"}, 2, {"a Folder has no method that changes"}},
        {{"set", "domain-c7", "name=x"}, 2, {"no properties of ComputeResourceConfigSpec"}},
    };
    for (const char *id : {"vm-102", "vm-103"})
        server.SetProperty(id, "name", "twin");
    for (const auto &row : rows) {
        SCOPED_TRACE(row.words[0] + " " + row.words.back());
        const Ended ended = Run(row.words);
        ExpectFailure(ended, row.status, row.texts);
        EXPECT_EQ("", ended.out);
    }
}

TEST_F(Call, TroubleOfTheServiceAndOfTheOutput) {
    const struct {
        simulator::Trouble trouble;
        int status;
        const char *text;
    } rows[] = {
        {{.kind = TroubleKind::Silent, .method = "Rename_Task"}, 6, "no answer within 1 s"},
        {{.kind = TroubleKind::Reset, .method = "Rename_Task"}, 3, "Rename_Task: "},
        {{.kind = TroubleKind::ExpireSession, .method = "Rename_Task"}, 4, "NotAuthenticated"},
        {{.kind = TroubleKind::Fault, .method = "Rename_Task", .faultType = "DuplicateName"},
         1,
         "Rename_Task: DuplicateName"},
    };
    for (const auto &row : rows) {
        server.AddTrouble(row.trouble);
        ExpectFailure(Run({"call", "vm-101", "Rename_Task", "newName=x", "--timeout", "1"}),
                      row.status, {row.text});
        EndTroubles();
    }
    ExpectFailure(Run({"call", "ServiceInstance", "CurrentTime"}, false, {.output = "/dev/full"}),
                  1, {"the output cannot be written"});
}

/* A signal ends it wherever it waits: it logs out, the fixture checks that, and says so in one line. */
TEST_F(Call, CtrlCAtEveryMoment) {
    folder.Write("name", "from a file\n");
    const struct {
        const char *silenced; /* method whose answer never comes */
        Words words;
    } rows[] = {
        {"RetrieveServiceContent", {"vm-101", "ResetVM_Task"}},
        {"Login", {"vm-101", "ResetVM_Task"}},
        {"FindByInventoryPath", {"/Datacenter/vm/machine-0001", "ResetVM_Task"}},
        {"RetrieveProperties", {"machine-0001", "ResetVM_Task"}},
        {"Rename_Task", {"vm-101", "Rename_Task", "newName=@" + folder.Path("name")}},
        {"CurrentTime", {"ServiceInstance", "CurrentTime", "--output", "json"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.silenced);
        server.ResetCounters();
        server.AddTrouble({.kind = TroubleKind::Silent, .method = row.silenced, .count = -1});
        Words words = row.words;
        words.insert(words.begin(), "call");
        Program call("bin/orvane", words, true);
        EXPECT_TRUE(Eventually([&] { return server.NumCalls(row.silenced) > 0; }));
        call.Type("\x03");
        const Ended ended = call.Wait();
        server.ClearTroubles();
        EXPECT_EQ(130, ended.status) << ended.out;
        EXPECT_THAT(ended.out, HasSubstr("interrupted"));
        EXPECT_EQ(1, std::ranges::count(ended.out.substr(ended.out.find("^C") + 2), '\n'));
        server.ExpireSessions(); /* of a login whose answer was never read */
    }
}

TEST_F(Call, AValueComesFromStdinAndAWaitForItIsInterrupted) {
    const Words words = {"call", "vm-101", "Rename_Task", "newName=@-"};
    EXPECT_EQ(0, Run(words, false, {.input = "typed\n"}).status);
    EXPECT_EQ("typed\n", Run({"ls", "vm-101"}).out);
    server.ResetCounters();
    Program waiting("bin/orvane", words, true);
    EXPECT_TRUE(Eventually([&] { return server.NumCalls("Login") > 0; }));
    EXPECT_TRUE(Eventually([&] { return server.NumCalls("RetrieveProperties") > 0; }));
    waiting.Type("\x03");
    EXPECT_EQ(130, waiting.Wait().status);
}

TEST_F(Call, TheSecondServiceHasMethodsToo) {
    const json content = json::parse(Run({"call", "ServiceInstance", "FerryRetrieveServiceContent",
                                          "--ferry", "--output", "json"})
                                         .out,
                                     nullptr, false);
    EXPECT_EQ("FerryServerContent", content["_type"]);
    ExpectFailure(Run({"call", "ServiceInstance", "CurrentTime", "--ferry"}), 2,
                  {"FerryServiceInstance has no method \"CurrentTime\""});
}

} // namespace
