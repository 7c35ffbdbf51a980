#include "ozy/lib/orvane/updates/orvaneUpdateKeys.h"

#include <bit>
#include <utility>

namespace {

/* The lowest bit that is set: how many slots a node of the tree counts. */
gsize LowestBit(gsize node) {
    return node & (~node + 1);
}

} // namespace

bool UpdateKeys::Order::operator()(guint32 a, guint32 b) const {
    const auto order = *(*keys)[a] <=> *(*keys)[b];
    return order == 0 ? a < b : order < 0;
}

bool UpdateKeys::Order::operator()(guint32 slot, const UpdateKey &key) const {
    return *(*keys)[slot] < key;
}

bool UpdateKeys::Order::operator()(const UpdateKey &key, guint32 slot) const {
    return key < *(*keys)[slot];
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
    keys.push_back(std::move(key));
    if (keys.back().has_value())
        byKey.insert(slot);
    count++;
    return slot;
}

void UpdateKeys::Remove(guint position) {
    const guint32 slot = SlotAt(position);
    Replace(slot, std::nullopt);
    for (gsize node = gsize(slot) + 1; node < used.size(); node += LowestBit(node))
        used[node]--;
    count--;
}

void UpdateKeys::Replace(guint32 slot, std::optional<UpdateKey> key) {
    if (keys[slot].has_value())
        byKey.erase(slot);
    keys[slot] = std::move(key);
    if (keys[slot].has_value())
        byKey.insert(slot);
}

gint UpdateKeys::Find(const UpdateKey &key) const {
    const auto first = byKey.lower_bound(key);
    return first != byKey.end() && keys[*first] == key ? static_cast<gint>(PositionOf(*first)) : -1;
}

guint UpdateKeys::CountOf(const UpdateKey &key) const {
    guint number = 0;
    for (auto at = byKey.lower_bound(key); number < 2 && at != byKey.end() && keys[*at] == key;
         at++)
        number++;
    return number;
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
