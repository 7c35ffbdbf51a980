/*
 * logFifo.h -- a ring of bytes that keeps the newest lines of a log
 *
 *   record:  LogLineHeader  text  "\n"
 *
 * A line that arrives in pieces has one header, in front of the first piece. If there is no room, the oldest
 * records are removed. A line without its newline stays until the rest arrives; if another line begins first, it
 * is ended there.
 *
 * Ownership: the texts are copied.
 * Errors:    a text that is too long for the ring is cut at the end of a character.
 * Threads:   the caller holds the log's lock.
 */
#pragma once

#include <memory>
#include <string_view>

#include <glib.h>

/* What is known of a line before its text. Each text is terminated. */
struct LogLineHeader {
    char dateTime[32];    /* "2026-03-01T10:15:02" */
    char milliseconds[8]; /* ".123" */
    char zone[8];         /* "Z", "+01:00" */
    char threadName[32];
    char continuation; /* 'F' for the first line of a message, 'T' for a later one */
    guint8 level;
};

constexpr size_t kLogRingSize = 32768;
constexpr size_t kLogHeaderSize = sizeof(LogLineHeader);
static_assert(kLogHeaderSize == 82); /* it is stored bytewise */

/* The longest line, with its newline, that a ring can hold. */
constexpr size_t kLogMaxLineLength = kLogRingSize - kLogHeaderSize - 1;

struct LogFIFO {
    std::unique_ptr<char[]> storage;
    guint64 writePosition; /* bytes ever added; the place in the storage is this modulo its size */
    guint64 readPosition;  /* bytes ever removed */
    bool isLineOpen;       /* the newest record has no newline yet */
};

/* Returns NULL if there is no memory. */
LogFIFO *LogFIFO_Create();
void LogFIFO_Destroy(LogFIFO *fifo);

/* Adds a line or a piece of one. Without writeHeader it continues the newest record, if that is open. */
void LogFIFO_Add(LogFIFO *fifo, const LogLineHeader &header, bool writeHeader,
                 std::string_view text);

struct LogRecord {
    LogLineHeader header;
    std::string_view text; /* with its newline; in the caller's buffer */
};

/**
 * LogFIFO_Remove:
 * @fifo: the ring
 * @buffer: (out caller-allocates) (array length=size): receives the record; a longer one is cut
 * @size: size of @buffer, more than that of a header
 * @record: (out): the oldest record
 *
 * Returns: false without a whole record
 */
bool LogFIFO_Remove(LogFIFO *fifo, char *buffer, size_t size, LogRecord *record);
