#include "ozy/lib/orvane/updates/orvaneUpdatePath.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>

#include <orvane/schema/qorm.h>

#include "ozy/lib/orvane/soap/orvaneSoapCheck.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "ozy/lib/orvane/updates/orvaneUpdateIndex.h"

namespace {

/* More than any real path has. Objects that are created for a path nest as deep as the path. */
constexpr int kMaxDepth = 100;

/* The end of the first piece of a path; npos if it is the last. Dots between brackets belong to the piece. */
size_t PieceEnd(std::string_view path) {
    const size_t dot = path.find('.');
    if (dot == path.npos || path.substr(0, dot).find('[') == path.npos)
        return dot;
    const size_t bracket = path.find(']');
    return bracket == path.npos ? path.npos : path.find('.', bracket);
}

/* The object in a property; NULL if there is none. */
ObjectPtr<GObject> HeldObject(GObject *object, const GParamSpec *pspec) {
    const SchemaField *field = SchemaClass_FindField(object, pspec);
    if (field != nullptr && field->row->kind == SCHEMA_VALUE_OBJECT)
        return MOMgrHold(*SchemaField_In<GObject *>(object, field));
    ScopedValue value(pspec->value_type);
    g_object_get_property(object, pspec->name, &value.value);
    return MOMgrHold(static_cast<GObject *>(g_value_get_object(&value.value)));
}

/* The object in a property, which is created if there is none. */
ObjectPtr<GObject> EnterProperty(GObject *object, std::string_view name) {
    const GParamSpec *pspec = OrvaneUpdatePath_FindProperty(object, name);
    if (pspec == nullptr || !g_type_is_a(pspec->value_type, G_TYPE_OBJECT))
        return nullptr;
    if (auto held = HeldObject(object, pspec))
        return held;

    /* a new proxy would have no id, so it could not be one of the service's objects */
    if (g_type_is_a(pspec->value_type, skema_qorm_managed_object_get_type()) ||
        G_TYPE_IS_ABSTRACT(pspec->value_type))
        return nullptr;
    ObjectPtr<GObject> made(static_cast<GObject *>(g_object_new(pspec->value_type, nullptr)));
    ScopedValue value(pspec->value_type);
    g_value_set_object(&value.value, made.get());
    g_object_set_property(object, pspec->name, &value.value);
    return made;
}

/* The object in an element of an array; NULL if the search found none. */
ObjectPtr<GObject> ObjectAt(const GValueArray *array, const OrvaneUpdateSearch &search) {
    const auto index = static_cast<guint>(search.index);
    if (!search.isPossible || array == nullptr || index >= array->n_values)
        return nullptr;
    return MOMgrHold(MOMgrGetObject(&array->values[index], G_TYPE_OBJECT));
}

/* As orvane_momgr_extract_array_element(). */
ValueArrayPtr CopyArray(OrvaneMOMgr *momgr, GObject *object, const OrvaneUpdateElement &element,
                        gint *indexOut) {
    *indexOut = 0;
    if (element.pspec == nullptr)
        return nullptr;
    ValueArrayPtr array = OrvaneUpdatePath_GetArray(object, element.pspec);
    const OrvaneUpdateSearch search = OrvaneUpdatePath_FindElement(momgr, array.get(), element.key);
    if (!search.isPossible)
        return nullptr;
    *indexOut = search.index;
    return array;
}

/* The object in an element of an array. The array is not copied where a class of the schema keeps it. */
ObjectPtr<GObject> EnterElement(OrvaneMOMgr *momgr, GObject *object, std::string_view piece) {
    const OrvaneUpdateElement element = OrvaneUpdatePath_ParseElement(object, piece);
    const SchemaField *field =
        element.pspec != nullptr ? SchemaClass_FindField(object, element.pspec) : nullptr;
    if (field != nullptr) {
        if (const GValueArray *own = SchemaField_GetArray(object, field)) {
            const auto search =
                OrvaneUpdatePath_FindInPlace(momgr, object, field, own, element.key);
            if (search.has_value())
                return ObjectAt(SchemaField_GetArray(object, field), *search);
        }
        const SchemaReferenceList references(object, field);
        if (references.IsValid() && references.IsIn(momgr)) {
            const OrvaneUpdateSearch search =
                OrvaneUpdatePath_FindReference(momgr, object, field, references, element.key);
            return search.isPossible ? MOMgrHold(reinterpret_cast<GObject *>(
                                           references.GetProxy(static_cast<guint>(search.index))))
                                     : nullptr;
        }
    }
    gint index = 0;
    const ValueArrayPtr array = CopyArray(momgr, object, element, &index);
    return ObjectAt(array.get(), {array != nullptr, index});
}

/* The text between the quotes of a key; nothing, with a warning, if it is too short. */
std::optional<std::string_view> KeyText(std::string_view key) {
    if (!OrvaneSoapCheck(key.size() >= 3, "orvane_momgr_key_get_string", "len >= 3"))
        return std::nullopt;
    return key.substr(1, key.size() - 2);
}

/* What follows the key is no part of a number. */
gint KeyNumber(std::string_view key) {
    return orvane_momgr_key_get_int(key.data());
}

bool Equals(const GValue *value, const UpdateKeyView &key) {
    if (!G_VALUE_HOLDS_STRING(value))
        return !key.isText && OrvaneUpdatePath_Integer(value) == key.number;
    const char *text = g_value_get_string(value);
    return key.isText && text != nullptr && key.text == text;
}

/* Index of the first element that satisfies the condition; -1 for none. */
template <class Condition> gint FindElement(const GValueArray *array, Condition condition) {
    for (guint i = 0; i < array->n_values; i++) {
        if (G_IS_VALUE(&array->values[i]) && condition(&array->values[i]))
            return static_cast<gint>(i);
    }
    return -1;
}

/* Whether an element is an object whose property "key" is that. */
bool HasKey(const GValue *element, const UpdateKeyView &key) {
    GObject *object = MOMgrGetObject(element, G_TYPE_OBJECT);
    ScopedValue held;
    return object != nullptr && OrvaneUpdatePath_GetProperty(object, "key", &held.value) &&
           Equals(&held.value, key);
}

/* The property "key" of the elements, by the class of the first; NULL if they have none. */
const GParamSpec *KeyOfElements(const GValue *first) {
    GObject *object = MOMgrGetObject(first, G_TYPE_OBJECT);
    const SchemaField *field =
        object != nullptr ? SchemaClass_FindFieldByName(object, "key") : nullptr;
    if (field != nullptr)
        return field->pspec;
    const GType type = object != nullptr ? G_OBJECT_TYPE(object) : G_VALUE_TYPE(first);
    const TypeClassPtr cls(g_type_class_ref(type));
    return g_object_class_find_property(static_cast<GObjectClass *>(cls.get()), "key");
}

/* The first element of an array that has one. With keys, places before it may be empty. */
const GValue *FirstElement(const GValueArray *array, const UpdateKeys *keys) {
    return &array->values[keys != nullptr ? keys->First() : 0];
}

/* Searches an array. A key that no object has selects the first object. */
OrvaneUpdateSearch FindDataObject(const GValueArray *array, std::string_view key,
                                  const UpdateKeys *keys) {
    const GParamSpec *pspec = KeyOfElements(FirstElement(array, keys));
    if (pspec == nullptr)
        return {false, 0};

    UpdateKeyView wanted(false, 0, {});
    if (pspec->value_type == G_TYPE_STRING) {
        const auto text = KeyText(key);
        if (!text.has_value())
            return {true, 0};
        wanted = {true, 0, *text};
    } else {
        wanted.number = KeyNumber(key);
        if (wanted.number == -1)
            return {true, 0};
    }
    const gint index = keys != nullptr
                           ? keys->Find(wanted)
                           : FindElement(array, [&](auto *value) { return HasKey(value, wanted); });
    return {true, std::max(index, 0)};
}

OrvaneUpdateSearch FindManagedObject(OrvaneMOMgr *momgr, const GValueArray *array,
                                     std::string_view key) {
    const auto text = KeyText(key);
    const gpointer proxy =
        text.has_value() ? orvane_momgr_lookup(momgr, std::string(*text).c_str()) : nullptr;
    if (proxy == nullptr)
        return {false, 0};
    const gint index = FindElement(
        array, [&](auto *value) { return MOMgrGetObject(value, G_TYPE_OBJECT) == proxy; });
    return {true, std::max(index, 0)};
}

OrvaneUpdateSearch FindPlain(const GValueArray *array, std::string_view key,
                             const UpdateKeys *keys) {
    UpdateKeyView wanted(false, 0, {});
    if (G_VALUE_HOLDS_STRING(FirstElement(array, keys))) {
        const auto text = KeyText(key);
        if (!text.has_value())
            return {true, -1};
        wanted = {true, 0, *text};
    } else {
        wanted.number = KeyNumber(key);
    }
    return {true, keys != nullptr ? keys->Find(wanted) : FindElement(array, [&](auto *value) {
                return Equals(value, wanted);
            })};
}

/* Whether a search compares the elements with a number that the key does not have. */
bool IsNumberMissing(const GValueArray *array, std::string_view key, const UpdateKeys *keys) {
    if (array->n_values == 0)
        return false;
    const GValue *first = FirstElement(array, keys);
    if (!G_IS_VALUE(first) || G_VALUE_HOLDS_OBJECT(first) || G_VALUE_HOLDS_STRING(first))
        return false;
    char *end = nullptr;
    strtol(key.data(), &end, 10);
    return end == key.data();
}

OrvaneUpdateSearch FindByKey(OrvaneMOMgr *momgr, const GValueArray *array, std::string_view key,
                             const UpdateKeys *keys) {
    const GValue *first = FirstElement(array, keys);
    if (!G_IS_VALUE(first))
        return {false, 0};
    if (g_type_is_a(G_VALUE_TYPE(first), skema_qorm_managed_object_get_type()))
        return FindManagedObject(momgr, array, key);
    if (G_VALUE_HOLDS_OBJECT(first))
        return FindDataObject(array, key, keys);
    return FindPlain(array, key, keys);
}

} // namespace

