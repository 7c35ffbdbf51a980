// Connecting: the requests of each kind of connection, what ends the chain, and the way back.
#include "tests/ozy/lib/orvane/sessionFixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class Connect : public SessionTest {};

TEST_F(Connect, SendsWhatTheServiceExpects) {
    orvane_session_set_useragent(session, "tests/1");
    EXPECT_EQ("success", SessionTest::Connect());
    EXPECT_THAT(states, ElementsAre(ORVANE_SESSION_CONNECTING, ORVANE_SESSION_CONNECTED));
    EXPECT_STREQ("ozy25/6.0", orvane_session_get_version(session));
    EXPECT_STREQ("ozy25", orvane_session_get_namespace(session));
    EXPECT_THAT(service->Methods(), ElementsAre("GET /sdk/ozyServiceVersions.xml",
                                                "RetrieveServiceContent", "Login", "CreateFilter"));

    const std::string host = "Host: 127.0.0.1:" + std::to_string(service->server.Port()) + "\r\n";
    EXPECT_EQ("GET /sdk/ozyServiceVersions.xml HTTP/1.1\r\n" + host +
                  "User-Agent: tests/1\r\nAccept: text/xml",
              service->Last("ozyServiceVersions.xml").head);
    const CannedRequest login = service->Last("Login");
    EXPECT_EQ("POST /sdk HTTP/1.1\r\n" + host +
                  "User-Agent: tests/1\r\n"
                  "Content-Type: text/xml; charset=utf-8\r\nSOAPAction: \"urn:ozy25/6.0\"\r\n"
                  "Content-Length: " +
                  std::to_string(login.body.size()),
              login.head);
    EXPECT_EQ(Envelope("<Login xmlns=\"urn:ozy25\"><_this type=\"SessionManager\">SessionManager"
                       "</_this><userName xsi:type=\"xsd:string\">root</userName>"
                       "<password xsi:type=\"xsd:string\">pass&lt;word&gt;</password></Login>"),
              login.body);
}

} // namespace
