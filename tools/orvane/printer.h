/*
 * printer.h -- rows of columns on stdout, in the form of the setting "output"
 *
 *   Printer printer({{.key = "name", .title = Text(MSGID("column.name") "NAME")}, {.key = "cpus", .title = "CPUS"}});
 *   printer.Row({TextCell(machine.name), NumberCell(4)});
 *   printer.End();
 *
 *   table   aligned columns with headings, which fit the terminal (tableLayout.h); written by End()
 *   plain   machine-0001<tab>4                       a line a row, no headings
 *   json    [{"name": "machine-0001", "cpus": 4}]    a row a line
 *   jsonl   {"name": "machine-0001", "cpus": 4}
 *
 * Texts are those of the service: the printer escapes what must not reach a terminal. In JSON a cell of nothing is null.
 *
 * Errors:  OutputFailure as soon as stdout takes no more.
 * Threads: one.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/orvane/settings.h"
#include "tools/orvane/tableLayout.h"

namespace orvaneCli {

struct Cell {
    std::string text; /* for people, not escaped yet */
    std::string json; /* a JSON value; empty: the text as a JSON string */
    Style style = Style::kPlain;
};

Cell TextCell(std::string text, Style style = Style::kPlain);
Cell NumberCell(int64_t number);
/* Shown as nothing. */
Cell NothingCell();
/* A text for people, and what it is in JSON. */
Cell JsonCell(std::string text, std::string json);

class Printer {
public:
    struct Options {
        bool hasHeading = true; /* of a table */
    };
    explicit Printer(std::vector<Column> columns);
    Printer(std::vector<Column> columns, Options printerOptions);

    void Row(const std::vector<Cell> &cells);
    /* Adds a row whose JSON, an object, is made already. */
    void Row(const std::vector<Cell> &cells, const std::string &json);
    /* Writes what has not been written, also where there were no rows. Call it once. */
    void End();
    /* Writes the rows so far, of a form that is not a table. */
    void Flush();

    bool IsTable() const { return form == OutputForm::kTable; }

private:
    void AppendJson(const std::vector<Cell> &cells, const std::string &json);
    void AppendPlain(const std::vector<Cell> &cells);
    void AppendTable();

    OutputForm form;
    Options options;
    Terminal terminal;
    TableLayout layout;
    std::vector<std::string> jsonKeys; /* of the columns: "\"name\": " */
    std::vector<TableRow> rows;        /* of a table */
    bool isFirst = true;
    std::string buffer;
};

} // namespace orvaneCli
