#include "tests/ozy/lib/orvane/soap/soapFixture.h"

namespace {

/* What a fault reads as: "InvalidLogin code|message", or "-" if it is none. */
std::string Shown(const Value &value) {
    GObject *object = value.IsSet() ? value.Object() : nullptr;
    if (object == nullptr || !g_type_is_a(G_OBJECT_TYPE(object), orvane_lookup_type("MethodFault")))
        return "-";
    const auto *fault = reinterpret_cast<SkemaQormMethodFault *>(object);
    const auto *name =
        static_cast<const char *>(g_type_get_qdata(G_OBJECT_TYPE(object), orvane_quark_wsdlname()));
    return std::string(name) + " " + (fault->fault_code != nullptr ? fault->fault_code : "NULL") +
           "|" + (fault->fault_string != nullptr ? fault->fault_string : "NULL");
}

std::string ReadFault(const std::string &inner) {
    const Element element("<soapenv:Fault>" + inner + "</soapenv:Fault>");
    Value value;
    const bool isRead = orvane_soap_deserialize_fault(nullptr, element, value.get());
    EXPECT_EQ(isRead, Shown(value) != "-") << inner;
    return Shown(value);
}

TEST(SoapFault, ASoapFaultByItsDetail) {
    const std::pair<const char *, const char *> rows[] = {
        {"<faultcode>c</faultcode><faultstring>s</faultstring>"
         "<detail><f xsi:type='InvalidLogin'/></detail>",
         "InvalidLogin c|s"},
        {"<detail> <NotAuthenticatedFault/><InvalidLoginFault/></detail><faultcode>c</faultcode>",
         "NotAuthenticated c|NULL"},
        {"<faultstring/><soapenv:faultcode>c</soapenv:faultcode>"
         "<detail><InvalidLoginFault/></detail>",
         "InvalidLogin c|NULL"},
        {"<detail><f xsi:type='LocalizedMethodFault'><fault xsi:type='InvalidLogin'/>"
         "<localizedMessage>m</localizedMessage></f></detail><faultstring>s</faultstring>",
         "InvalidLogin NULL|s"},
        {"<detail><InvalidLoginFault/></detail><detail><NotAuthenticatedFault/></detail>",
         "NotAuthenticated NULL|NULL"},
        {"<detail><InvalidLoginFault/></detail><detail/>", "InvalidLogin NULL|NULL"},
        {"<faultcode>c</faultcode><faultstring>s</faultstring><detail/>", "-"},
        {"<faultcode>c</faultcode><faultstring>s</faultstring>", "-"},
        {"<faultstring>s</faultstring><detail><f xsi:type='FromTheFuture'/></detail>", "-"},
        {"<detail><f xsi:type='xsd:string'>text</f></detail>", "-"},
        {"<detail><f xsi:type='WaitOptions'/></detail>", "-"},
        {"", "-"},
    };
    for (const auto &[text, wanted] : rows)
        EXPECT_EQ(wanted, ReadFault(text)) << text;
}

TEST(SoapFault, WrappersYieldTheFaultInside) {
    const std::pair<const char *, const char *> rows[] = {
        {"<e xsi:type='LocalizedMethodFault'><fault xsi:type='InvalidLogin'/>"
         "<localizedMessage>m</localizedMessage></e>",
         "InvalidLogin NULL|m"},
        {"<e xsi:type='LocalizedMethodFault'><localizedMessage>m</localizedMessage>"
         "<fault xsi:type='InvalidLogin'/></e>",
         "InvalidLogin NULL|m"},
        {"<e xsi:type='LocalizedMethodFault'><fault xsi:type='InvalidLogin'/></e>",
         "InvalidLogin NULL|NULL"},
        {"<e xsi:type='UnexpectedFault'><faultName>n</faultName><fault "
         "xsi:type='InvalidLogin'/></e>",
         "InvalidLogin NULL|NULL"},
        {"<e xsi:type='UnexpectedFault'><faultName>n</faultName></e>", "UnexpectedFault NULL|NULL"},
        {"<e xsi:type='UnexpectedFault'><fault>no type</fault></e>", "UnexpectedFault NULL|NULL"},
        {"<e xsi:type='UnexpectedFault'><fault xsi:type='xsd:string'>s</fault></e>",
         "UnexpectedFault NULL|NULL"},
        {"<e xsi:type='UnexpectedFault'><fault xsi:type='InvalidLogin'/><fault/></e>",
         "UnexpectedFault NULL|NULL"},
        {"<e xsi:type='LocalizedMethodFault'><fault xsi:type='LocalizedMethodFault'>"
         "<fault xsi:type='InvalidLogin'/><localizedMessage>in</localizedMessage></fault>"
         "<localizedMessage>out</localizedMessage></e>",
         "InvalidLogin NULL|out"},
        {"<e xsi:type='LocalizedMethodFault'><localizedMessage>m</localizedMessage></e>", "-"},
    };
    for (const auto &[text, wanted] : rows)
        EXPECT_EQ(wanted, Shown(ReadElement(text, 0))) << text;
}

TEST(SoapFault, APropertyOfAFaultsTypeReceivesTheFaultInside) {
    Value info;
    EXPECT_TRUE(ReadReply(ReplyText("taskFailed.xml"),
                          {"WaitForTask", orvane_lookup_type("TaskInfo")}, &info));
    const auto fault = GetObject<SkemaQormMethodFault>(info.Object(), "error");
    ASSERT_NE(nullptr, fault);
    EXPECT_EQ("spec.name", GetString(fault.get(), "invalidProperty"));
    EXPECT_STREQ("A specified parameter was not correct.", fault->fault_string);
}

TEST(SoapFault, ACauseIsUnwrappedToo) {
    const Value value = ReadElement(
        "<e xsi:type='InvalidLogin'><faultCause xsi:type='LocalizedMethodFault'>"
        "<fault "
        "xsi:type='NotAuthenticated'/><localizedMessage>m</localizedMessage></faultCause></e>",
        0);
    const auto cause = GetObject<SkemaQormMethodFault>(value.Object(), "faultCause");
    ASSERT_NE(nullptr, cause);
    EXPECT_EQ(orvane_lookup_type("NotAuthenticated"), G_OBJECT_TYPE(cause.get()));
    EXPECT_STREQ("m", cause->fault_string);
}

/* So many elements of a class, one in the other; each has a number that cannot be read. */
std::string Nested(const char *type, int levels, const std::string &innermost) {
    const std::string start =
        std::string("<fault xsi:type='") + type +
        "'><faultMessage><arg><value xsi:type='xsd:int'/></arg></faultMessage>"
        "<faultCause><faultMessage><arg><value xsi:type='xsd:int'/></arg>"
        "</faultMessage></faultCause>";
    return Times(levels, start) + innermost + Times(levels, "</fault>");
}

TEST(SoapFault, NestedFaultsAreReadABoundedNumberOfTimes) {
    const struct {
        const char *type;
        const char *innermost;
        const char *wanted;
    } rows[] = {
        {"LocalizedMethodFault", "", "-"},
        {"LocalizedMethodFault", "<fault/>", "-"},
        {"LocalizedMethodFault", "<fault xsi:type='WaitOptions'/>", "-"},
        {"LocalizedMethodFault", "<fault xsi:type='InvalidLogin'/>", "InvalidLogin NULL|NULL"},
        {"UnexpectedFault", "<fault/>", "UnexpectedFault NULL|NULL"},
        {"UnexpectedFault", "<fault xsi:type='InvalidLogin'/><fault/>",
         "UnexpectedFault NULL|NULL"},
    };
    constexpr int kLevels = 190;
    for (const auto &row : rows) {
        const Warnings warnings;
        EXPECT_EQ(row.wanted, Shown(ReadElement(Nested(row.type, kLevels, row.innermost), 0)))
            << row.type << row.innermost;
        /* one for each time that a number was read, of two in an element */
        EXPECT_GE(std::size_t(4 * kLevels), warnings.texts.size()) << row.type << row.innermost;
    }
}

} // namespace
