/*
 * emit.h -- prints a checked model of the schema as C++ sources and C headers
 *
 * One function a kind of file, each giving the whole text: equal models give equal bytes. Rows come
 * from schemaBuild.h as they are; nothing is decided here but how things are spelt.
 */
#pragma once

#include "ozy/lib/schemaText/schemaBuild.h"

/* A model with all that is derived from it. */
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

/* kSchemaTables. */
std::string Emit_Tables(const Emission &emission);
/* The get_type functions. */
std::string Emit_Types(const Emission &emission, EmitPart part);
/* The method stubs. */
std::string Emit_Methods(const Emission &emission, EmitPart part);
/* <orvane/schema/NAMESPACE.h>. */
std::string Emit_Header(const Emission &emission, SchemaNamespace ns);
/* How much of everything there is, for people. */
std::string Emit_Counts(const Emission &emission);
