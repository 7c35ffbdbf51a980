/*
 * importFixture.h -- documents imported over a small schema of invented names
 */
#pragma once

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ozy/lib/schemaText/schemaOverlay.h"
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

/* What the schema's own rules say of the tables over what is shipped; empty if they take them. */
inline std::string Refusals(const std::string &tables, SchemaModel shipped = Shipped()) {
    SchemaModel overlay;
    SchemaErrors errors;
    if (SchemaText_Parse(&overlay, "imported.schema", tables, &errors) &&
        SchemaOverlay_Apply(&shipped, std::move(overlay), &errors))
        SchemaOverlay_Check(shipped, &errors);
    return testing::PrintToString(errors.messages);
}

/* A folder of its own for documents that a test writes. */
class DocumentFolder {
public:
    DocumentFolder() {
        char name[] = "/tmp/schemaImportXXXXXX";
        path = mkdtemp(name);
    }
    ~DocumentFolder() { std::filesystem::remove_all(path); }
    DocumentFolder(const DocumentFolder &) = delete;
    DocumentFolder &operator=(const DocumentFolder &) = delete;

    std::string Write(const std::string &name, const std::string &text) const {
        std::filesystem::create_directories((path / name).parent_path());
        std::ofstream(path / name) << text;
        return path / name;
    }
    /* A schema with these components, whose first line is line 2. */
    std::string WriteSchema(const std::string &name, const std::string &components) const {
        return Write(name,
                     "<s:schema xmlns:s=\"http://www.w3.org/2001/XMLSchema\" xmlns:t=\"urn:t\">\n" +
                         components + "\n</s:schema>\n");
    }
    /* The path of the folder taken out of a text. */
    std::string Shorten(std::string text) const {
        const std::string prefix = path.string() + "/";
        for (size_t at; (at = text.find(prefix)) != std::string::npos;)
            text.erase(at, prefix.size());
        return text;
    }

private:
    std::filesystem::path path;
};
