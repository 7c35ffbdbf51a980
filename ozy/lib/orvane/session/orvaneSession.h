/*
 * orvaneSession.h -- what the engine, the codec, the listener and the manager need of a session
 * beside <orvane/session.h>
 *
 * Proxies and data objects point to their session without owning it, and applications keep them
 * longer than the session. So orvane_session_get_momgr() and OrvaneSession_InvokeMethodV() take a
 * pointer to a session that has gone for what it is: the one yields %NULL, the other warns. Nothing
 * else may be called on such a pointer; ask OrvaneSession_IsLive() first.
 *
 * Threads: the loop's.
 */
#pragma once

#include <orvane/session.h>

#include "ozy/lib/orvane/runtime/orvaneArgument.h"

G_BEGIN_DECLS

/* Whether the pointer is that of a session that was not finalised yet; any pointer may be asked. */
gboolean OrvaneSession_IsLive(const OrvaneSession *session);

/* Stores and notifies "state"; nothing for an equal state. */
void orvane_session_set_state(OrvaneSession *session, OrvaneSessionState state);

/* The update stream found the connection or the permission gone. */
void orvane_session_set_interrupted(OrvaneSession *session);

/**
 * OrvaneSession_InvokeMethodV:
 * @session: the session of @object
 * @object: the proxy to call
 * @methodName: the operation's name on the wire
 * @listener: (nullable): learns the outcome; see orvane_session_invoke_method()
 * @arguments: (array length=count): names and values, read before the call returns
 * @count: number of arguments
 */
void OrvaneSession_InvokeMethodV(OrvaneSession *session, GObject *object, const char *methodName,
                                 OrvaneListener *listener, const OrvaneArgument *arguments,
                                 guint count);

/**
 * OrvaneSession_HasCall:
 * @session: a session
 * @listener: a listener that was handed to a call of it
 *
 * A call that cannot be sent tells nobody, so whoever waits for one asks right after sending.
 *
 * Returns: whether a reply for @listener is still to come
 */
gboolean OrvaneSession_HasCall(OrvaneSession *session, OrvaneListener *listener);

/* Takes the listener from its session's calls; the reply will emit nothing on it. */
void orvane_session_unlink_listener(OrvaneListener *listener);

G_END_DECLS
