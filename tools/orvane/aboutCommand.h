/*
 * aboutCommand.h -- "orvane about": connects to a service and says which one it is
 */
#pragma once

#include <CLI/CLI.hpp>

#include "tools/orvane/connection.h"

namespace orvaneCli {

struct AboutOptions {
    Login login;
    TrustOptions trust;
};

/* Adds the command; the status is set when it has run. Both must outlive the parsing. */
void AddAbout(CLI::App &program, AboutOptions &options, int &status);

} // namespace orvaneCli
