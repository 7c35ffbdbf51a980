// Applies one change of one property: a value is assigned, added to an array, or removed from one, at the
// place that the path names. A change that does not fit is dropped without a log line, since the service may
// be newer than the schema, or hostile.
//
// An array that grows or shrinks by one element is changed in place. If a handler of "array_notify" may see or set
// the property meanwhile, a copy is changed instead, and then moved into the object.
#include <algorithm>
#include <cstring>
#include <span>
#include <utility>

#include <orvane/schema/qorm.h>

#include "ozy/lib/orvane/schema/schemaCompare.h"
#include "ozy/lib/orvane/schema/schemaEngine.h"
#include "ozy/lib/orvane/schema/schemaKinds.h"
#include "ozy/lib/orvane/schema/schemaReference.h"
#include "ozy/lib/orvane/soap/orvaneSoapCheck.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "ozy/lib/orvane/updates/orvaneUpdateIndex.h"
#include "ozy/lib/orvane/updates/orvaneUpdatePath.h"

namespace {

/* Whether a value can be an element of an array. */
bool IsElement(const GValue *value, GType elementType) {
    if (!G_IS_VALUE(value))
        return false;
    if (elementType == 0 || elementType == G_TYPE_VALUE)
        return true;
    if (!g_type_is_a(elementType, G_TYPE_OBJECT))
        return G_VALUE_HOLDS(value, elementType);
    return MOMgrGetObject(value, elementType) != nullptr;
}

GType ElementType(GParamSpec *pspec) {
    return GPOINTER_TO_SIZE(g_param_spec_get_qdata(pspec, orvane_quark_arraytype()));
}

bool IsArrayOf(const GValue *value, GType elementType) {
    if (!G_VALUE_HOLDS(value, G_TYPE_VALUE_ARRAY))
        return false;
    const auto *array = static_cast<const GValueArray *>(g_value_get_boxed(value));
    if (array == nullptr)
        return true;
    for (const GValue &element : std::span(array->values, array->n_values)) {
        if (!IsElement(&element, elementType))
            return false;
    }
    return true;
}

/* Whether the object in a value is of the type; NULL always is. */
bool IsObjectOf(const GValue *value, GType type) {
    if (!G_VALUE_HOLDS_OBJECT(value))
        return false;
    return g_value_get_object(value) == nullptr || MOMgrGetObject(value, type) != nullptr;
}

/* Converts a value to the property's type. False if that would change the value. */
bool Convert(GParamSpec *pspec, const GValue *value, GValue *converted) {
    if (pspec->value_type == G_TYPE_VALUE_ARRAY && !IsArrayOf(value, ElementType(pspec)))
        return false;
    if (g_type_is_a(pspec->value_type, G_TYPE_OBJECT) && !IsObjectOf(value, pspec->value_type))
        return false;
    return g_value_transform(value, converted) && !g_param_value_validate(pspec, converted);
}

/* Stores a value of the property's type. A class of the schema takes it over; any other copies it. */
void Store(GObject *object, GParamSpec *pspec, GValue *value) {
    const SchemaField *field = SchemaClass_FindField(object, pspec);
    if (field == nullptr) {
        g_object_set_property(object, pspec->name, value);
        return;
    }
    /* the end of what was stored may run the application's code, whose changes are notified afterwards */
    const bool isOwner = G_VALUE_HOLDS_OBJECT(value) || G_VALUE_HOLDS(value, G_TYPE_VALUE_ARRAY);
    if (isOwner)
        g_object_freeze_notify(object);
    SchemaClass_TakeField(object, field, value);
    g_object_notify_by_pspec(object, pspec);
    if (isOwner)
        g_object_thaw_notify(object);
}

/* Whether a field takes any value of its type as it is, and neither it nor the value holds an object. */
bool TakesAny(const SchemaField *field, const GValue *value) {
    if (field == nullptr || field->pspec->value_type != G_VALUE_TYPE(value))
        return false;
    return !(field->row->flags & SCHEMA_ARRAY) &&
           (SchemaKind_Row(field->row->kind).traits & SCHEMA_KIND_UNCHECKED);
}

void Assign(GObject *object, const char *name, const GValue *value) {
    GParamSpec *pspec = OrvaneUpdatePath_FindProperty(object, name);
    if (pspec == nullptr)
        return;
    const SchemaField *field = SchemaClass_FindField(object, pspec);
    if (value != nullptr && TakesAny(field, value)) {
        SchemaClass_SetField(object, field, value);
        g_object_notify_by_pspec(object, pspec);
        return;
    }
    if (pspec->value_type == G_TYPE_VALUE) {
        const GValue none = G_VALUE_INIT;
        orvane_object_set_any(object, pspec->name, value != nullptr ? value : &none);
        return;
    }
    ScopedValue converted(pspec->value_type);
    if (!G_IS_VALUE(value) || Convert(pspec, value, &converted.value))
        Store(object, pspec, &converted.value);
}

/* Whether a property of a class of the schema or of any other has this value already. */
bool HasValue(GObject *object, GParamSpec *pspec, const GValue *value, MOMgrProxies *proxies) {
    ScopedValue current;
    if (pspec->value_type == G_TYPE_VALUE) {
        orvane_object_get_any(object, pspec->name, &current.value);
        proxies->Note(&current.value);
        return SchemaCompare_AreEqual(&current.value, value);
    }
    ScopedValue converted(pspec->value_type);
    if (G_IS_VALUE(value) && !Convert(pspec, value, &converted.value))
        return true; /* it would not be stored */
    g_value_init(&current.value, pspec->value_type);
    g_object_get_property(object, pspec->name, &current.value);
    proxies->Note(&current.value);
    return SchemaCompare_AreEqual(&current.value, &converted.value);
}

/* The signal "array_notify" of an object's class; 0 if it has none. */
guint ArrayNotifySignal(GObject *object) {
    static constinit GType lastType = 0;
    static constinit guint lastSignal = 0; /* a type that has the signal keeps it */
    const GType type = G_OBJECT_TYPE(object);
    if (type != lastType || lastSignal == 0) {
        lastSignal = g_signal_lookup("array_notify", type);
        lastType = type;
    }
    return lastSignal;
}

void EmitArrayNotify(GObject *object, GParamSpec *pspec, gboolean isAdded, const GValue *element) {
    const guint signal = ArrayNotifySignal(object);
    if (signal != 0)
        g_signal_emit(object, signal, g_param_spec_get_name_quark(pspec), pspec, isAdded, element);
}

/* Whether a handler would be invoked: one of this property, or one of all properties, which has no detail. */
bool HasArrayHandler(GObject *object, GParamSpec *pspec) {
    const guint signal = ArrayNotifySignal(object);
    const GQuark details[] = {g_param_spec_get_name_quark(pspec), 0};
    return signal != 0 && std::ranges::any_of(details, [=](GQuark detail) {
               return g_signal_has_handler_pending(object, signal, detail, TRUE);
           });
}

/* The property's own array; NULL if it has none that can be changed in place. */
GValueArray *OwnArray(GObject *object, GParamSpec *pspec) {
    const SchemaField *field = SchemaClass_FindField(object, pspec);
    return field != nullptr ? SchemaField_GetArray(object, field) : nullptr;
}

/* The same, but NULL if a handler may look at it during the change. */
GValueArray *ArrayInPlace(GObject *object, GParamSpec *pspec) {
    GValueArray *array = OwnArray(object, pspec);
    return array == nullptr || HasArrayHandler(object, pspec) ? nullptr : array;
}

void SetArray(GObject *object, GParamSpec *pspec, ValueArrayPtr array) {
    ScopedValue value(G_TYPE_VALUE_ARRAY);
    g_value_take_boxed(&value.value, array.release());
    Store(object, pspec, &value.value);
}

/* Appends a value; an array of the type "any" holds boxed values. */
void Append(GValueArray *array, GType elementType, const GValue *value) {
    SchemaArray_MakeRoom(array);
    if (elementType != G_TYPE_VALUE || G_VALUE_HOLDS(value, G_TYPE_VALUE)) {
        g_value_array_append(array, value);
        return;
    }
    ScopedValue boxed(G_TYPE_VALUE);
    g_value_set_boxed(&boxed.value, value);
    g_value_array_append(array, &boxed.value);
}

/* The references of a property, to be changed in place; not valid if it has none or may not be changed so. */
SchemaReferenceList ReferencesInPlace(GObject *object, GParamSpec *pspec) {
    const SchemaField *field = SchemaClass_FindField(object, pspec);
    if (field == nullptr || HasArrayHandler(object, pspec))
        return {};
    return {object, field};
}

/* FALSE if the references must be changed in a copy. */
bool AddReferenceInPlace(GObject *object, GParamSpec *pspec, const GValue *value) {
    const auto *proxy = static_cast<SkemaQormManagedObject *>(
        static_cast<gpointer>(MOMgrGetObject(value, skema_qorm_managed_object_get_type())));
    if (proxy == nullptr || proxy->id == nullptr || !ReferencesInPlace(object, pspec).IsValid())
        return false;
    g_object_freeze_notify(object);
    EmitArrayNotify(object, pspec, TRUE, value);
    /* the emission may have run a class handler that an application installed */
    SchemaReferenceList references = ReferencesInPlace(object, pspec);
    if (references.IsValid()) {
        references.Append(proxy);
        OrvaneUpdateIndex_NoteAdded(object, SchemaClass_FindField(object, pspec), references.Ids());
        g_object_notify_by_pspec(object, pspec);
    }
    g_object_thaw_notify(object);
    return true;
}

/* "array_notify" is emitted before the element is in the array, "notify" after that. */
void Add(GObject *object, const char *piece, const GValue *value) {
    GParamSpec *pspec = OrvaneUpdatePath_FindProperty(object, OrvaneUpdatePath_PropertyName(piece));
    if (pspec == nullptr || pspec->value_type != G_TYPE_VALUE_ARRAY ||
        !IsElement(value, ElementType(pspec)))
        return;

    if (ArrayInPlace(object, pspec) != nullptr) {
        g_object_freeze_notify(object);
        EmitArrayNotify(object, pspec, TRUE, value);
        /* the emission may have run a class handler that an application installed */
        if (GValueArray *own = OwnArray(object, pspec)) {
            Append(own, ElementType(pspec), value);
            OrvaneUpdateIndex_NoteAdded(object, SchemaClass_FindField(object, pspec), own);
            g_object_notify_by_pspec(object, pspec);
        }
        g_object_thaw_notify(object);
        return;
    }
    if (AddReferenceInPlace(object, pspec, value))
        return;

    ValueArrayPtr array = OrvaneUpdatePath_GetArray(object, pspec);
    if (array == nullptr)
        array.reset(g_value_array_new(1));
    Append(array.get(), ElementType(pspec), value);

    g_object_freeze_notify(object);
    EmitArrayNotify(object, pspec, TRUE, value);
    SetArray(object, pspec, std::move(array));
    g_object_thaw_notify(object);
}

/* Whether an index is that of an element. -1, for a key without an element, raises a warning. */
bool CheckIndex(const GValueArray *array, gint index) {
    return OrvaneSoapCheck(static_cast<guint>(index) < array->n_values, "g_value_array_get_nth",
                           "index < value_array->n_values");
}

/* FALSE if the array must be changed in a copy. */
bool RemoveInPlace(OrvaneMOMgr *momgr, GObject *object, const OrvaneUpdateElement &element) {
    GValueArray *array = ArrayInPlace(object, element.pspec);
    if (array == nullptr)
        return false;
    const SchemaField *field = SchemaClass_FindField(object, element.pspec);
    const auto search = OrvaneUpdatePath_FindInPlace(momgr, object, field, array, element.key);
    if (!search.has_value())
        return false;
    /* a warning about the key may have run code of the application */
    array = OwnArray(object, element.pspec);
    if (!search->isPossible || array == nullptr || !CheckIndex(array, search->index))
        return true;

    const auto index = static_cast<guint>(search->index);
    const GValue *before = &array->values[index];
    ScopedValue removed(G_VALUE_TYPE(before));
    g_value_copy(before, &removed.value);
    EmitArrayNotify(object, element.pspec, FALSE, &removed.value);
    /* the emission may have run a class handler that an application installed */
    array = OwnArray(object, element.pspec);
    if (array == nullptr || index >= array->n_values)
        return true;
    /* as in a set, what the element was is released before the handlers run */
    g_object_freeze_notify(object);
    OrvaneUpdateIndex_Remove(object, field, index);
    g_object_notify_by_pspec(object, element.pspec);
    orvane_value_cond_unset(&removed.value);
    g_object_thaw_notify(object);
    return true;
}

/* Whether no other element has the id of this one. */
bool IsLastReference(GObject *object, const SchemaField *field,
                     const SchemaReferenceList &references, guint index) {
    const GValueArray *ids = references.Ids();
    const char *id = g_value_get_string(&ids->values[index]);
    if (const UpdateKeys *keys = OrvaneUpdateIndex_Search(object, field, ids))
        return keys->CountOf({true, 0, id}) == 1;
    return std::ranges::count_if(std::span(ids->values, ids->n_values), [id](const GValue &other) {
               return strcmp(g_value_get_string(&other), id) == 0;
           }) == 1;
}

/* FALSE if the references must be changed in a copy. */
bool RemoveReferenceInPlace(OrvaneMOMgr *momgr, GObject *object,
                            const OrvaneUpdateElement &element) {
    const SchemaReferenceList before = ReferencesInPlace(object, element.pspec);
    if (!before.IsValid() || !before.IsIn(momgr))
        return false;
    const SchemaField *field = SchemaClass_FindField(object, element.pspec);
    const OrvaneUpdateSearch search =
        OrvaneUpdatePath_FindReference(momgr, object, field, before, element.key);
    if (!search.isPossible)
        return true;

    const auto index = static_cast<guint>(search.index);
    {
        SkemaQormManagedObject *proxy = before.GetProxy(index);
        ScopedValue removed(G_OBJECT_TYPE(proxy));
        g_value_set_object(&removed.value, proxy);
        EmitArrayNotify(object, element.pspec, FALSE, &removed.value);
    }
    /* the emission may have run a class handler that an application installed */
    const SchemaReferenceList references = ReferencesInPlace(object, element.pspec);
    if (!references.IsValid() || index >= references.Count())
        return true;
    g_object_freeze_notify(object);
    const bool isLast = IsLastReference(object, field, references, index);
    const GPtr<char> id(g_value_dup_string(references.Ids()->values + index));
    OrvaneUpdateIndex_Remove(object, field, index);
    if (isLast)
        references.Release(id.get());
    g_object_notify_by_pspec(object, element.pspec);
    g_object_thaw_notify(object);
    return true;
}

} // namespace

