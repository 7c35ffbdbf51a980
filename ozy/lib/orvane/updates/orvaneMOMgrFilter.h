/*
 * orvaneMOMgrFilter.h -- filters of the application, which are routed by their id before the updates of loads
 *
 * The first update of a filter can arrive before the reply to its creation. So while the creation of one is not answered,
 * updates with an unknown filter are held; when it is answered, they are applied in the order of their arrival, those of
 * loads on the usual path.
 *
 * A removed filter's id is remembered for a while, since updates of it may be on their way: they must not be taken for
 * those of a load, whose counter they would decrement.
 *
 * Threads: the loop's.
 */
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include <orvane/filter.h>

#include "lib/misc/glibPtr.h"
#include "lib/misc/keyedHash.h"
#include "ozy/lib/orvane/updates/orvaneMOMgr.h"

class MOMgrProxies;

/* One filter. It lives until it is neither in a table nor being worked on. */
struct MOMgrFilter {
    guint number;
    OrvaneFilterFuncs functions;
    gpointer data;
    GDestroyNotify destroy;
    std::string id; /* empty until it is known */
    bool isRemoved; /* none of its functions is called any more */
    int references;
    ObjectPtr<GObject> spec; /* to create it anew */
    gboolean partialUpdates;
    bool isRewound = false;   /* "finished" with isWhole is still to come */
    bool isRestarted = false; /* the same, and the service may send nothing for it */
};

struct MOMgrUnrefFilter {
    void operator()(MOMgrFilter *filter) const;
};
using MOMgrFilterPtr = std::unique_ptr<MOMgrFilter, MOMgrUnrefFilter>;
MOMgrFilterPtr MOMgrHoldFilter(MOMgrFilter *filter);

/* A FilterUpdate that waits for the creation of a filter. */
struct MOMgrHeldUpdate {
    ObjectPtr<GObject> filterUpdate;
    bool isWhole;
};

/* The filters of a connection; made with the first of them. */
struct MOMgrFilters {
    std::unordered_map<guint, MOMgrFilterPtr> byNumber;
    std::unordered_map<std::string, MOMgrFilter *, KeyedHash, std::equal_to<>>
        byId;                        /* NULL for a removed one */
    std::deque<std::string> removed; /* their ids, the oldest first */
    std::deque<MOMgrHeldUpdate> held;
    std::vector<guint>
        waiting; /* numbers of those whose creation waits for the login to be complete */
    std::vector<guint> rewound; /* numbers of those that are, and of others that no longer are */
    size_t numCreating = 0;
    bool hasRestarted = false; /* one that is created anew */
};

/* Applies a FilterUpdate if it is one of an application's filter, or holds it. FALSE if it is to take the usual path.
 * Filters that were updated are added to the list. */
bool MOMgrFilter_Route(OrvaneMOMgr *momgr, GObject *filterUpdate, bool isWhole,
                       MOMgrProxies *proxies, std::vector<MOMgrFilterPtr> *updated);

/* Calls "finished" of the filters, and of those that were rewound and match nothing now. */
void MOMgrFilter_Finish(OrvaneMOMgr *momgr, const std::vector<MOMgrFilterPtr> &updated,
                        bool isWhole);

/* Calls "rewound" of all filters: the next updates are those of the beginning. Runs the application's code. */
void MOMgrFilter_Rewind(OrvaneMOMgr *momgr);

/* Creates the filters that were added before the collector was known. */
void MOMgrFilter_CreateWaiting(OrvaneMOMgr *momgr);

/* Creates all filters anew, on a service that has forgotten them. Their former calls were stopped. Runs the application's
 * code. */
void MOMgrFilter_Restart(OrvaneMOMgr *momgr);

/* Ends all filters without a request: their connection is over. Runs the application's code. */
void MOMgrFilter_EndAll(OrvaneMOMgr *momgr);
