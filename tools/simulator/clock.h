/*
 * clock.h -- the simulator's time, and what is to happen at which time
 *
 * The time is the machine's plus what Advance() added; a frozen clock is moved by Advance() alone.
 * Advance() stops at every due time on the way, so that what happens there sees its own time.
 */
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

namespace simulator {

class Clock {
public:
    explicit Clock(bool frozen);

    int64_t Now() const;          /* milliseconds since some past moment */
    std::string WallTime() const; /* the date now, as xsd:dateTime in UTC */
    int64_t WallMs() const;       /* the same, in milliseconds since 1970 */

    using TimerId = std::pair<int64_t, uint64_t>;
    TimerId At(int64_t due, std::function<void()> function);
    void Cancel(const TimerId &id); /* none is also fine */

    void RunDue();
    void Advance(int64_t milliseconds);
    /* Milliseconds until something is due by itself; 0 if it is already, -1 if nothing will be. */
    int64_t UntilNext() const;

private:
    int64_t Machine() const;

    bool isFrozen;
    int64_t frozenAt;
    int64_t wallAtZero;
    int64_t added = 0;
    uint64_t lastTimer = 0;
    std::map<TimerId, std::function<void()>> timers;
};

} // namespace simulator
