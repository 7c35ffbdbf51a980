#include "ozy/lib/orvane/updates/orvaneUpdateIndex.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <span>
#include <unordered_map>
#include <utility>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "ozy/lib/orvane/updates/orvaneUpdatePath.h"

namespace {

constexpr guint kMinLength = 64;   /* of a list with an index */
constexpr guint kFreeSearches = 8; /* of a list in one reply, which are walks */

struct Index {
    UpdateKeys keys;
    bool isOfObjects = false; /* all elements, or none; a walk compares only those of one kind */
    std::vector<GObject *> objects; /* by slot; NULL for a text or number, and when it is removed */
    std::vector<guint32> withOtherKey; /* slots of objects whose key is to be read again */
};

/* A list that was searched. */
struct SearchedList {
    guint numSearches = 0;
    std::unique_ptr<Index> index;
    bool isPossible = true; /* FALSE: one of its elements cannot be in an index */
};

struct Place {
    Index *index;
    guint32 slot;
};

struct Indexes {
    std::map<std::pair<GObject *, const SchemaField *>, SearchedList> lists;
    std::unordered_map<GObject *, Place> elements; /* of all indexes */
    guint numScopes = 0;
    bool isObserving = false;
    bool isObservingReads = false;
};

/* NULL outside of a scope. */
constinit Indexes *gIndexes = nullptr;

/* Moves together what is between places that are removed. Returns how many elements are left. */
template <class T> guint CloseUp(T *elements, guint count, std::span<const guint> removed) {
    guint to = removed[0];
    for (gsize i = 0; i < removed.size(); i++) {
        const guint from = removed[i] + 1;
        const guint end = i + 1 < removed.size() ? removed[i + 1] : count;
        std::memmove(elements + to, elements + from, (end - from) * sizeof(T));
        to += end - from;
    }
    return to;
}

/* The list in a field; without types if it is not one of references. */
SchemaReferenceArray ListIn(GObject *object, const SchemaField *field) {
    if (field->store == &kSchemaReferenceArrayStore)
        return *SchemaField_In<SchemaReferenceArray>(object, field);
    return {*SchemaField_In<GValueArray *>(object, field), nullptr};
}

using ListKey = std::pair<GObject *, const SchemaField *>;

/* Removes the empty places of a list with an index. */
void Close(const ListKey &key, Index *index) {
    const std::vector<guint> removed = index->keys.TakeDropped();
    if (removed.empty())
        return;
    const auto [elements, types] = ListIn(key.first, key.second);
    const guint count = elements->n_values;
    elements->n_values = CloseUp(elements->values, count, removed);
    std::ranges::fill(std::span(elements->values, count).subspan(elements->n_values),
                      GValue(G_VALUE_INIT));
    if (types != nullptr)
        g_array_set_size(types,
                         CloseUp(reinterpret_cast<GType *>(types->data), types->len, removed));
}

void EndIndex(const ListKey &key, SearchedList *list) {
    if (list->index == nullptr)
        return;
    Close(key, list->index.get());
    for (GObject *object : list->index->objects) {
        const auto element = gIndexes->elements.find(object);
        if (element != gIndexes->elements.end() && element->second.index == list->index.get())
            gIndexes->elements.erase(element);
    }
    list->index.reset();
}

/* A field of an object is about to be stored; without a field, the object is being finalised. */
void OnStore(GObject *object, const SchemaField *field) {
    for (auto list = gIndexes->lists.lower_bound({object, field});
         list != gIndexes->lists.end() && list->first.first == object &&
         (field == nullptr || list->first.second == field);
         list++) {
        EndIndex(list->first, &list->second);
        list->second.isPossible = true;
    }
    const auto element = gIndexes->elements.find(object);
    if (element == gIndexes->elements.end() || field == nullptr ||
        std::string_view(field->pspec->name) != "key")
        return;
    const auto [index, slot] = element->second;
    index->keys.Replace(slot, std::nullopt);
    index->withOtherKey.push_back(slot);
}

/* FALSE if the element cannot be in an index: its key may change unnoticed, it is already in one, or it is an object
 * among texts or numbers. */
bool AddElement(Index *index, const GValue *element) {
    const bool isObject = G_IS_VALUE(element) && G_VALUE_HOLDS_OBJECT(element);
    if (index->objects.empty())
        index->isOfObjects = isObject;
    if (isObject != index->isOfObjects || !OrvaneUpdateIndex_IsPlain(element))
        return false;
    GObject *object = MOMgrGetObject(element, G_TYPE_OBJECT);
    const guint32 slot = index->keys.Append(OrvaneUpdateIndex_KeyOf(element));
    index->objects.push_back(object);
    return object == nullptr || gIndexes->elements.emplace(object, Place{index, slot}).second;
}

void BuildIndex(const ListKey &key, SearchedList *list, const GValueArray *array) {
    if (!std::exchange(gIndexes->isObserving, true))
        SchemaEngine_Observe(OnStore);
    auto index = std::make_unique<Index>();
    index->keys.Reserve(array->n_values);
    index->objects.reserve(array->n_values);
    gIndexes->elements.reserve(gIndexes->elements.size() + array->n_values);
    const std::span elements(array->values, array->n_values);
    list->isPossible = std::ranges::all_of(
        elements, [&](const GValue &element) { return AddElement(index.get(), &element); });
    list->index = std::move(index);
    if (!list->isPossible)
        EndIndex(key, list);
}

void ReadChangedKeys(Index *index) {
    for (guint32 slot : std::exchange(index->withOtherKey, {})) {
        if (index->objects[slot] == nullptr)
            continue;
        ScopedValue element(G_TYPE_OBJECT);
        g_value_set_object(&element.value, index->objects[slot]);
        index->keys.Replace(slot, OrvaneUpdateIndex_KeyOf(&element.value));
    }
}

SearchedList *Find(GObject *object, const SchemaField *field) {
    if (gIndexes == nullptr)
        return nullptr;
    const auto found = gIndexes->lists.find({object, field});
    return found != gIndexes->lists.end() && found->second.index != nullptr ? &found->second
                                                                            : nullptr;
}

void OnRead(GObject *object, const SchemaField *field) {
    if (SearchedList *list = Find(object, field))
        Close({object, field}, list->index.get());
}

std::optional<UpdateKey> KeyOfText(const char *text) {
    return text != nullptr ? std::optional(UpdateKey{true, 0, text}) : std::nullopt;
}

std::optional<UpdateKey> KeyOfValue(const GValue *value) {
    if (G_VALUE_HOLDS_STRING(value))
        return KeyOfText(g_value_get_string(value));
    const std::optional<gint64> number = OrvaneUpdatePath_Integer(value);
    return number.has_value() ? std::optional(UpdateKey{false, *number, {}}) : std::nullopt;
}

} // namespace

