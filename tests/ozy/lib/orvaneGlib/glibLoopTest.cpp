#include "ozy/lib/orvaneGlib/glibLoop.h"

#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <orvane/orvaneGlib.h>

#include "lib/misc/glibPtr.h"

namespace {

constexpr PollClassSet kClass = {{1, 0, 0, 0, 0}};
constexpr gint kRead = POLL_FLAG_READ | POLL_FLAG_PERIODIC | 0x110;
constexpr gint kWrite = POLL_FLAG_WRITE | POLL_FLAG_PERIODIC | 0x110;

/* Something registered: what it does when it runs, after having been noted. */
struct Item {
    char letter;
    std::function<void()> action = [] {};
};

std::string ran;

void RunItem(gpointer data) {
    const auto *item = static_cast<Item *>(data);
    ran += item->letter;
    const auto action = item->action; /* it may take the item away */
    action();
}

struct GlibLoopTest : testing::Test {
    GlibLoopTest() : context(g_main_context_new()) {
        ran.clear();
        GlibLoop_Open(context.get());
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
    }
    ~GlibLoopTest() override {
        if (GlibLoop_IsOpen())
            GlibLoop_Close();
        close(ends[0]);
        close(ends[1]);
    }

    void Add(gint flags, Item *item, gint64 info, gint type = POLL_REALTIME) {
        EXPECT_EQ(0, GlibLoop_Callback(flags, RunItem, item, type, info, nullptr, kClass));
    }
    gint Remove(gint flags, Item *item, gint type = POLL_REALTIME) {
        return GlibLoop_CallbackRemove(flags, RunItem, item, type, kClass);
    }
    /* What runs in so many iterations that find work, without waiting. */
    std::string Iterate(int limit = 1) {
        ran.clear();
        for (int i = 0; i < limit && g_main_context_iteration(context.get(), FALSE); i++) {
        }
        return ran;
    }
    /* Iterates, waiting for what is registered, until so many have run. */
    std::string Wait(size_t count) {
        for (ran.clear(); ran.size() < count;)
            g_main_context_iteration(context.get(), TRUE);
        return ran;
    }

    std::unique_ptr<GMainContext, Release<g_main_context_unref>> context;
    int ends[2];
};

TEST_F(GlibLoopTest, AOneShotTimerRunsOnceAndMayBeSetAgainFromInside) {
    Item timer{'t'};
    int left = 2;
    timer.action = [&] {
        EXPECT_EQ(1, Remove(0, &timer)); /* gone already */
        if (left-- > 0)
            Add(0, &timer, 0);
    };
    Add(0, &timer, 0);
    EXPECT_EQ("ttt", Iterate(10));
    EXPECT_EQ(1, Remove(0, &timer));
}

TEST_F(GlibLoopTest, ATimerRunsAtItsTimeNotInTheOrderOfRegistration) {
    Item soon{'s'};
    Item late{'l'};
    Item never{'n'};
    Add(0, &never, G_MAXINT64);
    Add(0, &late, gint64(3600) * G_USEC_PER_SEC);
    Add(0, &soon, 1000);
    EXPECT_EQ("s", Wait(1));
    EXPECT_EQ("", Iterate());
    EXPECT_EQ(0, Remove(0, &late));
    EXPECT_EQ(0, Remove(0, &never));
}

TEST_F(GlibLoopTest, APeriodicTimerStaysUntilItRemovesItself) {
    Item tick{'t'};
    int left = 3;
    tick.action = [&] {
        if (--left == 0) {
            EXPECT_EQ(0, Remove(POLL_FLAG_PERIODIC, &tick));
        }
    };
    Add(POLL_FLAG_PERIODIC, &tick, 100);
    EXPECT_EQ("ttt", Wait(3));
    EXPECT_EQ("", Iterate());
}

TEST_F(GlibLoopTest, ReadingIsReplacedByReadingAndWritingOnOneDescriptor) {
    Item socket{'s'};
    socket.action = [&] {
        EXPECT_EQ(0, Remove(kRead, &socket, POLL_DEVICE));
        Add(kRead, &socket, ends[0], POLL_DEVICE);
        Add(kWrite, &socket, ends[0], POLL_DEVICE);
        socket.action = [] {};
    };
    Add(kRead, &socket, ends[0], POLL_DEVICE);
    EXPECT_EQ("", Iterate());
    EXPECT_EQ(1, write(ends[1], "x", 1));
    EXPECT_EQ("s", Iterate());
    EXPECT_EQ("ss", Iterate());
    EXPECT_EQ("ss", Iterate()); /* periodic: both stay */
    EXPECT_EQ(0, Remove(kRead, &socket, POLL_DEVICE));
    EXPECT_EQ("s", Iterate());
    EXPECT_EQ(0, Remove(kWrite, &socket, POLL_DEVICE));
    EXPECT_EQ("", Iterate());
}

TEST_F(GlibLoopTest, WhatWasRemovedDoesNotRunEvenIfItWasReady) {
    Item items[] = {{'a'}, {'b'}, {'c'}};
    for (Item &item : items) {
        item.action = [&] {
            for (Item &other : items)
                Remove(0, &other);
        };
        Add(0, &item, 0);
    }
    EXPECT_EQ(1u, Iterate(10).size());
}

TEST_F(GlibLoopTest, ARemovalIsByAllAttributesAndUndoesOneRegistration) {
    Item item{'i'};
    Item other{'o'};
    Add(POLL_FLAG_PERIODIC, &item, 0);
    Add(POLL_FLAG_PERIODIC, &item, 0);
    EXPECT_EQ(1, Remove(0, &item));
    EXPECT_EQ(1, Remove(POLL_FLAG_PERIODIC, &other));
    EXPECT_EQ(1, Remove(POLL_FLAG_PERIODIC, &item, POLL_DEVICE));
    EXPECT_EQ("ii", Iterate());
    EXPECT_EQ(0, Remove(POLL_FLAG_PERIODIC, &item));
    EXPECT_EQ("i", Iterate());
}

TEST_F(GlibLoopTest, ClosingFromInsideTakesOutTheRest) {
    Item closer{'c', [] { GlibLoop_Close(); }};
    Item other{'o'};
    Add(POLL_FLAG_PERIODIC, &closer, 0);
    Add(POLL_FLAG_PERIODIC, &other, 1000000);
    Add(kRead, &other, ends[0], POLL_DEVICE);
    EXPECT_EQ("c", Iterate(10));
    EXPECT_EQ(1, Remove(kRead, &other, POLL_DEVICE));
}

TEST_F(GlibLoopTest, RefusesWhatCannotBeWatched) {
    Item item{'i'};
    const struct {
        gint flags;
        gint type;
        gint64 info;
    } rows[] = {{kRead, POLL_DEVICE, -1},
                {POLL_FLAG_PERIODIC, POLL_DEVICE, ends[0]},
                {kRead, POLL_DEVICE, 1ll << 40},
                {0, 3, 0}};
    for (const auto &row : rows)
        EXPECT_NE(
            0, GlibLoop_Callback(row.flags, RunItem, &item, row.type, row.info, nullptr, kClass));
}

TEST(OrvaneGlib, StartsAndEndsMoreThanOnceOnAContextOfItsOwn) {
    std::unique_ptr<GMainContext, Release<g_main_context_unref>> context(g_main_context_new());
    for (int i = 0; i < 2; i++) {
        ASSERT_TRUE(orvane_glib_init(context.get()));
        orvane_glib_shutdown();
        EXPECT_FALSE(g_main_context_pending(context.get()));
    }
}

} // namespace
