/*
 * profileCommand.h -- "orvane profile": services with names, and their passwords
 */
#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "tools/orvane/password.h"

namespace orvaneCli {

struct ProfileOptions {
    std::string name;
    std::string url;
    std::string user;
    PasswordOptions password;
    bool storesPassword = false;
};

/* Adds the command, whose callbacks set the status. Both must outlive the parsing. */
void AddProfile(CLI::App &program, ProfileOptions &options, int &status);

} // namespace orvaneCli
