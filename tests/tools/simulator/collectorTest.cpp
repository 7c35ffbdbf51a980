#include "tests/tools/simulator/soapClient.h"

#include <chrono>

namespace {

std::string Version(const std::string &version) {
    return Argument("version", "string", version);
}

std::string WaitOptions(const std::string &fields) {
    return "<options xsi:type=\"WaitOptions\">" + fields + "</options>";
}

const std::string kAtOnce = WaitOptions(Argument("maxWaitSeconds", "int", "0"));
const std::string kNameSpec = ObjectSpecText("spec", "VirtualMachine", "vm-101", {"name"});

/* A server with a frozen clock and ten machines, and a client that is logged in. */
struct Collector : SimulatorTest {
    Collector() : SimulatorTest({.machines = 10, .frozenClock = true}) { client.Login(); }

    /* Returns the changes since the last call. */
    SoapReply Updates(const std::string &options = kAtOnce) {
        SoapReply reply =
            client.Collect("WaitForUpdatesEx", (version.empty() ? "" : Version(version)) + options);
        const std::string next = reply.Between("<version>", "<");
        if (!next.empty())
            version = next;
        return reply;
    }

    std::string version;
};

/* Two sessions: one does not read updates; the other does so now and then, with a filter whose members change. */
TEST_F(Collector, ChangesThatNobodyReadsAreJoined) {
    SoapClient idle(server.Url());
    idle.Login();
    idle.CreateFilter(kNameSpec);
    const std::string seen = idle.Collect("WaitForUpdatesEx", kAtOnce).Between("<version>", "<");
    client.CreateFilter(WalkSpecText("spec"));
    Updates();
    for (int i = 0; i < 3000; i++) {
        server.SetProperty("vm-101", "name", "name " + std::to_string(i));
        if (i % 1000 == 500)
            server.AddMachine("added " + std::to_string(i));
        if (i % 1000 == 700) {
            EXPECT_EQ(1, Updates().Count("<kind>enter</kind>")) << i;
        }
    }
    EXPECT_LT(server.NumKeptChanges(), 1100);
    EXPECT_TRUE(Updates().Has("name 2999<"));
    const SoapReply late = idle.Collect("WaitForUpdatesEx", Version(seen) + kAtOnce);
    EXPECT_EQ(1, late.Count("<changeSet>"));
    EXPECT_TRUE(late.Has("name 2999<"));
}

TEST_F(Collector, TellsAllValuesFirstAndThenWhatChanged) {
    const std::string filter = client
                                   .CreateFilter(ObjectSpecText("spec", "VirtualMachine", "vm-101",
                                                                {"name", "configLocked"}))
                                   .Id();
    EXPECT_EQ("<returnval><version>1</version><filterSet><filter type=\"PropertyFilter\">" +
                  filter +
                  "</filter><objectSet><kind>enter</kind><obj type=\"VirtualMachine\">vm-101</obj>"
                  "<changeSet><name>name</name><op>assign</op>"
                  "<val xsi:type=\"xsd:string\">machine-0001</val></changeSet>"
                  "<changeSet><name>configLocked</name><op>assign</op>"
                  "<val xsi:type=\"xsd:boolean\">false</val></changeSet>"
                  "</objectSet></filterSet></returnval></WaitForUpdatesExResponse>",
              Updates().Result());
    EXPECT_EQ("</WaitForUpdatesExResponse>", Updates().Result()) << "nothing changed since";
    for (const char *name : {"other", "machine-0001"})
        server.SetProperty("vm-101", "name", name);
    EXPECT_FALSE(Updates().Has("returnval")) << "it has the same value again";

    server.SetProperty("vm-101", "overallStatus", "red"); /* not in the filter */
    server.SetProperty("vm-101", "name", "interim");
    server.SetProperty("vm-101", "name", "renamed");
    const SoapReply reply = Updates();
    EXPECT_EQ("<kind>modify</kind><obj type=\"VirtualMachine\">vm-101</obj><changeSet><name>name"
              "</name><op>assign</op><val xsi:type=\"xsd:string\">renamed</val></changeSet>",
              reply.Between("<objectSet>", "</objectSet>"));

    server.RemoveMachine("vm-101");
    EXPECT_EQ("<kind>leave</kind><obj type=\"VirtualMachine\">vm-101</obj>",
              Updates().Between("<objectSet>", "</objectSet>"));
}

TEST_F(Collector, AVersionCanBeAskedForAgainUntilALaterOneComesBack) {
    client.CreateFilter(kNameSpec);
    Updates();
    const std::string first = version;
    server.SetProperty("vm-101", "name", "a");
    EXPECT_TRUE(Updates().Has(">a</val>"));
    const std::string second = version;
    server.SetProperty("vm-101", "name", "b");
    version = first;
    EXPECT_TRUE(Updates().Has(">b</val>")) << "the answer may have been lost";

    version = second;
    EXPECT_TRUE(Updates().Has(">b</val>"));
    for (const std::string &wrong : {first, std::string("999"), std::string("x")})
        EXPECT_EQ("InvalidCollectorVersion",
                  client.Collect("CheckForUpdates", Version(wrong)).Fault())
            << wrong;
    EXPECT_TRUE(client.Collect("CheckForUpdates").Has("<kind>enter</kind>"))
        << "without a version all begins anew";
}

TEST_F(Collector, AMovedMachineStaysInAFilterThatWalksIntoFolders) {
    client.CreateFilter(WalkSpecText("spec"));
    Updates();
    const std::string folder =
        client.Call("CreateFolder", "Folder", "group-v3", Argument("name", "string", "inner")).Id();
    client.Call("MoveIntoFolder_Task", "Folder", folder,
                ObjectArgument("list", "VirtualMachine", "vm-101"));
    server.Advance(10000);
    EXPECT_EQ(folder, server.Property("vm-101", "parent"));
    EXPECT_FALSE(Updates().Has("returnval"));
}

TEST_F(Collector, PartsOfATaskAndOfListsAreNamedAloneWithPartialUpdates) {
    const std::string task = client.Call("PowerOnVM_Task", "VirtualMachine", "vm-101").Id();
    client.CreateFilter(ObjectSpecText("spec", "Task", task));
    client.CreateFilter(ObjectSpecText("spec", "Task", task), "0");
    client.CreateFilter(ObjectSpecText("spec", "VirtualMachine", "vm-101", {"recentTask"}));
    EXPECT_TRUE(Updates().Has("<state>queued</state>"));
    server.Advance(200);
    const SoapReply running = Updates();
    EXPECT_TRUE(running.Has("<name>info.state</name><op>assign</op>"
                            "<val xsi:type=\"TaskInfoState\">running</val>"));
    EXPECT_TRUE(running.Has("<name>info.progress</name><op>assign</op>"
                            "<val xsi:type=\"xsd:int\">10</val>"));
    EXPECT_TRUE(running.Has("<name>info</name><op>assign</op><val xsi:type=\"TaskInfo\"><key>"));
    server.Advance(1800);
    const SoapReply ended = Updates();
    EXPECT_TRUE(ended.Has("<val xsi:type=\"TaskInfoState\">success</val>"));
    EXPECT_TRUE(ended.Has("<name>recentTask[\"" + task + "\"]</name><op>remove</op></changeSet>"));
}

TEST_F(Collector, LongAnswersComeInPieces) {
    client.CreateFilter(WalkSpecText("spec"));
    const std::string four = WaitOptions(Argument("maxWaitSeconds", "int", "0") +
                                         Argument("maxObjectUpdates", "int", "4"));
    std::vector<int> sizes;
    for (int i = 0; i < 3; i++) {
        if (i == 1)
            server.SetProperty("vm-101", "name", "meanwhile");
        const SoapReply reply = Updates(four);
        sizes.push_back(reply.Count("<kind>enter</kind>"));
        EXPECT_EQ(i < 2, reply.Has("<truncated>true</truncated>")) << i;
    }
    EXPECT_EQ((std::vector<int>{4, 4, 2}), sizes);
    const SoapReply rest = Updates(four);
    EXPECT_EQ(1, rest.Count("<objectSet>")) << "what changed between the pieces";
    EXPECT_TRUE(rest.Has(">meanwhile</val>"));
}

TEST_F(Collector, ALongPollEndsWithItsTime) {
    auto waiting =
        Wait([this] { return Updates(WaitOptions(Argument("maxWaitSeconds", "int", "300"))); });
    server.Advance(299999);
    EXPECT_EQ(1, server.NumWaiting());
    server.Advance(1);
    const SoapReply reply = waiting.get();
    EXPECT_EQ(200, reply.status);
    EXPECT_EQ("</WaitForUpdatesExResponse>", reply.Result());
}

TEST_F(Collector, ALongPollEndsByOtherCallsOfItsSession) {
    /* what ends it, and a part of the reply */
    const std::pair<std::function<void(SoapClient &)>, const char *> rows[] = {
        {[](SoapClient &other) { other.CreateFilter(kNameSpec); }, "<kind>enter</kind>"},
        {[](SoapClient &other) { other.Collect("CancelWaitForUpdates"); },
         "xsi:type=\"RequestCanceled\""},
        {[](SoapClient &other) { other.Collect("DestroyPropertyCollector"); },
         "xsi:type=\"RequestCanceled\""},
        {[](SoapClient &other) { other.Call("Logout", "SessionManager", "SessionManager"); },
         "xsi:type=\"NotAuthenticated\""},
        {[this](SoapClient &) { server.ExpireSessions(); }, "xsi:type=\"NotAuthenticated\""},
    };
    for (const auto &[end, outcome] : rows) {
        const std::string key = client.Login().Between("<key>", "<");
        SoapClient sameSession(server.Url());
        curl_easy_setopt(sameSession.handle, CURLOPT_COOKIE, ("orvane_session=" + key).c_str());
        auto waiting = Wait([this] { return client.Collect("WaitForUpdates"); });
        end(sameSession);
        const SoapReply reply = waiting.get();
        EXPECT_TRUE(reply.Has(outcome)) << reply.body;
        EXPECT_EQ(0, server.NumWaiting());
    }
}

TEST_F(Collector, AClientThatGoesAwayDoesNotKeepItsPoll) {
    curl_easy_setopt(client.handle, CURLOPT_TIMEOUT_MS, 200L);
    EXPECT_EQ(CURLE_OPERATION_TIMEDOUT, client.Collect("WaitForUpdates").error);
    EXPECT_TRUE(Eventually([this] { return server.NumWaiting() == 0; }));
}

TEST_F(Collector, FiltersBelongToTheirCollectorAndSession) {
    const std::string filter = client.CreateFilter(kNameSpec).Id();
    const std::string own = client.Collect("CreatePropertyCollector").Id();
    EXPECT_FALSE(client.Collect("CheckForUpdates", "", own).Has("returnval"));
    client.CreateFilter(ObjectSpecText("spec", "VirtualMachine", "vm-102", {"name"}), "0", own);
    const SoapReply updates = client.Collect("CheckForUpdates", "", own);
    EXPECT_TRUE(updates.Has("vm-102"));
    EXPECT_FALSE(updates.Has("vm-101"));

    SoapClient stranger(server.Url());
    stranger.Login();
    EXPECT_EQ("ManagedObjectNotFound",
              stranger.Call("DestroyPropertyFilter", "PropertyFilter", filter).Fault());
    EXPECT_EQ("ManagedObjectNotFound", stranger.Collect("CheckForUpdates", "", own).Fault());
    EXPECT_EQ(2, server.NumFilters());

    EXPECT_EQ(200, client.Collect("DestroyPropertyCollector", "", own).status);
    EXPECT_EQ(1, server.NumFilters());
    EXPECT_EQ(200, client.Call("DestroyPropertyFilter", "PropertyFilter", filter).status);
    EXPECT_EQ("ManagedObjectNotFound",
              client.Call("DestroyPropertyFilter", "PropertyFilter", filter).Fault());
}

TEST_F(Collector, WrongSpecsAreRefused) {
    const auto machine = [](const std::string &path) {
        return ObjectSpecText("spec", "VirtualMachine", "vm-101", {path});
    };
    const std::string unnamed = [] {
        std::string text = WalkSpecText("spec");
        const std::string wanted = ">machines</name></selectSet>";
        return text.replace(text.find(wanted), wanted.size(), ">nowhere</name></selectSet>");
    }();
    const std::pair<std::string, const char *> rows[] = {
        {machine("nothing"), "InvalidProperty"},
        {machine("nothing.deeper"), "InvalidProperty"},
        {ObjectSpecText("spec", "NoSuchType", "vm-101"), "InvalidType"},
        {ObjectSpecText("spec", "VirtualMachine", "vm-999"), "ManagedObjectNotFound"},
        {ObjectSpecText("spec", "HostSystem", "vm-101"), "ManagedObjectNotFound"},
        {WalkSpecText("spec", "childEntity"), "InvalidProperty"},
        {unnamed, "InvalidArgument"},
        {"<spec xsi:type=\"PropertyFilterSpec\"></spec>", "InvalidArgument"},
        {"", "InvalidArgument"},
    };
    for (const auto &[spec, fault] : rows)
        EXPECT_EQ(fault, client.CreateFilter(spec).Fault()) << spec;
    EXPECT_EQ("InvalidArgument", client.CreateFilter(machine("name"), "maybe").Fault());
    EXPECT_EQ(0, server.NumFilters());
}

TEST_F(Collector, MissingObjectsAreReportedIfThatIsWanted) {
    std::string spec = ObjectSpecText("spec", "VirtualMachine", "vm-999");
    spec.insert(spec.size() - sizeof("</spec>") + 1,
                Argument("reportMissingObjectsInResults", "boolean", "1"));
    client.CreateFilter(spec);
    EXPECT_TRUE(Updates().Has("<missingSet><obj type=\"VirtualMachine\">vm-999</obj><fault "
                              "xsi:type=\"LocalizedMethodFault\"><fault "
                              "xsi:type=\"ManagedObjectNotFound\">"));
}

TEST_F(Collector, RetrievalsComeInPiecesByToken) {
    const std::string options = "<options xsi:type=\"RetrieveOptions\">" +
                                Argument("maxObjects", "int", "4") + "</options>";
    SoapReply reply = client.Collect("RetrievePropertiesEx", WalkSpecText("specSet") + options);
    std::vector<int> sizes = {reply.Count("<objects>")};
    std::string token;
    while (reply.Has("<token>") && sizes.size() < 10) {
        token = reply.Between("<token>", "<");
        reply = client.Collect("ContinueRetrievePropertiesEx", Argument("token", "string", token));
        sizes.push_back(reply.Count("<objects>"));
    }
    EXPECT_EQ((std::vector<int>{4, 4, 2}), sizes);
    EXPECT_EQ(
        "InvalidArgument",
        client.Collect("ContinueRetrievePropertiesEx", Argument("token", "string", token)).Fault());
    EXPECT_EQ(10,
              client.Collect("RetrieveProperties", WalkSpecText("specSet")).Count("<returnval>"));
}

TEST(CollectorOfOldVersions, HasNoNewerMethods) {
    SimulatedService old({.machines = 1, .version = "ozy25/4.0"});
    old.client.Login();
    EXPECT_EQ("MethodNotFound", old.client.Collect("WaitForUpdatesEx").Fault());
    EXPECT_EQ(200, old.client.Collect("CheckForUpdates").status);
}

TEST(CollectorOfALargeEstate, DoesNotPassOverAllMachinesForEachChange) {
    using std::chrono::steady_clock;
    SimulatedService large({.machines = 3000, .frozenClock = true});
    auto &[server, client] = large;
    client.Login();
    const auto start = steady_clock::now();
    client.CreateFilter(WalkSpecText("spec"));
    SoapReply reply = client.Collect("CheckForUpdates");
    EXPECT_EQ(3000, reply.Count("<kind>enter</kind>"));
    const auto full = steady_clock::now() - start;

    constexpr int kNumRounds = 100;
    for (int i = 0; i < kNumRounds; i++) {
        const std::string id = "vm-" + std::to_string(101 + i);
        client.CreateFilter(ObjectSpecText("spec", "VirtualMachine", id));
        server.SetProperty(id, "name", "n" + id);
        reply = client.Collect("CheckForUpdates", Version(reply.Between("<version>", "<")));
        ASSERT_EQ(2, reply.Count("<objectSet>")) << "entered the one filter, changed in the other";
    }
    EXPECT_LT((steady_clock::now() - start - full) / kNumRounds, full / 3);
}

} // namespace
