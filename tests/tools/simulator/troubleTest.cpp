#include "tools/simulator/trouble.h"

#include "tests/tools/simulator/soapClient.h"

using namespace simulator;

namespace {

using Troubles = SimulatorTest;

SoapReply Content(SoapClient &client) {
    return client.Call("RetrieveServiceContent", "ServiceInstance", "ServiceInstance");
}

TEST_F(Troubles, OfEachKindHappensOnce) {
    /* the error and the status that a client gets, and a part of the body */
    const std::tuple<const char *, CURLcode, long, const char *> rows[] = {
        {"close", CURLE_GOT_NOTHING, 0, ""},
        {"reset", CURLE_RECV_ERROR, 0, ""},
        {"drop:bytes=100", CURLE_PARTIAL_FILE, 200, "<?xml"},
        {"page:status=502", CURLE_OK, 502, "<h1>502</h1>"},
        {"empty-body:status=500", CURLE_OK, 500, ""},
        {"not-xml", CURLE_OK, 200, "this is no XML"},
        {"dtd", CURLE_OK, 200, "<!DOCTYPE"},
        {"wrong-prefix", CURLE_OK, 200, "<soap:Body>"},
        {"fault:fault=NotSupported:message=as requested", CURLE_OK, 500,
         "<faultstring>as requested</faultstring><detail><NotSupportedFault xmlns=\"urn:ozy25\" "
         "xsi:type=\"NotSupported\"></NotSupportedFault></detail>"},
        {"fault-no-detail", CURLE_OK, 500, "</faultstring></soapenv:Fault>"},
        {"no-result", CURLE_OK, 200,
         "<RetrieveServiceContentResponse xmlns=\"urn:ozy25\"></RetrieveServiceContentResponse>"},
    };
    for (const auto &[trouble, error, status, body] : rows) {
        SCOPED_TRACE(trouble);
        SoapClient fresh(server.Url());
        server.AddTrouble(ParseTrouble(trouble));
        const SoapReply reply = Content(fresh);
        EXPECT_EQ(error, reply.error);
        EXPECT_EQ(status, reply.status);
        EXPECT_TRUE(reply.Has(body)) << reply.body;
        EXPECT_TRUE(Content(fresh).Has("</returnval>")) << "afterwards";
    }
}

TEST_F(Troubles, IsForTheMethodsAndTimesItNames) {
    server.AddTrouble(ParseTrouble("Login:fault:fault=InvalidLogin:skip=1:count=2"));
    EXPECT_EQ("", Content(client).Fault());
    for (const long status : {200, 500, 500, 200})
        EXPECT_EQ(status, client.Login().status);

    server.AddTrouble({.kind = TroubleKind::NotXml, .count = -1});
    for (int i = 0; i < 3; i++)
        EXPECT_TRUE(Content(client).Has("no XML"));
    server.ClearTroubles();
    EXPECT_TRUE(Content(client).Has("</returnval>"));
}

TEST_F(Troubles, SlowAnswersWaitForTheClock) {
    server.AddTrouble({.kind = TroubleKind::Slow, .delayMs = 60000});
    auto slow = std::async(std::launch::async, [&] { return Content(client); });
    ASSERT_TRUE(Eventually([&] { return server.NumCalls("RetrieveServiceContent") == 1; }));
    EXPECT_EQ("", server.LastReply("RetrieveServiceContent"));
    server.Advance(59999);
    EXPECT_EQ("", server.LastReply("RetrieveServiceContent"));
    server.Advance(1);
    EXPECT_EQ(200, slow.get().status);
}

TEST_F(Troubles, SilenceEndsWithAReset) {
    server.AddTrouble({.kind = TroubleKind::Silent});
    auto silent = std::async(std::launch::async, [&] { return Content(client); });
    ASSERT_TRUE(Eventually([&] { return server.NumCalls() == 1; }));
    server.ResetConnections();
    EXPECT_EQ(CURLE_RECV_ERROR, silent.get().error);
    EXPECT_TRUE(Eventually([&] { return server.NumOpenConnections() == 0; }));
}

TEST_F(Troubles, ConnectionsAreRefusedButOpenOnesStay) {
    EXPECT_EQ(CURLE_OK, Content(client).error);
    server.SetListening(false);
    SoapClient late(server.Url());
    EXPECT_EQ(CURLE_COULDNT_CONNECT, Content(late).error);
    EXPECT_EQ(CURLE_OK, Content(client).error);
    server.SetListening(true);
    EXPECT_EQ(CURLE_OK, Content(late).error);
}

TEST(VersionsDocument, HasManyForms) {
    /* the status of the document, what is in it, and the status of the WSDL */
    const std::tuple<VersionsForm, long, const char *, long> rows[] = {
        {VersionsForm::Current, 200, "<name>urn:ozy25</name>\n    <version>6.0</version>", 404},
        {VersionsForm::UnknownCurrent, 200, "<version>99.0</version>", 404},
        {VersionsForm::SeveralNamespaces, 200, "<name>urn:lodestone1</name>", 404},
        {VersionsForm::UnknownOnly, 200, "<name>urn:lodestone1</name>", 404},
        {VersionsForm::WrongRoot, 200, "<versions version=\"1.0\">", 404},
        {VersionsForm::Unusable, 200, "no XML", 404},
        {VersionsForm::Empty, 200, "", 404},
        {VersionsForm::Missing, 404, "not found", 404},
        {VersionsForm::MissingWithWsdl, 404, "not found", 200},
    };
    SimulatedService service({.machines = 1, .wsdl = false});
    auto &[server, client] = service;
    const std::string document = server.Url() + "/ozyServiceVersions.xml";
    for (const auto &[form, status, text, wsdlStatus] : rows) {
        server.SetVersionsForm(form);
        const SoapReply reply = client.Get(document);
        EXPECT_EQ(status, reply.status) << text;
        EXPECT_TRUE(reply.Has(text)) << reply.body;
        EXPECT_EQ(wsdlStatus, client.Get(server.Url() + "/ozyService?wsdl").status);
    }
    server.SetVersionsDocument("<own/>");
    EXPECT_EQ("<own/>", client.Get(document).body);
    server.AddTrouble(ParseTrouble("versions:page:status=500"));
    EXPECT_EQ(500, client.Get(document).status);
}

TEST_F(Troubles, TextsSayWhatTheyMeanOrAreRefused) {
    const Trouble trouble = ParseTrouble("Login:drop:count=-1:bytes=7");
    EXPECT_EQ("Login", trouble.method);
    EXPECT_EQ(TroubleKind::Drop, trouble.kind);
    EXPECT_EQ(-1, trouble.count);
    EXPECT_EQ(7u, trouble.bytes);
    for (const char *text : {"", "Login", "close:close", "Login:close:x",
                             "close:count=", "close:count=1x", "close:colour=red"})
        EXPECT_THROW(ParseTrouble(text), std::runtime_error) << text;
}

} // namespace
