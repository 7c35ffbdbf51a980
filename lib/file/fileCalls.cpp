#include "lib/file/fileCalls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "lib/misc/utilSleep.h"

namespace {

int Open(const char *path, int flags, mode_t mode) {
    return open(path, flags, mode);
}

int ListFolder(const char *path, std::vector<std::string> *names) {
    DIR *stream = opendir(path);
    if (stream == nullptr)
        return errno;
    const dirent *entry;
    while (errno = 0, (entry = readdir(stream)) != nullptr)
        if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0)
            names->emplace_back(entry->d_name);
    const int error = errno;
    closedir(stream);
    return error;
}

int DescriptorOf(void *cookie) {
    return GPOINTER_TO_INT(cookie);
}

ssize_t ReadStream(void *cookie, char *buffer, size_t size) {
    ssize_t moved;
    do
        moved = gFileCalls->read(DescriptorOf(cookie), buffer, size);
    while (moved < 0 && errno == EINTR);
    return moved;
}

/* Returns 0 for a failure with nothing written, as streams want it. Writes all: an unbuffered stream does not repeat a
 * short write. */
ssize_t WriteStream(void *cookie, const char *buffer, size_t size) {
    size_t done = 0;
    while (done < size) {
        const ssize_t moved = gFileCalls->write(DescriptorOf(cookie), buffer + done, size - done);
        if (moved < 0 && errno == EINTR)
            continue;
        if (moved == 0)
            errno = ENOSPC;
        if (moved <= 0)
            break;
        done += static_cast<size_t>(moved);
    }
    return static_cast<ssize_t>(done);
}

int SeekStream(void *cookie, off64_t *offset, int origin) {
    const off_t position = lseek(DescriptorOf(cookie), *offset, origin);
    if (position < 0)
        return -1;
    *offset = position;
    return 0;
}

int CloseStream(void *cookie) {
    return gFileCalls->close(DescriptorOf(cookie));
}

void Sleep(guint32 msec) {
    Util_Usleep(gint64{msec} * 1000);
}

} // namespace

FILE *FileCalls_OpenStream(int fd, const char *mode) {
    FILE *stream =
        fopencookie(GINT_TO_POINTER(fd), mode, {ReadStream, WriteStream, SeekStream, CloseStream});
    if (stream == nullptr) {
        const int savedErrno = errno;
        gFileCalls->close(fd);
        errno = savedErrno;
    }
    return stream;
}

constinit const FileCalls kFileCallsOfSystem = {
    .open = Open,
    .close = close,
    .read = read,
    .write = write,
    .pread = pread,
    .pwrite = pwrite,
    .readv = readv,
    .writev = writev,
    .preadv = preadv,
    .pwritev = pwritev,
    .flock = flock,
    .fsync = fsync,
    .ftruncate = ftruncate,
    .fchmod = fchmod,
    .fchown = fchown,
    .rename = rename,
    .link = link,
    .unlink = unlink,
    .mkdir = mkdir,
    .rmdir = rmdir,
    .lstat = lstat,
    .statfs = statfs,
    .list = ListFolder,
    .sleep = Sleep,
};
constinit const FileCalls *gFileCalls = &kFileCallsOfSystem;
