/*
 * command.h -- what all commands have in common: standard streams, exit status, one line for a failure
 *
 * Errors: a failure is reported here once, on stderr, as "orvane: ..."; nothing is thrown.
 */
#pragma once

#include <functional>
#include <string>

namespace orvaneCli {

/* Makes sure that descriptors 0 to 2 are in use, so that no file or socket of the program becomes one of
 * them. Reading or writing a stream that was closed then fails. Call it before anything else. */
void HoldStandardStreams();

/* Runs a command and returns its exit status; a Failure is reported. */
int RunCommand(const std::function<int()> &command);

/* Returns the status, or kFailed with a report if a write to stdout failed. */
int CheckOutput(int status);

void ReportFailure(const std::string &message);

} // namespace orvaneCli
