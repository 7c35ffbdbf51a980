#include "ozy/lib/orvane/schema/schemaReference.h"

#include <cstring>
#include <span>
#include <utility>
#include <vector>

#include <orvane/schema/qorm.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/schema/schemaCompare.h"

namespace {

template <class T> T &Held(const SchemaPlace &place) {
    return *static_cast<T *>(place.data);
}

/* NULL if the session of the object was finalised or has none. */
OrvaneMOMgr *ManagerOf(const SchemaPlace &place) {
    return SchemaSession_GetManager(SchemaSession_Of(place.object));
}

void WarnNoManager(const char *id, GType type) {
    g_log(nullptr, G_LOG_LEVEL_WARNING,
          "Failed to get the OrvaneMOMgr to get property %s of type %s.\n", id, g_type_name(type));
}

/* The value itself, or the one that it boxes. */
const GValue *Unboxed(const GValue *value) {
    const bool isBox = G_VALUE_HOLDS(value, G_TYPE_VALUE);
    return isBox ? static_cast<const GValue *>(g_value_get_boxed(value)) : value;
}

/* Whether a value is of a managed-object type, with a proxy in it or not. */
bool HoldsManaged(const GValue *value) {
    return value != nullptr && g_type_is_a(G_VALUE_TYPE(value), SKEMA_TYPE_QORM_MANAGED_OBJECT);
}

/* The proxy in a value; NULL if there is none. */
SkemaQormManagedObject *ProxyIn(const GValue *value) {
    return HoldsManaged(value) ? static_cast<SkemaQormManagedObject *>(g_value_get_object(value))
                               : nullptr;
}

SchemaId *NewId(const char *text) {
    if (text == nullptr)
        return nullptr;
    const gsize size = std::strlen(text) + 1;
    auto *id = static_cast<SchemaId *>(g_malloc(sizeof(SchemaId) + size));
    *id = {};
    std::memcpy(id + 1, text, size);
    return id;
}

const char *TextOf(const SchemaId *id) {
    return id != nullptr ? id->Text() : nullptr;
}

/* The registered proxy with an id; NULL if there is none. */
SkemaQormManagedObject *FindProxy(OrvaneMOMgr *manager, SchemaId *id) {
    const guint64 state = OrvaneMOMgr_GetRegistryState(manager);
    if (id->registryState == state)
        return id->proxy;
    SkemaQormManagedObject *proxy = orvane_momgr_lookup(manager, id->Text());
    if (proxy != nullptr)
        *id = {state, proxy, proxy->id};
    return proxy;
}

/* Releases a proxy, which destroys it if it has no owner. */
void ReleaseProxy(SkemaQormManagedObject *proxy) {
    if (proxy == nullptr)
        return;
    g_object_ref_sink(proxy);
    g_object_unref(proxy);
}

/* Releases the proxy with this id. The manager is looked up each time, since finalising a proxy may run the
 * application's code. */
void ReleaseProxy(const SchemaSession &of, const char *id) {
    if (OrvaneMOMgr *manager = id != nullptr ? SchemaSession_GetManager(of) : nullptr)
        ReleaseProxy(orvane_momgr_lookup(manager, id));
}

void ReleaseProxy(const SchemaSession &of, SchemaId *id) {
    if (OrvaneMOMgr *manager = id != nullptr ? SchemaSession_GetManager(of) : nullptr)
        ReleaseProxy(FindProxy(manager, id));
}

/* Keeps a proxy alive, and floating if it was, while the old value is released. */
class ProxyGuard {
public:
    explicit ProxyGuard(SkemaQormManagedObject *kept) : proxy(kept) {
        if (proxy != nullptr) {
            wasFloating = g_object_is_floating(proxy);
            g_object_ref(proxy);
        }
    }
    ProxyGuard(ProxyGuard &&other) noexcept
        : proxy(std::exchange(other.proxy, nullptr)), wasFloating(other.wasFloating) {}
    ProxyGuard &operator=(ProxyGuard &&) = delete;
    ~ProxyGuard() {
        if (proxy == nullptr)
            return;
        if (wasFloating && !g_object_is_floating(proxy))
            g_object_force_floating(G_OBJECT(proxy)); /* our reference is now the floating one */
        else
            g_object_unref(proxy);
    }

private:
    SkemaQormManagedObject *proxy;
    bool wasFloating = false;
};

/* ---- one managed object ---- */

void ReferenceSet(const SchemaPlace &place, const GValue *value) {
    SkemaQormManagedObject *proxy = ProxyIn(value);
    const SchemaSession oldSession = SchemaSession_Of(place.object);
    SchemaReference next = {nullptr, place.field->valueType};
    if (proxy != nullptr) {
        next = {NewId(proxy->id), G_OBJECT_TYPE(proxy)};
        SchemaSession_Set(place.object, SchemaSession_Of(proxy));
    }
    const GPtr<SchemaId> oldId(std::exchange(Held<SchemaReference>(place), next).id);
    if (oldId != nullptr) {
        const ProxyGuard guard(proxy);
        ReleaseProxy(oldSession, oldId.get());
    }
}

SkemaQormManagedObject *FindReferenced(const SchemaPlace &place) {
    const auto &[id, type] = Held<SchemaReference>(place);
    if (id == nullptr)
        return nullptr;
    OrvaneMOMgr *manager = ManagerOf(place);
    if (manager == nullptr) {
        WarnNoManager(id->Text(), type);
        return nullptr;
    }
    if (SkemaQormManagedObject *proxy = FindProxy(manager, id))
        return proxy;
    return orvane_momgr_lookup_or_create(manager, id->Text(), type);
}

void ReferenceGet(const SchemaPlace &place, GValue *value) {
    if (SkemaQormManagedObject *proxy = FindReferenced(place))
        g_value_set_object(value, proxy);
}

void ReferenceRelease(const SchemaPlace &place) {
    const SchemaReference none = {nullptr, place.field->valueType};
    const GPtr<SchemaId> id(std::exchange(Held<SchemaReference>(place), none).id);
    ReleaseProxy(SchemaSession_Of(place.object), id.get());
}

/* ---- a list of managed objects ---- */

void AppendReference(const SchemaReferenceArray &references, const SkemaQormManagedObject *proxy) {
    GValue id = G_VALUE_INIT;
    g_value_init(&id, G_TYPE_STRING);
    g_value_set_static_string(&id, proxy->id);
    g_value_array_append(references.ids, &id); /* copies the text */
    const GType type = G_OBJECT_TYPE(proxy);
    g_array_append_val(references.types, type);
}

/* The ids and types of the proxies in a list; elements without a proxy are left out. */
SchemaReferenceArray ReferencesIn(const GValueArray *proxies) {
    SchemaReferenceArray references = {
        g_value_array_new(proxies->n_values),
        g_array_sized_new(FALSE, FALSE, sizeof(GType), proxies->n_values),
    };
    for (const GValue &element : std::span(proxies->values, proxies->n_values)) {
        const SkemaQormManagedObject *proxy = ProxyIn(Unboxed(&element));
        if (proxy != nullptr && proxy->id != nullptr)
            AppendReference(references, proxy);
    }
    return references;
}

/* Frees the list. Releases each proxy before, if it is a list of ids. */
void FreeReferences(const SchemaSession &of, const SchemaReferenceArray &references) {
    if (references.types != nullptr) {
        for (guint i = 0; i < references.ids->n_values; i++)
            ReleaseProxy(of, g_value_get_string(references.ids->values + i));
        g_array_free(references.types, TRUE);
    }
    if (references.ids != nullptr)
        g_value_array_free(references.ids);
}

/* Takes the session of the first proxy in the list. */
void AdoptSession(const SchemaPlace &place, const GValueArray *proxies) {
    if (proxies->n_values == 0)
        return;
    if (SkemaQormManagedObject *first = ProxyIn(Unboxed(proxies->values)))
        SchemaSession_Set(place.object, SchemaSession_Of(first));
}

void ReplaceReferences(const SchemaPlace &place, const SchemaReferenceArray &next,
                       const SchemaSession &oldSession, const GValueArray *proxies) {
    const auto old = std::exchange(Held<SchemaReferenceArray>(place), next);
    std::vector<ProxyGuard> guards;
    if (old.types != nullptr && next.types != nullptr) {
        guards.reserve(proxies->n_values);
        for (const GValue &element : std::span(proxies->values, proxies->n_values))
            guards.emplace_back(ProxyIn(Unboxed(&element)));
    }
    FreeReferences(oldSession, old);
}

void ReferenceArraySet(const SchemaPlace &place, const GValue *value) {
    const auto *proxies = static_cast<const GValueArray *>(g_value_get_boxed(value));
    const SchemaSession oldSession = SchemaSession_Of(place.object);
    SchemaReferenceArray next = {};
    if (proxies != nullptr) {
        next = ReferencesIn(proxies);
        AdoptSession(place, proxies);
    }
    ReplaceReferences(place, next, oldSession, proxies);
}

void ReferenceArrayGet(const SchemaPlace &place, GValue *value) {
    const auto &[ids, types] = Held<SchemaReferenceArray>(place);
    if (ids == nullptr)
        return;
    OrvaneMOMgr *manager = ManagerOf(place);
    if (manager == nullptr) {
        g_log(nullptr, G_LOG_LEVEL_WARNING, "Failed to get the OrvaneMOMgr to get an array\n");
        return;
    }
    GValueArray *proxies = g_value_array_new(ids->n_values);
    for (guint i = 0; i < ids->n_values; i++) {
        const GType type = g_array_index(types, GType, i);
        auto *proxy =
            orvane_momgr_lookup_or_create(manager, g_value_get_string(ids->values + i), type);
        g_value_array_append(proxies, nullptr);
        GValue *element = proxies->values + i;
        g_value_init(element, proxy != nullptr ? G_OBJECT_TYPE(proxy) : type);
        g_value_set_object(element, proxy);
    }
    g_value_take_boxed(value, proxies);
}

void ReferenceArrayRelease(const SchemaPlace &place) {
    const auto old = std::exchange(Held<SchemaReferenceArray>(place), SchemaReferenceArray{});
    FreeReferences(SchemaSession_Of(place.object), old);
}

/* ---- a list of any: of managed objects if its first element is one ---- */

void DynamicArraySet(const SchemaPlace &place, const GValue *value) {
    const auto *source = static_cast<const GValueArray *>(g_value_get_boxed(value));
    if (source != nullptr && source->n_values > 0 && HoldsManaged(Unboxed(source->values))) {
        ReferenceArraySet(place, value);
        return;
    }
    const SchemaReferenceArray next = {static_cast<GValueArray *>(g_value_dup_boxed(value)),
                                       nullptr};
    ReplaceReferences(place, next, SchemaSession_Of(place.object), source);
}

void DynamicArrayGet(const SchemaPlace &place, GValue *value) {
    const auto &held = Held<SchemaReferenceArray>(place);
    if (held.types != nullptr)
        ReferenceArrayGet(place, value);
    else
        g_value_set_boxed(value, held.ids);
}

/* ---- any ---- */

void FreeAny(const SchemaSession &of, SchemaAny any) {
    if (G_VALUE_TYPE(&any.value) == 0)
        return;
    if (any.moType != 0)
        ReleaseProxy(of, g_value_get_string(&any.value));
    g_value_unset(&any.value);
}

/* Fills a field without a proxy. */
void ReplaceAny(const SchemaPlace &place, const SchemaAny &next) {
    const auto old = std::exchange(Held<SchemaAny>(place), next);
    if (G_VALUE_TYPE(&old.value) != 0)
        FreeAny(SchemaSession_Of(place.object), old);
}

/* Stores a copy; of a proxy, its id. */
void SetAny(const SchemaPlace &place, const GValue *source) {
    SkemaQormManagedObject *proxy = ProxyIn(source);
    const SchemaSession oldSession = SchemaSession_Of(place.object);
    SchemaAny next = {};
    if (HoldsManaged(source)) {
        g_value_init(&next.value, G_TYPE_STRING);
        g_value_set_string(&next.value, proxy != nullptr ? proxy->id : nullptr);
        next.moType = G_VALUE_TYPE(source);
    } else if (source != nullptr && G_VALUE_TYPE(source) != 0) {
        g_value_init(&next.value, G_VALUE_TYPE(source));
        g_value_copy(source, &next.value);
    }
    if (proxy != nullptr)
        SchemaSession_Set(place.object, SchemaSession_Of(proxy));
    const auto old = std::exchange(Held<SchemaAny>(place), next);
    const ProxyGuard guard(old.moType != 0 ? proxy : nullptr);
    FreeAny(oldSession, old);
}

void AnySet(const SchemaPlace &place, const GValue *value) {
    SetAny(place, static_cast<const GValue *>(g_value_get_boxed(value)));
}

void AnyTake(const SchemaPlace &place, GValue *value) {
    auto *source = static_cast<GValue *>(g_value_get_boxed(value));
    if (source == nullptr || (value->data[1].v_uint & G_VALUE_NOCOPY_CONTENTS))
        SetAny(place, source);
    else
        SchemaReference_TakeAny(place, source);
}

void AnyGet(const SchemaPlace &place, GValue *value) {
    const SchemaAny &held = Held<SchemaAny>(place);
    if (held.moType == 0) {
        g_value_set_boxed(value, &held.value);
        return;
    }
    GType type = held.moType;
    SkemaQormManagedObject *proxy = nullptr;
    if (const char *id = g_value_get_string(&held.value)) {
        if (OrvaneMOMgr *manager = ManagerOf(place))
            proxy = orvane_momgr_lookup_or_create(manager, id, type);
        else
            WarnNoManager(id, type);
    }
    /* the manager may have a proxy of a less specific class for the id */
    if (proxy != nullptr && !g_type_is_a(G_OBJECT_TYPE(proxy), type))
        type = G_OBJECT_TYPE(proxy);
    GValue shown = G_VALUE_INIT;
    g_value_init(&shown, type);
    g_value_set_object(&shown, proxy);
    g_value_set_boxed(value, &shown);
    g_value_unset(&shown);
}

void AnyRelease(const SchemaPlace &place) {
    ReplaceAny(place, SchemaAny{});
}

bool ReferenceIsEqual(const SchemaPlace &first, const SchemaPlace &second, int depth) {
    return SchemaCompare_Texts(TextOf(Held<SchemaReference>(first).id),
                               TextOf(Held<SchemaReference>(second).id), depth);
}

bool ReferenceArrayIsEqual(const SchemaPlace &first, const SchemaPlace &second, int depth) {
    const auto &array = Held<SchemaReferenceArray>(first);
    const auto &other = Held<SchemaReferenceArray>(second);
    return (array.types != nullptr) == (other.types != nullptr) &&
           SchemaCompare_Arrays(array.ids, other.ids, depth);
}

bool AnyIsEqual(const SchemaPlace &first, const SchemaPlace &second, int depth) {
    const auto &any = Held<SchemaAny>(first);
    const auto &other = Held<SchemaAny>(second);
    return (any.moType != 0) == (other.moType != 0) &&
           SchemaCompare_Values(&any.value, &other.value, depth);
}

void DynamicArrayVisit(const SchemaPlace &place, SchemaHeld *held) {
    const auto &array = Held<SchemaReferenceArray>(place);
    if (array.types == nullptr)
        SchemaStore_VisitElements(array.ids, held);
}

void AnyVisit(const SchemaPlace &place, SchemaHeld *held) {
    const auto &any = Held<SchemaAny>(place);
    if (any.moType == 0 && G_IS_VALUE(&any.value))
        held->values.push_back(&any.value);
}

} // namespace

