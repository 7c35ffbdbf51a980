/*
 * nameIndex.h -- finds a name in a list that does not change, by a hash
 *
 *   const auto nameAt = [&](gsize i) { return list[i].name; };     // const char *
 *   NameIndex index(list.size(), nameAt);
 *   gint at = index.Find("overallStatus", nameAt);                 // -1 if the list has no such name
 *
 * Errors:  of equal names, the first is found. A list may have 65,534 names.
 * Threads: Find() may be called from any thread.
 */
#pragma once

#include <vector>

#include "ozy/lib/schemaRows/nameSlots.h"

class NameIndex {
public:
    NameIndex() = default;

    template <class NameAt> NameIndex(gsize count, const NameAt &nameAt)
        : slots(NameSlots_Count(count)) {
        for (gsize i = 0; i < count; i++)
            NameSlots_Insert(slots, i, nameAt);
    }

    template <class NameAt> gint Find(std::string_view name, const NameAt &nameAt) const {
        return NameSlots_Find(slots, name, nameAt);
    }

private:
    std::vector<guint16> slots = {0};
};
