/*
 * orvaneUpdatePath.h -- where the path of an update leads
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
 * A property on the way that holds no object gets a new one, so that an update can fill it. Paths come
 * from the service and may be anything: one that leads nowhere resolves to no object.
 *
 * Ownership: results are the caller's.
 * Errors:    keys of another form warn, as GLib's checks do; all else is silent.
 * Callbacks: filling a property on the way notifies it.
 * Threads:   the loop's.
 */
#pragma once

#include <string>
#include <string_view>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/updates/orvaneMOMgr.h"

struct OrvaneUpdateTarget {
    ObjectPtr<GObject> object; /* NULL: the path leads nowhere */
    std::string last;          /* the last piece, which is for the operation to read */
};

OrvaneUpdateTarget OrvaneUpdatePath_Resolve(OrvaneMOMgr *momgr, GObject *object,
                                            std::string_view path);

/* The piece without its key. */
std::string OrvaneUpdatePath_PropertyName(std::string_view piece);

/* The property of a class with a name, if it can be read and written; NULL otherwise. */
GParamSpec *OrvaneUpdatePath_FindProperty(GObject *object, const char *name);

G_BEGIN_DECLS

/**
 * orvane_momgr_extract_array_element:
 * @momgr: the manager, to find managed objects by id
 * @object: the object that has the array
 * @path: the array with a key: `name[key]`
 * @indexOut: (out): index of the element with that key. If there is none: 0 for an array of objects,
 *   -1 for one of texts or numbers.
 *
 * Returns: (transfer full) (nullable): a copy of the array, whose objects are the array's own; %NULL if
 *   the array is empty, has no such elements as can have keys, or is none
 */
GValueArray *orvane_momgr_extract_array_element(OrvaneMOMgr *momgr, GObject *object,
                                                const char *path, gint *indexOut);

/* The number that a key says; -1 with a warning if it is none. */
gint orvane_momgr_key_get_int(const char *text);

/* (transfer full) (nullable): the text between a key's quotes; NULL with a warning if it is too short. */
char *orvane_momgr_key_get_string(const char *text);

G_END_DECLS
