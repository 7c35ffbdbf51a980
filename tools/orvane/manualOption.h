/*
 * manualOption.h -- the pages of the manual, which the build makes:  orvane --write-manual FOLDER
 *
 * The option is not shown. The pages are orvane.1 and one for each command; their texts are those of --help.
 */
#pragma once

#include <CLI/CLI.hpp>

namespace orvaneCli {

/* Adds the option. The commands must have been added when the command line is parsed. */
void AddManualOption(CLI::App &program);

} // namespace orvaneCli
