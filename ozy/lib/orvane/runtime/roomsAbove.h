/*
 * roomsAbove.h -- functions of higher rooms that lower ones call
 *
 *   runtime <- schema <- soap <- listener <- updates <- session
 *
 * A room includes headers of its own and of those to its left. A few calls go the other way: a stub
 * of the schema starts a call of a session, the reader looks a proxy up. Each such function is
 * declared here once, under its stated name, and defined in the room that its section names.
 *
 * Threads: the loop's.
 */
#pragma once

#include <orvane/session.h>

#include "ozy/lib/orvane/runtime/orvaneArgument.h"

/* schema/: overlays */

/* Loads the overlays that ORVANE_SCHEMA_OVERLAY names. A failure is a line in the log. @getVariable
 * reads the variable: secure_getenv(). */
void SchemaLoad_FromEnvironment(char *(*getVariable)(const char *name));

/* listener/: operations */

/* The open operations of the listeners of one session, the newest first. */
struct OrvaneOperations {
    OrvaneListener *first;
    guint timeLimit; /* of each, in milliseconds, unless its listener has its own; 0 for none */
};

/* Begins and ends an operation that is refused before it begins: only its completion function is invoked. NULL and
 * anything that is no listener are ignored. */
void OrvaneListener_RefuseOperation(OrvaneListener *listener);

/* Invokes the completion functions of all operations that have ended. The transport was shut down. */
void OrvaneListener_CompleteForShutdown(void);

/* Has the loop invoke those of operations that were begun while the library was shut down. */
void OrvaneListener_CompleteAfterInit(void);

/* session/: all sessions */

/* (nullable): the open operations of a live session; NULL for any other pointer. */
OrvaneOperations *OrvaneSession_GetOperations(OrvaneSession *session);

/* The service refuses the login of the connection. Logs in again, soon or after a delay, and reports the end to the
 * manager. FALSE if the session cannot do that. */
bool OrvaneSession_RenewLogin(OrvaneSession *session);

/* How long the service may take to answer the call of the update stream. */
inline constexpr gint kOrvaneMaxWaitSeconds = 300;

/* Whether the session connects again automatically when it was interrupted. */
bool OrvaneSession_Reconnects(OrvaneSession *session);

/* An object that was loaded is not known to the service any more. Runs the application's code. */
void OrvaneSession_NoteGone(OrvaneSession *session, SkemaQormManagedObject *object);

/* A call for updates has succeeded. @isComplete: no filter is being created, so the service has refused none. */
void OrvaneSession_NoteUpdates(OrvaneSession *session, bool isComplete);

/* Ends the open operations of all sessions. The transport was shut down. */
void OrvaneSession_EndAllForShutdown(void);

/* session/: the record of requests and replies */

/* Opens the file that ORVANE_WIRE names. @getVariable reads the variable: secure_getenv(). */
void OrvaneSessionWire_Open(char *(*getVariable)(const char *name));
void OrvaneSessionWire_Close(void);

/* soap/: the memory of reply trees */

/* Frees the blocks that are kept between replies. */
void SoapBlocks_ReleaseKept(void);

G_BEGIN_DECLS

/* listener/ */

/* To be called before the call is sent; %G_TYPE_NONE for a call without result. */
void orvane_listener_set_return_type(OrvaneListener *listener, GType type, gboolean isArray);

/* updates/: the registry of proxies, and loads */

/* (transfer none) (nullable): the proxy with an id. */
SkemaQormManagedObject *orvane_momgr_lookup(OrvaneMOMgr *momgr, const char *id);

/* Number of the state that the registry is in. It is never 0, and no other manager of the process ever has it. A proxy that was
 * found by its id is the one with that id while the number is the same; it changes when a proxy leaves the registry. */
guint64 OrvaneMOMgr_GetRegistryState(const OrvaneMOMgr *momgr);

