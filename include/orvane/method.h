/*
 * method.h -- the methods of the managed classes, by name: what they take and return, and a call of one
 *
 *   OrvaneMethodInfo *method = orvane_method_info_new(G_OBJECT_TYPE(machine), "ReconfigVM_Task");
 *   GValue spec = G_VALUE_INIT;
 *   g_value_init(&spec, method->arguments[0].type);
 *   g_value_set_object(&spec, changes);
 *   orvane_method_invoke(method, machine, &spec, 1, listener);
 *   g_value_unset(&spec);
 *   orvane_method_info_free(method);
 *
 * For programs that learn only at run time which method to call, such as a console that a user types into. Where the
 * method is known when the program is written, its stub is simpler. <orvane/json.h> makes values of texts.
 *
 * Ownership: a description is the caller's, to be released with orvane_method_info_free(). Its texts are constant.
 * Errors:    NULL for what does not exist.
 * Threads:   descriptions: any. Calls: the loop's.
 */
#pragma once

#include <orvane/listener.h>

G_BEGIN_DECLS

/**
 * OrvaneArgumentFlags:
 * @ORVANE_ARGUMENT_REQUIRED: a call without it is not valid
 * @ORVANE_ARGUMENT_OPTIONAL: it may be left out
 * @ORVANE_ARGUMENT_LIKELY: the type is probable, not stated; a value of another type is sent, too
 * @ORVANE_ARGUMENT_UNKNOWN: nothing is known of the type, which is given as that of a #GValue
 *
 * Where it is neither required nor optional, the service decides whether it may be left out.
 */
typedef enum {
    ORVANE_ARGUMENT_REQUIRED = 1 << 0,
    ORVANE_ARGUMENT_OPTIONAL = 1 << 1,
    ORVANE_ARGUMENT_LIKELY = 1 << 2,
    ORVANE_ARGUMENT_UNKNOWN = 1 << 3,
} OrvaneArgumentFlags;

/**
 * OrvaneArgumentInfo:
 * @name: its name on the wire
 * @type: the type of its value; #GValueArray for a list, #GValue for any type
 * @elementType: for a list the type of an element; otherwise 0
 * @flags: what else is known
 */
typedef struct {
    const char *name;
    GType type;
    GType elementType;
    OrvaneArgumentFlags flags;
} OrvaneArgumentInfo;

/**
 * OrvaneMethodInfo:
 * @name: its name on the wire
 * @owner: the class that has it
 * @resultType: the type of its result; #GValueArray for a list, %G_TYPE_NONE without a result. A listener of a method
 *   that returns a Task ends with the task, and has the task's result
 * @resultElementType: for a list the type of an element; otherwise 0
 * @numArguments: number of @arguments
 * @arguments: (array length=numArguments): in the order of the wire
 */
typedef struct {
    const char *name;
    GType owner;
    GType resultType;
    GType resultElementType;
    guint numArguments;
    const OrvaneArgumentInfo *arguments;
} OrvaneMethodInfo;

/**
 * orvane_method_info_new: (skip)
 * @type: a managed class
 * @name: the name of a method on the wire
 *
 * Returns: (transfer full) (nullable): the method of that name which the class has or inherits
 */
ORVANE_EXPORT OrvaneMethodInfo *orvane_method_info_new(GType type, const char *name);

/**
 * orvane_method_info_free: (skip)
 * @method: (nullable): a description
 */
ORVANE_EXPORT void orvane_method_info_free(OrvaneMethodInfo *method);

/**
 * orvane_type_list_methods:
 * @type: a managed class
 *
 * Returns: (transfer full) (array zero-terminated=1): the names of the methods that the class has or inherits, in
 *   alphabetical order, each once; to be released with g_strfreev()
 */
ORVANE_EXPORT char **orvane_type_list_methods(GType type);

/**
 * orvane_method_invoke: (skip)
 * @method: a method of the class of @object
 * @object: the object to call
 * @values: (array length=numValues) (nullable): a value for each of the first arguments, in their order; a zeroed one
 *   is left out. They are not used after this returns
 * @numValues: at most the number of arguments; the others are left out
 * @listener: (nullable): acknowledged with the outcome, as by a stub
 *
 * Calls the method. A value may be of another type than that of its argument; it is sent as what it is. A list without
 * elements must be left out.
 */
ORVANE_EXPORT void orvane_method_invoke(const OrvaneMethodInfo *method,
                                        SkemaQormManagedObject *object, const GValue *values,
                                        guint numValues, OrvaneListener *listener);

/**
 * orvane_method_format_request: (skip)
 * @method: as for orvane_method_invoke()
 * @object: the object that would be called
 * @values: (array length=numValues) (nullable): as for orvane_method_invoke()
 * @numValues: as for orvane_method_invoke()
 *
 * The text of the request that orvane_method_invoke() would send, in the form of <orvane/wire.h>: an element on each
 * line, indented, secrets shown as "[redacted]". Nothing is sent.
 *
 * Returns: (transfer full) (nullable): the text; %NULL if the session of @object has no version yet or is gone, or if the
 *   call cannot be written
 */
ORVANE_EXPORT char *orvane_method_format_request(const OrvaneMethodInfo *method,
                                                 SkemaQormManagedObject *object,
                                                 const GValue *values, guint numValues);

G_END_DECLS