std::optional<gint64> OrvaneUpdatePath_Integer(const GValue *value) {
    /* by GLib's types, not by the schema's kinds: elements of any values also have types that no field has */
    switch (G_TYPE_FUNDAMENTAL(G_VALUE_TYPE(value))) {
    case G_TYPE_CHAR:
    case G_TYPE_UCHAR:
    case G_TYPE_INT:
    case G_TYPE_UINT:
    case G_TYPE_LONG:
    case G_TYPE_ULONG:
    case G_TYPE_INT64:
    case G_TYPE_UINT64:
    case G_TYPE_ENUM: {
        ScopedValue wide(G_TYPE_INT64);
        g_value_transform(value, &wide.value);
        return g_value_get_int64(&wide.value);
    }
    default:
        return std::nullopt;
    }
}

GParamSpec *OrvaneUpdatePath_FindProperty(GObject *object, std::string_view name) {
    if (const SchemaField *field = SchemaClass_FindFieldByName(object, name))
        return field->pspec; /* all of the schema's can be read and written */
    GParamSpec *pspec =
        g_object_class_find_property(G_OBJECT_GET_CLASS(object), std::string(name).c_str());
    if (pspec == nullptr || (pspec->flags & G_PARAM_READWRITE) != G_PARAM_READWRITE ||
        (pspec->flags & G_PARAM_CONSTRUCT_ONLY))
        return nullptr;
    return pspec;
}

