#include "ozy/lib/orvane/updates/orvaneMOMgrFilter.h"

#include <utility>

#include <orvane/objectPath.h>
#include <orvane/schema/qorm.h>

#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/schema/schemaReference.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "ozy/lib/orvane/updates/orvaneUpdateIndex.h"

namespace {

/* Updates that are kept until the id of their filter is known; a service may never send it. */
constexpr gsize kMaxHeld = 10000;

/* The number of the newest filter of the process; a number is never used twice. */
constinit guint gLastNumber = 0;

constexpr char kFilterNumber[] = "orvane_momgr_filter_number";
/* Ids of removed filters that are remembered; few updates are on their way. */
constexpr size_t kMaxRemoved = 256;

/* The id of the filter that a FilterUpdate names; empty for none. Without a proxy for it, where the class is the schema's
 * own. */
std::string FilterId(GObject *filterUpdate) {
    if (const auto *reference = MOMgrPeek<SchemaReference>(filterUpdate, "filter"))
        return reference->id != nullptr ? reference->id->Text() : "";
    SkemaQormManagedObject *filter = nullptr;
    g_object_get(filterUpdate, "filter", &filter, nullptr);
    const ObjectPtr<SkemaQormManagedObject> owner(filter);
    return filter != nullptr && filter->id != nullptr ? filter->id : "";
}

/* The object and the kind of an ObjectUpdate. */
ObjectPtr<SkemaQormManagedObject> ObjectOf(GObject *update, gint *kind) {
    const SchemaField *field = SchemaClass_FindFieldByName(update, "obj");
    const auto *peekedKind = MOMgrPeek<gint32>(update, "kind");
    if (field != nullptr && peekedKind != nullptr) {
        *kind = *peekedKind;
        return MOMgrHold(SchemaReference_GetProxy(update, field));
    }
    SkemaQormManagedObject *object = nullptr;
    g_object_get(update, "obj", &object, "kind", kind, nullptr);
    return ObjectPtr<SkemaQormManagedObject>(object);
}

/* Whether a path, or one that contains it, is among those that the service has sent. */
bool IsNamed(std::string path, const KeyedTexts &named) {
    for (size_t end = path.size(); end != std::string::npos; end = path.find_last_of(".[")) {
        path.resize(end);
        if (named.contains(path))
            return true;
    }
    return false;
}

/* Resets a property, if the objects on the way to it exist. */
void Reset(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy, const char *path,
           MOMgrProxies *proxies) {
    const GValue none = G_VALUE_INIT;
    ScopedValue current;
    if (!orvane_object_get_path(G_OBJECT(proxy), path, &current.value))
        return;
    proxies->Note(&current.value);
    MOMgrAssignDifferent(momgr, proxies, G_OBJECT(proxy), path, &none);
}

/* Whether a PropertySpec is one of the object's class or of an ancestor. */
bool IsOfClass(GObject *propertySpec, SkemaQormManagedObject *proxy) {
    char *text = nullptr;
    g_object_get(propertySpec, "type", &text, nullptr);
    const GPtr<char> wanted(text);
    for (GType type = G_OBJECT_TYPE(proxy); type != 0; type = g_type_parent(type)) {
        if (g_strcmp0(OrvaneType_WireName(type), text) == 0)
            return true;
    }
    return false;
}

/* Resets what the filter selects of an object, and its first update since the filter was created anew does not have. */
void ResetOthers(OrvaneMOMgr *momgr, const MOMgrFilter *filter, SkemaQormManagedObject *proxy,
                 const KeyedTexts &named, MOMgrProxies *proxies) {
    const MOMgrReplyArray propSet(filter->spec.get(), "propSet");
    for (const GValue &element : propSet.Elements()) {
        GObject *spec =
            MOMgrGetObject(&element, skema_qorm_core_property_collector_property_spec_get_type());
        if (spec == nullptr || !IsOfClass(spec, proxy))
            continue;
        const MOMgrReplyArray pathSet(spec, "pathSet");
        for (const GValue &path : pathSet.Elements()) {
            const char *text = G_VALUE_HOLDS_STRING(&path) ? g_value_get_string(&path) : nullptr;
            if (text == nullptr || IsNamed(text, named))
                continue;
            Reset(momgr, proxy, text, proxies);
            if (filter->isRemoved || !MOMgrIsFollowing(momgr))
                return;
        }
    }
}

/* Applies one ObjectUpdate. Returns whether the filter still exists. */
bool ApplyObject(OrvaneMOMgr *momgr, MOMgrFilter *filter, GObject *update, MOMgrProxies *proxies) {
    gint kind = SKEMA_QORM_CORE_PROPERTY_COLLECTOR_OBJECT_UPDATE_MODIFY;
    const ObjectPtr<SkemaQormManagedObject> proxy = ObjectOf(update, &kind);
    if (proxy == nullptr)
        return true;
    const OrvaneFilterFuncs &functions = filter->functions;
    if (kind == SKEMA_QORM_CORE_PROPERTY_COLLECTOR_OBJECT_UPDATE_LEAVE) {
        if (functions.left != nullptr)
            functions.left(proxy.get(), filter->data);
        return !filter->isRemoved;
    }
    const bool isEnter = kind == SKEMA_QORM_CORE_PROPERTY_COLLECTOR_OBJECT_UPDATE_ENTER;
    const bool isDifference = isEnter && momgr->priv->renewal != nullptr;
    const GType changeType = skema_qorm_core_property_collector_change_get_type();
    KeyedTexts named;
    const MOMgrReplyArray changeSet(update, "changeSet");
    for (const GValue &element : changeSet.Elements()) {
        GObject *change = MOMgrGetObject(&element, changeType);
        if (change == nullptr)
            continue;
        GPtr<char> copy;
        const char *path =
            MOMgrApplyChange(momgr, proxies, proxy.get(), change, isDifference, &copy);
        if (filter->isRemoved)
            return false;
        if (isDifference && path != nullptr)
            named.emplace(path);
        if (!isEnter && path != nullptr && functions.changed != nullptr)
            functions.changed(proxy.get(), path, filter->data);
        if (filter->isRemoved || !MOMgrIsFollowing(momgr))
            return false;
    }
    if (isDifference)
        ResetOthers(momgr, filter, proxy.get(), named, proxies);
    if (filter->isRemoved || !MOMgrIsFollowing(momgr))
        return false;
    if (isEnter && functions.entered != nullptr)
        functions.entered(proxy.get(), filter->data);
    return !filter->isRemoved;
}

void Apply(OrvaneMOMgr *momgr, MOMgrFilter *filter, GObject *filterUpdate, MOMgrProxies *proxies) {
    const MOMgrReplyArray objectSet(filterUpdate, "objectSet");
    const GType updateType = skema_qorm_core_property_collector_object_update_get_type();
    for (const GValue &element : objectSet.Elements()) {
        GObject *update = MOMgrGetObject(&element, updateType);
        if (update != nullptr &&
            (!ApplyObject(momgr, filter, update, proxies) || !MOMgrIsFollowing(momgr)))
            return;
    }
}

/* Takes a filter from the tables. */
MOMgrFilterPtr Take(MOMgrFilters *filters, guint number) {
    const auto found = filters->byNumber.find(number);
    if (found == filters->byNumber.end())
        return nullptr;
    MOMgrFilterPtr filter = std::move(found->second);
    filters->byNumber.erase(found);
    filter->isRemoved = true;
    return filter;
}

/* Remembers the id of a filter that is gone. */
void RememberRemoved(MOMgrFilters *filters, const std::string &id) {
    filters->byId[id] = nullptr;
    filters->removed.push_back(id);
    if (filters->removed.size() <= kMaxRemoved)
        return;
    const auto oldest = filters->byId.find(filters->removed.front());
    if (oldest != filters->byId.end() && oldest->second == nullptr)
        filters->byId.erase(oldest);
    filters->removed.pop_front();
}

void Destroy(OrvaneMOMgr *momgr, const std::string &id) {
    RememberRemoved(momgr->priv->filters, id);
    if (MOMgrIsFollowing(momgr))
        MOMgrDestroyFilter(momgr, id.c_str());
}

void Finish(OrvaneMOMgr *momgr, MOMgrFilter *filter, bool isWhole) {
    if (isWhole)
        filter->isRewound = filter->isRestarted = false;
    if (MOMgrIsFollowing(momgr) && !filter->isRemoved && filter->functions.finished != nullptr)
        filter->functions.finished(isWhole, filter->data);
}

void Rewind(MOMgrFilters *filters, MOMgrFilter *filter) {
    if (!std::exchange(filter->isRewound, true))
        filters->rewound.push_back(filter->number);
}

/* Those of the numbers that are rewound. */
std::vector<MOMgrFilterPtr> RewoundOf(MOMgrFilters *filters, const std::vector<guint> &numbers) {
    std::vector<MOMgrFilterPtr> rewound;
    for (guint number : numbers) {
        const auto found = filters->byNumber.find(number);
        if (found != filters->byNumber.end() && found->second->isRewound)
            rewound.push_back(MOMgrHoldFilter(found->second.get()));
    }
    return rewound;
}

/* Applies what was held, once every filter is known. */
void ApplyHeld(OrvaneMOMgr *momgr) {
    MOMgrProxies proxies;
    const UpdateIndexScope scope;
    MOMgrFilters *filters = momgr->priv->filters;
    while (filters->numCreating == 0 && !filters->held.empty() && MOMgrIsFollowing(momgr)) {
        const MOMgrHeldUpdate update = std::move(filters->held.front());
        filters->held.pop_front();
        std::vector<MOMgrFilterPtr> updated;
        MOMgrApplyFilterUpdate(momgr, update.filterUpdate.get(), update.isWhole, &proxies,
                               &updated);
        MOMgrFilter_Finish(momgr, updated, update.isWhole);
    }
}

/* All filters exist on the service. What those that were created anew select is complete with the next whole reply to a
 * call for updates that is sent from now on; for one that matches nothing, the service sends nothing. */
void ExpectRestarted(OrvaneMOMgr *momgr) {
    MOMgrFilters *filters = momgr->priv->filters;
    if (filters->numCreating > 0 || !std::exchange(filters->hasRestarted, false) ||
        !MOMgrIsFollowing(momgr))
        return;
    bool isExpected = false;
    for (const auto &[number, filter] : filters->byNumber) {
        if (std::exchange(filter->isRestarted, false)) {
            Rewind(filters, filter.get());
            isExpected = true;
        }
    }
    if (isExpected)
        MOMgrProbe(momgr);
}

/* The id of the filter that a call created; empty if it failed. */
std::string CreatedId(OrvaneListener *internal) {
    ScopedValue result;
    if (orvane_listener_get_state(internal) != ORVANE_LISTENER_SUCCEEDED)
        return {};
    orvane_listener_get_result(internal, &result.value);
    auto *filter = reinterpret_cast<SkemaQormManagedObject *>(
        MOMgrGetObject(&result.value, skema_qorm_core_property_collector_filter_get_type()));
    if (filter == nullptr)
        return {};
    const ObjectPtr<SkemaQormManagedObject> owner(
        static_cast<SkemaQormManagedObject *>(g_object_ref_sink(filter)));
    return filter->id;
}

void OnCreated(OrvaneListener *internal, gpointer data) {
    auto *momgr = static_cast<OrvaneMOMgr *>(data);
    const auto holdSession = MOMgrHold(MOMgrSession(momgr));
    const auto holdManager = MOMgrHold(momgr);
    const ObjectPtr<OrvaneListener> release(internal);
    MOMgrFilters *filters = momgr->priv->filters;
    if (filters == nullptr)
        return; /* the connection is over */
    filters->numCreating--;
    const auto number = GPOINTER_TO_UINT(g_object_get_data(G_OBJECT(internal), kFilterNumber));
    const std::string id = CreatedId(internal);
    const auto found = filters->byNumber.find(number);
    if (found == filters->byNumber.end()) {
        if (!id.empty())
            Destroy(momgr, id); /* it was removed in the meantime */
    } else {
        MOMgrFilterPtr filter = MOMgrHoldFilter(found->second.get());
        ObjectPtr<SkemaQormMethodFault> fault;
        if (!id.empty()) {
            filter->id = id;
            filters->byId[id] = filter.get();
        } else {
            fault.reset(orvane_listener_get_fault(internal));
            if (!fault)
                fault.reset(SKEMA_QORM_METHOD_FAULT(
                    g_object_new(skema_qorm_method_fault_get_type(), nullptr)));
            Take(filters, number);
        }
        if (filter->functions.created != nullptr)
            filter->functions.created(fault.get(), filter->data);
    }
    if (momgr->priv->filters == filters)
        ApplyHeld(momgr);
    if (momgr->priv->filters == filters)
        ExpectRestarted(momgr);
}

/* Sends the creation of a filter. FALSE if that is not possible. */
bool Create(OrvaneMOMgr *momgr, const MOMgrFilter *filter) {
    OrvaneMOMgrPrivate *priv = momgr->priv;
    if (!MOMgrIsFollowing(momgr))
        return false;
    OrvaneListener *internal = MOMgrNewListener(momgr, OnCreated);
    g_object_set_data(G_OBJECT(internal), kFilterNumber, GUINT_TO_POINTER(filter->number));
    MOMgrNoteCreating(momgr, internal);
    skema_qorm_core_property_collector_create_filter(
        SKEMA_QORM_CORE_PROPERTY_COLLECTOR(priv->collector),
        SKEMA_QORM_CORE_PROPERTY_COLLECTOR_FILTER_SPEC(filter->spec.get()), filter->partialUpdates,
        internal);
    if (OrvaneSession_HasCall(priv->session, internal)) {
        priv->filters->numCreating++;
        return true;
    }
    g_object_unref(internal); /* the reference of the call */
    return false;
}

/* Creates a filter that exists here, or reports that it cannot be created. */
void CreateOrFail(OrvaneMOMgr *momgr, guint number) {
    MOMgrFilters *filters = momgr->priv->filters;
    const auto found = filters->byNumber.find(number);
    if (found == filters->byNumber.end() || Create(momgr, found->second.get()))
        return;
    const MOMgrFilterPtr filter = Take(filters, number);
    const ObjectPtr<GObject> fault(
        G_OBJECT(g_object_new(skema_qorm_method_fault_get_type(), nullptr)));
    if (filter->functions.created != nullptr)
        filter->functions.created(SKEMA_QORM_METHOD_FAULT(fault.get()), filter->data);
}

} // namespace

