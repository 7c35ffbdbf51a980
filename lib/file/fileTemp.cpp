#include "lib/file/fileTemp.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "lib/config/preference.h"
#include "lib/file/file.h"
#include "lib/file/fileCalls.h"
#include "lib/lock/mxUser.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/utilSafe.h"

namespace {

constexpr guint32 kLockRank = 0xF0007086;
constinit MXUserExclLock *lockStorage = nullptr;
constinit char *safeDir = nullptr; /* the folder that was chosen; guarded by the lock */

/* Whether a path is a folder, no link, that only this user has access to. */
bool IsSafe(const char *path) {
    struct stat status;
    if (gFileCalls->lstat(path, &status) != 0)
        return false;
    if (S_ISDIR(status.st_mode) && status.st_uid == geteuid() && (status.st_mode & 077) == 0)
        return true;
    errno = EACCES;
    return false;
}

/* Returns the folder in which the safe one is to be. */
std::string BaseFolder(bool useConf) {
    const MallocPtr<char> set(useConf ? Preference_GetPathName(nullptr, "tmpDirectory") : nullptr);
    if (set != nullptr && *set != '\0')
        return set.get();
    const char *variable = secure_getenv("TMPDIR");
    return variable != nullptr && *variable == '/' ? variable : "/tmp";
}

/* Returns NULL with errno. */
char *MakeSafeDir(const std::string &base) {
    const std::string name = std::string("halden-") + g_get_user_name();
    if (name.find('/') == std::string::npos) {
        MallocPtr<char> path(File_PathJoin(base.c_str(), name.c_str()));
        if ((gFileCalls->mkdir(path.get(), 0700) == 0 || errno == EEXIST) && IsSafe(path.get()))
            return path.release();
    }
    MallocPtr<char> path(File_PathJoin(base.c_str(), "halden-XXXXXX"));
    return mkdtemp(path.get()) != nullptr ? path.release() : nullptr;
}

} // namespace

char *File_GetSafeTmpDir(gboolean useConf) {
    const std::string base = BaseFolder(useConf != FALSE);
    MXUserExclLock *lock =
        MXUser_CreateSingletonExclLock(&lockStorage, "getSafeTmpDirLock", kLockRank);
    MXUser_AcquireExclLock(lock);
    const bool isInBase = safeDir != nullptr && std::string_view(safeDir).starts_with(base);
    if (!isInBase || !IsSafe(safeDir)) {
        free(safeDir);
        safeDir = MakeSafeDir(base);
    }
    const int error = errno;
    char *result = UtilSafeStrdup0(safeDir);
    MXUser_ReleaseExclLock(lock);
    errno = error;
    return result;
}
