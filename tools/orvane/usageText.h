/*
 * usageText.h -- what is wrong with a command line, in the language of the user
 *
 *   "--port: Value x not in range 0 to 65535"   ->   "--port: x ist nicht zwischen 0 und 65535"
 *
 * The parser has its texts in English only. They are taken apart by the kind of the error, and each kind has a message of
 * its own. A text of no known form is shown as it is.
 *
 * Threads: one.
 */
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace orvaneCli {

/* Returns one line without control bytes. */
std::string UsageText(const CLI::ParseError &error);

} // namespace orvaneCli
