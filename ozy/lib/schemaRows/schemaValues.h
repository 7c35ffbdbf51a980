/*
 * schemaValues.h -- the words for each kind of value: in the schema's text tables, in C, on the wire
 *
 * A new kind is a SCHEMA_VALUE_... in schemaRows.h, a row here, and a row in
 * ozy/lib/orvane/schema/schemaKinds.cpp, which describes how its values are stored and packed. If its GType is
 * a new one, its form on the wire is a row in ozy/lib/orvane/soap/orvaneSoapKinds.cpp, and its form in JSON a row in
 * ozy/lib/orvaneJson/jsonKinds.cpp.
 *
 * Threads: constant data.
 */
#pragma once

#include <algorithm>
#include <array>
#include <string_view>

#include "ozy/lib/schemaRows/schemaRows.h"

struct SchemaValueWords {
    SchemaValueKind kind;
    std::string_view identifier; /* behind "SCHEMA_VALUE_" */
    std::string_view word;       /* in the text tables; empty: the name of a type is used */
    std::string_view byValue;    /* a stub's parameter, with the space or star before its name */
    std::string_view byPointer;  /* one that may be left out */
    std::string_view wireType;   /* xsi:type; empty: the value decides */
    std::string_view example;    /* text of a value, with {number}, {truth}, {field} and {id} */
    int limit;                   /* {number} is below it; 0: no limit */
};

inline constexpr auto kSchemaValues = std::to_array<SchemaValueWords>({
    {SCHEMA_VALUE_NONE, "NONE", "", "", "", "", "", 0},
    {SCHEMA_VALUE_BOOLEAN, "BOOLEAN", "boolean", "gboolean ", "gboolean *", "xsd:boolean",
     "{truth}", 0},
    {SCHEMA_VALUE_BYTE, "BYTE", "byte", "gint8 ", "gint8 *", "xsd:byte", "{number}", 128},
    {SCHEMA_VALUE_SHORT, "SHORT", "short", "gint ", "gint *", "xsd:short", "{number}", 32768},
    {SCHEMA_VALUE_INT, "INT", "int", "gint ", "gint *", "xsd:int", "{number}", 0},
    {SCHEMA_VALUE_LONG, "LONG", "long", "gint64 ", "gint64 *", "xsd:long", "{number}", 0},
    {SCHEMA_VALUE_FLOAT, "FLOAT", "float", "gfloat ", "gfloat *", "xsd:float", "{number}.5", 0},
    {SCHEMA_VALUE_DOUBLE, "DOUBLE", "double", "gdouble ", "gdouble *", "xsd:double", "{number}.5",
     0},
    {SCHEMA_VALUE_STRING, "STRING", "string", "const gchar *", "const gchar *", "xsd:string",
     "{field} of {id}", 0},
    {SCHEMA_VALUE_URI, "URI", "anyURI", "const gchar *", "const gchar *", "xsd:anyURI",
     "urn:{field}:{id}", 0},
    {SCHEMA_VALUE_DATETIME, "DATETIME", "dateTime", "const GTimeVal *", "const GTimeVal *",
     "xsd:dateTime", "2014-03-01T12:00:00Z", 0},
    {SCHEMA_VALUE_BINARY, "BINARY", "binary", "const GByteArray *", "const GByteArray *",
     "xsd:base64Binary", "b3J2YW5l", 0},
    {SCHEMA_VALUE_ANY, "ANY", "any", "gpointer ", "gpointer ", "", "{field} of {id}", 0},
    {SCHEMA_VALUE_ENUM, "ENUM", "", "", "", "", "", 0},
    {SCHEMA_VALUE_OBJECT, "OBJECT", "", "", "", "", "", 0},
    {SCHEMA_VALUE_MANAGED, "MANAGED", "", "", "", "", "", 0},
    {SCHEMA_VALUE_UNKNOWN, "UNKNOWN", "", "", "", "", "", 0},
});
static_assert(kSchemaValues.size() == SCHEMA_VALUE_UNKNOWN + 1);
static_assert(std::ranges::is_sorted(kSchemaValues, {}, &SchemaValueWords::kind));

constexpr const SchemaValueWords &SchemaValue_Words(SchemaValueKind kind) {
    return kSchemaValues[kind];
}
