#include "lib/file/fileLock.h"

#include <ucontext.h>

#include <fstream>

#include <gtest/gtest.h>

#include "lib/file/fileLockInt.h"
#include "tests/support/fileFaults.h"
#include "tests/support/inChild.h"
#include "tests/support/temporaryFolder.h"

namespace {

/* Who holds the lock. */
struct Holders {
    int exclusive = 0;
    int shared = 0;
    int conflicts = 0;

    void Enter(bool isShared) {
        (isShared ? shared : exclusive)++;
        if (exclusive > 1 || (exclusive == 1 && shared > 0))
            conflicts++;
    }
    void Leave(bool isShared) { (isShared ? shared : exclusive)--; }
};

void WriteMember(const std::string &directory, const std::string &text) {
    mkdir(directory.c_str(), 0777);
    std::string member = text;
    member.resize(kFileLockMemberSize);
    std::ofstream(directory + "/M00001.lck", std::ios::binary) << member;
}

std::string MemberOf(const std::string &executionID) {
    return FileLockGetMachineID() + " " + executionID + " 1 X 5 lc=1";
}

/*
 * Two lockers on stacks of their own, of which one runs at a time. Locker 0 makes `first` calls, locker 1 then `second`,
 * locker 0 ends, locker 1 ends. One that sleeps passes its turn on, but while locker 0 is stalled locker 1 sleeps on.
 */
struct Steps {
    Steps(int first_, int second_, bool isStalled_)
        : first(first_), second(second_), isStalled(isStalled_) {}

    /* Both lock and unlock once. Returns how many got the lock. */
    int Run(const std::string &path, std::array<bool, 2> isShared, Holders *holders) {
        const FileFaults faults([this](const FileCall &call) { return Step(call); });
        work = [&, this] {
            const int own = turn;
            int error;
            FileLockToken *token =
                FileLock_Lock(path.c_str(), isShared[own], FILELOCK_INFINITE_WAIT, &error, nullptr);
            if (token != nullptr) {
                holders->Enter(isShared[own]);
                Step({.kind = FileCall::Close}); /* the other one may run now */
                holders->Leave(isShared[own]);
                numDone += FileLock_Unlock(token, &error, nullptr);
            }
            isEnded[own] = true;
            swapcontext(&lanes[own], isEnded[1 - own] ? &caller : &lanes[turn = 1 - own]);
        };
        static const std::unique_ptr<char[]> stacks(new char[2 * kStack]);
        for (int lane = 0; lane < 2; lane++) {
            getcontext(&lanes[lane]);
            lanes[lane].uc_stack.ss_sp = stacks.get() + lane * kStack;
            lanes[lane].uc_stack.ss_size = kStack;
            makecontext(
                &lanes[lane], [] { running->work(); }, 0);
        }
        running = this;
        swapcontext(&caller, &lanes[0]);
        return numDone;
    }
    /* Whether each locker ended before it was to be stopped: there are no more orders. */
    bool IsFirstPast() const { return numSteps[0] <= first; }
    bool IsSecondPast() const { return numSteps[1] <= second; }

private:
    int Step(const FileCall &call) {
        const int own = turn;
        const bool isAsleep = call.kind == FileCall::Sleep;
        if (isAsleep && isStalled && own == 1 && (sleptMs += call.msec) < kStallMs)
            return FileFaults::kSkip;
        numSteps[own] += own == 0 || !isStalled || sleptMs >= kPatienceMs;
        const bool isSwitch = (switches == 0 && own == 0 && numSteps[0] > first) ||
                              (switches == 1 && own == 1 && numSteps[1] > second);
        switches += isSwitch;
        if ((isSwitch || isAsleep) && !isEnded[1 - own])
            swapcontext(&lanes[own], &lanes[turn = 1 - own]);
        if (numSteps[own] > kEndless)
            return EIO; /* a lost waiter */
        return isAsleep ? FileFaults::kSkip : FileFaults::kPass;
    }

