/*
 * taskCommand.h -- "orvane task": the tasks that the service remembers
 *
 *   orvane task ls
 *   orvane task wait task-7 task-8
 */
#pragma once

#include <string>
#include <vector>

#include "tools/orvane/serviceOptions.h"

namespace orvaneCli {

struct TaskCommandOptions : ServiceOptions {
    std::vector<std::string> tasks;
};

void AddTask(CLI::App &program, TaskCommandOptions &options, int &status);

} // namespace orvaneCli
