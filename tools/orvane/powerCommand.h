/*
 * powerCommand.h -- "orvane power": switches machines, several at the same time
 *
 *   orvane power on --parallel 4 /Datacenter/vm/machine-0001 vm-102
 *
 *   machine-0001  done                                on a terminal: a bar for each that is not over, below the lines
 *   vm-102        InvalidPowerState: ...
 */
#pragma once

#include <string>
#include <vector>

#include "tools/orvane/methodRun.h"
#include "tools/orvane/serviceOptions.h"

namespace orvaneCli {

struct PowerOptions : ServiceOptions {
    std::vector<std::string> machines;
    TaskOptions task;
    int parallel = 8;
    bool isSure = false;
    bool isDry = false;
};

void AddPower(CLI::App &program, PowerOptions &options, int &status);

} // namespace orvaneCli
