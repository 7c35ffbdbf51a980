/*
 * sessionCommand.h -- "orvane session ls": who is logged in at a service, where it tells
 */
#pragma once

#include <CLI/CLI.hpp>

#include "tools/orvane/serviceOptions.h"

namespace orvaneCli {

/* Adds the command, whose callback sets the status. Both must outlive the parsing. */
void AddSession(CLI::App &program, ServiceOptions &options, int &status);

} // namespace orvaneCli
