/*
 * schemaRecover.h -- makes the model again from which tables of rows were built
 *
 * The library holds the schema as rows only. To put an overlay over it, it needs what the rows were
 * made from: types by name, with their fields, methods and words. Rows do not keep all of it:
 *
 *   events           come back as the data objects that they are
 *   "in X"           comes back for enumerations only; C names come back as "= Path"
 *   "@version"       of a class comes back as that of each of its fields
 *   "= stub"         is lost: how a stub is called is known to its caller only
 *
 * Ownership: the model holds copies.
 * Threads:   no state.
 */
#pragma once

#include "ozy/lib/schemaText/schemaText.h"

/* The type at place n is that of row n. All of it is in one file, "the built-in schema", which
 * has no lines. */
SchemaModel SchemaRecover_Run(const SchemaTables &tables);
