/*
 * nearestWord.h -- the word that was probably meant:  "abuot"  ->  "about",  "profl"  ->  "profile"
 *
 * A candidate is near if few letters must be changed. If none is, the candidates are near whose beginning is.
 */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvaneCli {

/* Returns the nearest candidate; empty if all are far from the word. */
std::string NearestWord(std::string_view word, const std::vector<std::string> &candidates);

/* The same for several, the nearest first. */
std::vector<std::string> NearestWords(std::string_view word,
                                      const std::vector<std::string> &candidates, size_t most);

} // namespace orvaneCli