bool OrvaneUpdatePath_GetProperty(GObject *object, std::string_view name, GValue *value) {
    const GParamSpec *pspec = OrvaneUpdatePath_FindProperty(object, name);
    if (pspec == nullptr)
        return false;
    g_value_init(value, pspec->value_type);
    const SchemaField *field = SchemaClass_FindField(object, pspec);
    if (field != nullptr)
        SchemaClass_GetField(object, field, value);
    else
        g_object_get_property(object, pspec->name, value);
    return true;
}

ValueArrayPtr OrvaneUpdatePath_GetArray(GObject *object, const GParamSpec *pspec) {
    ScopedValue held(G_TYPE_VALUE_ARRAY);
    g_object_get_property(object, pspec->name, &held.value);
    if (held.value.data[1].v_uint & G_VALUE_NOCOPY_CONTENTS)
        return ValueArrayPtr(static_cast<GValueArray *>(g_value_dup_boxed(&held.value)));
    ValueArrayPtr array(static_cast<GValueArray *>(g_value_get_boxed(&held.value)));
    held.value = G_VALUE_INIT; /* the copy that it held is the caller's now */
    return array;
}

std::string_view OrvaneUpdatePath_PropertyName(std::string_view piece) {
    return piece.substr(0, piece.find('['));
}

