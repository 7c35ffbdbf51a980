// Loads: filters on the service's property collector, created a few at a time, and the listeners that
// wait for them.
//
// A load is in up to three places. It has an entry in pendingLoads until it is answered, a record in
// loadQueue until its CreateFilter call is sent, and an entry in filtersByObject while its filter exists.
#include <algorithm>

#include <orvane/schema/qorm.h>
#include <orvane/specBuilders.h>

#include "ozy/lib/orvane/listener/orvaneListenerInt.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/schema/schemaSession.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "ozy/lib/orvane/updates/orvaneUpdateIndex.h"

namespace {

constexpr gint32 kMaxOutstandingLoads = 10; /* no further load starts beyond it */
constexpr char kFilterObject[] = "orvane_momgr_filter_object";

OrvaneMOMgr *Cast(gpointer object) {
    return static_cast<OrvaneMOMgr *>(object);
}

void FreeWeakRef(gpointer data) {
    auto *ref = static_cast<GWeakRef *>(data);
    g_weak_ref_clear(ref);
    g_free(ref);
}

/* The proxy that a CreateFilter call was made for; NULL if it died or was replaced since. */
ObjectPtr<SkemaQormManagedObject> GetFilterObject(OrvaneMOMgr *momgr, OrvaneListener *internal) {
    auto *ref = static_cast<GWeakRef *>(g_object_get_data(G_OBJECT(internal), kFilterObject));
    ObjectPtr<SkemaQormManagedObject> proxy(
        static_cast<SkemaQormManagedObject *>(g_weak_ref_get(ref)));
    if (!g_hash_table_contains(momgr->priv->idsByObject, proxy.get()))
        return nullptr;
    return proxy;
}

void SetFilterObject(OrvaneListener *internal, SkemaQormManagedObject *proxy) {
    GWeakRef *ref = g_new(GWeakRef, 1);
    g_weak_ref_init(ref, proxy);
    g_object_set_data_full(G_OBJECT(internal), kFilterObject, ref, FreeWeakRef);
}

/* A filter on all properties of one object. */
ObjectPtr<GObject> NewFilterSpec(SkemaQormManagedObject *proxy) {
    GObject *properties = orvane_property_spec_new(G_OBJECT_TYPE(proxy), TRUE, nullptr);
    GObject *object = orvane_object_spec_new(proxy, FALSE, TRUE, nullptr);
    return ObjectPtr<GObject>(orvane_filter_spec_new(TRUE, properties, object, nullptr));
}

MOMgrPending *FindPending(OrvaneMOMgrPrivate *priv, gpointer proxy) {
    return static_cast<MOMgrPending *>(g_hash_table_lookup(priv->pendingLoads, proxy));
}

/* Why a load will fail is stored for all that wait for it. */
void NoteFailure(OrvaneMOMgr *momgr, gpointer proxy, OrvaneListener *internal, bool isSent) {
    const MOMgrPending *pending = FindPending(momgr->priv, proxy);
    for (const GList *at = pending != nullptr ? pending->waiting.head : nullptr; at != nullptr;
         at = at->next) {
        auto *listener = static_cast<OrvaneListener *>(at->data);
        if (listener == nullptr || MOMgrServesAnother(momgr, listener))
            continue;
        OrvaneListener_CopyReply(listener, internal);
        if (!isSent)
            OrvaneListener_MarkOperation(listener, ORVANE_OUTCOME_NOT_SENT);
    }
}

/* The longest time limit that a listener which waits for a load has of its own; 0 for none. */
guint LongestLimit(OrvaneMOMgr *momgr, gpointer proxy) {
    const MOMgrPending *pending = FindPending(momgr->priv, proxy);
    guint longest = 0;
    for (const GList *at = pending != nullptr ? pending->waiting.head : nullptr; at != nullptr;
         at = at->next)
        longest =
            std::max(longest, OrvaneListener_TimeLimit(static_cast<OrvaneListener *>(at->data), 0));
    return longest;
}

void CreateFilter(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy, gboolean partialUpdates) {
    const auto spec = NewFilterSpec(proxy);
    OrvaneListener *internal = MOMgrNewListener(momgr, orvane_momgr_create_filter_cb);
    SetFilterObject(internal, proxy);
    orvane_listener_set_time_limit(internal, LongestLimit(momgr, proxy));
    MOMgrNoteCreating(momgr, internal);
    skema_qorm_core_property_collector_create_filter(
        SKEMA_QORM_CORE_PROPERTY_COLLECTOR(momgr->priv->collector),
        SKEMA_QORM_CORE_PROPERTY_COLLECTOR_FILTER_SPEC(spec.get()), partialUpdates, internal);
    if (!OrvaneSession_HasCall(momgr->priv->session, internal))
        NoteFailure(momgr, proxy, nullptr, false);
    MOMgrCheckSent(momgr, internal);
}

/* Stores the filter of a proxy. One that an abandoned load left behind is destroyed. */
void StoreFilter(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy, const char *filterId) {
    gpointer former = nullptr;
    g_hash_table_steal_extended(momgr->priv->filtersByObject, proxy, nullptr, &former);
    g_hash_table_insert(momgr->priv->filtersByObject, proxy, g_strdup(filterId));

    GPtr<char> owner(static_cast<char *>(former));
    if (former != nullptr && strcmp(owner.get(), filterId) != 0)
        MOMgrDestroyFilter(momgr, owner.get());
}

/* The value of startedLoads for a load that nobody waits for. */
gpointer StoppedLoad() {
    return GINT_TO_POINTER(1);
}

/* Creates the next filter that is to be made anew. */
void StartRenewal(OrvaneMOMgr *momgr) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    SkemaQormManagedObject *proxy = MOMgrRenewal_Take(momgr);
    if (proxy == nullptr)
        return;
    if (g_hash_table_replace(priv->startedLoads, proxy, nullptr) || !priv->hasStrictLoads)
        priv->outstandingLoads++;
    CreateFilter(momgr, proxy, static_cast<gboolean>(proxy->partialUpdates));
}

