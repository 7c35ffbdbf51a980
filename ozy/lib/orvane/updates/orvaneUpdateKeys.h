/*
 * orvaneUpdateKeys.h -- the keys of a list's elements, ordered, so that the first element with a key is found without a walk
 *
 *   position   0    1    2    3
 *   key        "a"  7    -    "a"          Find("a") is 0; after Remove(0) it is 2
 *
 * Each element gets a slot when it is appended, and keeps it when others are removed. A position is the number of slots in
 * front that are in use, which a Fenwick tree counts. All operations take a time in proportion to the logarithm of the count.
 *
 * Errors:  a position or slot that does not exist is a broken program.
 * Threads: no state but the object's.
 */
#pragma once

#include <compare>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <glib.h>

/* A text or an integer. */
struct UpdateKey {
    bool isText;
    gint64 number;    /* 0 for a text */
    std::string text; /* empty for a number */

    auto operator<=>(const UpdateKey &) const = default;
};

class UpdateKeys {
public:
    UpdateKeys() = default;
    UpdateKeys(const UpdateKeys &) = delete;
    UpdateKeys &operator=(const UpdateKeys &) = delete;

    guint Count() const { return count; }
    /* Adds an element, which may have no key, at the end. Returns its slot. */
    guint32 Append(std::optional<UpdateKey> key);
    void Remove(guint position);
    /* Gives an element another key. */
    void Replace(guint32 slot, std::optional<UpdateKey> key);
    /* Position of the first element with the key; -1 if there is none. */
    gint Find(const UpdateKey &key) const;
    /* How many elements have the key: none, 1, or 2 for more. */
    guint CountOf(const UpdateKey &key) const;
    guint32 SlotAt(guint position) const;
    guint PositionOf(guint32 slot) const;

private:
    struct Order {
        using is_transparent = void;
        const std::vector<std::optional<UpdateKey>> *keys;
        bool operator()(guint32 a, guint32 b) const;
        bool operator()(guint32 slot, const UpdateKey &key) const;
        bool operator()(const UpdateKey &key, guint32 slot) const;
    };

    guint count = 0;
    std::vector<std::optional<UpdateKey>> keys; /* by slot */
    std::vector<guint32> used;                  /* Fenwick tree; the one of slot i is at i + 1 */
    std::set<guint32, Order> byKey{Order{&keys}};
};
