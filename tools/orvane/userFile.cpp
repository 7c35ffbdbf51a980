#include "tools/orvane/userFile.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

#include <fcntl.h>
#include <fmt/format.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "lib/file/fileIO.h"
#include "lib/file/fileLock.h"
#include "lib/misc/err.h"
#include "lib/misc/glibPtr.h"
#include "tools/orvane/descriptor.h"
#include "tools/orvane/message.h"

namespace orvaneCli {

namespace {

constexpr mode_t kFileMode = 0600;
constexpr mode_t kFolderMode = 0700;
constexpr guint32 kMaxWaitMsec = 30000;
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf"; /* of UTF-8 */
constexpr guint32 kReadAndWrite = FILEIO_OPEN_ACCESS_READ | FILEIO_OPEN_ACCESS_WRITE;

using PathText = MallocPtr<char>;

/* A file of the foundation; closed at the end, and removed as well if it is a temporary. */
class OpenFile {
public:
    OpenFile() { FileIO_Invalidate(&file); }
    ~OpenFile() {
        if (!FileIO_IsValid(&file))
            return;
        if (isTemporary)
            FileIO_CloseAndUnlink(&file);
        else
            FileIO_Close(&file);
    }
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;

    FileIODescriptor *Get() { return &file; }
    bool isTemporary = false;

private:
    FileIODescriptor file;
};

enum class LockKind { kShared, kExclusive };

/* The lock on the file that a path leads to, while this lives. */
class Lock {
public:
    Lock(const UserFile &file, LockKind kind) {
        const PathText real(realpath(file.Path().c_str(), nullptr));
        if (real == nullptr)
            throw file.Fail(Err_ErrString());
        path = real.get();
        int error = 0;
        token = FileLock_Lock(real.get(), kind == LockKind::kShared, kMaxWaitMsec, &error, nullptr);
        /* on a full disk there is no room for a lock; without one, a reader finds the old file or the new one, whole */
        const bool isFull = error == ENOSPC || error == EDQUOT;
        if (token == nullptr && !(isFull && kind == LockKind::kShared))
            throw file.Fail(error == 0 ? Text(MSGID("file.busy") "another program is changing it")
                                       : Text(MSGID("file.noLock") "it cannot be locked: %s",
                                              Err_Errno2String(error)));
    }
    ~Lock() {
        int error;
        if (token != nullptr)
            FileLock_Unlock(token, &error, nullptr); /* whoever comes next removes what is left */
    }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

    const std::string &Path() const { return path; }

private:
    std::string path;
    FileLockToken *token; /* null for a reader of a full disk */
};

/* Returns why the file must not be used; empty if it may be. */
std::string Distrust(const struct stat &status) {
    if (!S_ISREG(status.st_mode))
        return Text(MSGID("file.notRegular") "is no regular file");
    if (status.st_uid != geteuid() && status.st_uid != 0)
        return Text(MSGID("file.foreign") "belongs to another user");
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return Text(MSGID("file.writable") "is writable for others; if its content "
                                           "is right, use chmod 600");
    return "";
}

/* Writes a text beside the file and renames it over the file. */
void Replace(const UserFile &file, FileIODescriptor *target, const std::string &text) {
    OpenFile temporary;
    bool isReplaced = FileIO_AtomicTempFile(target, temporary.Get()) == FILEIO_SUCCESS;
    temporary.isTemporary = isReplaced;
    isReplaced = isReplaced &&
                 FileIO_Write(temporary.Get(), text.data(), text.size(), nullptr) == FILEIO_SUCCESS;
    isReplaced = isReplaced && FileIO_AtomicUpdate(temporary.Get(), target);
    if (!isReplaced)
        throw file.Fail(Err_ErrString());
}

} // namespace

std::string UserFile::Folder() {
    const char *configured = secure_getenv("XDG_CONFIG_HOME");
    const std::string base = configured != nullptr && g_path_is_absolute(configured)
                                 ? configured
                                 : std::string(g_get_home_dir()) + "/.config";
    return base + "/orvane";
}

Failure UserFile::Fail(const std::string &why) const {
    return Failure(fmt::format("{}: {}", path, why));
}

std::optional<std::string> UserFile::Read() const {
    if (!ReadNow()) /* refuses what must not be locked */
        return std::nullopt;
    const Lock lock(*this, LockKind::kShared);
    return ReadNow();
}

std::optional<std::string> UserFile::ReadNow() const {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file.Number() < 0 && errno == ENOENT)
        return std::nullopt;
    struct stat status {};
    if (file.Number() < 0 || fstat(file.Number(), &status) != 0)
        throw Fail(Err_ErrString());
    if (const std::string why = Distrust(status); !why.empty())
        throw Fail(why);
    std::string text(kMaxBytes + 1, '\0');
    size_t size = 0;
    while (size < text.size()) {
        const ssize_t count = read(file.Number(), text.data() + size, text.size() - size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw Fail(Err_ErrString());
        if (count == 0)
            break;
        size += static_cast<size_t>(count);
    }
    if (size > kMaxBytes)
        throw Fail(Text(MSGID("file.tooLarge") "is too large"));
    text.resize(size);
    return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
}

void UserFile::Change(const std::function<std::string(const std::string &)> &make) const {
    const GPtr<char> folder(g_path_get_dirname(path.c_str()));
    if (g_mkdir_with_parents(folder.get(), kFolderMode) != 0)
        throw Failure(fmt::format("{}: {}", folder.get(), Err_ErrString()));
    ReadNow(); /* refuses what must not be changed, before anything is opened for writing */
    OpenFile made;
    if (FileIO_Create(made.Get(), path.c_str(), kReadAndWrite, FILEIO_OPEN_CREATE, kFileMode) !=
        FILEIO_SUCCESS)
        throw Fail(Err_ErrString());

    const Lock lock(*this, LockKind::kExclusive);
    const std::string text = make(ReadNow().value_or(""));
    if (text.size() > kMaxBytes)
        throw Fail(Text(MSGID("file.full") "is full"));
    OpenFile target; /* the file that is there now: another program may have replaced the first */
    if (FileIO_Open(target.Get(), lock.Path().c_str(), kReadAndWrite, FILEIO_OPEN) !=
        FILEIO_SUCCESS)
        throw Fail(Err_ErrString());
    Replace(*this, target.Get(), text);
}

} // namespace orvaneCli