SkemaQormManagedObject *SchemaReference_GetProxy(GObject *object, const SchemaField *field) {
    return FindReferenced({field, SchemaField_In<void>(object, field), object});
}

void SchemaReference_TakeAny(const SchemaPlace &place, GValue *content) {
    if (HoldsManaged(content)) {
        SetAny(place, content);
        g_value_unset(content);
        return;
    }
    const GValue none = G_VALUE_INIT;
    ReplaceAny(place, {std::exchange(*content, none), 0});
}

SchemaReferenceList::SchemaReferenceList(GObject *object, const SchemaField *field)
    : place{field, SchemaField_In<void>(object, field), object} {
    if (field->store != &kSchemaReferenceArrayStore)
        return;
    auto &held = Held<SchemaReferenceArray>(place);
    if (held.ids != nullptr && held.ids->n_values > 0 && ManagerOf(place) != nullptr)
        list = &held;
}

bool SchemaReferenceList::IsIn(const OrvaneMOMgr *manager) const {
    return ManagerOf(place) == manager;
}

gint SchemaReferenceList::Find(const char *id) const {
    for (guint i = 0; i < Count(); i++) {
        if (strcmp(g_value_get_string(list->ids->values + i), id) == 0)
            return static_cast<gint>(i);
    }
    return -1;
}

