#include "tests/ozy/lib/orvane/schema/shownValue.h"

namespace {

/* The value as text: its type's name and what it holds. */
std::string Shown(const GValue *value) {
    return G_IS_VALUE(value)
               ? G_VALUE_TYPE_NAME(value) + std::string(" ") + schemaKinds::Show(value)
               : "(unset)";
}

TEST(SoapRead, TheTypeTables) {
    const auto expect = [](const std::string &name, GType type, GType elementType) {
        GType element = 99;
        EXPECT_EQ(type, orvane_soap_lookup_type(name.c_str(), &element)) << name;
        EXPECT_EQ(elementType, element) << name;
    };
    const std::pair<std::string, GType> kinds[] = {
        {"Boolean", G_TYPE_BOOLEAN},
        {"Byte", G_TYPE_CHAR},
        {"Short", G_TYPE_INT},
        {"INT", G_TYPE_INT},
        {"Long", G_TYPE_INT64},
        {"Float", G_TYPE_FLOAT},
        {"Double", G_TYPE_DOUBLE},
        {"STRING", G_TYPE_STRING},
        {"AnyURI", ORVANE_TYPE_URI},
        {"dateTime", ORVANE_TYPE_TIMEVAL},
        {"Base64Binary", ORVANE_TYPE_BYTE_ARRAY},
    };
    for (const auto &[word, type] : kinds) {
        expect("xsd:" + word, type, 0);
        expect("ArrayOf" + word, G_TYPE_VALUE_ARRAY, type);
    }
    expect("xsd:unsignedBtype", G_TYPE_UCHAR, 0);
    expect("xsd:unsignedShort", G_TYPE_UINT, 0);
    expect("xsd:unsignedInt", G_TYPE_UINT, 0);
    expect("xsd:unsignedLong", G_TYPE_UINT64, 0);
    expect("ArrayOfManagedObjectReference", G_TYPE_VALUE_ARRAY, 0);
    for (const char *unknown : {"int", "xsd:unsignedByte", "xs:int", "xsd:ArrayOfInt", ""})
        expect(unknown, 0, 0);
}

TEST(SoapRead, AttributesNarrowATypeAndNeverContradictIt) {
    const GType base = orvane_lookup_type("SelectionSpec");
    const GType sub = orvane_lookup_type("TraversalSpec");
    const struct {
        const char *text;
        GType expected;
        GType wanted; /* 0: not read */
    } rows[] = {
        {"<v xsi:type='TraversalSpec'/>", base, sub},
        {"<v xsi:type='ozy25:TraversalSpec'/>", base, sub},
        {"<v type='TraversalSpec'/>", base, sub},
        {"<v xsi:type='SelectionSpec'/>", sub, sub},
        {"<v xsi:type='WaitOptions'/>", base, base},
        {"<v xsi:type='FromTheFuture'/>", base, base},
        {"<v xsi:type='xsd:int'/>", base, base},
        {"<v/>", base, base},
        {"<v xsi:type='xsd:int'>5</v>", G_TYPE_STRING, G_TYPE_STRING},
        {"<v xsi:type='XSD:INT'>5</v>", 0, G_TYPE_INT},
        {"<v xsi:type='int'>5</v>", 0, 0},
        {"<v xsd:type='xsd:int'>5</v>", 0, 0},
        {"<v type='SelectionSpec' xsi:type='TraversalSpec'/>", 0, sub},
        {"<v type='TraversalSpec' xsi:type='SelectionSpec'/>", 0, sub},
        {"<v type='WaitOptions' xsi:type='TraversalSpec'/>", base, sub},
        {"<v xsi:type='Traversal&#83;pec'/>", base, sub},
        {"<v xsi:type=''/>", base, base},
        {"<SelectionSpec/>", 0, base},
        {"<NotAuthenticatedFault/>", 0, orvane_lookup_type("NotAuthenticated")},
        {"<NotAuthenticatedFaultFault/>", 0, 0},
        {"<InvalidLoginFaultInfo/>", 0, orvane_lookup_type("InvalidLogin")},
        {"<Fault/>", 0, 0},
        {"<FromTheFuture xsi:type='FromTheFuture'/>", 0, 0},
        {"<v xsi:type='ReflectManagedMethodExecuterSoapFault'/>", 0, 0},
    };
    for (const auto &row : rows)
        EXPECT_STREQ(row.wanted != 0 ? g_type_name(row.wanted) : "", [&] {
            const Value value = ReadElement(row.text, row.expected);
            return value.IsSet() ? G_VALUE_TYPE_NAME(value.get()) : "";
        }()) << row.text;
}

TEST(SoapRead, TheContentIsTheFirstTextAndNoOther) {
    const std::pair<const char *, const char *> rows[] = {
        {"<v xsi:type='xsd:string'>one<!-- -->two</v>", "gchararray \"one\""},
        {"<v xsi:type='xsd:string'><![CDATA[no]]></v>", "gchararray NULL"},
        {"<v xsi:type='xsd:string'><![CDATA[no]]>yes</v>", "gchararray \"yes\""},
        {"<v xsi:type='TaskInfoState'>paused</v>", "(unset)"},
        {"<v>5</v>", "(unset)"},
    };
    for (const auto &[text, wanted] : rows) {
        Value value = ReadElement(text, G_TYPE_VALUE);
        const auto *held =
            value.IsSet() ? static_cast<GValue *>(g_value_get_boxed(value.get())) : value.get();
        EXPECT_EQ(wanted, Shown(held)) << text;
    }
}

TEST(SoapRead, ArraysKeepWhatCanBeRead) {
    const struct {
        const char *text;
        std::vector<std::string> wanted;
    } rows[] = {
        {"<v xsi:type='ArrayOfString'/>", {}},
        {"<v xsi:type='ArrayOfString'> text "
         "<string>a</string><other>b</other><string>c</string></v>",
         {"gchararray \"a\"", "gchararray \"c\""}},
        {"<v xsi:type='ArrayOfInt'><int>1</int><int>x</int><int/><int "
         "xsi:type='xsd:string'>4</int></v>",
         {"gint 1", "gint 4"}},
        {"<v xsi:type='ArrayOfAnything'><e xsi:type='xsd:int'>1</e><e>2</e><e "
         "xsi:type='xsd:string'>3</e></v>",
         {"gint 1", "gchararray \"3\""}},
        {"<v xsi:type='ArrayOfSelectionSpec'><SelectionSpec/><SelectionSpec "
         "xsi:type='TraversalSpec'/></v>",
         {"SkemaQormCorePropertyCollectorSelectionSpec a SelectionSpec",
          "SkemaQormCorePropertyCollectorTraversalSpec a TraversalSpec"}},
    };
    const Warnings quiet;
    for (const auto &row : rows) {
        const Value value = ReadElement(row.text, 0);
        ASSERT_NE(nullptr, value.Array()) << row.text;
        std::vector<std::string> shown;
        for (guint i = 0; i < value.Array()->n_values; i++)
            shown.push_back(Shown(&value.Array()->values[i]));
        EXPECT_EQ(row.wanted, shown) << row.text;
    }
}

TEST(SoapRead, AnArrayFromAGivenElementOn) {
    const Element first("<a>1</a><b/><a>2</a>");
    Value value;
    EXPECT_TRUE(orvane_soap_deserialize_value_array(nullptr, first, G_TYPE_INT64, value.get()));
    ASSERT_EQ(2u, value.Array()->n_values);
    EXPECT_EQ("gint64 2", Shown(&value.Array()->values[1]));

    Value empty;
    EXPECT_TRUE(orvane_soap_deserialize_value_array(nullptr, nullptr, G_TYPE_INT64, empty.get()));
    EXPECT_EQ(0u, empty.Array()->n_values);
}

TEST(SoapRead, ObjectsTakeWhatTheirClassNames) {
    const Value value = ReadElement("<v><future>1</future><pathSet>a</pathSet><type>Task</type>"
                                    "<pathSet xsi:type='xsd:int'>2</pathSet><type>later</type>"
                                    "<!-- --><all>maybe</all><pathSet/></v>",
                                    orvane_lookup_type("PropertySpec"));
    GObject *object = value.Object();
    ASSERT_NE(nullptr, object);
    EXPECT_EQ("Task", GetString(object, "type")) << "the first of two counts";
    EXPECT_FALSE(IsMarked(object, "all")) << "a value that cannot be read is left out";
    EXPECT_FALSE(IsMarked(object, "dynamicType"));
    EXPECT_TRUE(IsMarked(object, "pathSet"));
    const auto paths = GetList(object, "pathSet");
    ASSERT_NE(nullptr, paths);
    ASSERT_EQ(3u, paths->n_values);
    EXPECT_STREQ("2", g_value_get_string(&paths->values[1]));
    EXPECT_EQ(nullptr, g_value_get_string(&paths->values[2]));
}

TEST(SoapRead, ReadingGoesOnBehindABadProperty) {
    const Warnings quiet;
    const Value value =
        ReadElement("<v><key>k</key><loginTime>never</loginTime>"
                    "<callCount>many</callCount><extensionSession>1</extensionSession></v>",
                    orvane_lookup_type("UserSession"));
    ASSERT_NE(nullptr, value.Object());
    EXPECT_TRUE(GetNumber<gboolean>(value.Object(), "extensionSession"));
    EXPECT_EQ("k", GetString(value.Object(), "key"));
}

TEST(SoapRead, AReferenceNeedsASessionAndAnId) {
    Warnings warnings;
    EXPECT_FALSE(ReadElement("<v type='Task'>task-1</v>", 0).IsSet());
    EXPECT_EQ((std::vector<std::string>{
                  "orvane_soap_deserialize_managed_object: assertion 'session' failed"}),
              warnings.texts);
}

TEST(SoapRead, DeepNestingIsReadToTheParsersLimit) {
    const auto nested = [](int levels) {
        return Times(levels, "<selectSet xsi:type='TraversalSpec'>") +
               Times(levels, "</selectSet>");
    };
    EXPECT_TRUE(ReadElement(nested(250), 0).IsSet());
    EXPECT_EQ(nullptr, static_cast<xmlNode *>(Element(nested(300))));
}

TEST(SoapReply, AMethodWithoutResultHasNone) {
    for (GType type : {GType(0), G_TYPE_NONE, G_TYPE_STRING}) {
        Value value = StringValue("before");
        EXPECT_TRUE(ReadReply(ReplyText("cancelTask.xml"), {"CancelTask", type}, &value));
        EXPECT_FALSE(value.IsSet());
    }
    Value value;
    for (GType type : {GType(0), G_TYPE_NONE}) {
        EXPECT_TRUE(ReadReply(ReplyText("currentTime.xml"), {"CurrentTime", type}, &value));
        EXPECT_FALSE(value.IsSet());
    }
    EXPECT_TRUE(
        ReadReply(ReplyText("cancelTask.xml"), {"CancelTask", G_TYPE_STRING, true}, &value));
    EXPECT_FALSE(value.IsSet()) << "an absent list is no empty list";
}

TEST(SoapReply, ResultsByTheDeclaredType) {
    Value login;
    EXPECT_TRUE(
        ReadReply(ReplyText("login.xml"), {"Login", orvane_lookup_type("UserSession")}, &login));
    EXPECT_EQ(G_GINT64_CONSTANT(4294967297), GetNumber<gint64>(login.Object(), "callCount"));
    EXPECT_EQ("Ada & Co. <ops>", GetString(login.Object(), "fullName"));
    EXPECT_EQ("(NULL)", GetString(login.Object(), "userAgent"));
}

TEST(SoapReply, AListIsAllReturnvalSiblings) {
    Value contents;
    EXPECT_TRUE(ReadReply(ReplyText("retrieveContents.xml"),
                          {"RetrieveProperties", orvane_lookup_type("ObjectContent"), true},
                          &contents));
    ASSERT_EQ(2u, contents.Array()->n_values);
    // "obj" is required and has no reference here: nothing is written for it.
    EXPECT_EQ("<c xsi:type=\"ObjectContent\"><propSet xsi:type=\"DynamicProperty\">"
              "<name xsi:type=\"xsd:string\">name</name><val xsi:type=\"xsd:string\">web-02</val>"
              "</propSet></c>",
              Written("c", &contents.Array()->values[1], ""));
    Value one;
    EXPECT_TRUE(
        ReadReply(ReplyText("currentTime.xml"), {"CurrentTime", ORVANE_TYPE_TIMEVAL, true}, &one));
    EXPECT_EQ(1u, one.Array()->n_values);
}

TEST(SoapReply, OnlyTheSoapenvPrefixAndTheRightMethodAreRead) {
    const auto body = [](const std::string &text) {
        return "<e:Envelope xmlns:e='http://schemas.xmlsoap.org/soap/envelope/' "
               "xmlns:soapenv='http://schemas.xmlsoap.org/soap/envelope/'>" +
               text + "</e:Envelope>";
    };
    const std::pair<const char *, bool> rows[] = {
        {"<soapenv:Body><AResponse><returnval>1</returnval></AResponse></soapenv:Body>", true},
        {"<soapenv:Body><x/>text<BResponse/><AResponse><y/><returnval>1</returnval></AResponse></"
         "soapenv:Body>",
         true},
        {"<soapenv:Body><AResponse><returnval>x</returnval></AResponse><AResponse><returnval>1</"
         "returnval></AResponse></soapenv:Body>",
         true},
        {"<e:Body><AResponse><returnval>1</returnval></AResponse></e:Body>", false},
        {"<Body><AResponse><returnval>1</returnval></AResponse></Body>", false},
        {"<soapenv:Body><BResponse><returnval>1</returnval></BResponse></soapenv:Body>", false},
        {"<soapenv:Body><AResponse><returnval>x</returnval></AResponse></soapenv:Body>", false},
        {"<soapenv:Body/>", false},
    };
    const Warnings quiet;
    for (const auto &[text, isRead] : rows) {
        Value value;
        EXPECT_EQ(isRead, ReadReply(body(text), {"A", G_TYPE_INT}, &value)) << text;
        if (isRead) {
            EXPECT_EQ("gint 1", Shown(value.get())) << text;
        }
    }
}

} // namespace
