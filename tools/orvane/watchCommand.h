/*
 * watchCommand.h -- "orvane watch": a table that stays up to date, or a line for each change
 */
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/orvane/serviceOptions.h"

namespace orvaneCli {

struct WatchOptions : ServiceOptions {
    std::vector<std::string> paths;
    std::vector<std::string> properties;
    std::string type;
    int seconds = 0; /* 0: until a signal */
};

/* Adds the command, whose callback sets the status. Both must outlive the parsing. */
void AddWatch(CLI::App &program, WatchOptions &options, int &status);

} // namespace orvaneCli
