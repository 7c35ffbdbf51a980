/*
 * callCommand.h -- "orvane call": any method of the schema on any object
 *
 *   orvane call /Datacenter/vm/machine-0001 CreateSnapshot_Task name=before memory=false quiesce=false
 *   orvane call CreateSnapshot_Task --help
 */
#pragma once

#include <string>
#include <vector>

#include "tools/orvane/methodRun.h"
#include "tools/orvane/serviceOptions.h"

namespace orvaneCli {

struct CallOptions : ServiceOptions {
    std::string object;
    std::string method;
    std::vector<std::string> arguments;
    TaskOptions task;
    bool isDry = false;
    bool isHelpWanted = false;
};

void AddCall(CLI::App &program, CallOptions &options, int &status);

/* Calls the method, waits for the task that it starts if that is wanted, and writes the result; or writes the request
 * only. */
void RunMethod(const Service &service, const OrvaneMethodInfo &method,
               SkemaQormManagedObject *object, const GValue *values, guint numValues,
               const TaskOptions &task, bool isDry);

} // namespace orvaneCli
