/*
 * clock.h -- the simulator's time, and functions that are due at some time
 *
 * The time is the machine's plus what Advance() added; a frozen clock is moved by Advance() only.
 * Advance() stops at every due time, so that each function runs at its own time.
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

    int64_t Now() const;          /* in milliseconds; only differences mean something */
    std::string WallTime() const; /* the date now, as xsd:dateTime in UTC */
    int64_t WallMs() const;       /* the same, in milliseconds since 1970 */

    using TimerId = std::pair<int64_t, uint64_t>;
    TimerId At(int64_t due, std::function<void()> function);
    void Cancel(const TimerId &id); /* an id that is not known is ignored */

    void RunDue();
    void Advance(int64_t milliseconds);
    /* Returns the milliseconds until the next function is due: 0 if one is due now, -1 if none will be without
     * Advance(). */
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
