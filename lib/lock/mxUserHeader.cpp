#include "lib/lock/mxUserHeader.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>

#include "lib/misc/atomicFence.h"
#include "lib/misc/log.h"
#include "lib/misc/utilSafe.h"

constinit std::atomic<guint32> MXUserProcessSignature = 0;

namespace {

constexpr guint32 kProcessBits = 0x0fffffff;
constexpr size_t kMaxPanicText = 1024;

constinit std::atomic<guint32> lastSerialNumber = 0;

/* All locks, as a circular list. */
constinit std::atomic<MXRecLock *> listLockStorage = nullptr;
constinit MXUserHeader *listHead = nullptr;

/* The first lock chooses the value. */
void MXUserChooseProcessSignature() {
    guint32 found = 0;
    if (MXUserProcessSignature.load(std::memory_order_relaxed) != 0)
        return;
    const guint32 chosen = guint32(time(nullptr)) & kProcessBits;
    Atomic_CompareExchange(&MXUserProcessSignature, &found, chosen == 0 ? 1 : chosen);
}

} // namespace

void MXUserInitHeader(MXUserHeader *header, const MXUserKind &kind,
                      const MXUserLockOptions &options) {
    MXUserChooseProcessSignature();
    char generated[48];
    snprintf(generated, sizeof generated, "%s-%p", kind.prefix, options.caller);
    header->signature = MXUserSignature(kind.type);
    header->name = UtilSafeStrdup0(options.name ? options.name : generated);
    header->rank = options.rank;
    header->serialNumber = Atomic_FetchAdd(&lastSerialNumber, 1) + 1;
    header->dumpFunc = kind.dumpFunc;
    header->statsAction = nullptr;
    header->previous = nullptr;
    header->next = nullptr;
}

void MXUserClearHeader(MXUserHeader *header) {
    header->signature = 0;
    free(header->name);
    header->name = nullptr;
}

MXRecLock *MXUserInternalSingleton(std::atomic<MXRecLock *> *storage) {
    MXRecLock *lock = storage->load(std::memory_order_acquire);
    if (lock)
        return lock;
    auto *made = new (UtilSafeMalloc0(sizeof(MXRecLock))) MXRecLock;
    VERIFY(MXRecLockInit(made));
    if (Atomic_CompareExchange(storage, &lock, made))
        return made;
    MXRecLockDestroy(made);
    free(made);
    return lock;
}

MXRecLock *MXUserListLock() {
    return MXUserInternalSingleton(&listLockStorage);
}

void MXUserAddToList(MXUserHeader *header) {
    const MXRecLockGuard guard(MXUserListLock());
    if (listHead) {
        header->next = listHead;
        header->previous = listHead->previous;
        header->previous->next = header;
        listHead->previous = header;
    } else {
        header->next = header;
        header->previous = header;
        listHead = header;
    }
}

void MXUserRemoveFromList(MXUserHeader *header) {
    const MXRecLockGuard guard(MXUserListLock()); // other threads write this header's links too
    if (!header->next)
        return;
    if (listHead == header)
        listHead = header->next == header ? nullptr : header->next;
    header->previous->next = header->next;
    header->next->previous = header->previous;
    header->previous = nullptr;
    header->next = nullptr;
}

void MXUserForEachLock(void (*function)(MXUserHeader *header, gpointer data), gpointer data) {
    MXUserHeader *header = listHead;
    while (header) {
        function(header, data);
        header = header->next == listHead ? nullptr : header->next;
    }
}

void MXUserDumpCommon(const MXUserHeader *header) {
    Warning("\tsignature 0x%X\n", header->signature);
    Warning("\tname %s\n", header->name);
    Warning("\trank 0x%X\n", header->rank);
    Warning("\tserial number %u\n", header->serialNumber);
}

void MXUserDumpAndPanic(const MXUserHeader *header, const char *format, ...) {
    header->dumpFunc(header);
    char text[kMaxPanicText];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    Panic("%s", text);
}
