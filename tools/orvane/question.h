/*
 * question.h -- asks the user at the terminal
 *
 * Questions go to stderr and answers come from stdin; both must be a terminal. A signal that ends the program
 * ends the question as well: the terminal is as it was before, and Interrupted is thrown.
 *
 * Threads: one; it waits.
 */
#pragma once

#include <optional>
#include <string>

namespace orvaneCli {

bool CanAsk();

/* A line without its end; nothing at the end of the input. Throws Interrupted. */
std::optional<std::string> Ask(const std::string &question);

/* The same without showing what is typed. */
std::optional<std::string> AskSecretly(const std::string &question);

/* The same by Crypto_GetPassword(). */
std::optional<std::string> AskForPassphrase(const std::string &prompt);

} // namespace orvaneCli
