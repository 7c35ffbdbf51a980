#include "tools/orvane/liveTable.h"

#include <algorithm>

#include <fmt/format.h>

#include "tools/orvane/message.h"
#include "tools/orvane/textWidth.h"

namespace orvaneCli {

namespace {

constexpr char kClearRest[] = "\033[K";
constexpr size_t kLeastForHeading = 8; /* lines */

} // namespace

LiveTable::LiveTable(std::vector<Column> tableColumns)
    : columns(std::move(tableColumns)), layout(columns, OutputColumns()) {}

void LiveTable::Forget() {
    layout = TableLayout(columns, OutputColumns());
    drawn.clear();
}

std::vector<std::string> LiveTable::LinesOf(size_t numRows,
                                            const std::function<TableRow(size_t)> &row) {
    const auto most = static_cast<size_t>(std::max(OutputRows() - 2, 3)); /* and the last line */
    std::vector<TableRow> rows;
    for (size_t i = 0; i < std::min(numRows, most); i++) {
        rows.push_back(row(i));
        layout.Measure(rows.back());
    }
    std::vector<std::string> lines;
    if (most >= kLeastForHeading)
        lines = layout.HeadingLines(terminal);
    size_t numShown = 0;
    for (const TableRow &each : rows) {
        const std::vector<std::string> more = layout.Lines(each, terminal);
        if (lines.size() + more.size() > most - (numShown + 1 < numRows ? 1 : 0))
            break;
        lines.insert(lines.end(), more.begin(), more.end());
        numShown++;
    }
    if (numShown < numRows)
        lines.push_back(terminal.Styled(Style::kFaint, Text(MSGID("inventory.more") "and %d more",
                                                            static_cast<int>(numRows - numShown))));
    return lines;
}

void LiveTable::Draw(size_t numRows, const std::function<TableRow(size_t)> &row,
                     const std::string &lastLine) {
    std::vector<std::string> lines = LinesOf(numRows, row);
    lines.push_back(
        terminal.Styled(Style::kFaint, CutText(lastLine, std::max(OutputColumns() - 1, 1),
                                               terminal.HasUnicode() ? "\u2026" : "~")));
    std::string output = drawn.empty() ? "" : "\r";
    if (drawn.size() > 1)
        output += fmt::format("\033[{}A", drawn.size() - 1);
    bool isChanged = drawn.size() != lines.size();
    for (size_t i = 0; i < lines.size(); i++) {
        const bool isSame = i < drawn.size() && drawn[i] == lines[i];
        isChanged = isChanged || !isSame;
        if (!isSame)
            output += lines[i] + kClearRest;
        if (i + 1 < lines.size())
            output += "\n";
        else if (isSame)
            output += lines[i];
    }
    if (drawn.size() > lines.size())
        output += "\033[J";
    if (isChanged)
        WriteOutput(output);
    drawn = std::move(lines);
}

} // namespace orvaneCli
