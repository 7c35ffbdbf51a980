/*
 * The way of a message:
 *
 *   format --> escape control bytes --> under the lock: stderr, if its level allows it
 *                                                       lines --> outputs, or the ring if there are none
 *
 * A message that is logged from inside an output goes to the ring. The next message from outside empties the
 * ring first.
 */
#include "lib/misc/log.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include <unistd.h>

#include "lib/lock/vthreadBase.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/logInt.h"
#include "lib/misc/logText.h"
#include "lib/misc/logThrottle.h"
#include "lib/misc/logTime.h"

namespace {

/* Keeps errno for the length of a scope. */
class ErrnoKeeper {
public:
    ErrnoKeeper() : kept(errno) {}
    ~ErrnoKeeper() { errno = kept; }
    ErrnoKeeper(const ErrnoKeeper &) = delete;
    ErrnoKeeper &operator=(const ErrnoKeeper &) = delete;

private:
    int kept;
};

void LogToFIFO(const LogLineHeader &header, bool writeHeader, std::string_view text) {
    if (LogFIFO *fifo = LogGetFIFO())
        LogFIFO_Add(fifo, header, writeHeader, text);
}

/* Whether the message comes from inside an output, or from a function that is changing the outputs. */
bool LogIsNested() {
    return logState.lockDepth > 1 || LogIsInOutput();
}

/* Hands each line of a message to a sink, which may be another for a line that a former message began. */
template <auto sink> void LogProcessMessage(gint level, std::string_view message) {
    bool isFirst = true;
    while (!message.empty()) {
        const size_t newline = message.find('\n');
        const std::string_view piece = message.substr(0, newline + (newline != message.npos));
        const bool isContinued =
            !isFirst && !logState.partialLine && message.find_first_not_of('\n') != message.npos;
        LogLineHeader header; /* not cleared first: all fields are set */
        LogTime_Stamp(&header, level, isContinued ? 'T' : 'F');
        sink(header, !logState.partialLine, piece);
        logState.partialLine = newline == message.npos;
        isFirst = false;
        message.remove_prefix(piece.size());
    }
}

/* The ring may have the beginning of a line that was not ended before the first output came. Its rest goes there,
 * and the whole line to the outputs. Returns what is left of the message. */
std::string_view LogEndRingLine(gint level, std::string_view message) {
    const LogFIFO *fifo = logState.fifo.load(std::memory_order_acquire);
    if (!logState.partialLine || fifo == nullptr || !fifo->isLineOpen)
        return message;
    const size_t newline = message.find('\n');
    const std::string_view piece = message.substr(0, newline + (newline != message.npos));
    LogProcessMessage<LogToFIFO>(level, piece);
    LogDrainFIFO();
    return message.substr(piece.size());
}

/* Hands what waits in the ring to the outputs, and then a message. */
void LogPassOn(gint level, std::string_view text) {
    if (!LogIsFIFOEmpty()) [[unlikely]] {
        LogDrainFIFO();
        text = LogEndRingLine(level, text);
    }
    LogProcessMessage<LogToOutputs>(level, text);
}

void LogWriteStderr(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
        if (count < 0 && errno != EINTR)
            return; /* there is no other place to report to */
        text.remove_prefix(count > 0 ? size_t(count) : 0);
    }
}

struct Targets {
    bool isForStderr;
    bool isForOutputs;
};

Targets LogTargets(gint level) {
    const bool isAudit = level == LOG_LEVEL_AUDIT;
    return {!isAudit && logState.stderrLevel.load(std::memory_order_relaxed) >= level,
            isAudit || logState.maxOutputLevel.load(std::memory_order_relaxed) >= level};
}

/* Inline, as LogToFile(): after a write, each return to a caller is a branch that is predicted wrongly. */
[[gnu::always_inline]] inline void LogDeliver(const Targets &targets, gint level,
                                              std::string_view text) {
    const LogLockGuard guard;
    if (targets.isForStderr)
        LogWriteStderr(text);
    if (!targets.isForOutputs)
        return;
    if (LogIsNested() || logState.numOutputs == 0) {
        LogProcessMessage<LogToFIFO>(level, text);
        return;
    }
    LogPassOn(level, text);
}

/* Delivers a text without the bytes that terminals obey. In a signal handler no memory is allocated for it. */
void LogDeliverEscaped(const Targets &targets, gint level, std::span<char> text) {
    const std::string_view view(text.data(), text.size());
    if (LogText_HasControls(view) && !VThreadBase_IsInSignal())
        return LogDeliver(targets, level, LogText_EscapeControls(view));
    LogText_MaskControls(text.data(), text.size());
    LogDeliver(targets, level, view);
}

