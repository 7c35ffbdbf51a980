#include "lib/sig/sig.h"

#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include "lib/lock/vthreadBase.h"
#include "lib/misc/panicControl.h"
#include "lib/misc/poll.h"
#include "tests/lib/config/noPreferences.h"
#include "tests/support/inChild.h"
#include "tests/support/logText.h"
#include "tests/support/testLoop.h"

/* Counts what is allocated. The sanitizers have an allocator of their own. */
constinit std::atomic<size_t> gNumAllocations = 0;
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
extern "C" {
void *__libc_malloc(size_t size); // NOLINT(bugprone-reserved-identifier): the C library's name
void *malloc(size_t size) {
    gNumAllocations++;
    return __libc_malloc(size);
}
}
#endif

namespace {

using testing::HasSubstr;
using testing::Not;

/* The signals that came, each as "10 " or, inside a handler, as "10! ". Room is reserved before handlers write. */
std::string delivered;
size_t numDelivered;
gpointer lastData;

void Note(gint signal, siginfo_t *info, gpointer context, gpointer clientData) {
    EXPECT_EQ(signal, info->si_signo);
    EXPECT_EQ(VThreadBase_IsInSignal(), context != nullptr);
    delivered += std::to_string(signal) + (context != nullptr ? "! " : " ");
    numDelivered++;
    lastData = clientData;
}

void NoteAndContinue(gint signal, siginfo_t *info, gpointer context, gpointer clientData) {
    Note(signal, info, context, clientData);
    Sig_ClearBlocked(signal);
}

bool IsBlocked(int signal) {
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return sigismember(&mask, signal) == 1;
}

const PollImpl kLoop = {.Callback = testLoop::Callback, .CallbackRemove = testLoop::CallbackRemove};

void Start() {
    delivered.reserve(100000);
    Poll_InitWithImpl(&kLoop);
    EXPECT_TRUE(Sig_Init());
}

void Stop() {
    Sig_Exit();
    Poll_Exit();
}

/* Runs a body in a child, between Sig_Init() and Sig_Exit(). */
void WithSignals(const std::function<void()> &body) {
    InChild([&] {
        Start();
        body();
        Stop();
    });
}

TEST(Sig, SetsUpEachSignalAndRestoresIt) {
    InChild([] {
        struct sigaction before[65], after, present;
        std::string caught, ignored;
        for (int i = 1; i <= 64; i++)
            sigaction(i, nullptr, &before[i]);
        Start();
        EXPECT_TRUE(Sig_Init());
        EXPECT_THAT(LogText(), HasSubstr("Sig_Init already initialized \n"));
        for (int i = 1; i <= 64; i++) {
            if (sigaction(i, nullptr, &present) != 0)
                continue;
            if (present.sa_handler == SIG_IGN)
                ignored += " " + std::to_string(i);
            if (present.sa_sigaction == before[i].sa_sigaction || present.sa_handler == SIG_IGN)
                continue;
            caught += " " + std::to_string(i);
            const bool isSynchronous = i == SIGBUS || i == SIGSEGV || i == SIGILL;
            EXPECT_EQ(SA_SIGINFO | SA_RESTART | (isSynchronous ? SA_NODEFER : 0),
                      present.sa_flags & ~0x04000000)
                << i;
            EXPECT_FALSE(sigismember(&present.sa_mask, SIGSEGV));
            EXPECT_TRUE(sigismember(&present.sa_mask, SIGTERM));
        }
        EXPECT_EQ(" 1 2 3 4 6 7 8 10 11 12 14 15 16 17 20 23 24 25 26 29", caught);
        EXPECT_EQ(" 13 21 22", ignored);
        Stop();
        for (int i = 1; i <= 64; i++)
            EXPECT_TRUE(sigaction(i, nullptr, &after) != 0 ||
                        after.sa_sigaction == before[i].sa_sigaction)
                << i;
        EXPECT_TRUE(testLoop::Registrations().empty());
    });
}

TEST(Sig, EachModeDelivers) {
    WithSignals([] {
        int data = 0;
        Sig_Callback(SIGUSR1, SIG_MODE_QUEUE, NoteAndContinue, &data);
        Sig_Callback(SIGUSR2, SIG_MODE_IMMEDIATE, Note, nullptr);
        Sig_Callback(SIGHUP, SIG_MODE_IGNORE, nullptr, nullptr);
        errno = ENOTTY;
        for (int signal : {SIGUSR1, SIGHUP, SIGUSR2, SIGCHLD, SIGPIPE, SIGUSR1})
            Sig_RaiseSig(signal);
        EXPECT_EQ(ENOTTY, errno);
        EXPECT_EQ("12! ", delivered);
        testLoop::Settle();
        EXPECT_EQ("12! 10 10 ", delivered);
        EXPECT_EQ(&data, lastData);
        EXPECT_FALSE(VThreadBase_IsInSignal());

        /* a signal that is back in mode 1 when its turn comes */
        Sig_RaiseSig(SIGUSR1);
        Sig_Callback(SIGUSR1, SIG_MODE_DEFAULT, nullptr, nullptr);
        testLoop::Settle();
        EXPECT_EQ("12! 10 10 ", delivered);
        EXPECT_THAT(LogText(), HasSubstr("Dropping unhandled signal 10.\n"));
    });
}

TEST(Sig, OneCallbackOfASignalRunsAtATime) {
    WithSignals([] {
        Sig_Callback(SIGUSR1, SIG_MODE_QUEUE, Note, nullptr);
        Sig_Callback(SIGUSR2, SIG_MODE_QUEUE, NoteAndContinue, nullptr);
        for (int signal : {SIGUSR1, SIGUSR1, SIGUSR2})
            Sig_RaiseSig(signal);
        for (int i = 0; i < 10; i++)
            testLoop::Step();
        EXPECT_EQ("10 12 ", delivered);
        EXPECT_EQ(11u, testLoop::NumSteps() + testLoop::Step()); // the second one goes round

        Sig_ClearBlocked(SIGUSR1);
        testLoop::Settle();
        EXPECT_EQ("10 12 10 ", delivered);
    });
}

TEST(Sig, WithoutALoopQueuedCallbacksRunInTheHandler) {
    WithSignals([] {
        Sig_Callback(SIGUSR1, SIG_MODE_QUEUE, Note, nullptr);
        Sig_NoMainLoop(TRUE);
        Sig_NoMainLoop(TRUE);
        Sig_NoMainLoop(FALSE);
        Sig_RaiseSig(SIGUSR1);
        Sig_RaiseSig(SIGUSR1);
        EXPECT_EQ("10! ", delivered);
        EXPECT_EQ(1u, CountInLog("Serial signal 10 delayed.\n"));
        Sig_NoMainLoop(FALSE);
        Sig_ClearBlocked(SIGUSR1);
        Sig_RaiseSig(SIGUSR1);
        EXPECT_EQ("10! ", delivered);
        testLoop::Settle();
        EXPECT_EQ("10! 10 ", delivered);
    });
}

TEST(Sig, OldHandlersAreChained) {
    InChild([] {
        struct sigaction old = {};
        old.sa_sigaction = [](int, siginfo_t *, void *) { delivered += "old "; };
        old.sa_flags = SA_SIGINFO;
        for (int signal : {SIGUSR1, SIGQUIT})
            sigaction(signal, &old, nullptr);
        signal(SIGUSR2, [](int) { delivered += "older "; });
        Start();
        Sig_Callback(SIGUSR1, SIG_MODE_IMMEDIATE | SIG_CHAIN, Note, nullptr);
        Sig_Callback(SIGUSR2, SIG_MODE_IMMEDIATE | SIG_CHAIN, Note, nullptr);
        Sig_Callback(SIGQUIT, SIG_MODE_IGNORE, nullptr, nullptr);
        Sig_Callback(SIGQUIT, SIG_MODE_IMMEDIATE, Note, nullptr);
        Sig_Callback(SIGQUIT, SIG_MODE_DEFAULT | SIG_CHAIN, nullptr, nullptr);
        for (int signal : {SIGUSR1, SIGUSR2, SIGQUIT})
            Sig_RaiseSig(signal);
        EXPECT_EQ("old 10! older 12! old ", delivered);
        Stop();
    });
}

constexpr size_t kFlood = 10000;
constexpr size_t kRoom = 65536 / 128; /* of the pipe */

TEST(Sig, AFloodIsHandledOrCounted) {
    WithSignals([] {
        Sig_Callback(SIGUSR1, SIG_MODE_QUEUE, NoteAndContinue, nullptr);
        for (size_t i = 0; i < kFlood; i++) {
            Sig_RaiseSig(SIGUSR1);
            if (i % kRoom == kRoom - 1)
                testLoop::Settle();
        }
        testLoop::Settle();
        EXPECT_EQ(kFlood, numDelivered);
        EXPECT_EQ(0u, CountInLog("Too many"));

        for (size_t i = 0; i < kFlood; i++)
            Sig_RaiseSig(SIGUSR1);
        testLoop::Settle();
        EXPECT_EQ(kFlood + kRoom, numDelivered);
        EXPECT_LT(100u, CountInLog("W Too many signals queued, this shouldn't happen\n"));
    });
}

TEST(Sig, NullHandlerLogsAndContinues) {
    WithSignals([] {
        Sig_Callback(SIGUSR1, SIG_MODE_QUEUE, Sig_NullHandler, const_cast<char *>("%s job"));
        Sig_Callback(SIGUSR2, SIG_MODE_QUEUE, Sig_NullHandler, nullptr);
        for (int signal : {SIGUSR1, SIGUSR1, SIGUSR2})
            Sig_RaiseSig(signal);
        testLoop::Settle();
        const std::string tid = " -- tid " + std::to_string(gettid());
        EXPECT_EQ(2u, CountInLog("W Ignored signal 10" + tid + " (%s job).\n"));
        EXPECT_EQ(1u, CountInLog("W Ignored signal 12" + tid + ".\n"));
    });
}

TEST(Sig, InitThreadBlocksWhatTheMainThreadReceives) {
    InChild([] {
        Sig_InitThread();
        std::string blocked;
        for (int i = 1; i <= 64; i++)
            blocked += IsBlocked(i) ? " " + std::to_string(i) : "";
        EXPECT_EQ(" 1 2 3 10 12 14 15 20 23 29", blocked);
        sigset_t before;
        Sig_Unblock(SIGHUP, &before);
        Sig_Restore(&before);
        EXPECT_TRUE(IsBlocked(SIGHUP));
    });
}

TEST(Sig, RegionsAreLeftOutOfADumpUnlessASettingForbidsIt) {
    for (const char *setting : {"signal.dontUnmap=FALSE", "signal.dontUnmap=TRUE"})
        InChild([setting] {
            const NoPreferences none;
            Preference_SetFromString(setting, TRUE);
            Start();
            void *page = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            Sig_CoreDumpRegion(TRUE, TRUE, page, 4096);
            SigCoreDumpUnmapRegions();
            unsigned char isThere;
            EXPECT_EQ(strstr(setting, "TRUE") != nullptr, mincore(page, 4096, &isThere) == 0);
            Stop();
        });
}

/* The code that a signal interrupts may hold the allocator's lock. */
TEST(Sig, AHandlerLogsWithoutAllocating) {
    WithSignals([] {
        static constinit size_t numAllocations = 0;
        static const std::string longText(1000, 'x');
        Sig_Callback(
            SIGUSR1, SIG_MODE_IMMEDIATE,
            [](gint, siginfo_t *, gpointer, gpointer) {
                const size_t before = gNumAllocations;
                Log("%s\n", longText.c_str());
                Log("%s\n", "a\x1b[2Jb\xc2\x9b\xc3\xa4");
                numAllocations = gNumAllocations - before;
            },
            nullptr);
        LogRing_Clear();
        Sig_RaiseSig(SIGUSR1);
        EXPECT_EQ("I " + longText.substr(0, 318) + "\nI a?[2Jb??\xc3\xa4\n", LogText());
        EXPECT_EQ(0u, numAllocations);
    });
}

/* Requests end the process as if there were no handler. */
TEST(SigDeathTest, RequestsHaveTheirUsualEffect) {
    for (int signal : {SIGHUP, SIGINT, SIGTERM}) {
        EXPECT_EXIT(
            {
                Start();
                Sig_RaiseSig(signal);
            },
            testing::KilledBySignal(signal), "");
    }
    /* stopped, and continued with the handler still there */
    const pid_t child = fork();
    if (child == 0) {
        setpgid(0, 0); // without a parent of its session in another group, a stop has no effect
        Start();
        Sig_RaiseSig(SIGTSTP);
        const bool isLogged = CountInLog("W Caught signal 20 -- tid ") == 1;
        struct sigaction present;
        sigaction(SIGTSTP, nullptr, &present);
        _exit(isLogged && (present.sa_flags & SA_SIGINFO) ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, WUNTRACED));
    if (WIFSTOPPED(status)) {
        EXPECT_EQ(SIGTSTP, WSTOPSIG(status));
        kill(child, SIGCONT);
        ASSERT_EQ(child, waitpid(child, &status, 0));
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(SigDeathTest, OtherSignalsAreReportedWithRegistersAndStack) {
    const auto crash = [] {
        Start();
        LogRing_Clear();
        atexit([] { fprintf(stderr, "%s", LogText().c_str()); });
        Sig_SetCustomCrashCatcher([](gint signal, siginfo_t *, gpointer context) {
            guintptr ip = 0, sp = 0, bp = 0;
            Sig_GetRegs(context, &ip, &sp, &bp);
            char local;
            const bool isMine = sp - reinterpret_cast<guintptr>(&local) < (1u << 20);
            dprintf(STDERR_FILENO, "custom %d %d %d\n", signal, ip != 0, isMine);
        });
        raise(SIGSEGV);
    };
    const std::string number = "0x[0-9a-f]+";
    EXPECT_EXIT(crash(), testing::ExitedWithCode(255),
                "^custom 11 1 1\nUnexpected signal: 11\\.\n"
                "W Caught signal 11 -- tid [0-9]+ \\(addr [^)]+\\)\n"
                "I SIGNAL: rip " +
                    number + " rsp .*" + "I SIGNAL: rax .*I +r8 .* r15 " + number +
                    "\n(I SIGNAL: stack " + number + " : " + number + " " + number +
                    "\n){8}I Backtrace:\n.*I Unexpected signal: 11\\.\n.*I Exiting\n$");
    EXPECT_EXIT(
        {
            Start();
            Sig_RaiseSig(SIGUSR1);
        },
        testing::ExitedWithCode(255), "^Unexpected signal: 10\\.\n$");
}

TEST(SigDeathTest, ACrashInsideAPanicEndsTheProcessAtOnce) {
    EXPECT_EXIT(
        {
            Start();
            PanicSetLoop(TRUE);
            gPanicSleepSecond = [] { raise(SIGSEGV); };
            Sig_RaiseSig(SIGUSR1);
        },
        testing::ExitedWithCode(1),
        "^Unexpected signal: 10\\.\nLooping pid=[0-9]+\nLoop on signal 11\\.\nPanic loop\n$");
}

SigCrashCatcher outer, inner;

/* Raises a signal inside two frames. Returns with what the inner one is continued. */
int RaiseInFrames(int signal) {
    if (setjmp(outer.frame) != 0)
        return -1;
    Sig_ArmCrashCatcher(&outer);
    if (const int crash = setjmp(inner.frame); crash != 0)
        return crash;
    Sig_ArmCrashCatcher(&inner);
    raise(signal);
    return -2;
}

TEST(Sig, AnArmedFrameIsContinuedAfterACrash) {
    WithSignals([] {
        for (int signal : {SIGSEGV, SIGBUS, SIGILL, SIGABRT, SIGSEGV}) {
            EXPECT_EQ(signal, RaiseInFrames(signal));
            EXPECT_FALSE(VThreadBase_IsInSignal());
            EXPECT_FALSE(IsBlocked(SIGTERM) || IsBlocked(signal));
            Sig_DisarmCrashCatcher(&outer);
        }
        EXPECT_THAT(LogText(), Not(HasSubstr("signal 1")));
    });
}

/* A handler that interrupts the armed code and crashes is left for good. */
TEST(Sig, ACrashInAHandlerContinuesOutsideOfIt) {
    WithSignals([] {
        Sig_Callback(
            SIGUSR1, SIG_MODE_IMMEDIATE,
            [](gint, siginfo_t *, gpointer, gpointer) { raise(SIGSEGV); }, nullptr);
        if (const int crash = setjmp(outer.frame); crash == 0) {
            Sig_ArmCrashCatcher(&outer);
            Sig_RaiseSig(SIGUSR1);
            ADD_FAILURE() << "goes on";
        } else {
            EXPECT_EQ(SIGSEGV, crash);
        }
        EXPECT_FALSE(VThreadBase_IsInSignal());
        EXPECT_FALSE(IsBlocked(SIGUSR1) || IsBlocked(SIGTERM));

        /* armed inside a handler, which goes on after the crash */
        Sig_Callback(SIGUSR1, SIG_MODE_DEFAULT, nullptr, nullptr);
        Sig_Callback(
            SIGUSR1, SIG_MODE_IMMEDIATE,
            [](gint, siginfo_t *, gpointer, gpointer) {
                if (setjmp(inner.frame) == 0) {
                    Sig_ArmCrashCatcher(&inner);
                    raise(SIGSEGV);
                }
                EXPECT_TRUE(VThreadBase_IsInSignal());
            },
            nullptr);
        Sig_RaiseSig(SIGUSR1);
        EXPECT_FALSE(VThreadBase_IsInSignal());
    });
}

TEST(SigDeathTest, ModesAreChanged) {
    const std::tuple<int, int, bool> rows[] = {
        /* from, after DEFAULT; to; whether that is allowed */
        {SIG_MODE_QUEUE, SIG_MODE_DEFAULT, true},
        {SIG_MODE_IMMEDIATE, SIG_MODE_DEFAULT, true},
        {SIG_MODE_IGNORE, SIG_MODE_QUEUE, true},
        {SIG_MODE_IGNORE, SIG_MODE_IMMEDIATE, true},
        {SIG_MODE_IGNORE, SIG_MODE_DEFAULT, false},
        {SIG_MODE_QUEUE, SIG_MODE_IMMEDIATE, false},
        {SIG_MODE_IMMEDIATE, SIG_MODE_IGNORE, false},
        {SIG_MODE_IGNORE, SIG_MODE_NOT_ALLOWED, false},
        {SIG_MODE_IGNORE, 6, false},
    };
    for (const auto &[from, to, isAllowed] : rows) {
        const auto change = [from = from, to = to] {
            Start();
            Sig_Callback(SIGUSR1, from, Note, nullptr);
            Sig_Callback(SIGUSR1, to, Note, nullptr);
            Stop();
        };
        if (isAllowed)
            InChild(change);
        else
            EXPECT_DEATH(change(), "VERIFY .*lib/sig/sig.cpp") << from << " to " << to;
    }
    EXPECT_DEATH(Sig_Callback(SIGUSR1, SIG_MODE_QUEUE, Note, nullptr), "VERIFY .*lib/sig/sig.cpp");
}

} // namespace
