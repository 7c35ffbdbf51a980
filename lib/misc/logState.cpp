#include "lib/misc/logInt.h"

#include <cstdio>

#include "lib/lock/vthreadBase.h"
#include "lib/misc/atomicFence.h"
#include "lib/misc/log.h"
#include "lib/misc/utilSafe.h"

constinit LogState logState;
constinit thread_local int logOutputDepth = 0;

namespace {

MXUserRecLock *LogCreateLock() {
    Atomic_FetchAdd(&logState.lockCreations, 1);
    char name[32];
    snprintf(name, sizeof name, "logLock_%p", static_cast<void *>(&logState));
    MXUserRecLock *made = MXUser_CreateRecLockSilent(name, logState.lockRank);
    MXUserRecLock *found = nullptr;
    if (!Atomic_CompareExchange(&logState.lock, &found, made))
        MXUser_DestroyRecLock(made);
    Atomic_FetchAdd(&logState.lockCreations, -1);
    return found != nullptr ? found : made;
}

} // namespace

LogLockGuard::LogLockGuard() : held(nullptr) {
    if (logState.skipLocking.load(std::memory_order_relaxed))
        return;
    held = logState.lock.load(std::memory_order_acquire);
    if (held == nullptr) [[unlikely]]
        held = LogCreateLock();
    if (held == nullptr)
        return; /* the system has no more locks */
    MXUser_AcquireRecLock(held);
    logState.lockDepth++;
}

LogLockGuard::~LogLockGuard() {
    if (held == nullptr)
        return;
    logState.lockDepth--;
    MXUser_ReleaseRecLock(held);
}

LogBuffer::LogBuffer(LogBigBuffer *from)
    : place(from), big(Atomic_Exchange(from, static_cast<char *>(nullptr))) {}

LogBuffer::~LogBuffer() {
    if (big != nullptr)
        free(Atomic_Exchange(place, big)); /* another may have been made meanwhile */
}

void LogEnsureBuffer(LogBigBuffer *place, char *made) {
    char *found = nullptr;
    if (!Atomic_CompareExchange(place, &found, made))
        free(made);
}

LogFIFO *LogGetFIFO() {
    LogFIFO *fifo = logState.fifo.load(std::memory_order_acquire);
    if (fifo != nullptr || VThreadBase_IsInSignal())
        return fifo;
    LogFIFO *made = LogFIFO_Create();
    if (made == nullptr)
        return nullptr;
    if (Atomic_CompareExchange(&logState.fifo, &fifo, made))
        return made;
    LogFIFO_Destroy(made);
    return fifo;
}

void LogDrainFIFO() {
    if (LogIsFIFOEmpty())
        return;
    LogFIFO *fifo = logState.fifo.load(std::memory_order_acquire);
    LogBuffer buffer(&logState.drainBuffer);
    const guint64 end =
        fifo->writePosition; /* else an output that logs at each line would never end */
    LogRecord record;
    while (logState.fifo.load(std::memory_order_acquire) == fifo && fifo->readPosition < end &&
           LogFIFO_Remove(fifo, buffer.Bytes(), buffer.Size(), &record))
        LogToOutputs(record.header, true, record.text);
}