/* Starts the oldest queued load, unless too many are unanswered. */
void StartLoad(OrvaneMOMgr *momgr) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    /* An update that answers no load decrements the number too, so it may be below 0. */
    if (static_cast<gint32>(priv->outstandingLoads) > kMaxOutstandingLoads)
        return;
    /* Before the login is complete, loads are only queued. */
    if (priv->collector == nullptr || MOMgrSession(momgr) == nullptr)
        return;

    /* The record of a load is removed when the load ends, so every proxy in the queue exists. */
    GPtr<MOMgrLoad> load(static_cast<MOMgrLoad *>(g_queue_pop_tail(priv->loadQueue)));
    if (load == nullptr) {
        StartRenewal(momgr);
        return;
    }
    FindPending(priv, load->proxy)->record = nullptr;
    /* of two loads of one proxy, a strict session counts the answered one only */
    const bool isFirst = g_hash_table_replace(priv->startedLoads, load->proxy, nullptr) != FALSE;
    if (isFirst || !priv->hasStrictLoads)
        priv->outstandingLoads++;
    CreateFilter(momgr, load->proxy, load->partialUpdates);
}

/* Enters a load, still without listeners, and queues the creation of its filter. */
MOMgrPending *AddPending(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    MOMgrPending *pending = g_new0(MOMgrPending, 1);
    MOMgrQueueLoad(priv, proxy, pending);
    g_hash_table_insert(priv->pendingLoads, proxy, pending);
    g_object_weak_ref(G_OBJECT(proxy), orvane_momgr_load_object_weak_notify, momgr);
    return pending;
}

