/*
 * completionCommand.h -- "orvane completion SHELL": a script with which a shell completes the words of orvane
 *
 *   eval "$(orvane completion bash)"
 *
 * The script calls "orvane complete -- WORDS", which is not shown; it writes a candidate a line.
 */
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace orvaneCli {

struct CompletionOptions {
    std::string shell;
    std::vector<std::string> words;
};

/* Adds the command, whose callback sets the status. All must outlive the parsing. */
void AddCompletion(CLI::App &program, CompletionOptions &options, int &status);

} // namespace orvaneCli