    static constexpr guint32 kStallMs = 9000;    /* how long locker 1 waits for a stalled one */
    static constexpr guint32 kPatienceMs = 8000; /* until then its calls are no matter */
    static constexpr int kEndless = 2000;
    static constexpr gsize kStack = 256 * 1024;
    static inline Steps *running;
    const int first, second;
    const bool isStalled;
    std::function<void()> work;
    ucontext_t caller = {};
    std::array<ucontext_t, 2> lanes = {};
    int turn = 0, switches = 0, numDone = 0;
    guint32 sleptMs = 0;
    std::array<int, 2> numSteps = {};
    std::array<bool, 2> isEnded = {};
};

TEST(FileLockRace, EveryOrderOfTwoLockers) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "stacks of our own";
#endif
    const TemporaryFolder folder(TemporaryFolder::Where::Memory);
    int numOrders = 0;
    for (const auto &isShared : {std::array{false, false}, {false, true}, {true, false}}) {
        for (const bool isStalled : {false, true}) {
            for (const bool hasDeadMember : {false, true}) {
                bool isFirstPast = false;
                for (int first = 0; !isFirstPast; first++) {
                    bool isSecondPast = false;
                    for (int second = 0; !isSecondPast && !isFirstPast; second++) {
                        if (hasDeadMember)
                            WriteMember(folder.Path("f.lck"), MemberOf("999999999-5(x)"));
                        Holders holders;
                        Steps steps(first, second, isStalled);
                        const int numDone = steps.Run(folder.Path("f"), isShared, &holders);
                        EXPECT_EQ(2, numDone) << "lost, after " << first << " and " << second;
                        EXPECT_EQ(0, holders.conflicts) << first << " and " << second << " of "
                                                        << isShared[0] << isShared[1] << isStalled;
                        EXPECT_NE(0, access(folder.Path("f.lck").c_str(), F_OK));
                        if (HasFailure())
                            return;
                        isFirstPast = steps.IsFirstPast();
                        isSecondPast = steps.IsSecondPast();
                        numOrders++;
                    }
                }
            }
        }
    }
    EXPECT_LT(1000, numOrders);
}

/* A process that tries to lock a device, and lives on. */
struct Rival {
    explicit Rival(const std::string &name) {
        int ends[2];
        EXPECT_EQ(0, pipe(ends));
        process = std::make_unique<ChildProcess>([&] {
            const FileFaults none([](const FileCall &) { return FileFaults::kPass; });
            const char own = FileLock_LockDevice(name.c_str()) == 1 ? 'y' : 'n';
            (void)!write(ends[1], &own, 1);
            pause();
        });
        char own = '?';
        (void)!read(ends[0], &own, 1);
        isHolder = own == 'y';
        close(ends[0]);
        close(ends[1]);
    }

    bool isHolder;
    std::unique_ptr<ChildProcess> process;
};

/* A rival comes before any call of a locker; a file that is stale or half made has one heir. */
TEST(FileLockRace, ADeviceHasOneHolder) {
    if (access("/var/lock", W_OK) != 0)
        GTEST_SKIP() << "/var/lock cannot be written";
    const std::string name = "orvaneRace" + std::to_string(getpid());
    const std::string file = "/var/lock/LCK.." + name;
    for (const bool hasLinks : {true, false}) {
        for (const char *found : {"", "no line", "999999999 "}) {
            std::unique_ptr<Rival> rival;
            for (int n = 0; n == 0 || rival != nullptr; n++) {
                rival.reset();
                unlink(file.c_str());
                if (*found != '\0')
                    std::ofstream(file) << found << FileLockGetMachineID();
                int call = 0;
                const FileFaults faults([&](const FileCall &next) {
                    if (call++ == n)
                        rival = std::make_unique<Rival>(name);
                    return next.kind == FileCall::Statfs && !hasLinks ? EIO : FileFaults::kPass;
                });
                const bool isHolder = FileLock_LockDevice(name.c_str()) == 1;
                EXPECT_EQ(1, isHolder + (rival != nullptr && rival->isHolder))
                    << found << ", call " << n << ", links " << hasLinks;
            }
        }
    }
    /* the owner writes its line after another process has found the file empty */
    std::ofstream(file).close();
    int numReads = 0;
    bool isWritten = false;
    const FileFaults faults([&](const FileCall &next) {
        numReads += next.kind == FileCall::Pread;
        if (numReads == 1 && next.kind == FileCall::Flock && !std::exchange(isWritten, true))
            std::ofstream(file) << getpid() << " " << FileLockGetMachineID();
        return FileFaults::kPass;
    });
    EXPECT_EQ(0, FileLock_LockDevice(name.c_str()));
    unlink(file.c_str());
}

} // namespace
