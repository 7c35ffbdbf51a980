#include "tests/ozy/lib/orvane/soap/soapFixture.h"

#include <clocale>

namespace {

TEST(SoapElement, NumbersOfEachSize) {
    const struct {
        decltype(orvane_soap_serialize_signed) *write;
        gsize size;
        guint64 number; /* its lowest bytes are the number */
        const char *wanted;
    } rows[] = {
        {orvane_soap_serialize_signed, 1, 0x80, "<n xsi:type=\"xsd:byte\">-128</n>"},
        {orvane_soap_serialize_unsigned, 1, 0xff, "<n xsi:type=\"xsd:unsignedBtype\">255</n>"},
        {orvane_soap_serialize_signed, 2, 0x8000, "<n xsi:type=\"xsd:short\">-32768</n>"},
        {orvane_soap_serialize_unsigned, 2, 0xffff, "<n xsi:type=\"xsd:unsignedShort\">65535</n>"},
        {orvane_soap_serialize_signed, 4, 0x80000000, "<n xsi:type=\"xsd:int\">-2147483648</n>"},
        {orvane_soap_serialize_unsigned, 4, 0xffffffff,
         "<n xsi:type=\"xsd:unsignedInt\">4294967295</n>"},
        {orvane_soap_serialize_signed, 8, guint64{1} << 63,
         "<n xsi:type=\"xsd:long\">-9223372036854775808</n>"},
        {orvane_soap_serialize_unsigned, 8, G_MAXUINT64,
         "<n xsi:type=\"xsd:unsignedLong\">18446744073709551615</n>"},
        {orvane_soap_serialize_signed, 3, 1, ""},
        {orvane_soap_serialize_unsigned, 16, 1, ""},
        {orvane_soap_serialize_unsigned, 0, 1, ""},
    };
    for (const auto &row : rows) {
        const GStringPtr out(g_string_new("before"));
        EXPECT_EQ(*row.wanted != '\0', row.write(out.get(), "n", row.size, &row.number) != FALSE);
        EXPECT_EQ(std::string("before") + row.wanted, out->str);
    }
}

/* The element that a routine writes; "-" if it writes nothing. */
template <class Write, class... Arguments>
std::string WrittenBy(Write write, const Arguments &...arguments) {
    const GStringPtr out(g_string_new(nullptr));
    const bool isWritten = write(out.get(), "n", arguments...);
    EXPECT_EQ(isWritten, out->len > 0);
    EXPECT_EQ(strlen(out->str), out->len);
    return isWritten ? out->str : "-";
}

TEST(SoapElement, ContentThatIsEscapedCutOrRefused) {
    const GType op = orvane_lookup_type("PropertyChangeOp");
    const GTimeVal time = {1393666013, 589793};
    const GTimeVal never = {0, -1};
    const GByteArray empty = {nullptr, 0};
    const Warnings quiet; /* of g_time_val_to_iso8601() */
    const std::pair<std::string, const char *> rows[] = {
        {WrittenBy(orvane_soap_serialize_string, "a<b>&'\"%d\n\x01\xc3\xa9"),
         "<n xsi:type=\"xsd:string\">a&lt;b&gt;&amp;&apos;&quot;%d\n&#x1;\xc3\xa9</n>"},
        {WrittenBy(orvane_soap_serialize_string, ""), "<n xsi:type=\"xsd:string\"></n>"},
        {WrittenBy(orvane_soap_serialize_uri, "a?b&c"), "<n xsi:type=\"xsd:anyURI\">a?b&amp;c</n>"},
        {WrittenBy(orvane_soap_serialize_bool, TRUE), "<n xsi:type=\"xsd:boolean\">1</n>"},
        {WrittenBy(orvane_soap_serialize_float, 1.5F), "<n xsi:type=\"xsd:float\">1.500000</n>"},
        {WrittenBy(orvane_soap_serialize_double, 1e-7), "<n xsi:type=\"xsd:double\">0.000000</n>"},
        {WrittenBy(orvane_soap_serialize_timeval, &time),
         "<n xsi:type=\"xsd:dateTime\">2014-03-01T09:26:53.589793Z</n>"},
        {WrittenBy(orvane_soap_serialize_timeval, &never), "-"},
        {WrittenBy(orvane_soap_serialize_timeval, nullptr), "-"},
        {WrittenBy(orvane_soap_serialize_byte_array, &empty),
         "<n xsi:type=\"xsd:base64Binary\"></n>"},
        {WrittenBy(orvane_soap_serialize_enum, op, 3),
         "<n xsi:type=\"PropertyChangeOp\">indirectRemove</n>"},
        {WrittenBy(orvane_soap_serialize_enum, op, 99), "-"},
    };
    for (const auto &[written, wanted] : rows)
        EXPECT_EQ(wanted, written);
}

TEST(SoapElement, NoTextIsWrittenAsTheFormatterSpellsIt) {
    Warnings warnings;
    const GStringPtr out(g_string_new(nullptr));
    EXPECT_TRUE(orvane_soap_serialize_string(out.get(), "s", nullptr));
    EXPECT_TRUE(orvane_soap_serialize_uri(out.get(), "u", nullptr));
    EXPECT_STREQ("<s xsi:type=\"xsd:string\">(null)</s><u xsi:type=\"xsd:anyURI\">(null)</u>",
                 out->str);
    EXPECT_EQ(2u, warnings.texts.size());
}

TEST(SoapElement, RealNumbersTakeTheNumericLocaleOfTheProcess) {
    const std::string before = setlocale(LC_NUMERIC, nullptr);
    for (const char *locale : {"C", "de_DE.UTF-8"}) {
        if (setlocale(LC_NUMERIC, locale) == nullptr)
            continue; // not installed here
        const std::string point = localeconv()->decimal_point;
        const GStringPtr out(g_string_new(nullptr));
        EXPECT_TRUE(orvane_soap_serialize_double(out.get(), "d", -2.5));
        EXPECT_EQ("<d xsi:type=\"xsd:double\">-2" + point + "500000</d>", out->str);
        g_string_truncate(out.get(), 0);
        EXPECT_TRUE(orvane_soap_serialize_double(out.get(), "d", -1.7976931348623157e308));
        EXPECT_EQ(1 + 309 + point.size() + 6 + strlen("<d xsi:type=\"xsd:double\"></d>"), out->len);
    }
    setlocale(LC_NUMERIC, before.c_str());
}

TEST(SoapElement, AReferenceNamesTheProxysOwnClassAndIsNotEscaped) {
    const GStringPtr out(g_string_new(nullptr));
    const auto proxy = NewObject<SkemaQormManagedObject>(orvane_lookup_type("Folder"));
    proxy->id = g_strdup("group-<d1>&");
    Value declared(orvane_lookup_type("ManagedEntity"));
    g_value_set_object(declared.get(), proxy.get());
    EXPECT_TRUE(orvane_soap_serialize_value(nullptr, out.get(), "parent", declared.get()));
    EXPECT_STREQ("<parent type=\"Folder\" xsi:type=\"ManagedObjectReference\">group-<d1>&</parent>",
                 out->str);
}

} // namespace
