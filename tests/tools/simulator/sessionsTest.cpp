#include "tests/support/temporaryFolder.h"
#include "tests/tools/simulator/soapClient.h"

#include <filesystem>

#include <malloc.h>
#include <sys/stat.h>

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

TEST(LocalTickets, ArePasswordsInAFileForOneLogin) {
    const TemporaryFolder folder;
    {
        SimulatedService service({.machines = 1, .ticketDirectory = folder.Path()});
        SoapClient &client = service.client;
        const std::string user = Argument("userName", "string", "administrator");
        const std::string path =
            Manage(client, "AcquireLocalTicket", user).Between("<passwordFilePath>", "<");
        EXPECT_EQ(S_IFREG | 0600u, ModeOf(path)) << path;
        const std::string password = FileText(path);
        EXPECT_EQ("InvalidLogin", client.Login("observer", password).Fault());
        EXPECT_EQ(200, client.Login("administrator", password).status);
        EXPECT_EQ(0u, ModeOf(path)) << "the ticket was used";
        EXPECT_EQ("InvalidLogin", client.Login("administrator", password).Fault());
        Manage(client, "AcquireLocalTicket", user); /* left over for the end */
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path())) << "no ticket stays behind";
}

} // namespace
