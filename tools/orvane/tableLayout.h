/*
 * tableLayout.h -- rows of cells as lines of aligned columns that fit a width
 *
 *   NAME          TYPE            ID          cells that are too long end in "…"
 *   machine-0001  VirtualMachine  vm-101
 *
 *   NAME                                      where that leaves too little of them, a row takes several lines
 *     TYPE  ID
 *   machine-0001
 *     VirtualMachine  vm-101
 *
 * Texts must be printable already.
 */
#pragma once

#include <string>
#include <vector>

#include "tools/orvane/terminal.h"

namespace orvaneCli {

struct Column {
    std::string key;        /* name in JSON */
    std::string title;      /* heading */
    bool isRight = false;   /* numbers */
    bool cutsStart = false; /* a cell that is too long shows its end, such as a path */
    bool isWhole = false;   /* never cut, such as an id */
};

struct TableCell {
    std::string text;
    Style style = Style::kPlain;
};
using TableRow = std::vector<TableCell>;

class TableLayout {
public:
    /* A width of 0 is no limit. */
    TableLayout(std::vector<Column> tableColumns, int tableWidth);

    /* Makes the columns wide enough for a row, as far as there is room. */
    void Measure(const TableRow &row);

    std::vector<std::string> HeadingLines(const Terminal &terminal) const;
    std::vector<std::string> Lines(const TableRow &row, const Terminal &terminal) const;

    const std::vector<Column> &Columns() const { return columns; }

private:
    /* How wide each column is shown; empty if a row takes several lines. */
    std::vector<int> ShownWidths() const;
    std::vector<std::string> Aligned(const TableRow &row, const std::vector<int> &shown,
                                     const Terminal &terminal) const;
    std::string Cut(size_t column, const std::string &text, int room,
                    const Terminal &terminal) const;
    std::vector<std::string> Stacked(const TableRow &row, const Terminal &terminal) const;

    std::vector<Column> columns;
    std::vector<int> widths; /* of the longest cell */
    int width;
};

} // namespace orvaneCli
