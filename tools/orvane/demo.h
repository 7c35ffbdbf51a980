/*
 * demo.h -- "orvane demo": what the library does, on one screen
 *
 * It connects to the embedded simulator unless it is given a service. Each step is checked; the first that
 * fails ends the demo.
 */
#pragma once

#include <CLI/CLI.hpp>

#include "tools/orvane/loginOptions.h"

namespace orvaneCli {

/* Those of the login are for a given service. */
struct DemoOptions : LoginOptions {
    std::string machine; /* the one to switch on and off, by name; empty: the first that is off */

    /* of the simulator */
    bool isTls = false;
    int machines = 200;
    int port = 0; /* 0: a free one */
    int taskMs = 2000;
};

/* Adds the command, whose callback sets the status. Both must outlive the parsing. */
void AddDemo(CLI::App &program, DemoOptions &options, int &status);

} // namespace orvaneCli
