/*
 * demo.h -- "orvane demo": what the library does, on one screen
 *
 * It speaks to the embedded simulator unless it is given a service. Each step is checked; the first
 * that does not work ends the demo.
 */
#pragma once

#include <string>

#include "tools/orvane/serviceTrust.h"

namespace orvaneCli {

struct DemoOptions {
    std::string url; /* empty: the embedded simulator */
    std::string user = "administrator";
    std::string password = "secret";
    TrustOptions trust;  /* of a given service */
    bool isTls = false;  /* of the simulator */
    std::string machine; /* the one to switch on and off, by name; empty: the first that is off */
    int machines = 200;  /* of the simulator */
    int port = 0;        /* of the simulator; 0: a free one */
    int taskMs = 2000;   /* how long a task of the simulator takes */
    int timeoutSeconds = 30;
};

/* Returns the exit status: 0 only if all of it worked. */
int RunDemo(const DemoOptions &options);

} // namespace orvaneCli
