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

/* Lets the first thread through. The others wait here for the end; one that comes back, from a
 * signal handler that ran while it was ending, is ended at once. */
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
            return; /* nobody is left to be told */
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
    Log_Level(LOG_LEVEL_ERROR, "PANIC: %s", text); /* for whoever reads the core */
    abort();
}
