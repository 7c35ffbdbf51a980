/*
 * processLog.h -- the log of a program, on request: a file with a few old ones beside it, or stderr
 *
 *   orvane about https://host/sdk root --log about.log --log-level debug
 *     ->  about.log, and about-0.log to about-2.log of earlier runs
 *
 * A new file is made at each start and after 16 MiB; only the user can read it. A file that is there and is no log is not
 * renamed. What cannot be written later on (a full disk) is counted in the log itself.
 *
 * Errors:  a LogProblem.
 * Threads: starting and ending: one.
 */
#pragma once

#include <string>
#include <vector>

namespace process {

struct LogOptions {
    std::string file; /* empty: no log; "-": stderr */
    std::string level = "info";
};

/* The words for a level, the most severe first. */
std::vector<std::string> LogLevels();

enum class LogProblem {
    kNone,
    kOtherFile,  /* there is a file that is no log */
    kNotRegular, /* a device, a pipe, a folder, a link */
    kSystem,     /* see LogFailure */
};

struct LogFailure {
    LogProblem problem = LogProblem::kNone;
    std::string reason; /* of the system */
};

/* Starts the log of a program. The level must be one of LogLevels(). */
LogFailure StartLog(const LogOptions &options, const char *program, const char *version);

/* Ends it. Lines that are logged later are only kept in memory. */
void EndLog();

} // namespace process
