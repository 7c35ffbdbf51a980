// One poll(2) per look for work. Callbacks run in rounds, so that one that is always ready cannot
// starve the others: what ran or was registered in this round waits for the next.
#include "tests/support/testLoop.h"

#include <algorithm>
#include <climits>
#include <ctime>
#include <map>
#include <utility>

#include <poll.h>

namespace {

using testLoop::Registration;

struct Entry {
    Registration what;
    uint64_t id;
    gint64 due; /* of a timer, on the loop's clock */
    uint64_t round;
};

struct WatchEntry {
    short events;
    std::function<void(short)> function;
    uint64_t id;
};

struct Loop {
    std::vector<Entry> entries; /* in order of registration */
    std::map<int, WatchEntry> watches;
    std::function<int()> idle;
    std::function<void(uint64_t)> beforeStep;
    gint64 offset = 0;
    uint64_t nextId = 1;
    uint64_t round = 0;
    uint64_t numSteps = 0;
    int numMissed = 0;
    bool isRefusing = false;
};

enum class Done { kNothing, kWatch, kStep };

constexpr int kForever = -1;
constexpr int kSettleMs = 4;
constexpr gint64 kSettleLimitUs = 10000000;
constexpr int kProcessorShare =
    10; /* how much more processor time than time without an event is allowed */

Loop &TheLoop() {
    static Loop loop;
    return loop;
}

gint64 RealNow() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return gint64(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

/* Processor time of this thread, which the load of the machine does not change. */
gint64 ProcessorNow() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return gint64(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

gint64 Now() {
    return RealNow() + TheLoop().offset;
}

bool IsTimer(const Entry &entry) {
    return entry.what.eventType == POLL_REALTIME;
}

int ShorterWait(int left, int right) {
    if (left == kForever || right == kForever)
        return std::max(left, right);
    return std::min(left, right);
}

/* Milliseconds until the next timer is due, rounded up. */
int TimerWait() {
    int wait = kForever;
    for (const Entry &entry : TheLoop().entries) {
        if (!IsTimer(entry))
            continue;
        const gint64 left = std::clamp<gint64>(entry.due - Now(), 0, gint64(INT_MAX) * 1000 - 999);
        wait = ShorterWait(wait, int((left + 999) / 1000));
    }
    return wait;
}

short WantedEvents(const Entry &entry) {
    return short(((entry.what.flags & POLL_FLAG_READ) ? POLLIN : 0) |
                 ((entry.what.flags & POLL_FLAG_WRITE) ? POLLOUT : 0));
}

/* What one poll(2) has seen. */
struct Seen {
    std::vector<uint64_t> ready; /* registrations of the library */
    std::vector<std::pair<int, std::pair<uint64_t, short>>> watches;
};

Seen Look(int wait) {
    Loop &loop = TheLoop();
    std::vector<pollfd> descriptors;
    std::vector<uint64_t> ids;
    for (const Entry &entry : loop.entries) {
        if (IsTimer(entry))
            continue;
        descriptors.push_back({int(entry.what.info), WantedEvents(entry), 0});
        ids.push_back(entry.id);
    }
    const size_t numDevices = ids.size();
    for (const auto &[descriptor, watch] : loop.watches) {
        descriptors.push_back({descriptor, watch.events, 0});
        ids.push_back(watch.id);
    }

    Seen seen;
    if (poll(descriptors.data(), descriptors.size(), wait) <= 0)
        return seen;
    for (size_t i = 0; i < descriptors.size(); i++) {
        const auto &[descriptor, events, happened] = descriptors[i];
        if (happened == 0)
            continue;
        if (i < numDevices)
            seen.ready.push_back(ids[i]);
        else
            seen.watches.push_back({descriptor, {ids[i], happened}});
    }
    return seen;
}

bool RunWatches(const Seen &seen) {
    Loop &loop = TheLoop();
    bool ran = false;
    for (const auto &[descriptor, what] : seen.watches) {
        const auto found = loop.watches.find(descriptor);
        if (found == loop.watches.end() || found->second.id != what.first)
            continue; /* taken away by one before it */
        const auto function = found->second.function;
        function(what.second);
        ran = true;
    }
    return ran;
}

/* The next of the library's callbacks in this round: due timers first, then ready descriptors. */
const Entry *NextInRound(const std::vector<uint64_t> &ready) {
    const Loop &loop = TheLoop();
    const gint64 now = Now();
    const Entry *timer = nullptr;
    const Entry *device = nullptr;
    for (const Entry &entry : loop.entries) {
        if (entry.round == loop.round)
            continue;
        if (IsTimer(entry)) {
            if (entry.due <= now && (!timer || entry.due < timer->due))
                timer = &entry;
        } else if (!device && std::ranges::find(ready, entry.id) != ready.end()) {
            device = &entry;
        }
    }
    return timer ? timer : device;
}

Entry *FindById(uint64_t id) {
    const auto found = std::ranges::find(TheLoop().entries, id, &Entry::id);
    return found == TheLoop().entries.end() ? nullptr : &*found;
}

bool RunOne(const std::vector<uint64_t> &ready) {
    Loop &loop = TheLoop();
    const Entry *next = NextInRound(ready);
    if (!next) {
        loop.round++;
        next = NextInRound(ready);
    }
    if (!next)
        return false;

    const uint64_t id = next->id;
    const uint64_t number = loop.numSteps++;
    if (const auto beforeStep = loop.beforeStep)
        beforeStep(number);
    Entry *entry = FindById(id);
    if (!entry)
        return true; /* the hook took it away */

    const Registration what = entry->what;
    entry->round = loop.round;
    if (!(what.flags & POLL_FLAG_PERIODIC))
        loop.entries.erase(loop.entries.begin() + (entry - loop.entries.data()));
    else if (IsTimer(*entry))
        entry->due = Now() + what.info;
    what.function(what.clientData);
    return true;
}

/* Looks for work once, waiting at most so long. */
Done RunOnce(int waitMs) {
    Loop &loop = TheLoop();
    if (const auto idle = loop.idle)
        waitMs = ShorterWait(waitMs, idle());
    const Seen seen = Look(ShorterWait(waitMs, TimerWait()));
    const bool ranWatch = RunWatches(seen);
    if (RunOne(seen.ready))
        return Done::kStep;
    return ranWatch ? Done::kWatch : Done::kNothing;
}

bool CanHappenMore() {
    const Loop &loop = TheLoop();
    return !loop.entries.empty() || !loop.watches.empty() || loop.idle;
}

int MsUntil(gint64 realEnd) {
    return int(std::max<gint64>(0, (realEnd - RealNow() + 999) / 1000));
}

} // namespace

gint testLoop::Callback(gint flags, OrvanePollFunction function, gpointer clientData,
                        gint eventType, gint64 info, gpointer, PollClassSet) {
    Loop &loop = TheLoop();
    if (loop.isRefusing) {
        loop.numMissed--; /* its removal */
        return 1;
    }
    const gint64 due = eventType == POLL_REALTIME ? Now() + info : 0;
    loop.entries.push_back(
        {{flags, function, clientData, eventType, info}, loop.nextId++, due, loop.round});
    return 0;
}

gint testLoop::CallbackRemove(gint flags, OrvanePollFunction function, gpointer clientData,
                              gint eventType, PollClassSet) {
    auto &entries = TheLoop().entries;
    const auto found = std::ranges::find_if(entries, [&](const Entry &entry) {
        return entry.what.flags == flags && entry.what.function == function &&
               entry.what.clientData == clientData && entry.what.eventType == eventType;
    });
    if (found == entries.end())
        return ++TheLoop().numMissed;
    entries.erase(found);
    return 0;
}

int testLoop::NumMissed() {
    return TheLoop().numMissed;
}

void testLoop::Reset() {
    Loop &loop = TheLoop();
    loop.entries.clear();
    loop.beforeStep = nullptr;
    loop.offset = 0;
    loop.numSteps = 0;
    loop.numMissed = 0;
    loop.isRefusing = false;
}

bool testLoop::RunUntil(const std::function<bool()> &condition, int limitMs) {
    const gint64 limit = gint64(limitMs) * 1000;
    const gint64 processorEnd = ProcessorNow() + kProcessorShare * limit;
    gint64 quietEnd = RealNow() + limit;
    while (!condition()) {
        if (RealNow() >= quietEnd || ProcessorNow() >= processorEnd || !CanHappenMore())
            return false;
        if (RunOnce(MsUntil(quietEnd)) != Done::kNothing)
            quietEnd = RealNow() + limit;
    }
    return true;
}

void testLoop::Settle() {
    const gint64 processorEnd = ProcessorNow() + kSettleLimitUs;
    gint64 quietEnd = RealNow() + kSettleMs * 1000;
    while (ProcessorNow() < processorEnd) {
        if (RunOnce(MsUntil(quietEnd)) != Done::kNothing)
            quietEnd = RealNow() + kSettleMs * 1000;
        else if (RealNow() >= quietEnd)
            return;
    }
}

bool testLoop::Step(int limitMs) {
    const gint64 end = RealNow() + gint64(limitMs) * 1000;
    do {
        if (RunOnce(MsUntil(end)) == Done::kStep)
            return true;
    } while (RealNow() < end && CanHappenMore());
    return false;
}

void testLoop::Advance(gint64 microseconds) {
    TheLoop().offset += microseconds;
}

uint64_t testLoop::NumSteps() {
    return TheLoop().numSteps;
}

void testLoop::SetBeforeStep(std::function<void(uint64_t)> function) {
    TheLoop().beforeStep = std::move(function);
}

std::vector<testLoop::Registration> testLoop::Registrations() {
    std::vector<Registration> all;
    for (const Entry &entry : TheLoop().entries)
        all.push_back(entry.what);
    return all;
}

void testLoop::SetRefusing(bool refusing) {
    TheLoop().isRefusing = refusing;
}

void testLoop::Watch(int descriptor, short events, std::function<void(short)> function) {
    Loop &loop = TheLoop();
    loop.watches[descriptor] = {events, std::move(function), loop.nextId++};
}

void testLoop::Unwatch(int descriptor) {
    TheLoop().watches.erase(descriptor);
}

void testLoop::SetIdle(std::function<int()> function) {
    TheLoop().idle = std::move(function);
}
