/*
 * setCommand.h -- "orvane set": changes the configuration of an object
 *
 *   orvane set /Datacenter/vm/web name=web-1 numCPUs=4
 *
 * It makes the description of the change that the reconfigure method of the object's class takes, and calls that.
 */
#pragma once

#include <string>
#include <vector>

#include "tools/orvane/methodRun.h"
#include "tools/orvane/serviceOptions.h"

namespace orvaneCli {

struct SetOptions : ServiceOptions {
    std::string object;
    std::vector<std::string> values;
    TaskOptions task;
    bool isDry = false;
};

/* The class of data objects that describes changes of an object of the class. Throws BadUsage if there is none. */
GType SpecTypeOf(GType type);

void AddSet(CLI::App &program, SetOptions &options, int &status);

} // namespace orvaneCli