/**
 * orvane_momgr_lookup_or_create:
 * @momgr: the manager
 * @id: id of the object on the service
 * @type: class of the proxy, if it has to be made; a proxy that exists is returned whatever its class
 *
 * Returns: (transfer floating) (nullable): the proxy, owned by whoever sinks it; %NULL if @type is no
 *   managed object's or the connection is over
 */
SkemaQormManagedObject *orvane_momgr_lookup_or_create(OrvaneMOMgr *momgr, const char *id,
                                                      GType type);

/**
 * orvane_momgr_load_object:
 * @momgr: the manager
 * @partialUpdates: whether changes inside a property may come one by one
 * @proxy: the object to load
 * @listener: (nullable): succeeds when the first values are in the proxy
 *
 * Loads are counted. Only the first sends a request; a later one completes together with it, or at
 * once if the object is loaded. A proxy of a former connection is taken over unless another has its
 * id by now; then the load fails. A listener can wait for one load at a time: a second one goes on
 * without it. If the proxy is finalised first, no signal is emitted.
 */
void orvane_momgr_load_object(OrvaneMOMgr *momgr, gboolean partialUpdates,
                              SkemaQormManagedObject *proxy, OrvaneListener *listener);

/**
 * orvane_momgr_unload_object:
 * @momgr: the manager
 * @proxy: an object that was loaded
 * @clear: whether its properties go back to the defaults of their types when this was the last load
 *
 * Undoes one load; the last one destroys the filter.
 */
void orvane_momgr_unload_object(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy, gboolean clear);

/* Whether the service had forgotten the filters, so that they were made anew. */
bool OrvaneMOMgr_WasRenewed(const OrvaneMOMgr *momgr);

/*
 * session/: calls
 *
 * Proxies and data objects point to their session without owning it, and applications keep them
 * longer than the session. So orvane_session_get_momgr() and OrvaneSession_InvokeMethodV() accept a
 * pointer to a session that was finalised: the one returns %NULL, the other warns. Nothing else may be
 * called on such a pointer; check OrvaneSession_IsLive() first.
 */

/* Whether the pointer is that of a session that was not finalised yet; @session may be any pointer. */
gboolean OrvaneSession_IsLive(const OrvaneSession *session);

/* Number of a live session, which no other session of the process has; 0 for any other pointer. A new session
 * may have the address of one that was finalised, but not its number. */
gsize OrvaneSession_GetNumber(const OrvaneSession *session);

/* (transfer none) (nullable): the manager of the session with this address and number. */
OrvaneMOMgr *OrvaneSession_GetManager(OrvaneSession *session, gsize number);

/* The update stream found the connection or the permission gone. */
void orvane_session_set_interrupted(OrvaneSession *session);

/**
 * OrvaneSession_InvokeMethodV:
 * @session: the session of @object
 * @object: the proxy to call
 * @methodName: the operation's name on the wire
 * @listener: (nullable): receives the outcome; see orvane_session_invoke_method()
 * @arguments: (array length=count): names and values, read before the call returns
 * @count: number of arguments
 */
void OrvaneSession_InvokeMethodV(OrvaneSession *session, GObject *object, const char *methodName,
                                 OrvaneListener *listener, const OrvaneArgument *arguments,
                                 guint count);

/**
 * OrvaneSession_HasCall:
 * @session: a session
 * @listener: a listener that was passed to a call of it
 *
 * A call that cannot be sent emits no signal. Internal callers therefore check this right after sending.
 *
 * Returns: whether a reply for @listener is still to come
 */
gboolean OrvaneSession_HasCall(OrvaneSession *session, OrvaneListener *listener);

/* Closes the transfers of a listener's calls; their replies will emit nothing. An internal listener is released. */
void OrvaneSession_StopCalls(OrvaneSession *session, OrvaneListener *listener);

/* Whether a function of orvane_session_set_wire_func() is running, which uses a call that must not be freed. */
gboolean OrvaneSessionWire_IsInFunction(void);

/* Takes the listener from its session's calls; the reply will emit nothing on it. */
void orvane_session_unlink_listener(OrvaneListener *listener);

G_END_DECLS
