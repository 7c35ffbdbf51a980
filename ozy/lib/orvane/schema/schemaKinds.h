/*
 * schemaKinds.h -- the kinds of value that fields and arguments have, a row each
 *
 * A row says which GValue and which param spec a value has, how it is stored in an object and how a
 * stub's parameter becomes one. Lists of a kind are stored in a way of their own.
 *
 * Errors:  a kind that no field has, such as SCHEMA_VALUE_NONE, has no spec and no store.
 * Threads: constant data; the functions of a row belong to the thread of the object.
 */
#pragma once

#include <cstdarg>

#include "ozy/lib/orvane/schema/schemaStore.h"

/* The parameters of a stub, as a va_list that can be passed by reference. */
struct SchemaParameters {
    va_list list;
};

enum SchemaKindTrait {
    SCHEMA_KIND_NUMBER =
        1, /* a stub takes it by value, and cannot leave it out, unless it is optional */
    SCHEMA_KIND_UNCHECKED =
        2, /* a field keeps each value of its type as it is; none leads to an object */
};

struct SchemaKindRow {
    SchemaValueKind kind;
    const char *elementName; /* in the blurb of a list; NULL: the name of the type */
    GType (*type)(guint16 index);
    GParamSpec *(*makeSpec)(const char *name, GType type, GParamFlags flags);
    const SchemaStore *store;
    /* Takes the next parameter. Leaves the value zeroed if the argument is left out. */
    void (*pack)(const SchemaArgumentRow &row, SchemaParameters &from, GValue *value);
    guint traits = 0; /* of SchemaKindTrait */
};

const SchemaKindRow &SchemaKind_Row(SchemaValueKind kind);

/* Takes a list from the parameters. */
void SchemaKind_PackList(const SchemaArgumentRow &row, SchemaParameters &from, GValue *value);
