/*
 * logOptions.h -- --log FILE and --log-level LEVEL: the log of the program and of the library in it
 *
 * Errors: Failure.
 */
#pragma once

#include <CLI/CLI.hpp>

#include "tools/process/processLog.h"

namespace orvaneCli {

/* Adds the options to the program. */
void AddLogOptions(CLI::App &program, process::LogOptions &options);

/* Starts the log, if one is wanted, with a line that names the command. */
void StartLog(const process::LogOptions &options, const std::string &command, const char *version);

/* Logs how the program ends, and closes the log. */
void EndLog(int status);

} // namespace orvaneCli
