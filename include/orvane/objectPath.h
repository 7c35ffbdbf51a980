/*
 * objectPath.h -- reads what is deep inside an object of the schema, by a path as the service itself writes them
 *
 *   g_auto(GValue) value = G_VALUE_INIT;
 *   if (orvane_object_get_path(machine, "config.hardware.device[4000].deviceInfo.label", &value)) ...
 *
 *   path   = piece *( "." piece )
 *   piece  = property *( "[" which "]" )
 *   which  = <"> key <"> / key / "#" index / "*"
 *
 *   runtime.powerState              a property of the object in a property
 *   config.extraConfig["a.b"].value the element of a list whose property "key" is a.b; a key without quotes is one
 *                                   without "]"
 *   datastore["datastore-11"]       the managed object with that id; in a list of texts or numbers the equal one
 *   snapshotList[#2].name           the third element
 *   guest.net[*].ipAddress[*]       all elements; the result is one list, without what some of them do not have
 *
 * Nothing is requested from the service: what was not loaded is not there. So read a path when the load has succeeded, the
 * list is ready, or "notify" of the property was emitted; before that a path leads to nothing.
 *
 * Limits:  100 properties and brackets, 4,096 bytes, 100,000 elements that are looked at.
 * Errors:  none is raised, whatever the path is.
 * Threads: those of the object.
 */
#pragma once

#include <orvane/runtime.h>

G_BEGIN_DECLS

/**
 * orvane_object_get_path:
 * @object: an object of the schema
 * @path: what to read
 * @value: (out): a zeroed value; afterwards what the path leads to, zeroed if there is nothing. With "[*]" in the path
 *   it holds a #GValueArray. To be released with orvane_value_cond_unset()
 *
 * Returns: whether the path leads to something. %FALSE for a property that does not exist or is empty, an element that
 *   is not there, and a text that is no path; with "[*]" the list may be empty
 */
ORVANE_EXPORT gboolean orvane_object_get_path(GObject *object, const char *path, GValue *value);

/**
 * orvane_object_get_path_text:
 * @object: an object of the schema
 * @path: what to read
 *
 * Reads a value as text: numbers, "true", the service's word for an enumeration, the id of a managed object, a time
 * in UTC as in "2026-01-02T03:04:05Z", Base64 for bytes. An object is the name of its class; elements of a list are
 * separated by ", ".
 *
 * Returns: (transfer full) (nullable): the text; %NULL if the path leads to nothing
 */
ORVANE_EXPORT char *orvane_object_get_path_text(GObject *object, const char *path);

G_END_DECLS
