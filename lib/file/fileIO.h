/*
 * fileIO.h -- an open file with its name, its access and its lock
 *
 *   FileIODescriptor fd;
 *   FileIO_Invalidate(&fd);
 *   FileIOResult result = FileIO_Open(&fd, path, FILEIO_OPEN_ACCESS_READ, FILEIO_OPEN);
 *   if (result != FILEIO_SUCCESS)
 *       Warning("%s\n", FileIO_ErrorEnglish(result));
 *   result = FileIO_Pread(&fd, buffer, sizeof buffer, 0, &actual);
 *   FileIO_Close(&fd);
 *
 * Operations hide short transfers and EINTR, and report a small closed set of codes. Many small buffers are
 * coalesced into one transfer. A file is replaced through a temporary beside it, so that a crash leaves the old
 * file or the new one.
 *
 * Ownership: a descriptor owns its file, name and lock until it is closed. The caller owns the record.
 * Errors:    FileIOResult, with errno kept where a function says so. A size above 0x7fffffff ends the process.
 * Threads:   any; one descriptor is used by one thread at a time.
 */
#pragma once

#include <stdio.h>
#include <sys/types.h>
#include <sys/uio.h>

#include <glib.h>

G_BEGIN_DECLS

typedef struct FileLockToken FileLockToken;

typedef struct {
    gint posix;    /* -1: invalid */
    guint32 flags; /* as opened */
    char *fileName;
    FileLockToken *lockToken; /* NULL: not locked */
} FileIODescriptor;

typedef enum {
    FILEIO_SUCCESS = 0,
    FILEIO_CANCELLED = 1,
    FILEIO_ERROR = 2,
    FILEIO_OPEN_ERROR_EXIST = 3,
    FILEIO_LOCK_FAILED = 4,
    FILEIO_READ_ERROR_EOF = 5,
    FILEIO_FILE_NOT_FOUND = 6,
    FILEIO_NO_PERMISSION = 7,
    FILEIO_FILE_NAME_TOO_LONG = 8,
    FILEIO_WRITE_ERROR_FBIG = 9,
    FILEIO_WRITE_ERROR_NOSPC = 10,
    FILEIO_WRITE_ERROR_DQUOT = 11,
    FILEIO_RESERVED = 12,
} FileIOResult;

/* Bits of the access. */
enum {
    FILEIO_OPEN_ACCESS_READ = 0x1,
    FILEIO_OPEN_ACCESS_WRITE = 0x2,
    FILEIO_OPEN_SYNC = 0x4,
    FILEIO_OPEN_DELETE_ASAP = 0x8, /* unlinked right after opening */
    FILEIO_OPEN_UNBUFFERED = 0x10, /* O_DIRECT */
    FILEIO_OPEN_LOCKED = 0x20,
    FILEIO_OPEN_NONBLOCK = 0x80,
    FILEIO_OPEN_PRIVILEGED = 0x100,
    FILEIO_OPEN_EXCLUSIVE_READ = 0x200, /* both together: O_EXCL */
    FILEIO_OPEN_EXCLUSIVE_WRITE = 0x400,
    FILEIO_OPEN_LOCK_MANDATORY = 0x2000,
    FILEIO_OPEN_APPEND = 0x20000,
    FILEIO_OPEN_ACCESS_NOFOLLOW = 0x40000,
    FILEIO_OPEN_LOCK_ADVISORY_RESOLVED = 0x100000,
    FILEIO_OPEN_LOCK_MANDATORY_RESOLVED = 0x200000,
};

/* What to do with a file that is there, or is not. */
typedef enum {
    FILEIO_OPEN = 0,
    FILEIO_OPEN_EMPTY = 1,
    FILEIO_OPEN_CREATE = 2,
    FILEIO_OPEN_CREATE_SAFE = 3, /* fails if it exists */
    FILEIO_OPEN_CREATE_EMPTY = 4,
} FileIOOpenAction;

typedef enum {
    FILEIO_SEEK_BEGIN = 0,
    FILEIO_SEEK_CURRENT = 1,
    FILEIO_SEEK_END = 2
} FileIOSeekOrigin;

void FileIO_Invalidate(FileIODescriptor *fd);
gboolean FileIO_IsValid(const FileIODescriptor *fd);
/* Stores a copy of the path; frees it. */
void FileIO_Init(FileIODescriptor *fd, const char *path);
void FileIO_Cleanup(FileIODescriptor *fd);
const char *FileIO_Filename(const FileIODescriptor *fd);
guint32 FileIO_GetFlags(const FileIODescriptor *fd);

/* Reads the settings of transfers once; opening does so, too. */
void FileIO_OptionalSafeInitialize(void);

/**
 * FileIO_Create:
 * @fd: (out caller-allocates): gets the file; must be invalid
 * @path: (nullable): the path; %NULL is an error with errno EFAULT
 * @access: bits of FILEIO_OPEN
 * @action: what to do with a file that is there
 * @mode: the mode of a new file, less the umask
 *
 * Returns: a code; errno is that of the failure, and @fd stays invalid
 */
FileIOResult FileIO_Create(FileIODescriptor *fd, const char *path, guint32 access,
                           FileIOOpenAction action, mode_t mode);
/* The same with the mode 0600. */
FileIOResult FileIO_Open(FileIODescriptor *fd, const char *path, guint32 access,
                         FileIOOpenAction action);
