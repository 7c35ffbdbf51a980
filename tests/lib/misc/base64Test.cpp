#include "lib/misc/base64.h"

#include <cstring>

#include <gtest/gtest.h>

#include "lib/misc/glibPtr.h"

namespace {

const guint8 *Bytes(const std::string &text) {
    return reinterpret_cast<const guint8 *>(text.data());
}

std::string Encode(const std::string &bytes) {
    char *raw = nullptr;
    EXPECT_TRUE(Base64_EasyEncode(Bytes(bytes), bytes.size(), &raw));
    const MallocPtr<char> text(raw);
    return raw;
}

/* Nothing if the text is refused; the outs must then be cleared. */
std::optional<std::string> Decode(const std::string &text) {
    auto *raw = reinterpret_cast<guint8 *>(1);
    gsize size = 99;
    if (Base64_EasyDecode(text.c_str(), &raw, &size)) {
        const MallocPtr<guint8> bytes(raw);
        return std::string(reinterpret_cast<char *>(raw), size);
    }
    EXPECT_EQ(nullptr, raw);
    EXPECT_EQ(0u, size);
    return std::nullopt;
}

TEST(Base64, KnownTextsInBothDirections) {
    const std::pair<std::string, const char *> rows[] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"},
        {std::string("\0\0\0", 3), "AAAA"},
        {"\xfb\xff\xbf", "+/+/"},
        {"\xff", "/w=="},
    };
    for (const auto &[bytes, text] : rows) {
        EXPECT_EQ(text, Encode(bytes));
        EXPECT_EQ(bytes, Decode(text)) << text;
        EXPECT_EQ(bytes.size(), Base64_DecodedLength(text, strlen(text))) << text;
        EXPECT_EQ(strlen(text) + 1, Base64_EncodedLength(nullptr, bytes.size())) << text;
    }
}

TEST(Base64, EncodingNeedsRoomForTheNul) {
    char target[8] = "1234567";
    gsize size = 99;
    EXPECT_FALSE(Base64_Encode(Bytes("ab"), 2, target, 4, &size));
    EXPECT_EQ(0u, size);
    EXPECT_STREQ("1234567", target);
    EXPECT_FALSE(Base64_Encode(Bytes(""), 0, target, 0, nullptr));
    EXPECT_FALSE(Base64_Encode(Bytes(""), G_MAXSIZE, target, 8, nullptr));
    EXPECT_TRUE(Base64_Encode(Bytes("ab"), 2, target, 5, &size));
    EXPECT_EQ(4u, size);
    EXPECT_STREQ("YWI=", target);
}

TEST(Base64, WhitespaceIsSkippedAndOtherBytesAreRefused) {
    EXPECT_EQ("foob", Decode(" Z\tm9\r\nv\vYg\f=="));
    EXPECT_EQ("f", Decode("Zg==!!!!"));
    for (const char *text : {"Zm9-", "Zm9_", "!AAA",
                             "Zm9v\x80"
                             "AAA",
                             "Zm8", "Zm9vYg"})
        EXPECT_EQ(std::nullopt, Decode(text)) << text;
}

TEST(Base64, AFullTargetIsAFailureThatLeavesNothingBehind) {
    guint8 target[3] = {9, 9, 9};
    gsize size = 99;
    EXPECT_FALSE(Base64_Decode("Zm9v", target, 2, &size));
    EXPECT_EQ(0u, size);
    EXPECT_EQ(0, target[0] | target[1]);
    EXPECT_EQ(9, target[2]);
    EXPECT_TRUE(Base64_Decode("Zm9v", target, 3, &size));
    EXPECT_EQ(3u, size);
    EXPECT_TRUE(Base64_ChunkDecode("Zm9vYmFy", 4, target, 3, &size)) << "a chunk ends at its size";
    EXPECT_EQ(3u, size);
}

TEST(Base64, DecodedLengthCountsWholeGroups) {
    const std::pair<const char *, gsize> rows[] = {{"", 0},      {"=", 0},    {"===", 0},
                                                   {"AAAAA", 3}, {"AA=A", 2}, {"====", 1}};
    for (const auto &[text, expected] : rows)
        EXPECT_EQ(expected, Base64_DecodedLength(text, strlen(text))) << text;
}

TEST(Base64, ValidTextsHaveNoWhitespace) {
    EXPECT_TRUE(Base64_ValidEncoding("AZaz09+/==", 10));
    EXPECT_TRUE(Base64_ValidEncoding("", 0));
    EXPECT_TRUE(Base64_ValidEncoding("A!", 1));
    for (const char *text : {"A A", "A\n", "-", "A\x80"})
        EXPECT_FALSE(Base64_ValidEncoding(text, strlen(text))) << text;
    EXPECT_FALSE(Base64_ValidEncoding("A\0A", 3));
}

} // namespace
