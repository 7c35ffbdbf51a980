#include "lib/misc/codeSet.h"

#include <gtest/gtest.h>

#include "lib/misc/glibPtr.h"

namespace {

using namespace std::string_view_literals;

std::optional<std::string> Current(std::string_view text) {
    char *result = nullptr;
    gsize size = 99;
    const bool isDone = CodeSet_Utf8ToCurrent(text.data(), text.size(), &result, &size);
    GPtr<char> owner(result);
    EXPECT_EQ(isDone, result != nullptr);
    if (!isDone) {
        EXPECT_EQ(0u, size);
        return std::nullopt;
    }
    return std::string(result, size);
}

/* Tests run in the locale "C", in which file names are UTF-8. */
TEST(CodeSet, TheLocaleCKeepsUtf8AndInvalidTextIsRefused) {
    for (const char *name : {"", "/etc/ssl", "/srv/Schl\u00fcssel.pem", "\U0001f511"})
        EXPECT_EQ(name, Current(name));
    for (std::string_view bad : {"\xff"sv, "a\xc3"sv, "a\0b"sv, "\xed\xa0\x80"sv})
        EXPECT_EQ(std::nullopt, Current(bad));
}

TEST(CodeSet, Utf16IsLittleEndianAndEndsWithZero) {
    gunichar2 *units = nullptr;
    gsize size = 0;
    ASSERT_TRUE(CodeSet_Utf8ToUtf16le("a\U0001f511", 5, &units, &size));
    EXPECT_EQ("a\0\x3d\xd8\x11\xdd\0\0"sv,
              std::string_view(reinterpret_cast<char *>(units), size + 2));
    g_free(units);
    EXPECT_FALSE(CodeSet_Utf8ToUtf16le("\xff", 1, &units, &size));
    EXPECT_EQ(nullptr, units);
}

} // namespace
