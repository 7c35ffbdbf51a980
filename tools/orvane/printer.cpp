#include "tools/orvane/printer.h"

#include <utility>

#include "tools/orvane/failure.h"
#include "tools/orvane/jsonText.h"

namespace orvaneCli {

namespace {

constexpr size_t kMostBuffered = 65536;

} // namespace

Cell TextCell(std::string text, Style style) {
    return {std::move(text), "", style};
}

Cell NumberCell(int64_t number) {
    const std::string text = std::to_string(number);
    return {text, text, Style::kPlain};
}

Cell NothingCell() {
    return {"", "null", Style::kPlain};
}

Cell JsonCell(std::string text, std::string json) {
    return {std::move(text), std::move(json), Style::kPlain};
}

Printer::Printer(std::vector<Column> columns) : Printer(std::move(columns), Options()) {}

Printer::Printer(std::vector<Column> columns, Options printerOptions)
    : form(GetOutputForm()), options(printerOptions), layout(std::move(columns), OutputColumns()) {
    for (const Column &column : layout.Columns())
        jsonKeys.push_back(JsonText(column.key) + ": ");
    buffer.reserve(2 * kMostBuffered);
}

void Printer::AppendJson(const std::vector<Cell> &cells, const std::string &json) {
    if (form == OutputForm::kJson)
        buffer += std::exchange(isFirst, false) ? "[\n  " : ",\n  ";
    buffer += json;
    if (json.empty()) {
        char separator = '{';
        for (size_t i = 0; i < cells.size(); i++) {
            buffer += std::exchange(separator, ',');
            if (i > 0)
                buffer += ' ';
            buffer += jsonKeys[i];
            if (cells[i].json.empty())
                AppendJsonText(buffer, cells[i].text);
            else
                buffer += cells[i].json;
        }
        buffer += '}';
    }
    if (form == OutputForm::kJsonLines)
        buffer += '\n';
}

void Printer::AppendPlain(const std::vector<Cell> &cells) {
    for (size_t i = 0; i < cells.size(); i++) {
        if (i > 0)
            buffer += '\t';
        buffer += Printable(cells[i].text);
    }
    buffer += '\n';
}

void Printer::Row(const std::vector<Cell> &cells) {
    Row(cells, "");
}

void Printer::Row(const std::vector<Cell> &cells, const std::string &json) {
    switch (form) {
    case OutputForm::kTable: {
        TableRow row;
        for (const Cell &cell : cells)
            row.push_back({Printable(cell.text), cell.style});
        layout.Measure(row);
        rows.push_back(std::move(row));
        return;
    }
    case OutputForm::kPlain:
        AppendPlain(cells);
        break;
    case OutputForm::kJson:
    case OutputForm::kJsonLines:
        AppendJson(cells, json);
        break;
    }
    if (buffer.size() >= kMostBuffered)
        Flush();
}

void Printer::Flush() {
    WriteOutput(buffer);
    buffer.clear();
    if (OutputError() != 0)
        throw OutputFailure();
}

void Printer::AppendTable() {
    const auto append = [&](const std::vector<std::string> &lines) {
        for (const std::string &line : lines)
            buffer += line + "\n";
        if (buffer.size() >= kMostBuffered)
            Flush();
    };
    if (options.hasHeading && !rows.empty())
        append(layout.HeadingLines(terminal));
    for (const TableRow &row : rows)
        append(layout.Lines(row, terminal));
}

void Printer::End() {
    if (form == OutputForm::kTable)
        AppendTable();
    else if (form == OutputForm::kJson)
        buffer += isFirst ? "[]\n" : "\n]\n";
    Flush();
}

} // namespace orvaneCli
