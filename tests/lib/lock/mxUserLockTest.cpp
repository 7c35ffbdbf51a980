#include "lib/lock/mxUserLock.h"

#include <gtest/gtest.h>

#include "lib/misc/glibPtr.h"
#include "tests/lib/lock/inThreads.h"

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 2000;

/* The same tests for both kinds that count. */
struct ExclKind {
    using Lock = MXUserExclLock;
    static constexpr auto Create = MXUser_CreateExclLock;
    static constexpr auto Singleton = MXUser_CreateSingletonExclLock;
    static constexpr auto Destroy = MXUser_DestroyExclLock;
    static constexpr auto Acquire = MXUser_AcquireExclLock;
    static constexpr auto TryAcquire = MXUser_TryAcquireExclLock;
    static constexpr auto Release = MXUser_ReleaseExclLock;
    static constexpr auto IsHeld = MXUser_IsCurThreadHoldingExclLock;
    static constexpr auto CreateCondVar = MXUser_CreateCondVarExclLock;
    static constexpr auto Wait = MXUser_WaitCondVarExclLock;
    static constexpr auto TimedWait = MXUser_TimedWaitCondVarExclLock;
};
struct RecKind {
    using Lock = MXUserRecLock;
    static constexpr auto Create = MXUser_CreateRecLock;
    static constexpr auto Singleton = MXUser_CreateSingletonRecLock;
    static constexpr auto Destroy = MXUser_DestroyRecLock;
    static constexpr auto Acquire = MXUser_AcquireRecLock;
    static constexpr auto TryAcquire = MXUser_TryAcquireRecLock;
    static constexpr auto Release = MXUser_ReleaseRecLock;
    static constexpr auto IsHeld = MXUser_IsCurThreadHoldingRecLock;
    static constexpr auto CreateCondVar = MXUser_CreateCondVarRecLock;
    static constexpr auto Wait = MXUser_WaitCondVarRecLock;
    static constexpr auto TimedWait = MXUser_TimedWaitCondVarRecLock;
};
template <class Kind> class MXUserLock : public testing::Test {
protected:
    using LockPtr = std::unique_ptr<typename Kind::Lock, Release<Kind::Destroy>>;
    using CondVarPtr = std::unique_ptr<MXUserCondVar, Release<MXUser_DestroyCondVar>>;

    LockPtr owner{Kind::Create(nullptr, 1)};

    /* Whether another thread can acquire the lock now. */
    bool IsFree() {
        bool isTaken = false;
        std::thread([&] {
            isTaken = Kind::TryAcquire(owner.get());
            if (isTaken)
                Kind::Release(owner.get());
        }).join();
        return isTaken;
    }
};
using Kinds = testing::Types<ExclKind, RecKind>;
TYPED_TEST_SUITE(MXUserLock, Kinds);

TYPED_TEST(MXUserLock, ThreadsThatContendLoseNoCount) {
    auto *lock = this->owner.get();
    int count = 0; /* not atomic: only the lock guards it */
    InThreads(kThreads, [&](int) {
        for (int i = 0; i < kRounds; i++) {
            if (i % 3 != 0 || !TypeParam::TryAcquire(lock))
                TypeParam::Acquire(lock);
            TypeParam::Acquire(lock);
            count++;
            TypeParam::Release(lock);
            EXPECT_TRUE(TypeParam::IsHeld(lock));
            TypeParam::Release(lock);
            EXPECT_FALSE(TypeParam::IsHeld(lock));
        }
    });
    EXPECT_EQ(kThreads * kRounds, count);
}

TYPED_TEST(MXUserLock, ThreadsGetOneSingleton) {
    static typename TypeParam::Lock *storage;
    storage = nullptr;
    std::vector<typename TypeParam::Lock *> seen(kThreads);
    InThreads(kThreads, [&](int i) { seen[size_t(i)] = TypeParam::Singleton(&storage, "one", 1); });
    EXPECT_EQ(std::vector(kThreads, storage),
              seen); /* the others are destroyed, or the leak check fails */
    TypeParam::Destroy(storage);
}

TYPED_TEST(MXUserLock, ThreadsPassATurnRound) {
    auto *lock = this->owner.get();
    const typename TestFixture::CondVarPtr changed(TypeParam::CreateCondVar(lock));
    int turn = 0;
    InThreads(kThreads, [&](int i) {
        for (int round = 0; round < 20; round++) {
            TypeParam::Acquire(lock);
            while (turn % kThreads != i) {
                if (round % 2 == 0)
                    TypeParam::Wait(lock, changed.get());
                else
                    TypeParam::TimedWait(lock, changed.get(), 60000);
            }
            turn++;
            MXUser_BroadcastCondVar(changed.get());
            TypeParam::Release(lock);
        }
    });
    EXPECT_EQ(20 * kThreads, turn);
}

TYPED_TEST(MXUserLock, IsFreeWhileAThreadWaitsAndHeldAsOftenAfterwards) {
    auto *lock = this->owner.get();
    const typename TestFixture::CondVarPtr changed(TypeParam::CreateCondVar(lock));
    TypeParam::Acquire(lock);
    EXPECT_TRUE(TypeParam::TryAcquire(lock));
    bool isChanged = false;
    std::thread other([&] {
        TypeParam::Acquire(lock); /* while the other thread, which holds it twice, waits */
        isChanged = true;
        MXUser_SignalCondVar(changed.get());
        TypeParam::Release(lock);
    });
    for (bool isSeen = isChanged; !isSeen; isSeen = isChanged)
        TypeParam::Wait(lock, changed.get());
    other.join();
    TypeParam::TimedWait(lock, changed.get(), 0); /* returns without a signal */
    TypeParam::Release(lock);
    EXPECT_TRUE(TypeParam::IsHeld(lock));
    EXPECT_FALSE(this->IsFree());
    TypeParam::Release(lock);
    EXPECT_TRUE(this->IsFree());
    TypeParam::Destroy(nullptr);
}

TEST(MXUserRecLock, LivesUntilTheLastReferenceIsDropped) {
    MXUserRecLock *lock = MXUser_CreateRecLock("kept", 0xF0007085);
    MXUser_IncRefRecLock(lock);
    MXUser_DestroyRecLock(lock);
    MXUser_AcquireRecLock(lock);
    EXPECT_EQ(0xF0007085, MXUser_GetRecLockRank(lock));
    EXPECT_EQ(nullptr, MXUser_GetRecLockVmm(lock));
    MXUser_ReleaseRecLock(lock);
    MXUser_DecRefRecLock(lock); /* frees it, or the leak check fails */

    // another thread destroys it while this one releases it
    lock = MXUser_CreateRecLock("left", 0);
    MXUser_AcquireRecLock(lock);
    lock->refCount--;
    MXUser_ReleaseRecLock(lock);
}

} // namespace
