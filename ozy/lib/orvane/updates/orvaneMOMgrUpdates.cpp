// The update stream: one call to the service's property collector waits for changes; its reply is applied,
// and the call is sent again.
#include <cstring>
#include <span>

#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>

#include "apps/lib/basicHttp/basicHttp.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "ozy/lib/orvane/updates/orvaneUpdateIndex.h"

namespace {

constexpr gint kMaxWaitSeconds = kOrvaneMaxWaitSeconds;
/* A session that connects again gives a connection up after so many failed waits in a row. */
constexpr guint kMaxFailedWaits = 3;
/* The first version whose wait has a time limit. */
constexpr char kVersionWithWaitOptions[] = "ozy25/4.1";

gboolean IsFault(gpointer fault, GType type) {
    return g_type_check_instance_is_a(static_cast<GTypeInstance *>(fault), type);
}

/* What is passed on while an update set is applied. */
struct Updates {
    OrvaneMOMgr *momgr;
    MOMgrProxies *proxies; /* to be released after the set */
};

void ApplyChanges(const Updates &updates, SkemaQormManagedObject *proxy,
                  const MOMgrReplyArray &changeSet) {
    const GType changeType = skema_qorm_core_property_collector_change_get_type();
    for (const GValue &element : changeSet.Elements()) {
        if (!MOMgrIsFollowing(updates.momgr))
            return;
        GPtr<char> copy;
        if (GObject *change = MOMgrGetObject(&element, changeType))
            MOMgrApplyChange(updates.momgr, updates.proxies, proxy, change, false, &copy);
    }
}

/* Brings a loaded object up to date by the first update of its new filter, which has all properties that are set. */
void ApplyRenewal(const Updates &updates, SkemaQormManagedObject *proxy,
                  const MOMgrReplyArray &changeSet) {
    const GType changeType = skema_qorm_core_property_collector_change_get_type();
    KeyedTexts named;
    for (const GValue &element : changeSet.Elements()) {
        if (!MOMgrIsFollowing(updates.momgr))
            return;
        GPtr<char> copy;
        GObject *change = MOMgrGetObject(&element, changeType);
        const char *name = change != nullptr ? MOMgrApplyChange(updates.momgr, updates.proxies,
                                                                proxy, change, true, &copy)
                                             : nullptr;
        if (name != nullptr)
            named.emplace(name, strcspn(name, ".["));
    }
    if (MOMgrIsFollowing(updates.momgr))
        MOMgrRenewal_ResetOthers(updates.momgr, updates.proxies, proxy, named);
    if (MOMgrIsFollowing(updates.momgr))
        MOMgrRenewal_Forget(updates.momgr, proxy);
}

/* Answers a load when the first values are in the proxy. The service also sends "enter" for a loaded object
 * when the stream starts from the beginning; its load count then stays. */
void Enter(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy) {
    const auto *pending =
        static_cast<MOMgrPending *>(g_hash_table_lookup(momgr->priv->pendingLoads, proxy));
    if (pending != nullptr)
        proxy->loadCount = pending->waiting.length;
    orvane_momgr_acknowledge_load(momgr, proxy, TRUE, nullptr);
}

void ApplyObject(const Updates &updates, GObject *update) {
    OrvaneMOMgr *momgr = updates.momgr;
    SkemaQormManagedObject *object = nullptr;
    gint kind = SKEMA_QORM_CORE_PROPERTY_COLLECTOR_OBJECT_UPDATE_MODIFY;
    g_object_get(update, "obj", &object, "kind", &kind, nullptr);
    ObjectPtr<SkemaQormManagedObject> proxy(object);
    if (proxy == nullptr)
        return;

    if (kind == SKEMA_QORM_CORE_PROPERTY_COLLECTOR_OBJECT_UPDATE_LEAVE) {
        g_signal_emit_by_name(proxy.get(), "leave");
        return;
    }
    const bool isRenewal = kind == SKEMA_QORM_CORE_PROPERTY_COLLECTOR_OBJECT_UPDATE_ENTER &&
                           MOMgrRenewal_IsCreating(momgr, proxy.get());
    (isRenewal ? ApplyRenewal : ApplyChanges)(updates, proxy.get(),
                                              MOMgrReplyArray(update, "changeSet"));
    if (kind == SKEMA_QORM_CORE_PROPERTY_COLLECTOR_OBJECT_UPDATE_ENTER && MOMgrIsFollowing(momgr))
        Enter(momgr, proxy.get());
}

/* The service has no such object. A strict manager fails the loads that wait for it; any does so with those of tasks that
 * the service has forgotten together with the login. */
void FailMissing(OrvaneMOMgr *momgr, GObject *filterUpdate) {
    if (!momgr->priv->hasStrictLoads && momgr->priv->renewal == nullptr)
        return;
    const MOMgrReplyArray missingSet(filterUpdate, "missingSet");
    const GType missingType = skema_qorm_core_property_collector_missing_object_get_type();
    for (const GValue &element : missingSet.Elements()) {
        GObject *missing = MOMgrGetObject(&element, missingType);
        if (missing == nullptr || !MOMgrIsFollowing(momgr))
            continue;
        SkemaQormManagedObject *object = nullptr;
        SkemaQormMethodFault *reason = nullptr;
        g_object_get(missing, "obj", &object, "fault", &reason, nullptr);
        const ObjectPtr<SkemaQormManagedObject> proxy(object);
        ScopedValue fault(skema_qorm_method_fault_get_type());
        g_value_take_object(&fault.value, reason);
        if (proxy != nullptr && MOMgrRenewal_IsCreating(momgr, proxy.get()))
            MOMgrRenewal_Fail(momgr, proxy.get(), reason);
        else if (proxy != nullptr &&
                 (momgr->priv->hasStrictLoads || SKEMA_IS_OZY_TASK(proxy.get())))
            MOMgrFailLoad(momgr, proxy.get(), &fault.value);
    }
}

/* The update of a filter that a load has created. */
void ApplyLoad(const Updates &updates, GObject *filterUpdate) {
    const MOMgrReplyArray objectSet(filterUpdate, "objectSet");
    const GType updateType = skema_qorm_core_property_collector_object_update_get_type();
    for (const GValue &element : objectSet.Elements()) {
        if (!MOMgrIsFollowing(updates.momgr))
            return;
        if (GObject *update = MOMgrGetObject(&element, updateType))
            ApplyObject(updates, update);
    }
    FailMissing(updates.momgr, filterUpdate);
}

void ApplyUpdates(OrvaneMOMgr *momgr, GObject *updateSet, MOMgrProxies *proxies) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    gboolean isTruncated = FALSE;
    g_free(priv->collectorVersion);
    g_object_get(updateSet, "version", &priv->collectorVersion, "truncated", &isTruncated, nullptr);
    const MOMgrReplyArray filterSet(updateSet, "filterSet");

