/*
 * schemaEngine.h -- registers the rows of the schema as classes and enumerations, stores and
 * releases the values of their fields, and packs the arguments of method stubs
 *
 * Generated code is one line a function: a get_type is orvane_schema_get_type(index), a method stub
 * is orvane_schema_invoke(index, object, listener, arguments...). Everything else is here, once:
 *
 *   schemaEngine.cpp     rows -> types, classes, param specs, signals; name maps
 *   schemaKinds.cpp      a row per kind of value: param spec, storing, packing
 *   schemaReference.cpp  managed objects, which are kept as ids and never held
 *   schemaInvoke.cpp     arguments of a stub -> values -> the session
 *   schemaCompare.cpp    whether two values are equal
 *   schemaLookup.cpp     types by their names, versions and privileges
 *   schemaLoad.cpp       further tables of a file or an application
 *
 * An instance is its root's struct from <orvane/runtime.h>, then the fields of each class below it,
 * from the base down. The class struct of a root ends in a pointer to the class's SchemaClass,
 * which every class below has in the same place; one that an application registers below a schema
 * class inherits the pointer of its closest schema ancestor.
 *
 * Ownership: a SchemaClass lives as long as the process, like the class it describes.
 * Errors:    an index past the tables is a broken program and panics.
 * Threads:   classes may be registered from any thread; objects belong to the thread of the loop.
 */
#pragma once

#include <string_view>
#include <vector>

#include <orvane/runtime.h>

#include "ozy/lib/orvane/schema/nameIndex.h"
#include "ozy/lib/schemaRows/schemaRows.h"

G_BEGIN_DECLS

GType orvane_schema_get_type(guint index);
void orvane_schema_invoke(guint method, gpointer object, OrvaneListener *listener, ...);

G_END_DECLS

struct SchemaStore; /* how one kind of value is kept; schemaStore.h */

/* One field as its class keeps it. */
struct SchemaField {
    const SchemaFieldRow *row;
    const SchemaStore *store;
    GParamSpec *pspec;
    GType valueType; /* the type of one element of an array, otherwise of the value */
    GQuark mark;     /* of the object data that says "was set"; 0 for a required field */
    guint32 offset;  /* of the value in the instance, in bytes */
};

/* A class of the schema once it is initialised. */
struct SchemaClass {
    const SchemaClass *base; /* NULL for a root */
    const SchemaTypeRow *row;
    const char *name;     /* "SkemaOzyTaskInfo" */
    const char *wireName; /* "TaskInfo" */
    GType type;
    void (*chainUp)(GObject *object); /* finalises the part above the schema's root */
    guint32 sessionOffset;            /* in the instance, in bytes, of the OrvaneSession * */
    gint32
        recordOffset; /* in the instance, in bytes, of the SchemaSession, which is in the private part */
    guint32 numFields;
    SchemaField *fields; /* own fields only; the field at place i has the property id i + 1 */
    std::vector<const SchemaField *> allFields; /* with those of the bases, which come last */
    NameIndex names;                            /* of allFields */
};

/* What a class is made of: of the class itself, or of its closest ancestor from the schema (an
 * application may have registered it below one). NULL if it has none. */
const SchemaClass *SchemaClass_Get(gpointer klass);

/* The same for an object that is below one of the roots of the schema. */
const SchemaClass *SchemaClass_Of(gconstpointer object);

/* Does what the class's set_property does for this field, without the way through the property
 * system: no check of the value, which must hold the pspec's value type, and no "notify".
 * The field must be one of a class that the object is of. */
void SchemaClass_SetField(GObject *object, const SchemaField *field, const GValue *value);

/* The same, but takes over the content of the value where that saves a copy. */
void SchemaClass_TakeField(GObject *object, const SchemaField *field, GValue *value);

/* The same for a field with a text. */
void SchemaClass_TakeText(GObject *object, const SchemaField *field, char *text);

/* The same for a field of the type "any": the value is what the field is to hold, and is empty afterwards. */
void SchemaClass_TakeAny(GObject *object, const SchemaField *field, GValue *content);

/*
 * Is called before a field of an object is stored, or without a field when an object is about to release all of its fields.
 * It must not store anything.
 */
using SchemaObserver = void (*)(GObject *object, const SchemaField *field);

/* Sets the observer of the calling thread's stores; NULL for none. */
void SchemaEngine_Observe(SchemaObserver observer);

/* Sets the function that is called in this thread before a field of an object is read; NULL for none. It must not read a
 * field. */
void SchemaEngine_ObserveReads(SchemaObserver observer);

/* For those who read a field where it is kept in the object, to be called before that. */
void SchemaEngine_NoteRead(GObject *object, const SchemaField *field);

/* The field behind a property; NULL if an application's class below the schema's has it, or may store it. */
const SchemaField *SchemaClass_FindField(GObject *object, const GParamSpec *pspec);

/* The same by the property's name, which is looked up among the fields of the object's class and its bases. */
const SchemaField *SchemaClass_FindFieldByName(GObject *object, std::string_view name);

/* Puts what an object has in a field into a value of the pspec's type, as the class's get_property does. */
void SchemaClass_GetField(GObject *object, const SchemaField *field, GValue *value);

/* Where a field is kept in the object. What is there is described in schemaStore.h. Of an array, SchemaEngine_NoteRead() is
 * to be called before. */
template <class T> T *SchemaField_In(GObject *object, const SchemaField *field) {
    return static_cast<T *>(G_STRUCT_MEMBER_P(object, field->offset));
}

/* The array in a field, to be changed in place by those who know which of its elements are only places, see
 * orvaneUpdateIndex.h. NULL if there is none, or if it is kept in another way, as references
 * to managed objects and lists of any values are. */
GValueArray *SchemaField_GetArray(GObject *object, const SchemaField *field);

/* Makes room for one more element. GLib grows an array by 8 elements at a time, which copies a long one again and again. */
void SchemaArray_MakeRoom(GValueArray *array);

/* The tables in force: those built into the library unless others were put in their place. */
const SchemaTables *SchemaEngine_Tables();

/* Puts other tables in force. They must hold all types of the built-in ones at the same indexes,
 * since the get_type functions name their type by index. FALSE, with nothing changed, once a type
 * is registered. */
gboolean SchemaEngine_SetTables(const SchemaTables *tables);

/* Whether a type is registered; the tables can then no longer be replaced. */
gboolean SchemaEngine_IsInUse();

/* The type with that wire name; 0 if there is none, or if it is not listed. */
GType SchemaEngine_FindType(std::string_view wireName);

/* The GType of elements of a kind; type is an index for ENUM, OBJECT and MANAGED. */
GType SchemaEngine_ValueType(SchemaValueKind kind, guint16 type);