SkemaQormManagedObject *SchemaReferenceList::GetProxy(guint index) const {
    return orvane_momgr_lookup_or_create(ManagerOf(place),
                                         g_value_get_string(list->ids->values + index),
                                         g_array_index(list->types, GType, index));
}

void SchemaReferenceList::Append(const SkemaQormManagedObject *proxy) {
    SchemaArray_MakeRoom(list->ids);
    AppendReference(*list, proxy);
}

void SchemaReferenceList::Release(const char *id) const {
    ReleaseProxy(SchemaSession_Of(place.object), id);
}

constinit const SchemaStore kSchemaReferenceStore = {
    sizeof(SchemaReference), ReferenceSet,     nullptr, ReferenceGet,
    ReferenceRelease,        ReferenceIsEqual, nullptr};

constinit const SchemaStore kSchemaReferenceArrayStore = {
    sizeof(SchemaReferenceArray), ReferenceArraySet,     nullptr, ReferenceArrayGet,
    ReferenceArrayRelease,        ReferenceArrayIsEqual, nullptr};

constinit const SchemaStore kSchemaDynamicArrayStore = {
    sizeof(SchemaReferenceArray), DynamicArraySet,       nullptr,          DynamicArrayGet,
    ReferenceArrayRelease,        ReferenceArrayIsEqual, DynamicArrayVisit};

constinit const SchemaStore kSchemaAnyStore = {sizeof(SchemaAny), AnySet,     AnyTake, AnyGet,
                                               AnyRelease,        AnyIsEqual, AnyVisit};
