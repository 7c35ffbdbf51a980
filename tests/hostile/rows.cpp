#include "tests/hostile/rows.h"

namespace hostile {

std::string WithPort(std::string text, int port) {
    constexpr std::string_view kPort = "@PORT@";
    for (size_t at = 0; (at = text.find(kPort, at)) != std::string::npos;)
        text.replace(at, kPort.size(), std::to_string(port));
    return text;
}

std::string Repeated(const std::string &piece, int times) {
    std::string text;
    text.reserve(piece.size() * size_t(times));
    for (int i = 0; i < times; i++)
        text += piece;
    return text;
}

std::string AnswerOf(const Row &row, int maxTimes) {
    return row.answer + Repeated(row.piece, std::min(row.times, maxTimes)) + row.tail;
}

std::vector<Row> AllRows() {
    std::vector<Row> all = TransportRows();
    for (const auto &rows : {DocumentRows(), UpdateRows()})
        all.insert(all.end(), rows.begin(), rows.end());
    return all;
}

} // namespace hostile