/* "array_notify" is emitted while the element is still in the array. */
void orvane_momgr_remove_element(OrvaneMOMgr *momgr, GObject *object, const char *path) {
    const OrvaneUpdateElement piece = OrvaneUpdatePath_ParseElement(object, path);
    GParamSpec *pspec = OrvaneUpdatePath_FindProperty(object, OrvaneUpdatePath_PropertyName(path));
    if (pspec != nullptr && pspec == piece.pspec &&
        (RemoveInPlace(momgr, object, piece) || RemoveReferenceInPlace(momgr, object, piece)))
        return;

    gint index = 0;
    ValueArrayPtr array(orvane_momgr_extract_array_element(momgr, object, path, &index));
    if (array == nullptr || !CheckIndex(array.get(), index))
        return;
    /* A key without an element has the index -1, which the array refuses with a warning. */
    const GValue *element = g_value_array_get_nth(array.get(), static_cast<guint>(index));
    if (element == nullptr || pspec == nullptr)
        return;

    EmitArrayNotify(object, pspec, FALSE, element);
    g_value_array_remove(array.get(), static_cast<guint>(index));
    SetArray(object, pspec, std::move(array));
}

void MOMgrAssignDifferent(OrvaneMOMgr *momgr, MOMgrProxies *proxies, GObject *object,
                          const char *path, const GValue *value) {
    const OrvaneUpdateTarget target = OrvaneUpdatePath_Resolve(momgr, object, path);
    GParamSpec *pspec = target.object != nullptr
                            ? OrvaneUpdatePath_FindProperty(target.object, target.last)
                            : nullptr;
    if (pspec != nullptr && !HasValue(target.object, pspec, value, proxies))
        Assign(target.object, target.last, value);
}

void MOMgrUpdateProperty(OrvaneMOMgr *momgr, GObject *object, const char *path, const GValue *value,
                         gint op) {
    const OrvaneUpdateTarget target = OrvaneUpdatePath_Resolve(momgr, object, path);
    if (target.object == nullptr)
        return;

    switch (op) {
    case SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_ASSIGN:
        Assign(target.object, target.last, value);
        break;
    case SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_ADD:
        Add(target.object, target.last, value);
        break;
    case SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_REMOVE:
    case SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_INDIRECTREMOVE:
        orvane_momgr_remove_element(momgr, target.object, target.last);
        break;
    }
}

void orvane_momgr_update_property(OrvaneMOMgr *momgr, GObject *object, const char *name,
                                  const GValue *value, gint op) {
    g_return_if_fail(momgr);
    g_return_if_fail(object);
    g_return_if_fail(name);
    const auto holdManager = MOMgrHold(momgr);
    const auto holdObject = MOMgrHold(object);
    MOMgrUpdateProperty(momgr, object, name, value, op);
}
