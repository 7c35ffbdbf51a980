/*
 * logInt.h -- the state of the log, for the parts of its module and for what implements outputs
 *
 * Threads: fields that are not atomic are guarded by the lock.
 */
#pragma once

#include <array>
#include <atomic>
#include <memory>

#include "lib/lock/mxUser.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "lib/misc/logOutput.h"

constexpr guint32 kLogMaxOutputs = 10;
constexpr gint kLogNoStderr = -1;
constexpr size_t kLogSmallBuffer = 320;

/* A buffer of kLogRingSize bytes that one user at a time takes out. */
using LogBigBuffer = std::atomic<char *>;

struct LogState {
    guint32 lockRank = 0xFF000002;
    std::atomic<bool> skipLocking = false;
    std::atomic<gint32> lockCreations = 0; /* threads that are creating the lock, which may log */
    std::atomic<gint> maxOutputLevel = 120;
    std::atomic<gint> stderrLevel = kLogNoStderr;
    guint32 numOutputs = 0;
    std::atomic<MXUserRecLock *> lock = nullptr; /* lives as long as the process */
    LogBigBuffer lineBuffer = nullptr;           /* for a line of a file output */
    LogBigBuffer drainBuffer = nullptr;          /* for a record of the ring */
    LogBigBuffer formatBuffer = nullptr;         /* for a message that is longer than most */
    std::atomic<LogFIFO *> fifo = nullptr;
    std::array<LogOutput *, kLogMaxOutputs> outputs{};
    gint32 lockDepth = 0;     /* how often the holder has entered */
    bool partialLine = false; /* the last text did not end in a newline */
};
extern LogState logState;

/* Holds the log's lock, which is recursive, for the length of a scope; does nothing while locking is skipped. */
class LogLockGuard {
public:
    LogLockGuard();
    ~LogLockGuard();
    LogLockGuard(const LogLockGuard &) = delete;
    LogLockGuard &operator=(const LogLockGuard &) = delete;

private:
    MXUserRecLock *held;
};

/* Takes a big buffer out for the length of a scope. If it is in use, or there is none yet, a small buffer of its own
 * serves. */
class LogBuffer {
public:
    explicit LogBuffer(LogBigBuffer *from);
    ~LogBuffer();
    LogBuffer(const LogBuffer &) = delete;
    LogBuffer &operator=(const LogBuffer &) = delete;
    char *Bytes() { return big != nullptr ? big : small; }
    size_t Size() const { return big != nullptr ? kLogRingSize : sizeof small; }

private:
    LogBigBuffer *place;
    char *big;
    char small[kLogSmallBuffer];
};

/* Puts a new buffer at a place that has none. The former one, if it is only in use, is freed when it comes back. */
void LogEnsureBuffer(LogBigBuffer *place, char *made);

extern constinit thread_local int logOutputDepth; /* outputs that this thread is inside of */

/* Whether the calling thread is inside an output. */
inline bool LogIsInOutput() {
    return logOutputDepth > 0;
}

/* Hands a line to each output whose level allows it. An output may detach itself, so it is not touched after the call. */
inline void LogToOutputs(const LogLineHeader &header, bool writeHeader, std::string_view text) {
    logOutputDepth++;
    for (guint32 i = 0; i < logState.numOutputs; i++) {
        LogOutput *output = logState.outputs[i];
        if (header.level <= output->logMinLevel || header.level == LOG_LEVEL_AUDIT)
            output->operations->dispatch(output, header, writeHeader, text);
    }
    logOutputDepth--;
}

/* Whether the ring is empty. */
inline bool LogIsFIFOEmpty() {
    const LogFIFO *fifo = logState.fifo.load(std::memory_order_acquire);
    return fifo == nullptr || fifo->readPosition == fifo->writePosition;
}

/* Hands what waits in the ring to the outputs. What they log meanwhile stays. */
void LogDrainFIFO();

/* Returns the ring, which is created on first use. NULL without memory, and in a signal handler that comes before that:
 * there is no allocation in handlers. */
LogFIFO *LogGetFIFO();
