#include "tools/orvane/tableLayout.h"

#include <algorithm>

#include "tools/orvane/textWidth.h"

namespace orvaneCli {

namespace {

constexpr int kGap = 2;
constexpr int kLeastCut = 16; /* a cell that is cut shows at least that much */

const char *CutMark(const Terminal &terminal) {
    return terminal.HasUnicode() ? "\u2026" : "~";
}

} // namespace

TableLayout::TableLayout(std::vector<Column> tableColumns, int tableWidth)
    : columns(std::move(tableColumns)), width(tableWidth) {
    for (const Column &column : columns)
        widths.push_back(TextWidth(column.title));
}

void TableLayout::Measure(const TableRow &row) {
    for (size_t i = 0; i < row.size() && i < widths.size(); i++)
        widths[i] = std::max(widths[i], TextWidth(row[i].text));
}

std::vector<int> TableLayout::ShownWidths() const {
    int room = width - kGap * (static_cast<int>(columns.size()) - 1);
    std::vector<int> cuttable;
    for (size_t i = 0; i < columns.size(); i++) {
        if (columns[i].isWhole)
            room -= widths[i];
        else
            cuttable.push_back(widths[i]);
    }
    /* the columns with less than an equal share leave the rest to the others */
    std::ranges::sort(cuttable);
    int most = cuttable.empty() ? 0 : cuttable.back();
    for (size_t i = 0; i < cuttable.size(); i++) {
        const int share = room / static_cast<int>(cuttable.size() - i);
        if (cuttable[i] > share) {
            most = share;
            break;
        }
        room -= cuttable[i];
    }
    const bool isCut = !cuttable.empty() && most < cuttable.back();
    if (width > 0 && ((isCut && most < kLeastCut) || room < 0))
        return {};
    std::vector<int> shown = widths;
    for (size_t i = 0; width > 0 && i < shown.size(); i++) {
        if (!columns[i].isWhole)
            shown[i] = std::min(shown[i], most);
    }
    return shown;
}

std::string TableLayout::Cut(size_t column, const std::string &text, int room,
                             const Terminal &terminal) const {
    if (columns[column].isWhole)
        return text;
    return columns[column].cutsStart ? CutTextStart(text, room, CutMark(terminal))
                                     : CutText(text, room, CutMark(terminal));
}

std::vector<std::string> TableLayout::Aligned(const TableRow &row, const std::vector<int> &shown,
                                              const Terminal &terminal) const {
    std::string line;
    size_t numBlanks = 0; /* not written at the end of a line */
    for (size_t i = 0; i < row.size(); i++) {
        const std::string text = Cut(i, row[i].text, shown[i], terminal);
        const size_t padding = static_cast<size_t>(std::max(shown[i] - TextWidth(text), 0));
        if (columns[i].isRight)
            numBlanks += padding;
        if (!text.empty()) {
            line.append(numBlanks, ' ');
            line += terminal.Styled(row[i].style, text);
            numBlanks = 0;
        }
        numBlanks += (columns[i].isRight ? 0 : padding) + kGap;
    }
    return {line};
}

std::vector<std::string> TableLayout::Stacked(const TableRow &row, const Terminal &terminal) const {
    std::vector<std::string> lines;
    int used = width;
    for (size_t i = 0; i < row.size(); i++) {
        if (row[i].text.empty() && i > 0)
            continue;
        const int room = width - (i == 0 ? 0 : kGap);
        const std::string text = Cut(i, row[i].text, room, terminal);
        const int textWidth = TextWidth(text);
        const bool isNewLine = i <= 1 || used + kGap + textWidth > width || lines.size() < 2;
        if (isNewLine) {
            lines.emplace_back();
            used = 0;
        }
        if (i > 0)
            lines.back() += std::string(kGap, ' ');
        lines.back() += terminal.Styled(row[i].style, text);
        used += textWidth + (i > 0 ? kGap : 0);
    }
    return lines;
}

std::vector<std::string> TableLayout::Lines(const TableRow &row, const Terminal &terminal) const {
    const std::vector<int> shown = ShownWidths();
    return shown.empty() ? Stacked(row, terminal) : Aligned(row, shown, terminal);
}

std::vector<std::string> TableLayout::HeadingLines(const Terminal &terminal) const {
    TableRow titles;
    for (const Column &column : columns)
        titles.push_back({column.title, Style::kHeading});
    return Lines(titles, terminal);
}

} // namespace orvaneCli
