/*
 * aboutCommand.h -- "orvane about": connects to a service and shows its description
 */
#pragma once

#include <CLI/CLI.hpp>

#include "tools/orvane/loginOptions.h"

namespace orvaneCli {

struct AboutOptions : LoginOptions {
    bool isQuiet = false;
};

/* Adds the command, whose callback sets the status. Both must outlive the parsing. */
void AddAbout(CLI::App &program, AboutOptions &options, int &status);

} // namespace orvaneCli
