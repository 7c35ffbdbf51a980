/*
 * liveTable.h -- a table at the bottom of the terminal that is drawn again in place
 *
 * Only lines that differ are written, in one write, so that nothing flickers. A draw takes time in proportion to the rows that
 * fit the terminal. What has been written before stays above.
 *
 * Threads: one.
 */
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/orvane/tableLayout.h"

namespace orvaneCli {

class LiveTable {
public:
    explicit LiveTable(std::vector<Column> tableColumns);

    /* Draws the first rows that fit of so many, and a last line. */
    void Draw(size_t numRows, const std::function<TableRow(size_t)> &row,
              const std::string &lastLine);
    /* Draws everything anew with the next call: the terminal has another size, or shows something else. */
    void Forget();

private:
    std::vector<std::string> LinesOf(size_t numRows, const std::function<TableRow(size_t)> &row);

    std::vector<Column> columns;
    Terminal terminal;
    TableLayout layout;
    std::vector<std::string> drawn; /* lines, the cursor is at the end of the last one */
};

} // namespace orvaneCli
