/*
 * schemaCommand.h -- "orvane schema": work on the tables of the schema
 */
#pragma once

#include <CLI/CLI.hpp>

#include "tools/schemaImport/importCommand.h"

namespace orvaneCli {

/* Adds the command; the status is set when it has run. Both must outlive the parsing. */
void AddSchema(CLI::App &program, schemaImport::ImportOptions &options, int &status);

} // namespace orvaneCli
