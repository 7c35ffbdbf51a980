#include "lib/misc/panic.h"

#include <csignal>
#include <cstdint>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "lib/misc/utilSafe.h"

namespace {

const std::string kHere = "tests/lib/misc/panicTest\\.cpp:[0-9]+";

/* Matches the whole output of a child that ends. */
#define EXPECT_PANIC(statement, text)                                                              \
    EXPECT_EXIT(statement, testing::KilledBySignal(SIGABRT), "^" + std::string(text) + "\n$")

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
    EXPECT_EXIT(Panic("%s\n", text.c_str()), testing::KilledBySignal(SIGABRT), "^x{1023}$");
}

TEST(PanicDeathTest, OneOfManyThreadsWrites) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_PANIC(
        {
            for (int i = 0; i < 8; i++)
                std::thread([] { Panic("once\n"); }).detach();
            Panic("once\n");
        },
        "once");
}

TEST(PanicDeathTest, APanicInsideAPanicEndsTheProcess) {
    EXPECT_EXIT(
        {
            signal(SIGABRT, [](int) { Panic("again\n"); });
            Panic("first\n");
        },
        testing::ExitedWithCode(EXIT_FAILURE), "^first\n$");
}

TEST(UtilSafeDeathTest, LackOfMemoryEndsTheProcess) {
    /* the sanitizers report first */
    const auto died = testing::KilledBySignal(SIGABRT);
    const char *text = "Unrecoverable memory allocation failure\n$";
    volatile gsize tooMuch = SIZE_MAX / 2; /* the compiler must not see it */
    EXPECT_EXIT(UtilSafeMalloc0(tooMuch), died, text);
    EXPECT_EXIT(UtilSafeCalloc0(tooMuch, 4), died, text);
    EXPECT_EXIT(UtilSafeRealloc0(nullptr, tooMuch), died, text);
}

TEST(UtilSafe, NullTextsStayNullAndCopiesAreCut) {
    EXPECT_EQ(nullptr, UtilSafeStrdup0(nullptr));
    EXPECT_EQ(nullptr, UtilSafeStrndup0(nullptr, 3));
    const char unterminated[] = {'a', 'b', 'c'};
    char *copy = UtilSafeStrndup0(unterminated, 3);
    EXPECT_STREQ("abc", copy);
    copy = static_cast<char *>(UtilSafeRealloc0(copy, 100));
    EXPECT_STREQ("abc", copy);
    free(copy);
    free(UtilSafeMalloc0(0));
    free(UtilSafeCalloc0(0, 8));
}

} // namespace
