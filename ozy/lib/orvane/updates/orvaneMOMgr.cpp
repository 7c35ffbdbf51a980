// The manager as an object, and its registry of proxies: id -> proxy and back.
#include "ozy/lib/orvane/updates/orvaneMOMgr.h"

#include <atomic>
#include <unordered_set>

#include <orvane/schema/qorm.h>

#include "lib/misc/keyedHash.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/schema/schemaReference.h"
#include "ozy/lib/orvane/schema/schemaSession.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"

struct OrvaneMOMgrClass {
    GObjectClass parent;
};

G_DEFINE_TYPE_WITH_PRIVATE(OrvaneMOMgr, orvane_momgr, G_TYPE_OBJECT)

namespace {

enum { PROP_SESSION = 1 };

OrvaneMOMgr *Cast(gpointer object) {
    return static_cast<OrvaneMOMgr *>(object);
}

/* Destroys a proxy that has no owner; changes nothing for one that has. */
void SinkAndRelease(SkemaQormManagedObject *proxy) {
    g_object_ref_sink(proxy);
    g_object_unref(proxy);
}

guint64 NewRegistryState() {
    static constinit std::atomic<guint64> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

/* Takes a proxy from the tables, and frees their copies of its id. */
void RemoveEntries(OrvaneMOMgrPrivate *priv, gpointer proxy) {
    priv->registryState = NewRegistryState();
    const auto *id = static_cast<const char *>(g_hash_table_lookup(priv->idsByObject, proxy));
    if (g_hash_table_lookup(priv->objectsById, id) == proxy)
        g_hash_table_remove(priv->objectsById, id);
    g_hash_table_remove(priv->idsByObject, proxy);
}

/* Destroys the filter of a proxy that leaves the tables, since it can no longer be unloaded. When a connection
 * ends, the service drops all filters automatically. */
void AbandonFilter(OrvaneMOMgr *momgr, gpointer proxy) {
    gpointer filterId = nullptr;
    if (!g_hash_table_steal_extended(momgr->priv->filtersByObject, proxy, nullptr, &filterId))
        return;

    GPtr<char> owner(static_cast<char *>(filterId));
    OrvaneSession *session = MOMgrSession(momgr);
    if (session != nullptr && !momgr->priv->updatesStopped &&
        orvane_session_get_state(session) == ORVANE_SESSION_CONNECTED)
        MOMgrDestroyFilter(momgr, owner.get());
}

/* A proxy that leaves the tables answers no load. In a manager that is not strict, its load keeps its place. */
void EndAbandoned(OrvaneMOMgr *momgr, gpointer proxy) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    const bool isRenewal = MOMgrRenewal_Forget(momgr, proxy);
    if (priv->isClosed || !g_hash_table_contains(priv->startedLoads, proxy))
        return;
    if (!priv->hasStrictLoads && !isRenewal) {
        g_hash_table_remove(priv->startedLoads, proxy);
        return;
    }
    MOMgrEndStarted(momgr, proxy);
    orvane_momgr_dequeue_pending_load(momgr);
}

void Unregister(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy) {
    g_object_weak_unref(G_OBJECT(proxy), orvane_momgr_discard_by_obj, momgr);
    RemoveEntries(momgr->priv, proxy);
    AbandonFilter(momgr, proxy);
    EndAbandoned(momgr, proxy);
}

/* The listeners are not notified here, but by CancelListeners(). */
void DropLoads(OrvaneMOMgr *momgr) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    GHashTableIter iter;
    gpointer proxy;
    g_hash_table_iter_init(&iter, priv->pendingLoads);
    while (g_hash_table_iter_next(&iter, &proxy, nullptr))
        g_object_weak_unref(G_OBJECT(proxy), orvane_momgr_load_object_weak_notify, momgr);
    g_hash_table_remove_all(priv->pendingLoads);
    g_queue_clear_full(priv->loadQueue, g_free);
    gpointer waiter;
    g_hash_table_iter_init(&iter, priv->loadListeners);
    while (g_hash_table_iter_next(&iter, nullptr, &waiter))
        static_cast<MOMgrWaiter *>(waiter)->pending = nullptr;
}

