/*
 * nameSlots.h -- finds a name in a list that does not change, by its hash, in slots that may be constant data
 *
 *   const auto nameAt = [&](gsize i) { return list[i].name; };     // const char *
 *   std::vector<guint16> slots(NameSlots_Count(list.size()));
 *   NameSlots_Insert(slots, i, nameAt);                            // each name of the list, in order
 *   gint at = NameSlots_Find(slots, "overallStatus", nameAt);      // -1 if no such name was inserted
 *
 * A slot is 0 or an index plus 1. A name has the first free slot from the one that its hash selects.
 *
 * Errors:  of equal names, the first is found. A list may have 65,534 names.
 * Threads: NameSlots_Find() may be called from any thread.
 */
#pragma once

#include <bit>
#include <cstring>
#include <span>
#include <string_view>

#include <glib.h>

/* How many slots a list needs: a power of two, and more than twice as many as there are names. */
constexpr gsize NameSlots_Count(gsize numNames) {
    return std::bit_ceil(numNames * 2 + 1);
}

/* The slot that a name's hash selects. */
constexpr gsize NameSlots_First(gsize numSlots, std::string_view name) {
    guint32 hash = 2166136261u;
    for (char c : name)
        hash = (hash ^ static_cast<guchar>(c)) * 16777619u;
    return (hash ^ (hash >> 15)) & (numSlots - 1);
}

template <class NameAt>
void NameSlots_Insert(std::span<guint16> slots, gsize index, const NameAt &nameAt) {
    gsize at = NameSlots_First(slots.size(), nameAt(index));
    while (slots[at] != 0)
        at = (at + 1) & (slots.size() - 1);
    slots[at] = static_cast<guint16>(index + 1);
}

template <class NameAt>
gint NameSlots_Find(std::span<const guint16> slots, std::string_view name, const NameAt &nameAt) {
    for (gsize at = NameSlots_First(slots.size(), name); slots[at] != 0;
         at = (at + 1) & (slots.size() - 1)) {
        const char *found = nameAt(slots[at] - 1u);
        if (std::strncmp(found, name.data(), name.size()) == 0 && found[name.size()] == '\0')
            return slots[at] - 1;
    }
    return -1;
}
