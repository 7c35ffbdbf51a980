/*
 * commonOptions.h -- the options that every command takes, before or after its name
 *
 *   alias o='orvane --profile lab --timeout 10 --quiet'
 *   o ls -R
 *
 * They are options of the program, so that no command lacks one. A command for which one has no meaning ignores it. Of one
 * that is given several times the last counts.
 *
 * Threads: one.
 */
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace orvaneCli {

struct CommonOptions {
    std::string profile;
    int timeoutSeconds = 0; /* 0: not given */
    std::string wireFile;   /* where requests and replies are recorded; empty: nowhere */
    bool isQuiet = false;   /* no headings, no remarks, no progress */
};

/* Adds all of them to the program, with those that are settings: --output, --color, --set. */
void AddCommonOptions(CLI::App &program);

/* What the command line has of them. */
const CommonOptions &GetCommonOptions();

} // namespace orvaneCli
