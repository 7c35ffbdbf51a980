#include "lib/user/msgFmt.h"

#include <cstdarg>
#include <cstring>

#include <gtest/gtest.h>

#include "lib/misc/err.h"

namespace {

/* Arguments that a format collected, or the error. */
struct Collected {
    MsgFmt_Arg *args = nullptr;
    gint count = 0;
    std::string error;

    Collected() = default;
    Collected(const Collected &) = delete;
    ~Collected() { MsgFmt_FreeArgs(args, count); }

    std::string Format(const char *format) const {
        std::unique_ptr<char, decltype(&free)> text(MsgFmt_Asprintf(nullptr, format, args, count),
                                                    free);
        /* a buffer of the caller gets the same, and no byte more than fits */
        char small[8];
        memset(small, '#', sizeof small);
        const gint size = MsgFmt_Snprintf(small, 6, format, args, count);
        if (text == nullptr) {
            EXPECT_EQ(-1, size) << format;
            return "(refused)";
        }
        EXPECT_EQ(strlen(text.get()), static_cast<gsize>(size)) << format;
        EXPECT_EQ(std::string(text.get()).substr(0, 5), small) << format;
        EXPECT_EQ('#', small[6]);
        return text.get();
    }
};

void Collect(Collected *collected, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char *error = nullptr;
    const gboolean isGood =
        MsgFmt_GetArgs(format, arguments, &collected->args, &collected->count, &error);
    va_end(arguments);
    EXPECT_EQ(isGood, error == nullptr);
    EXPECT_TRUE(isGood || (collected->args == nullptr && collected->count == 0));
    collected->error = error != nullptr ? error : "";
    free(error);
}

TEST(MsgFmt, FormatsLikePrintf) {
    const std::pair<const char *, const char *> rows[] = {
        {"%1$d", "-42"},
        {"[%1$6d]", "[   -42]"},
        {"[%1$-6d]", "[-42   ]"},
        {"[%1$06d]", "[-00042]"},
        {"%1$u", "4294967254"},
        {"%1$hhu", "214"},
        {"%1$#x", "0xffffffd6"},
        {"%2$lld", "-9000000000"},
        {"%2$I64u", "18446744064709551616"},
        {"%3$.2f", "2.50"},
        {"[%3$+8.1e]", "[+2.5e+00]"},
        {"%4$s", "text"},
        {"[%4$6s][%4$-6s][%4$.2s]", "[  text][text  ][te]"},
        {"%5$c%5$c%%", "AA%"},
        {"%6$s", "(null)"},
        {"%7$ls", "\xc3\xa4\xe2\x82\xac"},
        {"%7$.4ls", "\xc3\xa4"},
        {"%8$p", "0x10"},
        {"%4$s %1$d %4$s", "text -42 text"},
        {"", ""},
    };
    const gunichar wide[] = {0xe4, 0x20ac, 0};
    Collected all;
    Collect(&all, "%d %lld %f %s %c %s %ls %p", -42, -9000000000LL, 2.5, "text", 'A',
            static_cast<char *>(nullptr), wide, reinterpret_cast<void *>(0x10));
    ASSERT_EQ("", all.error);
    ASSERT_EQ(8, all.count);
    for (const auto &[format, want] : rows)
        EXPECT_EQ(want, all.Format(format)) << format;
    for (const char *unfit :
         {"%4$d", "%1$s", "%3$d", "%9$d", "%1$d %d", "%1$2000000000d", "%n", "%"})
        EXPECT_EQ("(refused)", all.Format(unfit)) << unfit;
}

TEST(MsgFmt, GrowsWithTheText) {
    const std::string longText(100000, 'x');
    Collected collected;
    Collect(&collected, "%s%g%s", longText.c_str(), 1.5, longText.c_str());
    EXPECT_EQ(longText + "1.5" + longText, collected.Format("%s%g%s"));
}

TEST(MsgFmt, RefusesFormatsThatCannotBeCollected) {
    const std::pair<const char *, const char *> rows[] = {
        {"%3$s", "MsgFmt_GetArgs: gap in arguments at position 1"},
        {"%1$d %9$d", "MsgFmt_GetArgs: gap in arguments at position 2"},
        {"%1$d%2147483647$d", "MsgFmt_GetArgs: gap in arguments at position 2"},
        {"%1$d %1$s", "MsgFmtGetArg1: incompatible specifiers for argument 1, old type 1, new type "
                      "6, pos \"1\", "
                      "type \"s\""},
        {"%n", "MsgFmtGetArg1: %n not supported, pos \"\", type \"n\""},
        {"%Lf", "MsgFmtGetArg1: %Lf not supported, pos \"\", type \"Lf\""},
        {"%1$99999999999d",
         "MsgFmtGetArg1: bad specifier, status -2, pos \"1\", type \"99999999999d\""},
        {"%99999999999$d",
         "MsgFmtGetArg1: bad specifier, status -2, pos \"99999999999\", type \"d\""},
    };
    const auto expect = [](const char *error, const char *format) {
        Collected collected;
        Collect(&collected, format, 1, 2);
        EXPECT_EQ(error, collected.error) << format;
    };
    for (const auto &[format, error] : rows)
        expect(error, format);
    for (const char *format : {"%1$s %s", "%y", "%d %", "%1$", "%0$s", "%*d"})
        expect("MsgFmt_GetArgs: error in format string", format);
}

TEST(MsgFmt, KeepsErrorsAndCutsStrings) {
    const char open[3] = {'a', 'b', 'c'}; /* without a terminator */
    const std::string copied = Err_Errno2String(ENOENT);
    Collected collected;
    Collect(&collected, "%.3s%s%s", open, Err_Errno2String(ENOENT), copied.c_str());
    ASSERT_EQ(3, collected.count);
    EXPECT_STREQ("abc", collected.args[0].string8);
    EXPECT_EQ(MSGFMT_ARG_ERRNO, collected.args[1].type);
    EXPECT_EQ(MSGFMT_PLATFORM_POSIX, collected.args[1].error.platform);
    EXPECT_EQ(ENOENT, collected.args[1].error.number);
    EXPECT_EQ(MSGFMT_ARG_STRING8, collected.args[2].type);
    EXPECT_EQ(copied, collected.Format("%2$s"));

    MsgFmt_Arg *copy = MsgFmt_CopyArgs(collected.args, collected.count);
    EXPECT_NE(collected.args[0].string8, copy[0].string8);
    EXPECT_STREQ("abc", copy[0].string8);
    MsgFmt_FreeArgs(copy, collected.count);
}

/* Scans a format and notes what the scanner reports: "text|{position:spec}". */
std::string Scan(gint (*parse)(MsgFmt_LitFunc, MsgFmt_SpecFunc, gpointer, const char *),
                 const char *format) {
    std::string seen;
    const gint result = parse(
        [](gpointer data, const char *text, guint size) -> gint {
            *static_cast<std::string *>(data) += std::string(text, size) + "|";
            return 0;
        },
        [](gpointer data, const char *position, guint positionSize, const char *spec,
           guint size) -> gint {
            *static_cast<std::string *>(data) +=
                "{" + std::string(position != nullptr ? position : "", positionSize) + ":" +
                std::string(spec, size) + "}";
            return size > 3 ? -7 : 0;
        },
        &seen, format);
    return seen + (result != 0 ? " " + std::to_string(result) : "");
}

TEST(MsgFmt, ScansBothSyntaxes) {
    EXPECT_EQ("a%|b|{:d}c|", Scan(MsgFmt_Parse, "a%%b%dc"));
    EXPECT_EQ("{2:-5s}{1:X}", Scan(MsgFmt_Parse, "%2$-5s%1$X"));
    EXPECT_EQ("{:12d}", Scan(MsgFmt_Parse, "%12d"));
    EXPECT_EQ("{:#08x} -7", Scan(MsgFmt_Parse, "%#08x never"));
    EXPECT_EQ("a|{1:s}b|{12:d}% c|", Scan(MsgFmt_ParseWin32, "a%1b%12!d!%% c"));
    EXPECT_EQ(" -2", Scan(MsgFmt_ParseWin32, "%1!d"));
    EXPECT_EQ(" -2", Scan(MsgFmt_ParseWin32, "%"));
    EXPECT_DEATH(Scan(MsgFmt_ParseWin32, "%n"), "NOT_IMPLEMENTED .*msgFmtParse.cpp");
}

TEST(MsgFmt, OneBlockCanBeSentAndEveryDamageIsSeen) {
    alignas(MsgFmt_Arg) char block[512] = {};
    MsgFmt_Arg *args = nullptr;
    gint count = 0;
    const auto collect = [&](gsize size, const char *format, ...) {
        va_list arguments;
        va_start(arguments, format);
        char *error = nullptr;
        const gboolean isGood =
            MsgFmt_GetArgsWithBuf(format, arguments, &args, &count, &error, block, size);
        va_end(arguments);
        EXPECT_TRUE(isGood || strstr(error, "out of memory") != nullptr) << error;
        free(error);
        return isGood;
    };
    constexpr gsize kNeeded = 3 * sizeof(MsgFmt_Arg) + sizeof "one";
    EXPECT_FALSE(collect(kNeeded - 1, "%s%s%d", "one", static_cast<char *>(nullptr), 3));
    EXPECT_FALSE(collect(3 * sizeof(MsgFmt_Arg) - 1, "%s%s%d", "one", "two", 3));
    ASSERT_TRUE(collect(kNeeded, "%s%s%d", "one", static_cast<char *>(nullptr), 3));
    MsgFmt_SwizzleArgs(args, count);

    alignas(MsgFmt_Arg) char moved[kNeeded];
    auto *there = reinterpret_cast<MsgFmt_Arg *>(moved);
    const auto receive = [&](gint64 offset, gsize size) {
        memcpy(moved, block, kNeeded);
        there[0].signed64 = offset;
        return MsgFmt_UnswizzleArgs(there, count, moved + size);
    };
    const gint64 offset = args[0].signed64;
    EXPECT_EQ(0, receive(offset, kNeeded));
    EXPECT_STREQ("one", there[0].string8);
    EXPECT_EQ(nullptr, there[1].string8);
    EXPECT_EQ(-1, receive(offset, kNeeded - 1)); /* no terminator */
    for (gint64 bad : {offset - 1, gint64{8}, gint64{-8}, gint64{kNeeded}, G_MAXINT64}) {
        EXPECT_EQ(-1, receive(bad, kNeeded)) << bad;
        EXPECT_EQ(nullptr, there[0].string8);
    }
}

} // namespace
