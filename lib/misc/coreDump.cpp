#include "lib/misc/coreDump.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "lib/misc/coreDumpRegion.h"
#include "lib/misc/err.h"
#include "lib/misc/id.h"
#include "lib/misc/log.h"
#include "lib/misc/panicControl.h"
#include "lib/misc/sigMask.h"

namespace {

constexpr gsize kMaxReservedKB = 20480;
constexpr int kMaxWaits = 120; /* of a second each */
constexpr int kSilentWaits = 10;
constexpr int kCoreFlag = 0x80; /* of a wait status */

struct CoreDumpState {
    void *reserved = nullptr;
    gsize reservedSize = 0;
    void (*function)(gpointer data) = nullptr;
    gpointer data = nullptr;
    bool allowSuidCoreDump = false;
};
constinit CoreDumpState state;

void LogSizeLimit() {
    rlimit limit;
    char text[32] = "an unlimited";
    if (getrlimit(RLIMIT_CORE, &limit) != 0) {
        Warning("\nAttempting a core dump using an unknown size limit: %s\n", Err_ErrString());
        return;
    }
    if (limit.rlim_cur == 0) {
        Warning("\nThe core dump limit is set to ZERO; no core dump should be expected\n");
        return;
    }
    if (limit.rlim_cur != RLIM_INFINITY)
        snprintf(text, sizeof text, "a %lu KB", static_cast<unsigned long>(limit.rlim_cur / 1024));
    Warning("\nAttempting a core dump using %s size limit\n", text);
}

/* Forks without the C library, whose hooks could wait for a lock of another thread. */
pid_t ForkBarely() {
#ifdef SYS_fork
    return static_cast<pid_t>(syscall(SYS_fork));
#else
    return static_cast<pid_t>(syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0));
#endif
}

[[noreturn]] void DumpInChild() {
    if (state.function)
        state.function(state.data);
    SigCoreDumpUnmapRegions();
    Id_EndSuperUser(getuid());
    if (state.allowSuidCoreDump && prctl(PR_GET_DUMPABLE) == 0)
        prctl(PR_SET_DUMPABLE, 1);
    Sig_ForceSig(SIGABRT);
    Util_ExitProcessAbruptly(EXIT_FAILURE);
}

/* Returns the result of the wait, 0 if the time has run out. */
pid_t WaitForChild(pid_t child, int *status) {
    for (int numWaits = 0;; gPanicSleepSecond()) {
        const pid_t reported = waitpid(child, status, WNOHANG);
        if (reported != 0 || numWaits == kMaxWaits)
            return reported;
        if (++numWaits > kSilentWaits)
            Warning("Waiting for child process %d to dump core...\n", child);
    }
}

gint LogModule(dl_phdr_info *info, size_t, void *data) {
    const bool isNameRequired = *static_cast<const bool *>(data);
    const char *name = info->dlpi_name ? info->dlpi_name : "";
    if (isNameRequired && name[0] == '\0')
        return 0;
    for (int i = 0; i < info->dlpi_phnum; i++) {
        const auto &header = info->dlpi_phdr[i];
        if (header.p_type != PT_LOAD)
            continue;
        const guintptr begin = info->dlpi_addr + header.p_vaddr;
        const guintptr end = begin + header.p_memsz;
        Dl_info found;
        if (name[0] == '\0' &&
            dladdr(reinterpret_cast<void *>(begin + header.p_memsz / 2), &found) && found.dli_fname)
            name = found.dli_fname;
        Log("[0x%p-0x%p): %s\n", reinterpret_cast<void *>(begin), reinterpret_cast<void *>(end),
            name[0] == '\0' ? "<no name>" : name);
        return 0;
    }
    return 0;
}

} // namespace

void CoreDump_CoreDump(void) {
    if (state.reserved)
        munmap(state.reserved, state.reservedSize);
    state.reserved = nullptr;

    const pid_t child = SigCoreDumpViaChild();
    if (child <= 0)
        return;
    char *name = SigGetCoreFileName(child);
    if (name)
        Warning("A core file is available in \"%s\"\n", name);
    else
        Log("%s: SigGetCoreFileName failure", "Sig_CoreDump");
    free(name);
}

void CoreDump_LogModules(gboolean withHeading) {
    bool isNameRequired = withHeading != FALSE;
    if (withHeading)
        Log("Printing loaded objects\n");
    dl_iterate_phdr(LogModule, &isNameRequired);
    if (withHeading)
        Log("End printing loaded objects\n");
}

void CoreDumpReserve(gsize sizeKB) {
    const gsize size = std::min(sizeKB, kMaxReservedKB) * 1024;
    if (size == 0 || state.reserved)
        return;
    void *address = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (address == MAP_FAILED)
        return; // the dump is tried without it
    state.reserved = address;
    state.reservedSize = size;
    Log("Reserved virtual address space for CoreDump(addr:%p, size:%zuKB)\n", address, size / 1024);
}

void Sig_SetCoreDumpFunc(void (*function)(gpointer data), gpointer data) {
    state.function = function;
    state.data = data;
}

void Sig_AllowSuidCoreDump(void) {
    state.allowSuidCoreDump = true;
}

pid_t SigCoreDumpViaChild(void) {
    LogSizeLimit();

    sigset_t before;
    Sig_Block(SIGPROF, &before);
    const pid_t child = ForkBarely();
    const int forkError = errno;
    Sig_Restore(&before);
    if (child < 0) {
        Warning("Fork failed: %s\n", Err_Errno2String(forkError));
        return -1;
    }
    if (child == 0)
        DumpInChild();

    int status = 0;
    const pid_t reported = WaitForChild(child, &status);
    if (reported == 0)
        Warning("Timed out waiting for child process %d.\n", child);
    else if (reported < 0)
        Warning("Failed to wait for child process %d: %s.\n", child, Err_ErrString());
    else if (reported != child)
        Warning("Wait for child process %d returned %d.\n", child, reported);
    else if ((status & kCoreFlag) == 0)
        Warning("Child process %d failed to dump core (status %#x).\n", child, status);
    else {
        Warning("Core dumped.\n");
        return child;
    }
    return -1;
}