    std::vector<MOMgrFilterPtr> updated;
    const GType filterType = skema_qorm_core_property_collector_filter_update_get_type();
    for (const GValue &element : filterSet.Elements()) {
        if (!MOMgrIsFollowing(momgr))
            return;
        if (GObject *filterUpdate = MOMgrGetObject(&element, filterType))
            MOMgrApplyFilterUpdate(momgr, filterUpdate, !isTruncated, proxies, &updated);
    }
    MOMgrFilter_Finish(momgr, updated, !isTruncated);
}

/* The error of the transport in a fault; BASICHTTP_ERROR_NONE for any other fault. */
guint ErrorOf(gpointer fault) {
    guint errorCode = BASICHTTP_ERROR_NONE;
    if (IsFault(fault, ORVANE_TYPE_FAULT_INVALID_RESPONSE))
        g_object_get(fault, "errorCode", &errorCode, nullptr);
    return errorCode;
}

/* Whether a session that connects again does so for this failure of the transport: a peer that sends nothing for longer
 * than the wait's own limit, or one failure more in a row. */
bool IsLost(OrvaneMOMgr *momgr, gpointer fault) {
    if (fault != nullptr && !IsFault(fault, ORVANE_TYPE_FAULT_INVALID_RESPONSE)) {
        momgr->priv->numFailedWaits = 0;
        return false;
    }
    const guint number = ++momgr->priv->numFailedWaits;
    OrvaneSession *session = MOMgrSession(momgr);
    return session != nullptr && OrvaneSession_Reconnects(session) &&
           (number >= kMaxFailedWaits || ErrorOf(fault) == BASICHTTP_ERROR_INACTIVITY_TIMEOUT);
}

