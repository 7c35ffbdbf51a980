#include "lib/misc/panic.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include "lib/lock/mxUser.h"
#include "lib/misc/coreDump.h"
#include "lib/misc/log.h"
#include "lib/misc/logOutput.h"
#include "lib/misc/panicControl.h"
#include "lib/misc/utilBacktrace.h"
#include "lib/misc/utilSafe.h"
#include "lib/misc/utilSleep.h"

/* Null in programs without messages. */
#pragma weak Panic_PostPanicMsg

namespace {

constexpr size_t kMaxText = 1024;
constexpr const char *kLoopText = "Panic loop\n";
constexpr gint32 kBreakAlways = 2;

struct PanicState {
    std::atomic<bool> msgPost = true;
    std::atomic<bool> coreDumpOnPanic = true;
    std::atomic<bool> loopOnPanic = false;
    std::atomic<gint32> coreDumpFlags = 0;
    std::atomic<gint32> breakOnPanic = 0;
    std::atomic<char *> coreDumpFileName = nullptr;
};
constinit PanicState panicState;

constinit std::atomic<guint> numPanics = 0;

void PanicWrite(const char *text) {
    size_t left = strlen(text);
    while (left > 0) {
        const ssize_t count = write(STDERR_FILENO, text, left);
        if (count < 0 && errno != EINTR)
            return; /* there is no other place to report to */
        if (count > 0) {
            text += count;
            left -= size_t(count);
        }
    }
}

void SleepSecond() {
    Util_Usleep(G_USEC_PER_SEC);
}

/* Ends a process that fails in its panic. */
[[noreturn]] void PanicLoop() {
    PanicWrite(kLoopText);
    Util_ExitProcessAbruptly(EXIT_FAILURE);
}

/* Shows the text, in which percent signs are read a second time as in a format: two make one. There are no
 * arguments, so a conversion stays as it is. */
void Post(char *text) {
    if (!Panic_PostPanicMsg)
        return;
    char *to = text;
    for (const char *from = text; *from != '\0'; from++) {
        *to++ = *from;
        if (from[0] == '%' && from[1] == '%')
            from++;
    }
    *to = '\0';
    Panic_PostPanicMsg("%s", text);
}

} // namespace

void (*gPanicSleepSecond)(void) = SleepSecond;

void Panic(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Panic_Panic(format, arguments);
}

void Panic_Panic(const char *format, va_list arguments) {
    MXUser_SetInPanic();
    char text[kMaxText];
    if (vsnprintf(text, sizeof text, format, arguments) < 0)
        text[0] = '\0';
    PanicWrite(text);
    Log_DisableThrottling();

    const guint entry = ++numPanics;
    if (entry == 2) {
        Log("%s", text);
        Log("%s", kLoopText);
    }
    if (entry >= 2)
        PanicLoop();

    Log("%s", text);
    Util_Backtrace(0);
    Panic_DumpGuiResources();
    if (panicState.coreDumpOnPanic)
        CoreDump_CoreDump();
    Panic_LoopOnPanic();
    Post(text);
    Log("Exiting\n");
    exit(-1);
}

void Panic_SetPanicMsgPost(gboolean isPosted) {
    panicState.msgPost = isPosted != FALSE;
}

gboolean Panic_GetPanicMsgPost(void) {
    return panicState.msgPost;
}

void Panic_SetCoreDumpOnPanic(gboolean isDumped) {
    panicState.coreDumpOnPanic = isDumped != FALSE;
}

gboolean Panic_GetCoreDumpOnPanic(void) {
    return panicState.coreDumpOnPanic;
}

void Panic_SetCoreDumpFlags(gint32 flags) {
    panicState.coreDumpFlags = flags;
}

gint32 Panic_GetCoreDumpFlags(void) {
    return panicState.coreDumpFlags;
}

void Panic_SetCoreDumpFileName(const char *fileName) {
    free(panicState.coreDumpFileName.exchange(UtilSafeStrdup0(fileName)));
}

const char *Panic_GetCoreDumpFileName(void) {
    return panicState.coreDumpFileName;
}

void Panic_SetBreakOnPanic(gboolean isBreak) {
    panicState.breakOnPanic = isBreak ? kBreakAlways : 0;
}

gboolean Panic_GetBreakOnPanic(void) {
    return panicState.breakOnPanic >= kBreakAlways;
}

void PanicSetBreakValue(gint32 value) {
    panicState.breakOnPanic = value;
}

void Panic_BreakOnPanic(void) {}

void Panic_DumpGuiResources(void) {}

void Panic_LoopOnPanic(void) {
    if (!panicState.loopOnPanic)
        return;
    char text[64];
    snprintf(text, sizeof text, "Looping pid=%d\n", static_cast<int>(getpid()));
    PanicWrite(text);
    while (panicState.loopOnPanic)
        gPanicSleepSecond();
}

void PanicSetLoop(gboolean isLooping) {
    panicState.loopOnPanic = isLooping != FALSE;
}

void Util_ExitProcessAbruptly(gint status) {
    _exit(status);
}
