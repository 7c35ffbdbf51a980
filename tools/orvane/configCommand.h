/*
 * configCommand.h -- "orvane config": the settings of the program, and where each comes from
 */
#pragma once

#include <CLI/CLI.hpp>

namespace orvaneCli {

/* Adds the command, whose callback sets the status, which must outlive the parsing. */
void AddConfig(CLI::App &program, int &status);

} // namespace orvaneCli
