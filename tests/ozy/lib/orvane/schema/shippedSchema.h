/*
 * shippedSchema.h -- the schema's text tables, read anew: what tests compare the live classes and
 * stubs with
 *
 * Nothing but the reader of the tables is shared with what made the classes.
 *
 * Ownership: what is returned lives as long as the program.
 */
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ozy/lib/schemaText/schemaNames.h"
#include "tests/support/paths.h"

struct ShippedSchema {
    SchemaModel model; /* in the order of the rows: qorm, ozy, ferry; files by name */
    SchemaIndex index;
    std::vector<SchemaTypeNames> names; /* of the types of the model */

    /* The type of that wire name; NULL for a root's parent and for the kinds of value. */
    const TableType *Find(const std::string &name) const {
        return SchemaIndex_Find(index, model, name);
    }
    const SchemaTypeNames &NamesOf(const TableType &type) const {
        return names[&type - model.types.data()];
    }
    /* The C name of a type, or the name itself: "SkemaOzyTaskInfo", "GObject". */
    std::string TypeName(const std::string &name) const {
        const TableType *type = Find(name);
        return type != nullptr ? NamesOf(*type).type : name;
    }
};

/* Whether the library was built from these tables alone. */
#ifdef ORVANE_HAS_OVERLAY
inline constexpr bool kIsShippedAlone = false;
#else
inline constexpr bool kIsShippedAlone = true;
#endif

inline std::unique_ptr<ShippedSchema> ShippedSchema_Read() {
    auto schema = std::make_unique<ShippedSchema>();
    SchemaErrors errors;
    for (const char *ns : {"qorm", "ozy", "ferry"}) {
        std::vector<std::filesystem::path> files;
        for (const auto &entry :
             std::filesystem::directory_iterator(SourcePath(std::string("generated/") + ns)))
            files.push_back(entry.path());
        std::ranges::sort(files);
        for (const std::filesystem::path &file : files) {
            std::ifstream stream(file);
            const std::string text(std::istreambuf_iterator<char>(stream), {});
            EXPECT_TRUE(SchemaText_Parse(&schema->model, file.c_str(), text, &errors)) << file;
        }
    }
    schema->index = SchemaIndex_Make(schema->model);
    schema->names = SchemaNames_Make(schema->model, schema->index);
    return schema;
}

inline const ShippedSchema &Shipped() {
    static const std::unique_ptr<ShippedSchema> schema = ShippedSchema_Read();
    return *schema;
}
