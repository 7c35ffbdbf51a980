/*
 * schemaOverlay.h -- adds to the schema at run time what the library was built without
 *
 *   namespace ozy
 *   data VirtualMachineSummary ...
 *     overallState    ManagedEntityStatus          @ozy25/2.5
 *
 *   GError *error = NULL;
 *   if (!orvane_schema_load_overlay("site.schema", &error))
 *       g_printerr("%s\n", error->message);      site.schema:3: unknown type 'ManagedEntityStatus'
 *
 * What an overlay adds are classes, enumerations and properties like all others: found by
 * orvane_lookup_type() and g_type_from_name(), read and written with g_object_get() and
 * g_object_set(), sent and received. The form of an overlay is that of the schema's own tables.
 *
 * The environment variable ORVANE_SCHEMA_OVERLAY names files or folders, with ":" between them,
 * that the first orvane_init() loads, all or none. If they cannot be loaded it goes on without them and
 * leaves a warning in the log. A process that runs with more rights than its caller ignores it.
 *
 * Threads: before any other thread uses the library.
 */
#pragma once

#include <glib.h>

#include <orvane/export.h>

G_BEGIN_DECLS

/**
 * ORVANE_SCHEMA_ERROR:
 *
 * Domain of the errors of orvane_schema_load_overlay(); codes are those of #OrvaneSchemaError.
 */
#define ORVANE_SCHEMA_ERROR (orvane_schema_error_quark())

/**
 * OrvaneSchemaError:
 * @ORVANE_SCHEMA_ERROR_TOO_LATE: a type of the schema is in use already
 * @ORVANE_SCHEMA_ERROR_IO: a file or folder cannot be read
 * @ORVANE_SCHEMA_ERROR_SYNTAX: a text has not the form of a table
 * @ORVANE_SCHEMA_ERROR_CONTRADICTION: it says something else than what is known already
 * @ORVANE_SCHEMA_ERROR_UNSOUND: what it says cannot be, such as a type that does not exist
 */
typedef enum {
    ORVANE_SCHEMA_ERROR_TOO_LATE,
    ORVANE_SCHEMA_ERROR_IO,
    ORVANE_SCHEMA_ERROR_SYNTAX,
    ORVANE_SCHEMA_ERROR_CONTRADICTION,
    ORVANE_SCHEMA_ERROR_UNSOUND,
} OrvaneSchemaError;

ORVANE_EXPORT GQuark orvane_schema_error_quark(void);

/**
 * orvane_schema_load_overlay:
 * @path: (type filename): a file, or a folder whose *.schema files are loaded in the order of their
 *   names
 * @error: (out) (optional): what is wrong: file, line and word of the first fault, and how many there are
 *   beside it
 *
 * Adds tables to the schema of this process. It can be called several times, each over the result
 * of those before, as long as no type of the schema was used: the first call of a `_get_type`
 * function or of orvane_lookup_type() ends that, and so does connecting.
 *
 * Returns: %TRUE; or %FALSE with @error set and nothing changed
 */
ORVANE_EXPORT gboolean orvane_schema_load_overlay(const char *path, GError **error);

/**
 * orvane_schema_add_overlay:
 * @name: what messages call the text, in the place of a file's name
 * @text: the tables
 * @error: (out) (optional): as orvane_schema_load_overlay()
 *
 * Adds tables that an application carries with itself. A field that an installation's own overlay has
 * stated in another way is a %ORVANE_SCHEMA_ERROR_CONTRADICTION; call it after orvane_init(), which
 * reads those of the environment, so that theirs are kept.
 *
 * Returns: %TRUE; or %FALSE with @error set and nothing changed
 */
ORVANE_EXPORT gboolean orvane_schema_add_overlay(const char *name, const char *text,
                                                 GError **error);

G_END_DECLS
