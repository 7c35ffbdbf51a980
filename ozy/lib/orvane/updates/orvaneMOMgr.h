/*
 * orvaneMOMgr.h -- the manager of a session's managed objects: which proxies there are, which of them
 * the application wants loaded, and the update stream that keeps those up to date
 *
 * There is one proxy per id. To load one is to create a filter for it on the service's property
 * collector; the load is answered by the first update that the filter causes:
 *
 *   load -> queued -> CreateFilter sent -> filter known -> "enter" update -> listeners answered
 *
 * At most 11 filters are being created at a time. The update stream is one long call that is repeated
 * as soon as it was answered:
 *
 *   IDLE -> WAITING -> applying -> WAITING ...      STOPPED after a disconnect or an interruption
 *
 * Ownership: the manager belongs to its session, made by each connect and released by the session's
 *            cleanup. It owns no proxy: a proxy starts floating and leaves the tables when its last
 *            owner lets it go. Sink a proxy before loading it; the request for its filter, being made
 *            and released, takes an unowned proxy along. A proxy that goes with its filter still on the
 *            service has the filter destroyed there. Proxies that nobody owns go with the manager.
 *            Listeners are the application's; the manager only watches them.
 * Errors:    loads report through their listener; slips of the caller by GLib's check warnings.
 * Callbacks: everything that answers a load or applies an update runs handlers of the application,
 *            which may unload, drop proxies, disconnect or drop the session.
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

/* Enters a proxy that has a session and an id; it takes the place of another of that id. */
void orvane_momgr_insert(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy);

/* Forgets a proxy; frees it if nobody owns it. Warns if there is none. */
void orvane_momgr_discard_by_id(OrvaneMOMgr *momgr, const char *id);

/* Answers all listeners that wait for a proxy, and lets the next load start. */
void orvane_momgr_acknowledge_load(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy,
                                   gboolean success, const GValue *value);

/**
 * orvane_momgr_retrieve_contents:
 * @momgr: the manager of a connected session
 * @filterSpecSet: what to read; see orvane_filter_spec_set_new()
 * @listener: (nullable): succeeds with an array of the proxies that were read, or with %NULL. If the
 *   call fails it is told nothing until the manager goes, and then of a canceled request.
 *
 * The values read are written into the proxies' properties.
 */
void orvane_momgr_retrieve_contents(OrvaneMOMgr *momgr, GValueArray *filterSpecSet,
                                    OrvaneListener *listener);

/* Takes a reference to the service's property collector and starts the update stream. */
void orvane_momgr_set_collector(OrvaneMOMgr *momgr, SkemaQormManagedObject *collector);

/* Asks for the next updates, unless a call is open. */
void orvane_momgr_wait_for_updates(OrvaneMOMgr *momgr);

/**
 * orvane_momgr_cancel_updates:
 * @momgr: the manager
 * @listener: (nullable): if given, the service is told too, and this learns its answer
 *
 * Ends the update stream. The reply of the open call will be dropped.
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
 * A path that leads nowhere, or a value that the property cannot take, changes nothing.
 */
void orvane_momgr_update_property(OrvaneMOMgr *momgr, GObject *object, const char *name,
                                  const GValue *value, gint op);

G_END_DECLS
