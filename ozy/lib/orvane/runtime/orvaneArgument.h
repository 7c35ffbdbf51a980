/*
 * orvaneArgument.h -- one argument of a call: how the method stubs hand theirs to the session
 *
 *   const OrvaneArgument arguments[] = {{"name", &name}, {"memory", &memory}};
 *   OrvaneSession_InvokeMethodV(session, object, "CreateSnapshot_Task", listener, arguments, 2);
 *
 * The order of the array is the order of the elements on the wire. A zeroed value is an
 * argument that is left out.
 *
 * Ownership: names and values are the caller's and are used only until the call returns: the text of
 *            the request is written by then.
 */
#pragma once

#include <glib-object.h>

G_BEGIN_DECLS

typedef struct OrvaneArgument OrvaneArgument;

struct OrvaneArgument {
    const char *name;
    const GValue *value; /* zeroed: left out */
};

G_END_DECLS
