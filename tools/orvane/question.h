/*
 * question.h -- asks the person at the terminal
 *
 * Questions go to stderr and answers come from stdin; both must be a terminal.
 *
 * Threads: one; it waits.
 */
#pragma once

#include <optional>
#include <string>

namespace orvaneCli {

bool CanAsk();

/* A line without its end; nothing at the end of the input. */
std::optional<std::string> Ask(const std::string &question);

/* The same without showing what is typed. */
std::optional<std::string> AskSecretly(const std::string &question);

} // namespace orvaneCli
