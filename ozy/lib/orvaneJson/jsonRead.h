/*
 * jsonRead.h -- reads a tree of JSON nodes into values of the schema's types
 *
 * The rows of jsonKinds.cpp read what is one text, number or truth value; the reader goes down into all others.
 *
 * Errors:  the first problem is set as the error, with its place; the functions then return false.
 * Threads: those of the session.
 */
#pragma once

#include <orvane/session.h>

#include "ozy/lib/orvaneJson/jsonClass.h"

class ValueReader {
public:
    ValueReader(OrvaneSession *itsSession, GError **itsError)
        : session(itsSession), error(itsError) {}

    /* Reads into a value that was initialised with the place's type. */
    bool Read(const ValuePath &path, JsonNode *node, const JsonPlace &place, GValue *value);
    /* Reads into a zeroed value what says its own type. */
    bool ReadAny(const ValuePath &path, JsonNode *node, GValue *value);
    bool ReadArray(const ValuePath &path, JsonNode *node, const JsonPlace &place, GValue *value);
    bool ReadManaged(const ValuePath &path, JsonNode *node, const JsonPlace &place, GValue *value);
    bool ReadObject(const ValuePath &path, JsonNode *node, const JsonPlace &place, GValue *value);

    /* Set the error and return false. */
    bool Fail(const ValuePath &path, const std::string &text);
    bool IsNo(const ValuePath &path, JsonNode *node, const char *expected);
    bool IsUnexpected(const ValuePath &path, JsonNode *node, JsonKind kind) {
        return IsNo(path, node, JsonKind_Row(kind).expected);
    }

private:
    bool ReadTyped(const ValuePath &path, JsonObject *members, GValue *value);
    bool ReadElement(const ValuePath &path, JsonNode *node, const JsonPlace &place, GValue *value);
    bool ReadMembers(const ValuePath &path, JsonObject *members, GObject *object);
    bool ReadMember(const ValuePath &path, JsonNode *node, const JsonProperty &property,
                    GObject *object);
    bool ReadClass(const ValuePath &path, JsonObject *members, GType declared, GType *type);

    OrvaneSession *session;
    GError **error;
};

/* The text that a node is, or NULL if it is none. */
const char *ValueNode_Text(JsonNode *node);
