/*
 * sendableText.h -- texts that a request cannot carry: bad UTF-8, and characters that XML does not allow
 *
 *   "a\x1b[31m"                     ->   "the value has the character U+001B, which a request cannot carry"
 *   {"a": [{"b": "\u0000"}]}        ->   "a[0].b: the value has the character U+0000, ..."
 *
 * Threads: no state.
 */
#pragma once

#include <string>
#include <string_view>

namespace orvaneCli {

/* Returns what is wrong with a text, for people; empty if it can be sent. */
std::string WhyUnsendable(std::string_view text);

/* Returns what is wrong with the first such text in a JSON document, behind its path; empty also if it is no JSON. */
std::string WhyJsonUnsendable(const std::string &json);

} // namespace orvaneCli
