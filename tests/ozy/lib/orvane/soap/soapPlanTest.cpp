#include "tests/lib/lock/inThreads.h"
#include "tests/ozy/lib/orvane/soap/keeper.h"
#include "tests/support/logText.h"

namespace {

constexpr auto kFlags = static_cast<GParamFlags>(G_PARAM_READWRITE);
constexpr auto kOptional = static_cast<GParamFlags>(G_PARAM_READWRITE | 1 << G_PARAM_USER_SHIFT);
constexpr auto kConstruct = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_CONSTRUCT_ONLY);

/* Every kind of value. "made" is set by construction; "seen" has no version and never reaches the wire. */
std::vector<Kept> Properties() {
    return {
        {g_param_spec_string("made", "", "", "by default", kConstruct)},
        {g_param_spec_int("short", "", "", -32768, 32767, 0, kOptional)},
        {g_param_spec_uint("uint", "", "", 0, G_MAXUINT, 0, kOptional)},
        {g_param_spec_uint64("uint64", "", "", 0, G_MAXUINT64, 0, kOptional)},
        {g_param_spec_long("long", "", "", G_MINLONG, G_MAXLONG, 0, kOptional)},
        {g_param_spec_ulong("ulong", "", "", 0, G_MAXULONG, 0, kOptional)},
        {g_param_spec_uchar("uchar", "", "", 0, 255, 0, kOptional)},
        {g_param_spec_char("char", "", "", -128, 127, 0, kOptional)},
        {g_param_spec_float("float", "", "", -G_MAXFLOAT, G_MAXFLOAT, 0, kOptional)},
        {g_param_spec_double("double", "", "", -G_MAXDOUBLE, G_MAXDOUBLE, 0, kOptional)},
        {g_param_spec_boxed("bytes", "", "", ORVANE_TYPE_BYTE_ARRAY, kOptional)},
        {g_param_spec_boxed("time", "", "", ORVANE_TYPE_TIMEVAL, kOptional)},
        {g_param_spec_boxed("uri", "", "", ORVANE_TYPE_URI, kOptional)},
        {g_param_spec_boxed("any", "", "", G_TYPE_VALUE, kOptional)},
        {g_param_spec_boxed("uris", "", "", G_TYPE_VALUE_ARRAY, kOptional), ORVANE_TYPE_URI},
        {g_param_spec_enum("op", "", "", orvane_lookup_type("PropertyChangeOp"), 0, kOptional)},
        {g_param_spec_string("seen", "", "", nullptr, kFlags), 0, false},
    };
}

GType Register(const char *name) {
    const GType type = RegisterKeeper(orvane_lookup_type("DataObject"), name, Properties);
    g_type_set_qdata(type, orvane_quark_wsdlname(), const_cast<char *>("Custom"));
    return type;
}

GType CustomType() {
    static const GType type = Register("TestSoapCustom");
    return type;
}

TEST(SoapPlan, AClassOfTheApplicationCrossesTheWireInEveryKind) {
    const std::string text =
        "<c xsi:type=\"Custom\"><made xsi:type=\"xsd:string\">by the reply</made>"
        "<short xsi:type=\"xsd:int\">-32768</short>"
        "<uint xsi:type=\"xsd:unsignedInt\">4294967295</uint>"
        "<uint64 xsi:type=\"xsd:unsignedLong\">18446744073709551615</uint64>"
        "<long xsi:type=\"xsd:long\">-5</long>"
        "<ulong xsi:type=\"xsd:unsignedLong\">5</ulong>"
        "<uchar xsi:type=\"xsd:unsignedBtype\">255</uchar>"
        "<char xsi:type=\"xsd:byte\">-128</char>"
        "<float xsi:type=\"xsd:float\">1.500000</float>"
        "<double xsi:type=\"xsd:double\">-0.250000</double>"
        "<bytes xsi:type=\"xsd:base64Binary\">AP8Q</bytes>"
        "<time xsi:type=\"xsd:dateTime\">2014-03-01T09:26:53Z</time>"
        "<uri xsi:type=\"xsd:anyURI\">http://h/?a&amp;b</uri>"
        "<any xsi:type=\"xsd:int\">7</any>"
        "<uris xsi:type=\"xsd:anyURI\">a:</uris><uris xsi:type=\"xsd:anyURI\">b:</uris>"
        "<op xsi:type=\"PropertyChangeOp\">assign</op></c>";
    const Value value = ReadElement(text, CustomType());
    ASSERT_NE(nullptr, value.Object());
    EXPECT_EQ(text, Written("c", value.get(), "ozy25/6.0"));
}

TEST(SoapPlan, WhatAPropertyRefusesStaysOutOfTheObject) {
    LogRing_Clear();
    const Value value = ReadElement("<c><short>32768</short><float>inf</float><double>nan</double>"
                                    "<uchar>7</uchar><seen>yes</seen></c>",
                                    CustomType());
    ASSERT_NE(nullptr, value.Object());
    for (const char *name : {"short", "float", "double"})
        EXPECT_FALSE(IsMarked(value.Object(), name)) << name;
    EXPECT_TRUE(IsMarked(value.Object(), "uchar"));
    EXPECT_EQ("yes", GetString(value.Object(), "seen"));
    EXPECT_EQ("<c xsi:type=\"Custom\"><made xsi:type=\"xsd:string\">by default</made>"
              "<uchar xsi:type=\"xsd:unsignedBtype\">7</uchar></c>",
              Written("c", value.get(), ""));
    EXPECT_THAT(LogText(), HasSubstr("SOAP: the property short of TestSoapCustom does "
                                     "not take what a reply has for it\n"));
}

TEST(SoapPlan, TwoThreadsGetTheSamePlan) {
    const GType type = Register("TestSoapRaced");
    const SoapPlan *plans[2] = {};
    InThreads(2, [&](int i) { plans[i] = OrvaneSoapPlan_Get(type); });
    ASSERT_NE(nullptr, plans[0]);
    EXPECT_EQ(plans[0], plans[1]);
    EXPECT_EQ(plans[0], OrvaneSoapPlan_Get(type));
}

TEST(SoapPlan, EveryPropertyIsFoundFromAnyGuess) {
    const SoapPlan *plan = OrvaneSoapPlan_Get(orvane_lookup_type("UserSession"));
    for (std::size_t i = 0; i < plan->properties.size(); i++) {
        for (gint likely : {-1, 0, static_cast<gint>(i), 999})
            EXPECT_EQ(static_cast<gint>(i),
                      OrvaneSoapPlan_Find(plan, plan->properties[i].name.c_str(), likely));
    }
    EXPECT_EQ(-1, OrvaneSoapPlan_Find(plan, "nothing", 0));
    EXPECT_EQ(nullptr, OrvaneSoapPlan_Get(G_TYPE_STRING));
}

} // namespace
