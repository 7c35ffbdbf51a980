/*
 * jsonClass.h -- the properties of a class as JSON needs them, gathered once
 *
 * Uses installed headers only: param specs, their flags and the data that the classes publish.
 *
 * Ownership: records live as long as the process and hold a reference on their class.
 * Threads:   any thread may get a record; of two made at the same time, one is kept.
 */
#pragma once

#include <string>
#include <vector>

#include "ozy/lib/orvaneJson/jsonKinds.h"

struct JsonProperty {
    GParamSpec *pspec; /* the class keeps it */
    JsonPlace place;
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

/* The record of an object class. */
const JsonClass *JsonClass_Get(GType type);

/* The property of that name, or NULL. */
const JsonProperty *JsonClass_Find(const JsonClass *klass, const char *name);

/* Levels of objects and arrays that are written and read. */
constexpr guint kJsonMaxDepth = 512;
