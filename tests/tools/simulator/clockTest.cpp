#include "tools/simulator/clock.h"

#include <vector>

#include <gtest/gtest.h>

using simulator::Clock;

namespace {

TEST(Clock, AdvanceStopsAtEveryDueTime) {
    Clock clock(true);
    const int64_t start = clock.Now();
    std::vector<int64_t> times;
    clock.At(start + 20, [&] { times.push_back(clock.Now() - start); });
    clock.At(start + 10, [&] {
        times.push_back(clock.Now() - start);
        clock.At(clock.Now() + 5, [&] { times.push_back(clock.Now() - start); });
    });
    const auto never = clock.At(start + 30, [] { FAIL(); });

    EXPECT_EQ(-1, clock.UntilNext()) << "a frozen clock brings nothing by itself";
    clock.Advance(9);
    EXPECT_TRUE(times.empty());
    clock.Cancel(never);
    clock.Advance(91);
    EXPECT_EQ((std::vector<int64_t>{10, 15, 20}), times);
    EXPECT_EQ(100, clock.Now() - start);
}

TEST(Clock, WhatIsAddedForNowWhileRunningWaitsForTheNextTurn) {
    Clock clock(true);
    int count = 0;
    std::function<void()> again = [&] {
        if (++count < 100)
            clock.At(clock.Now(), again);
    };
    clock.At(clock.Now(), again);
    clock.RunDue();
    EXPECT_EQ(1, count);
    EXPECT_EQ(0, clock.UntilNext());
    clock.RunDue();
    EXPECT_EQ(2, count);
}

} // namespace