void MOMgrUnrefFilter::operator()(MOMgrFilter *filter) const {
    if (--filter->references > 0)
        return;
    if (filter->destroy != nullptr)
        filter->destroy(filter->data);
    delete filter;
}

MOMgrFilterPtr MOMgrHoldFilter(MOMgrFilter *filter) {
    filter->references++;
    return MOMgrFilterPtr(filter);
}

bool MOMgrFilter_Route(OrvaneMOMgr *momgr, GObject *filterUpdate, bool isWhole,
                       MOMgrProxies *proxies, std::vector<MOMgrFilterPtr> *updated) {
    MOMgrFilters *filters = momgr->priv->filters;
    if (filters == nullptr)
        return false;
    const std::string id = FilterId(filterUpdate);
    if (id.empty())
        return false;
    const auto found = filters->byId.find(id);
    if (found == filters->byId.end()) {
        if (filters->numCreating == 0 || filters->held.size() >= kMaxHeld)
            return false;
        filters->held.push_back(
            {ObjectPtr<GObject>(G_OBJECT(g_object_ref(filterUpdate))), isWhole});
        return true;
    }
    if (found->second == nullptr)
        return true;
    updated->push_back(MOMgrHoldFilter(found->second));
    Apply(momgr, updated->back().get(), filterUpdate, proxies);
    return true;
}

