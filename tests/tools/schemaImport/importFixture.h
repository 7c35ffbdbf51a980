/*
 * importFixture.h -- imports over a small schema with invented names
 */
#pragma once

#include <filesystem>

#include <gmock/gmock.h>

#include "ozy/lib/schemaText/schemaOverlay.h"
#include "tests/support/temporaryFolder.h"
#include "tests/tools/schemaImport/shippedTables.h"
#include "tools/schemaImport/importCommand.h"

inline SchemaModel Shipped() {
    SchemaModel model;
    SchemaErrors errors;
    EXPECT_TRUE(SchemaText_Parse(&model, "shipped.schema", kShipped, &errors));
    return model;
}

struct Imported {
    int status = -1;
    std::string tables;
    std::string report;
};

inline Imported Import(const schemaImport::ImportOptions &options,
                       const SchemaModel &shipped = Shipped()) {
    Imported imported;
    imported.status =
        schemaImport::ImportText(shipped, options, &imported.tables, &imported.report);
    return imported;
}

/* Returns the errors of the schema's rules for tables over the shipped ones; an empty list if there are none. */
inline std::string Refusals(const std::string &tables, SchemaModel shipped = Shipped()) {
    SchemaModel overlay;
    SchemaErrors errors;
    if (SchemaText_Parse(&overlay, "imported.schema", tables, &errors) &&
        SchemaOverlay_Apply(&shipped, std::move(overlay), &errors))
        SchemaOverlay_Check(shipped, &errors);
    return testing::PrintToString(errors.messages);
}

/* A folder for documents that a test writes. */
struct DocumentFolder {
    /* The name may lead into a folder of the folder. */
    std::string Write(const std::string &name, const std::string &text) const {
        std::filesystem::create_directories(std::filesystem::path(folder.Path(name)).parent_path());
        return folder.Write(name, text);
    }
    /* Writes a schema with these components, whose first line is line 2. */
    std::string WriteSchema(const std::string &name, const std::string &components) const {
        return Write(name,
                     "<s:schema xmlns:s=\"http://www.w3.org/2001/XMLSchema\" xmlns:t=\"urn:t\">\n" +
                         components + "\n</s:schema>\n");
    }
    /* Removes the path of the folder from a text. */
    std::string Shorten(std::string text) const {
        const std::string prefix = folder.Path("");
        for (size_t at; (at = text.find(prefix)) != std::string::npos;)
            text.erase(at, prefix.size());
        return text;
    }

private:
    const TemporaryFolder folder;
};
