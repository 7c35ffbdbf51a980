/* Readers of the ring. They work on a copy, so that what they call may log. */
#include <string>
#include <string_view>

#include "lib/misc/log.h"
#include "lib/misc/logInt.h"
#include "lib/misc/logText.h"

namespace {

std::string LogRingBytes() {
    const LogLockGuard guard;
    const LogFIFO *fifo = logState.fifo.load(std::memory_order_acquire);
    std::string bytes;
    if (fifo == nullptr)
        return bytes;
    for (guint64 at = fifo->readPosition; at < fifo->writePosition;) {
        const size_t index = at % kLogRingSize;
        const size_t count = MIN(size_t(fifo->writePosition - at), kLogRingSize - index);
        bytes.append(fifo->storage.get() + index, count);
        at += count;
    }
    return bytes;
}

} // namespace

void LogRing_ForEach(LogRingFunc function, gpointer data) {
    const std::string bytes = LogRingBytes();
    for (std::string_view rest = bytes; rest.size() >= kLogHeaderSize;) {
        LogLineHeader header;
        rest.copy(reinterpret_cast<char *>(&header), kLogHeaderSize);
        rest.remove_prefix(kLogHeaderSize);
        const std::string line(rest.substr(0, rest.find('\n')));
        rest.remove_prefix(MIN(line.size() + 1, rest.size()));
        function(header.level, header.continuation == 'T', line.c_str(), data);
    }
}

char *LogRing_Copy(void) {
    GString *all = g_string_new(nullptr);
    LogRing_ForEach(
        [](gint level, gboolean isContinued, const char *line, gpointer data) {
            g_string_append_printf(static_cast<GString *>(data), "%c%c%s\n",
                                   LogText_FindLevel(level).letter, isContinued ? '+' : ' ', line);
        },
        all);
    return g_string_free(all, FALSE);
}

void LogRing_Clear(void) {
    const LogLockGuard guard;
    logState.partialLine = false;
    if (LogFIFO *fifo = logState.fifo.load(std::memory_order_acquire)) {
        fifo->readPosition = fifo->writePosition;
        fifo->isLineOpen = false;
    }
}
