/*
 * parallelRuns.h -- several operations at the same time, with a bar for each, and a line or row for each that is over
 *
 *   machine-0001  done                       table
 *   machine-0002  failed
 *   {"name": "machine-0001", "task": "task-7", "result": "done", "error": null}      jsonl, and json as an array
 *
 * Failures go to stderr at the end, one line each. Once the connection or the login is lost, no more are started.
 *
 * Errors:  Failure: without a text once failures were reported, with the status of the first. If a signal ended it, one that
 *          names the tasks that go on.
 * Threads: the one that iterates the default GMainContext.
 */
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace orvaneCli {

struct ParallelRun {
    std::string name;            /* as the user wrote it */
    std::function<void()> start; /* throws Failure */
    std::function<bool()> isOver;
    std::function<int()> percent;
    std::function<void()> succeed;       /* once it is over; throws Failure */
    std::function<std::string()> taskId; /* empty if there is none */
};

struct ParallelOptions {
    size_t most = 1; /* at the same time */
    bool hasBars = true;
    bool isQuiet = false;    /* nothing for a success, in a table */
    bool showsTasks = false; /* the id of the task is the result */
    std::string done;        /* the word for a success */
};

void RunInParallel(const std::vector<ParallelRun> &runs, const ParallelOptions &options);

} // namespace orvaneCli
