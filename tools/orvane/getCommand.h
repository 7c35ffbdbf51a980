/*
 * getCommand.h -- "orvane get": properties of objects
 */
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/orvane/serviceOptions.h"

namespace orvaneCli {

struct GetOptions : ServiceOptions {
    std::vector<std::string> objects;
    std::vector<std::string> properties;
};

/* Adds the command, whose callback sets the status. Both must outlive the parsing. */
void AddGet(CLI::App &program, GetOptions &options, int &status);

} // namespace orvaneCli
