#include "lib/unicode/unicode.h"

#include <cstring>

#include <gtest/gtest.h>

#include "tests/support/taken.h"

namespace {

TEST(Unicode, FindsEncodingsByAnyOfTheirNames) {
    const std::pair<const char *, const char *> rows[] = {
        {"UTF-8", "UTF-8"},           {"utf8", "UTF-8"},      {"latin1", "ISO-8859-1"},
        {"iso_8859-1", "ISO-8859-1"}, {"ascii", "US-ASCII"},  {"cp1252", "windows-1252"},
        {"sjis", "Shift_JIS"},        {"gb18030", "GB18030"}, {"KOI8-R", "KOI8-R"},
        {"UTF-16LE", nullptr},        {"klingon", nullptr},   {"", nullptr},
    };
    for (const auto &[name, want] : rows)
        EXPECT_STREQ(want, Unicode_EncodingEnumToName(Unicode_EncodingNameToEnum(name))) << name;
    for (StringEncoding encoding = 0; Unicode_EncodingEnumToName(encoding) != nullptr; encoding++)
        EXPECT_EQ(encoding, Unicode_EncodingNameToEnum(Unicode_EncodingEnumToName(encoding)));
}

TEST(Unicode, ConvertsBothWaysOrRefuses) {
    const std::tuple<const char *, const char *, const char *> rows[] = {
        {"ISO-8859-1", "a\xe4", "a\xc3\xa4"},
        {"windows-1252", "\x80", "\xe2\x82\xac"},
        {"Shift_JIS", "\x93\xfa\x96\x7b", "\xe6\x97\xa5\xe6\x9c\xac"},
        {"GB18030", "\x94\x39\xda\x33", "\xf0\x9f\x92\xa9"},
        {"UTF-8", "\xc3\xa4", "\xc3\xa4"},
        {"US-ASCII", "abc", "abc"},
        {"EUC-KR", "", ""},
    };
    for (const auto &[wanted, bytes, text] : rows) {
        const StringEncoding encoding = Unicode_EncodingNameToEnum(wanted);
        EXPECT_EQ(text, Taken(Unicode_AllocWithLength(bytes, strlen(bytes), encoding))) << wanted;
        EXPECT_EQ(bytes, Taken(Unicode_GetAllocBytes(text, encoding))) << wanted;
    }
    const auto isValid = [](const char *bytes, const char *encoding) {
        return Unicode_IsBufferValid(bytes, strlen(bytes), Unicode_EncodingNameToEnum(encoding));
    };
    EXPECT_FALSE(isValid("\x80", "UTF-8"));
    EXPECT_FALSE(isValid("\xed\xa0\x80", "UTF-8"));
    EXPECT_FALSE(isValid("\x80", "US-ASCII"));
    EXPECT_FALSE(isValid("\x93", "Shift_JIS"));
    EXPECT_TRUE(isValid("\xff", "ISO-8859-1"));
    EXPECT_EQ("(null)", Taken(Unicode_GetAllocBytes("\xe2\x82\xac", STRING_ENCODING_ISO_8859_1)));
    EXPECT_EQ("(null)", Taken(Unicode_GetAllocBytes("\xff", STRING_ENCODING_UTF8)));
}

TEST(Unicode, ShowsAnyBytes) {
    EXPECT_EQ("a\\x5c\\x00\\xe4 ~\\x7f",
              Taken(Unicode_EscapeBuffer("a\\\0\xe4 ~\x7f", 7, STRING_ENCODING_UTF8)));
}

} // namespace
