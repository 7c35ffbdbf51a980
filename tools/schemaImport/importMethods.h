/*
 * importMethods.h -- the types of arguments that operations of the documents tell
 *
 * An operation names no class, so only methods that the schema knows gain by it: each of that name, or
 * of that name with "_Task", whose arguments are called the same in the same order.
 *
 * Threads: no state.
 */
#pragma once

#include "tools/schemaImport/typeMap.h"

namespace schemaImport {

/* Appends a block per class with the methods that are now better known. */
void ImportMethods(const SchemaModel &shipped, const XsdSchema &schema, const TypeMap &types,
                   SchemaNamespace ns, std::vector<TableType> *overlay, Notes *notes);

/* Does the schema's word agree with that of the documents? */
bool AgreesWith(const TableTypeRef &known, const TableTypeRef &said);
/* "~Name[]?" */
std::string RefText(const TableTypeRef &ref);

} // namespace schemaImport