/* Removes the record of a load that was answered or given up before it started. */
void Unqueue(OrvaneMOMgrPrivate *priv, MOMgrPending *pending) {
    if (pending->record == nullptr)
        return;
    g_free(pending->record->data);
    g_queue_delete_link(priv->loadQueue, pending->record);
    pending->record = nullptr;
}

/* Removes a listener from those that are to be answered. Returns the proxy that it waited for. */
SkemaQormManagedObject *RemoveActive(OrvaneMOMgrPrivate *priv, gpointer listener) {
    const MOMgrWaiter *waiter = MOMgrFindWaiter(priv, listener);
    SkemaQormManagedObject *proxy = waiter->proxy;
    g_queue_delete_link(priv->activeListeners, waiter->active);
    g_hash_table_remove(priv->loadListeners, listener);
    return proxy;
}

/* Takes over a proxy that the application kept from a former connection, whose loads are gone. FALSE if
 * another proxy has its id. */
gboolean Adopt(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy) {
    if (g_hash_table_contains(momgr->priv->idsByObject, proxy))
        return TRUE;
    if (proxy->id == nullptr || orvane_momgr_lookup(momgr, proxy->id) != nullptr)
        return FALSE;
    if (proxy->session != nullptr && SchemaSession_GetLive(proxy) != momgr->priv->session)
        return FALSE;
    SchemaSession_Set(proxy, momgr->priv->session);
    proxy->loadCount = 0;
    orvane_momgr_insert(momgr, proxy);
    return TRUE;
}

/* Sets every property to the default of its type. */
void ClearProperties(SkemaQormManagedObject *proxy) {
    guint count;
    GPtr<GParamSpec *[]> pspecs(g_object_class_list_properties(G_OBJECT_GET_CLASS(proxy), &count));
    for (guint i = 0; i < count; i++) {
        if (!(pspecs[i]->flags & G_PARAM_WRITABLE) || (pspecs[i]->flags & G_PARAM_CONSTRUCT_ONLY))
            continue;
        ScopedValue empty(pspecs[i]->value_type);
        g_object_set_property(G_OBJECT(proxy), pspecs[i]->name, &empty.value);
    }
}

/* Whether the load of a proxy was stopped while its filter was made, and nobody has loaded it since. */
bool WasGivenUp(OrvaneMOMgrPrivate *priv, SkemaQormManagedObject *proxy) {
    return g_hash_table_lookup(priv->startedLoads, proxy) == StoppedLoad() &&
           FindPending(priv, proxy) == nullptr && proxy->loadCount == 0;
}

/* Gives up a load that nobody waits for any more. Its filter is destroyed, now or when its id comes. */
void StopLoad(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    if (!g_hash_table_contains(priv->startedLoads, proxy))
        return;
    gpointer filterId = nullptr;
    if (!g_hash_table_steal_extended(priv->filtersByObject, proxy, nullptr, &filterId)) {
        g_hash_table_replace(priv->startedLoads, proxy, StoppedLoad());
        return;
    }
    const GPtr<char> owner(static_cast<char *>(filterId));
    MOMgrDestroyFilter(momgr, owner.get());
    MOMgrEndStarted(momgr, proxy);
    orvane_momgr_dequeue_pending_load(momgr);
}

/* Removes a listener from what it waited for, since it serves another operation now. A load continues without it. */
void ReplaceWaiter(OrvaneMOMgr *momgr, OrvaneListener *listener) {
    const MOMgrWaiter *waiter = MOMgrFindWaiter(momgr->priv, listener);
    if (waiter->pending != nullptr)
        waiter->place->data = nullptr;
    MOMgrForgetListener(momgr, listener);
}