/* A reply without updates is no failure: nothing has changed, and so what has come is whole. */
void HandleFailure(OrvaneMOMgr *momgr, OrvaneListener *internal) {
    if (orvane_listener_get_state(internal) == ORVANE_LISTENER_SUCCEEDED) {
        MOMgrFilter_Finish(momgr, {}, true);
        return;
    }
    const ObjectPtr<SkemaQormMethodFault> fault(orvane_listener_get_fault(internal));
    OrvaneSession *session = MOMgrSession(momgr);
    if (session != nullptr && IsFault(fault.get(), SKEMA_TYPE_OZY_FAULT_NOT_AUTHENTICATED) &&
        OrvaneSession_RenewLogin(session)) {
        momgr->priv->isWaitingForLogin = true;
        return;
    }
    if (IsFault(fault.get(), skema_qorm_core_invalid_collector_version_get_type())) {
        g_clear_pointer(&momgr->priv->collectorVersion, g_free);
        momgr->priv->isProbing = momgr->priv->filters != nullptr;
        MOMgrFilter_Rewind(momgr);
    } else if (IsFault(fault.get(), skema_ozy_fault_no_permission_get_type()) ||
               ErrorOf(fault.get()) == BASICHTTP_ERROR_COULDNT_CONNECT ||
               IsLost(momgr, fault.get())) {
        MOMgrInterrupt(momgr);
    }
}

void SendWait(OrvaneMOMgr *momgr, OrvaneSession *session, OrvaneListener *internal) {
    auto *collector = SKEMA_QORM_CORE_PROPERTY_COLLECTOR(momgr->priv->collector);
    const char *version = momgr->priv->collectorVersion;
    if (!orvane_session_has_version(session, kVersionWithWaitOptions)) {
        skema_qorm_core_property_collector_wait_for_updates(collector, version, internal);
        return;
    }
    const ObjectPtr<SkemaQormCorePropertyCollectorWaitOptions> options(
        SKEMA_QORM_CORE_PROPERTY_COLLECTOR_WAIT_OPTIONS(
            g_object_new(skema_qorm_core_property_collector_wait_options_get_type(),
                         "maxWaitSeconds", momgr->priv->isProbing ? 0 : kMaxWaitSeconds, nullptr)));
    skema_qorm_core_property_collector_wait_for_updates_ex(collector, version, options.get(),
                                                           internal);
}

} // namespace

void MOMgrInterrupt(OrvaneMOMgr *momgr) {
    momgr->priv->updatesStopped = TRUE;
    g_clear_weak_pointer(&momgr->priv->updatesListener);
    if (OrvaneSession *session = MOMgrSession(momgr))
        orvane_session_set_interrupted(session);
}

void MOMgrStopWait(OrvaneMOMgr *momgr) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    OrvaneListener *updates = priv->updatesListener;
    g_clear_weak_pointer(&priv->updatesListener);
    priv->updatesInFlight = FALSE;
    if (updates != nullptr)
        OrvaneSession_StopCalls(priv->session, updates);
}

void MOMgrProbe(OrvaneMOMgr *momgr) {
    momgr->priv->isProbing = true;
    MOMgrStopWait(momgr);
    orvane_momgr_wait_for_updates(momgr);
}

bool MOMgrIsFollowing(OrvaneMOMgr *momgr) {
    return !momgr->priv->updatesStopped && MOMgrSession(momgr) != nullptr;
}

const char *MOMgrApplyChange(OrvaneMOMgr *momgr, MOMgrProxies *proxies,
                             SkemaQormManagedObject *proxy, GObject *change, bool isDifference,
                             GPtr<char> *copy) {
    gint op = SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_ADD;
    const char *name = nullptr;
    auto *const *peekedName = MOMgrPeek<char *>(change, "name");
    const auto *peekedOp = MOMgrPeek<gint32>(change, "op");
    if (peekedName != nullptr && peekedOp != nullptr) {
        name = *peekedName;
        op = *peekedOp;
    } else {
        char *got = nullptr;
        g_object_get(change, "name", &got, "op", &op, nullptr);
        copy->reset(got);
        name = got;
    }
    const MOMgrReplyAny value(change);
    proxies->Note(value.Get());
    if (name != nullptr && isDifference && op == SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_ASSIGN)
        MOMgrAssignDifferent(momgr, proxies, G_OBJECT(proxy), name, value.Get());
    else if (name != nullptr)
        MOMgrUpdateProperty(momgr, G_OBJECT(proxy), name, value.Get(), op);
    return name;
}

