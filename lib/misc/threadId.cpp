#include "lib/misc/threadId.h"

#include <atomic>
#include <cerrno>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

constinit std::atomic<bool> hasNoThreadIds = false;

} // namespace

pid_t Util_GetCurrentThreadId(void) {
    if (!hasNoThreadIds.load(std::memory_order_relaxed)) {
        const int savedErrno = errno;
        // The C library's gettid() cannot report a failure.
        const long id = syscall(SYS_gettid);
        if (id != -1)
            return static_cast<pid_t>(id);
        hasNoThreadIds.store(true, std::memory_order_relaxed);
        errno = savedErrno;
    }
    return getpid();
}
