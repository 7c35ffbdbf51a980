/*
 * orvaneMOMgr.h -- the manager of a session's managed objects: the registry of proxies, their loads, and the
 * update stream that keeps loaded proxies up to date
 *
 * There is one proxy per id. To load one is to create a filter for it on the service's property
 * collector; the load is answered by the first update that the filter causes:
 *
 *   load -> queued -> CreateFilter sent -> filter known -> "enter" update -> listeners answered
 *
 * At most 11 filters are being created at a time. The update stream is one long call that is sent again
 * as soon as it is answered:
 *
 *   IDLE -> WAITING -> applying -> WAITING ...      STOPPED after a disconnect or an interruption
 *
 * Ownership: each connect creates a manager, and the session's clean-up releases it. The manager owns no
 *            proxy: a new proxy is floating, and leaves the tables when its last reference is released.
 *            Sink a proxy before loading it: the release of the request for its filter would free a
 *            floating one. When a proxy dies, its filter on the service is destroyed. Proxies without an
 *            owner are freed with the manager. The application owns its listeners.
 * Errors:    loads fail through their listeners; a caller's mistakes raise GLib's warnings.
 * Callbacks: whatever answers a load or applies an update runs handlers of the application, which may
 *            unload, release proxies, disconnect or release the session.
 * Threads:   the loop's.
 */
#pragma once

#include <orvane/session.h>

#include "ozy/lib/orvane/runtime/roomsAbove.h"

G_BEGIN_DECLS

#define ORVANE_TYPE_MOMGR (orvane_momgr_get_type())

GType orvane_momgr_get_type(void);

/**
 * orvane_momgr_new:
 * @session: the session to serve; not owned
 *
 * Returns: (transfer full): a manager without objects
 */
OrvaneMOMgr *orvane_momgr_new(OrvaneSession *session);

/* Enters a proxy that has a session and an id. It replaces another proxy of that id. */
void orvane_momgr_insert(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy);

/* Removes a proxy from the registry, and frees it if it has no owner. Warns if there is none. */
void orvane_momgr_discard_by_id(OrvaneMOMgr *momgr, const char *id);

/* Acknowledges all listeners that wait for a proxy, then starts the next load. */
void orvane_momgr_acknowledge_load(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy,
                                   gboolean success, const GValue *value);

/**
 * OrvaneMOMgr_SetStrictLoads:
 * @momgr: the manager
 * @value: whether loads and retrievals that would be pending until the connection ends fail, and the place of a load
 *   whose proxy dies is given back
 */
void OrvaneMOMgr_SetStrictLoads(OrvaneMOMgr *momgr, bool value);

/* How an attempt to log in again has ended. */
enum OrvaneMOMgrLogin {
    ORVANE_MOMGR_LOGIN_RENEWED, /* the service has forgotten all filters */
    ORVANE_MOMGR_LOGIN_KEPT,    /* the service still has them */
    ORVANE_MOMGR_LOGIN_FAILED,
};

/* Whether the update stream was refused and waits for a login. */
bool OrvaneMOMgr_IsWaitingForLogin(const OrvaneMOMgr *momgr);
/* Continues the update stream, or interrupts the session. Runs the application's code. */
void OrvaneMOMgr_EndLogin(OrvaneMOMgr *momgr, OrvaneMOMgrLogin outcome);

/* The connection is lost: nothing is in flight any more. Notes which filters are to be made anew. */
void OrvaneMOMgr_Park(OrvaneMOMgr *momgr);
/* There is another connection, with its collector. Makes all filters anew. Runs the application's code. */
void OrvaneMOMgr_Resume(OrvaneMOMgr *momgr, SkemaQormManagedObject *collector);

/* Makes all filters anew, and starts the update stream from its beginning. Runs the application's code. */
void OrvaneMOMgr_Restart(OrvaneMOMgr *momgr);

/**
 * orvane_momgr_retrieve_contents:
 * @momgr: the manager of a connected session
 * @filterSpecSet: what to read; see orvane_filter_spec_set_new()
 * @listener: (nullable): succeeds with an array of the proxies that were read, or with %NULL. If the
 *   call fails, it fails with a RequestCanceled when the manager is released, and not before; in a strict manager it
 *   fails with the fault of the call.
 *
 * The values read are written into the proxies' properties.
 */
void orvane_momgr_retrieve_contents(OrvaneMOMgr *momgr, GValueArray *filterSpecSet,
                                    OrvaneListener *listener);

/* Takes a reference to the service's property collector and starts the update stream. */
void orvane_momgr_set_collector(OrvaneMOMgr *momgr, SkemaQormManagedObject *collector);

/* Sends the next wait, unless one is open. */
void orvane_momgr_wait_for_updates(OrvaneMOMgr *momgr);

/**
 * orvane_momgr_cancel_updates:
 * @momgr: the manager
 * @listener: (nullable): if given, CancelWaitForUpdates is called with it
 *
 * Ends the update stream. The reply to the open call is dropped.
 */
void orvane_momgr_cancel_updates(OrvaneMOMgr *momgr, OrvaneListener *listener);

/**
 * orvane_momgr_update_property:
 * @momgr: the manager
 * @object: the object that was changed
 * @name: which property, as a path: `config.device["a.b"].label`
 * @value: (nullable): the new value or element; unset clears the property
 * @op: a #SkemaQormCorePropertyCollectorChangeOp
 *
 * A path that does not resolve, or a value that the property cannot hold, changes nothing.
 */
void orvane_momgr_update_property(OrvaneMOMgr *momgr, GObject *object, const char *name,
                                  const GValue *value, gint op);

G_END_DECLS