/* Formats into a buffer. Returns false if the text does not fit; what fits is in the buffer. */
bool LogFormat(char *buffer, size_t size, size_t *length, const char *format, va_list arguments)
    G_GNUC_PRINTF(4, 0);

bool LogFormat(char *buffer, size_t size, size_t *length, const char *format, va_list arguments) {
    buffer[0] = '\0';
    const int wanted = vsnprintf(buffer, size, format, arguments);
    if (wanted < 0)
        buffer[0] = '\0'; /* the format has no result, such as a wide character of no encoding */
    *length = wanted < 0 ? 0 : MIN(size_t(wanted), size - 1);
    return wanted >= 0 && size_t(wanted) < size;
}

/* A text that is longer than most. In a signal handler a buffer that is not there yet is not made. */
void LogAddLongMessage(const Targets &targets, gint level, const char *format, va_list arguments)
    G_GNUC_PRINTF(3, 0);

void LogAddLongMessage(const Targets &targets, gint level, const char *format, va_list arguments) {
    if (logState.formatBuffer.load(std::memory_order_acquire) == nullptr &&
        !VThreadBase_IsInSignal())
        LogEnsureBuffer(&logState.formatBuffer, static_cast<char *>(malloc(kLogRingSize)));
    LogBuffer buffer(&logState.formatBuffer);
    size_t length = 0;
    if (!LogFormat(buffer.Bytes(), buffer.Size(), &length, format, arguments))
        length = LogText_SafeTruncate(buffer.Bytes(), buffer.Size());
    if (length == 0)
        LogDeliver(targets, level, "*LONG LINE TRUNCATION*\n");
    else
        LogDeliverEscaped(targets, level, {buffer.Bytes(), length});
}

void LogAddNewMessage(gint level, const char *format, va_list arguments) G_GNUC_PRINTF(2, 0);

void LogAddNewMessage(gint level, const char *format, va_list arguments) {
    level = LogText_KnownLevel(level);
    const Targets targets = LogTargets(level);
    if (!targets.isForOutputs && !targets.isForStderr)
        return;
    if (logState.lockCreations.load(std::memory_order_relaxed) > 0)
        return;
    const ErrnoKeeper keeper;
    char text[kLogSmallBuffer];
    size_t length = 0;
    va_list again;
    va_copy(again, arguments);
    if (LogFormat(text, sizeof text, &length, format, arguments)) [[likely]] {
        if (!LogText_HasControls({text, length})) [[likely]]
            LogDeliver(targets, level, {text, length});
        else
            LogDeliverEscaped(targets, level, {text, length});
    } else
        LogAddLongMessage(targets, level, format, again);
    va_end(again);
}

} // namespace

void LogV(gint level, const char *format, va_list arguments) {
    LogAddNewMessage(level, format, arguments);
}

#define LOG_ENTRY(level)                                                                           \
    va_list arguments;                                                                             \
    va_start(arguments, format);                                                                   \
    LogAddNewMessage(level, format, arguments);                                                    \
    va_end(arguments)

void Log(const char *format, ...) {
    LOG_ENTRY(LOG_LEVEL_INFO);
}

void Warning(const char *format, ...) {
    LOG_ENTRY(LOG_LEVEL_WARNING);
}

void Log_Audit(const char *format, ...) {
    LOG_ENTRY(LOG_LEVEL_AUDIT);
}

void Log_Level(gint level, const char *format, ...) {
    LOG_ENTRY(level);
}

void LogThrottled(guint32 *counter, const char *format, ...) {
    if (!Util_Throttle(++*counter))
        return;
    LOG_ENTRY(LOG_LEVEL_INFO);
}

void WarningThrottled(guint32 *counter, const char *format, ...) {
    if (!Util_Throttle(++*counter))
        return;
    LOG_ENTRY(LOG_LEVEL_WARNING);
}

void LogForGuest(LogThrottleState *throttle, const char *format, va_list arguments) {
    const ErrnoKeeper keeper;
    const MallocPtr<char> buffer(static_cast<char *>(malloc(kLogRingSize)));
    if (buffer == nullptr)
        return;
    size_t length = 0;
    std::string_view text = "*GUEST LONG LINE TRUNCATION*\n";
    if (LogFormat(buffer.get(), kLogRingSize, &length, format, arguments))
        text = {buffer.get(), length};
    if (Log_IsThrottled(throttle, text.size())) {
        if (throttle->throttled)
            return;
        throttle->throttled = TRUE;
        text = "<<< Guest Log Throttled >>>\n";
    }
    const std::string escaped = LogText_EscapeControls(text);
    const LogLockGuard guard;
    if (LogIsNested() || logState.numOutputs == 0 || !LogTargets(LOG_LEVEL_INFO).isForOutputs)
        return;
    LogPassOn(LOG_LEVEL_INFO, escaped);
}
