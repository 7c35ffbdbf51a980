/*
 * jsonKinds.h -- the kinds of value that JSON has a form for, a row each
 *
 * A row says which types are of the kind, what its values look like in JSON and how they are read and written. What holds
 * other values (arrays, objects, any values) is read in jsonRead.cpp and written in jsonWrite.cpp.
 *
 * Uses installed headers only.
 *
 * Errors:  a value that cannot be read or written is reported with its place.
 * Threads: constant data.
 */
#pragma once

#include <array>

#include <glib-object.h>
#include <json-glib/json-glib.h>

#include "ozy/lib/orvaneJson/valuePath.h"

class ValueReader;
class ValueWriter;

enum class JsonKind : guint8 {
    Boolean,
    Byte,
    UnsignedByte,
    Int,
    UnsignedInt,
    Long,
    UnsignedLong,
    Float,
    Double,
    Enum,
    String,
    Timeval,
    Uri,
    Bytes,
    Any,
    Array,
    Managed,
    Object,
    Fault,
    Other, /* nothing that crosses the wire */
};

/* What a value is read or written for. */
struct JsonPlace {
    GType type; /* 0: none is declared */
    JsonKind kind;
    GType elementType = 0; /* of an array; 0: each element says its own */

    static JsonPlace Of(GType type, GType elementType = 0);
};

struct JsonKindRow {
    JsonKind kind;
    GType fundamental;    /* 0: no type leads here */
    GType (*type)();      /* this one and those derived from it; NULL: all of the fundamental one */
    const char *wireName; /* "xsd:int"; NULL: each type has its own */
    const char *expected; /* in "5 is no boolean"; NULL: depends on the type */
    bool isNullable;      /* a pointer; all others have ranges that a property may narrow */
    bool saysItsType;     /* as an any value, without "_type" and "_value" around it */
    bool hasMembers;      /* is an object in JSON, whose members have its "_type" */

    /* Reads into a value that was initialised with the place's type. The node is not null if the kind is nullable. */
    bool (*read)(ValueReader &reader, const ValuePath &path, JsonNode *node, const JsonPlace &place,
                 GValue *value);
    /* Writes a value that is not NULL if the kind is nullable. */
    bool (*write)(ValueWriter &writer, const ValuePath &path, const GValue *value,
                  const JsonPlace &place);
};

constexpr gsize kNumJsonKinds = static_cast<gsize>(JsonKind::Other) + 1;

extern const std::array<JsonKindRow, kNumJsonKinds> kJsonKindRows;

inline const JsonKindRow &JsonKind_Row(JsonKind kind) {
    return kJsonKindRows[static_cast<gsize>(kind)];
}

JsonKind JsonKind_Of(GType type);

inline JsonPlace JsonPlace::Of(GType type, GType elementType) {
    return {type, JsonKind_Of(type), elementType};
}

/* What a type is called on the wire: "VirtualMachine", "xsd:int"; NULL if it has no name. */
const char *JsonType_Name(GType type);

/* The type of such a name; 0 if there is none. */
GType JsonType_OfName(const char *name);
