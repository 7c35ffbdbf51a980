/*
 * aboutCommand.h -- "orvane about": connects to a service and shows its description
 */
#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "tools/orvane/serviceOptions.h"

namespace orvaneCli {

/* The words are an address and a user; or the user alone, where an option names the service. */
struct AboutOptions : ServiceOptions {
    std::string firstWord;
    std::string secondWord;
};

/* Adds the command, whose callback sets the status. Both must outlive the parsing. */
void AddAbout(CLI::App &program, AboutOptions &options, int &status);

} // namespace orvaneCli
