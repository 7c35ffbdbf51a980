/*
 * schemaCommand.h -- "orvane schema": works on the tables of the schema
 */
#pragma once

#include <CLI/CLI.hpp>

#include "tools/orvane/serviceTrust.h"
#include "tools/schemaImport/importCommand.h"

namespace orvaneCli {

struct SchemaOptions {
    schemaImport::ImportOptions wanted;
    TrustOptions trust;
};

/* Adds the command, whose callback sets the status. Both must outlive the parsing. */
void AddSchema(CLI::App &program, SchemaOptions &options, int &status);

} // namespace orvaneCli
