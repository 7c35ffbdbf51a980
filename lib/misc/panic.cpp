#include "lib/misc/panic.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include "lib/misc/log.h"
#include "lib/misc/threadId.h"

namespace {

constexpr size_t kMaxText = 1024;

constinit std::atomic<pid_t> panickingThread = 0;

/* Returns in the first thread only. The others wait here for the end of the process. If the first thread
 * enters again, from a signal handler, the process ends at once. */
void PanicEnter() {
    const pid_t self = Util_GetCurrentThreadId();
    pid_t first = 0;
    if (panickingThread.compare_exchange_strong(first, self))
        return;
    if (first == self)
        _exit(EXIT_FAILURE);
    for (;;)
        pause();
}

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

} // namespace

void Panic(const char *format, ...) {
    PanicEnter();
    char text[kMaxText];
    va_list arguments;
    va_start(arguments, format);
    if (vsnprintf(text, sizeof text, format, arguments) < 0)
        text[0] = '\0';
    va_end(arguments);
    PanicWrite(text);
    Log_Level(LOG_LEVEL_ERROR, "PANIC: %s", text); /* for readers of the core dump */
    abort();
}
