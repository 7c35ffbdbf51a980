#include "ozy/lib/orvane/updates/orvaneMOMgrRenewal.h"

#include <utility>
#include <vector>

#include <orvane/schema/qorm.h>

#include "lib/misc/log.h"
#include "ozy/lib/orvane/schema/schemaCompare.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"

namespace {

constexpr const char *kCreatingKey = "orvane_momgr_creating";

/* Object data of an internal listener; removes it from the set. */
struct Creating {
    ObjectPtr<OrvaneMOMgr> momgr;
    OrvaneListener *internal;
};

void FreeCreating(gpointer data) {
    auto *creating = static_cast<Creating *>(data);
    g_hash_table_remove(creating->momgr->priv->creating, creating->internal);
    delete creating;
}

/* Closes the calls of the manager whose replies belong to the former login. */
void StopCalls(OrvaneMOMgr *momgr) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    MOMgrStopWait(momgr);
    guint count = 0;
    const GPtr<gpointer[]> listeners(g_hash_table_get_keys_as_array(priv->creating, &count));
    for (guint i = 0; i < count; i++)
        OrvaneSession_StopCalls(priv->session, static_cast<OrvaneListener *>(listeners[i]));
}

/* Queues the proxies of a table that are loaded. */
void QueueLoaded(OrvaneMOMgrPrivate *priv, GHashTable *table) {
    GHashTableIter iter;
    gpointer key = nullptr;
    g_hash_table_iter_init(&iter, table);
    while (g_hash_table_iter_next(&iter, &key, nullptr)) {
        auto *proxy = static_cast<SkemaQormManagedObject *>(key);
        if (proxy->loadCount > 0 && !g_hash_table_contains(priv->pendingLoads, proxy) &&
            priv->renewal->proxies.emplace(proxy, false).second)
            priv->renewal->queue.push_back(proxy);
    }
}

/* Queues the objects that are loaded, and those whose renewal was not complete. */
void QueueRenewals(OrvaneMOMgrPrivate *priv) {
    MOMgrRenewal *former = std::exchange(priv->renewal, new MOMgrRenewal);
    QueueLoaded(priv, priv->filtersByObject);
    QueueLoaded(priv, priv->startedLoads); /* "enter" came before the reply to CreateFilter */
    if (former != nullptr) {
        for (const auto &[proxy, wasRequested] : former->proxies) {
            if (proxy->loadCount > 0 && priv->renewal->proxies.emplace(proxy, false).second)
                priv->renewal->queue.push_back(proxy);
        }
    }
    delete former;
}

/* Loads that were started begin again. */
void QueueStarted(OrvaneMOMgrPrivate *priv) {
    GHashTableIter iter;
    gpointer key = nullptr;
    gpointer value = nullptr;
    g_hash_table_iter_init(&iter, priv->pendingLoads);
    while (g_hash_table_iter_next(&iter, &key, &value)) {
        auto *pending = static_cast<MOMgrPending *>(value);
        if (pending->record == nullptr)
            MOMgrQueueLoad(priv, static_cast<SkemaQormManagedObject *>(key), pending);
    }
}

bool IsOfTransport(SkemaQormMethodFault *fault) {
    return fault == nullptr || G_OBJECT_TYPE(fault) == ORVANE_TYPE_FAULT_INVALID_RESPONSE;
}

} // namespace

void MOMgrNoteCreating(OrvaneMOMgr *momgr, OrvaneListener *internal) {
    g_hash_table_add(momgr->priv->creating, internal);
    g_object_set_data_full(G_OBJECT(internal), kCreatingKey,
                           new Creating{MOMgrHold(momgr), internal}, FreeCreating);
}

SkemaQormManagedObject *MOMgrRenewal_Take(OrvaneMOMgr *momgr) {
    MOMgrRenewal *renewal = momgr->priv->renewal;
    while (renewal != nullptr && !renewal->queue.empty()) {
        SkemaQormManagedObject *proxy = renewal->queue.front();
        renewal->queue.pop_front();
        const auto found = renewal->proxies.find(proxy);
        if (found == renewal->proxies.end() || found->second)
            continue;
        if (proxy->loadCount == 0) { /* it was unloaded meanwhile */
            renewal->proxies.erase(found);
            continue;
        }
        found->second = true;
        return proxy;
    }
    return nullptr;
}

bool MOMgrRenewal_IsCreating(const OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy) {
    const MOMgrRenewal *renewal = momgr->priv->renewal;
    if (renewal == nullptr)
        return false;
    const auto found = renewal->proxies.find(proxy);
    return found != renewal->proxies.end() && found->second;
}

bool MOMgrRenewal_Forget(OrvaneMOMgr *momgr, gpointer proxy) {
    MOMgrRenewal *renewal = momgr->priv->renewal;
    return renewal != nullptr &&
           renewal->proxies.erase(static_cast<SkemaQormManagedObject *>(proxy)) > 0;
}

