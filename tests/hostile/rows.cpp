#include "tests/hostile/rows.h"

#include <algorithm>

namespace hostile {

std::string WithPort(std::string text, int port) {
    constexpr std::string_view kPort = "@PORT@";
    for (size_t at = 0; (at = text.find(kPort, at)) != std::string::npos;)
        text.replace(at, kPort.size(), std::to_string(port));
    return text;
}

std::string AnswerOf(const Row &row, int maxTimes) {
    const int times = std::min(row.times, maxTimes);
    std::string bytes = row.answer;
    bytes.reserve(bytes.size() + row.piece.size() * size_t(times) + row.tail.size());
    for (int i = 0; i < times; i++)
        bytes += row.piece;
    return bytes + row.tail;
}

std::vector<Row> AllRows() {
    std::vector<Row> all = TransportRows();
    for (const auto &rows : {DocumentRows(), UpdateRows()})
        all.insert(all.end(), rows.begin(), rows.end());
    return all;
}

} // namespace hostile
