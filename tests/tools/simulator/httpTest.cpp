#include "tools/simulator/http.h"

#include <poll.h>
#include <unistd.h>

#include "tests/support/loopback.h"
#include "tests/support/processLimits.h"
#include "tests/tools/simulator/soapClient.h"

using simulator::Simulator;

namespace {

using Requests = SimulatorTest;

std::string Body(const std::string &inner) {
    return "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\" "
           "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"><e:Body>" +
           inner + "</e:Body></e:Envelope>";
}

TEST_F(Requests, ThatAreNoCallsAreRefusedWithAFault) {
    const std::string good =
        "<RetrieveServiceContent xmlns=\"urn:ozy25\"><_this type=\"ServiceInstance\">"
        "ServiceInstance</_this></RetrieveServiceContent>";
    EXPECT_EQ(200, client.Post(Body(good)).status);
    const std::pair<std::string, const char *> rows[] = {
        {"", "InvalidRequest"},
        {"\xff\xfe<<<", "InvalidRequest"},
        {"<a>", "InvalidRequest"},
        {"<a/>", "InvalidRequest"},
        {Body(""), "InvalidRequest"},
        {"<!DOCTYPE a [<!ENTITY b \"c\">]>" + Body(good), "InvalidRequest"},
        {Body("<Login/>"), "InvalidRequest"},
        {Body("<Login xmlns=\"urn:ozy25\"/>"), "InvalidRequest"},
        {SoapClient::Text("Login", "SessionManager", "SessionManager", "", "other"),
         "InvalidRequest"},
        {SoapClient::Text("Login", "SessionManager", "SessionManager", ""), "InvalidArgument"},
        {SoapClient::Text("Login", "SessionManager", "SessionManager",
                          Argument("userName", "int", "1")),
         "InvalidArgument"},
        {SoapClient::Text("Dance", "ServiceInstance", "ServiceInstance", ""), "MethodNotFound"},
        {SoapClient::Text("Login", "Folder", "ServiceInstance", ""), "ManagedObjectNotFound"},
    };
    for (const auto &[text, fault] : rows) {
        const SoapReply reply = client.Post(text);
        EXPECT_EQ(500, reply.status) << text;
        EXPECT_EQ(fault, reply.Fault()) << text;
    }
    client.action = "RetrieveServiceContent";
    EXPECT_EQ("InvalidRequest", client.Post(Body(good)).Fault()) << "not in quotes";
    client.action = "\"\"";
    EXPECT_EQ(200, client.Post(Body(good)).status) << "as old clients send it";
}

TEST_F(Requests, DeepAndLongOnesAreSurvived) {
    std::string deep;
    for (int i = 0; i < 100000; i++)
        deep += "<a>";
    EXPECT_EQ("InvalidRequest", client.Post(deep).Fault());
    client.Login();
    const std::string name(3000000, 'n');
    EXPECT_EQ(
        200,
        client.Call("Rename_Task", "ManagedEntity", "vm-101", Argument("newName", "string", name))
            .status);
    EXPECT_GT(server.BytesIn(), name.size());
    server.Advance(10000);
    EXPECT_EQ(name, server.Property("vm-101", "name"));
}

TEST_F(Requests, ThatBreakOffAnywhereAreRefused) {
    client.Login();
    const std::string whole =
        SoapClient::Text("CreateFilter", "PropertyCollector", "propertyCollector",
                         WalkSpecText("spec") + Argument("partialUpdates", "boolean", "1"));
    for (size_t size = 0; size < whole.size(); size += 13)
        EXPECT_EQ("InvalidRequest", client.Post(whole.substr(0, size)).Fault()) << size;
    EXPECT_EQ(0, server.NumFilters());
    EXPECT_EQ(200, client.Post(whole).status);
}

TEST_F(Requests, AreCountedAndKept) {
    client.Login();
    client.Login();
    EXPECT_EQ(2, server.NumCalls("Login"));
    EXPECT_EQ(2, server.NumCalls());
    EXPECT_EQ(1, server.NumConnections()) << "it is kept";
    EXPECT_NE(std::string::npos, server.LastRequest("Login").find("<userName"));
    EXPECT_EQ("\"urn:ozy25/6.0\"", server.LastHeader("Login", "SOAPAction"));
    EXPECT_NE(std::string::npos, server.LastReply("Login").find("UserSession"));
    server.ResetCounters();
    EXPECT_EQ(0, server.NumCalls());
}

TEST(Documents, OfOtherPathsAreNotFound) {
    SimulatedService service({.machines = 1, .ferry = false});
    auto &[server, own] = service;
    const std::string root = server.Url().substr(0, server.Url().size() - 4);
    SoapClient client(root + "/other");
    EXPECT_EQ(404, client.Post("x").status);
    for (const char *path :
         {"/", "/sdk", "/sdk/x", "/ferry/ferryServiceVersions.xml", "/control/counters"})
        EXPECT_EQ(404, client.Get(root + path).status) << path;
}

TEST(Control, MovesTheSwitchesByUrl) {
    SimulatedService service({.machines = 1, .frozenClock = true, .control = true});
    auto &[server, client] = service;
    const std::string control = server.Url().substr(0, server.Url().size() - 4) + "/control/";
    EXPECT_EQ("done\n", client.Get(control + "set?id=vm-101&property=name&value=a%20b").body);
    EXPECT_EQ("a b", server.Property("vm-101", "name"));
    EXPECT_EQ("done\n", client.Get(control + "trouble?is=Login:page:status=418").body);
    EXPECT_EQ(418, client.Login().status);
    const int64_t before = server.NowMs();
    EXPECT_EQ("done\n", client.Get(control + "advance?ms=1234").body);
    EXPECT_EQ(before + 1234, server.NowMs());
    EXPECT_TRUE(client.Get(control + "counters").Has("calls 1\n"));
    for (const char *wrong : {"advance", "advance?ms=-1", "trouble?is=nothing", "set?id=vm-1",
                              "versions?form=x", "remove?id=group-d1"})
        EXPECT_EQ(400, client.Get(control + wrong).status) << wrong;
    EXPECT_EQ(404, client.Get(control + "nothing").status);
}

TEST(Documents, ThatTheWsdlNamesAreServed) {
    for (const bool isServed : {true, false}) {
        SimulatedService service({.machines = 1, .wsdl = isServed});
        auto &[server, client] = service;
        const SoapReply wsdl = client.Get(server.Url() + "/ozyService?wsdl");
        EXPECT_EQ(isServed ? 200 : 404, wsdl.status);
        const std::string named = isServed ? wsdl.Between("location=\"", "\"") : "ozy25.wsdl";
        const SoapReply types = client.Get(server.Url() + "/" + named);
        EXPECT_EQ(isServed ? 200 : 404, types.status);
        EXPECT_EQ(isServed, types.Has("targetNamespace=\"urn:ozy25\""));
    }
}

/* Runs the simulator in this thread until the condition is true; polls its descriptor only. */
bool RunUntil(Simulator &server, const std::function<bool()> &condition) {
    pollfd descriptor{server.PollDescriptor(), POLLIN, 0};
    for (int i = 0; i < 1000 && !condition(); i++) {
        if (poll(&descriptor, 1, 20) > 0)
            server.Run();
    }
    return condition();
}

TEST(OutsideLoop, NeedsNothingButTheDescriptor) {
    Simulator server({.machines = 1, .taskDurationMs = 50});
    server.Start();
    SoapClient client(server.Url());
    auto started = std::async(std::launch::async, [&] {
        client.Login();
        return client.Call("PowerOnVM_Task", "VirtualMachine", "vm-101").Id();
    });
    /* only timers make the task's steps */
    EXPECT_TRUE(RunUntil(
        server, [&] { return server.Property("vm-101", "runtime.powerState") == "poweredOn"; }));
    EXPECT_EQ("success", server.Property(started.get(), "info.state"));
}

/* Connects, sends the text and nothing more. */
int ConnectAndSend(int port, const std::string &text) {
    const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(0, ConnectToLoopback(client, port));
    EXPECT_EQ(ssize_t(text.size()), send(client, text.data(), text.size(), MSG_NOSIGNAL));
    return client;
}

TEST(OutsideLoop, IdleAndSlowConnectionsAreClosedButThoseOfWaitingCallsAreNot) {
    Simulator server({.machines = 1, .idleSeconds = 1});
    server.Start();
    SoapClient client(server.Url());
    auto waiting = std::async(std::launch::async, [&] {
        client.Login();
        return client.Collect("WaitForUpdates");
    });
    ASSERT_TRUE(RunUntil(server, [&] { return server.NumWaiting() == 1; }));
    const int slow = ConnectAndSend(server.Port(), "POST /sdk HTTP/1.1\r\nX: ");
    const int sockets[] = {ConnectAndSend(server.Port(), ""),
                           ConnectAndSend(server.Port(), "POST /sdk HTTP/1.1\r\nContent-Le"), slow};
    ASSERT_TRUE(RunUntil(server, [&] { return server.NumOpenConnections() == 4; }));
    EXPECT_TRUE(RunUntil(server, [&] {
        poll(nullptr, 0, 20);
        (void)!send(slow, "x", 1, MSG_NOSIGNAL); /* fails once it is closed */
        return server.NumOpenConnections() == 1;
    }));
    EXPECT_EQ(1, server.NumWaiting());
    for (const int socket : sockets)
        close(socket);
    server.Stop();
    waiting.get();
}

TEST(OutsideLoop, WithoutFreeDescriptorsItPausesAndThenGoesOn) {
    Simulator server({.machines = 1});
    server.Start();
    const int client = ConnectAndSend(server.Port(), "");
    const int lowest = dup(client); /* the first that is free */
    close(lowest);
    {
        const ProcessLimit none(RLIMIT_NOFILE, rlim_t(lowest));
        int numRuns = 0;
        RunUntil(server, [&] { return numRuns++ > 30; }); /* at most 20 ms each */
        EXPECT_EQ(0, server.NumConnections());
        pollfd descriptor{server.PollDescriptor(), POLLIN, 0};
        EXPECT_EQ(0, poll(&descriptor, 1, 20)) << "no work is left";
    }
    EXPECT_TRUE(RunUntil(server, [&] { return server.NumConnections() == 1; }));
    close(client);
}

TEST_F(Requests, ComeAgainOnThePortOfAServerThatWasStopped) {
    const std::string url = server.Url();
    client.Login();
    auto waiting = Wait([&] { return client.Collect("WaitForUpdates"); });
    server.Stop();
    waiting.get(); /* ends, with a fault or a broken connection */
    SoapClient late(url);
    EXPECT_EQ(CURLE_COULDNT_CONNECT, late.Login().error);
    server.RunInThread();
    EXPECT_EQ(url, server.Url());
    EXPECT_EQ(200, late.Login().status);

    Simulator other({.port = server.Port()});
    EXPECT_THROW(other.Start(), std::runtime_error) << "the port is taken";
    EXPECT_THROW(Simulator({.version = "6.0"}), std::runtime_error);
}

} // namespace
