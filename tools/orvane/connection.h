/*
 * connection.h -- connects a session to a service that the user named
 */
#pragma once

#include <string>

#include <orvane/orvane.h>

#include "tools/orvane/serviceTrust.h"

namespace orvaneCli {

struct Login {
    std::string url;
    std::string user;
    std::string password;
    int timeoutSeconds = 30; /* without the time that the user takes to answer */
};

/* Waits until the session is connected; asks the user about the service's certificate if need be.
 * Throws Failure. */
void Connect(OrvaneSession *session, const Login &login, ServiceTrust &trust);

} // namespace orvaneCli
