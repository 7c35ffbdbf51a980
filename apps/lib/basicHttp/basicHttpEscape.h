/*
 * basicHttpEscape.h -- a character in a text, in whatever form it is escaped
 *
 *   <   &lt;   &#60;   &#x3c;   &amp;lt;   %3c   %253c   \u003c   \x3c   \\u003c
 *
 * Threads: no state.
 */
#pragma once

#include <string_view>

constexpr int kBasicHttpMaxNesting = 8; /* times that an escape is escaped itself, at most */

/* Length of the character at a place of a text in lower case, in whatever form; 0 if another one is there. */
size_t BasicHttpEscape_FormAt(std::string_view lower, size_t at, char wanted);
