#include "lib/file/fileLock.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "lib/file/fileLockInt.h"
#include "tests/lib/lock/inThreads.h"
#include "tests/support/fileFaults.h"
#include "tests/support/inChild.h"
#include "tests/support/processLimits.h"
#include "tests/support/temporaryFolder.h"

namespace {

struct FileLock : testing::Test {
    FileLock() : path(folder.Path() + "/f"), directory(path + ".lck") {}

    /* No test waits for real. */
    int Sleep(const FileCall &call) {
        if (call.kind != FileCall::Sleep)
            return FileFaults::kPass;
        sleptMs += call.msec;
        if (meanwhile)
            meanwhile();
        return FileFaults::kSkip;
    }

    FileLockToken *Lock(bool isReadOnly, guint32 maxWaitMs = 0) {
        return FileLock_Lock(path.c_str(), isReadOnly, maxWaitMs, &error, nullptr);
    }
    void Unlock(FileLockToken *token) {
        int unlockError;
        EXPECT_TRUE(FileLock_Unlock(token, &unlockError, nullptr));
    }
    /* Whether an exclusive lock can be acquired; it is released again. */
    bool CanLock(guint32 maxWaitMs = 0) {
        FileLockToken *token = Lock(false, maxWaitMs);
        if (token != nullptr)
            Unlock(token);
        return token != nullptr;
    }
    long CountEntries() {
        return std::distance(std::filesystem::directory_iterator(directory), {});
    }
    /* Leaves a member file of another locker. */
    void Member(const std::string &name, std::string text, gsize size = 512) {
        mkdir(directory.c_str(), 0777);
        text.resize(size);
        std::ofstream(directory + "/" + name, std::ios::binary) << text;
    }

