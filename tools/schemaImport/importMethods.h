/*
 * importMethods.h -- types of arguments, taken from the operations of the documents
 *
 * An operation names no class, so it is used only for methods that the schema has: each with that name, or with
 * that name and "_Task", whose arguments have the same names in the same order.
 *
 * Threads: no state.
 */
#pragma once

#include "tools/schemaImport/typeMap.h"

namespace schemaImport {

/* Appends a block for each class with methods for which the documents have more types. */
void ImportMethods(const SchemaModel &shipped, const XsdSchema &schema, const TypeMap &types,
                   SchemaNamespace ns, std::vector<TableType> *overlay, Notes *notes);

/* Returns whether the schema's type agrees with that of the documents. */
bool AgreesWith(const TableTypeRef &known, const TableTypeRef &said);
/* "~Name[]?" */
std::string RefText(const TableTypeRef &ref);

} // namespace schemaImport
