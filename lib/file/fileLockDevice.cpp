// Locks of serial devices: a file in /var/lock with one line, "process machine".
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

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
    if (statfs(path.c_str(), &status) != 0) {
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
    const ssize_t size = write(fd, line.data(), line.size());
    const int error = size < 0 ? errno : static_cast<gsize>(size) < line.size() ? ENOSPC : 0;
    if (error != 0)
        Warning("FILE: Failed to write to new lock file %s (%s).\n", path.c_str(),
                Err_Errno2String(error));
    return error;
}

/* Makes a file with the line of this process; none is left after a failure. 0 or an errno value. */
int MakeFile(const std::string &path, mode_t mode) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode);
    if (fd < 0) {
        const int error = errno;
        if (error != EEXIST)
            Warning("FILE: Failed to create new lock file %s (%s).\n", path.c_str(),
                    Err_Errno2String(error));
        return error;
    }
    const int error = WriteLine(fd, path);
    close(fd);
    if (error != 0)
        unlink(path.c_str());
    return error;
}

/* Makes the lock file, by a link where links are reliable. 0 or an errno value; EEXIST if there is one. */
int MakeLockFile(const std::string &path, const char *name) {
    if (!HasReliableLinks(kFolder))
        return MakeFile(path, kDirectMode);
    char temporary[PATH_MAX];
    g_snprintf(temporary, sizeof temporary, "%s/LTMP..%s.t%05d", kFolder, name,
               static_cast<int>(getpid()));
    unlink(temporary);
    int error = MakeFile(temporary, kLinkedMode);
    if (error != 0)
        return error == EEXIST ? EAGAIN : error;
    if (link(temporary, path.c_str()) != 0)
        error = errno;
    if (error != 0 && error != EEXIST)
        Warning("FILE: Failed to create new lock file %s (%s).\n", path.c_str(),
                Err_Errno2String(error));
    if (unlink(temporary) != 0)
        Warning("FILE: Failed to remove temporary lock file %s (%s).\n", path.c_str(),
                Err_ErrString());
    return error;
}

/* Removes a stale file: only the very inode that was judged, while it is locked and the path still names it. Two
 * processes that find it stale at once would else remove one another's new lock. */
DeviceResult RemoveStale(int fd, const std::string &path) {
    struct stat judged;
    struct stat named;
    if (flock(fd, LOCK_EX | LOCK_NB) != 0)
        return DeviceResult::Again; /* another process is removing it */
    if (fstat(fd, &judged) != 0 || lstat(path.c_str(), &named) != 0 ||
        judged.st_ino != named.st_ino || judged.st_dev != named.st_dev)
        return DeviceResult::Again;
    Log("FILE: Found a previous instance of lock file '%s'. It will be removed automatically.\n",
        path.c_str());
    if (unlink(path.c_str()) == 0 || errno == ENOENT)
        return DeviceResult::Again;
    Warning("FILE: Failed to remove stale lock file %s (%s).\n", path.c_str(), Err_ErrString());
    return DeviceResult::Error;
}

/* Finds out whether the lock file that is there is in use. */
DeviceResult JudgeLockFile(const std::string &path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0) {
        if (errno == ENOENT)
            return DeviceResult::Again;
        Warning("FILE: Failed to open existing lock file %s (%s).\n", path.c_str(),
                Err_ErrString());
        return DeviceResult::Error;
    }
    char line[1024];
    const ssize_t size = read(fd, line, sizeof line - 1);
    DeviceResult result = DeviceResult::Busy;
    if (size < 0) {
        Warning("FILE: Failed to read line from lock file %s (%s).\n", path.c_str(),
                Err_ErrString());
        result = DeviceResult::Error;
    } else {
        line[size] = '\0';
        int pid;
        char machine[1000];
        if (sscanf(line, "%d %999s", &pid, machine) != 2) {
            Warning("FILE: Badly formatted lock file %s.\n", path.c_str());
            result = RemoveStale(fd, path);
        } else if (FileLockMachineIDMatch(FileLockGetMachineID(), machine) &&
                   FileLockProcessDescriptor(pid).empty()) {
            result = RemoveStale(fd, path);
        }
    }
    close(fd);
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
    if (unlink(path.c_str()) == 0)
        return TRUE;
    Warning("FILE: Cannot remove lock file %s (%s).\n", path.c_str(), Err_ErrString());
    return FALSE;
}
