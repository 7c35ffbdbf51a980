/*
 * jobCommand.h -- "orvane job": the conversion jobs of the second service
 *
 *   orvane job ls [-l]              all jobs
 *   orvane job show [JOB]...        everything that is known of them
 *   orvane job watch [JOB]...       their progress, until they are over
 *   orvane job cancel|suspend|resume JOB...
 */
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/orvane/serviceOptions.h"

namespace orvaneCli {

struct JobOptions {
    ServiceOptions service;
    std::vector<std::string> jobs; /* ids or names */
    bool isLong = false;
};

/* Adds the command, whose callbacks set the status. Both must outlive the parsing. */
void AddJob(CLI::App &program, JobOptions &options, int &status);

} // namespace orvaneCli
