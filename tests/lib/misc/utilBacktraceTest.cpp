#include "lib/misc/utilBacktrace.h"
#include "tests/support/logText.h"

#include <cstdarg>

#include <gmock/gmock.h>

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

void Append(gpointer data, const char *format, ...) {
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    *static_cast<std::string *>(data) += line;
}

[[gnu::noinline]] guintptr Deep(int depth, std::string *text) {
    volatile guintptr result = 0;
    if (depth == 0)
        Util_BacktraceWithFunc(4711, Append, text);
    else
        result = Deep(depth - 1, text) + 1;
    return result;
}

TEST(UtilBacktrace, PrintsEachFrameTwiceUpToALimit) {
    std::string text;
    Deep(600, &text);
    EXPECT_THAT(text, StartsWith("Backtrace for bugNr=4711\nBacktrace[0] "));
    EXPECT_THAT(text, HasSubstr("\nBacktrace[499] "));
    EXPECT_THAT(text, HasSubstr("\nSymBacktrace[499] "));
    EXPECT_THAT(text, Not(HasSubstr("Backtrace[500] ")));

    text.clear();
    Util_BacktraceWithFunc(0, Append, &text);
    EXPECT_THAT(text, StartsWith("Backtrace:\nBacktrace[0] "));
    EXPECT_THAT(text,
                ContainsRegex("\nSymBacktrace\\[[0-9]+\\] [0-9a-f]{16} rip=[0-9a-f]{16} in "
                              "function .* in object .*/libc\\.so\\.6 loaded at [0-9a-f]{16}\n"));
}

TEST(UtilBacktrace, TheBufferHasTheSameFrames) {
    std::string text;
    guintptr frames[64];
    Util_BacktraceToBuffer(__builtin_frame_address(0), frames, 64);
    Util_BacktraceFromPointerWithFunc(__builtin_frame_address(0), Append, &text);
    ASSERT_NE(0u, frames[0]);
    char line[64];
    snprintf(line, sizeof line, "rip=%016lx", static_cast<unsigned long>(frames[0]));
    EXPECT_THAT(text.substr(0, text.find('\n')), HasSubstr(line));
    EXPECT_EQ(0u, frames[63]);

    frames[1] = 1;
    Util_BacktraceToBuffer(__builtin_frame_address(0), frames, 1);
    EXPECT_EQ(1u, frames[1]);
}

TEST(UtilBacktrace, GoesToTheLog) {
    LogRing_Clear();
    Util_Backtrace(0);
    EXPECT_THAT(LogText(), ContainsRegex("^I Backtrace:\nI Backtrace\\[0\\] .*"
                                         "I SymBacktrace\\[0\\] .*\n$"));
}

} // namespace
