#include "tests/ozy/lib/orvane/soap/soapFixture.h"

#include <clocale>

namespace {

using Write = gboolean (*)(GString *, const char *);

struct Row {
    Write write;
    const char *wanted; /* empty: nothing is written, and the result is a failure */
};

TEST(SoapElement, EachFormOfASimpleValue) {
    const Row rows[] = {
        {[](GString *out, const char *name) {
             const gint8 number = -128;
             return orvane_soap_serialize_signed(out, name, 1, &number);
         },
         "<n xsi:type=\"xsd:byte\">-128</n>"},
        {[](GString *out, const char *name) {
             const guint8 number = 255;
             return orvane_soap_serialize_unsigned(out, name, 1, &number);
         },
         "<n xsi:type=\"xsd:unsignedBtype\">255</n>"},
        {[](GString *out, const char *name) {
             const gint16 number = -32768;
             return orvane_soap_serialize_signed(out, name, 2, &number);
         },
         "<n xsi:type=\"xsd:short\">-32768</n>"},
        {[](GString *out, const char *name) {
             const guint16 number = 65535;
             return orvane_soap_serialize_unsigned(out, name, 2, &number);
         },
         "<n xsi:type=\"xsd:unsignedShort\">65535</n>"},
        {[](GString *out, const char *name) {
             const gint32 number = G_MININT32;
             return orvane_soap_serialize_signed(out, name, 4, &number);
         },
         "<n xsi:type=\"xsd:int\">-2147483648</n>"},
        {[](GString *out, const char *name) {
             const guint32 number = G_MAXUINT32;
             return orvane_soap_serialize_unsigned(out, name, 4, &number);
         },
         "<n xsi:type=\"xsd:unsignedInt\">4294967295</n>"},
        {[](GString *out, const char *name) {
             const gint64 number = G_MININT64;
             return orvane_soap_serialize_signed(out, name, 8, &number);
         },
         "<n xsi:type=\"xsd:long\">-9223372036854775808</n>"},
        {[](GString *out, const char *name) {
             const guint64 number = G_MAXUINT64;
             return orvane_soap_serialize_unsigned(out, name, 8, &number);
         },
         "<n xsi:type=\"xsd:unsignedLong\">18446744073709551615</n>"},
        {[](GString *out, const char *name) {
             const gint64 number = 1;
             return orvane_soap_serialize_signed(out, name, 3, &number);
         },
         ""},
        {[](GString *out, const char *name) {
             const gint64 number = 1;
             return orvane_soap_serialize_unsigned(out, name, 16, &number);
         },
         ""},
        {[](GString *out, const char *name) { return orvane_soap_serialize_bool(out, name, TRUE); },
         "<n xsi:type=\"xsd:boolean\">1</n>"},
        {[](GString *out, const char *name) {
             return orvane_soap_serialize_bool(out, name, FALSE);
         },
         "<n xsi:type=\"xsd:boolean\">0</n>"},
        {[](GString *out, const char *name) {
             return orvane_soap_serialize_float(out, name, 1.5F);
         },
         "<n xsi:type=\"xsd:float\">1.500000</n>"},
        {[](GString *out, const char *name) {
             return orvane_soap_serialize_double(out, name, 1e-7);
         },
         "<n xsi:type=\"xsd:double\">0.000000</n>"},
        {[](GString *out, const char *name) {
             return orvane_soap_serialize_string(out, name, "a<b>&'\"%d\n\x01\xc3\xa9");
         },
         "<n xsi:type=\"xsd:string\">a&lt;b&gt;&amp;&apos;&quot;%d\n&#x1;\xc3\xa9</n>"},
        {[](GString *out, const char *name) { return orvane_soap_serialize_string(out, name, ""); },
         "<n xsi:type=\"xsd:string\"></n>"},
        {[](GString *out, const char *name) {
             return orvane_soap_serialize_uri(out, name, "http://h/?a=1&b=2");
         },
         "<n xsi:type=\"xsd:anyURI\">http://h/?a=1&amp;b=2</n>"},
        {[](GString *out, const char *name) {
             const GTimeVal time = {1393666013, 589793};
             return orvane_soap_serialize_timeval(out, name, &time);
         },
         "<n xsi:type=\"xsd:dateTime\">2014-03-01T09:26:53.589793Z</n>"},
        {[](GString *out, const char *name) {
             const GTimeVal time = {0, -1};
             return orvane_soap_serialize_timeval(out, name, &time);
         },
         ""},
        {[](GString *out, const char *name) {
             return orvane_soap_serialize_timeval(out, name, nullptr);
         },
         ""},
        {[](GString *out, const char *name) {
             guint8 bytes[] = {0, 0xff, 0x10, 'x'};
             const GByteArray array = {bytes, sizeof bytes};
             return orvane_soap_serialize_byte_array(out, name, &array);
         },
         "<n xsi:type=\"xsd:base64Binary\">AP8QeA==</n>"},
        {[](GString *out, const char *name) {
             const GByteArray array = {nullptr, 0};
             return orvane_soap_serialize_byte_array(out, name, &array);
         },
         "<n xsi:type=\"xsd:base64Binary\"></n>"},
        {[](GString *out, const char *name) {
             return orvane_soap_serialize_enum(out, name, orvane_lookup_type("PropertyChangeOp"),
                                               3);
         },
         "<n xsi:type=\"PropertyChangeOp\">indirectRemove</n>"},
        {[](GString *out, const char *name) {
             return orvane_soap_serialize_enum(out, name, orvane_lookup_type("PropertyChangeOp"),
                                               99);
         },
         ""},
    };
    const Warnings quiet; // of g_time_val_to_iso8601(), which refuses in its own words
    for (const Row &row : rows) {
        const GStringPtr out(g_string_new("before"));
        EXPECT_EQ(*row.wanted != '\0', row.write(out.get(), "n") != FALSE) << row.wanted;
        EXPECT_EQ(std::string("before") + row.wanted, out->str);
        EXPECT_EQ(strlen(out->str), out->len);
    }
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
    const ObjectPtr<GObject> proxy(static_cast<GObject *>(
        g_object_ref_sink(g_object_new(orvane_lookup_type("Folder"), nullptr))));
    auto *managed = reinterpret_cast<SkemaQormManagedObject *>(proxy.get());
    managed->id = g_strdup("group-<d1>&");
    Value declared(orvane_lookup_type("ManagedEntity"));
    g_value_set_object(declared.get(), proxy.get());
    EXPECT_TRUE(orvane_soap_serialize_value(nullptr, out.get(), "parent", declared.get()));
    EXPECT_STREQ("<parent type=\"Folder\" xsi:type=\"ManagedObjectReference\">group-<d1>&</parent>",
                 out->str);
}

} // namespace
