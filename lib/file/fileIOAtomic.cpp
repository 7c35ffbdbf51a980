// Replacing a file: the new one is written beside it, flushed, and renamed over it.
//
//   temporary written -> fsync(temporary) -> rename -> fsync(folder)
//
// Before the rename a crash leaves the old file, after it the new one, whole.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include "lib/file/file.h"
#include "lib/file/fileCalls.h"
#include "lib/file/fileIOInt.h"
#include "lib/misc/err.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "lib/misc/utilSafe.h"

namespace {

constexpr mode_t kModeBits = 07777;

/* Removes a temporary that could not be completed. Keeps errno. */
void Discard(FileIODescriptor *temp) {
    const int savedErrno = errno;
    if (FileIO_CloseAndUnlink(temp))
        Log("%s: Failed to clean up temporary file, errno: %d\n", "FileIO_AtomicTempFile", errno);
    errno = savedErrno;
}

/* Keeps errno. */
void LogFailedRename(const FileIODescriptor *temp, const FileIODescriptor *target) {
    const int savedErrno = errno;
    Log("%s: rename of '%s' to '%s' failed %d.\n", "FileIO_AtomicUpdate", FileIO_Filename(temp),
        FileIO_Filename(target), savedErrno);
    errno = savedErrno;
}

/* Flushes the folder of a path, so that the rename survives a crash. A failure changes no result: the new file
 * is in place. */
void SyncFolder(const char *path) {
    char *folder;
    File_GetPathName(path, &folder, nullptr);
    const MallocPtr<char> owner(folder);
    const int fd = gFileCalls->open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
    if (fd < 0)
        return;
    if (gFileCalls->fsync(fd) != 0)
        Log("FILE: %s fsync of '%s' failed: %s\n", "FileIO_AtomicUpdate", folder, Err_ErrString());
    gFileCalls->close(fd);
}

} // namespace

char *FileIO_AtomicTempPath(const char *path) {
    const MallocPtr<char> full(File_FullPath(path));
    if (full == nullptr) {
        Log("%s: File_FullPath of '%s' failed.\n", "FileIO_AtomicTempPath", path);
        return nullptr;
    }
    return UtilSafeStrdup0((std::string(full.get()) + "~").c_str());
}

FileIOResult FileIO_AtomicTempFile(FileIODescriptor *fd, FileIODescriptor *temp) {
    constexpr const char *kFunction = "FileIO_AtomicTempFile";
    const MallocPtr<char> path(FileIO_AtomicTempPath(FileIO_Filename(fd)));
    if (path == nullptr)
        return FILEIO_ERROR;
    struct stat status;
    if (fstat(fd->posix, &status) != 0) {
        Log("%s: Failed to fstat '%s', errno: %d.\n", kFunction, FileIO_Filename(fd), errno);
        return FILEIO_ERROR;
    }
    if (!S_ISREG(status.st_mode)) /* a device or a pipe is written, never replaced */
        return FILEIO_ERROR;
    if (gFileCalls->unlink(path.get()) != 0 && errno != ENOENT) {
        Log("%s: Failed to unlink temporary file, errno: %d\n", kFunction, errno);
        return FILEIO_ERROR;
    }
    const FileIOResult result =
        FileIO_Create(temp, path.get(), FILEIO_OPEN_ACCESS_READ | FILEIO_OPEN_ACCESS_WRITE,
                      FILEIO_OPEN_CREATE_SAFE, status.st_mode & kModeBits);
    if (result != FILEIO_SUCCESS) {
        Log("%s: Failed to create temporary file, %s (%d). errno: %d\n", kFunction,
            FileIO_ErrorEnglish(result), result, errno);
        return result;
    }
    if (gFileCalls->fchmod(temp->posix, status.st_mode & kModeBits) != 0) {
        Log("%s: Failed to chmod temporary file, errno: %d\n", kFunction, errno);
        Discard(temp);
        return FILEIO_ERROR;
    }
    if (gFileCalls->fchown(temp->posix, status.st_uid, status.st_gid) != 0) {
        Log("%s: Failed to chown temporary file, errno: %d\n", kFunction, errno);
        Discard(temp);
        return FILEIO_ERROR;
    }
    return FILEIO_SUCCESS;
}

gboolean FileIO_AtomicRename(FileIODescriptor *temp, FileIODescriptor *target) {
    const MallocPtr<char> from(File_FullPath(FileIO_Filename(temp)));
    const MallocPtr<char> to(File_FullPath(FileIO_Filename(target)));
    if (from == nullptr || to == nullptr || gFileCalls->rename(from.get(), to.get()) != 0) {
        LogFailedRename(temp, target);
        return FALSE;
    }
    SyncFolder(to.get());
    /* the target's record keeps its name and lock, and gets the new file */
    std::swap(temp->posix, target->posix);
    FileIO_Close(temp);
    return TRUE;
}

gboolean FileIO_AtomicUpdate(FileIODescriptor *temp, FileIODescriptor *target) {
    if (FileIO_Sync(temp) == FILEIO_SUCCESS)
        return FileIO_AtomicRename(temp, target);
    LogFailedRename(temp, target);
    return FALSE;
}