void MOMgrFilter_Finish(OrvaneMOMgr *momgr, const std::vector<MOMgrFilterPtr> &updated,
                        bool isWhole) {
    for (const MOMgrFilterPtr &filter : updated)
        Finish(momgr, filter.get(), isWhole);
    if (!isWhole || !MOMgrIsFollowing(momgr) || momgr->priv->filters == nullptr)
        return;
    MOMgrFilters *filters = momgr->priv->filters;
    for (const MOMgrFilterPtr &filter : RewoundOf(filters, std::exchange(filters->rewound, {}))) {
        if (filter->isRewound)
            Finish(momgr, filter.get(), true);
    }
}

void MOMgrFilter_Rewind(OrvaneMOMgr *momgr) {
    MOMgrFilters *filters = momgr->priv->filters;
    if (filters == nullptr)
        return;
    filters->rewound.clear();
    for (const auto &[number, filter] : filters->byNumber) {
        filter->isRewound = false;
        if (!filter->id.empty())
            Rewind(filters, filter.get());
    }
    for (const MOMgrFilterPtr &filter : RewoundOf(filters, filters->rewound)) {
        if (MOMgrIsFollowing(momgr) && !filter->isRemoved && filter->functions.rewound != nullptr)
            filter->functions.rewound(filter->data);
    }
}