/* Stops a load or a retrieval. */
void StopWaiting(OrvaneListener *listener, gpointer data) {
    OrvaneMOMgr *momgr = Cast(data);
    const auto holdManager = MOMgrHold(momgr);
    const MOMgrWaiter *waiter = MOMgrFindWaiter(momgr->priv, listener);
    if (waiter == nullptr)
        return;
    SkemaQormManagedObject *proxy = waiter->proxy;
    OrvaneListener *internal = waiter->internal;
    g_object_weak_unref(G_OBJECT(listener), orvane_momgr_load_listener_weak_notify, momgr);
    orvane_momgr_load_listener_weak_notify(momgr, G_OBJECT(listener));
    if (internal != nullptr)
        OrvaneSession_StopCalls(momgr->priv->session, internal);
    if (proxy != nullptr && FindPending(momgr->priv, proxy) == nullptr)
        StopLoad(momgr, proxy);
}

} // namespace

MOMgrWaiter *MOMgrFindWaiter(OrvaneMOMgrPrivate *priv, gpointer listener) {
    return static_cast<MOMgrWaiter *>(g_hash_table_lookup(priv->loadListeners, listener));
}

void MOMgrAcknowledgeAtOnce(OrvaneListener *listener, gboolean success) {
    if (listener == nullptr)
        return;
    ObjectWatch<OrvaneListener> watch(listener);
    OrvaneListener_BeginOperation(listener, nullptr);
    OrvaneListener_MarkOperation(listener, ORVANE_OUTCOME_NOT_SENT); /* of a failure */
    orvane_listener_initiate(listener);
    if (watch)
        orvane_listener_acknowledge(listener, success, nullptr);
}

void MOMgrCheckSent(OrvaneMOMgr *momgr, OrvaneListener *internal) {
    if (!OrvaneSession_HasCall(momgr->priv->session, internal))
        orvane_listener_acknowledge(internal, FALSE, nullptr);
}

OrvaneListener *MOMgrNewListener(OrvaneMOMgr *momgr, OrvaneListenerCallback callback) {
    OrvaneListener *internal = OrvaneListener_NewInternal(callback, momgr);
    g_object_set_data_full(G_OBJECT(internal), "orvane_momgr", g_object_ref(momgr), g_object_unref);
    return internal;
}

void MOMgrTakeFault(OrvaneListener *internal, GValue *value) {
    g_value_init(value, skema_qorm_method_fault_get_type());
    g_value_take_object(value, orvane_listener_get_fault(internal));
}

void MOMgrQueueLoad(OrvaneMOMgrPrivate *priv, SkemaQormManagedObject *proxy,
                    MOMgrPending *pending) {
    MOMgrLoad *load = g_new(MOMgrLoad, 1);
    *load = {proxy, static_cast<gboolean>(proxy->partialUpdates)};
    g_queue_push_head(priv->loadQueue, load);
    pending->record = priv->loadQueue->head;
}

void MOMgrFreePending(gpointer data) {
    auto *pending = static_cast<MOMgrPending *>(data);
    g_queue_clear(&pending->waiting);
    g_free(pending);
}

MOMgrWait MOMgrWatchListener(OrvaneMOMgr *momgr, OrvaneListener *listener,
                             SkemaQormManagedObject *proxy) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    if (g_hash_table_contains(priv->loadListeners, listener)) {
        if (!MOMgrServesAnother(momgr, listener) &&
            (OrvaneListener_IsOperationOpen(listener) || !OrvaneListener_IsObserved(listener))) {
            g_warning("A listener can wait for one load at a time.");
            return MOMgrWait::Ignored;
        }
        ReplaceWaiter(momgr, listener);
    }
    OrvaneListener_BeginOperation(listener, OrvaneSession_GetOperations(priv->session));
    OrvaneListener_SetStop(listener, StopWaiting, momgr);
    g_queue_push_head(priv->activeListeners, listener);
    MOMgrWaiter *waiter = g_new(MOMgrWaiter, 1);
    const guint serial = OrvaneListener_GetOperationSerial(listener);
    *waiter = {proxy, priv->activeListeners->head, nullptr, nullptr, serial, nullptr};
    g_hash_table_insert(priv->loadListeners, listener, waiter);
    g_object_weak_ref(G_OBJECT(listener), orvane_momgr_load_listener_weak_notify, momgr);
    ObjectWatch<OrvaneListener> watch(listener);
    orvane_listener_initiate(listener);
    const bool isGivenUp = watch && OrvaneListener_IsGivenUp(listener, serial);
    const bool waits = g_hash_table_contains(priv->loadListeners, listener);
    if (isGivenUp && waits && MOMgrFindWaiter(priv, listener)->operation == serial)
        MOMgrForgetListener(momgr, listener);
    if (isGivenUp)
        return MOMgrWait::GivenUp;
    return waits ? MOMgrWait::Waits : MOMgrWait::Ignored;
}

