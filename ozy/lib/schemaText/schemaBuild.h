/*
 * schemaBuild.h -- makes the rows of schemaRows.h from a checked model
 *
 * schemagen prints them as constants; they can as well be used where they are, as they are in
 * memory. Types are in the order of the namespaces and within one in the order of the texts.
 * Equal texts are kept once, and a text that ends another one lies inside it: "TaskInfo" in
 * "SkemaOzyTaskInfo".
 *
 * Ownership: SchemaBuilt owns all rows; tables that are returned live as long as it does and stays
 *            unchanged.
 * Errors:    none; a model that did not pass SchemaCheck_Run() must not come here.
 */
#pragma once

#include "ozy/lib/schemaText/schemaNames.h"

struct SchemaBuilt {
    std::string text; /* the pool: texts that end with a NUL each */
    std::vector<SchemaTypeRow> types;
    std::vector<SchemaFieldRow> fields;
    std::vector<SchemaWordRow> words;
    std::vector<SchemaMethodRow> methods;
    std::vector<SchemaArgumentRow> arguments;
    std::vector<GType> ids;
    std::vector<guint16> instanceSizes;
    std::vector<guint16> nameSlots;
    std::vector<guint32> order; /* row of a type -> its place in SchemaModel::types */
};

SchemaBuilt SchemaBuild_Run(const SchemaModel &model);

/*
 * Tables that extend others, from which code was generated already: types keep
 * their number and new ones follow; methods, arguments and texts keep number and content, and new ones follow.
 * The model is that of SchemaRecover_Run() for the base with overlays applied. Its methods that
 * the base has is left aside, since their stubs are compiled.
 */
SchemaBuilt SchemaBuild_Extend(const SchemaTables &base, const SchemaModel &model);

SchemaTables SchemaBuild_Tables(SchemaBuilt *built);

/* The slots that SchemaTables::nameSlots is to have for the types and texts of the tables. */
std::vector<guint16> SchemaBuild_NameSlots(const SchemaTables &tables);