    TemporaryFolder folder{TemporaryFolder::Where::Memory};
    guint64 sleptMs = 0;
    std::function<void()> meanwhile; /* while a locker sleeps */
    FileFaults faults{[this](const FileCall &call) { return Sleep(call); }};
    std::string path;
    std::string directory;
    int error = 99;
};

TEST_F(FileLock, SharedOnesCoexistAndAnExclusiveOneWaitsForThem) {
    FileLockToken *first = Lock(true);
    FileLockToken *second = Lock(true);
    ASSERT_TRUE(first != nullptr && second != nullptr);
    EXPECT_EQ(2, CountEntries());
    MsgList *messages = nullptr;
    EXPECT_EQ(nullptr, FileLock_Lock(path.c_str(), FALSE, 0, &error, &messages));
    EXPECT_EQ(0, error) << "held by others";
    EXPECT_STREQ("msg.fileLock.posix", MsgList_GetMsgID(messages));
    MsgList_Free(messages);
    EXPECT_EQ(2, CountEntries()) << "the own member is gone";

    EXPECT_EQ(nullptr, Lock(false, 2500));
    EXPECT_GE(sleptMs, 2500u);
    EXPECT_LE(sleptMs, 2600u);

    int rounds = 0;
    meanwhile = [&] {
        if (++rounds == 3)
            Unlock(first);
        if (rounds == 6)
            Unlock(second);
    };
    FileLockToken *exclusive = Lock(false, FILELOCK_INFINITE_WAIT);
    ASSERT_NE(nullptr, exclusive);
    EXPECT_GE(rounds, 6);
    meanwhile = nullptr;
    EXPECT_EQ(nullptr, Lock(true));
    EXPECT_TRUE(FileLock_IsLocked(path.c_str(), &error, nullptr));
    char *name = FileLock_TokenPathName(exclusive);
    EXPECT_EQ(path, name);
    free(name);
    Unlock(exclusive);
    EXPECT_FALSE(FileLock_IsLocked(path.c_str(), &error, nullptr));
    EXPECT_EQ(0, error);
    EXPECT_NE(0, access(directory.c_str(), F_OK)) << "nothing is left";
}

TEST_F(FileLock, LeftOversAreRemovedAndStrangersRespected) {
    const std::string &machine = FileLockGetMachineID();
    const std::string &self = FileLockGetExecutionID();
    const std::string here = std::to_string(FileLockHash(directory));
    const std::string other = "AAAAAAAAAAAAAAAA";
    const std::tuple<const char *, std::string, gsize, bool> rows[] = {
        {"dead process", machine + " 999999999-5(x) 1 X 5 lc=1", 512, false},
        {"process number used again", machine + " " + std::to_string(getpid()) + "-5(x) 1 X 5 lc=1",
         512, false},
        {"this process", machine + " " + self + " 1 X 5 lc=" + here, 512, true},
        {"moved here", machine + " " + self + " 1 X 5 lc=12345", 512, false},
        {"another machine", other + " 1-5(init) 1 X 5 lc=1", 512, true},
        {"another machine, shared", other + " 1-5(init) 1 S 5 lc=1", 512, true},
        {"a high number", other + " 1-5(init) 99999 X 5 lc=1", 512, true},
        {"old form of another machine", other + " 1 1 X 5 lc=1", 512, true},
        {"old form of a process whose number is used again",
         machine + " " + std::to_string(getpid()) + " 1 X 5 lc=1", 512, false},
        {"old form of a process without a time",
         machine + " " + std::to_string(getpid()) + " 1 X 0 lc=" + here, 512, true},
        {"too short", other + " 1-5(init) 1 X 5 lc=1", 511, false},
        {"too few fields", other + " 1-5(init) 1 X", 512, false},
        {"no number", other + " 1-5(init) one X 5 lc=1", 512, false},
        {"no type", other + " 1-5(init) 1 Z 5 lc=1", 512, false},
        {"too many fields", other + " 1-5 1 X 5 a b c d e f g h i j k l", 512, false},
        {"uuid against old form", "uuid=1 1-5(init) 1 X 5 lc=1", 512, true},
    };
    for (const auto &[name, text, size, isHeld] : rows) {
        Member("M00001.lck", text, size);
        EXPECT_EQ(!isHeld, CanLock()) << name;
        EXPECT_EQ(0, error) << name;
        unlink((directory + "/M00001.lck").c_str());
        rmdir(directory.c_str());
    }
}

TEST_F(FileLock, ALockerThatDiedEnteringIsRemovedAfterEightSeconds) {
    mkdir(directory.c_str(), 0777);
    mkdir((directory + "/D00007.lck").c_str(), 0777);
    Member("E00007.lck", "unfinished", 3);
    Member("E00008.lck", "of a locker that was removed half", 3);
    Member("strange name", "x");
    FileLockToken *token = Lock(false, 100);
    ASSERT_NE(nullptr, token);
    EXPECT_GE(sleptMs, 8000u);
    EXPECT_LE(sleptMs, 9000u);
    EXPECT_EQ(1, CountEntries());
    Unlock(token);
    EXPECT_NE(0, access(directory.c_str(), F_OK));
}

TEST_F(FileLock, AnEntryThatCannotBeRemovedEndsTheWait) {
    mkdir(directory.c_str(), 0777);
    mkdir((directory + "/D00007.lck").c_str(), 0777);
    folder.Write("f.lck/D00007.lck/x", "");
    EXPECT_EQ(nullptr, Lock(false, FILELOCK_INFINITE_WAIT));
    EXPECT_EQ(ENOTEMPTY, error);
}

TEST_F(FileLock, ALongListingIsMadeTwice) {
    for (int i = 10000; i < 10040; i++)
        Member("M" + std::to_string(i) + ".lck", "AAAAAAAAAAAAAAAA 1-5(init) 9 S 5 lc=1");
    static int numListings;
    numListings = 0;
    FileCalls calls = kFileCallsOfSystem;
    /* while the own locker reads the list, another one becomes a member behind the place that is read */
    calls.list = [](const char *listed, std::vector<std::string> *names) {
        const int result = kFileCallsOfSystem.list(listed, names);
        std::string text = "AAAAAAAAAAAAAAAA 1-5(init) 1 X 5 lc=1";
        text.resize(kFileLockMemberSize);
        if (++numListings == 2)
            std::ofstream(std::string(listed) + "/M00001.lck") << text;
        return result;
    };
    const FileCalls *replaced = std::exchange(gFileCalls, &calls);
    FileLockToken *token = Lock(true);
    gFileCalls = replaced;
    EXPECT_EQ(nullptr, token);
}

TEST_F(FileLock, WhereNothingCanBeWrittenReadersNeedNoFile) {
    int numCalls = 0;
    const FileFaults failing([&](const FileCall &call) {
        numCalls++;
        return call.kind == FileCall::Mkdir ? EROFS : FileFaults::kPass;
    });
    FileLockToken *reader = Lock(true);
    ASSERT_NE(nullptr, reader);
    numCalls = 0;
    Unlock(reader);
    EXPECT_EQ(0, numCalls);
    EXPECT_EQ(nullptr, Lock(false));
    EXPECT_EQ(EROFS, error);
}

TEST_F(FileLock, WhatIsInTheWayIsToldApart) {
    std::ofstream(directory) << "old style";
    EXPECT_EQ(nullptr, Lock(false));
    EXPECT_EQ(EBUSY, error);
    unlink(directory.c_str());

    ASSERT_EQ(0, symlink("/nowhere", directory.c_str()));
    EXPECT_TRUE(CanLock());

    path = folder.Path() + "/no/such/folder/f";
    EXPECT_EQ(nullptr, Lock(false));
    EXPECT_EQ(EINVAL, error);
    EXPECT_EQ(nullptr, FileLock_Lock(nullptr, FALSE, 0, &error, nullptr));
    EXPECT_EQ(EINVAL, error);
}

TEST_F(FileLock, AFailedCallLeavesNeitherALockNorADescriptor) {
    for (const int failure : {EINTR, EIO, ENOSPC, EDQUOT, EACCES, EMFILE, FileFaults::kShort}) {
        bool isPast = false;
        for (int n = 0; !isPast; n++) {
            const long before = CountDescriptors();
            FileLockToken *token;
            {
                int call = 0;
                const FileFaults failing([&](const FileCall &next) {
                    const bool isHit = call++ == n && next.kind != FileCall::Close;
                    return isHit && next.kind != FileCall::Sleep ? failure : Sleep(next);
                });
                token = Lock(false);
                isPast = call <= n;
            }
            EXPECT_EQ(before, CountDescriptors()) << n << " " << failure;
            EXPECT_TRUE(token != nullptr || error == failure || error == EIO || error == 33)
                << n << " " << failure << " gave " << error;
            if (token != nullptr)
                Unlock(token);
            ASSERT_TRUE(CanLock(20000)) << "what is left is in the way: " << n << " " << failure;
            EXPECT_NE(0, access(directory.c_str(), F_OK)) << n << " " << failure;
        }
    }
}

TEST_F(FileLock, NobodyGoesBehindTheHighestNumber) {
    Member("M00001.lck", "AAAAAAAAAAAAAAAA 1-5(init) 4294967295 S 5 lc=1");
    EXPECT_EQ(nullptr, Lock(false));
    EXPECT_EQ(0, error) << "held by others";
    EXPECT_EQ(1, CountEntries());
}

TEST_F(FileLock, ALaterLockerOfTheSameNameIsNotWaitedFor) {
    const std::string other = "AAAAAAAAAAAAAAAA 1-5(init) ";
    Member("M00001.lck", other + "1 X 5 lc=1");
    meanwhile = [&] { Member("M00001.lck", other + "3 X 5 lc=1"); };
    EXPECT_TRUE(CanLock(1000));
}

TEST_F(FileLock, AHolderThatDiesIsNotWaitedForAnyLonger) {
    auto holder = std::make_unique<ChildProcess>([&] {
        Lock(false);
        folder.Write("held", "");
        pause();
    });
    for (int i = 0; i < 10000 && ModeOf(folder.Path("held")) == 0; i++)
        usleep(1000);
    EXPECT_FALSE(CanLock());
    meanwhile = [&] { holder.reset(); };
    EXPECT_TRUE(CanLock(5000));
}

TEST_F(FileLock, AChildDrawsNumbersOfItsOwn) {
    const guint32 parents = FileSimpleRandom();
    EXPECT_EXIT(_exit(FileSimpleRandom() == parents * 1664525 + 1013904223 ? 1 : 0),
                testing::ExitedWithCode(0), "");
}

TEST_F(FileLock, ThreadsExcludeOneAnother) {
    const FileFaults brief([](const FileCall &call) {
        if (call.kind != FileCall::Sleep)
            return FileFaults::kPass;
        usleep(call.msec * 10);
        return FileFaults::kSkip;
    });
    std::atomic<int> counter = 0; /* no update is lost only if one thread at a time makes one */
    InThreads(6, [&](int) {
        for (int i = 0; i < 10; i++) {
            int ownError;
            FileLockToken *token =
                FileLock_Lock(path.c_str(), FALSE, FILELOCK_INFINITE_WAIT, &ownError, nullptr);
            counter = counter + 1;
            FileLock_Unlock(token, &ownError, nullptr);
        }
    });
    EXPECT_EQ(60, counter);
}

TEST(FileLockDevice, OneHolderAndAStaleFileIsReplaced) {
    const std::string name = "orvaneTest" + std::to_string(getpid());
    const std::string file = "/var/lock/LCK.." + name;
    if (access("/var/lock", W_OK) != 0)
        GTEST_SKIP() << "/var/lock cannot be written";
    EXPECT_EQ(1, FileLock_LockDevice(name.c_str()));
    EXPECT_EQ(0, FileLock_LockDevice(name.c_str()));
    EXPECT_TRUE(FileLock_UnlockDevice(name.c_str()));
    EXPECT_FALSE(FileLock_UnlockDevice(name.c_str()));
    for (const std::string &text :
         {std::string("999999999 ") + FileLockGetMachineID(), std::string("nonsense")}) {
        std::ofstream(file) << text << "\n";
        EXPECT_EQ(1, FileLock_LockDevice(name.c_str())) << text;
        EXPECT_TRUE(FileLock_UnlockDevice(name.c_str()));
    }
    std::ofstream(file) << "999999999 AAAAAAAAAAAAAAAA\n";
    EXPECT_EQ(0, FileLock_LockDevice(name.c_str())) << "another machine's";
    EXPECT_TRUE(FileLock_UnlockDevice(name.c_str()));
}

TEST(FileLockDevice, AFailedCallLeavesNothing) {
    const std::string name = "orvaneFault" + std::to_string(getpid());
    if (access("/var/lock", W_OK) != 0)
        GTEST_SKIP() << "/var/lock cannot be written";
    for (const int failure : {EINTR, EIO, ENOSPC, EDQUOT, EACCES, EMFILE, FileFaults::kShort}) {
        bool isPast = false;
        for (int n = 0; !isPast; n++) {
            gint result;
            {
                int call = 0;
                const FileFaults faults([&](const FileCall &next) {
                    return call++ == n && next.kind != FileCall::Close ? failure
                                                                       : FileFaults::kPass;
                });
                result = FileLock_LockDevice(name.c_str());
                isPast = call <= n;
            }
            EXPECT_NE(0, result) << "nobody else has it: " << n << " " << failure;
            EXPECT_TRUE(result != 1 || FileLock_UnlockDevice(name.c_str())) << n << " " << failure;
            EXPECT_EQ(1, FileLock_LockDevice(name.c_str())) << n << " " << failure;
            EXPECT_TRUE(FileLock_UnlockDevice(name.c_str()));
        }
    }
}

} // namespace
