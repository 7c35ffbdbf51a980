// Dumps of locks, and how misuse of a lock ends the process.
#include <functional>
#include <regex>
#include <thread>

#include <gmock/gmock.h>

#include "lib/lock/mxUserLock.h"
#include "lib/misc/glibPtr.h"
#include "tests/support/inChild.h"
#include "tests/support/logText.h"

namespace {

void ExpectPanic(const char *pattern, const std::function<void()> &misuse) {
    EXPECT_EXIT(misuse(), testing::ExitedWithCode(255), pattern) << pattern;
}

/* Returns the lines of a dump, which are warnings, without their level. */
std::string Dump(const MXUserHeader &header) {
    LogRing_Clear();
    header.dumpFunc(&header);
    return std::regex_replace(LogText(), std::regex("(^|\n)W "), "$1");
}

TEST(MXUserDump, HasTheStateOfTheLock) {
    const auto expect = [](const MXUserHeader &header, const std::string &head, const char *name,
                           const char *signature, const char *state) {
        EXPECT_THAT(Dump(header),
                    testing::MatchesRegex(head + " @ (0x)*0x[0-9a-f]+\n\tsignature 0x" + signature +
                                          "[0-9A-F]+\n\tname " + name +
                                          "\n\trank 0xF0007085\n"
                                          "\tserial number [0-9]+\n" +
                                          state));
    };
    MXUserExclLock *exclusive = MXUser_CreateExclLock(nullptr, 0xF0007085);
    expect(exclusive->header, "MXUserDumpExclLock: Exclusive lock", "X-0x[0-9a-f]+", "4",
           "\tlock count 0\n\taddress of owner data 0x[0-9a-f]+\n");
    MXUserRecLock *recursive = MXUser_CreateRecLock("sslStateLock", 0xF0007085);
    MXUser_AcquireRecLock(recursive);
    expect(recursive->header, "MXUserDumpRecLock: Recursive lock", "sslStateLock", "2",
           "\treference count 1\n\tlock count 1\n\taddress of owner data 0x[0-9a-f]+\n");
    MXUser_ReleaseRecLock(recursive);
    MXUserRWLock *shared = MXUser_CreateRWLock(nullptr, 0xF0007085);
    expect(shared->header, "MXUserDumpRWLock: Read-write lock", "RW-0x[0-9a-f]+", "1",
           "\taddress of native lock (0x)*0x[0-9a-f]+\n\tholderCount 0\n");
    shared->useNative = false;
    EXPECT_THAT(Dump(shared->header), testing::HasSubstr("\tcount 0\n\tholderCount 0\n"));
    EXPECT_LT(exclusive->header.serialNumber, recursive->header.serialNumber);

    MXUser_DestroyExclLock(exclusive);
    MXUser_DestroyRecLock(recursive);
    MXUser_DestroyRWLock(shared);
}

TEST(MXUserMisuseDeathTest, OfALockEndsTheProcess) {
    ExpectPanic("^MXUser_DestroyExclLock: Destroy of an acquired exclusive lock\n$", [] {
        MXUserExclLock *lock = MXUser_CreateExclLock(nullptr, 0);
        MXUser_AcquireExclLock(lock);
        MXUser_DestroyExclLock(lock);
    });
    ExpectPanic("^MXUserCondDestroyRecLock: Destroy of an acquired recursive lock\n$", [] {
        MXUserRecLock *lock = MXUser_CreateRecLock(nullptr, 0);
        MXUser_AcquireRecLock(lock);
        MXUser_DestroyRecLock(lock);
    });
    ExpectPanic("^MXUser_AcquireRecLock: Zero reference count upon exit\n$", [] {
        MXUserRecLock *lock = MXUser_CreateRecLock(nullptr, 0);
        lock->refCount--; /* as if another thread had destroyed it */
        MXUser_AcquireRecLock(lock);
    });
    ExpectPanic("^VERIFY lib/lock/", [] {
        MXUserRecLock *lock = MXUser_CreateRecLock(nullptr, 0);
        MXUser_AcquireExclLock(reinterpret_cast<MXUserExclLock *>(lock));
    });
}

TEST(MXUserMisuseDeathTest, OfAReadWriteLockEndsTheProcess) {
    MXUserRWLock *lock = MXUser_CreateRWLock(nullptr, 0);
    using Step = void (*)(MXUserRWLock *);
    const std::tuple<Step, Step, const char *> rows[] = {
        {MXUser_AcquireForRead, MXUser_AcquireForRead,
         "^MXUserAcquisition: AcquireForRead after AcquireForRead\n$"},
        {MXUser_AcquireForRead, MXUser_AcquireForWrite,
         "^MXUserAcquisition: AcquireForWrite after AcquireForRead\n$"},
        {MXUser_AcquireForWrite, MXUser_AcquireForRead,
         "^MXUserAcquisition: AcquireForRead after AcquireForWrite\n$"},
        {MXUser_AcquireForWrite, MXUser_AcquireForWrite,
         "^MXUserAcquisition: AcquireForWrite after AcquireForWrite\n$"},
        {MXUser_AcquireForRead, MXUser_DestroyRWLock,
         "^MXUser_DestroyRWLock: Destroy on an acquired read-write lock\n$"},
        {[](MXUserRWLock *) {}, MXUser_ReleaseRWLock,
         "^MXUser_ReleaseRWLock: Release of an unacquired read-write lock\n$"},
        {[](MXUserRWLock *) {}, [](MXUserRWLock *it) { MXUser_IsCurThreadHoldingRWLock(it, 3); },
         "^MXUser_IsCurThreadHoldingRWLock: unknown query type 3\n$"},
    };
    for (const auto &row : rows)
        ExpectPanic(std::get<2>(row), [&] {
            std::get<0>(row)(lock);
            std::get<1>(row)(lock);
        });
    MXUser_DestroyRWLock(lock);
}

TEST(MXUserMisuseDeathTest, OfAConditionVariableEndsTheProcess) {
    MXUserExclLock *lock = MXUser_CreateExclLock("its", 0);
    MXUserExclLock *other = MXUser_CreateExclLock("other", 0);
    MXUserCondVar *condVar = MXUser_CreateCondVarExclLock(lock);
    ExpectPanic("^MXUserWaitCondVar: invalid use of lock other with condVar "
                "\\(0x0x[0-9a-f]+; its\\)\n$",
                [&] {
                    MXUser_AcquireExclLock(other);
                    MXUser_WaitCondVarExclLock(other, condVar);
                });
    ExpectPanic("^VERIFY lib/lock/mxUserCondVar",
                [&] { MXUser_TimedWaitCondVarExclLock(lock, condVar, 0); });
    ExpectPanic("^MXUser_DestroyCondVar: Attempted destroy on active condVar "
                "\\(0x0x[0-9a-f]+; its\\)\n$",
                [&] {
                    bool isWaiting = false;
                    std::thread waiter([&] {
                        MXUser_AcquireExclLock(lock);
                        isWaiting = true;
                        MXUser_WaitCondVarExclLock(lock, condVar);
                    });
                    for (bool isSeen = false; !isSeen;) {
                        MXUser_AcquireExclLock(lock); /* free once the other waits */
                        isSeen = isWaiting;
                        MXUser_ReleaseExclLock(lock);
                    }
                    MXUser_DestroyCondVar(condVar);
                });
    MXUser_DestroyCondVar(condVar);
    MXUser_DestroyCondVar(nullptr);
    MXUser_DestroyExclLock(other);
    MXUser_DestroyExclLock(lock);
}

/* A host's mutex that records the calls. */
std::string calls;
struct {
    int mutex;
} host;

gboolean HostTry(gpointer mutex) {
    calls += "try ";
    return mutex == &host;
}

void InstallHost() {
    MXUserInstallMxHooks(
        nullptr, nullptr, [](gpointer) { calls += "lock "; }, [](gpointer) { calls += "unlock "; },
        HostTry, [](gpointer) { return gboolean(calls.ends_with("lock ")); },
        [] { calls += "panic "; }, nullptr);
}

/* In a separate process, since hooks cannot be removed. */
TEST(MXUserHooks, ABoundLockForwardsToTheHost) {
    InChild([] {
        EXPECT_EQ(nullptr, MXUser_BindMXMutexRec(&host, 7));
        EXPECT_FALSE(MXUser_InPanic());
        InstallHost();
        MXUserInstallMxHooks(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                             [] { return gboolean(TRUE); }); /* too late */
        EXPECT_FALSE(MXUser_InPanic());

        MXUserRecLock *lock = MXUser_BindMXMutexRec(&host, 7);
        EXPECT_EQ(&host, MXUser_GetRecLockVmm(lock));
        MXUser_AcquireRecLock(lock);
        EXPECT_TRUE(MXUser_IsCurThreadHoldingRecLock(lock));
        EXPECT_TRUE(MXUser_TryAcquireRecLock(lock));
        EXPECT_FALSE(MXUser_IsCurThreadHoldingRecLock(lock));
        MXUser_ReleaseRecLock(lock);
        EXPECT_THAT(Dump(lock->header), testing::ContainsRegex("\tname MX_0x[0-9a-f]+\n.*\n.*\n"
                                                               "\treference count 1\n"
                                                               "\tvmmLock 0x[0-9a-f]+\n$"));
        MXUser_DestroyRecLock(lock);
        MXUser_SetInPanic();
        EXPECT_TRUE(MXUser_InPanic());
        EXPECT_EQ("lock try unlock panic ", calls);
    });
}

} // namespace
