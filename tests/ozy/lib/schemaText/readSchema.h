/*
 * readSchema.h -- reads small tables for tests
 */
#pragma once

#include <memory>

#include "ozy/lib/schemaText/schemaBuild.h"
#include "ozy/lib/schemaText/schemaCheck.h"
#include "tests/support/matchers.h"

/* The types that the tables of tests need: the roots and the most common base. */
inline constexpr const char *kCoreTable = "namespace qorm\n"
                                          "data DataObject : GObject  @all\n"
                                          "data DynamicData : DataObject  @all\n"
                                          "fault MethodFault : GObject = MethodFault  @all\n"
                                          "managed ManagedObject : GInitiallyUnowned  @all\n";

struct ReadSchema {
    SchemaModel model;
    SchemaErrors errors;
};

/* The text alone, read as "a.schema". */
inline ReadSchema Read(std::string_view text) {
    ReadSchema read;
    SchemaText_Parse(&read.model, "a.schema", text, &read.errors);
    return read;
}

/* The core, then the text, then the check; no check of what cannot be read. */
inline std::unique_ptr<ReadSchema> ReadAndCheck(std::string_view text) {
    auto read = std::make_unique<ReadSchema>();
    SchemaText_Parse(&read->model, "core.schema", kCoreTable, &read->errors);
    if (SchemaText_Parse(&read->model, "a.schema", text, &read->errors))
        SchemaCheck_Run(read->model, &read->errors);
    return read;
}