void MOMgrFilter_CreateWaiting(OrvaneMOMgr *momgr) {
    MOMgrFilters *filters = momgr->priv->filters;
    if (filters == nullptr)
        return;
    for (guint number : std::exchange(filters->waiting, {})) {
        if (momgr->priv->filters != filters)
            return; /* a function has ended the connection */
        CreateOrFail(momgr, number);
    }
}

/* A filter may be removed, and others added, while the functions run. */
void MOMgrFilter_Restart(OrvaneMOMgr *momgr) {
    MOMgrFilters *filters = momgr->priv->filters;
    if (filters == nullptr)
        return;
    filters->byId.clear();
    filters->removed.clear();
    filters->held.clear();
    filters->waiting.clear();
    filters->rewound.clear();
    filters->numCreating = 0;
    std::vector<guint> numbers;
    for (const auto &[number, filter] : filters->byNumber) {
        filter->id.clear();
        filter->isRewound = false;
        filter->isRestarted = filters->hasRestarted = true;
        numbers.push_back(number);
    }
    for (guint number : numbers) {
        const auto found = filters->byNumber.find(number);
        if (found == filters->byNumber.end())
            continue;
        const MOMgrFilterPtr filter = MOMgrHoldFilter(found->second.get());
        if (filter->functions.restarted != nullptr)
            filter->functions.restarted(filter->data);
        if (momgr->priv->filters != filters)
            return; /* the function has ended the connection */
        CreateOrFail(momgr, number);
    }
}

