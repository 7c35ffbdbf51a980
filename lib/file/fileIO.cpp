// Opening, closing, locking, plain transfers, and what a file is.
#include "lib/file/fileIO.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "lib/file/fileCalls.h"
#include "lib/file/fileIOInt.h"
#include "lib/file/fileLock.h"
#include "lib/misc/err.h"
#include "lib/misc/id.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"
#include "lib/user/msgId.h"

namespace {

constexpr guint32 kLockWaitMs = 2500;
constexpr mode_t kDefaultMode = 0600;

constexpr auto kMessages = std::to_array<const char *>({
    MSG_MAGIC "(msg.fileio.success)Success",
    MSG_MAGIC "(msg.fileio.cancel)The operation was canceled by the user",
    MSG_MAGIC "(msg.fileio.generic)Error",
    MSG_MAGIC "(msg.fileio.exists)The file already exists",
    MSG_MAGIC "(msg.fileio.lock)Failed to lock the file",
    MSG_MAGIC "(msg.fileio.eof)Tried to read beyond the end of the file",
    MSG_MAGIC "(msg.fileio.notfound)Could not find the file",
    MSG_MAGIC "(msg.fileio.noPerm)Insufficient permission to access the file",
    MSG_MAGIC "(msg.fileio.namelong)The file name is too long",
    MSG_MAGIC "(msg.fileio.fBig)The file is too large",
    MSG_MAGIC "(msg.fileio.noSpc)There is no space left on the device",
    MSG_MAGIC "(msg.fileio.dQuot)There is no space left on the device",
});

/* What each action asks of open(). */
constexpr auto FileIO_OpenActions = std::to_array<int>({
    0,
    O_TRUNC,
    O_CREAT,
    O_CREAT | O_EXCL,
    O_CREAT | O_TRUNC,
});

constexpr struct {
    guint32 bits; /* all of them */
    int openFlag;
} kOpenFlags[] = {
    {FILEIO_OPEN_SYNC, O_SYNC},
    {FILEIO_OPEN_UNBUFFERED, O_DIRECT},
    {FILEIO_OPEN_NONBLOCK, O_NONBLOCK},
    {FILEIO_OPEN_EXCLUSIVE_READ | FILEIO_OPEN_EXCLUSIVE_WRITE, O_EXCL},
    {FILEIO_OPEN_APPEND, O_APPEND},
    {FILEIO_OPEN_ACCESS_NOFOLLOW, O_NOFOLLOW},
};

/* Turns the wishes for a lock into the resolved bits. Locks are mandatory on another host type only. */
guint32 FileIOResolveLockBits(guint32 access) {
    if ((access & (FILEIO_OPEN_LOCKED | FILEIO_OPEN_LOCK_MANDATORY)) == 0)
        return access;
    access |= (access & FILEIO_OPEN_LOCK_MANDATORY) != 0 ? FILEIO_OPEN_LOCK_MANDATORY_RESOLVED
                                                         : FILEIO_OPEN_LOCK_ADVISORY_RESOLVED;
    return access & ~guint32{FILEIO_OPEN_LOCKED | FILEIO_OPEN_LOCK_MANDATORY};
}

int OpenFlags(guint32 access, FileIOOpenAction action) {
    const bool isReading = (access & FILEIO_OPEN_ACCESS_READ) != 0;
    const bool isWriting = (access & FILEIO_OPEN_ACCESS_WRITE) != 0;
    int flags = O_CLOEXEC | FileIO_OpenActions[action];
    flags |= isReading && isWriting ? O_RDWR : isWriting ? O_WRONLY : O_RDONLY;
    for (const auto &row : kOpenFlags)
        if ((access & row.bits) == row.bits)
            flags |= row.openFlag;
    return flags;
}

/* open(), with root's rights if asked for. errno is that of the open. */
int PosixOpen(const char *path, int flags, mode_t mode, bool isPrivileged) {
    const uid_t before = isPrivileged ? Id_BeginSuperUser() : static_cast<uid_t>(-1);
    const int posix = gFileCalls->open(path, flags, mode);
    const int savedErrno = errno;
    if (isPrivileged)
        Id_EndSuperUser(before);
    errno = savedErrno;
    return posix;
}

/* Moves all bytes by a system call that may move fewer. A result of 0 is @atZero. */
template <class Move>
FileIOResult MoveAll(gsize size, gsize *actual, FileIOResult atZero, const char *verb, Move move) {
    VERIFY(size <= FILEIO_MAX_SIZE);
    gsize done = 0;
    FileIOResult result = FILEIO_SUCCESS;
    while (done < size) {
        const ssize_t moved = move(done, size - done);
        if (moved < 0 && errno == EINTR)
            continue;
        if (moved <= 0) {
            result = moved < 0 ? FileIOErrno2Result(errno) : atZero;
            if (result == FILEIO_ERROR)
                Log("%s failed, errno=%d, %s\n", verb, errno, Err_ErrString());
            break;
        }
        done += static_cast<gsize>(moved);
    }
    if (actual != nullptr)
        *actual = done;
    return result;
}

} // namespace