/* Handlers may start another connect, or release what is left of this one. */
void CancelListeners(OrvaneMOMgr *momgr) {
    while (!g_queue_is_empty(momgr->priv->activeListeners)) {
        auto *listener =
            static_cast<OrvaneListener *>(g_queue_peek_head(momgr->priv->activeListeners));
        const bool servesAnother = MOMgrServesAnother(momgr, listener);
        MOMgrForgetListener(momgr, listener);
        if (!servesAnother && orvane_listener_get_state(listener) == ORVANE_LISTENER_PENDING)
            OrvaneListener_AcknowledgeCanceled(listener);
    }
}

/* Proxies without an owner die here. Their handlers may release others, or create new ones. */
void ReleaseProxies(OrvaneMOMgr *momgr) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    while (g_hash_table_size(priv->idsByObject) > 0) {
        guint count;
        GPtr<gpointer[]> proxies(g_hash_table_get_keys_as_array(priv->idsByObject, &count));
        for (guint i = 0; i < count; i++) {
            if (!g_hash_table_contains(priv->idsByObject, proxies[i]))
                continue;
            auto *proxy = static_cast<SkemaQormManagedObject *>(proxies[i]);
            Unregister(momgr, proxy);
            SinkAndRelease(proxy);
        }
    }
}

void Dispose(GObject *object) {
    OrvaneMOMgr *momgr = Cast(object);
    OrvaneMOMgrPrivate *priv = momgr->priv;

    priv->isClosed = TRUE;
    priv->updatesStopped = TRUE;
    DropLoads(momgr);
    CancelListeners(momgr);
    MOMgrFilter_EndAll(momgr);
    g_clear_weak_pointer(&priv->updatesListener);
    g_clear_object(&priv->collector);
    ReleaseProxies(momgr);
    G_OBJECT_CLASS(orvane_momgr_parent_class)->dispose(object);
}

void Finalize(GObject *object) {
    OrvaneMOMgrPrivate *priv = Cast(object)->priv;
    g_free(priv->collectorVersion);
    delete priv->renewal;
    for (GHashTable *table :
         {priv->objectsById, priv->idsByObject, priv->filtersByObject, priv->loadListeners,
          priv->pendingLoads, priv->startedLoads, priv->creating})
        g_hash_table_destroy(table);
    g_queue_free_full(priv->loadQueue, g_free);
    g_queue_free(priv->activeListeners);
    G_OBJECT_CLASS(orvane_momgr_parent_class)->finalize(object);
}

void SetProperty(GObject *object, guint id, const GValue *value, GParamSpec *pspec) {
    if (id != PROP_SESSION) {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        return;
    }
    Cast(object)->priv->session = static_cast<OrvaneSession *>(g_value_get_object(value));
}

} // namespace

static void orvane_momgr_class_init(OrvaneMOMgrClass *cls) {
    GObjectClass *objectClass = G_OBJECT_CLASS(cls);
    objectClass->dispose = Dispose;
    objectClass->finalize = Finalize;
    objectClass->set_property = SetProperty;
    g_object_class_install_property(
        objectClass, PROP_SESSION,
        g_param_spec_object("session", "", "", ORVANE_TYPE_SESSION,
                            static_cast<GParamFlags>(G_PARAM_WRITABLE | G_PARAM_CONSTRUCT_ONLY)));
}

