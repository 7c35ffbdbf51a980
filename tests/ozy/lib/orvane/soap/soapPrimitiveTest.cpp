#include "tests/ozy/lib/orvane/soap/soapFixture.h"

#include <bit>
#include <cmath>

namespace {

using Reader = gboolean (*)(const char *, GValue *);

/* What the reader makes of a text, as GLib spells it; "-" if it refuses it. */
std::string Scanned(Reader read, GType type, const char *content) {
    Value value(type);
    if (!read(content, value.get()))
        return "-";
    const GPtr<char> text(g_strdup_value_contents(value.get()));
    return text.get();
}

TEST(SoapPrimitive, NumbersAreScannedAndCutAsByScanf) {
    const struct {
        Reader read;
        GType type;
        const char *content;
        const char *wanted;
    } rows[] = {
        {orvane_soap_deserialize_char, G_TYPE_CHAR, "-128", "-128"},
        {orvane_soap_deserialize_char, G_TYPE_CHAR, "300", "44"},
        {orvane_soap_deserialize_uchar, G_TYPE_UCHAR, "255", "255"},
        {orvane_soap_deserialize_uchar, G_TYPE_UCHAR, "257", "1"},
        {orvane_soap_deserialize_long, G_TYPE_LONG, "-9223372036854775808", "-9223372036854775808"},
        {orvane_soap_deserialize_ulong, G_TYPE_ULONG, "18446744073709551615",
         "18446744073709551615"},
        {orvane_soap_deserialize_bool, G_TYPE_BOOLEAN, "true", "TRUE"},
        {orvane_soap_deserialize_bool, G_TYPE_BOOLEAN, "1", "TRUE"},
        {orvane_soap_deserialize_bool, G_TYPE_BOOLEAN, "false", "FALSE"},
        {orvane_soap_deserialize_bool, G_TYPE_BOOLEAN, "0", "FALSE"},
        {orvane_soap_deserialize_string, G_TYPE_STRING, " as it is ", "\" as it is \""},
        {orvane_soap_deserialize_string, G_TYPE_STRING, nullptr, "NULL"},
        {orvane_soap_deserialize_uri, ORVANE_TYPE_URI, nullptr, "NULL"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.wanted, Scanned(row.read, row.type, row.content))
            << g_type_name(row.type) << " " << (row.content != nullptr ? row.content : "NULL");
}

TEST(SoapPrimitive, WholeNumbersReadLikeScanfForAnyText) {
    const char *texts[] = {
        // clang-format off
        "", " ", "-", "+", "--1", "1-", "007", "-0", "1e3", "٣", "\t9", "- 1", "0b1", "\v\f\r12abc", "1,000",
        "-99999999999999999999", "18446744073709551616", "-18446744073709551615", " \n 42 ms", "+7", "0x10", "1.9",
        "4294967297", "2147483648", "99999999999999999999", "9223372036854775807", "18446744073709551615"
        // clang-format on
    };
    const Warnings refusals;
    const auto compare = [&]<class Number>(Number number, const char *format, Reader read,
                                           GType type) {
        for (const char *text : texts) {
            const bool isScanned = sscanf(text, format, &number) == 1;
            EXPECT_EQ(isScanned ? std::to_string(number) : "-", Scanned(read, type, text)) << text;
        }
    };
    compare(gint(), "%d", orvane_soap_deserialize_int, G_TYPE_INT);
    compare(guint(), "%u", orvane_soap_deserialize_uint, G_TYPE_UINT);
    compare(glong(), "%ld", orvane_soap_deserialize_int64, G_TYPE_INT64);
    compare(gulong(), "%lu", orvane_soap_deserialize_uint64, G_TYPE_UINT64);
}

TEST(SoapPrimitive, RealNumbersReadLikeScanfForAnyText) {
    std::vector<std::string> texts = {
        // clang-format off
        "", "-", ".", "-.5", ".5", "5.", "1.2.3", "+1", " 1.5", "1.5 ", "0x1p3", "1e400", "-0", "-0.0", "inf", "1,5",
        "0.1", "16777217", "16777216", "nan", "1.5x", "--1", "1e-5", "0.3e", "9007199254740993",
        "0.1234567890123456789012", "123456789.123456789", "1.5e3x", " -0.25", "INF"
        // clang-format on
    };
    for (int i = 0; i < 3000; i++) {
        const GPtr<char> text(g_strdup_printf("%s%d.%0*d", i % 3 == 0 ? "-" : "", i * 7919 % 100003,
                                              i % 9 + 1, i * 104729 % 1000));
        texts.emplace_back(text.get());
    }
    const Warnings refusals;
    const auto compare = [&]<class Number>(Number number, const char *format, Reader read,
                                           GType type, Number (*get)(const GValue *)) {
        for (const std::string &text : texts) {
            Value value(type);
            const bool isScanned = sscanf(text.c_str(), format, &number) == 1;
            ASSERT_EQ(isScanned, read(text.c_str(), value.get())) << text;
            const Number got = get(value.get());
            using Bits = std::conditional_t<sizeof number == sizeof(guint32), guint32, guint64>;
            if (isScanned) {
                EXPECT_EQ(std::bit_cast<Bits>(number), std::bit_cast<Bits>(got)) << text;
            }
        }
    };
    compare(gfloat(), "%f", orvane_soap_deserialize_float, G_TYPE_FLOAT, g_value_get_float);
    compare(gdouble(), "%lf", orvane_soap_deserialize_double, G_TYPE_DOUBLE, g_value_get_double);
}

TEST(SoapPrimitive, TimesAreReadAsByGLib) {
    std::vector<std::string> texts = {"2014-03-01T09:26:53.",       "2014-03-01T09:26:53.Z",
                                      "2014-03-01T09:26:53,5Z",     "2014-03-01T09:26:53.1234567Z",
                                      "2014-03-01T09:26:53z",       "2014-03-01T09:26:53+02:00",
                                      "2014-03-01T09:26:53.5-0130", " 2014-03-01T09:26:53Z",
                                      "2014-03-01T09:26:53Z ",      "20140301T092653Z",
                                      "2014-03-01T09:26Z",          "2014-03-01",
                                      "2014-02-30T00:00:00Z",       "2014-13-01T00:00:00Z",
                                      "2014-03-00T00:00:00Z",       "2014-03-01T24:00:00Z",
                                      "2014-03-01T00:00:60Z",       "1969-12-31T23:59:59Z",
                                      "1970-01-01T00:00:00.000001Z"};
    for (int year : {1970, 1972, 1999, 2000, 2014, 2038, 2100, 2400, 9999}) {
        for (int month = 1; month <= 12; month++) {
            for (int day : {1, 15, 28, 29, 31}) {
                const GPtr<char> text(g_strdup_printf("%04d-%02d-%02dT%02d:%02d:%02d.%0*dZ", year,
                                                      month, day, day % 24, 59 - day, month * 4,
                                                      1 + month % 6, month % 10));
                texts.emplace_back(text.get());
            }
        }
    }
    const Warnings refusals;
    for (const std::string &text : texts) {
        GTimeVal wanted = {};
        const bool isTime = g_time_val_from_iso8601(text.c_str(), &wanted);
        Value value(ORVANE_TYPE_TIMEVAL);
        ASSERT_EQ(isTime, orvane_soap_deserialize_timeval(text.c_str(), value.get())) << text;
        if (!isTime)
            continue;
        const auto *read = static_cast<GTimeVal *>(g_value_get_boxed(value.get()));
        EXPECT_EQ(wanted.tv_sec, read->tv_sec) << text;
        EXPECT_EQ(wanted.tv_usec, read->tv_usec) << text;
    }
}

TEST(SoapPrimitive, RefusalsAreReportedAsFailedChecks) {
    const struct {
        const char *name;
        Reader read;
        GType type;
        const char *content;
        const char *check = ""; /* that failed; empty: refused without a word */
    } rows[] = {
        {"int", orvane_soap_deserialize_int, G_TYPE_INT, nullptr, "content"},
        {"int", orvane_soap_deserialize_int, G_TYPE_INT, "five", "1 == numScanned"},
        {"uint64", orvane_soap_deserialize_uint64, G_TYPE_UINT64, "x", "1 == numScanned"},
        {"float", orvane_soap_deserialize_float, G_TYPE_FLOAT, "", "1 == numScanned"},
        {"double", orvane_soap_deserialize_double, G_TYPE_DOUBLE, nullptr, "content"},
        {"bool", orvane_soap_deserialize_bool, G_TYPE_BOOLEAN, nullptr, "content"},
        {"bool", orvane_soap_deserialize_bool, G_TYPE_BOOLEAN, "TRUE"},
        {"bool", orvane_soap_deserialize_bool, G_TYPE_BOOLEAN, " true"},
        {"byte_array", orvane_soap_deserialize_byte_array, ORVANE_TYPE_BYTE_ARRAY, nullptr,
         "content"},
        {"timeval", orvane_soap_deserialize_timeval, ORVANE_TYPE_TIMEVAL, nullptr, "content"},
        {"timeval", orvane_soap_deserialize_timeval, ORVANE_TYPE_TIMEVAL, "tomorrow",
         "g_time_val_from_iso8601((const gchar *) content, &timevalue)"},
    };
    for (const auto &row : rows) {
        const Warnings warnings;
        EXPECT_EQ("-", Scanned(row.read, row.type, row.content)) << row.name;
        const std::string report = std::string("orvane_soap_deserialize_") + row.name +
                                   ": assertion '" + row.check + "' failed";
        const std::vector<std::string> wanted(*row.check != '\0' ? 1 : 0, report);
        EXPECT_EQ(wanted, warnings.texts);
    }
}

TEST(SoapPrimitive, OtherTextsThanNicksAreNoEnumeration) {
    const GType type = orvane_lookup_type("TaskInfoState");
    Value value(type);
    const Warnings warnings;
    EXPECT_FALSE(orvane_soap_deserialize_enum("Success", type, value.get()));
    EXPECT_TRUE(warnings.texts.empty());
    EXPECT_FALSE(orvane_soap_deserialize_enum(nullptr, type, value.get()));
    EXPECT_FALSE(orvane_soap_deserialize_enum("x", G_TYPE_INT, value.get()));
    EXPECT_EQ(
        (std::vector<std::string>{"orvane_soap_deserialize_enum: assertion 'content' failed",
                                  "orvane_soap_deserialize_enum: assertion 'enumClass' failed"}),
        warnings.texts);
}

} // namespace
