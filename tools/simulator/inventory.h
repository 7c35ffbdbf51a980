/*
 * inventory.h -- the managed objects of a service, and a journal of what changed
 *
 * Every change has a number, which only grows. Whoever was shown the state at number n asks for the
 * changes after n; each tells the property's value before, so that any number of them melt into one
 * difference between then and now.
 *
 * Ownership: an object lives on after Remove() while somebody holds it; `gone` then says so.
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
    uint64_t order = 0; /* grows from object to object */
    bool gone = false;

    Value Get(std::string_view name) const; /* null if not set */
    Value Reference() const;
};
using ObjectPtr = std::shared_ptr<Object>;

struct Change {
    uint64_t number;
    ObjectPtr object;
    std::string property; /* empty: the object came or went */
    Value before;
};

class Overlay;

class Inventory {
public:
    /* Completes the properties of objects that are created from then on. */
    void Use(const Overlay *given) { overlay = given; }
    /* Ids are unique; a second object of the same id is a mistake of the caller. */
    ObjectPtr Create(const std::string &type, const std::string &id, std::vector<Field> properties);
    ObjectPtr Find(const std::string &id) const; /* null if there is none */
    void Set(const ObjectPtr &object, const std::string &property, const Value &value);
    void Remove(const ObjectPtr &object);
    std::vector<ObjectPtr> OfType(std::string_view type) const; /* in order of creation */
    std::string NextId(const std::string &prefix);              /* "vm-101", "vm-102", ... */
    void StartIdsAt(const std::string &prefix, int number);

    uint64_t LastNumber() const { return lastNumber; }
    uint64_t Tick() { return ++lastNumber; } /* a number for a change that is no object's */
    /* The changes with greater numbers, oldest first; only asked for what JournalReaches(). */
    std::span<const Change> Since(uint64_t number) const;
    bool JournalReaches(uint64_t number) const { return number >= forgotten; }
    /* Nobody will ask for changes before this one any more. */
    void Forget(uint64_t number);
    size_t JournalSize() const { return journal.size() - journalStart; }
    /* Joins the changes of a property between two of these numbers, which are all that anybody will ask from:
     * only the first change counts there, since it tells the value before. Objects that came and went between
     * two numbers are left out. */
    void Join(const std::set<uint64_t> &numbers);

private:
    void Note(const ObjectPtr &object, const std::string &property, const Value &before);

    const Overlay *overlay = nullptr;
    std::unordered_map<std::string, ObjectPtr> objects;
    std::map<uint64_t, ObjectPtr> inOrder;
    std::map<std::string, int> nextIds;
    std::vector<Change> journal;
    size_t journalStart = 0; /* what stands before it is forgotten, but not yet erased */
    uint64_t lastNumber = 0;
    uint64_t forgotten = 0; /* changes up to this number are no longer told */
};

} // namespace simulator
