#include "tools/orvane/nearestWord.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace orvaneCli {

namespace {

constexpr size_t kMaxWord = 64; /* longer ones resemble nothing */

/* The number of letters to insert, remove or replace until one word is the other. */
size_t Distance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1); /* distances of the part of a so far to the parts of b */
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); i++) {
        size_t diagonal = std::exchange(row[0], i + 1);
        for (size_t k = 0; k < b.size(); k++) {
            const size_t replaced = diagonal + (a[i] == b[k] ? 0 : 1);
            diagonal = row[k + 1];
            row[k + 1] = std::min({replaced, row[k] + 1, row[k + 1] + 1});
        }
    }
    return row.back();
}

} // namespace

std::string NearestWord(std::string_view word, const std::vector<std::string> &candidates) {
    const auto nearest = NearestWords(word, candidates, 1);
    return nearest.empty() ? "" : nearest.front();
}

std::vector<std::string> NearestWords(std::string_view word,
                                      const std::vector<std::string> &candidates, size_t most) {
    if (word.size() > kMaxWord)
        return {};
    std::vector<std::pair<size_t, std::string_view>> near;
    const size_t limit = word.size() / 3 + 2; /* must be below */
    for (const std::string &candidate : candidates) {
        if (candidate.size() >= word.size() + limit)
            continue;
        const size_t distance = Distance(word, candidate);
        if (distance < std::min(limit, candidate.size()))
            near.emplace_back(distance, candidate);
    }
    std::ranges::stable_sort(near, {}, [](const auto &each) { return each.first; });
    near.resize(std::min(near.size(), most));
    std::vector<std::string> words;
    for (const auto &[distance, candidate] : near)
        words.emplace_back(candidate);
    return words;
}

} // namespace orvaneCli
