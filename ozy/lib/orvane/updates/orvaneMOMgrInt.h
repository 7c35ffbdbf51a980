/*
 * orvaneMOMgrInt.h -- the record of the manager, shared by its sources: registry (orvaneMOMgr.cpp),
 * loads (orvaneMOMgrLoad.cpp), retrievals (orvaneMOMgrRetrieve.cpp), update stream (orvaneMOMgrUpdates.cpp), changes of properties
 * (orvaneMOMgrApply.cpp), filters of the application (orvaneMOMgrFilter.cpp), filters made anew
 * (orvaneMOMgrRenewal.cpp)
 *
 * No pointer in the record keeps a proxy or an application's listener alive. Each has a weak reference while
 * a table contains it:
 *
 *   proxy     orvane_momgr_discard_by_obj                while it is registered
 *   proxy     orvane_momgr_load_object_weak_notify       while pendingLoads has an entry for it
 *   listener  orvane_momgr_load_listener_weak_notify     while activeListeners holds it
 *
 * The manager's own calls hold a reference to the manager, so it lives as long as they do.
 */
#pragma once

#include <span>
#include <vector>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/listener/orvaneListener.h"
#include "ozy/lib/orvane/listener/orvaneOperation.h"
#include "ozy/lib/orvane/schema/schemaEngine.h"
#include "ozy/lib/orvane/updates/orvaneMOMgr.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrFilter.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrRenewal.h"

/* A load that has not started. */
struct MOMgrLoad {
    SkemaQormManagedObject *proxy;
    gboolean partialUpdates;
};

/* A load that has not been answered. */
struct MOMgrPending {
    GQueue waiting; /* listeners, in order of arrival; NULL for a load without one */
    GList *record;  /* its MOMgrLoad, until the load starts */
};

/* An entry for a listener that waits. */
struct MOMgrWaiter {
    SkemaQormManagedObject *proxy; /* being loaded; NULL for a retrieval of contents */
    GList *active;                 /* its place in activeListeners */
    MOMgrPending
        *pending;    /* the load; NULL for a retrieval, and until the listener is in its list */
    GList *place;    /* in that list */
    guint operation; /* serial of the operation that waits */
    OrvaneListener *internal; /* of a retrieval's call; NULL once that has ended */
};

struct OrvaneMOMgrPrivate {
    OrvaneSession *session;      /* not owned; check OrvaneSession_IsLive() */
    GHashTable *objectsById;     /* owned id -> proxy */
    GHashTable *idsByObject;     /* proxy -> owned id */
    guint64 registryState;       /* as OrvaneMOMgr_GetRegistryState() */
    GHashTable *filtersByObject; /* proxy -> owned id of its filter */
    GHashTable *loadListeners;   /* listener -> owned MOMgrWaiter */
    GHashTable *pendingLoads;    /* proxy -> owned MOMgrPending */
    GQueue *loadQueue;           /* of MOMgrLoad, in at the head, out at the tail */
    guint32 outstandingLoads; /* CreateFilter calls whose load was not answered; may fall below 0 */
    GHashTable
        *startedLoads;   /* the proxies of these calls, not owned -> 1 if nobody waits any more */
    bool hasStrictLoads; /* outstandingLoads is the size of that set */
    SkemaQormManagedObject *collector;
    char *collectorVersion; /* of the last updates; NULL to start from the beginning */
    gboolean updatesStopped;
    gboolean updatesInFlight;
    OrvaneListener *updatesListener; /* of the open call, which owns it; a weak pointer */
    GQueue *activeListeners;         /* all that are not answered yet, the newest at the head */
    guint numStarts;        /* loads to start before orvane_momgr_dequeue_pending_load() returns */
    gboolean isClosed;      /* the connection is over */
    MOMgrFilters *filters;  /* of the application; NULL until there is one */
    GHashTable *creating;   /* the internal listeners of CreateFilter calls, not owned */
    MOMgrRenewal *renewal;  /* NULL until filters were made anew */
    bool isWaitingForLogin; /* the update stream was refused */
    bool isProbing;         /* the next call for updates is answered at once, also without any */
    guint numFailedWaits;   /* in a row, for reasons of the transport */
};

struct _OrvaneMOMgr {
    GObject parent;
    OrvaneMOMgrPrivate *priv;
};

template <class T> ObjectPtr<T> MOMgrHold(T *object) {
    return ObjectPtr<T>(object != nullptr ? static_cast<T *>(g_object_ref(object)) : nullptr);
}

/*
 * A value where an object of the schema keeps it, of the type that schemaStore.h names. NULL if the object's class is
 * an application's, which may keep it elsewhere. The pointer is valid until the property is set.
 */
template <class T> T *MOMgrPeek(GObject *object, const char *property) {
    const SchemaField *field = SchemaClass_FindFieldByName(object, property);
    if (field == nullptr)
        return nullptr;
    SchemaEngine_NoteRead(object, field);
    return SchemaField_In<T>(object, field);
}

/* An array in an object that only a reply holds; it is copied only if the class is an application's. */
class MOMgrReplyArray {
public:
    MOMgrReplyArray(GObject *object, const char *property);
    std::span<const GValue> Elements() const {
        return array != nullptr ? std::span<const GValue>(array->values, array->n_values)
                                : std::span<const GValue>();
    }

private:
    ValueArrayPtr copy;
    const GValueArray *array;
};

