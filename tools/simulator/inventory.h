/*
 * inventory.h -- the managed objects of a service, and a journal of their changes
 *
 * Every change has a number, in ascending order. A client that has the state at number n gets the changes after
 * n. Each has the property's earlier value, so that several changes can be combined into one difference.
 *
 * Ownership: an object exists after Remove() as long as it is referenced; `gone` is set then.
 */
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tools/simulator/value.h"

namespace simulator {

struct Object {
    std::string id;
    std::string type;
    std::vector<Field> properties;
    uint64_t order = 0; /* ascending in order of creation */
    bool gone = false;

    Value Get(std::string_view name) const; /* null if not set */
    Value Reference() const;
};
using ObjectPtr = std::shared_ptr<Object>;

struct Change {
    uint64_t number;
    ObjectPtr object;
    std::string property; /* empty: the object was created or removed */
    Value before;
};

class Overlay;

class Inventory {
public:
    /* Sets the overlay that completes the properties of objects created afterwards. */
    void Use(const Overlay *given) { overlay = given; }
    /* Throws std::logic_error if there is an object with the id. */
    ObjectPtr Create(const std::string &type, const std::string &id, std::vector<Field> properties);
    ObjectPtr Find(const std::string &id) const; /* null if there is none */
    void Set(const ObjectPtr &object, const std::string &property, const Value &value);
    void Remove(const ObjectPtr &object);
    std::vector<ObjectPtr> OfType(std::string_view type) const; /* in order of creation */
    std::string NextId(const std::string &prefix);              /* "vm-101", "vm-102", ... */
    void StartIdsAt(const std::string &prefix, int number);

    uint64_t LastNumber() const { return lastNumber; }
    uint64_t Tick() { return ++lastNumber; } /* a number for a change outside the inventory */
    /* Returns the changes with greater numbers, oldest first. JournalReaches() must be true for the number. */
    std::span<const Change> Since(uint64_t number) const;
    bool JournalReaches(uint64_t number) const { return number >= forgotten; }
    /* Drops the changes up to a number. */
    void Forget(uint64_t number);
    size_t JournalSize() const { return journal.size() - journalStart; }
    /* Joins the changes of a property between two of these numbers, which must be all that Since() will be
     * called with. The first change is kept, since it has the earlier value. Objects that were created and
     * removed between two numbers are left out. */
    void Join(const std::set<uint64_t> &numbers);

private:
    void RecordChange(const ObjectPtr &object, const std::string &property, const Value &before);

    const Overlay *overlay = nullptr;
    std::unordered_map<std::string, ObjectPtr> objects;
    std::map<uint64_t, ObjectPtr> inOrder;
    std::map<std::string, int> nextIds;
    std::vector<Change> journal;
    size_t journalStart = 0; /* index of the first change that is not dropped */
    uint64_t lastNumber = 0;
    uint64_t forgotten = 0; /* changes up to this number are dropped */
};

} // namespace simulator