void MOMgrApplyFilterUpdate(OrvaneMOMgr *momgr, GObject *filterUpdate, bool isWhole,
                            MOMgrProxies *proxies, std::vector<MOMgrFilterPtr> *updated) {
    if (!MOMgrFilter_Route(momgr, filterUpdate, isWhole, proxies, updated))
        ApplyLoad({momgr, proxies}, filterUpdate);
}

void orvane_momgr_set_collector(OrvaneMOMgr *momgr, SkemaQormManagedObject *collector) {
    g_return_if_fail(momgr);
    g_return_if_fail(collector);
    const auto holdManager = MOMgrHold(momgr);
    SkemaQormManagedObject *former = momgr->priv->collector;
    momgr->priv->collector = static_cast<SkemaQormManagedObject *>(g_object_ref_sink(collector));
    if (former != nullptr)
        g_object_unref(former);
    orvane_momgr_wait_for_updates(momgr);
    MOMgrStartLoads(momgr);
    MOMgrFilter_CreateWaiting(momgr);
}

void orvane_momgr_wait_for_updates(OrvaneMOMgr *momgr) {
    g_return_if_fail(momgr);
    OrvaneMOMgrPrivate *priv = momgr->priv;
    OrvaneSession *session = MOMgrSession(momgr);
    if (priv->updatesInFlight || priv->isWaitingForLogin || priv->collector == nullptr ||
        session == nullptr)
        return;

    const auto internal = MOMgrHold(MOMgrNewListener(momgr, orvane_momgr_updates_cb));
    g_set_weak_pointer(&priv->updatesListener, internal.get());
    priv->updatesInFlight = TRUE;
    priv->updatesStopped = FALSE;
    SendWait(momgr, session, internal.get());

    /* A call that could not be sent gets no reply, so nothing would start the next. */
    if (!OrvaneSession_HasCall(session, internal.get())) {
        g_object_unref(internal.get()); /* the reference of the call */
        priv->updatesInFlight = FALSE;
        MOMgrInterrupt(momgr);
    }
}

void orvane_momgr_cancel_updates(OrvaneMOMgr *momgr, OrvaneListener *listener) {
    g_return_if_fail(momgr);
    const auto holdManager = MOMgrHold(momgr);
    OrvaneMOMgrPrivate *priv = momgr->priv;
    OrvaneListener *open = priv->updatesListener;
    if (open != nullptr && orvane_listener_get_state(open) != ORVANE_LISTENER_SUCCEEDED) {
        g_clear_weak_pointer(&priv->updatesListener);
        if (OrvaneSession *session = MOMgrSession(momgr))
            orvane_session_cancel_listener(session, open);
    }
    priv->updatesStopped = TRUE;
    if (listener != nullptr && priv->collector != nullptr)
        skema_qorm_core_property_collector_cancel_wait_for_updates(
            SKEMA_QORM_CORE_PROPERTY_COLLECTOR(priv->collector), listener);
}

void orvane_momgr_updates_cb(OrvaneListener *internal, gpointer data) {
    auto *momgr = static_cast<OrvaneMOMgr *>(data);
    OrvaneMOMgrPrivate *priv = momgr->priv;
    /* The session is released last: the objects of the update find the manager through it. */
    const auto holdSession = MOMgrHold(MOMgrSession(momgr));
    const auto holdManager = MOMgrHold(momgr);
    priv->updatesInFlight = FALSE;
    {
        MOMgrProxies proxies; /* released after the reply */
        const UpdateIndexScope scope;
        const ObjectPtr<OrvaneListener> release(internal);
        ScopedValue result;
        orvane_listener_get_result(internal, &result.value);
        GObject *updateSet =
            MOMgrGetObject(&result.value, skema_qorm_core_property_collector_update_set_get_type());
        if (orvane_listener_get_state(internal) == ORVANE_LISTENER_SUCCEEDED && holdSession) {
            priv->numFailedWaits = 0;
            priv->isProbing = false;
            OrvaneSession_NoteUpdates(holdSession.get(), g_hash_table_size(priv->creating) == 0);
        }
        if (updateSet != nullptr)
            ApplyUpdates(momgr, updateSet, &proxies);
        else
            HandleFailure(momgr, internal);
        if (priv->updatesListener == internal)
            g_clear_weak_pointer(&priv->updatesListener);
    }
    if (MOMgrIsFollowing(momgr))
        orvane_momgr_wait_for_updates(momgr);
}
