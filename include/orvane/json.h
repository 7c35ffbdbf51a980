/*
 * json.h -- objects of the schema as JSON, and back
 *
 *   char *text = orvane_object_to_json(G_OBJECT(spec), ORVANE_JSON_INDENTED, &error);
 *
 *   {"_type": "VirtualMachineConfigSpec", "numCPUs": 4, "memoryMB": 8192}
 *
 *   GObject *spec = orvane_object_from_json(session, SKEMA_TYPE_OZY_VIRTUAL_MACHINE_CONFIG_SPEC, text, &error);
 *   if (spec == NULL)
 *       g_printerr("%s\n", error->message);      deviceChange[0].device.key: "x" is no int
 *
 * Names are those of the wire. "_type" is the class; a nested object has it only where its class is not the declared
 * one. An optional property that was never set is left out; so a text can be read back into an equal object.
 *
 *   string, boolean, number        as JSON has them; a whole number beyond 2^53, NaN and INF are texts
 *   enumeration                    its word: "poweredOn"
 *   dateTime                       "2026-11-23T13:14:15.000001Z"
 *   binary                         base 64
 *   array                          an array
 *   managed object                 {"_type": "VirtualMachine", "_id": "vm-42"}
 *   data object, fault             an object
 *   any                            as above where that says the type: text, boolean, int, object, array;
 *                                  else {"_type": "xsd:long", "_value": 5}
 *   no object, text, date, bytes   null
 *
 * A managed object that is written itself, not mentioned by another, has its "_id" and its properties.
 *
 * Ownership: texts are released with g_free(), objects with g_object_unref(), errors with g_error_free().
 * Errors:    %ORVANE_JSON_ERROR, whose message begins with the path of the value at fault, for people.
 * Threads:   the thread of the library's loop.
 * Limits:    512 levels of objects and arrays, in both directions.
 *
 * Link with liborvane-json.
 */
#pragma once

#include <glib-object.h>

#include <orvane/export.h>
#include <orvane/runtime.h>

G_BEGIN_DECLS

/**
 * OrvaneJsonFlags:
 * @ORVANE_JSON_COMPACT: one line, no blanks
 * @ORVANE_JSON_INDENTED: a line for each property and element, two blanks a level
 * @ORVANE_JSON_ALL_TYPES: each object has its "_type"
 */
typedef enum {
    ORVANE_JSON_COMPACT = 0,
    ORVANE_JSON_INDENTED = 1 << 0,
    ORVANE_JSON_ALL_TYPES = 1 << 1,
} OrvaneJsonFlags;

/**
 * OrvaneJsonError:
 * @ORVANE_JSON_ERROR_SYNTAX: the text is no JSON, or nested too deeply
 * @ORVANE_JSON_ERROR_MISMATCH: it is JSON, but says what the schema does not allow
 * @ORVANE_JSON_ERROR_UNWRITABLE: an object holds what JSON cannot express: text that is no UTF-8, an enumeration's
 *   number without a word, a type that does not cross the wire
 */
typedef enum {
    ORVANE_JSON_ERROR_SYNTAX,
    ORVANE_JSON_ERROR_MISMATCH,
    ORVANE_JSON_ERROR_UNWRITABLE,
} OrvaneJsonError;

/**
 * ORVANE_JSON_ERROR:
 *
 * Domain of the errors of these functions; codes are those of #OrvaneJsonError.
 */
#define ORVANE_JSON_ERROR (orvane_json_error_quark())

ORVANE_EXPORT GQuark orvane_json_error_quark(void);

/**
 * orvane_object_to_json:
 * @object: (transfer none): an object of the schema: data object, fault or managed object
 * @flags: the form
 * @error: (out) (optional): what could not be written, and where
 *
 * Control characters and marks that change the direction of text are written as escapes, so that the text can be
 * shown on a terminal.
 *
 * Returns: (transfer full) (nullable): the text, without a newline at its end
 */
ORVANE_EXPORT char *orvane_object_to_json(GObject *object, OrvaneJsonFlags flags, GError **error);

/**
 * orvane_value_to_json:
 * @value: a value of a type that crosses the wire, or a zeroed one, which is null
 * @flags: the form
 * @error: (out) (optional): what could not be written, and where
 *
 * The text of a single value, such as a property of a proxy or the result of a call, in the form of the table above.
 *
 * Returns: (transfer full) (nullable): the text, without a newline at its end
 */
ORVANE_EXPORT char *orvane_value_to_json(const GValue *value, OrvaneJsonFlags flags,
                                         GError **error);

/**
 * orvane_object_from_json:
 * @session: (nullable): the session whose managed objects the text mentions; %NULL if it mentions none
 * @type: the class; a "_type" in the text may name one below it. A managed object's gives the proxy of the
 *   "_id", whose properties are left as they are
 * @text: JSON, UTF-8
 * @error: (out) (optional): the first fault of the text, and where it is
 *
 * Each required property must be in the text, if only as null; what the class does not have must not.
 *
 * Returns: (transfer full) (nullable): a new object
 */
ORVANE_EXPORT GObject *orvane_object_from_json(OrvaneSession *session, GType type, const char *text,
                                               GError **error);

/**
 * orvane_value_from_json:
 * @session: (nullable): as for orvane_object_from_json()
 * @type: what the value is to be: a type of a property or an argument
 * @elementType: for #GValueArray the type of an element; 0: each element as in an "any"
 * @text: JSON, UTF-8
 * @value: (out caller-allocates): a zeroed value. Release it with orvane_value_cond_unset()
 * @error: (out) (optional): the first fault of the text, and where it is
 *
 * Returns: whether the value was read
 */
ORVANE_EXPORT gboolean orvane_value_from_json(OrvaneSession *session, GType type, GType elementType,
                                              const char *text, GValue *value, GError **error);

G_END_DECLS
