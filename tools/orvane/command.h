/*
 * command.h -- how a command ends: its exit status, and one line for a failure
 *
 * Errors: a failure is reported here once, on stderr, as "orvane: ..."; nothing is thrown.
 */
#pragma once

#include <functional>

namespace orvaneCli {

/* Runs a command and returns its exit status; a Failure is reported. */
int RunCommand(const std::function<int()> &command);

/* Returns the status, or kFailed with a report if a write to stdout failed. */
int CheckOutput(int status);

} // namespace orvaneCli
