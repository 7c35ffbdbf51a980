#include "lib/lock/mxUser.h"

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "lib/misc/glibPtr.h"

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 2000;

/* Runs a function in threads that begin together. */
template <class Function> void InThreads(int count, Function function) {
    std::atomic<int> waiting = count;
    std::vector<std::thread> threads;
    for (int i = 0; i < count; i++)
        threads.emplace_back([&, i] {
            for (waiting--; waiting > 0;)
                std::this_thread::yield();
            function(i);
        });
    for (std::thread &thread : threads)
        thread.join();
}

/* The same questions to both kinds that count. */
struct ExclKind {
    using Lock = MXUserExclLock;
    static constexpr auto Create = MXUser_CreateExclLock;
    static constexpr auto Singleton = MXUser_CreateSingletonExclLock;
    static constexpr auto Destroy = MXUser_DestroyExclLock;
    static constexpr auto Acquire = MXUser_AcquireExclLock;
    static constexpr auto TryAcquire = MXUser_TryAcquireExclLock;
    static constexpr auto Release = MXUser_ReleaseExclLock;
    static constexpr auto IsHeld = MXUser_IsCurThreadHoldingExclLock;
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
};
template <class Kind> class MXUserLock : public testing::Test {};
using Kinds = testing::Types<ExclKind, RecKind>;
TYPED_TEST_SUITE(MXUserLock, Kinds);

TYPED_TEST(MXUserLock, ThreadsThatContendLoseNoCount) {
    const std::unique_ptr<typename TypeParam::Lock, Release<TypeParam::Destroy>> lock(
        TypeParam::Create("counted", 1));
    int count = 0; /* plain: the lock is its only guard */
    InThreads(kThreads, [&](int) {
        for (int i = 0; i < kRounds; i++) {
            if (i % 3 != 0 || !TypeParam::TryAcquire(lock.get()))
                TypeParam::Acquire(lock.get());
            TypeParam::Acquire(lock.get());
            count++;
            TypeParam::Release(lock.get());
            EXPECT_TRUE(TypeParam::IsHeld(lock.get()));
            TypeParam::Release(lock.get());
            EXPECT_FALSE(TypeParam::IsHeld(lock.get()));
        }
    });
    EXPECT_EQ(kThreads * kRounds, count);
}

TYPED_TEST(MXUserLock, ThreadsGetOneSingleton) {
    static typename TypeParam::Lock *storage;
    storage = nullptr;
    std::vector<typename TypeParam::Lock *> seen(kThreads);
    InThreads(kThreads, [&](int i) { seen[size_t(i)] = TypeParam::Singleton(&storage, "one", 1); });
    EXPECT_EQ(std::vector(kThreads, storage), seen);
    TypeParam::Destroy(storage);
}

TYPED_TEST(MXUserLock, IsFreeForOthersAtTheLastRelease) {
    const std::unique_ptr<typename TypeParam::Lock, Release<TypeParam::Destroy>> lock(
        TypeParam::Create(nullptr, 1));
    const auto isFree = [&] {
        bool isTaken = false;
        std::thread([&] {
            isTaken = TypeParam::TryAcquire(lock.get());
            if (isTaken)
                TypeParam::Release(lock.get());
        }).join();
        return isTaken;
    };
    TypeParam::Acquire(lock.get());
    EXPECT_TRUE(TypeParam::TryAcquire(lock.get()));
    EXPECT_FALSE(isFree());
    TypeParam::Release(lock.get());
    EXPECT_FALSE(isFree());
    TypeParam::Release(lock.get());
    EXPECT_TRUE(isFree());
    TypeParam::Destroy(nullptr);
}

} // namespace
