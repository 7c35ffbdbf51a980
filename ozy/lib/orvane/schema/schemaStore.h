/*
 * schemaStore.h -- how each kind of value is kept in an object: its size there, and how it is set,
 * read, compared and released
 *
 *   string          char *             owned
 *   numbers, enums  by value           a short through a gint value
 *   dateTime        GTimeVal *         owned; binary is a GByteArray * likewise
 *   any             SchemaAny          inline; a managed object in it is kept as its id
 *   object          GObject *          an owned reference
 *   managed object  SchemaReference    its id and type; the proxy itself is never held
 *   arrays          GValueArray *      owned; of managed objects SchemaReferenceArray
 *
 * All state starts zeroed, and zeroed state is "nothing held".
 *
 * No headers include one another in a circle, but sources call one another in one: stores compare by schemaCompare.h, which
 * compares objects field by field, each by its store, since an object holds objects.
 *
 * Threads: those of the object.
 */
#pragma once

#include <vector>

#include "ozy/lib/orvane/schema/schemaEngine.h"
#include "ozy/lib/orvane/schema/schemaSession.h"

/* A field of one object. */
struct SchemaPlace {
    const SchemaField *field;
    gpointer data;   /* where in the object the field is kept */
    gpointer object; /* has the session of the references */
};

/* What a walk down from an object has still to visit; not owned. */
struct SchemaHeld {
    std::vector<const GValue *> values;
    std::vector<GObject *> objects;
};

struct SchemaStore {
    guint16 size; /* in the object, in bytes; also the alignment, up to that of a pointer */

    /* Releases what is held and keeps what the value holds. */
    void (*set)(const SchemaPlace &place, const GValue *value);
    /* As set, but takes over the content of the value, which may be left empty. NULL: the same as set. */
    void (*take)(const SchemaPlace &place, GValue *value);
    /* Puts what is held into the value, which is of the pspec's type; leaves it alone if nothing
     * can be had. */
    void (*get)(const SchemaPlace &place, GValue *value);
    /* Releases what is held and leaves the place zeroed. NULL: nothing is ever owned. */
    void (*release)(const SchemaPlace &place);
    /* Whether the same field of two objects holds equal values. "depth": of objects and lists around them. */
    bool (*isEqual)(const SchemaPlace &first, const SchemaPlace &second, int depth);
    /* Adds what the place holds. NULL: it never holds a proxy, nor what may lead to one. */
    void (*visit)(const SchemaPlace &place, SchemaHeld *held);
};

/* Adds the elements of an array, or nothing for NULL. */
void SchemaStore_VisitElements(const GValueArray *array, SchemaHeld *held);

/* The store for a field. */
const SchemaStore *SchemaStore_For(const SchemaFieldRow &row);