static void orvane_momgr_init(OrvaneMOMgr *momgr) {
    auto *priv = static_cast<OrvaneMOMgrPrivate *>(orvane_momgr_get_instance_private(momgr));
    momgr->priv = priv;
    priv->objectsById = g_hash_table_new_full(KeyedHash_Text, g_str_equal, g_free, nullptr);
    priv->idsByObject = g_hash_table_new_full(nullptr, nullptr, nullptr, g_free);
    priv->registryState = NewRegistryState();
    priv->filtersByObject = g_hash_table_new_full(nullptr, nullptr, nullptr, g_free);
    priv->loadListeners = g_hash_table_new_full(nullptr, nullptr, nullptr, g_free);
    priv->pendingLoads = g_hash_table_new_full(nullptr, nullptr, nullptr, MOMgrFreePending);
    priv->startedLoads = g_hash_table_new(nullptr, nullptr);
    priv->creating = g_hash_table_new(nullptr, nullptr);
    priv->loadQueue = g_queue_new();
    priv->activeListeners = g_queue_new();
}

GObject *MOMgrGetObject(const GValue *value, GType type) {
    if (!G_VALUE_HOLDS_OBJECT(value))
        return nullptr;
    auto *object = static_cast<GObject *>(g_value_get_object(value));
    if (type == G_TYPE_OBJECT || (object != nullptr && G_OBJECT_TYPE(object) == type))
        return object;
    return g_type_check_instance_is_a(reinterpret_cast<GTypeInstance *>(object), type) ? object
                                                                                       : nullptr;
}

MOMgrReplyArray::MOMgrReplyArray(GObject *object, const char *property) {
    if (auto *const *kept = MOMgrPeek<GValueArray *>(object, property)) {
        array = *kept;
        return;
    }
    GValueArray *got = nullptr;
    g_object_get(object, property, &got, nullptr);
    copy.reset(got);
    array = got;
}

MOMgrReplyAny::MOMgrReplyAny(GObject *object) {
    const auto *kept = MOMgrPeek<SchemaAny>(object, "val");
    if (kept != nullptr && kept->moType == 0)
        peeked = &kept->value;
    else
        orvane_object_get_any(object, "val", &copy.value);
}

namespace {

/* What the fields of an object's class hold; nothing for a class of the application, whose values keep the rule for its
 * own. Proxies that they mention are kept by their ids, and are released with the object. */
void AddFields(GObject *object, SchemaHeld *held) {
    const SchemaClass *schema = SchemaClass_Get(G_OBJECT_GET_CLASS(object));
    if (schema == nullptr || schema->type != G_OBJECT_TYPE(object))
        return;
    for (; schema != nullptr; schema = schema->base) {
        for (const SchemaField &field : std::span(schema->fields, schema->numFields)) {
            if (field.store->visit == nullptr)
                continue;
            SchemaEngine_NoteRead(object, &field);
            field.store->visit({&field, SchemaField_In<char>(object, &field), object}, held);
        }
    }
}

/* Most values hold neither an array nor an object with fields. */
bool MayHoldProxies(const GValue *any) {
    return G_IS_VALUE(any) &&
           (G_VALUE_HOLDS(any, G_TYPE_VALUE_ARRAY) ||
            (G_VALUE_HOLDS_OBJECT(any) &&
             !g_type_is_a(G_VALUE_TYPE(any), skema_qorm_managed_object_get_type())));
}

} // namespace

/*
 * Without recursion, since the peer determines the depth. Objects that an application made may hold each other, so each
 * is visited once.
 */
void MOMgrProxies::Note(const GValue *any) {
    if (!MayHoldProxies(any))
        return;
    SchemaHeld held{{any}, {}};
    auto &[values, objects] = held;
    std::unordered_set<GObject *> visited;
    while (!values.empty() || !objects.empty()) {
        if (!objects.empty()) {
            GObject *object = objects.back();
            objects.pop_back();
            if (visited.insert(object).second)
                AddFields(object, &held);
            continue;
        }
        const GValue *value = values.back();
        values.pop_back();
        if (!G_IS_VALUE(value))
            continue;
        if (G_VALUE_HOLDS(value, G_TYPE_VALUE_ARRAY))
            SchemaStore_VisitElements(static_cast<const GValueArray *>(g_value_get_boxed(value)),
                                      &held);
        else if (G_VALUE_HOLDS(value, G_TYPE_VALUE))
            values.push_back(static_cast<const GValue *>(g_value_get_boxed(value)));
        else if (GObject *proxy = MOMgrGetObject(value, skema_qorm_managed_object_get_type()))
            proxies.push_back(MOMgrHold(reinterpret_cast<SkemaQormManagedObject *>(proxy)));
        else if (GObject *object = MOMgrGetObject(value, G_TYPE_OBJECT))
            objects.push_back(object);
    }
}

