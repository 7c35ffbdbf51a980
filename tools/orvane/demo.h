/*
 * demo.h -- "orvane demo": what the library does, on one screen
 *
 * It connects to the embedded simulator unless it is given a service. Each step is checked; the first that
 * fails ends the demo.
 */
#pragma once

#include <CLI/CLI.hpp>

#include "tools/orvane/connection.h"

namespace orvaneCli {

struct DemoOptions {
    Login login = {.user = "administrator"}; /* without a URL: the embedded simulator */
    PasswordOptions password;                /* of a given service */
    TrustOptions trust;                      /* of a given service */
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