void MOMgrRenewal_ResetOthers(OrvaneMOMgr *momgr, MOMgrProxies *proxies,
                              SkemaQormManagedObject *proxy, const KeyedTexts &named) {
    guint count = 0;
    const GPtr<GParamSpec *[]> pspecs(
        g_object_class_list_properties(G_OBJECT_GET_CLASS(proxy), &count));
    for (guint i = 0; i < count && MOMgrIsFollowing(momgr); i++) {
        GParamSpec *pspec = pspecs[i];
        if ((pspec->flags & G_PARAM_READWRITE) != G_PARAM_READWRITE ||
            (pspec->flags & G_PARAM_CONSTRUCT_ONLY) || named.contains(pspec->name))
            continue;
        ScopedValue current(pspec->value_type);
        ScopedValue empty(pspec->value_type);
        g_object_get_property(G_OBJECT(proxy), pspec->name, &current.value);
        proxies->Note(&current.value);
        if (!SchemaCompare_AreEqual(&current.value, &empty.value))
            g_object_set_property(G_OBJECT(proxy), pspec->name, &empty.value);
    }
}

void MOMgrRenewal_Fail(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy,
                       SkemaQormMethodFault *fault) {
    const auto holdManager = MOMgrHold(momgr);
    const auto holdProxy = MOMgrHold(proxy);
    MOMgrEndStarted(momgr, proxy);
    if (IsOfTransport(fault)) {
        /* it stays noted, for the next time that all filters are made anew */
        Log("Orvane: The filter of %s could not be created anew.\n", proxy->id);
        MOMgrInterrupt(momgr);
        return;
    }
    MOMgrRenewal_Forget(momgr, proxy);
    gpointer filterId = nullptr;
    g_hash_table_steal_extended(momgr->priv->filtersByObject, proxy, nullptr, &filterId);
    const GPtr<char> owner(static_cast<char *>(filterId));
    if (owner)
        MOMgrDestroyFilter(momgr, owner.get());
    g_signal_emit_by_name(proxy, "leave");
    if (OrvaneSession *session = MOMgrSession(momgr))
        OrvaneSession_NoteGone(session, proxy);
    if (MOMgrIsFollowing(momgr))
        orvane_momgr_dequeue_pending_load(momgr);
}

void OrvaneMOMgr_Park(OrvaneMOMgr *momgr) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    StopCalls(momgr);
    g_clear_pointer(&priv->collectorVersion, g_free);
    QueueRenewals(priv);
    QueueStarted(priv);
    g_hash_table_remove_all(priv->filtersByObject);
    g_hash_table_remove_all(priv->startedLoads);
    priv->outstandingLoads = 0;
    priv->isWaitingForLogin = false;
    priv->numFailedWaits = 0;
}

void OrvaneMOMgr_Resume(OrvaneMOMgr *momgr, SkemaQormManagedObject *collector) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    const auto holdManager = MOMgrHold(momgr);
    const ObjectPtr<SkemaQormManagedObject> former(priv->collector);
    priv->collector = static_cast<SkemaQormManagedObject *>(g_object_ref_sink(collector));
    OrvaneMOMgr_Restart(momgr);
}

void OrvaneMOMgr_Restart(OrvaneMOMgr *momgr) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    const auto holdManager = MOMgrHold(momgr);
    OrvaneMOMgr_Park(momgr);
    priv->updatesStopped = FALSE;
    MOMgrFilter_Restart(momgr);
    if (!MOMgrIsFollowing(momgr))
        return;
    orvane_momgr_wait_for_updates(momgr);
    MOMgrStartLoads(momgr);
}

bool OrvaneMOMgr_WasRenewed(const OrvaneMOMgr *momgr) {
    return momgr->priv->renewal != nullptr;
}

bool OrvaneMOMgr_IsWaitingForLogin(const OrvaneMOMgr *momgr) {
    return momgr->priv->isWaitingForLogin;
}

void OrvaneMOMgr_EndLogin(OrvaneMOMgr *momgr, OrvaneMOMgrLogin outcome) {
    const bool wasWaiting = std::exchange(momgr->priv->isWaitingForLogin, false);
    if (!MOMgrIsFollowing(momgr))
        return;
    switch (outcome) {
    case ORVANE_MOMGR_LOGIN_RENEWED:
        OrvaneMOMgr_Restart(momgr);
        return;
    case ORVANE_MOMGR_LOGIN_KEPT:
        orvane_momgr_wait_for_updates(momgr);
        return;
    case ORVANE_MOMGR_LOGIN_FAILED:
        if (wasWaiting)
            MOMgrInterrupt(momgr);
        return;
    }
}
