#include "tools/schemagen/outputFile.h"

#include <cerrno>

#include <fcntl.h>
#include <glib.h>
#include <glib/gstdio.h>
#include <unistd.h>

#include "lib/misc/err.h"
#include "lib/misc/glibPtr.h"

namespace {

constexpr int kReaderSeconds = 2; /* time limit for the reader of a pipe */
constexpr int kLooksPerSecond = 20;
constexpr mode_t kNewFileMode = 0666; /* less the umask */
constexpr mode_t kModeBits = 07777;

bool Fail(const std::string &path, std::string *error) {
    *error = path + ": " + Err_ErrString();
    return false;
}

bool HasBytes(const std::string &path, std::string_view bytes) {
    gchar *raw = nullptr;
    gsize size = 0;
    if (!g_file_get_contents(path.c_str(), &raw, &size, nullptr))
        return false;
    const GPtr<gchar> text(raw);
    return std::string_view(raw, size) == bytes;
}

/* Writes a new file beside the old one, of that mode, and renames it. */
bool Replace(const std::string &path, std::string_view bytes, mode_t mode, std::string *error) {
    if (HasBytes(path, bytes))
        return true;
    GError *raw = nullptr;
    if (g_file_set_contents_full(path.c_str(), bytes.data(), static_cast<gssize>(bytes.size()),
                                 G_FILE_SET_CONTENTS_CONSISTENT, static_cast<int>(mode), &raw))
        return true;
    *error = raw->message;
    g_error_free(raw);
    return false;
}

/* Opening a pipe without a reader fails, and is repeated for a limited time instead of waiting. */
int OpenThrough(const std::string &path) {
    for (int i = 0;; i++) {
        const int file = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (file >= 0 || errno != ENXIO || i == kReaderSeconds * kLooksPerSecond)
            return file;
        g_usleep(G_USEC_PER_SEC / kLooksPerSecond);
    }
}

bool WriteAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(file, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            return false;
        bytes.remove_prefix(count < 0 ? 0 : static_cast<size_t>(count));
    }
    return true;
}

bool WriteThrough(const std::string &path, std::string_view bytes, std::string *error) {
    const int file = OpenThrough(path);
    if (file < 0)
        return Fail(path, error);
    const bool isWritten = fcntl(file, F_SETFL, O_WRONLY) == 0 && WriteAll(file, bytes);
    const int saved = errno;
    const bool isClosed = close(file) == 0;
    if (!isWritten)
        errno = saved;
    return (isWritten && isClosed) || Fail(path, error);
}

} // namespace

bool OutputFile_Write(const std::string &path, std::string_view bytes, std::string *error) {
    GStatBuf status;
    if (g_stat(path.c_str(), &status) != 0) {
        if (errno != ENOENT)
            return Fail(path, error);
        if (!g_file_test(path.c_str(), G_FILE_TEST_IS_SYMLINK))
            return Replace(path, bytes, kNewFileMode, error);
        *error = path + ": a link to a file that does not exist";
        return false;
    }
    if (!S_ISREG(status.st_mode))
        return WriteThrough(path, bytes, error);
    const GPtr<char> real(realpath(path.c_str(), nullptr));
    return real ? Replace(real.get(), bytes, status.st_mode & kModeBits, error) : Fail(path, error);
}

bool OutputFile_MakeFolder(const std::string &path, std::string *error) {
    const GPtr<gchar> folder(g_path_get_dirname(path.c_str()));
    if (g_mkdir_with_parents(folder.get(), 0777) == 0)
        return true;
    *error = "cannot make folder " + std::string(folder.get()) + ": " + Err_ErrString();
    return false;
}
