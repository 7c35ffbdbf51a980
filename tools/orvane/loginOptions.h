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
};

/* Adds --profile, --timeout and the options of password and trust to a command. Returns --profile. */
CLI::Option *AddLoginOptions(CLI::App &command, LoginOptions &options);

/* Adds --wire; and --ferry, if the command can use the second service. */
void AddConnectionOptions(CLI::App &command, Login &login, bool hasFerry);

/* Adds --quiet. */
void AddQuiet(CLI::App &command, bool &isQuiet);

/* Completes the login with that of the profile, if one is named, and finds the password. Throws Failure. */
Password CompleteLogin(LoginOptions &options);

} // namespace orvaneCli