/* The any value "val" of a change or a property of a reply, likewise. */
class MOMgrReplyAny {
public:
    explicit MOMgrReplyAny(GObject *object);
    const GValue *Get() const { return peeked != nullptr ? peeked : &copy.value; }

private:
    ScopedValue copy;
    const GValue *peeked = nullptr;
};

/* (transfer none) (nullable): the object in a value, if it is of the type. */
GObject *MOMgrGetObject(const GValue *value, GType type);

/*
 * Proxies that arrays in any values of a reply hold, at any depth. Nothing but the registry keeps those without an
 * owner alive when the reply is released. So they are released after it, as those of single references are.
 */
class MOMgrProxies {
public:
    MOMgrProxies() = default;
    ~MOMgrProxies();
    MOMgrProxies(const MOMgrProxies &) = delete;
    MOMgrProxies &operator=(const MOMgrProxies &) = delete;
    void Note(const GValue *any);

private:
    std::vector<ObjectPtr<SkemaQormManagedObject>> proxies;
};

/* The session, while its connection is the one of this manager; otherwise NULL. */
OrvaneSession *MOMgrSession(OrvaneMOMgr *momgr);

/* An internal listener for a call of the manager. It holds a reference to the manager. */
OrvaneListener *MOMgrNewListener(OrvaneMOMgr *momgr, OrvaneListenerCallback callback);

enum class MOMgrWait {
    Waits,
    Ignored, /* the listener waits for another load, or a handler released it: the request is sent without it */
    GivenUp, /* a handler aborted or replaced the operation: nothing is sent */
};
/* Initiates an application's listener and watches it until MOMgrForgetListener(). */
MOMgrWait MOMgrWatchListener(OrvaneMOMgr *momgr, OrvaneListener *listener,
                             SkemaQormManagedObject *proxy);
/* (nullable): the entry of a listener that waits. */
MOMgrWaiter *MOMgrFindWaiter(OrvaneMOMgrPrivate *priv, gpointer listener);
/* Whether a listener that waits has begun another operation since, which replaced the one that waits. */
bool MOMgrServesAnother(OrvaneMOMgr *momgr, OrvaneListener *listener);
void MOMgrForgetListener(OrvaneMOMgr *momgr, OrvaneListener *listener);

/* Answers a load or a retrieval that needs no reply, or cannot get one. */
void MOMgrAcknowledgeAtOnce(OrvaneListener *listener, gboolean success);

/* Fails a call that could not be sent; to be called right after it was made. */
void MOMgrCheckSent(OrvaneMOMgr *momgr, OrvaneListener *internal);

/* Destroys a filter on the service. The outcome is ignored. */
void MOMgrDestroyFilter(OrvaneMOMgr *momgr, const char *filterId);

/* The fault of a call that failed, as a value. */
void MOMgrTakeFault(OrvaneListener *internal, GValue *value);

/* Whether changes may still be applied. Handlers of earlier changes may have ended the connection. */
bool MOMgrIsFollowing(OrvaneMOMgr *momgr);

/* Applies one Change of an ObjectUpdate; the caller holds the manager and the proxy. As a difference, it changes and notifies
 * nothing if the value is the one that the property has. Returns the path of the property, or NULL; it is part of the change
 * or of the copy. */
const char *MOMgrApplyChange(OrvaneMOMgr *momgr, MOMgrProxies *proxies,
                             SkemaQormManagedObject *proxy, GObject *change, bool isDifference,
                             GPtr<char> *copy);
/* As orvane_momgr_update_property(), but the caller holds the manager and the object. */
void MOMgrUpdateProperty(OrvaneMOMgr *momgr, GObject *object, const char *path, const GValue *value,
                         gint op);
/* The same; sets a property to a value that differs from the one that it has. */
void MOMgrAssignDifferent(OrvaneMOMgr *momgr, MOMgrProxies *proxies, GObject *object,
                          const char *path, const GValue *value);

/* Closes the open call for updates. */
void MOMgrStopWait(OrvaneMOMgr *momgr);
/* Replaces it by one that the service answers at once. */
void MOMgrProbe(OrvaneMOMgr *momgr);

/* Stops the update stream and interrupts the session. Runs the application's code. */
void MOMgrInterrupt(OrvaneMOMgr *momgr);

/* Applies or holds a FilterUpdate, of whatever filter. */
void MOMgrApplyFilterUpdate(OrvaneMOMgr *momgr, GObject *filterUpdate, bool isWhole,
                            MOMgrProxies *proxies, std::vector<MOMgrFilterPtr> *updated);

/* Queues the creation of the filter of a load. */
void MOMgrQueueLoad(OrvaneMOMgrPrivate *priv, SkemaQormManagedObject *proxy, MOMgrPending *pending);

/* Frees a MOMgrPending. No listener is notified. */
void MOMgrFreePending(gpointer pending);

/* Gives back the place of a started load. In a strict manager it does nothing for a proxy that has none. */
void MOMgrEndStarted(OrvaneMOMgr *momgr, gpointer proxy);

/* Fails the load of a proxy that the service does not know, if there is one, and destroys its filter. */
void MOMgrFailLoad(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy, const GValue *fault);

/* Starts as many queued loads as are allowed at a time. */
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
