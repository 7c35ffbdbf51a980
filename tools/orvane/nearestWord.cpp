#include "tools/orvane/nearestWord.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace orvaneCli {

namespace {

constexpr size_t kMaxWord = 64;     /* longer ones resemble nothing */
constexpr size_t kMinBeginning = 3; /* shorter ones are the beginning of too much */

/* How many letters to insert, remove or replace in a word, */
struct Distance {
    size_t toWord;      /* until it is the candidate */
    size_t toBeginning; /* until the candidate begins with it */
};
Distance DistanceOf(std::string_view a, std::string_view b) {
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
    return {row.back(), std::ranges::min(row)};
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
    using Near = std::vector<std::pair<size_t, std::string_view>>;
    Near near;
    Near longer;
    const size_t limit = word.size() / 3 + 2; /* must be below */
    const size_t beginningLimit = word.size() < kMinBeginning ? 0 : word.size() / 4 + 1;
    for (const std::string &candidate : candidates) {
        const Distance distance =
            DistanceOf(word, std::string_view(candidate).substr(0, word.size() + limit));
        if (distance.toWord < std::min(limit, candidate.size()))
            near.emplace_back(distance.toWord, candidate);
        else if (distance.toBeginning < beginningLimit)
            longer.emplace_back(distance.toBeginning, candidate);
    }
    if (near.empty())
        near = std::move(longer);
    std::ranges::stable_sort(near, {}, [](const auto &each) { return each.first; });
    near.resize(std::min(near.size(), most));
    std::vector<std::string> words;
    for (const auto &[distance, candidate] : near)
        words.emplace_back(candidate);
    return words;
}

} // namespace orvaneCli
