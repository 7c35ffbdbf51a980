/*
 * orvaneArgument.h -- a call's arguments as an array: how the method stubs hand them to the session
 *
 *   const OrvaneArgument arguments[] = {{"name", &name}, {"memory", &memory}};
 *   OrvaneSession_InvokeMethodV(session, object, "CreateSnapshot_Task", listener, arguments, 2);
 *
 * The order of the array is the order of the elements on the wire. A value that is zeroed stands
 * for an argument that is left out.
 *
 * Ownership: names and values are the caller's and are used only until the call returns: the text
 * of the request is written by then. The listener's reference goes to the session. Threads:   the
 * thread of the loop.
 */
#pragma once

#include <orvane/runtime.h>

G_BEGIN_DECLS

typedef struct {
    const char *name;
    const GValue *value; /* zeroed: left out */
} OrvaneArgument;

/* orvane_session_invoke_method() with the pairs in an array. */
void OrvaneSession_InvokeMethodV(OrvaneSession *session, GObject *object, const char *methodName,
                                 OrvaneListener *listener, const OrvaneArgument *arguments,
                                 guint count);

G_END_DECLS
