#include "tools/simulator/inventory.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "tools/simulator/overlay.h"

namespace simulator {

namespace {

/* Limits the journal, whatever sessions have not read. */
constexpr size_t kMaxJournal = 1000000;

} // namespace

Value Object::Get(std::string_view name) const {
    const auto at = std::ranges::find(properties, name, &Field::name);
    return at == properties.end() ? nullptr : at->value;
}

Value Object::Reference() const {
    return simulator::Reference(type, id);
}

ObjectPtr Inventory::Create(const std::string &type, const std::string &id,
                            std::vector<Field> properties) {
    auto object = std::make_shared<Object>();
    object->id = id;
    object->type = type;
    std::erase_if(properties, [](const Field &field) { return !field.value; });
    if (overlay)
        overlay->Complete(type, id, properties);
    object->properties = std::move(properties);
    if (!objects.emplace(id, object).second)
        throw std::logic_error("two objects of the id " + id);
    RecordChange(object, "", nullptr);
    object->order = lastNumber;
    inOrder.emplace(object->order, object);
    return object;
}

ObjectPtr Inventory::Find(const std::string &id) const {
    const auto at = objects.find(id);
    return at == objects.end() ? nullptr : at->second;
}

void Inventory::Set(const ObjectPtr &object, const std::string &property, const Value &value) {
    const auto at = std::ranges::find(object->properties, property, &Field::name);
    const bool isSet = at != object->properties.end();
    const Value before = isSet ? at->value : nullptr;
    if (Equal(before, value))
        return;
    if (!value)
        object->properties.erase(at);
    else if (isSet)
        at->value = value;
    else
        object->properties.push_back({property, value});
    RecordChange(object, property, before);
}

void Inventory::Remove(const ObjectPtr &object) {
    if (object->gone)
        return;
    object->gone = true;
    objects.erase(object->id);
    inOrder.erase(object->order);
    RecordChange(object, "", nullptr);
}

std::vector<ObjectPtr> Inventory::OfType(std::string_view type) const {
    std::vector<ObjectPtr> found;
    for (const auto &[order, object] : inOrder)
        if (object->type == type)
            found.push_back(object);
    return found;
}

std::string Inventory::NextId(const std::string &prefix) {
    int &next = nextIds.try_emplace(prefix, 1).first->second;
    return prefix + std::to_string(next++);
}

void Inventory::StartIdsAt(const std::string &prefix, int number) {
    nextIds[prefix] = number;
}

std::span<const Change> Inventory::Since(uint64_t number) const {
    const auto first = std::upper_bound(
        journal.begin() + static_cast<std::ptrdiff_t>(journalStart), journal.end(), number,
        [](uint64_t wanted, const Change &change) { return wanted < change.number; });
    return {first, journal.end()};
}

void Inventory::Forget(uint64_t number) {
    if (number <= forgotten)
        return;
    forgotten = number;
    while (journalStart < journal.size() && journal[journalStart].number <= number)
        journalStart++;
    if (journalStart < 1000 || journalStart < journal.size() / 2)
        return;
    journal.erase(journal.begin(), journal.begin() + static_cast<std::ptrdiff_t>(journalStart));
    journalStart = 0;
}

void Inventory::Join(const std::set<uint64_t> &numbers) {
    std::vector<Change> joined;
    std::set<std::pair<const Object *, std::string_view>> known; /* since the last of the numbers */
    uint64_t since = forgotten;
    auto next = numbers.upper_bound(forgotten);
    for (size_t i = journalStart; i < journal.size(); i++) {
        const Change &change = journal[i];
        for (; next != numbers.end() && *next < change.number; ++next) {
            since = *next;
            known.clear();
        }
        const Object &object = *change.object;
        const bool isShortLived = object.gone && object.order > since;
        if (!isShortLived && known.emplace(&object, change.property).second)
            joined.push_back(change);
    }
    journal = std::move(joined);
    journalStart = 0;
}

void Inventory::RecordChange(const ObjectPtr &object, const std::string &property,
                             const Value &before) {
    journal.push_back({++lastNumber, object, property, before});
    if (journal.size() - journalStart > kMaxJournal)
        Forget(journal[journalStart + kMaxJournal / 2].number);
}

} // namespace simulator
