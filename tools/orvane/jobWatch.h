/*
 * jobWatch.h -- the progress of conversion jobs, until all are over
 *
 * On a terminal each job has a bar, and a line once it is over. Elsewhere each change is a line:
 *
 *   {"id": "job-1", "name": "conversion-0001", "state": "active", "task": "running", "progress": 42}
 *   job-1<tab>conversion-0001<tab>active<tab>running<tab>42        with --output plain
 *
 * Errors:  Failure, also if one of the jobs failed; Interrupted.
 * Threads: the one that iterates the default GMainContext.
 */
#pragma once

#include <string>
#include <vector>

#include "tools/orvane/service.h"

namespace orvaneCli {

/* The words are ids or names; without any all jobs are watched, also those that begin later. */
void WatchJobs(const Service &service, const std::vector<std::string> &words);

} // namespace orvaneCli
