/*
 * emit.h -- prints a checked model of the schema as C++ sources and C headers
 *
 * One function for each kind of file, which returns the whole text. Equal models give equal bytes. Rows come
 * from schemaBuild.h unchanged; this module decides the spelling only.
 */
#pragma once

#include "ozy/lib/schemaText/schemaBuild.h"

/* A model, with its rows and names. */
struct Emission {
    const SchemaModel &model;
    SchemaIndex index;
    std::vector<SchemaTypeNames> names; /* in the order of the model */
    SchemaBuilt built;
};

Emission Emission_Make(const SchemaModel &model);

/* One of several files of about the same size. */
struct EmitPart {
    gsize number; /* from 0 */
    gsize count;
};

/* Returns the source of kSchemaTables. */
std::string Emit_Tables(const Emission &emission);
/* Returns the source of one part of the get_type functions. */
std::string Emit_Types(const Emission &emission, EmitPart part);
/* Returns the source of one part of the method stubs. */
std::string Emit_Methods(const Emission &emission, EmitPart part);
/* Returns <orvane/schema/NAMESPACE.h>. */
std::string Emit_Header(const Emission &emission, SchemaNamespace ns);
/* Returns the numbers of types, fields and methods, for people. */
std::string Emit_Counts(const Emission &emission);
