// Transfers of many buffers: coalesced into one, or by the system's own vectored calls.
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <vector>

#include "lib/config/config.h"
#include "lib/file/fileCalls.h"
#include "lib/file/fileIOInt.h"
#include "lib/misc/err.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"

namespace {

constexpr gsize kAlignment = 4096;

struct FilePosixOptions {
    bool enabled = true;
    bool aligned = false;
    gint32 countThreshold = 5;
    gint32 sizeThreshold = 16384;
    gint32 aioNumThreads = 0; /* stored only */
    gint maxIOVec = 0x7FFFFFFF;
};

constexpr FilePosixOptions kDefaultOptions = {};
constinit FilePosixOptions filePosixOptions = {};
constinit std::atomic<bool> gIsReadBegun{false};
constinit std::atomic<const FilePosixOptions *> gOptions{
    &kDefaultOptions}; /* then filePosixOptions */

/* The options in force: the defaults until the settings were read. */
const FilePosixOptions &Options() {
    return *gOptions.load(std::memory_order_acquire);
}
constinit std::atomic<bool> gIsInterruptLogged{false};
constinit std::atomic<bool> gIsShortWriteLogged{false};

/* Copies vectors into a buffer and back, for a size that may end inside one. */
void IOV_WriteIovToBuf(const iovec *vectors, gint count, char *buffer, gsize size) {
    for (gint i = 0; i < count && size > 0; i++) {
        const gsize piece = MIN(vectors[i].iov_len, size);
        memcpy(buffer, vectors[i].iov_base, piece);
        buffer += piece;
        size -= piece;
    }
}

void IOV_WriteBufToIov(const char *buffer, gsize size, const iovec *vectors, gint count) {
    for (gint i = 0; i < count && size > 0; i++) {
        const gsize piece = MIN(vectors[i].iov_len, size);
        memcpy(vectors[i].iov_base, buffer, piece);
        buffer += piece;
        size -= piece;
    }
}

/* One buffer in place of many; empty if they stay many. */
class FileIOCoalesced {
public:
    FileIOCoalesced(const iovec *vectors_, gint count_, gsize size_, bool isWrite, bool force,
                    guint32 flags)
        : vectors(vectors_), count(count_), size(size_) {
        const FilePosixOptions &options = Options();
        if (count <= 1)
            return;
        if (!force &&
            (!options.enabled || count <= options.countThreshold ||
             size / static_cast<gsize>(count) >= static_cast<gsize>(options.sizeThreshold)))
            return;
        if (options.aligned || (flags & FILEIO_OPEN_UNBUFFERED) != 0) {
            buffer = static_cast<char *>(FileIOAligned_PoolMalloc(size));
            isPooled = buffer != nullptr;
            if (buffer == nullptr)
                buffer = static_cast<char *>(memalign(kAlignment, MAX(size, gsize{1})));
        } else {
            buffer = static_cast<char *>(UtilSafeMalloc0(size));
        }
        VERIFY(buffer != nullptr || size == 0);
        if (isWrite)
            IOV_WriteIovToBuf(vectors, count, buffer, size);
    }
    ~FileIOCoalesced() {
        if (isPooled)
            VERIFY(FileIOAligned_PoolFree(buffer));
        else
            free(buffer);
    }
    FileIOCoalesced(const FileIOCoalesced &) = delete;
    FileIOCoalesced &operator=(const FileIOCoalesced &) = delete;

    explicit operator bool() const { return buffer != nullptr; }
    char *Data() const { return buffer; }
    /* Hands out what was read. */
    void Scatter(gsize actual) const { IOV_WriteBufToIov(buffer, actual, vectors, count); }

private:
    const iovec *vectors;
    gint count;
    gsize size;
    char *buffer = nullptr;
    bool isPooled = false;
};

/* What is left of a list of vectors. A single one needs no memory. */
class Rest {
public:
    Rest(const iovec *vectors, gint count_) : count(static_cast<gsize>(MAX(count_, 0))) {
        if (count == 1)
            one = *vectors;
        else
            many.assign(vectors, vectors + count);
    }
    Rest(const Rest &) = delete;
    Rest &operator=(const Rest &) = delete;

