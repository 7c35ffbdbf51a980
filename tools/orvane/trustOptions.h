/*
 * trustOptions.h -- --pin, --ca and --insecure, for every command that connects
 */
#pragma once

#include <CLI/CLI.hpp>

#include "tools/orvane/serviceTrust.h"

namespace orvaneCli {

/* Adds the options to a command. They are checked when the command line is parsed. */
void AddTrustOptions(CLI::App &command, TrustOptions &options);

} // namespace orvaneCli
