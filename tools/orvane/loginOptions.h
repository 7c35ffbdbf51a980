/*
 * loginOptions.h -- where a command connects to: an address and a user, or a profile; and the password
 *
 *   orvane about URL USER
 *   orvane about --profile NAME [USER]
 *
 * Password: the options, the environment, the profile, the user at the terminal; the first that has one.
 */
#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "tools/orvane/connection.h"
#include "tools/orvane/password.h"
#include "tools/orvane/serviceTrust.h"

namespace orvaneCli {

struct LoginOptions {
    Login login;
    PasswordOptions password;
    TrustOptions trust;
    std::string profile;
    bool isQuiet = false; /* no headings, no remarks, no progress */
};

/* Adds the options of password and trust to a command. */
void AddLoginOptions(CLI::App &command, LoginOptions &options);

/* Takes over what the command line has of --profile, --timeout, --wire and --quiet. */
void TakeCommonOptions(LoginOptions &options);

/* Completes the login with that of the profile, if one is named, and finds the password. Throws Failure. */
Password CompleteLogin(LoginOptions &options);

} // namespace orvaneCli
