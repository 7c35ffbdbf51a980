#include "lib/misc/panic.h"

#include <csignal>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "lib/lock/mxUser.h"
#include "lib/misc/coreDump.h"
#include "lib/misc/logOutput.h"
#include "lib/misc/panicControl.h"
#include "lib/misc/utilSafe.h"
#include "lib/misc/utilSafeAt.h"
#include "tests/lib/lock/inThreads.h"
#include "tests/support/logText.h"

namespace {

const std::string kHere = "tests/lib/misc/panicTest\\.cpp:[0-9]+";
const auto kPanicked = testing::ExitedWithCode(255);
const auto kLooped = testing::ExitedWithCode(1);

/* Matches the whole output of a child that ends. */
#define EXPECT_PANIC(statement, text)                                                              \
    EXPECT_EXIT(statement, kPanicked, "^" + std::string(text) + "\n$")

void Print(const std::string &text) {
    EXPECT_EQ(ssize_t(text.size()), write(STDERR_FILENO, text.data(), text.size()));
}

constinit bool isPostShown = false;

/* Makes what comes to the log a part of stderr, so that its place among the other steps is seen. */
void ShowLog() {
    static constexpr LogOutputOperations kOperations = {
        [](LogOutput *, const LogLineHeader &, bool, std::string_view text) {
            Print("> " + std::string(text));
        },
        [](LogOutput *) { return gboolean{TRUE}; },
        [](LogOutput *) {},
        [](LogOutput *) { Print("unthrottled\n"); },
        nullptr,
        nullptr,
    };
    static LogOutput output;
    output.type = kLogTypeSingle;
    output.name = "shown";
    output.operations = &kOperations;
    LogRing_Clear();
    Log_AddOutput(&output);
}

} // namespace

void Panic_PostPanicMsg(const char *format, ...) {
    EXPECT_STREQ("%s", format);
    if (isPostShown)
        Print("post\n");
}

namespace {

TEST(PanicDeathTest, ChecksNameFileAndLine) {
    EXPECT_PANIC(VERIFY(1 + 1 == 3), "VERIFY " + kHere);
    EXPECT_PANIC(VERIFY_BUG(4711, false), "VERIFY " + kHere + " bugNr=4711");
    EXPECT_PANIC(NOT_REACHED(), "NOT_REACHED " + kHere);
    EXPECT_PANIC(NOT_IMPLEMENTED(), "NOT_IMPLEMENTED " + kHere);
    EXPECT_PANIC(PANIC(), "PANIC " + kHere);
}

TEST(Panic, ChecksThatHoldEvaluateOnce) {
    int looked = 0;
    VERIFY(++looked == 1);
    VERIFY_BUG(1, ++looked == 2);
    EXPECT_EQ(2, looked);
}

TEST(PanicDeathTest, LongTextsAreCut) {
    const std::string text(5000, 'x');
    EXPECT_EXIT(Panic("%s\n", text.c_str()), kPanicked, "^x{1023}$");
}

TEST(PanicDeathTest, EachStepComesInItsOrder) {
    EXPECT_EXIT(
        {
            ShowLog();
            isPostShown = true;
            MXUserInstallMxHooks(
                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, [] { Print("hook\n"); },
                nullptr);
            Panic_SetCoreDumpOnPanic(TRUE);
            Sig_SetCoreDumpFunc(
                [](gpointer text) {
                    Print(static_cast<const char *>(text));
                    _exit(3);
                },
                const_cast<char *>("dump\n"));
            PanicSetLoop(TRUE);
            gPanicSleepSecond = [] {
                usleep(1000);
                if (waitpid(-1, nullptr, WNOHANG) < 0) /* the dump is over */
                    PanicSetLoop(FALSE);
            };
            atexit([] { Print("at exit\n"); });
            Panic("text %d%%\n", 100);
        },
        kPanicked,
        "^hook\ntext 100%\nunthrottled\n> text 100%\n> Backtrace:\n> Backtrace\\[0\\] .*"
        "> SymBacktrace\\[0\\] .*core dump.*dump\n.*Looping pid=[0-9]+\npost\n"
        "> Exiting\nat exit\n$");
}

TEST(PanicDeathTest, APanicInsideAPanicEndsTheProcessAtOnce) {
    EXPECT_EXIT(
        {
            ShowLog();
            isPostShown = true;
            atexit([] { Print("at exit\n"); });
            PanicSetLoop(TRUE);
            gPanicSleepSecond = [] { Panic("again\n"); };
            Panic("first\n");
        },
        kLooped,
        "^first\nunthrottled\n> first\n> Backtrace:\n.*Looping pid=[0-9]+\nagain\nunthrottled\n"
        "> again\n> Panic loop\nPanic loop\n$");
}

TEST(PanicDeathTest, InASignalHandlerIsLikeElsewhere) {
    EXPECT_PANIC(
        {
            signal(SIGUSR2, [](int) { Panic("in a handler\n"); });
            raise(SIGUSR2);
        },
        "in a handler");
}

/* The first thread may get to its end before the second one ends the process. */
TEST(PanicDeathTest, FourThreadsAtOnceEndTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto ended = [](int status) {
        return WIFEXITED(status) && (WEXITSTATUS(status) == 1 || WEXITSTATUS(status) == 255);
    };
    EXPECT_EXIT(InThreads(4, [](int) { Panic("once\n"); }), ended,
                "^once\n(once\n|Panic loop\n)*$");
}

TEST(UtilSafeDeathTest, LackOfMemoryEndsTheProcess) {
    /* the sanitizers report first */
    const std::string text = "Unrecoverable memory allocation failure";
    volatile gsize tooMuch = SIZE_MAX / 2; /* the compiler must not see it */
    EXPECT_EXIT(UtilSafeMalloc0(tooMuch), kPanicked, text + "\n$");
    EXPECT_EXIT(UtilSafeCalloc0(tooMuch, 4), kPanicked, text + "\n$");
    EXPECT_EXIT(UtilSafeRealloc0(nullptr, tooMuch), kPanicked, text + "\n$");
    EXPECT_EXIT(UtilSafeMalloc1(tooMuch, -1, "a.cpp", 7), kPanicked, text + " at a.cpp:7\n$");
    EXPECT_EXIT(UtilSafeCalloc1(tooMuch, 4, 12, "a.cpp", 7), kPanicked,
                text + " at a.cpp:7\\.  Bug number: 12\n$");
    EXPECT_EXIT(UtilSafeRealloc1(nullptr, tooMuch, 0, "a.cpp", 7), kPanicked,
                text + " at a.cpp:7\\.  Bug number: 0\n$");
}

TEST(UtilSafe, NullTextsStayNullAndCopiesAreCut) {
    EXPECT_EQ(nullptr, UtilSafeStrdup0(nullptr));
    EXPECT_EQ(nullptr, UtilSafeStrndup0(nullptr, 3));
    EXPECT_EQ(nullptr, UtilSafeStrdup1(nullptr, 1, "", 1));
    EXPECT_EQ(nullptr, UtilSafeStrndup1(nullptr, 3, 1, "", 1));
    const char unterminated[] = {'a', 'b', 'c'};
    char *copy = UtilSafeStrndup0(unterminated, 3);
    EXPECT_STREQ("abc", copy);
    copy = static_cast<char *>(UtilSafeRealloc0(copy, 100));
    EXPECT_STREQ("abc", copy);
    free(copy);
    free(UtilSafeMalloc0(0));
    free(UtilSafeCalloc1(0, 8, 1, "", 1));
}

} // namespace
