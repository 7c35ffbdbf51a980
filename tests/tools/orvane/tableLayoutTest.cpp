// Columns that fit a width: which cells are cut, where a row takes several lines; texts as JSON.
#include <gmock/gmock.h>

#include "tools/orvane/jsonText.h"
#include "tools/orvane/nearestWord.h"
#include "tools/orvane/tableLayout.h"
#include "tools/orvane/textWidth.h"

namespace {

using namespace orvaneCli;
using testing::ElementsAre;

constexpr char kWide[] = "\u6f22\u5b57"; /* two letters of two columns */

TEST(TextWidth, CountsColumnsAndCutsNoLetterInTwo) {
    const struct {
        const char *text;
        int width;
        const char *cutToFour;
    } rows[] = {
        {"", 0, ""},
        {"abcd", 4, "abcd"},
        {"abcde", 5, "abc~"},
        {"\u00e9t\u00e9s\u00e9", 5, "\u00e9t\u00e9~"},
        {"e\u0301t\u0301abc", 5, "e\u0301t\u0301a~"}, /* combining marks */
        {"\u6f22\u5b57\u6f22", 6, "\u6f22~"},         /* the second would end in column 4 */
        {"\U0001f600\U0001f600x", 5, "\U0001f600~"},
        {"\xff\xfe\xfd\xfc\xfb", 5, "\xff\xfe\xfd~"}, /* not UTF-8 */
    };
    for (const auto &row : rows) {
        EXPECT_EQ(row.width, TextWidth(row.text)) << row.text;
        EXPECT_EQ(row.cutToFour, CutText(row.text, 4, "~"));
    }
    EXPECT_EQ("", CutText("abc", 0, "~"));
    EXPECT_EQ("~ cde\u0301", CutTextStart("a\u0301b cde\u0301", 5, "~"));
    EXPECT_EQ("~b\u0301", CutTextStart("\u6f22\u0301b\u0301", 2, "~"));
    EXPECT_EQ(std::string(kWide) + " ", PadText(kWide, 5));
    EXPECT_EQ(" " + std::string(kWide), PadText(kWide, 5, true));
}

/* The lines of a table of three columns. */
std::vector<std::string> Table(int width, const std::vector<TableRow> &rows) {
    setenv("LC_ALL", "C.UTF-8", 1);
    const Terminal terminal;
    TableLayout layout({{.key = "name", .title = "NAME"},
                        {.key = "size", .title = "SIZE", .isRight = true},
                        {.key = "id", .title = "ID", .isWhole = true}},
                       width);
    for (const TableRow &row : rows)
        layout.Measure(row);
    std::vector<std::string> lines = layout.HeadingLines(terminal);
    for (const TableRow &row : rows) {
        for (const std::string &line : layout.Lines(row, terminal))
            lines.push_back(line);
    }
    unsetenv("LC_ALL");
    return lines;
}

TEST(TableLayout, FitsTheWidthAndCutsNoId) {
    const std::vector<TableRow> rows = {
        {{"machine-with-a-long-name"}, {"7"}, {"vm-1"}},
        {{kWide}, {"1234567"}, {"vm-100"}},
        {{"last"}, {""}, {""}},
    };
    EXPECT_THAT(Table(0, rows),
                ElementsAre("NAME                         SIZE  ID",
                            "machine-with-a-long-name        7  vm-1",
                            std::string(kWide) + "                      1234567  vm-100", "last"));
    EXPECT_EQ(Table(0, rows), Table(41, rows)); /* fits exactly */
    EXPECT_THAT(Table(34, rows),
                ElementsAre("NAME                  SIZE  ID",
                            "machine-with-a-l\u2026        7  vm-1",
                            std::string(kWide) + "               1234567  vm-100", "last"));
    EXPECT_THAT(Table(20, rows), ElementsAre("NAME", "  SIZE  ID", "machine-with-a-long\u2026",
                                             "  7  vm-1", kWide, "  1234567  vm-100", "last"));
    for (const std::string &line : Table(8, rows))
        EXPECT_LE(TextWidth(line), 8) << line;
}

TEST(JsonText, EscapesWhatATerminalWouldObeyAndKeepsTheRest) {
    const std::pair<std::string_view, const char *> rows[] = {
        {"", R"("")"},
        {"a\"b\\c/", R"("a\"b\\c/")"},
        {"\x1b[2J\n\x7f", R"("\u001b[2J\u000a\u007f")"},
        {"\u009b\u202e\u2028\u2066", R"("\u009b\u202e\u2028\u2066")"},
        {"\u00e9\u6f22\U0001f600", "\"\u00e9\u6f22\U0001f600\""},
        {"a\xff\xe6\xbc", "\"a\ufffd\ufffd\ufffd\""},
        {std::string_view("a\0b", 3), R"("a\u0000b")"},
    };
    for (const auto &[text, json] : rows)
        EXPECT_EQ(json, JsonText(text));
}

TEST(NearestWords, AreInOrderOfTheirDistanceAndFew) {
    const std::vector<std::string> names = {"machine-0011", "machine-0001", "host1",
                                            "machine-0002"};
    EXPECT_THAT(NearestWords("machine-001", names, 2), ElementsAre("machine-0011", "machine-0001"));
    EXPECT_THAT(NearestWords("frobnicate", names, 2), ElementsAre());
    EXPECT_THAT(NearestWords(std::string(65, 'x'), {std::string(65, 'x')}, 2), ElementsAre());
}

} // namespace
