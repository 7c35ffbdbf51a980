#include "lib/misc/hostinfo.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <dlfcn.h>
#include <link.h>
#include <sys/time.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "lib/misc/atomicFence.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/id.h"

namespace {

constinit std::atomic<char *> gOsName = nullptr;

constexpr HostinfoClocks kSystemClocks = {
    [] {
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        return guint64(now.tv_sec) * 1000000000 + guint64(now.tv_nsec);
    },
    [] {
        timeval now;
        gettimeofday(&now, nullptr);
        return gint64{now.tv_sec} * G_USEC_PER_SEC + now.tv_usec;
    },
};
constinit std::atomic<const HostinfoClocks *> clocksInUse = &kSystemClocks;

} // namespace

char *Hostinfo_GetLibraryPath(const void *address) {
    Dl_info info;
    link_map *object = nullptr;
    if (dladdr1(address, &info, reinterpret_cast<void **>(&object), RTLD_DL_LINKMAP) == 0)
        return nullptr;
    // The program itself has an empty name there. The name in info is argv[0], which need not be a path:
    // resolved from the current directory it could be any file.
    if (object->l_name[0] == '\0')
        return Hostinfo_GetModulePath(0);
    return realpath(object->l_name, nullptr);
}

char *Hostinfo_GetModulePath(guint32 asSuperUser) {
    char path[PATH_MAX];
    const uid_t before = asSuperUser != 0 ? Id_BeginSuperUser() : static_cast<uid_t>(-1);
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    Id_EndSuperUser(before);
    if (length <= 0 || static_cast<size_t>(length) == sizeof path)
        return nullptr;
    return strndup(path, length);
}

const char *Hostinfo_GetOSName(void) {
    if (const char *kept = gOsName.load(std::memory_order_acquire))
        return kept;
    utsname kernel;
    if (uname(&kernel) != 0)
        return nullptr;
    const GPtr<char> distribution(g_get_os_info(G_OS_INFO_KEY_PRETTY_NAME));
    char *made =
        g_strdup_printf("%s%s%s %s %s", distribution ? distribution.get() : "",
                        distribution ? ", " : "", kernel.sysname, kernel.release, kernel.machine);
    char *found = nullptr;
    if (Atomic_CompareExchange(&gOsName, &found, made))
        return made;
    g_free(made);
    return found;
}

HostinfoProcessQuery Hostinfo_QueryProcessExistence(gint processId) {
    if (processId <= 0)
        return HOSTINFO_PROCESS_EXISTENCE_UNKNOWN; /* kill() would address a group */
    const int savedErrno = errno;
    const bool isReached = kill(processId, 0) == 0 || errno == EPERM;
    const bool isDead = !isReached && errno == ESRCH;
    errno = savedErrno;
    if (isReached)
        return HOSTINFO_PROCESS_EXISTENCE_ALIVE;
    return isDead ? HOSTINFO_PROCESS_EXISTENCE_DEAD : HOSTINFO_PROCESS_EXISTENCE_UNKNOWN;
}

guint64 Hostinfo_SystemTimerNS(void) {
    return clocksInUse.load(std::memory_order_acquire)->systemTimerNS();
}

gint64 Hostinfo_RealTimeUS(void) {
    return clocksInUse.load(std::memory_order_acquire)->realTimeUS();
}

void HostinfoSetClocks(const HostinfoClocks *clocks) {
    clocksInUse.store(clocks != nullptr ? clocks : &kSystemClocks, std::memory_order_release);
}
