/*
 * orvaneUpdateKeys.h -- the keys of a list's elements, so that the first element with a key is found without a walk
 *
 *   position   0    1    2    3
 *   key        "a"  7    -    "a"          Find("a") is 0; after Remove(0) it is 2
 *
 * Each element gets a slot when it is appended, and keeps it when others are removed. A position is the number of slots in
 * front that are in use, which a Fenwick tree counts. The slots with a key are found by hash. All operations take a time in
 * proportion to the logarithm of the count.
 *
 * Errors:  a position or slot that does not exist is a broken program.
 * Threads: no state but the object's.
 */
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <glib.h>

/* A text or an integer. */
struct UpdateKey {
    bool isText;
    gint64 number;    /* 0 for a text */
    std::string text; /* empty for a number */

    bool operator==(const UpdateKey &) const = default;
};

/* The same where the text is another's. */
struct UpdateKeyView {
    bool isText;
    gint64 number;
    std::string_view text;

    UpdateKeyView(bool hasText, gint64 value, std::string_view view)
        : isText(hasText), number(value), text(view) {}
    UpdateKeyView(const UpdateKey &key) : UpdateKeyView(key.isText, key.number, key.text) {}
    bool operator==(const UpdateKeyView &) const = default;
};

class UpdateKeys {
public:
    UpdateKeys() = default;
    UpdateKeys(const UpdateKeys &) = delete;
    UpdateKeys &operator=(const UpdateKeys &) = delete;

    guint Count() const { return count; }
    /* Makes room for so many elements. */
    void Reserve(guint size);
    /* Adds an element, which may have no key, at the end. Returns its slot. */
    guint32 Append(std::optional<UpdateKey> key);
    /* Returns the slot of the element that was removed. */
    guint32 Remove(guint position);
    /* Gives an element another key. */
    void Replace(guint32 slot, std::optional<UpdateKey> key);
    /* Position of the first element with the key; -1 if there is none. */
    gint Find(const UpdateKeyView &key) const;
    /* How many elements have the key: none, 1, or 2 for more. */
    guint CountOf(const UpdateKeyView &key) const;
    guint32 SlotAt(guint position) const;

    /* Removes an element, but not its place: the positions of the others stay, and Count() still has it. Returns its slot. */
    guint32 Drop(guint position);
    guint NumDropped() const { return static_cast<guint>(dropped.size()); }
    /* Position of the first element that was not dropped; Count() if there is none. */
    guint First() const { return firstLeft; }
    /* Removes the places of the dropped elements. Returns their positions, the lowest first. */
    std::vector<guint> TakeDropped();
    guint PositionOf(guint32 slot) const;

private:
    /* The slots with a key. Few keys have more than one. */
    struct Slots {
        guint32 first;
        std::set<guint32> others; /* behind the first */
    };
    struct Hash {
        using is_transparent = void;
        size_t operator()(const UpdateKeyView &key) const;
    };
    struct Equal {
        using is_transparent = void;
        bool operator()(const UpdateKeyView &a, const UpdateKeyView &b) const { return a == b; }
    };
    using ByKey = std::unordered_map<UpdateKey, Slots, Hash, Equal>;

    void Insert(guint32 slot, UpdateKey key);
    void Erase(guint32 slot);

    guint count = 0;
    ByKey byKey;
    std::vector<ByKey::value_type *> keys; /* by slot; NULL for an element without a key */
    std::vector<guint32> used;             /* Fenwick tree; the one of slot i is at i + 1 */
    std::vector<guint32> dropped;          /* slots */
    std::vector<bool> isDropped;           /* by slot; those behind its end are not */
    guint firstLeft = 0;
};
