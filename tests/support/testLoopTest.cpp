#include "tests/support/testLoop.h"

#include <string>

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr PollClassSet kClass = {{1, 0, 0, 0, 0}};

std::string ran; /* the letters of the callbacks that ran */

void Note(gpointer letter) {
    ran += *static_cast<const char *>(letter);
}
gpointer Letter(const char *letter) {
    return const_cast<char *>(letter);
}

void Add(gint flags, OrvanePollFunction function, const char *letter, gint64 info,
         gint type = POLL_REALTIME) {
    EXPECT_EQ(0, testLoop::Callback(flags, function, Letter(letter), type, info, nullptr, kClass));
}

void RemoveItself(gpointer letter) {
    Note(letter);
    EXPECT_EQ(0, testLoop::CallbackRemove(POLL_FLAG_PERIODIC, RemoveItself, letter, POLL_REALTIME,
                                          kClass));
}

class TestLoop : public testing::Test {
protected:
    TestLoop() {
        testLoop::Reset();
        ran.clear();
        EXPECT_EQ(0, pipe(ends));
    }
    ~TestLoop() override {
        testLoop::Reset();
        close(ends[0]);
        close(ends[1]);
    }
    int ends[2];
};

TEST_F(TestLoop, TimersRunByDueTimeThenDescriptorsAndNothingStarves) {
    EXPECT_EQ(1, write(ends[1], "x", 1));
    Add(POLL_FLAG_PERIODIC | POLL_FLAG_READ, Note, "r", ends[0], POLL_DEVICE);
    Add(POLL_FLAG_PERIODIC | POLL_FLAG_WRITE, Note, "w", ends[1], POLL_DEVICE);
    Add(0, Note, "b", 2000000);
    Add(POLL_FLAG_PERIODIC, Note, "a", 1000000);
    Add(0, Note, "c", 60000000);
    testLoop::Advance(3000000);
    for (int i = 0; i < 4; i++)
        EXPECT_TRUE(testLoop::Step());
    EXPECT_EQ("abrw", ran);
    testLoop::Advance(1000000);
    for (int i = 0; i < 3; i++)
        EXPECT_TRUE(testLoop::Step());
    EXPECT_EQ("abrwarw", ran);
    EXPECT_EQ(7u, testLoop::NumSteps());
    EXPECT_EQ(4u, testLoop::Registrations().size());
}

TEST_F(TestLoop, CallbacksMayRemoveThemselvesAndOthersBeforeTheyRun) {
    Add(POLL_FLAG_PERIODIC, RemoveItself, "a", 0);
    Add(0, Note, "b", 0);
    testLoop::SetBeforeStep([](uint64_t number) {
        if (number == 1)
            testLoop::CallbackRemove(0, Note, Letter("b"), POLL_REALTIME, kClass);
    });
    testLoop::Settle();
    EXPECT_EQ("a", ran);
    EXPECT_EQ(2u, testLoop::NumSteps());
    EXPECT_NE(0, testLoop::CallbackRemove(0, Note, Letter("b"), POLL_REALTIME, kClass));
    EXPECT_FALSE(testLoop::RunUntil([] { return false; })); /* at once: nothing is left */
}

TEST_F(TestLoop, AWatchMayTakeAwayAnotherAndItself) {
    EXPECT_EQ(1, write(ends[1], "x", 1));
    for (int end : ends)
        testLoop::Watch(end, POLLIN | POLLOUT, [this](short) {
            ran += 'x';
            testLoop::Unwatch(ends[0]);
            testLoop::Unwatch(ends[1]);
        });
    testLoop::Settle();
    EXPECT_EQ("x", ran);
    EXPECT_EQ(0u, testLoop::NumSteps());
}

} // namespace