bool MOMgrServesAnother(OrvaneMOMgr *momgr, OrvaneListener *listener) {
    const MOMgrWaiter *waiter = MOMgrFindWaiter(momgr->priv, listener);
    return OrvaneListener_ServesAnother(listener, waiter->operation);
}

void MOMgrForgetListener(OrvaneMOMgr *momgr, OrvaneListener *listener) {
    g_object_weak_unref(G_OBJECT(listener), orvane_momgr_load_listener_weak_notify, momgr);
    RemoveActive(momgr->priv, listener);
}

void MOMgrDestroyFilter(OrvaneMOMgr *momgr, const char *filterId) {
    const GType type = skema_qorm_core_property_collector_filter_get_type();
    SkemaQormManagedObject *filter = orvane_momgr_lookup_or_create(momgr, filterId, type);
    g_object_ref_sink(filter);
    if (g_type_check_instance_is_a(reinterpret_cast<GTypeInstance *>(filter), type))
        skema_qorm_core_property_collector_filter_destroy(
            SKEMA_QORM_CORE_PROPERTY_COLLECTOR_FILTER(filter), nullptr);
    g_object_unref(filter);
}

void orvane_momgr_load_object(OrvaneMOMgr *momgr, gboolean partialUpdates,
                              SkemaQormManagedObject *proxy, OrvaneListener *listener) {
    g_return_if_fail(momgr);
    g_return_if_fail(proxy);
    const auto holdManager = MOMgrHold(momgr);
    const auto holdProxy = MOMgrHold(proxy);

    OrvaneMOMgrPrivate *priv = momgr->priv;
    if (priv->isClosed || !Adopt(momgr, proxy)) {
        MOMgrAcknowledgeAtOnce(listener, FALSE);
        return;
    }
    if (proxy->loadCount != 0) {
        proxy->loadCount++;
        MOMgrAcknowledgeAtOnce(listener, TRUE);
        return;
    }

    proxy->partialUpdates = partialUpdates;
    if (listener != nullptr) {
        const MOMgrWait wait = MOMgrWatchListener(momgr, listener, proxy);
        if (wait == MOMgrWait::GivenUp)
            return;
        if (wait == MOMgrWait::Ignored)
            listener = nullptr;
    }

    MOMgrPending *pending = FindPending(priv, proxy);
    const bool isFirst = pending == nullptr;
    if (isFirst)
        pending = AddPending(momgr, proxy);
    g_queue_push_tail(&pending->waiting, listener);
    if (listener != nullptr) {
        MOMgrWaiter *waiter = MOMgrFindWaiter(priv, listener);
        waiter->pending = pending;
        waiter->place = pending->waiting.tail;
    }
    if (isFirst)
        orvane_momgr_dequeue_pending_load(momgr);
}

void orvane_momgr_dequeue_pending_load(OrvaneMOMgr *momgr) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    /* A load that cannot be sent is answered at once, which starts the next: in this loop, not recursively. */
    if (priv->numStarts++ > 0)
        return;
    const auto holdManager = MOMgrHold(momgr);
    for (; priv->numStarts > 0; priv->numStarts--)
        StartLoad(momgr);
}