    bool IsEmpty() const { return at == count; }
    const iovec *Data() const { return (count == 1 ? &one : many.data()) + at; }
    gint Count() const {
        return static_cast<gint>(MIN(count - at, static_cast<gsize>(Options().maxIOVec)));
    }
    /* Of all vectors, also of those that one call of the system does not take. */
    gint WholeCount() const { return static_cast<gint>(count - at); }
    const iovec &First() const { return *Data(); }
    /* Passes over what was moved and over empty vectors. False if that ended inside a vector. */
    bool Advance(gsize moved) {
        while (at < count && moved >= First().iov_len) {
            moved -= First().iov_len;
            at++;
        }
        if (moved == 0)
            return true;
        iovec &cut = count == 1 ? one : many[at];
        cut.iov_base = static_cast<char *>(cut.iov_base) + moved;
        cut.iov_len -= moved;
        return false;
    }

private:
    iovec one = {};
    std::vector<iovec> many;
    const gsize count;
    gsize at = 0;
};

void LogFailure(const char *verb) {
    Log("%s failed, errno=%d, %s\n", verb, errno, Err_ErrString());
}

FileIOResult FailureOf(const char *verb) {
    const FileIOResult result = FileIOErrno2Result(errno);
    if (result == FILEIO_ERROR)
        LogFailure(verb);
    return result;
}

/* Moves vectors one by one or coalesced, where the system has no positioned vectors. */
FileIOResult MoveOneByOne(FileIODescriptor *fd, Rest *rest, guint64 offset, bool isWrite,
                          gsize *moved) {
    while (!rest->IsEmpty()) {
        const iovec &vector = rest->First();
        const ssize_t result = isWrite
                                   ? gFileCalls->pwrite(fd->posix, vector.iov_base, vector.iov_len,
                                                        static_cast<off_t>(offset + *moved))
                                   : gFileCalls->pread(fd->posix, vector.iov_base, vector.iov_len,
                                                       static_cast<off_t>(offset + *moved));
        if (result < 0 && errno == EINTR) {
            if (!gIsInterruptLogged.exchange(true))
                Log("FILE: %s got EINTR.  Retrying\n", isWrite ? "pwrite" : "pread");
            continue;
        }
        if (result < 0)
            return FailureOf(isWrite ? "pwrite" : "pread");
        if (result == 0)
            return isWrite ? FILEIO_WRITE_ERROR_NOSPC : FILEIO_READ_ERROR_EOF;
        if (isWrite && static_cast<gsize>(result) < vector.iov_len &&
            !gIsShortWriteLogged.exchange(true))
            Log("FILE: %s wrote %zu out of %zu bytes.\n", "pwrite", static_cast<gsize>(result),
                vector.iov_len);
        *moved += static_cast<gsize>(result);
        rest->Advance(static_cast<gsize>(result));
    }
    return FILEIO_SUCCESS;
}

/* The way without pwritev() and preadv(): one buffer if it can be had. */
FileIOResult MoveCoalesced(FileIODescriptor *fd, Rest *rest, guint64 offset, gsize size,
                           bool isWrite, gsize *moved) {
    const gsize left = size - *moved;
    FileIOCoalesced coalesced(rest->Data(), rest->WholeCount(), left, isWrite, true, fd->flags);
    if (!coalesced)
        return MoveOneByOne(fd, rest, offset, isWrite, moved);
    const iovec whole = {coalesced.Data(), left};
    Rest one(&whole, 1);
    gsize movedNow = 0;
    const FileIOResult result = MoveOneByOne(fd, &one, offset + *moved, isWrite, &movedNow);
    if (!isWrite)
        coalesced.Scatter(movedNow);
    *moved += movedNow;
    return result;
}

/* Moves vectors by calls of the system; @positioned has those with an offset. */
template <class Call> FileIOResult MoveVectors(FileIODescriptor *fd, const iovec *vectors,
                                               gint count, guint64 offset, gsize size, bool isWrite,
                                               bool isPositioned, gsize *moved, Call call) {
    Rest rest(vectors, count);
    rest.Advance(0);
    while (!rest.IsEmpty()) {
        const ssize_t result = call(rest, static_cast<off_t>(offset + *moved));
        if (result < 0) {
            if (errno == EINTR)
                continue;
            if (isPositioned && (errno == EINVAL || errno == ENOSYS || errno == ENOMEM))
                return MoveCoalesced(fd, &rest, offset, size, isWrite, moved);
            return FailureOf(isWrite ? "writev" : "readv");
        }
        if (result == 0)
            return isWrite ? FILEIO_WRITE_ERROR_NOSPC : FILEIO_READ_ERROR_EOF;
        *moved += static_cast<gsize>(result);
        if (!rest.Advance(static_cast<gsize>(result)))
            return isWrite ? FILEIO_WRITE_ERROR_NOSPC : FILEIO_READ_ERROR_EOF;
    }
    return FILEIO_SUCCESS;
}

/* Common frame: the size is checked, and the number of moved bytes is returned in any case. */
template <class Move> FileIOResult Framed(gsize size, gsize *actual, Move move) {
    VERIFY(size <= FILEIO_MAX_SIZE);
    FileIO_OptionalSafeInitialize();
    gsize moved = 0;
    const FileIOResult result = move(&moved);
    if (actual != nullptr)
        *actual = moved;
    return result;
}

} // namespace

