#include "lib/lock/vthreadBase.h"

#include <gtest/gtest.h>

#include "lib/misc/utilSafe.h"
#include "tests/lib/lock/inThreads.h"
#include "tests/support/logText.h"

namespace {

guint32 IdOfANewThread() {
    guint32 id = 0;
    std::thread([&] {
        id = VThreadBase_CurID();
        EXPECT_EQ("vthread-" + std::to_string(id), VThreadBase_CurName());
    }).join();
    return id;
}

TEST(VThreadBase, TheNumberOfAThreadThatEndsIsFree) {
    VThreadBase_ForgetSelf(); /* no thread has a number then */
    EXPECT_EQ(4u, VThreadBase_CurID());
    EXPECT_EQ(5u, IdOfANewThread());
    EXPECT_EQ(5u, IdOfANewThread());
    EXPECT_EQ(4u, VThreadBase_CurID());
    std::thread([] {
        EXPECT_EQ(5u, VThreadBase_CurID());
        EXPECT_EQ(6u, IdOfANewThread());
        VThreadBase_ForgetSelf();
        EXPECT_EQ(5u, IdOfANewThread());
    }).join();
}

TEST(VThreadBase, ThreadsThatStartTogetherGetDifferentNumbers) {
    constexpr int kThreads = 8;
    for (int round = 0; round < 20; round++) {
        std::vector<guint32> ids(kThreads);
        std::atomic<int> numWithId = 0;
        InThreads(kThreads, [&](int i) {
            ids[size_t(i)] = VThreadBase_CurID();
            for (numWithId++; numWithId < kThreads;) /* lives until all have a number */
                std::this_thread::yield();
        });
        const std::set<guint32> different(ids.begin(), ids.end());
        EXPECT_EQ(size_t(kThreads), different.size());
        EXPECT_GE(4u + kThreads, *different.rbegin()); /* including this thread, without gaps */
    }
}

TEST(VThreadBase, ANameIsCutAndStaysTheThreads) {
    std::thread([] {
        VThreadBase_SetName("a name of more than thirty-one characters");
        EXPECT_STREQ("a name of more than thirty-one ", VThreadBase_CurName());
    }).join();
    EXPECT_STRNE("a name of more than thirty-one ", VThreadBase_CurName());
}

TEST(VThreadBase, SignalsNest) {
    EXPECT_FALSE(VThreadBase_IsInSignal());
    const guint32 id = VThreadBase_CurID();
    for (const bool isBegin : {true, true, false})
        VThreadBase_SetIsInSignal(id, isBegin);
    EXPECT_TRUE(VThreadBase_IsInSignal());
    std::thread([] { EXPECT_FALSE(VThreadBase_IsInSignal()); }).join();
    VThreadBase_SetIsInSignal(id, FALSE);
    EXPECT_FALSE(VThreadBase_IsInSignal());
}

TEST(VThreadBase, ASecondRecordIsRefused) {
    VThreadBase_SetName("first");
    VThreadBaseData second = {99, "second", 0};
    LogRing_Clear();
    EXPECT_FALSE(VThreadBase_InitWithTLS(&second));
    const std::string line =
        "VThreadBase reinitialization, old: " + std::to_string(VThreadBase_CurID()) +
        " first, new: 99 second.\n";
    EXPECT_EQ(1u, CountInLog(line));
    EXPECT_STREQ("first", VThreadBase_CurName());
}

/* A host that numbers its threads. */
std::string nameWhileStarting;
std::string nameWhileEnding;

void HostNoID() {
    nameWhileStarting = VThreadBase_CurName();
    auto *record = static_cast<VThreadBaseData *>(UtilSafeCalloc0(1, sizeof(VThreadBaseData)));
    *record = {77, "host's own", 0};
    EXPECT_TRUE(VThreadBase_InitWithTLS(record));
}

void HostFreeID(VThreadBaseData *record) {
    memset(record, 0, sizeof *record);
    free(record);
    nameWhileEnding = VThreadBase_CurName();
}

/* In separate processes, in which no thread has a number yet. */
TEST(VThreadBaseDeathTest, AHostNumbersItsThreads) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            VThreadBase_SetNoIDFunc(HostNoID, HostFreeID);
            std::thread([] { EXPECT_EQ(77u, VThreadBase_CurID()); }).join();
            EXPECT_EQ(0u, nameWhileStarting.find("host-")) << nameWhileStarting;
            EXPECT_EQ("host's own", nameWhileEnding);
            exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(VThreadBaseDeathTest, TheSecondThreadIsLoggedOnce) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            IdOfANewThread();
            IdOfANewThread();
            const size_t numBefore = CountInLog("VThreadBase detected multiple threads.\n");
            VThreadBase_CurID();
            IdOfANewThread();
            IdOfANewThread();
            exit(numBefore == 0 && CountInLog("VThreadBase detected multiple threads.\n") == 1 ? 0
                                                                                               : 1);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
