/*
 * collector.h -- property collectors: filters, changes since a version, and long polls
 *
 * A version is the name of a change's number in the inventory's journal. The reply with the changes since a
 * version is made from the journal each time, so a client may send the same version again and gets the same
 * changes and later ones. Once a client has sent a version, earlier ones are no longer valid.
 *
 *   object enters a filter -> "enter" with all values;  changes -> "modify";  leaves it -> "leave"
 *
 * If maxObjectUpdates cut a reply short, the rest is kept with its version.
 */
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/simulator/clock.h"
#include "tools/simulator/filterSpec.h"
#include "tools/simulator/sessions.h"

namespace simulator {

class Service;
struct Call;
using CallPtr = std::shared_ptr<Call>;

/* Id of the collector that every session has; others get generated ids. */
constexpr char kPropertyCollectorId[] = "propertyCollector";

struct Filter {
    struct Member {
        ObjectPtr object;
        uint64_t since; /* number of the change with which it became a member */
    };
    struct Departure {
        Value reference;
        uint64_t since;
        uint64_t left;
    };

    ObjectPtr self; /* the filter as an object of the inventory */
    FilterSpec spec;
    bool partialUpdates = false;
    std::vector<Member> members;
    std::unordered_map<const Object *, size_t> places; /* of the members */
    std::vector<Departure> departures;
    std::unordered_set<const Object *> visited;
    std::vector<Value> missing;       /* starting points that did not exist */
    std::vector<const Object *> keys; /* its keys in Collector::fixed */
    uint64_t created = 0;
    uint64_t lastEnter = 0;
    uint64_t checkedTo = 0; /* number of the last change that the members reflect */
};

/* The updates of one filter as text, one for each object. */
struct FilterUpdate {
    Value filter;
    std::vector<std::string> objects;
    std::string missing;
};

/* An object and earlier values of some of its properties. */
struct OldValues {
    ObjectPtr object;
    std::vector<Field> properties;
};

struct Collector {
    struct Version {
        uint64_t number = 0;
        std::vector<FilterUpdate> rest;
    };
    struct Retrieval {
        std::vector<std::string> rest; /* object contents */
        size_t maxObjects = 0;
    };

    ObjectPtr self;
    SessionPtr owner;
    std::vector<std::unique_ptr<Filter>> filters; /* in order of creation */
    std::vector<Filter *> traversing; /* filters with traversals, whose members change */
    std::unordered_map<const Object *, std::vector<Filter *>>
        fixed; /* the other filters, by member */
    std::map<uint64_t, Version> versions;
    uint64_t lastVersion = 0;
    std::map<uint64_t, Retrieval> retrievals; /* by token */
};

class Collectors {
public:
    explicit Collectors(Service &service);
    ~Collectors();

    /* Returns the collector of a call's target. That of another session counts as unknown. */
    Collector &Of(const Call &call);
    Collector &Create(const SessionPtr &session);
    void Destroy(Collector &collector);

    Filter &CreateFilter(Collector &collector, const Element &spec, bool partialUpdates);
    void DestroyFilter(const Call &call);

    /* Returns the update set since a version; nothing if nothing changed. */
    std::optional<std::string> Updates(Collector &collector, const std::string &version,
                                       size_t maxObjects);
    /* Answers the call once there are updates or the time is over; -1 for no limit. */
    void Wait(Collector &collector, const CallPtr &call, const std::string &version,
              size_t maxObjects, int64_t limitMs);
    void CancelWaits(const Collector &collector, const Fault &fault);

    /* Returns a text for each object of the filter specs. */
    std::vector<std::string> Contents(const std::vector<const Element *> &specs,
                                      const SessionPtr &session);

    void EndSession(const SessionPtr &session);
    void Settle();
    int NumFilters() const;
    int NumWaiting() const { return static_cast<int>(waits.size()); }

private:
    struct WaitRow {
        Collector *collector;
        CallPtr call;
        std::string version;
        size_t maxObjects;
        Clock::TimerId timer;
    };

    bool TryAnswer(const WaitRow &wait);
    void EndWait(const CallPtr &call);
    void RefreshMembers(Filter &filter);
    void SetMembers(Filter &filter, const Selection &selection);
    std::vector<FilterUpdate> Changes(Collector &collector, uint64_t since);
    /* Returns the updates of one filter; `changed` are objects with their earlier values. */
    FilterUpdate ChangesOf(const Collector &collector, const Filter &filter, uint64_t since,
                           const std::vector<OldValues> &changed) const;
    std::string ModifyTextOf(const Filter &filter, const OldValues &old) const;
    std::vector<Filter *> ConcernedFilters(const Collector &collector, uint64_t since) const;
    void ForgetJournal();
    void JoinJournal();

    Service &service;
    std::vector<std::unique_ptr<Collector>> collectors;
    std::vector<WaitRow> waits;
    uint64_t settledAt = 0;
    size_t joinAt = 0; /* size of the journal at which it is joined next */
};

} // namespace simulator
