#include "lib/misc/escape.h"

#include <cstring>

#include <gtest/gtest.h>

#include "tests/support/taken.h"

namespace {

using SizedFn = char *(*)(const void *buffer, gsize size, gsize *outSize);

/* Takes over the text, which must have a NUL where its size says. */
std::string Take(char *raw, gsize size) {
    const MallocPtr<char> text(raw);
    EXPECT_EQ('\0', raw[size]);
    return {raw, size};
}

struct Table {
    int marks[256] = {};

    explicit Table(const std::string &marked) {
        for (unsigned char c : marked)
            marks[c] = 1;
    }
};

std::string Undo(const std::string &text) {
    gsize size = 99;
    char *raw = Escape_Undo('|', text.data(), text.size(), &size);
    return Take(raw, size);
}

TEST(Escape, WritesMarkedBytesAsUpperCaseDigits) {
    const Table table(std::string("|=\0\xff", 4));
    const std::string text("a=\0|\xff", 5);
    gsize size = 0;
    char *raw = Escape_Do('|', table.marks, text.data(), text.size(), &size);
    EXPECT_EQ("a|3D|00|7C|FF", Take(raw, size));
    raw = Escape_DoString("\\x", table.marks, text.data(), text.size(), nullptr);
    EXPECT_EQ("a\\x3D\\x00\\x7C\\xFF", Taken(raw));
}

TEST(Escape, EveryByteComesBackWhateverElseIsMarked) {
    std::string all;
    for (int i = 0; i < 1024; i++)
        all += char(i * 7 / 3);
    for (const char *marked : {"|", "|0123456789ABCDEFabcdef", "|=\n "}) {
        gsize size = 0;
        char *raw = Escape_Do('|', Table(marked).marks, all.data(), all.size(), &size);
        EXPECT_EQ(all, Undo(Take(raw, size))) << marked;
    }
}

TEST(Escape, UndoingKeepsBrokenSequences) {
    const std::pair<const char *, const char *> rows[] = {
        {"", ""},         {"|41|4a|4A", "AJJ"}, {"|", "|"},       {"|4", "|4"},
        {"|zz", "|zz"},   {"|4g|41", "|4gA"},   {"||41", "||41"}, {"|4|41", "|4|41"},
        {"|g|41", "|gA"}, {"a|G1b", "a|G1b"},   {"|7c41", "|41"},
    };
    for (const auto &[text, expected] : rows)
        EXPECT_EQ(expected, Undo(text)) << text;
}

TEST(Escape, FindsWhatIsNotHidden) {
    const std::tuple<const char *, char, int> rows[] = {
        {"abc", 'c', 2}, {"a|cc", 'c', 3}, {"||c", 'c', 2}, {"a|c", 'c', -1}, {"a|", 'c', -1},
    };
    for (const auto &[text, wanted, expected] : rows) {
        const char *found = Escape_Strchr('|', text, wanted);
        EXPECT_EQ(expected, found ? found - text : -1) << text;
    }
}

TEST(Escape, TextForms) {
    EXPECT_EQ("a|bc", Taken(Escape_Unescape('|', "|a||b|c|")));
    EXPECT_EQ("", Taken(Escape_Unescape('|', "")));
    EXPECT_EQ("a\\,b\\\\c", Taken(Escape_Comma("a,b\\c")));
}

TEST(Escape, CStringsAreReadInPlace) {
    const std::pair<const char *, const char *> rows[] = {
        {"a\\nb", "a\nb"},    {"\\\\n", "\\n"},  {"\\101\\1012", "AA2"},
        {"\\x\\8", "\\x\\8"}, {"\\18", "\\18"},  {"\\", "\\"},
        {"\\12", "\\12"},     {"\\377", "\377"}, {"\\501", "A"},
    };
    for (const auto &[text, expected] : rows) {
        std::string buffer = text;
        Escape_UnescapeCString(buffer.data());
        EXPECT_STREQ(expected, buffer.c_str()) << text;
    }
}

TEST(Escape, FixedForms) {
    const std::tuple<SizedFn, const char *, const char *> rows[] = {
        {Escape_BRE, "a$*.[\\]^b", "a\\$\\*\\.\\[\\\\\\]\\^b"},
        {Escape_BRE, "+?(){}|", "+?(){}|"},
        {Escape_Sh, "", "''"},
        {Escape_Sh, "a $b", "'a $b'"},
        {Escape_Sh, "it's", "'it'\"'\"'s'"},
        {Escape_AnsiToUnix, "a\r\nb\rc\r\r\n\n\r", "a\nb\rc\r\n\n\r"},
        {Escape_AnsiToUnix, "", ""},
    };
    for (const auto &[function, text, expected] : rows) {
        gsize size = 0;
        char *raw = function(text, strlen(text), &size);
        EXPECT_EQ(expected, Take(raw, size)) << text;
    }
}

} // namespace
