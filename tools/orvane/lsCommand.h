/*
 * lsCommand.h -- "orvane ls": the inventory as a tree of names
 */
#pragma once

#include <CLI/CLI.hpp>

#include "tools/orvane/serviceOptions.h"

namespace orvaneCli {

struct LsOptions : ServiceOptions {
    std::string path = "/";
    bool isLong = false;
    bool isRecursive = false;
    std::string type;
    std::string filter;
};

/* Adds the command, whose callback sets the status. Both must outlive the parsing. */
void AddLs(CLI::App &program, LsOptions &options, int &status);

} // namespace orvaneCli
