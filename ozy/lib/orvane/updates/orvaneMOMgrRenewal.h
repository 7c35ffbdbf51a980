/*
 * orvaneMOMgrRenewal.h -- filters made anew for a service that has forgotten them
 *
 * After another login, or on another connection, the service has none of the filters. Loads that wait for an answer begin
 * again. Objects that are loaded stay loaded: each gets another filter, within the places that loads have. Its first update
 * is applied as a difference:
 *
 *   QUEUED -> CREATING -> "enter": what is different is notified, what the service no longer sends is reset
 *                      -> GONE: the service has no such object; "leave" is emitted
 *
 * Filters of the application are made anew as well; see "restarted" in <orvane/filter.h>.
 *
 * Threads: the loop's.
 */
#pragma once

#include <deque>
#include <string>
#include <unordered_map>

#include "lib/misc/keyedHash.h"
#include "ozy/lib/orvane/updates/orvaneMOMgr.h"

class MOMgrProxies; /* orvaneMOMgrInt.h */

struct MOMgrRenewal {
    std::deque<SkemaQormManagedObject *> queue; /* may hold some that are gone */
    std::unordered_map<SkemaQormManagedObject *, bool>
        proxies; /* whether the filter was requested */
};

/* Notes the internal listener of a call that creates a filter, until it is finalised. */
void MOMgrNoteCreating(OrvaneMOMgr *momgr, OrvaneListener *internal);

/* The next object whose filter is to be made anew; NULL for none. */
SkemaQormManagedObject *MOMgrRenewal_Take(OrvaneMOMgr *momgr);
/* Whether the filter of a proxy was requested anew, and its first update has not come. */
bool MOMgrRenewal_IsCreating(const OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy);
/* The proxy is up to date, or is no longer in the registry. Returns whether it was noted. */
bool MOMgrRenewal_Forget(OrvaneMOMgr *momgr, gpointer proxy);
/* Resets all properties that are not named to the defaults of their types, as long as changes may be applied. */
void MOMgrRenewal_ResetOthers(OrvaneMOMgr *momgr, MOMgrProxies *proxies,
                              SkemaQormManagedObject *proxy, const KeyedTexts &named);
/* The filter of a renewed object could not be created, or the service reports the object as missing. */
void MOMgrRenewal_Fail(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy,
                       SkemaQormMethodFault *fault);
