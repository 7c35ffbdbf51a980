/*
 * command.h -- how a command ends: its exit status, and one line for a failure
 *
 * Errors: a failure is reported here once, on stderr; nothing is thrown.
 */
#pragma once

#include <functional>

namespace orvaneCli {

struct Failure;

/* Reports a failure on stderr, as a line for people or, if JSON is wanted, as {"error": {...}}. Returns its status. */
int ReportFailure(const Failure &failure);

/* Runs a command and returns its exit status; a Failure is reported. */
int RunCommand(const std::function<int()> &command);

/* Returns the status, or kFailed with a report if a write to stdout failed. A closed pipe is not reported: 141. */
int CheckOutput(int status);

} // namespace orvaneCli