FileIOResult FileIOErrno2Result(gint error) {
    switch (error) {
    case EFBIG:
        return FILEIO_WRITE_ERROR_FBIG;
    case ENOENT:
        return FILEIO_FILE_NOT_FOUND;
    case EACCES:
        return FILEIO_NO_PERMISSION;
    case EEXIST:
        return FILEIO_OPEN_ERROR_EXIST;
    case ENOSPC:
        return FILEIO_WRITE_ERROR_NOSPC;
    case ENAMETOOLONG:
        return FILEIO_FILE_NAME_TOO_LONG;
    case EDQUOT:
        return FILEIO_WRITE_ERROR_DQUOT;
    default:
        Log("%s: Unexpected errno=%d, %s\n", "FileIOErrno2Result", error, Err_Errno2String(error));
        return FILEIO_ERROR;
    }
}

const char *FileIO_MsgError(FileIOResult result) {
    const auto index = static_cast<gsize>(result);
    if (index < kMessages.size())
        return kMessages[index];
    if (result == FILEIO_RESERVED)
        NOT_IMPLEMENTED();
    Warning("%s: bad code %d\n", "FileIO_MsgError", result);
    return MSG_MAGIC "(msg.fileio.unknown)Unknown error";
}

const char *FileIO_ErrorEnglish(FileIOResult result) {
    return MsgId_Split(FileIO_MsgError(result)).text;
}

void FileIO_Invalidate(FileIODescriptor *fd) {
    *fd = {.posix = -1, .flags = 0, .fileName = nullptr, .lockToken = nullptr};
}

gboolean FileIO_IsValid(const FileIODescriptor *fd) {
    return fd->posix != -1;
}

void FileIO_Init(FileIODescriptor *fd, const char *path) {
    fd->fileName = UtilSafeStrdup0(path);
}

void FileIO_Cleanup(FileIODescriptor *fd) {
    free(fd->fileName);
    fd->fileName = nullptr;
}

const char *FileIO_Filename(const FileIODescriptor *fd) {
    return fd->fileName;
}

guint32 FileIO_GetFlags(const FileIODescriptor *fd) {
    return fd->flags;
}

FileIOResult FileIOCreateRetry(FileIODescriptor *fd, const char *path, guint32 access,
                               FileIOOpenAction action, mode_t mode, guint32 /* retryMsec */) {
    if (path == nullptr) {
        errno = EFAULT;
        return FILEIO_ERROR;
    }
    FileIO_OptionalSafeInitialize();
    access = FileIOResolveLockBits(access);
    FileIO_Init(fd, path);
    fd->flags = access;
    if ((access & FILEIO_OPEN_LOCK_ADVISORY_RESOLVED) != 0) {
        const FileIOResult locked = FileIO_Lock(fd, access);
        if (locked != FILEIO_SUCCESS) {
            const int savedErrno = errno;
            FileIO_Cleanup(fd);
            FileIO_Invalidate(fd);
            errno = savedErrno;
            return locked;
        }
    }
    fd->posix =
        PosixOpen(path, OpenFlags(access, action), mode, (access & FILEIO_OPEN_PRIVILEGED) != 0);
    if (fd->posix < 0) {
        const int savedErrno = errno;
        const FileIOResult result = FileIOErrno2Result(savedErrno);
        FileIO_Unlock(fd);
        FileIO_Cleanup(fd);
        FileIO_Invalidate(fd);
        errno = savedErrno;
        return result;
    }
    if ((access & FILEIO_OPEN_DELETE_ASAP) != 0 && gFileCalls->unlink(path) != 0) {
        const int savedErrno = errno;
        const FileIOResult result = FileIOErrno2Result(savedErrno);
        FileIO_Close(fd);
        errno = savedErrno;
        return result;
    }
    return FILEIO_SUCCESS;
}

FileIOResult FileIO_Create(FileIODescriptor *fd, const char *path, guint32 access,
                           FileIOOpenAction action, mode_t mode) {
    return FileIOCreateRetry(fd, path, access, action, mode, 0);
}

FileIOResult FileIO_Open(FileIODescriptor *fd, const char *path, guint32 access,
                         FileIOOpenAction action) {
    return FileIOCreateRetry(fd, path, access, action, kDefaultMode, 0);
}

