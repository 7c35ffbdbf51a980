#include "tools/simulator/clock.h"

#include <algorithm>
#include <chrono>
#include <ctime>

#include <fmt/format.h>

namespace simulator {

namespace {

int64_t SteadyMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

int64_t SystemMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

} // namespace

Clock::Clock(bool frozen)
    : isFrozen(frozen), frozenAt(SteadyMs()), wallAtZero(SystemMs() - frozenAt) {}

int64_t Clock::Machine() const {
    return isFrozen ? frozenAt : SteadyMs();
}

int64_t Clock::Now() const {
    return Machine() + added;
}

int64_t Clock::WallMs() const {
    return wallAtZero + Now();
}

std::string Clock::WallTime() const {
    const int64_t wall = WallMs();
    const auto seconds = static_cast<time_t>(wall / 1000);
    struct tm parts {};
    gmtime_r(&seconds, &parts);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", parts.tm_year + 1900,
                       parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                       wall % 1000);
}

Clock::TimerId Clock::At(int64_t due, std::function<void()> function) {
    const TimerId id{due, ++lastTimer};
    timers.emplace(id, std::move(function));
    return id;
}

void Clock::Cancel(const TimerId &id) {
    timers.erase(id);
}

void Clock::RunDue() {
    /* Functions that are added meanwhile run in the next call, also if they are due. */
    const int64_t now = Now();
    const uint64_t last = lastTimer;
    for (auto next = timers.begin(); next != timers.end() && next->first.first <= now;) {
        if (next->first.second > last) {
            ++next;
            continue;
        }
        const auto function = std::move(next->second);
        timers.erase(next);
        function();
        next = timers.begin();
    }
}

void Clock::Advance(int64_t milliseconds) {
    int64_t left = std::max<int64_t>(milliseconds, 0);
    while (!timers.empty()) {
        const int64_t step = std::max<int64_t>(timers.begin()->first.first - Now(), 0);
        if (step > left)
            break;
        added += step;
        left -= step;
        RunDue();
    }
    added += left;
    RunDue();
}

int64_t Clock::UntilNext() const {
    if (timers.empty())
        return -1;
    const int64_t left = timers.begin()->first.first - Now();
    if (left <= 0)
        return 0;
    return isFrozen ? -1 : left;
}

} // namespace simulator
