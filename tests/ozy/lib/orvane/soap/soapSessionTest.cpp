/* What the codec takes from a session: namespace, version, and the proxies of references. */
#include "tests/ozy/lib/orvane/soap/envelope.h"
#include "tests/ozy/lib/orvane/soap/mutations.h"
#include "tests/ozy/lib/orvane/soap/soapFixture.h"

#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "tests/support/logText.h"

namespace {

/* A session as it is once its service's version is known, without a service. */
struct SoapSession : testing::Test {
    SoapSession() : session(orvane_session_new()) {
        session->priv->version = g_strdup("ozy25/4.1");
        session->priv->nameSpace = g_strdup("ozy25");
        session->priv->moMgr = orvane_momgr_new(session.get());
    }

    Value Read(const std::string &text, GType expected = 0) {
        const Element element(text);
        Value value;
        if (!orvane_soap_deserialize_value(session.get(), element, expected, value.get()))
            orvane_value_cond_unset(value.get());
        return value;
    }

    std::string Write(const char *name, const Value &value) {
        const GStringPtr out(g_string_new(nullptr));
        orvane_soap_serialize_value(session.get(), out.get(), name, value.get());
        return out->str;
    }

    ObjectPtr<OrvaneSession> session;
};

TEST_F(SoapSession, ARequestNamesTheNamespaceAndKeepsToTheVersion) {
    const ObjectPtr<GObject> login = New("UserSession");
    g_object_set(login.get(), "key", "k", "userName", "u", "fullName", "f", "locale", "l",
                 "messageLocale", "m", "extensionSession", TRUE, nullptr);
    const GTimeVal time = {1393666013, 0};
    g_object_set(login.get(), "loginTime", &time, "lastActiveTime", &time, nullptr);
    const Value value = ObjectValue(login);
    const OrvaneArgument argument{"session", value.get()};
    const GPtr<char> text(OrvaneSoap_Serialize(session.get(), "SessionManager", "SessionManager",
                                               "Impersonate", &argument, 1, nullptr));
    EXPECT_EQ(
        Envelope(
            "<Impersonate xmlns=\"urn:ozy25\"><_this type=\"SessionManager\">SessionManager</_this>"
            "<session xsi:type=\"UserSession\"><key xsi:type=\"xsd:string\">k</key>"
            "<userName xsi:type=\"xsd:string\">u</userName>"
            "<fullName xsi:type=\"xsd:string\">f</fullName>"
            "<loginTime xsi:type=\"xsd:dateTime\">2014-03-01T09:26:53Z</loginTime>"
            "<lastActiveTime xsi:type=\"xsd:dateTime\">2014-03-01T09:26:53Z</lastActiveTime>"
            "<locale xsi:type=\"xsd:string\">l</locale>"
            "<messageLocale xsi:type=\"xsd:string\">m</messageLocale></session></Impersonate>"),
        text.get());
}

TEST_F(SoapSession, AProxyOfAnotherClassIsTakenWhereThePlaceCanHoldIt) {
    const Value known = Read("<v type='ManagedEntity'>x-1</v>");
    ASSERT_NE(nullptr, known.Object());
    const struct {
        const char *text;
        const char *expected; /* NULL: anything */
        bool isTaken;
    } rows[] = {
        {"<v type='Folder'>x-1</v>", nullptr, true},
        {"<v type='Task'>x-1</v>", nullptr, true},
        {"<v type='Folder'>x-1</v>", "ManagedObject", true},
        {"<v type='Folder'>x-1</v>", "ManagedEntity", true},
        {"<v>x-1</v>", "Folder", false},
        {"<v type='Folder'>x-1</v>", "Folder", false},
    };
    const Warnings warnings;
    for (const auto &row : rows) {
        const Value value =
            Read(row.text, row.expected != nullptr ? orvane_lookup_type(row.expected) : 0);
        EXPECT_TRUE(value.IsSet());
        EXPECT_EQ(row.isTaken ? known.Object() : nullptr, value.Object()) << row.text;
    }
    const Value update =
        Read("<v xsi:type='ObjectUpdate'><obj type='VirtualMachine'>x-1</obj></v>");
    EXPECT_EQ(known.Object(), GetObject(update.Object(), "obj").get());
    EXPECT_THAT(warnings.texts, IsEmpty());
}

TEST_F(SoapSession, NoReplyRaisesAMessageOfGLibIfChecksGoToTheLog) {
    const char *files[] = {"retrieveProperties.xml", "taskFailed.xml", "faultInvalidLogin.xml",
                           "login.xml", "retrieveContents.xml"};
    const char *types[] = {"RetrieveResult", "TaskInfo", "UserSession", "ObjectContent"};
    const Value known = Read("<v type='ManagedEntity'>x-1</v>");
    std::mt19937 random(1);
    const Warnings warnings;
    orvane_set_reader_checks_to_log(TRUE);
    LogRing_Clear();
    for (int i = 0; i < 1500; i++) {
        const std::string text = Changed(ReplyText(files[i % 5]), &random);
        const SoapTreePtr tree(OrvaneSoapTree_Parse(text.data(), text.size(), "test", 0));
        const auto *root = tree != nullptr ? OrvaneSoapTree_Root(tree.get()) : nullptr;
        xmlNode *body = root != nullptr ? FindElement(root->children, "Body") : nullptr;
        for (xmlNode *node = body; node != nullptr; node = OrvaneSoapFirstElement(node)) {
            Value value;
            orvane_soap_deserialize_value(session.get(), node, orvane_lookup_type(types[i % 4]),
                                          value.get());
        }
    }
    orvane_set_reader_checks_to_log(FALSE);
    EXPECT_THAT(LogText(), HasSubstr("SOAP: orvane_soap_deserialize_"));
    EXPECT_THAT(warnings.texts, IsEmpty());
}

TEST_F(SoapSession, AReferenceWithoutIdIsAFailedCheck) {
    const Warnings warnings;
    EXPECT_FALSE(Read("<v type='Task'/>").IsSet());
    EXPECT_EQ((std::vector<std::string>{
                  "orvane_soap_deserialize_managed_object: assertion 'content' failed"}),
              warnings.texts);
}

TEST_F(SoapSession, AnIdOfAnotherClassStaysOutOfAnObject) {
    const Value folder = Read("<v type='Folder'>x-1</v>");
    const Value info =
        Read("<v><task type='Task'>x-1</task><key>k</key></v>", orvane_lookup_type("TaskInfo"));
    ASSERT_NE(nullptr, info.Object());
    EXPECT_EQ(nullptr, GetObject(info.Object(), "task"));
    EXPECT_EQ("k", GetString(info.Object(), "key"));
}

TEST_F(SoapSession, AnUpdateOfAKeyWithoutAnElementIsAFailedCheck) {
    const Value a = StringValue("a");
    const ObjectPtr<GObject> object = New("PropertySpec");
    g_object_set(object.get(), "type", "t", "pathSet", ArrayValue({&a}).Array(), nullptr);
    for (const bool isToLog : {false, true}) {
        const Warnings warnings;
        orvane_set_reader_checks_to_log(isToLog);
        for (const char *path : {"pathSet[\"b\"]", "pathSet[x]"})
            orvane_momgr_remove_element(session->priv->moMgr, object.get(), path);
        orvane_set_reader_checks_to_log(FALSE);
        EXPECT_EQ(isToLog, warnings.texts.empty());
    }
    EXPECT_THAT(Write("p", ObjectValue(object)), HasSubstr(">a</pathSet>"));
}

} // namespace
