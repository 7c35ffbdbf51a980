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
    if (word.size() > kMaxWord)
        return "";
    std::string nearest;
    size_t least = word.size() / 3 + 2; /* must be below */
    for (const std::string &candidate : candidates) {
        const size_t distance = Distance(word, candidate);
        if (distance >= std::min(least, candidate.size()))
            continue;
        least = distance;
        nearest = candidate;
    }
    return nearest;
}

} // namespace orvaneCli
