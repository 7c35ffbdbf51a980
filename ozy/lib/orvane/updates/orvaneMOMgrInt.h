/*
 * orvaneMOMgrInt.h -- the record of the manager, shared by its sources: registry (orvaneMOMgr.cpp),
 * loads (orvaneMOMgrLoad.cpp), update stream (orvaneMOMgrUpdates.cpp), changes of properties
 * (orvaneMOMgrApply.cpp)
 *
 * No pointer in here keeps a proxy or an application's listener alive; each is watched by a weak
 * reference for as long as a table names it:
 *
 *   proxy     orvane_momgr_discard_by_obj                while it is registered
 *   proxy     orvane_momgr_load_object_weak_notify       while pendingLoads has an entry for it
 *   listener  orvane_momgr_load_listener_weak_notify     while activeListeners holds it
 *
 * The manager's own calls hold a reference to the manager, so it outlives them.
 */
#pragma once

#include <memory>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/listener/orvaneListener.h"
#include "ozy/lib/orvane/updates/orvaneMOMgr.h"

/* A load that was not started yet. */
struct MOMgrLoad {
    SkemaQormManagedObject *proxy;
    gboolean partialUpdates;
};

/* What is known of a load that was not answered yet. */
struct MOMgrPending {
    GQueue waiting; /* of listeners, in order of arrival; NULL for a load without one */
    GList *record;  /* its MOMgrLoad, until it is started */
};

/* What a listener waits for. */
struct MOMgrWaiter {
    SkemaQormManagedObject *proxy; /* NULL: contents */
    GList *active;                 /* its place in activeListeners */
};

struct OrvaneMOMgrPrivate {
    OrvaneSession *session;      /* not owned; ask whether it is live */
    GHashTable *objectsById;     /* owned id -> proxy */
    GHashTable *idsByObject;     /* proxy -> owned id */
    GHashTable *filtersByObject; /* proxy -> owned id of its filter */
    GHashTable *loadListeners;   /* listener -> owned MOMgrWaiter */
    GHashTable *pendingLoads;    /* proxy -> owned MOMgrPending */
    GQueue *loadQueue;           /* of MOMgrLoad, in at the head, out at the tail */
    guint32 outstandingLoads; /* CreateFilter calls whose load was not answered; may go below 0 */
    SkemaQormManagedObject *collector;
    char *collectorVersion; /* of the last updates; NULL: from the beginning */
    gboolean updatesStopped;
    gboolean updatesInFlight;
    OrvaneListener *updatesListener; /* of the open call, which owns it; a weak pointer */
    GQueue *activeListeners;         /* all that are still to be answered, the newest at the head */
    GQueue
        *answering; /* of MOMgrPending, taken from pendingLoads, whose listeners are being told */
    guint startsWanted; /* loads to start before orvane_momgr_dequeue_pending_load() returns */
    gboolean isClosed;  /* the connection is over */
};

struct _OrvaneMOMgr {
    GObject parent;
    OrvaneMOMgrPrivate *priv;
};

struct FreeValueArray {
    void operator()(GValueArray *array) const { g_value_array_free(array); }
};
using ValueArrayPtr = std::unique_ptr<GValueArray, FreeValueArray>;

/* A value that is unset when the scope ends. */
struct ScopedValue {
    GValue value = G_VALUE_INIT;
    ScopedValue() = default;
    explicit ScopedValue(GType type) { g_value_init(&value, type); }
    ~ScopedValue() {
        if (G_IS_VALUE(&value))
            g_value_unset(&value);
    }
    ScopedValue(const ScopedValue &) = delete;
    ScopedValue &operator=(const ScopedValue &) = delete;
};

template <class T> ObjectPtr<T> MOMgrHold(T *object) {
    return ObjectPtr<T>(object != nullptr ? static_cast<T *>(g_object_ref(object)) : nullptr);
}

/* What a value holds, if that is of the type; (transfer none). */
GObject *MOMgrGetObject(const GValue *value, GType type);

/* The session while its present connection is this manager's; NULL once that is over. */
OrvaneSession *MOMgrSession(OrvaneMOMgr *momgr);

/* A listener for a call of the manager's own. It holds the manager. */
OrvaneListener *MOMgrNewStep(OrvaneMOMgr *momgr, OrvaneListenerCallback callback);

/* Initiates an application's listener and watches it until it is forgotten. FALSE if that is not
 * waiting now: it waited for something else already, or a handler dropped it. */
gboolean MOMgrWatchListener(OrvaneMOMgr *momgr, OrvaneListener *listener,
                            SkemaQormManagedObject *proxy);
void MOMgrForgetListener(OrvaneMOMgr *momgr, OrvaneListener *listener);

/* Destroys a filter on the service, without asking for the outcome. */
void MOMgrDestroyFilter(OrvaneMOMgr *momgr, const char *filterId);

/* The fault of a call that failed, as a value. */
void MOMgrTakeFault(OrvaneListener *internal, GValue *value);

/* Frees one; no listener is told. */
void MOMgrFreePending(gpointer pending);

/* Starts as many queued loads as there is room for. */
void MOMgrStartLoads(OrvaneMOMgr *momgr);

G_BEGIN_DECLS
void orvane_momgr_discard_by_obj(gpointer momgr, GObject *proxy);
void orvane_momgr_load_object_weak_notify(gpointer momgr, GObject *proxy);
void orvane_momgr_load_listener_weak_notify(gpointer momgr, GObject *listener);
void orvane_momgr_dequeue_pending_load(OrvaneMOMgr *momgr);
void orvane_momgr_create_filter_cb(OrvaneListener *internal, gpointer momgr);
void orvane_momgr_retrieve_contents_cb(OrvaneListener *internal, gpointer momgr);
void orvane_momgr_updates_cb(OrvaneListener *internal, gpointer momgr);
void orvane_momgr_remove_element(OrvaneMOMgr *momgr, GObject *object, const char *path);
G_END_DECLS