void MOMgrStartLoads(OrvaneMOMgr *momgr) {
    const OrvaneMOMgrPrivate *priv = momgr->priv;
    size_t left = priv->loadQueue->length;
    if (priv->renewal != nullptr)
        left += std::min<size_t>(priv->renewal->queue.size(), kMaxOutstandingLoads + 1);
    for (; left > 0; left--)
        orvane_momgr_dequeue_pending_load(momgr);
}

/* The load is answered by the first update that the filter causes, not here. */
void orvane_momgr_create_filter_cb(OrvaneListener *internal, gpointer data) {
    OrvaneMOMgr *momgr = Cast(data);
    const auto holdManager = MOMgrHold(momgr);
    const ObjectPtr<OrvaneListener> release(internal);
    const auto proxy = GetFilterObject(momgr, internal);

    if (orvane_listener_get_state(internal) != ORVANE_LISTENER_SUCCEEDED) {
        ScopedValue fault;
        MOMgrTakeFault(internal, &fault.value);
        if (proxy == nullptr)
            return;
        if (MOMgrRenewal_IsCreating(momgr, proxy.get())) {
            MOMgrRenewal_Fail(
                momgr, proxy.get(),
                static_cast<SkemaQormMethodFault *>(g_value_get_object(&fault.value)));
            return;
        }
        NoteFailure(momgr, proxy.get(), internal, true);
        orvane_momgr_acknowledge_load(momgr, proxy.get(), FALSE, &fault.value);
        return;
    }

    ScopedValue result;
    orvane_listener_get_result(internal, &result.value);
    auto *filter = reinterpret_cast<SkemaQormManagedObject *>(
        MOMgrGetObject(&result.value, skema_qorm_core_property_collector_filter_get_type()));
    if (filter == nullptr)
        return;
    g_object_ref_sink(filter);
    if (proxy != nullptr && !WasGivenUp(momgr->priv, proxy.get()))
        StoreFilter(momgr, proxy.get(), filter->id);
    else
        MOMgrDestroyFilter(momgr, filter->id);
    if (proxy != nullptr && WasGivenUp(momgr->priv, proxy.get())) {
        MOMgrEndStarted(momgr, proxy.get());
        orvane_momgr_dequeue_pending_load(momgr);
    }
    g_object_unref(filter);
}

void orvane_momgr_acknowledge_load(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy,
                                   gboolean success, const GValue *value) {
    const auto holdManager = MOMgrHold(momgr);
    const auto holdProxy = MOMgrHold(proxy);
    OrvaneMOMgrPrivate *priv = momgr->priv;

    gpointer taken = nullptr;
    if (g_hash_table_steal_extended(priv->pendingLoads, proxy, nullptr, &taken)) {
        g_object_weak_unref(G_OBJECT(proxy), orvane_momgr_load_object_weak_notify, momgr);
        auto *pending = static_cast<MOMgrPending *>(taken);
        Unqueue(priv, pending);
        /* A handler may drop listeners further back in the list; they leave it then. */
        while (!g_queue_is_empty(&pending->waiting)) {
            auto *listener = static_cast<OrvaneListener *>(g_queue_pop_head(&pending->waiting));
            if (listener == nullptr)
                continue;
            const bool servesAnother = MOMgrServesAnother(momgr, listener);
            MOMgrForgetListener(momgr, listener);
            if (!servesAnother)
                orvane_listener_acknowledge(listener, success, value);
        }
        MOMgrFreePending(pending);
    }

    MOMgrEndStarted(momgr, proxy);
    orvane_momgr_dequeue_pending_load(momgr);
}

void MOMgrFailLoad(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy, const GValue *fault) {
    if (FindPending(momgr->priv, proxy) == nullptr)
        return;
    gpointer filterId = nullptr;
    g_hash_table_steal_extended(momgr->priv->filtersByObject, proxy, nullptr, &filterId);
    const GPtr<char> owner(static_cast<char *>(filterId));
    if (owner)
        MOMgrDestroyFilter(momgr, owner.get());
    orvane_momgr_acknowledge_load(momgr, proxy, FALSE, fault);
}

