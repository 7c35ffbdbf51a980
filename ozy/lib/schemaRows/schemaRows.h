/*
 * schemaRows.h -- the schema as constant rows: what schemagen writes and the engine reads
 *
 * One row describes one type, one field, one word of an enumeration, one method or one
 * argument. Rows refer to each other by index and to texts by offset into one pool, so the tables need
 * no relocation and no code at load. A run of rows that belong together (the fields of a class, the
 * words of an enumeration, the arguments of a method) is a first index and a count.
 *
 *   data SelectionSpec : DynamicData = CorePropertyCollectorSelectionSpec  @all
 *     name              string?
 *
 * is a SchemaTypeRow {"SkemaQormCorePropertyCollectorSelectionSpec", "SelectionSpec", its base's
 * index, ...} with one SchemaFieldRow {"name", STRING, OPTIONAL, version ""}.
 *
 * Ownership: constant data; tables made at run time live as long as the process.
 * Threads:   read only.
 */
#pragma once

#include <glib-object.h>

/* What kind of type a row makes. */
enum SchemaKind : guint8 {
    SCHEMA_KIND_DATA, /* data objects and events */
    SCHEMA_KIND_FAULT,
    SCHEMA_KIND_MANAGED,
    SCHEMA_KIND_ENUM,
};

/* The kind of one value; with SCHEMA_ARRAY there is a list of such values. */
enum SchemaValueKind : guint8 {
    SCHEMA_VALUE_NONE, /* a method without result */
    SCHEMA_VALUE_BOOLEAN,
    SCHEMA_VALUE_BYTE,
    SCHEMA_VALUE_SHORT,
    SCHEMA_VALUE_INT,
    SCHEMA_VALUE_LONG,
    SCHEMA_VALUE_FLOAT,
    SCHEMA_VALUE_DOUBLE,
    SCHEMA_VALUE_STRING,
    SCHEMA_VALUE_URI, /* in arrays only */
    SCHEMA_VALUE_DATETIME,
    SCHEMA_VALUE_BINARY,
    SCHEMA_VALUE_ANY,
    SCHEMA_VALUE_ENUM,    /* the row's type is its index */
    SCHEMA_VALUE_OBJECT,  /* a data object or fault; the row's type is its index */
    SCHEMA_VALUE_MANAGED, /* a managed object; the row's type is its index */
    SCHEMA_VALUE_UNKNOWN, /* arguments only: the caller passes a const GValue *, or a GValueArray * of
                             values of the caller's own types if there is SCHEMA_ARRAY */
};

enum : guint8 {
    SCHEMA_ARRAY = 0x1,
    SCHEMA_OPTIONAL = 0x2, /* fields: flag 259; arguments: passed by pointer, NULL leaves it out */
    SCHEMA_LIKELY = 0x4,   /* arguments: the type is likely, not stated */
    SCHEMA_REQUIRED = 0x8, /* arguments: stated to be required, passed on even if NULL */
    SCHEMA_DYNAMIC = 0x10, /* fields: an array of any whose elements may be managed objects */
};

enum : guint8 {
    SCHEMA_TYPE_UNLISTED = 0x1, /* in no name map: the wire name does not lead to the type */
    SCHEMA_TYPE_PARTIAL = 0x2,  /* not all fields are known; an overlay may add them */
    SCHEMA_TYPE_UNDATED = 0x4,  /* managed: use and release of the properties are not known */
};

/* In the order in which the name maps are filled; reflection types count to the core. */
enum SchemaNamespace : guint8 {
    SCHEMA_NAMESPACE_QORM,
    SCHEMA_NAMESPACE_OZY,
    SCHEMA_NAMESPACE_FERRY,
    SCHEMA_NUM_NAMESPACES,
};

constexpr guint16 kSchemaNoType = 0xffff; /* no base: derives from GObject or GInitiallyUnowned */

struct SchemaTypeRow {
    guint32 name;     /* text: "SkemaOzyTaskInfo" */
    guint32 wireName; /* text: "TaskInfo" */
    guint32 first;    /* first field, or first word of an enumeration */
    guint16 count;    /* number of fields or words */
    guint16 base;     /* index of the base type, or kSchemaNoType */
    SchemaKind kind;
    SchemaNamespace ns;
    guint8 flags;
};

struct SchemaFieldRow {
    guint32 name;
    guint16 type; /* index of the type for ENUM, OBJECT and MANAGED, otherwise kSchemaNoType */
    SchemaValueKind kind;
    guint8 flags;
    guint8 version; /* index in the version catalogue of the release that brought the field */
};

struct SchemaWordRow {
    guint32 identifier; /* text: "SKEMA_OZY_TASK_INFO_QUEUED" */
    guint32 word;       /* text: "queued" */
};

struct SchemaMethodRow {
    guint32 wireName;
    guint32 firstArgument;
    guint16 resultType; /* as SchemaFieldRow::type */
    guint8 numArguments;
    SchemaValueKind resultKind; /* SCHEMA_VALUE_NONE without a result */
    guint8 resultFlags;         /* SCHEMA_ARRAY for a list */
    guint16 owner;              /* index of the class that has it */
};

struct SchemaArgumentRow {
    guint32 name;
    guint16 type;
    SchemaValueKind kind;
    guint8 flags;
};

struct SchemaTables {
    const char *text;
    const SchemaTypeRow *types;
    const SchemaFieldRow *fields;
    const SchemaWordRow *words;
    const SchemaMethodRow *methods;
    const SchemaArgumentRow *arguments;
    GType *ids;               /* one per type, 0 until it is registered */
    guint16 *instanceSizes;   /* one per type, in bytes, of a class that is registered */
    const guint16 *nameSlots; /* of the listed types, by their wire names; nameSlots.h */
    guint32 numTypes;
    guint32 numFields;
    guint32 numWords;
    guint32 numMethods;
    guint32 numArguments;
    guint32 textSize; /* in bytes */
    guint32 numNameSlots;
};

/* The tables built into the library, made by schemagen. Types of one namespace are adjacent. */
extern const SchemaTables kSchemaTables;
