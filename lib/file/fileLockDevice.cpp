// Locks of serial devices: a file in /var/lock with one line, "process machine".
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

#include "lib/file/fileCalls.h"
#include "lib/file/fileLockInt.h"
#include "lib/misc/err.h"
#include "lib/misc/id.h"
#include "lib/misc/log.h"

namespace {

constexpr const char *kFolder = "/var/lock";
constexpr mode_t kLinkedMode = 0444;
constexpr mode_t kDirectMode = 0644;
constexpr gint kMaxTries = 100;

enum class DeviceResult : gint { Error = -1, Busy = 0, Locked = 1, Again = 2 };

/* Root's rights for as long as it lives. */
class SuperUser {
public:
    SuperUser() : before(Id_BeginSuperUser()) {}
    ~SuperUser() {
        const int savedErrno = errno;
        Id_EndSuperUser(before);
        errno = savedErrno;
    }
    SuperUser(const SuperUser &) = delete;
    SuperUser &operator=(const SuperUser &) = delete;

private:
    uid_t before;
};

/* Whether hard links tell reliably who came first on a file system. */
bool HasReliableLinks(const std::string &path) {
    constexpr auto kReliable =
        std::to_array<unsigned long>({0xEF51, 0xEF53, 0x137D, 0x6969, 0xADFF, 0x482B, 0x11954,
                                      0x1021994, 0x52654973, 0x58465342, 0x3153464A});
    struct statfs status;
    if (gFileCalls->statfs(path.c_str(), &status) != 0) {
        Warning("FILE: Bad statfs using %s (%s).\n", path.c_str(), Err_ErrString());
        return false;
    }
    const auto type = static_cast<unsigned long>(status.f_type);
    if (type == 0x517B || type == 0x4D44)
        return false;
    if (type >= 19920820 && type <= 19920823)
        return true;
    for (const unsigned long known : kReliable)
        if (type == known)
            return true;
    Warning("FILE: Unknown filesystem 0x%x. Using non-linking locking.\n",
            static_cast<unsigned>(type));
    return false;
}

/* Writes the line of this process to a new file. 0 or an errno value. */
int WriteLine(int fd, const std::string &path) {
    const std::string line = std::to_string(getpid()) + " " + FileLockGetMachineID() + "\n";
    ssize_t size;
    do
        size = gFileCalls->write(fd, line.data(), line.size());
    while (size < 0 && errno == EINTR);
    const int error = size < 0 ? errno : static_cast<gsize>(size) < line.size() ? ENOSPC : 0;
    if (error != 0)
        Warning("FILE: Failed to write to new lock file %s (%s).\n", path.c_str(),
                Err_Errno2String(error));
    return error;
}

/* Whether a path still names the file that a descriptor has open. */
bool IsNamedBy(int fd, const std::string &path) {
    struct stat opened;
    struct stat named;
    return fstat(fd, &opened) == 0 && gFileCalls->lstat(path.c_str(), &named) == 0 &&
           opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

/* Makes a file with the line of this process; none is left after a failure. It is locked until the line is written,
 * so that nobody judges it half made. Somebody who did so before is noticed at the end. 0 or an errno value. */
int MakeFile(const std::string &path, mode_t mode) {
    const int fd =
        gFileCalls->open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode);
    if (fd < 0) {
        const int error = errno;
        if (error != EEXIST)
            Warning("FILE: Failed to create new lock file %s (%s).\n", path.c_str(),
                    Err_Errno2String(error));
        return error;
    }
    while (gFileCalls->flock(fd, LOCK_EX) != 0 && errno == EINTR)
        ;
    int error = WriteLine(fd, path);
    if (!IsNamedBy(fd, path))
        error = EAGAIN;
    else if (error != 0)
        gFileCalls->unlink(path.c_str());
    gFileCalls->close(fd);
    return error;
}

/* Makes the lock file, by a link where links are reliable. 0 or an errno value; EEXIST if there is one. */
int MakeLockFile(const std::string &path, const char *name) {
    if (!HasReliableLinks(kFolder))
        return MakeFile(path, kDirectMode);
    char temporary[PATH_MAX];
    g_snprintf(temporary, sizeof temporary, "%s/LTMP..%s.t%05d", kFolder, name,
               static_cast<int>(getpid()));
    gFileCalls->unlink(temporary);
    int error = MakeFile(temporary, kLinkedMode);
    if (error != 0)
        return error == EEXIST ? EAGAIN : error;
    if (gFileCalls->link(temporary, path.c_str()) != 0)
        error = errno == ENOENT ? EAGAIN : errno; /* another thread has replaced the temporary */
    if (error != 0 && error != EEXIST && error != EAGAIN)
        Warning("FILE: Failed to create new lock file %s (%s).\n", path.c_str(),
                Err_Errno2String(error));
    if (gFileCalls->unlink(temporary) != 0 && errno != ENOENT)
        Warning("FILE: Failed to remove temporary lock file %s (%s).\n", path.c_str(),
                Err_ErrString());
    return error;
}

/* What the line of a lock file says of its owner. */
enum class Owner { InUse, Stale, Unreadable };

Owner ReadOwner(int fd, const std::string &path) {
    char line[1024];
    ssize_t size;
    do
        size = gFileCalls->pread(fd, line, sizeof line - 1, 0);
    while (size < 0 && errno == EINTR);
    if (size < 0) {
        Warning("FILE: Failed to read line from lock file %s (%s).\n", path.c_str(),
                Err_ErrString());
        return Owner::Unreadable;
    }
    line[size] = '\0';
    int pid;
    char machine[1000];
    if (sscanf(line, "%d %999s", &pid, machine) != 2) {
        Warning("FILE: Badly formatted lock file %s.\n", path.c_str());
        return Owner::Stale;
    }
    return FileLockIsThisMachine(machine) && FileLockProcessDescriptor(pid).empty() ? Owner::Stale
                                                                                    : Owner::InUse;
}

/* Removes a stale file: only the very inode that is judged, while it is locked and the path still names it. Two
 * processes that find it stale at once would else remove one another's new lock. It is judged once more, since its
 * owner may have written the line meanwhile. */
DeviceResult RemoveStale(int fd, const std::string &path) {
    if (gFileCalls->flock(fd, LOCK_EX | LOCK_NB) != 0)
        return DeviceResult::Again; /* another process is making or removing it */
    if (!IsNamedBy(fd, path) || ReadOwner(fd, path) != Owner::Stale)
        return DeviceResult::Again;
    Log("FILE: Found a previous instance of lock file '%s'. It will be removed automatically.\n",
        path.c_str());
    if (gFileCalls->unlink(path.c_str()) == 0 || errno == ENOENT)
        return DeviceResult::Again;
    Warning("FILE: Failed to remove stale lock file %s (%s).\n", path.c_str(), Err_ErrString());
    return DeviceResult::Error;
}

/* Finds out whether the lock file that is there is in use. */
DeviceResult JudgeLockFile(const std::string &path) {
    const int fd =
        gFileCalls->open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0);
    if (fd < 0) {
        if (errno == ENOENT)
            return DeviceResult::Again;
        Warning("FILE: Failed to open existing lock file %s (%s).\n", path.c_str(),
                Err_ErrString());
        return DeviceResult::Error;
    }
    DeviceResult result = DeviceResult::Error;
    switch (ReadOwner(fd, path)) {
    case Owner::InUse:
        result = DeviceResult::Busy;
        break;
    case Owner::Stale:
        result = RemoveStale(fd, path);
        break;
    case Owner::Unreadable:
        break;
    }
    gFileCalls->close(fd);
    return result;
}

std::string DevicePath(const char *name) {
    return std::string(kFolder) + "/LCK.." + name;
}

} // namespace

gint FileLock_LockDevice(const char *name) {
    const SuperUser superUser;
    const std::string path = DevicePath(name);
    for (gint i = 0; i < kMaxTries; i++) {
        const int error = MakeLockFile(path, name);
        if (error == 0)
            return static_cast<gint>(DeviceResult::Locked);
        if (error != EEXIST && error != EAGAIN)
            return static_cast<gint>(DeviceResult::Error);
        const DeviceResult result = JudgeLockFile(path);
        if (result != DeviceResult::Again)
            return static_cast<gint>(result);
    }
    return static_cast<gint>(DeviceResult::Busy);
}

gboolean FileLock_UnlockDevice(const char *name) {
    const SuperUser superUser;
    const std::string path = DevicePath(name);
    if (gFileCalls->unlink(path.c_str()) == 0)
        return TRUE;
    Warning("FILE: Cannot remove lock file %s (%s).\n", path.c_str(), Err_ErrString());
    return FALSE;
}