void MOMgrFilter_EndAll(OrvaneMOMgr *momgr) {
    const std::unique_ptr<MOMgrFilters> filters(std::exchange(momgr->priv->filters, nullptr));
    if (!filters)
        return;
    for (const auto &[number, filter] : filters->byNumber)
        filter->isRemoved = true;
    for (const auto &[number, filter] : filters->byNumber) {
        if (filter->functions.ended != nullptr)
            filter->functions.ended(filter->data);
    }
}

guint orvane_session_add_filter(OrvaneSession *session, GObject *filterSpec,
                                gboolean partialUpdates, const OrvaneFilterFuncs *functions,
                                gpointer data, GDestroyNotify destroy) {
    const GType specType = skema_qorm_core_property_collector_filter_spec_get_type();
    g_return_val_if_fail(ORVANE_IS_SESSION(session), 0);
    g_return_val_if_fail(G_TYPE_CHECK_INSTANCE_TYPE(filterSpec, specType), 0);
    g_return_val_if_fail(functions != nullptr, 0);
    MOMgrFilterPtr filter(new MOMgrFilter{0,
                                          *functions,
                                          data,
                                          destroy,
                                          {},
                                          false,
                                          1,
                                          ObjectPtr<GObject>(G_OBJECT(g_object_ref(filterSpec))),
                                          partialUpdates});
    OrvaneMOMgr *momgr = orvane_session_get_momgr(session);
    if (orvane_session_get_state(session) != ORVANE_SESSION_CONNECTED || momgr == nullptr)
        return 0;
    MOMgrFilters *&filters = momgr->priv->filters;
    if (filters == nullptr)
        filters = new MOMgrFilters;
    const guint number = filter->number = ++gLastNumber;
    if (momgr->priv->collector == nullptr)
        filters->waiting.push_back(number);
    else if (!Create(momgr, filter.get()))
        return 0;
    filters->byNumber.emplace(number, std::move(filter));
    return number;
}

void orvane_session_remove_filter(OrvaneSession *session, guint filter) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    OrvaneMOMgr *momgr = orvane_session_get_momgr(session);
    if (momgr == nullptr || momgr->priv->filters == nullptr)
        return;
    const auto holdManager = MOMgrHold(momgr);
    const MOMgrFilterPtr taken = Take(momgr->priv->filters, filter);
    if (taken && !taken->id.empty())
        Destroy(momgr, taken->id);
}
