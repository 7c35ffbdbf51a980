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

#include <bit>
#include <cstring>
#include <string_view>
#include <vector>

#include <glib.h>

class NameIndex {
public:
    NameIndex() = default;

    template <class NameAt> NameIndex(gsize count, const NameAt &nameAt) {
        slots.assign(std::bit_ceil(count * 2 + 1), 0);
        for (gsize i = 0; i < count; i++) {
            gsize at = First(nameAt(i));
            while (slots[at] != 0)
                at = Next(at);
            slots[at] = static_cast<guint16>(i + 1);
        }
    }

    template <class NameAt> gint Find(std::string_view name, const NameAt &nameAt) const {
        for (gsize at = First(name); slots[at] != 0; at = Next(at)) {
            const char *found = nameAt(slots[at] - 1u);
            if (std::strncmp(found, name.data(), name.size()) == 0 && found[name.size()] == '\0')
                return slots[at] - 1;
        }
        return -1;
    }

private:
    gsize First(std::string_view name) const {
        guint32 hash = 2166136261u;
        for (char c : name)
            hash = (hash ^ static_cast<guchar>(c)) * 16777619u;
        return (hash ^ (hash >> 15)) & (slots.size() - 1);
    }
    gsize Next(gsize at) const { return (at + 1) & (slots.size() - 1); }

    std::vector<guint16> slots = {0}; /* index plus 1; the size is a power of two */
};
