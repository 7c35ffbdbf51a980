/*
 * nearestWord.h -- the word that was probably meant:  "abuot"  ->  "about"
 */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvaneCli {

/* Returns the candidate with the fewest changes of a letter to the word; empty if all are far from it. */
std::string NearestWord(std::string_view word, const std::vector<std::string> &candidates);

/* The same for several, the nearest first. */
std::vector<std::string> NearestWords(std::string_view word,
                                      const std::vector<std::string> &candidates, size_t most);

} // namespace orvaneCli