/* Outside a strict manager an update that answers no load decrements the number, too. */
void MOMgrEndStarted(OrvaneMOMgr *momgr, gpointer proxy) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    const bool wasStarted = g_hash_table_remove(priv->startedLoads, proxy);
    if (wasStarted || !priv->hasStrictLoads)
        priv->outstandingLoads--;
}

void OrvaneMOMgr_SetStrictLoads(OrvaneMOMgr *momgr, bool value) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    if (value && !priv->hasStrictLoads) {
        priv->outstandingLoads = g_hash_table_size(priv->startedLoads);
        priv->hasStrictLoads = true;
        MOMgrStartLoads(momgr); /* places that were lost are free again */
    }
    priv->hasStrictLoads = value;
}

void orvane_momgr_unload_object(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy, gboolean clear) {
    g_return_if_fail(momgr);
    g_return_if_fail(proxy);
    if (proxy->loadCount == 0) {
        g_warning("%s: unbalanced unload count for object %p (%s)\n", __func__,
                  static_cast<void *>(proxy), G_OBJECT_TYPE_NAME(proxy));
        return;
    }
    if (--proxy->loadCount > 0)
        return;

    const auto holdManager = MOMgrHold(momgr);
    const auto holdProxy = MOMgrHold(proxy);
    gpointer filterId = nullptr;
    if (MOMgrRenewal_Forget(momgr, proxy)) {
        StopLoad(momgr, proxy);
    } else if (g_hash_table_steal_extended(momgr->priv->filtersByObject, proxy, nullptr,
                                           &filterId)) {
        GPtr<char> owner(static_cast<char *>(filterId));
        MOMgrDestroyFilter(momgr, owner.get());
    }
    if (clear)
        ClearProperties(proxy);
}

void orvane_momgr_load_object_weak_notify(gpointer data, GObject *proxy) {
    OrvaneMOMgr *momgr = Cast(data);
    OrvaneMOMgrPrivate *priv = momgr->priv;
    MOMgrPending *pending = FindPending(priv, proxy);
    while (!g_queue_is_empty(&pending->waiting)) {
        auto *listener = static_cast<OrvaneListener *>(g_queue_pop_head(&pending->waiting));
        if (listener == nullptr)
            continue;
        const guint serial = MOMgrFindWaiter(priv, listener)->operation;
        MOMgrForgetListener(momgr, listener);
        OrvaneListener_EndOperationOf(listener, serial, ORVANE_OUTCOME_OBJECT_GONE);
        /* The operation ends without a signal, so it releases its internal listener. */
        if (OrvaneListener_IsInternal(listener))
            g_object_unref(listener);
    }
    Unqueue(priv, pending);
    g_hash_table_remove(priv->pendingLoads, proxy);
}

void orvane_momgr_load_listener_weak_notify(gpointer data, GObject *listener) {
    OrvaneMOMgr *momgr = Cast(data);
    OrvaneMOMgrPrivate *priv = momgr->priv;
    const MOMgrWaiter *waiter = MOMgrFindWaiter(priv, listener);
    MOMgrPending *pending = waiter->pending;
    GList *place = waiter->place;
    SkemaQormManagedObject *proxy = RemoveActive(priv, listener);
    if (pending == nullptr)
        return;
    g_queue_delete_link(&pending->waiting, place);
    /* one whose listeners are being answered is no longer found */
    if (FindPending(priv, proxy) != pending || !g_queue_is_empty(&pending->waiting))
        return;
    /* A filter whose creation was sent is created all the same. */
    g_object_weak_unref(G_OBJECT(proxy), orvane_momgr_load_object_weak_notify, momgr);
    Unqueue(priv, pending);
    g_hash_table_remove(priv->pendingLoads, proxy);
}