FileIOResult FileIO_OpenRetry(FileIODescriptor *fd, const char *path, guint32 access,
                              FileIOOpenAction action, guint32 retryMsec) {
    return FileIOCreateRetry(fd, path, access, action, kDefaultMode, retryMsec);
}

FileIODescriptor FileIO_CreateFDPosix(gint posix, guint32 flags) {
    FileIO_OptionalSafeInitialize();
    return {.posix = posix, .flags = flags, .fileName = nullptr, .lockToken = nullptr};
}

gboolean FileIO_Close(FileIODescriptor *fd) {
    const int error = gFileCalls->close(fd->posix) < 0 ? errno : 0;
    FileIO_Unlock(fd);
    FileIO_Cleanup(fd);
    FileIO_Invalidate(fd);
    errno = error;
    return error != 0;
}

gboolean FileIO_CloseAndUnlink(FileIODescriptor *fd) {
    const std::string path(fd->fileName != nullptr ? fd->fileName : "");
    const gboolean isFailed = FileIO_Close(fd);
    const int closeError = errno;
    if (gFileCalls->unlink(path.c_str()) != 0)
        return TRUE;
    errno = closeError;
    return isFailed;
}

FileIOResult FileIO_Read(FileIODescriptor *fd, gpointer buffer, gsize size, gsize *actual) {
    return MoveAll(size, actual, FILEIO_READ_ERROR_EOF, "read", [=](gsize done, gsize left) {
        return gFileCalls->read(fd->posix, static_cast<char *>(buffer) + done, left);
    });
}

FileIOResult FileIO_Write(FileIODescriptor *fd, gconstpointer buffer, gsize size, gsize *actual) {
    return MoveAll(size, actual, FILEIO_WRITE_ERROR_NOSPC, "write", [=](gsize done, gsize left) {
        return gFileCalls->write(fd->posix, static_cast<const char *>(buffer) + done, left);
    });
}

FileIOResult FileIO_Pread(FileIODescriptor *fd, gpointer buffer, gsize size, guint64 offset,
                          gsize *actual) {
    return MoveAll(size, actual, FILEIO_READ_ERROR_EOF, "pread", [=](gsize done, gsize left) {
        return gFileCalls->pread(fd->posix, static_cast<char *>(buffer) + done, left,
                                 static_cast<off_t>(offset + done));
    });
}

FileIOResult FileIO_Pwrite(FileIODescriptor *fd, gconstpointer buffer, gsize size, guint64 offset,
                           gsize *actual) {
    return MoveAll(size, actual, FILEIO_WRITE_ERROR_NOSPC, "pwrite", [=](gsize done, gsize left) {
        return gFileCalls->pwrite(fd->posix, static_cast<const char *>(buffer) + done, left,
                                  static_cast<off_t>(offset + done));
    });
}

guint64 FileIO_Seek(FileIODescriptor *fd, gint64 offset, FileIOSeekOrigin origin) {
    constexpr int kWhence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    return static_cast<guint64>(lseek(fd->posix, offset, kWhence[origin]));
}

gboolean FileIO_Truncate(FileIODescriptor *fd, guint64 size) {
    return gFileCalls->ftruncate(fd->posix, static_cast<off_t>(size)) == 0;
}

FileIOResult FileIO_Sync(FileIODescriptor *fd) {
    while (gFileCalls->fsync(fd->posix) != 0) {
        if (errno == EINVAL) /* there is nothing that could be flushed */
            return FILEIO_SUCCESS;
        if (errno != EINTR) {
            const int savedErrno = errno;
            const FileIOResult result = FileIOErrno2Result(savedErrno);
            errno = savedErrno;
            return result;
        }
    }
    return FILEIO_SUCCESS;
}

gint64 FileIO_GetSize(const FileIODescriptor *fd) {
    struct stat status;
    return fstat(fd->posix, &status) == 0 ? status.st_size : -1;
}

FileIOResult FileIO_GetSizeByPath(const char *path, guint64 *size) {
    struct stat status;
    *size = 0;
    if (stat(path, &status) != 0)
        return FileIOErrno2Result(errno);
    *size = static_cast<guint64>(status.st_size);
    return FILEIO_SUCCESS;
}

FileIOResult FileIO_GetAllocSize(const FileIODescriptor *fd, guint64 *logicalBytes,
                                 guint64 *allocedBytes) {
    constexpr guint64 kBlock = 512; /* the unit of st_blocks */
    struct stat status;
    *logicalBytes = *allocedBytes = 0;
    if (fstat(fd->posix, &status) != 0)
        return FileIOErrno2Result(errno);
    *logicalBytes = static_cast<guint64>(status.st_size);
    *allocedBytes = static_cast<guint64>(status.st_blocks) * kBlock;
    return FILEIO_SUCCESS;
}

