#include "lib/misc/logFifo.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "lib/misc/logText.h"

namespace {

size_t LogFIFOUsed(const LogFIFO *fifo) {
    return size_t(fifo->writePosition - fifo->readPosition);
}

/* The bytes from a position up to the end of the storage, as many of them as wanted. */
std::string_view LogFIFOSpan(const LogFIFO *fifo, guint64 position, size_t wanted) {
    const size_t at = position % kLogRingSize;
    return {fifo->storage.get() + at, std::min(wanted, kLogRingSize - at)};
}

void LogFIFOPut(LogFIFO *fifo, std::string_view bytes) {
    while (!bytes.empty()) {
        const size_t at = fifo->writePosition % kLogRingSize;
        const size_t count = std::min(bytes.size(), kLogRingSize - at);
        memcpy(fifo->storage.get() + at, bytes.data(), count);
        fifo->writePosition += count;
        bytes.remove_prefix(count);
    }
}

/* Returns the length of the oldest record, with its newline; 0 if it has none. */
size_t LogFIFORecordLength(const LogFIFO *fifo) {
    const size_t used = LogFIFOUsed(fifo);
    for (size_t seen = 0; seen < used;) {
        const std::string_view span = LogFIFOSpan(fifo, fifo->readPosition + seen, used - seen);
        const size_t end = span.find('\n');
        if (end != std::string_view::npos)
            return seen + end + 1;
        seen += span.size();
    }
    return 0;
}

/* Removes the oldest records until there is more room than the size. */
void LogFIFOMakeRoom(LogFIFO *fifo, size_t size) {
    while (LogFIFOUsed(fifo) > 0 && kLogRingSize - LogFIFOUsed(fifo) <= size) {
        const size_t length = LogFIFORecordLength(fifo);
        if (length == 0)
            fifo->isLineOpen = false; /* it was the newest record, too */
        fifo->readPosition += length > 0 ? length : LogFIFOUsed(fifo);
    }
}

} // namespace

LogFIFO *LogFIFO_Create() {
    auto *fifo = new (std::nothrow) LogFIFO{};
    if (fifo == nullptr)
        return nullptr;
    fifo->storage.reset(new (std::nothrow) char[kLogRingSize]);
    if (fifo->storage != nullptr)
        return fifo;
    delete fifo;
    return nullptr;
}

void LogFIFO_Destroy(LogFIFO *fifo) {
    delete fifo;
}

void LogFIFO_Add(LogFIFO *fifo, const LogLineHeader &header, bool writeHeader,
                 std::string_view text) {
    const bool hasEnd = text.ends_with('\n');
    if (text.size() > kLogMaxLineLength)
        text = text.substr(0, LogText_WholeLength(text, kLogMaxLineLength - hasEnd));
    const bool isCut = hasEnd && !text.ends_with('\n');

    const bool isContinued = !writeHeader && fifo->isLineOpen;
    if (!isContinued && fifo->isLineOpen)
        LogFIFOPut(fifo, "\n"); /* there is always room for one byte more */
    LogFIFOMakeRoom(fifo, text.size() + isCut + (isContinued ? 0 : kLogHeaderSize));
    if (isContinued && !fifo->isLineOpen) /* the beginning of this line has just been removed */
        LogFIFOMakeRoom(fifo, text.size() + isCut + kLogHeaderSize);
    if (!isContinued || !fifo->isLineOpen)
        LogFIFOPut(fifo, {reinterpret_cast<const char *>(&header), kLogHeaderSize});
    LogFIFOPut(fifo, text);
    if (isCut)
        LogFIFOPut(fifo, "\n");
    fifo->isLineOpen = !hasEnd;
}

bool LogFIFO_Remove(LogFIFO *fifo, char *buffer, size_t size, LogRecord *record) {
    const size_t length = LogFIFORecordLength(fifo);
    if (length == 0)
        return false;
    const size_t taken = std::min(length, size - 1);
    for (size_t copied = 0; copied < taken;) {
        const std::string_view span =
            LogFIFOSpan(fifo, fifo->readPosition + copied, taken - copied);
        memcpy(buffer + copied, span.data(), span.size());
        copied += span.size();
    }
    fifo->readPosition += length;

    buffer[taken] = '\0';
    memcpy(&record->header, buffer, kLogHeaderSize);
    size_t textLength = taken - kLogHeaderSize;
    if (taken < length)
        textLength = LogText_SafeTruncate(buffer + kLogHeaderSize, size - kLogHeaderSize);
    record->text = {buffer + kLogHeaderSize, textLength};
    return true;
}
