/*
 * loginOptions.h -- where a command connects to, and the password
 */
#pragma once

#include <CLI/CLI.hpp>

#include "tools/orvane/connection.h"
#include "tools/orvane/password.h"
#include "tools/orvane/serviceTrust.h"

namespace orvaneCli {

struct LoginOptions {
    Login login;
    PasswordOptions password;
    TrustOptions trust;
};

/* Adds --timeout and the options of password and trust to a command. */
void AddLoginOptions(CLI::App &command, LoginOptions &options);

/* Completes the login by the settings, and finds the password. Throws Failure. */
Password CompleteLogin(LoginOptions &options);

} // namespace orvaneCli
