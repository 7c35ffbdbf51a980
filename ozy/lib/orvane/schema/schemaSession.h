/*
 * schemaSession.h -- which session an object belongs to
 *
 * The field "session" of an object is borrowed, and the object may outlive the session. A new session may then have
 * the address of the old one. So the number of the session is kept beside the field, in the private part of the
 * instance:
 *
 *   session  number             the object belongs to
 *   NULL     any                no session
 *   A        3, and A has 3     A
 *   A        3, and A has 7     a session that was finalised
 *
 * A field that an application wrote belongs to whichever session has that address.
 *
 * Threads: the loop's.
 */
#pragma once

#include <orvane/runtime.h>

/* An address and the number that its session had; a number of 0 is of no session. */
struct SchemaSession {
    OrvaneSession *session;
    gsize number;
};

/* The session of a data object, fault or managed object. */
SchemaSession SchemaSession_Of(gpointer object);

void SchemaSession_Set(gpointer object, OrvaneSession *session);
void SchemaSession_Set(gpointer object, const SchemaSession &of);

/* (transfer none) (nullable): the session, unless it was finalised. */
OrvaneSession *SchemaSession_GetLive(gpointer object);

/* (transfer none) (nullable): the manager of the session; NULL if the session was finalised or has none. */
OrvaneMOMgr *SchemaSession_GetManager(const SchemaSession &of);
