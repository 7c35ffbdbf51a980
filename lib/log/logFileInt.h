/*
 * logFileInt.h -- the state of a file output
 */
#pragma once

#include <memory>
#include <string>

#include "lib/log/logFile.h"
#include "lib/misc/logThrottle.h"

struct LogFileOutput : LogOutput {
    std::string fileName;
    std::string suffix;
    std::string directory;
    std::unique_ptr<char[]> drainBuffer; /* for records of the ring; NULL without throttling */
    LogFIFO *fifo = nullptr;             /* throttled lines; NULL without throttling */
    bool activated = false;
    bool append = false;
    bool fastRotation = false;
    bool syncAfterWrite = false;
    bool uniqueName = false; /* the name was generated */
    bool systemAreaTemp = false;
    bool noLogAfterThreshold = false;
    bool useTimeStamps = true;
    bool milliseconds = true;
    bool useThreadName = true;
    bool useLevelDesignator = true;
    gint32 keepOld = 0;
    int fd = -1;
    gint32 permissions = 0;
    guint64 currentSize = 0;
    guint64 rotateSize = 0;
    guint64 bytesLost = 0;
    LogThrottleState throttle{};
};

extern const LogOutputOperations kLogFileOperations;

constexpr size_t kLogMaxPrefix = 96;

/**
 * LogFilePrefix:
 * @file: the output, whose switches say what there is of the prefix
 * @header: what is known of the line
 * @buffer: (out caller-allocates): receives the prefix, at most kLogMaxPrefix bytes with a NUL
 *
 * Returns: length of the prefix, without a NUL
 */
size_t LogFilePrefix(const LogFileOutput *file, const LogLineHeader &header, char *buffer);
static_assert(kLogHeaderSize + sizeof "| | I120: " <= kLogMaxPrefix);
