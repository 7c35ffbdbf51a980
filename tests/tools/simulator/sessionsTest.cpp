#include "tests/support/temporaryFolder.h"
#include "tests/tools/simulator/soapClient.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

using simulator::Simulator;

namespace {

constexpr char kManager[] = "SessionManager";

using Sessions = SimulatorTest;

SoapReply Manage(SoapClient &client, const std::string &method, const std::string &arguments = "") {
    return client.Call(method, kManager, kManager, arguments);
}

TEST_F(Sessions, LoginGivesACookieWithWhichCallsAreAllowed) {
    EXPECT_EQ("NotAuthenticated", client.CurrentTime().Fault());

    const SoapReply reply = client.Login();
    EXPECT_EQ(200, reply.status);
    EXPECT_NE(std::string::npos, reply.head.find("Set-Cookie: orvane_session=\""));
    EXPECT_TRUE(reply.Has("<returnval xsi:type=\"UserSession\"><key>"));
    EXPECT_TRUE(reply.Has("<userName>administrator</userName>"));
    EXPECT_EQ(1, server.NumSessions());
    EXPECT_EQ(200, client.CurrentTime().status);

    EXPECT_EQ(200, Manage(client, "Logout").status);
    EXPECT_EQ(0, server.NumSessions());
    EXPECT_EQ("NotAuthenticated", Manage(client, "Logout").Fault());
}

TEST_F(Sessions, WrongLoginsAreRefused) {
    EXPECT_EQ("InvalidLogin", client.Login("administrator", "guess").Fault());
    EXPECT_EQ("InvalidLogin", client.Login("nobody", "secret").Fault());
    EXPECT_EQ("InvalidLogin",
              Manage(client, "CloneSession", Argument("cloneTicket", "string", "x")).Fault());
    EXPECT_EQ("NotSupported",
              Manage(client, "AcquireLocalTicket", Argument("userName", "string", "administrator"))
                  .Fault());
    EXPECT_EQ(0, server.NumSessions());
}

TEST_F(Sessions, CloneTicketsServeOnce) {
    SoapClient second(server.Url());
    client.Login();
    const std::string ticket = Manage(client, "AcquireCloneTicket").Between("<returnval>", "<");
    const std::string argument = Argument("cloneTicket", "string", ticket);
    EXPECT_EQ(200, Manage(second, "CloneSession", argument).status);
    EXPECT_EQ(2, server.NumSessions());
    EXPECT_EQ("InvalidLogin", Manage(second, "CloneSession", argument).Fault());
}

TEST_F(Sessions, ATokenLoginIsChallengedFirst) {
    const SoapReply challenge =
        Manage(client, "LoginBySSPI", Argument("base64Token", "string", "SGVsbG8="));
    EXPECT_EQ("SSPIChallenge", challenge.Fault());
    EXPECT_NE("", challenge.Between("<base64Token>", "<"));
    const std::string token = "YWRtaW5pc3RyYXRvcjpzZWNyZXQ="; /* "administrator:secret" */
    EXPECT_EQ(200, Manage(client, "LoginBySSPI", Argument("base64Token", "string", token)).status);
}

TEST_F(Sessions, ALoginCostsTheSameHoweverManyThereAre) {
    const auto costOf = [&](int numLogins) {
        const size_t before = mallinfo2().uordblks;
        for (int i = 0; i < numLogins; i++)
            SoapClient(server.Url()).Login();
        return mallinfo2().uordblks - before;
    };
    const size_t first = costOf(100);
    EXPECT_LE(costOf(300), 6 * first);
}

TEST_F(Sessions, AnUnusedSessionEnds) {
    client.Login();
    server.Advance(1800000);
    EXPECT_EQ(200, client.CurrentTime().status);
    server.Advance(1800000);
    EXPECT_EQ(1, server.NumSessions()) << "the call has kept it";
    server.Advance(1);
    EXPECT_EQ(0, server.NumSessions());
}

TEST_F(Sessions, AUserWhoMayOnlyLookCannotChangeAnything) {
    client.Login("observer");
    EXPECT_EQ("NoPermission", client.Call("PowerOnVM_Task", "VirtualMachine", "vm-101").Fault());
    EXPECT_EQ(200, client.Properties("VirtualMachine", "vm-101").status);
}

TEST_F(Sessions, OneSessionCanEndAnother) {
    SoapClient second(server.Url());
    client.Login();
    const std::string key = second.Login("observer").Between("<key>", "<");
    const std::string known =
        Argument("sessionID", "string", key) + Argument("userName", "string", "observer");
    EXPECT_TRUE(Manage(client, "SessionIsActive", known).Has("<returnval>true</returnval>"));
    EXPECT_EQ(200, Manage(client, "TerminateSession", Argument("sessionId", "string", key)).status);
    EXPECT_TRUE(Manage(client, "SessionIsActive", known).Has("<returnval>false</returnval>"));
    EXPECT_EQ("NotAuthenticated", Manage(second, "AcquireCloneTicket").Fault());
}

TEST_F(Sessions, TheListHasTheActivityOfNow) {
    SoapClient second(server.Url());
    client.Login();
    second.Login("observer");
    for (int i = 0; i < 3; i++)
        second.CurrentTime();
    const SoapReply list = client.Properties("SessionManager", "SessionManager", {"sessionList"});
    EXPECT_EQ(2, list.Count("<UserSession "));
    EXPECT_TRUE(list.Has("<callCount>3</callCount>")) << list.body;
}

TEST_F(Sessions, TheSecondServiceHasItsOwn) {
    SoapClient service(server.FerryUrl() + "/sdk", "ferry");
    EXPECT_TRUE(service.Get(server.FerryUrl() + "/ferryServiceVersions.xml")
                    .Has("<name>urn:ferry</name>\n    <version>5.0</version>"));
    const SoapReply content =
        service.Call("FerryRetrieveServiceContent", "FerryServiceInstance", "ServiceInstance");
    EXPECT_TRUE(content.Has("<FerryRetrieveServiceContentResponse xmlns=\"urn:ferry\"><returnval "
                            "xsi:type=\"FerryServerContent\"><sessionManager "
                            "type=\"FerrySessionManager\">FerrySessionManager</sessionManager>"));
    EXPECT_TRUE(service.Login().Has("xsi:type=\"FerryUserSession\""));
    EXPECT_EQ(1, server.NumSessions());
}

TEST(LocalTickets, ArePasswordsInAFileForOneLogin) {
    const TemporaryFolder folder;
    {
        Simulator server({.machines = 1, .ticketDirectory = folder.Path()});
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
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path())) << "no ticket stays behind";
}

} // namespace
