#include <array>

#include <gtest/gtest.h>

#include "lib/lock/mxUserLock.h"
#include "lib/misc/glibPtr.h"
#include "tests/lib/lock/inThreads.h"

namespace {

constexpr int kThreads = 8;

using LockPtr = std::unique_ptr<MXUserRWLock, Release<MXUser_DestroyRWLock>>;

/* With the system's lock, or with the fallback. */
LockPtr NewLock(bool useNative) {
    LockPtr lock(MXUser_CreateRWLock(nullptr, 1));
    EXPECT_TRUE(lock->useNative);
    lock->useNative = useNative;
    return lock;
}

TEST(MXUserRWLock, ThreadsSeeWhatWritersHaveFinished) {
    for (const bool useNative : {true, false}) {
        const LockPtr lock = NewLock(useNative);
        int first = 0;
        int second = 0;
        InThreads(kThreads, [&](int number) {
            for (int i = 0; i < 1000; i++) {
                if ((i + number) % 4 == 0) {
                    MXUser_AcquireForWrite(lock.get());
                    first++;
                    g_thread_yield(); /* others find it busy */
                    second++;
                } else {
                    MXUser_AcquireForRead(lock.get());
                    EXPECT_EQ(first, second);
                }
                MXUser_ReleaseRWLock(lock.get());
            }
        });
        EXPECT_EQ(kThreads * 250, second);
        EXPECT_EQ(0u, lock->holderCount);
    }
}

using Held = std::array<bool, 3>; /* for reading, for writing, at all */

TEST(MXUserRWLock, ThreadsReadTogetherAndEachKnowsItsOwnState) {
    const LockPtr lock = NewLock(true);
    const auto holds = [&] {
        return Held{MXUser_IsCurThreadHoldingRWLock(lock.get(), MXUSER_RW_FOR_READ) != FALSE,
                    MXUser_IsCurThreadHoldingRWLock(lock.get(), MXUSER_RW_FOR_WRITE) != FALSE,
                    MXUser_IsCurThreadHoldingRWLock(lock.get(), MXUSER_RW_LOCKED) != FALSE};
    };
    MXUser_AcquireForRead(lock.get());
    EXPECT_EQ((Held{true, false, true}), holds());
    std::thread([&] {
        EXPECT_EQ((Held{false, false, false}), holds());
        MXUser_AcquireForRead(lock.get());
        EXPECT_EQ(2u, lock->holderCount);
        MXUser_ReleaseRWLock(lock.get());
    }).join();
    MXUser_ReleaseRWLock(lock.get());
    EXPECT_EQ((Held{false, false, false}), holds());
    MXUser_AcquireForWrite(lock.get());
    EXPECT_EQ((Held{false, true, true}), holds());
    MXUser_ReleaseRWLock(lock.get());
}

TEST(MXUserRWLock, ThreadsGetOneSingleton) {
    static MXUserRWLock *storage;
    storage = nullptr;
    InThreads(kThreads, [&](int) {
        MXUserRWLock *lock = MXUser_CreateSingletonRWLock(&storage, "productStateLock", 0xFF000000);
        EXPECT_EQ(lock, MXUser_CreateSingletonRWLock(&storage, nullptr, 0));
        MXUser_AcquireForWrite(lock);
        MXUser_ReleaseRWLock(lock);
    });
    MXUser_DestroyRWLock(storage);
}

} // namespace
