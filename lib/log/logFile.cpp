#include "lib/log/logFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <span>
#include <utility>

#include "lib/file/fileRotate.h"
#include "lib/lock/vthreadBase.h"
#include "lib/log/logFileInt.h"
#include "lib/misc/codeSet.h"
#include "lib/misc/err.h"
#include "lib/misc/hostinfo.h"
#include "lib/misc/log.h"
#include "lib/misc/logInt.h"
#include "lib/misc/logText.h"
#include "lib/misc/logTime.h"
#include "lib/unicode/unicode.h"

namespace {

constexpr size_t kLabelSize = 192;
constexpr size_t kCopyChunk = 16384;

/* A descriptor that is closed at the end of the scope. */
class Descriptor {
public:
    explicit Descriptor(int number) : fd(number) {}
    ~Descriptor() {
        if (fd >= 0)
            close(fd);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int Get() const { return fd; }
    int Release() { return std::exchange(fd, -1); }

private:
    int fd;
};

/* As write(), but for interruptions. */
ssize_t WriteOnce(int fd, std::string_view text) {
    ssize_t count;
    do
        count = write(fd, text.data(), text.size());
    while (count < 0 && errno == EINTR);
    return count;
}

LogLineHeader HeaderOfNow() {
    LogLineHeader header;
    LogTime_Stamp(&header, LOG_LEVEL_INFO, 'F');
    return header;
}

/* Returns -1 with a warning unless the path is the regular file that was opened, and no link. */
int LogOpenNoSymlinkAttack(const char *path, int permissions) {
    const int flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW;
    Descriptor fd(open(path, flags, permissions));
    if (fd.Get() < 0) {
        if (errno == ELOOP)
            Warning("Log file '%s' is a symbolic link.\n", path);
        else
            Warning("Unable to open '%s' (%d,%d): %s\n", path, flags, permissions, Err_ErrString());
        return -1;
    }
    struct stat opened;
    struct stat named;
    if (fstat(fd.Get(), &opened) != 0) {
        Warning("Cannot fstat the file '%s': '%s'\n", path, Err_ErrString());
        return -1;
    }
    if (lstat(path, &named) != 0) {
        Warning("Cannot lstat the file '%s': '%s'\n", path, Err_ErrString());
        return -1;
    }
    if (S_ISLNK(named.st_mode)) {
        Warning("Log file '%s' is a symbolic link.\n", path);
        return -1;
    }
    if (opened.st_dev != named.st_dev || opened.st_ino != named.st_ino) {
        Warning("Log file '%s' has changed.\n", path);
        return -1;
    }
    if (!S_ISREG(opened.st_mode)) {
        Warning("Log file '%s' is not a regular file.\n", path);
        return -1;
    }
    return fd.Release();
}

int LogOpen(const LogFileOutput *file) {
    return LogOpenNoSymlinkAttack(file->fileName.c_str(), file->permissions);
}

/* Writes one of the first lines of a file. Returns false if it was not written completely. */
bool LogWriteLabel(LogFileOutput *file, int fd, std::string_view text) {
    char line[kLabelSize * 2];
    const size_t prefix = LogFilePrefix(file, HeaderOfNow(), line);
    const size_t length =
        LogText_WholeLength(text.substr(0, text.size() - 1), sizeof line - prefix - 1);
    memcpy(line + prefix, text.data(), length);
    line[prefix + length] = '\n';
    const size_t size = prefix + length + 1;
    const ssize_t written = WriteOnce(fd, {line, size});
    file->currentSize += MAX(written, ssize_t{0});
    return written == ssize_t(size);
}

bool LogWriteLabels(LogFileOutput *file, int fd) {
    char text[kLabelSize];
    const LogProductInfo product = Log_GetProductInfo();
    const auto write = [&](int length) {
        if (length >= int(sizeof text))
            LogText_SafeTruncate(text, sizeof text);
        return LogWriteLabel(file, fd, text);
    };
    if (!write(snprintf(text, sizeof text, "Log for %s pid=%d version=%s build=%s option=%s\n",
                        product.appName, int(getpid()), product.appVersion, product.buildNumber,
                        product.compilationOption)) ||
        !write(snprintf(text, sizeof text, "The process is %zu-bit.\n", sizeof(void *) * 8)) ||
        !write(snprintf(text, sizeof text, "Host codepage=%s encoding=%s\n",
                        CodeSet_GetCurrentCodeSet(),
                        Unicode_EncodingEnumToName(Unicode_GetCurrentEncoding()))))
        return false;
    if (!file->useTimeStamps) {
        char now[64];
        Log_MakeTimeString(TRUE, now, sizeof now);
        if (!write(snprintf(text, sizeof text, "Log creation time is %s\n", now)))
            return false;
    }
    const char *system = Hostinfo_GetOSName();
    return LogWriteLabel(file, fd,
                         std::string("Host is ") + (system != nullptr ? system : "unknown") + "\n");
}

bool LogLabelFile(LogFileOutput *file, int fd) {
    const LogLockGuard guard; /* of the time stamps */
    if (LogWriteLabels(file, fd))
        return true;
    Warning("Unable to label log file '%s'\n", file->fileName.c_str());
    return false;
}

/* Writes a text that ends a line or not. What cannot be written is counted. Returns whether all was written. */
bool LogFileWrite(LogFileOutput *file, std::string_view text, bool countLoss) {
    const ssize_t written = WriteOnce(file->fd, text);
    const size_t done = written > 0 ? size_t(written) : 0;
    file->currentSize += done;
    if (countLoss)
        file->bytesLost += text.size() - done;
    if (file->syncAfterWrite && done > 0)
        fsync(file->fd);
    return done == text.size();
}

void LogFileReportLoss(LogFileOutput *file) {
    char line[kLogSmallBuffer];
    const size_t prefix = LogFilePrefix(file, HeaderOfNow(), line);
    const int length =
        snprintf(line + prefix, sizeof line - prefix,
                 ">>> Error writing log, %lu bytes discarded. Disk full?\n", file->bytesLost);
    if (LogFileWrite(file, {line, prefix + length}, false))
        file->bytesLost = 0;
}

/* Puts a line together and writes it; one that is too long for the buffer is cut. */
[[gnu::always_inline]] inline void LogWriteLine(LogFileOutput *file, const LogLineHeader &header,
                                                bool writeHeader, std::string_view text,
                                                std::span<char> buffer) {
    char *line = buffer.data();
    size_t length = writeHeader ? LogFilePrefix(file, header, line) : 0;
    const size_t room = buffer.size() - length;
    const bool isCut = text.size() >= room;
    if (isCut)
        text = text.substr(0, LogText_WholeLength(text, room - 2));
    memcpy(line + length, text.data(), text.size());
    length += text.size();
    if (isCut)
        line[length++] = '\n';
    if (file->bytesLost != 0) [[unlikely]]
        LogFileReportLoss(file);
    LogFileWrite(file, {line, length}, true);
}

void LogWriteLongLine(LogFileOutput *file, const LogLineHeader &header, bool writeHeader,
                      std::string_view text) {
    LogBuffer buffer(&logState.lineBuffer);
    LogWriteLine(file, header, writeHeader, text, {buffer.Bytes(), buffer.Size()});
}

[[gnu::always_inline]] inline void LogToFile(LogFileOutput *file, const LogLineHeader &header,
                                             bool writeHeader, std::string_view text) {
    if (file->fd < 0)
        return;
    if (text.size() >= kLogSmallBuffer - kLogMaxPrefix) [[unlikely]]
        return LogWriteLongLine(file, header, writeHeader, text);
    char line[kLogSmallBuffer];
    LogWriteLine(file, header, writeHeader, text, line);
}

/* Writes the lines that were held back. */
void LogFileDrain(LogFileOutput *file) {
    LogRecord record;
    while (file->drainBuffer != nullptr &&
           LogFIFO_Remove(file->fifo, file->drainBuffer.get(), kLogRingSize, &record))
        LogToFile(file, record.header, true, record.text);
}

/* Holds a line back since the log grows too fast. */
void LogFileHold(LogFileOutput *file, const LogLineHeader &header, bool writeHeader,
                 std::string_view text) {
    if (!file->throttle.throttled && header.continuation == 'F') {
        LogLineHeader note = header;
        note.level = LOG_LEVEL_INFO;
        char line[kLogSmallBuffer];
        const int length = snprintf(line, sizeof line, "<<< %.*s Throttled >>>\n",
                                    int(sizeof line / 2), file->name.c_str());
        LogToFile(file, note, true, {line, size_t(length)});
        file->throttle.throttled = TRUE;
    }
    if (file->fifo != nullptr)
        LogFIFO_Add(file->fifo, header, writeHeader, text);
}

void LogFileRotate(LogFileOutput *file) {
    if (file->keepOld != 0)
        File_Rotate(file->fileName.c_str(), file->keepOld, file->fastRotation, nullptr);
    Descriptor fd(LogOpen(file));
    if (fd.Get() < 0)
        return; /* the log goes on in the old file */
    file->currentSize = 0;
    file->bytesLost = 0;
    if (!LogLabelFile(file, fd.Get()))
        return;
    close(file->fd);
    file->fd = fd.Release();
}

void LogFileDispatch(LogOutput *output, const LogLineHeader &header, bool writeHeader,
                     std::string_view text) {
    auto *file = static_cast<LogFileOutput *>(output);
    if (Log_IsThrottled(&file->throttle, text.size())) [[unlikely]] {
        LogFileHold(file, header, writeHeader, text);
    } else {
        if (file->fifo != nullptr) [[unlikely]]
            LogFileDrain(file);
        LogToFile(file, header, writeHeader, text);
    }
    /* a signal handler leaves it to the next line, since a rotation needs memory */
    if (file->rotateSize != 0 && file->currentSize > file->rotateSize && !VThreadBase_IsInSignal())
        LogFileRotate(file);
}

/* Opens the file as the settings say, with the labels in a new one. */
int LogFileOpen(LogFileOutput *file) {
    const char *path = file->fileName.c_str();
    if (file->append) {
        const int fd = LogOpen(file);
        if (fd >= 0)
            return fd;
        Warning("Could not open log file '%s' for append, ignoring log.append option\n", path);
        file->append = false;
    }
    if (!file->uniqueName && file->keepOld != 0)
        File_Rotate(path, file->keepOld, file->fastRotation, nullptr);
    Descriptor fd(LogOpen(file));
    if (fd.Get() < 0) {
        Warning("Open of '%s' failed\n", path);
        return -1;
    }
    if (ftruncate(fd.Get(), 0) != 0) {
        Warning("Truncation of '%s' failed: %s\n", path, Err_ErrString());
        unlink(path);
        return -1;
    }
    return LogLabelFile(file, fd.Get()) ? fd.Release() : -1;
}

gboolean LogFileActivate(LogOutput *output) {
    auto *file = static_cast<LogFileOutput *>(output);
    if (file->activated)
        return TRUE;
    file->fd = LogFileOpen(file);
    if (file->fd < 0)
        return FALSE;
    if (file->throttle.bytesPerSec != LOG_NEVER_THROTTLE) {
        file->fifo = LogFIFO_Create();
        file->drainBuffer.reset(new (std::nothrow) char[kLogRingSize]);
    }
    const off_t end = lseek(file->fd, 0, SEEK_END);
    file->currentSize = MAX(end, off_t{0});
    file->throttle.totalBytes = file->currentSize;
    file->activated = true;
    return TRUE;
}

void LogFileDeactivate(LogOutput *output) {
    auto *file = static_cast<LogFileOutput *>(output);
    file->signature = 0;
    file->type = 0;
    if (file->fd >= 0)
        close(file->fd);
    LogFIFO_Destroy(file->fifo);
    delete file;
}

void LogFileDisableThrottling(LogOutput *output) {
    auto *file = static_cast<LogFileOutput *>(output);
    file->throttle.bytesPerSec = LOG_NEVER_THROTTLE;
    file->throttle.throttled = FALSE;
}

const char *LogFileGetFileName(const LogOutput *output) {
    return static_cast<const LogFileOutput *>(output)->fileName.c_str();
}

/* Copies all bytes from a descriptor. Returns false with a warning. */
bool LogCopyBytes(LogFileOutput *file, int from, const char *fromName) {
    char chunk[kCopyChunk];
    for (;;) {
        const ssize_t count = read(from, chunk, sizeof chunk);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            Warning("Read failed on '%s': %s\n", fromName, Err_ErrString());
        if (count <= 0)
            return count == 0;
        std::string_view rest(chunk, count);
        while (!rest.empty()) {
            const ssize_t written = WriteOnce(file->fd, rest);
            if (written <= 0) {
                Warning("Write failed on '%s': %s\n", file->fileName.c_str(), Err_ErrString());
                return false;
            }
            rest.remove_prefix(written);
            file->currentSize += written;
            file->throttle.totalBytes = file->currentSize;
        }
    }
}

void LogCopy(LogOutput *output, LogOutput *oldOutput) {
    auto *file = static_cast<LogFileOutput *>(output);
    const char *path = static_cast<LogFileOutput *>(oldOutput)->fileName.c_str();
    const Descriptor from(open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (from.Get() < 0) {
        Warning("Open failed on '%s': %s\n", path, Err_ErrString());
        return;
    }
    struct stat source;
    struct stat target;
    if (fstat(from.Get(), &source) != 0 || fstat(file->fd, &target) != 0 ||
        (source.st_dev == target.st_dev && source.st_ino == target.st_ino))
        return; /* both outputs write to this file */
    if (!file->append)
        file->currentSize = 0;
    lseek(file->fd, 0, file->append ? SEEK_END : SEEK_SET);
    if (LogCopyBytes(file, from.Get(), path))
        unlink(path);
}

/* Length of a text in an array of some words, which takes no call. */
template <size_t N> size_t FieldLength(const char (&field)[N]) {
    static_assert(N % sizeof(guint64) == 0);
    constexpr guint64 kOnes = 0x0101010101010101;
    constexpr guint64 kHighBits = 0x8080808080808080;
    for (size_t i = 0; i < N; i += sizeof(guint64)) {
        guint64 word;
        memcpy(&word, field + i, sizeof word);
        word = GUINT64_FROM_LE(word); /* the first byte is the lowest one */
        if (const guint64 zeros = (word - kOnes) & ~word & kHighBits)
            return i + __builtin_ctzll(zeros) / 8;
    }
    return N;
}

/* Copies the whole array, and returns where its text ends. */
template <size_t N> char *PutField(char *to, const char (&field)[N]) {
    memcpy(to, field, N);
    return to + FieldLength(field);
}

char *PutBar(char *to) {
    *to++ = '|';
    *to++ = ' ';
    return to;
}

} // namespace

constexpr LogOutputOperations kLogFileOperations = {
    LogFileDispatch,          LogFileActivate,    LogFileDeactivate,
    LogFileDisableThrottling, LogFileGetFileName, LogCopy,
};

size_t LogFilePrefix(const LogFileOutput *file, const LogLineHeader &header, char *buffer) {
    char *at = buffer;
    if (file->useTimeStamps) {
        at = PutField(at, header.dateTime);
        if (file->milliseconds)
            at = PutField(at, header.milliseconds);
        at = PutField(at, header.zone);
        at = PutBar(at);
    }
    if (file->useThreadName) {
        at = PutField(at, header.threadName);
        at = PutBar(at);
    }
    if (file->useLevelDesignator) {
        const guint8 level = header.level;
        for (char c :
             {LogText_FindLevel(level).letter, char('0' + level / 100), char('0' + level / 10 % 10),
              char('0' + level % 10), header.continuation == 'T' ? '+' : ':', ' '})
            *at++ = c;
    }
    return size_t(at - buffer);
}
