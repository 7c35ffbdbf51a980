#include "ozy/lib/orvane/updates/orvaneUpdateKeys.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "lib/misc/keyedHash.h"

namespace {

/* The lowest bit that is set: how many slots a node of the tree counts. */
gsize LowestBit(gsize node) {
    return node & (~node + 1);
}

} // namespace

size_t UpdateKeys::Hash::operator()(const UpdateKeyView &key) const {
    return key.isText ? KeyedHash_Compute(key.text.data(), key.text.size())
                      : KeyedHash_Compute(&key.number, sizeof key.number);
}

void UpdateKeys::Insert(guint32 slot, UpdateKey key) {
    const auto [entry, isNew] = byKey.try_emplace(std::move(key));
    Slots &slots = entry->second;
    keys[slot] = &*entry;
    if (isNew)
        slots.first = slot;
    else
        slots.others.insert(slot < slots.first ? std::exchange(slots.first, slot) : slot);
}

void UpdateKeys::Erase(guint32 slot) {
    ByKey::value_type *entry = std::exchange(keys[slot], nullptr);
    if (entry == nullptr)
        return;
    auto &[first, others] = entry->second;
    if (slot != first)
        others.erase(slot);
    else if (others.empty())
        byKey.erase(byKey.find(entry->first));
    else
        first = others.extract(others.begin()).value();
}

void UpdateKeys::Reserve(guint size) {
    byKey.reserve(size);
    keys.reserve(size);
    used.reserve(gsize(size) + 1);
}

guint32 UpdateKeys::Append(std::optional<UpdateKey> key) {
    const auto slot = static_cast<guint32>(keys.size());
    const gsize node = gsize(slot) + 1;
    if (used.empty())
        used.push_back(0);
    guint32 inNode = 1;
    for (gsize at = node - 1; at > node - LowestBit(node); at -= LowestBit(at))
        inNode += used[at];
    used.push_back(inNode);
    keys.push_back(nullptr);
    Replace(slot, std::move(key));
    count++;
    return slot;
}

guint32 UpdateKeys::Remove(guint position) {
    const guint32 slot = SlotAt(position);
    Erase(slot);
    for (gsize node = gsize(slot) + 1; node < used.size(); node += LowestBit(node))
        used[node]--;
    count--;
    return slot;
}

guint32 UpdateKeys::Drop(guint position) {
    const guint32 slot = SlotAt(position);
    Erase(slot);
    dropped.push_back(slot);
    isDropped.resize(std::max(isDropped.size(), gsize(slot) + 1));
    isDropped[slot] = true;
    const auto isGone = [this](guint32 of) { return of < isDropped.size() && isDropped[of]; };
    while (firstLeft < count && isGone(SlotAt(firstLeft)))
        firstLeft++;
    return slot;
}

std::vector<guint> UpdateKeys::TakeDropped() {
    std::vector<guint> positions;
    positions.reserve(dropped.size());
    std::ranges::sort(dropped);
    for (guint32 slot : std::exchange(dropped, {}))
        positions.push_back(PositionOf(slot));
    for (gsize i = positions.size(); i > 0; i--)
        Remove(positions[i - 1]);
    firstLeft = 0;
    return positions;
}

void UpdateKeys::Replace(guint32 slot, std::optional<UpdateKey> key) {
    Erase(slot);
    if (key.has_value())
        Insert(slot, *std::move(key));
}

gint UpdateKeys::Find(const UpdateKeyView &key) const {
    const auto found = byKey.find(key);
    return found != byKey.end() ? static_cast<gint>(PositionOf(found->second.first)) : -1;
}

guint UpdateKeys::CountOf(const UpdateKeyView &key) const {
    const auto found = byKey.find(key);
    if (found == byKey.end())
        return 0;
    return found->second.others.empty() ? 1 : 2;
}

guint32 UpdateKeys::SlotAt(guint position) const {
    gsize node = 0;
    guint left = position;
    for (gsize step = std::bit_floor(used.size()); step > 0; step /= 2) {
        if (node + step < used.size() && used[node + step] <= left) {
            node += step;
            left -= used[node];
        }
    }
    return static_cast<guint32>(node);
}

guint UpdateKeys::PositionOf(guint32 slot) const {
    guint position = 0;
    for (gsize node = slot; node > 0; node -= LowestBit(node))
        position += used[node];
    return position;
}