gboolean FileIO_SetAllocSize(FileIODescriptor *fd, guint64 size) {
    return fallocate(fd->posix, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) == 0;
}

gint64 FileIO_GetModTime(FileIODescriptor *fd) {
    struct stat status;
    return fstat(fd->posix, &status) == 0 ? status.st_mtime : -1;
}

FileIOResult FileIO_Access(const char *path, guint32 access) {
    if (path == nullptr) {
        errno = EFAULT;
        return FILEIO_ERROR;
    }
    int mode = F_OK;
    if ((access & FILEIO_OPEN_ACCESS_READ) != 0)
        mode |= R_OK;
    if ((access & FILEIO_OPEN_ACCESS_WRITE) != 0)
        mode |= W_OK;
    return ::access(path, mode) == 0 ? FILEIO_SUCCESS : FileIOErrno2Result(errno);
}

gboolean FileIO_SupportsFileSize(const FileIODescriptor *fd, guint64 size) {
    /* a position can be set where there could be a byte */
    const off_t before = lseek(fd->posix, 0, SEEK_CUR);
    if (before < 0 || size > G_MAXINT64)
        return FALSE;
    const gboolean isSupported = lseek(fd->posix, static_cast<off_t>(size), SEEK_SET) >= 0;
    lseek(fd->posix, before, SEEK_SET);
    return isSupported;
}

gboolean FileIO_SupportsPrealloc(const char *path, gboolean fsCheck) {
    constexpr long kExt = 0xEF53;
    constexpr long kXfs = 0x58465342;
    constexpr long kBtrfs = 0x9123683E;
    if (!fsCheck)
        return TRUE;
    struct statfs status;
    return path != nullptr && statfs(path, &status) == 0 &&
           (status.f_type == kExt || status.f_type == kXfs || status.f_type == kBtrfs);
}

gboolean FileIO_GetVolumeSectorSize(const char *path, guint32 *sectorSize) {
    struct statfs status;
    *sectorSize = 0;
    if (statfs(path, &status) != 0)
        return FALSE;
    *sectorSize = static_cast<guint32>(status.f_bsize);
    return TRUE;
}

FileIOResult FileIO_Lock(FileIODescriptor *fd, guint32 flags) {
    if ((flags & FILEIO_OPEN_LOCK_MANDATORY_RESOLVED) != 0)
        return FILEIO_LOCK_FAILED; /* only the open can do that */
    if ((flags & FILEIO_OPEN_LOCK_ADVISORY_RESOLVED) == 0)
        return FILEIO_SUCCESS;
    int error = 0;
    fd->lockToken = FileLock_Lock(fd->fileName, (flags & FILEIO_OPEN_ACCESS_WRITE) == 0,
                                  kLockWaitMs, &error, nullptr);
    if (fd->lockToken != nullptr)
        return FILEIO_SUCCESS;
    Warning("FILE: %s on '%s' failed: %s\n", "FileIO_Lock", fd->fileName,
            error == 0 ? "Lock timed out" : Err_Errno2String(error));
    errno = error;
    return FILEIO_LOCK_FAILED;
}

FileIOResult FileIO_Unlock(FileIODescriptor *fd) {
    if (fd->lockToken == nullptr)
        return FILEIO_SUCCESS;
    int error = 0;
    const gboolean isUnlocked = FileLock_Unlock(fd->lockToken, &error, nullptr);
    fd->lockToken = nullptr;
    if (isUnlocked)
        return FILEIO_SUCCESS;
    Warning("FILE: %s on '%s' failed: %s\n", "FileIO_Unlock", fd->fileName,
            Err_Errno2String(error));
    return FILEIO_ERROR;
}

FILE *FileIO_DescriptorToStream(FileIODescriptor *fd, gboolean /* textMode */) {
    const bool isReading = (fd->flags & FILEIO_OPEN_ACCESS_READ) != 0;
    const bool isWriting = (fd->flags & FILEIO_OPEN_ACCESS_WRITE) != 0;
    const int copy = fcntl(fd->posix, F_DUPFD_CLOEXEC, 0);
    if (copy < 0)
        return nullptr;
    return FileCalls_OpenStream(copy, isReading && isWriting ? "r+" : isWriting ? "w" : "r");
}

gint FileIO_PrivilegedPosixOpen(const char *path, gint flags) {
    if (path == nullptr) {
        errno = EFAULT;
        return -1;
    }
    return PosixOpen(path, flags | O_CLOEXEC, 0, true);
}