OrvaneUpdateElement OrvaneUpdatePath_ParseElement(GObject *object, std::string_view piece) {
    const size_t nameEnd = piece.find_first_of("[]");
    if (nameEnd == piece.npos)
        return {};
    GParamSpec *pspec = OrvaneUpdatePath_FindProperty(object, piece.substr(0, nameEnd));
    if (pspec == nullptr || pspec->value_type != G_TYPE_VALUE_ARRAY)
        return {};
    piece.remove_prefix(nameEnd + 1);
    return {pspec, piece.substr(0, piece.find_first_of("[]"))};
}

OrvaneUpdateSearch OrvaneUpdatePath_FindElement(OrvaneMOMgr *momgr, const GValueArray *array,
                                                std::string_view key, const UpdateKeys *keys) {
    if (array == nullptr || array->n_values == 0)
        return {false, 0};
    return FindByKey(momgr, array, key, keys);
}

std::optional<OrvaneUpdateSearch> OrvaneUpdatePath_FindInPlace(OrvaneMOMgr *momgr, GObject *object,
                                                               const SchemaField *field,
                                                               const GValueArray *array,
                                                               std::string_view key) {
    const UpdateKeys *keys = OrvaneUpdateIndex_Search(object, field, array);
    const std::span elements(array->values, array->n_values);
    if (keys == nullptr && !std::ranges::all_of(elements, [](const GValue &element) {
            return OrvaneUpdateIndex_IsPlain(&element);
        }))
        return std::nullopt;
    if (!IsNumberMissing(array, key, keys)) {
        OrvaneUpdateSearch search = OrvaneUpdatePath_FindElement(momgr, array, key, keys);
        if (search.index == 0) /* also of a key without an element */
            search.index = static_cast<gint>(OrvaneUpdateIndex_First(object, field));
        return search;
    }
    /* the only search that goes on after a warning, whose handler may set the list */
    const gint number = KeyNumber(key);
    array = SchemaField_GetArray(object, field);
    if (array == nullptr)
        return OrvaneUpdateSearch{false, 0};
    return OrvaneUpdatePath_FindInPlace(momgr, object, field, array, std::to_string(number));
}

/* A key that no element has selects the first one if it is the id of an object. */
OrvaneUpdateSearch OrvaneUpdatePath_FindReference(OrvaneMOMgr *momgr, GObject *object,
                                                  const SchemaField *field,
                                                  const SchemaReferenceList &references,
                                                  std::string_view key) {
    const auto text = KeyText(key);
    if (!text.has_value())
        return {false, 0};
    const std::string id(*text);
    const UpdateKeys *keys = OrvaneUpdateIndex_Search(object, field, references.Ids());
    const gint found = keys != nullptr ? keys->Find({true, 0, id}) : references.Find(id.c_str());
    if (found >= 0)
        return {true, found};
    return {orvane_momgr_lookup(momgr, id.c_str()) != nullptr,
            static_cast<gint>(OrvaneUpdateIndex_First(object, field))};
}

OrvaneUpdateTarget OrvaneUpdatePath_Resolve(OrvaneMOMgr *momgr, GObject *object, const char *path) {
    OrvaneUpdateTarget target = {object, path, nullptr};
    std::string_view rest(path);
    for (int depth = 0; depth < kMaxDepth; depth++) {
        const size_t end = PieceEnd(rest);
        if (end == rest.npos)
            return target;

        const std::string_view piece = rest.substr(0, end);
        target.hold = piece.find('[') == piece.npos ? EnterProperty(target.object, piece)
                                                    : EnterElement(momgr, target.object, piece);
        target.object = target.hold.get();
        if (target.object == nullptr)
            return {};
        rest.remove_prefix(end + 1);
        target.last = rest.data();
    }
    return {};
}

/* As scanf's "%d" reads: a number that is too large is that of the lowest bits. */
gint orvane_momgr_key_get_int(const char *text) {
    char *end = nullptr;
    const long number = strtol(text, &end, 10);
    return OrvaneSoapCheck(end != text, __func__, "numScanned == 1") ? static_cast<gint>(number)
                                                                     : -1;
}

char *orvane_momgr_key_get_string(const char *text) {
    const auto inside = KeyText(text);
    return inside.has_value() ? g_strndup(inside->data(), inside->size()) : nullptr;
}

GValueArray *orvane_momgr_extract_array_element(OrvaneMOMgr *momgr, GObject *object,
                                                const char *path, gint *indexOut) {
    return CopyArray(momgr, object, OrvaneUpdatePath_ParseElement(object, path), indexOut)
        .release();
}