void FileIO_OptionalSafeInitialize(void) {
    if (gIsReadBegun.exchange(true))
        return;
    FilePosixOptions &options = filePosixOptions;
    options.enabled = Config_GetBool(TRUE, "filePosix.coalesce.enable");
    options.aligned = Config_GetBool(FALSE, "filePosix.coalesce.aligned");
    options.countThreshold = Config_GetLong(5, "filePosix.coalesce.count");
    options.sizeThreshold = Config_GetLong(16384, "filePosix.coalesce.size");
    options.aioNumThreads = Config_GetLong(0, "aiomgr.numThreads");
    const long limit = sysconf(_SC_IOV_MAX);
    options.maxIOVec = limit < 0 ? 0x7FFFFFFF : static_cast<gint>(limit);
    gOptions.store(&options, std::memory_order_release);
}

FileIOResult FileIO_Writev(FileIODescriptor *fd, const iovec *vectors, gint count, gsize size,
                           gsize *actual) {
    return Framed(size, actual, [=](gsize *moved) {
        FileIOCoalesced coalesced(vectors, count, size, true, false, fd->flags);
        if (coalesced)
            return FileIO_Write(fd, coalesced.Data(), size, moved);
        return MoveVectors(fd, vectors, count, 0, size, true, false, moved,
                           [fd](const Rest &rest, off_t) {
                               return gFileCalls->writev(fd->posix, rest.Data(), rest.Count());
                           });
    });
}

FileIOResult FileIO_Readv(FileIODescriptor *fd, const iovec *vectors, gint count, gsize size,
                          gsize *actual) {
    return Framed(size, actual, [=](gsize *moved) {
        FileIOCoalesced coalesced(vectors, count, size, false, false, fd->flags);
        if (coalesced) {
            const FileIOResult result = FileIO_Read(fd, coalesced.Data(), size, moved);
            coalesced.Scatter(*moved);
            return result;
        }
        return MoveVectors(fd, vectors, count, 0, size, false, false, moved,
                           [fd](const Rest &rest, off_t) {
                               return gFileCalls->readv(fd->posix, rest.Data(), rest.Count());
                           });
    });
}

FileIOResult FileIO_Pwritev(FileIODescriptor *fd, const iovec *vectors, gint count, guint64 offset,
                            gsize size, gsize *actual) {
    return Framed(size, actual, [=](gsize *moved) {
        return MoveVectors(fd, vectors, count, offset, size, true, true, moved,
                           [fd](const Rest &rest, off_t at) {
                               return gFileCalls->pwritev(fd->posix, rest.Data(), rest.Count(), at);
                           });
    });
}

FileIOResult FileIO_Preadv(FileIODescriptor *fd, const iovec *vectors, gint count, guint64 offset,
                           gsize size, gsize *actual) {
    return Framed(size, actual, [=](gsize *moved) {
        return MoveVectors(fd, vectors, count, offset, size, false, true, moved,
                           [fd](const Rest &rest, off_t at) {
                               return gFileCalls->preadv(fd->posix, rest.Data(), rest.Count(), at);
                           });
    });
}
