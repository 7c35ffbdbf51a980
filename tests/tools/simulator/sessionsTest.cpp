#include "tests/tools/simulator/soapClient.h"

#include <fstream>

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

using simulator::Options;
using simulator::Simulator;

namespace {

constexpr char kManager[] = "SessionManager";

Options Small() {
    Options options;
    options.machines = 2;
    options.frozenClock = true;
    return options;
}

SoapReply Manage(SoapClient &client, const std::string &method, const std::string &arguments = "") {
    return client.Call(method, kManager, kManager, arguments);
}

TEST(Sessions, LoginGivesACookieWithWhichCallsAreAllowed) {
    Simulator server(Small());
    server.RunInThread();
    SoapClient client(server.Url());
    EXPECT_EQ("NotAuthenticated",
              client.Call("CurrentTime", "ServiceInstance", "ServiceInstance").Fault());

    const SoapReply reply = client.Login();
    EXPECT_EQ(200, reply.status);
    EXPECT_NE(std::string::npos, reply.head.find("Set-Cookie: orvane_session=\""));
    EXPECT_TRUE(reply.Has("<returnval xsi:type=\"UserSession\"><key>"));
    EXPECT_TRUE(reply.Has("<userName>administrator</userName>"));
    EXPECT_EQ(1, server.NumSessions());
    EXPECT_EQ(200, client.Call("CurrentTime", "ServiceInstance", "ServiceInstance").status);

    EXPECT_EQ(200, Manage(client, "Logout").status);
    EXPECT_EQ(0, server.NumSessions());
    EXPECT_EQ("NotAuthenticated", Manage(client, "Logout").Fault());
}

TEST(Sessions, WrongLoginsAreRefused) {
    Simulator server(Small());
    server.RunInThread();
    SoapClient client(server.Url());
    EXPECT_EQ("InvalidLogin", client.Login("administrator", "guess").Fault());
    EXPECT_EQ("InvalidLogin", client.Login("nobody", "secret").Fault());
    EXPECT_EQ("InvalidLogin",
              Manage(client, "CloneSession", Argument("cloneTicket", "string", "x")).Fault());
    EXPECT_EQ("NotSupported",
              Manage(client, "AcquireLocalTicket", Argument("userName", "string", "administrator"))
                  .Fault());
    EXPECT_EQ(0, server.NumSessions());
}

TEST(Sessions, CloneTicketsServeOnce) {
    Simulator server(Small());
    server.RunInThread();
    SoapClient first(server.Url()), second(server.Url());
    first.Login();
    const std::string ticket = Manage(first, "AcquireCloneTicket").Between("<returnval>", "<");
    const std::string argument = Argument("cloneTicket", "string", ticket);
    EXPECT_EQ(200, Manage(second, "CloneSession", argument).status);
    EXPECT_EQ(2, server.NumSessions());
    EXPECT_EQ("InvalidLogin", Manage(second, "CloneSession", argument).Fault());
}

TEST(Sessions, LocalTicketsArePasswordsInAFileForOneLogin) {
    char directory[] = "/tmp/simulatorTestXXXXXX";
    ASSERT_NE(nullptr, mkdtemp(directory));
    Options options = Small();
    options.ticketDirectory = directory;
    {
        Simulator server(options);
        server.RunInThread();
        SoapClient client(server.Url());
        const std::string user = Argument("userName", "string", "administrator");
        const std::string path =
            Manage(client, "AcquireLocalTicket", user).Between("<passwordFilePath>", "<");
        struct stat info {};
        ASSERT_EQ(0, stat(path.c_str(), &info)) << path;
        EXPECT_EQ(0600u, info.st_mode & 0777u);
        std::string password;
        std::ifstream(path) >> password;
        EXPECT_EQ("InvalidLogin", client.Login("observer", password).Fault());
        EXPECT_EQ(200, client.Login("administrator", password).status);
        EXPECT_NE(0, access(path.c_str(), F_OK)) << "the ticket was used";
        EXPECT_EQ("InvalidLogin", client.Login("administrator", password).Fault());
        Manage(client, "AcquireLocalTicket", user); /* left over for the end */
    }
    EXPECT_EQ(0, rmdir(directory)) << "no ticket stays behind";
}

TEST(Sessions, ATokenLoginIsChallengedFirst) {
    Simulator server(Small());
    server.RunInThread();
    SoapClient client(server.Url());
    const SoapReply challenge =
        Manage(client, "LoginBySSPI", Argument("base64Token", "string", "SGVsbG8="));
    EXPECT_EQ("SSPIChallenge", challenge.Fault());
    EXPECT_NE("", challenge.Between("<base64Token>", "<"));
    const std::string token = "YWRtaW5pc3RyYXRvcjpzZWNyZXQ="; /* "administrator:secret" */
    EXPECT_EQ(200, Manage(client, "LoginBySSPI", Argument("base64Token", "string", token)).status);
}

TEST(Sessions, ALoginCostsTheSameHoweverManyThereAre) {
    Simulator server(Small());
    server.RunInThread();
    const auto costOf = [&](int numLogins) {
        const size_t before = mallinfo2().uordblks;
        for (int i = 0; i < numLogins; i++)
            SoapClient(server.Url()).Login();
        return mallinfo2().uordblks - before;
    };
    const size_t first = costOf(100);
    EXPECT_LE(costOf(300), 6 * first);
}

TEST(Sessions, AnUnusedSessionEnds) {
    Options options = Small();
    options.sessionTimeoutMs = 1000;
    Simulator server(options);
    server.RunInThread();
    SoapClient client(server.Url());
    client.Login();
    server.Advance(1000);
    EXPECT_EQ(200, client.Call("CurrentTime", "ServiceInstance", "ServiceInstance").status);
    server.Advance(1000);
    EXPECT_EQ(1, server.NumSessions()) << "the call has kept it";
    server.Advance(1);
    EXPECT_EQ(0, server.NumSessions());
}

TEST(Sessions, AUserWhoMayOnlyLookCannotChangeAnything) {
    Simulator server(Small());
    server.RunInThread();
    SoapClient client(server.Url());
    client.Login("observer");
    EXPECT_EQ("NoPermission", client.Call("PowerOnVM_Task", "VirtualMachine", "vm-101").Fault());
    EXPECT_EQ(
        200,
        client.Collect("RetrieveProperties", ObjectSpecText("specSet", "VirtualMachine", "vm-101"))
            .status);
}

TEST(Sessions, OneSessionCanEndAnother) {
    Simulator server(Small());
    server.RunInThread();
    SoapClient first(server.Url()), second(server.Url());
    first.Login();
    const std::string key = second.Login("observer").Between("<key>", "<");
    const std::string known =
        Argument("sessionID", "string", key) + Argument("userName", "string", "observer");
    EXPECT_TRUE(Manage(first, "SessionIsActive", known).Has("<returnval>true</returnval>"));
    EXPECT_EQ(200, Manage(first, "TerminateSession", Argument("sessionId", "string", key)).status);
    EXPECT_TRUE(Manage(first, "SessionIsActive", known).Has("<returnval>false</returnval>"));
    EXPECT_EQ("NotAuthenticated", Manage(second, "AcquireCloneTicket").Fault());
}

TEST(Sessions, TheListHasTheActivityOfNow) {
    Simulator server(Small());
    server.RunInThread();
    SoapClient first(server.Url()), second(server.Url());
    first.Login();
    second.Login("observer");
    for (int i = 0; i < 3; i++)
        second.Call("CurrentTime", "ServiceInstance", "ServiceInstance");
    const SoapReply list =
        first.Collect("RetrieveProperties", ObjectSpecText("specSet", "SessionManager",
                                                           "SessionManager", {"sessionList"}));
    EXPECT_EQ(2, list.Count("<UserSession "));
    EXPECT_TRUE(list.Has("<callCount>3</callCount>")) << list.body;
}

TEST(Sessions, TheSecondServiceHasItsOwn) {
    Simulator server(Small());
    server.RunInThread();
    SoapClient client(server.FerryUrl() + "/sdk");
    EXPECT_TRUE(client.Get(server.FerryUrl() + "/ferryServiceVersions.xml")
                    .Has("<name>urn:ferry</name>\n    <version>5.0</version>"));
    const SoapReply content = client.Post(SoapClient::Text(
        "FerryRetrieveServiceContent", "FerryServiceInstance", "ServiceInstance", "", "ferry"));
    EXPECT_TRUE(content.Has("<FerryRetrieveServiceContentResponse xmlns=\"urn:ferry\"><returnval "
                            "xsi:type=\"FerryServerContent\"><sessionManager "
                            "type=\"FerrySessionManager\">FerrySessionManager</sessionManager>"));
    const SoapReply login = client.Post(SoapClient::Text(
        "FerryLogin", "FerrySessionManager", "FerrySessionManager",
        Argument("userName", "string", "administrator") + Argument("password", "string", "secret"),
        "ferry"));
    EXPECT_TRUE(login.Has("xsi:type=\"FerryUserSession\""));
    EXPECT_EQ(1, server.NumSessions());
}

} // namespace