UpdateIndexScope::UpdateIndexScope() {
    if (gIndexes == nullptr)
        gIndexes = new Indexes;
    gIndexes->numScopes++;
}

UpdateIndexScope::~UpdateIndexScope() {
    if (--gIndexes->numScopes > 0)
        return;
    for (auto &[key, list] : gIndexes->lists) {
        if (list.index != nullptr)
            Close(key, list.index.get());
    }
    if (gIndexes->isObserving)
        SchemaEngine_Observe(nullptr);
    if (gIndexes->isObservingReads)
        SchemaEngine_ObserveReads(nullptr);
    delete std::exchange(gIndexes, nullptr);
}

const UpdateKeys *OrvaneUpdateIndex_Search(GObject *object, const SchemaField *field,
                                           const GValueArray *array) {
    /* a list that has become short keeps its index, since it may have empty places */
    if (gIndexes == nullptr || (array->n_values < kMinLength && Find(object, field) == nullptr))
        return nullptr;
    SearchedList &list = gIndexes->lists[{object, field}];
    list.numSearches++;
    if (list.index == nullptr && list.isPossible && list.numSearches > kFreeSearches)
        BuildIndex({object, field}, &list, array);
    if (list.index == nullptr)
        return nullptr;
    ReadChangedKeys(list.index.get());
    return &list.index->keys;
}

void OrvaneUpdateIndex_NoteAdded(GObject *object, const SchemaField *field,
                                 const GValueArray *array) {
    SearchedList *list = Find(object, field);
    if (list == nullptr)
        return;
    list->isPossible = AddElement(list->index.get(), &array->values[array->n_values - 1]);
    if (!list->isPossible)
        EndIndex({object, field}, list);
}

void OrvaneUpdateIndex_Remove(GObject *object, const SchemaField *field, guint position) {
    const auto [elements, types] = ListIn(object, field);
    SearchedList *list = Find(object, field);
    if (list == nullptr) {
        if (types != nullptr)
            g_array_remove_index(types, position);
        g_value_array_remove(elements, position);
        return;
    }
    if (!std::exchange(gIndexes->isObservingReads, true))
        SchemaEngine_ObserveReads(OnRead);
    Index *index = list->index.get();
    const guint32 slot = index->keys.Drop(position);
    gIndexes->elements.erase(std::exchange(index->objects[slot], nullptr));
    ScopedValue removed;
    std::swap(removed.value, elements->values[position]);
    const guint numEmpty = index->keys.NumDropped();
    const guint numLeft = index->keys.Count() - numEmpty;
    if (numEmpty >= std::max(numLeft, kMinLength) || numLeft == 0)
        Close({object, field}, index);
}

guint OrvaneUpdateIndex_First(GObject *object, const SchemaField *field) {
    const SearchedList *list = Find(object, field);
    return list != nullptr ? list->index->keys.First() : 0;
}

bool OrvaneUpdateIndex_IsPlain(const GValue *element) {
    GObject *object = MOMgrGetObject(element, G_TYPE_OBJECT);
    if (object == nullptr)
        return true;
    const SchemaClass *schema = SchemaClass_Get(G_OBJECT_GET_CLASS(object));
    return schema != nullptr && schema->type == G_OBJECT_TYPE(object);
}

std::optional<UpdateKey> OrvaneUpdateIndex_KeyOf(const GValue *element) {
    if (!G_IS_VALUE(element))
        return std::nullopt;
    if (!G_VALUE_HOLDS_OBJECT(element))
        return KeyOfValue(element);
    GObject *object = MOMgrGetObject(element, G_TYPE_OBJECT);
    if (object == nullptr)
        return std::nullopt;
    const SchemaField *field = SchemaClass_FindFieldByName(object, "key");
    if (field != nullptr && field->pspec->value_type == G_TYPE_STRING)
        return KeyOfText(*SchemaField_In<char *>(object, field));
    ScopedValue key;
    return OrvaneUpdatePath_GetProperty(object, "key", &key.value) ? KeyOfValue(&key.value)
                                                                   : std::nullopt;
}
