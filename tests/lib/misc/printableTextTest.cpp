#include "lib/misc/printableText.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_view_literals;

TEST(PrintableText, EscapesWhatMisleads) {
    const std::pair<std::string_view, const char *> rows[] = {
        {""sv, ""},
        {"DOMAIN\\user ~ caf\u00e9 \u65e5\u672c \U0001f600"sv,
         "DOMAIN\\user ~ caf\u00e9 \u65e5\u672c \U0001f600"},
        {"a\nb\rc\td"sv, "a\\nb\\rc\\td"},
        {"\0\x01\x1b[2J\x1f \x7f"sv, "\\x00\\x01\\x1b[2J\\x1f \\x7f"},
        {"\u0080\u0085\u009b31m\u009d0;x\u009f\u00a0"sv,
         "\\u0080\\u0085\\u009b31m\\u009d0;x\\u009f\u00a0"},
        {"\u2027\u2028\u2029\u202a\u202e\u202f"sv, "\u2027\\u2028\\u2029\\u202a\\u202e\u202f"},
        {"\u061b\u061c\u200d\u200e\u200f\u2010"sv, "\u061b\\u061c\u200d\\u200e\\u200f\u2010"},
        {"\u2065\u2066\u2069\u206a"sv, "\u2065\\u2066\\u2069\u206a"},
        /* a lone byte, a C1 byte, an overlong form, a surrogate, beyond the last, a cut one */
        {"\xff|\x9b|\xc0\x8a|\xed\xa0\x80|\xf4\x90\x80\x80|\xe2\x82"sv,
         "\\xff|\\x9b|\\xc0\\x8a|\\xed\\xa0\\x80|\\xf4\\x90\\x80\\x80|\\xe2\\x82"},
        {"\xe2\x82\nx"sv, "\\xe2\\x82\\nx"},
    };
    for (const auto &[foreign, printable] : rows)
        EXPECT_EQ(printable, PrintableText_Make(foreign));
}

/* The second byte of U+011B is CSI to a terminal of eight bits. */
TEST(PrintableText, TheFormAsciiHasNoOtherByte) {
    EXPECT_EQ("p\\u011b\\U0001f600\\n\\xff ~",
              PrintableText_Make("p\u011b\U0001f600\n\xff ~"sv, PrintableForm::Ascii));
}

} // namespace