/* The same; the time has no effect on this platform, where an open is tried once. */
FileIOResult FileIO_OpenRetry(FileIODescriptor *fd, const char *path, guint32 access,
                              FileIOOpenAction action, guint32 retryMsec);
FileIOResult FileIOCreateRetry(FileIODescriptor *fd, const char *path, guint32 access,
                               FileIOOpenAction action, mode_t mode, guint32 retryMsec);
/* A descriptor over one that is open, which it takes over. */
FileIODescriptor FileIO_CreateFDPosix(gint posix, guint32 flags);

/* TRUE on failure, with errno. The descriptor is unlocked and invalid in any case. */
gboolean FileIO_Close(FileIODescriptor *fd);
gboolean FileIO_CloseAndUnlink(FileIODescriptor *fd);

/* Transfers all of it or fails. @actual, which may be NULL, gets the bytes moved, also after a failure. A read
 * at the end of the file is FILEIO_READ_ERROR_EOF. */
FileIOResult FileIO_Read(FileIODescriptor *fd, gpointer buffer, gsize size, gsize *actual);
FileIOResult FileIO_Write(FileIODescriptor *fd, gconstpointer buffer, gsize size, gsize *actual);
FileIOResult FileIO_Pread(FileIODescriptor *fd, gpointer buffer, gsize size, guint64 offset,
                          gsize *actual);
FileIOResult FileIO_Pwrite(FileIODescriptor *fd, gconstpointer buffer, gsize size, guint64 offset,
                           gsize *actual);

/* The same for vectors; @size is the sum of their sizes. */
FileIOResult FileIO_Readv(FileIODescriptor *fd, const struct iovec *vectors, gint count, gsize size,
                          gsize *actual);
FileIOResult FileIO_Writev(FileIODescriptor *fd, const struct iovec *vectors, gint count,
                           gsize size, gsize *actual);
FileIOResult FileIO_Preadv(FileIODescriptor *fd, const struct iovec *vectors, gint count,
                           guint64 offset, gsize size, gsize *actual);
FileIOResult FileIO_Pwritev(FileIODescriptor *fd, const struct iovec *vectors, gint count,
                            guint64 offset, gsize size, gsize *actual);

/* Returns the new position; all ones after a failure, with errno. */
guint64 FileIO_Seek(FileIODescriptor *fd, gint64 offset, FileIOSeekOrigin origin);
/* TRUE on success, with errno otherwise. */
gboolean FileIO_Truncate(FileIODescriptor *fd, guint64 size);
/* Flushes a file to the medium. One that the system cannot flush at all counts as flushed. */
FileIOResult FileIO_Sync(FileIODescriptor *fd);
/* Each size is in bytes, -1 after a failure with errno. */
gint64 FileIO_GetSize(const FileIODescriptor *fd);
FileIOResult FileIO_GetSizeByPath(const char *path, guint64 *size);
FileIOResult FileIO_GetAllocSize(const FileIODescriptor *fd, guint64 *logicalBytes,
                                 guint64 *allocedBytes);
gboolean FileIO_SetAllocSize(FileIODescriptor *fd, guint64 size);
/* Seconds since 1970, -1 after a failure. */
gint64 FileIO_GetModTime(FileIODescriptor *fd);
/* Whether the bits of an access, or with 0 the mere existence, are allowed. */
FileIOResult FileIO_Access(const char *path, guint32 access);
gboolean FileIO_SupportsFileSize(const FileIODescriptor *fd, guint64 size);
gboolean FileIO_SupportsPrealloc(const char *path, gboolean fsCheck);
gboolean FileIO_GetVolumeSectorSize(const char *path, guint32 *sectorSize);

/* Acquires and releases the lock that the resolved bits of the flags want. */
FileIOResult FileIO_Lock(FileIODescriptor *fd, guint32 flags);
FileIOResult FileIO_Unlock(FileIODescriptor *fd);

/**
 * FileIO_AtomicTempPath:
 * @path: a path
 *
 * Returns: (transfer full) (nullable): the full path with "~" behind it, to be released with free()
 */
char *FileIO_AtomicTempPath(const char *path);

/* Creates the temporary of a file that is open, with its mode and owner. */
FileIOResult FileIO_AtomicTempFile(FileIODescriptor *fd, FileIODescriptor *temp);

/**
 * FileIO_AtomicUpdate:
 * @temp: the temporary, written; closed after success
 * @target: the file; the new one after success
 *
 * Flushes the temporary to the medium, renames it over the target, and flushes the folder. A crash leaves the old file
 * or the new one.
 *
 * Returns: %FALSE with errno, and both as they were
 */
gboolean FileIO_AtomicUpdate(FileIODescriptor *temp, FileIODescriptor *target);
/* The same for a temporary that has been flushed. */
gboolean FileIO_AtomicRename(FileIODescriptor *temp, FileIODescriptor *target);

/* Returns a stream on a duplicate of the descriptor, without a number of its own; NULL with errno. */
FILE *FileIO_DescriptorToStream(FileIODescriptor *fd, gboolean textMode);

/* Returns the message of a code, with its identifier; or its English text alone. */
const char *FileIO_MsgError(FileIOResult result);
const char *FileIO_ErrorEnglish(FileIOResult result);

/* open() with root's rights where the process can have them; close-on-exec. -1 with errno. */
gint FileIO_PrivilegedPosixOpen(const char *path, gint flags);

G_END_DECLS
