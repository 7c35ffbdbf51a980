/*
 * orvaneUpdatePath.h -- resolves the paths of updates
 *
 *   path   = piece *("." piece)
 *   piece  = property / property "[" key "]"
 *   key    = number / <"> text <">            text may hold dots, but no brackets
 *
 *   summary.runtime.powerState               property of an object in an object
 *   config.device[4000].label                the element whose property "key" is 4000
 *   config.extraConfig["a.b"].value          the element whose "key" is the text a.b
 *   datastore["datastore-11"]                the managed object with that id
 *
 * If a property on the way holds no object, one is created, so that an update can fill it. Paths come from
 * the service and may have any form: one that does not fit the objects resolves to no object.
 *
 * Ownership: the caller owns the results.
 * Errors:    a key of another form raises a GLib warning; nothing else does.
 * Callbacks: the creation of an object on the way emits "notify".
 * Threads:   the loop's.
 */
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/schema/schemaReference.h"
#include "ozy/lib/orvane/updates/orvaneMOMgr.h"
#include "ozy/lib/orvane/updates/orvaneUpdateKeys.h"

struct OrvaneUpdateTarget {
    GObject *object = nullptr; /* NULL if the path does not resolve */
    const char *last = ""; /* the last piece, to which the operation applies; the end of the path */
    ObjectPtr<GObject> hold; /* of the object, if it is not the one where the path begins */
};

/* The object, the manager and the path are the caller's to keep while the target is used. */
OrvaneUpdateTarget OrvaneUpdatePath_Resolve(OrvaneMOMgr *momgr, GObject *object, const char *path);

/* The piece without its key. */
std::string_view OrvaneUpdatePath_PropertyName(std::string_view piece);

/* The property with a name, if it can be read and written; otherwise NULL. */
GParamSpec *OrvaneUpdatePath_FindProperty(GObject *object, std::string_view name);

/* Reads such a property into an empty value. Returns FALSE, with nothing done, if there is none. */
bool OrvaneUpdatePath_GetProperty(GObject *object, std::string_view name, GValue *value);

/* The number in a value; nothing if it is not one. */
std::optional<gint64> OrvaneUpdatePath_Integer(const GValue *value);

/* A copy of the array in a property; NULL if there is none. */
ValueArrayPtr OrvaneUpdatePath_GetArray(GObject *object, const GParamSpec *pspec);

/* A piece with a key. */
struct OrvaneUpdateElement {
    GParamSpec *pspec; /* of the array; NULL if the piece has no key or the property is no array */
    std::string_view key; /* part of the piece; a bracket or the end of the path follows */
};

OrvaneUpdateElement OrvaneUpdatePath_ParseElement(GObject *object, std::string_view piece);

struct OrvaneUpdateSearch {
    bool isPossible; /* the array has elements, which can have keys */
    gint index;      /* as orvane_momgr_extract_array_element() returns it */
};

/* With the keys of the array, if there is an index, no element is looked at but the first. */
OrvaneUpdateSearch OrvaneUpdatePath_FindElement(OrvaneMOMgr *momgr, const GValueArray *array,
                                                std::string_view key,
                                                const UpdateKeys *keys = nullptr);

/*
 * Searches an array where an object keeps it. Nothing if reading the keys could run the
 * application's code. The array is no longer valid afterwards: a warning about the key may run such code, too.
 */
std::optional<OrvaneUpdateSearch> OrvaneUpdatePath_FindInPlace(OrvaneMOMgr *momgr, GObject *object,
                                                               const SchemaField *field,
                                                               const GValueArray *array,
                                                               std::string_view key);

/* The same for a list of references. */
OrvaneUpdateSearch OrvaneUpdatePath_FindReference(OrvaneMOMgr *momgr, GObject *object,
                                                  const SchemaField *field,
                                                  const SchemaReferenceList &references,
                                                  std::string_view key);

G_BEGIN_DECLS

/**
 * orvane_momgr_extract_array_element:
 * @momgr: the manager, to find managed objects by id
 * @object: the object that has the array
 * @path: the array with a key: `name[key]`
 * @indexOut: (out): index of the element with that key. If there is none: 0 for an array of objects,
 *   -1 for one of texts or numbers.
 *
 * Returns: (transfer full) (nullable): a copy of the array, with references to the same objects; %NULL if the
 *   array is empty, its elements cannot have keys, or the property is not an array
 */
GValueArray *orvane_momgr_extract_array_element(OrvaneMOMgr *momgr, GObject *object,
                                                const char *path, gint *indexOut);

/* The number in a key; -1 with a warning if it is not one. */
gint orvane_momgr_key_get_int(const char *text);

/* (transfer full) (nullable): the text between a key's quotes; NULL with a warning if it is too short. */
char *orvane_momgr_key_get_string(const char *text);

G_END_DECLS