MOMgrProxies::~MOMgrProxies() {
    for (const auto &proxy : proxies)
        SinkAndRelease(proxy.get());
}

OrvaneSession *MOMgrSession(OrvaneMOMgr *momgr) {
    OrvaneSession *session = momgr->priv->session;
    if (momgr->priv->isClosed || !OrvaneSession_IsLive(session))
        return nullptr;
    return orvane_session_get_momgr(session) == momgr ? session : nullptr;
}

OrvaneMOMgr *orvane_momgr_new(OrvaneSession *session) {
    return Cast(g_object_new(ORVANE_TYPE_MOMGR, "session", session, nullptr));
}

SkemaQormManagedObject *orvane_momgr_lookup(OrvaneMOMgr *momgr, const char *id) {
    g_return_val_if_fail(momgr, nullptr);
    if (id == nullptr)
        return nullptr;
    return static_cast<SkemaQormManagedObject *>(g_hash_table_lookup(momgr->priv->objectsById, id));
}

guint64 OrvaneMOMgr_GetRegistryState(const OrvaneMOMgr *momgr) {
    return momgr->priv->registryState;
}

SkemaQormManagedObject *orvane_momgr_lookup_or_create(OrvaneMOMgr *momgr, const char *id,
                                                      GType type) {
    g_return_val_if_fail(momgr, nullptr);
    g_return_val_if_fail(id, nullptr);
    if (SkemaQormManagedObject *known = orvane_momgr_lookup(momgr, id))
        return known;

    g_return_val_if_fail(g_type_is_a(type, skema_qorm_managed_object_get_type()), nullptr);
    auto *proxy = static_cast<SkemaQormManagedObject *>(g_object_new(type, nullptr));
    SchemaSession_Set(proxy, momgr->priv->session);
    proxy->id = g_strdup(id);
    orvane_momgr_insert(momgr, proxy);
    return proxy;
}

void orvane_momgr_insert(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy) {
    g_return_if_fail(momgr);
    g_return_if_fail(proxy);
    g_return_if_fail(proxy->id);

    OrvaneMOMgrPrivate *priv = momgr->priv;
    if (g_hash_table_contains(priv->idsByObject, proxy))
        Unregister(momgr, proxy);
    SkemaQormManagedObject *former = orvane_momgr_lookup(momgr, proxy->id);
    if (former != nullptr)
        Unregister(momgr, former);
    g_hash_table_insert(priv->objectsById, g_strdup(proxy->id), proxy);
    if (former != nullptr) /* the application's code may have looked the id up meanwhile */
        priv->registryState = NewRegistryState();
    g_hash_table_insert(priv->idsByObject, proxy, g_strdup(proxy->id));
    g_object_weak_ref(G_OBJECT(proxy), orvane_momgr_discard_by_obj, momgr);
}

void orvane_momgr_discard_by_id(OrvaneMOMgr *momgr, const char *id) {
    g_return_if_fail(momgr);
    SkemaQormManagedObject *object = orvane_momgr_lookup(momgr, id);
    g_return_if_fail(object);

    Unregister(momgr, object);
    SinkAndRelease(object);
}

void orvane_momgr_discard_by_obj(gpointer momgr, GObject *proxy) {
    OrvaneMOMgrPrivate *priv = Cast(momgr)->priv;
    g_return_if_fail(priv != NULL);
    gpointer instanceID = g_hash_table_lookup(priv->idsByObject, proxy);
    g_return_if_fail(instanceID);

    RemoveEntries(priv, proxy);
    AbandonFilter(Cast(momgr), proxy);
    EndAbandoned(Cast(momgr), proxy);
}
