/*
 * schemaCompare.h -- whether two values of properties are equal, down to what their objects consist of
 *
 * Objects of the schema are equal if they are of the same class and the same fields were set to equal values. Managed objects
 * are compared by id, without creating proxies. Objects of an application's own classes are equal only if they
 * are the same object, since they may keep more than their properties.
 *
 * Errors:  what is nested deeper than a reply can be counts as different.
 * Threads: those of the objects.
 */
#pragma once

#include <glib-object.h>

/* Either may be zeroed, which equals only another zeroed one. */
bool SchemaCompare_AreEqual(const GValue *first, const GValue *second);

/* What stores of fields compare with. Either may be NULL, which equals only another NULL. "depth" counts the objects and lists
 * around the two. */
bool SchemaCompare_Values(const GValue *first, const GValue *second, int depth);
bool SchemaCompare_Arrays(const GValueArray *first, const GValueArray *second, int depth);
bool SchemaCompare_Objects(GObject *first, GObject *second, int depth);
bool SchemaCompare_Times(const GTimeVal *first, const GTimeVal *second, int depth);
bool SchemaCompare_Bytes(const GByteArray *first, const GByteArray *second, int depth);
bool SchemaCompare_Texts(const char *first, const char *second, int depth);
