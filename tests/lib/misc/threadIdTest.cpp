#include "lib/misc/threadId.h"

#include <thread>

#include <unistd.h>

#include <gtest/gtest.h>

namespace {

TEST(ThreadId, IsTheKernels) {
    EXPECT_EQ(getpid(), Util_GetCurrentThreadId());
    std::thread([] {
        EXPECT_EQ(gettid(), Util_GetCurrentThreadId());
        EXPECT_NE(getpid(), Util_GetCurrentThreadId());
    }).join();
}

} // namespace
