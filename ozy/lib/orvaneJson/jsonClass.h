/*
 * jsonClass.h -- the properties of a class as JSON needs them, gathered once, and the kinds of value
 *
 * Uses installed headers only: param specs, their flags and the data that the classes publish.
 *
 * Ownership: records live as long as the process and hold a reference on their class.
 * Threads:   any thread may get a record; of two made at the same time, one is kept.
 */
#pragma once

#include <string>
#include <vector>

#include <glib-object.h>

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
    Other, /* nothing that crosses the wire */
    /* what follows can be missing */
    String,
    Timeval,
    Uri,
    Bytes,
    Any,
    Array,
    Managed,
    Object, /* a data object or a fault */
};

struct JsonProperty {
    GParamSpec *pspec; /* the class keeps it */
    GType type;
    GType elementType; /* of an array; 0: each element has its own */
    JsonKind kind;
    bool isOptional;
    GQuark mark;     /* key of the object's data for "was set"; 0 for a required property */
    std::string key; /* "numCPUs": with the quotes and the colon */
    void (*get)(GObject *object, guint id, GValue *value, GParamSpec *pspec); /* NULL: by name */
};

struct JsonClass {
    GType type;
    const char *wireName;                 /* of the nearest class that the schema knows */
    std::vector<JsonProperty> properties; /* in the order of the wire */
};

JsonKind JsonKind_Of(GType type);

/* The record of an object class. */
const JsonClass *JsonClass_Get(GType type);

/* The property of that name, or NULL. */
const JsonProperty *JsonClass_Find(const JsonClass *klass, const char *name);

/* What a type is called on the wire: "VirtualMachine", "xsd:int"; NULL if it has no name. */
const char *JsonType_Name(GType type);

/* The type of such a name; 0 if there is none. */
GType JsonType_OfName(const char *name);

/* Levels of objects and arrays that are written and read. */
constexpr guint kJsonMaxDepth = 512;
