// Lamport's bakery in a directory:  enter (draw a number)  ->  wait for lower ones  ->  hold  ->  leave
#include "lib/file/fileLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "lib/file/file.h"
#include "lib/file/fileCalls.h"
#include "lib/file/fileLockInt.h"
#include "lib/misc/err.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"
#include "lib/user/msgId.h"

struct FileLockToken {
    char signature[4]; /* "FLCK" */
    bool portable;
    std::string pathName;   /* what is locked */
    std::string memberPath; /* the member file, or that of implicitReadToken */
};

namespace {

constexpr mode_t kDirectoryMode = 0777;
constexpr mode_t kMemberMode = 0644;
constexpr guint32 kScanPauseMs = 200;
constexpr guint32 kEntryLimitMs = 8000;
constexpr guint32 kShortLoops = 20;
constexpr guint32 kGrowingLoops = 39;
constexpr guint32 kLongestWaitMs = 2000;
constexpr guint32 kLongestSleepMs = 900;
constexpr gint kScanFailed = 33;
constexpr gint kReadOnlyTries = 3;
constexpr guint kMaxDraws = 100000;  /* of numbers; as many as there are */
constexpr gint kMaxEntries = 100;    /* tries to enter */
constexpr gsize kAtomicListing = 32; /* names that any file system lists at one moment */

/* In place of a member path: a shared lock that left no trace. */
constexpr const char *implicitReadToken = "implicit";

/* How long the locker has waited, and may wait. */
struct WaitState {
    guint32 limitMs;
    guint64 waitedMs = 0;
};

/* Called for each member. Non-zero ends the scan and is its result. */
using Visitor = std::function<int(const LockValues &other)>;

/* A locker that was seen entering: for how long, and whether in this pass. */
struct EnteringLocker {
    guint32 ageMs;
    bool isSeen;
};
using EnteringLockers = std::map<std::string, EnteringLocker>;

std::string LockDirectory(const std::string &path) {
    return path + ".lck";
}

std::string EntryPath(const std::string &directory, char kind, guint number) {
    char name[16];
    g_snprintf(name, sizeof name, "/%c%05u.lck", kind, number);
    return directory + name;
}

bool IsReadOnlyMedium(const std::string &path) {
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    struct statvfs status;
    return statvfs(folder.c_str(), &status) == 0 && (status.f_flag & ST_RDONLY) != 0;
}

void Discard(const std::string &directory, const std::string &name, const char *reason) {
    Log("FILE: %s discarding %s from %s': %s\n", "FileLockScanDirectory", name.c_str(),
        directory.c_str(), reason);
    gFileCalls->unlink((directory + "/" + name).c_str());
}

/* Removes a member of this machine whose process is dead, or that came here with a moved directory. */
bool IsLeftOver(const std::string &directory, const LockValues &other) {
    if (!FileLockIsThisMachine(other.machineID))
        return false;
    if (!FileLockValidExecutionID(other.executionID)) {
        const std::string reason = "invalid executionID " + other.executionID + ".";
        Discard(directory, other.memberName, reason.c_str());
        return true;
    }
    if (other.executionID == FileLockGetExecutionID() && !other.locationChecksum.empty() &&
        other.locationChecksum != std::to_string(FileLockHash(directory))) {
        Discard(directory, other.memberName, "lock file has been moved.");
        return true;
    }
    return false;
}

/* Lists a lock directory and removes what does not belong there. 0 or an errno value. */
int ListEntries(const std::string &directory, std::vector<std::string> *names) {
    names->clear();
    if (const int error = gFileCalls->list(directory.c_str(), names); error != 0) {
        Log("FILE: %s: Could not read the directory '%s': %d\n", "FileLockScanDirectory",
            directory.c_str(), error);
        return kScanFailed;
    }
    std::erase_if(*names, [&directory](const std::string &name) {
        if (FileLockIsEntryName(name))
            return false;
        Log("FILE: %s discarding %s from %s'; invalid file name.\n", "FileLockScanDirectory",
            name.c_str(), directory.c_str());
        const std::string path = directory + "/" + name;
        if (gFileCalls->unlink(path.c_str()) != 0)
            gFileCalls->rmdir(path.c_str());
        return true;
    });
    return 0;
}

/* Removes unfinished member files whose locker was taken for dead: those whose "D" directory is gone. */
void RemoveUnfinished(const std::string &directory, const std::vector<std::string> &names) {
    const std::set<std::string_view> known(names.begin(), names.end());
    for (const std::string &name : names)
        if (name[0] == 'E' && !known.contains("D" + name.substr(1)))
            gFileCalls->unlink((directory + "/" + name).c_str());
}

/* Visits the members of a directory but the own one. With @entering given, nothing is visited while any locker is
 * entering, which the list then shows. 0, an errno value, or the visitor's result. */
int FileLockScanDirectory(const std::string &directory, const Visitor &visitor,
                          EnteringLockers *entering, const std::string &ownName) {
    std::vector<std::string> names;
    if (const int error = ListEntries(directory, &names); error != 0)
        return error;

    bool isEntered = true;
    for (const std::string &name : names) {
        if (entering == nullptr || name[0] != 'D')
            continue;
        entering->try_emplace(name, EnteringLocker{0, true}).first->second.isSeen = true;
        isEntered = false;
    }
    if (!isEntered)
        return 0;
    /* A long listing is not made at one moment: a locker may have become a member behind the place that was read.
     * It had its "D" directory until then, so one that entered before this listing is in the next. */
    if (entering != nullptr && names.size() > kAtomicListing)
        if (const int error = ListEntries(directory, &names); error != 0)
            return error;
    RemoveUnfinished(directory, names);

    for (const std::string &name : names) {
        if (name[0] != 'M' || name == ownName)
            continue;
        LockValues other;
        int error = 0;
        switch (FileLockMemberValues(directory, name, &other, &error)) {
        case MemberResult::Vanished:
            continue;
        case MemberResult::Failed:
            return error;
        case MemberResult::Read:
            break;
        }
        if (IsLeftOver(directory, other))
            continue;
        if (const int result = visitor(other); result != 0)
            return result;
    }
    return 0;
}

/* Ages the lockers that are entering, and removes what one that died there left. The "D" directory is removed first:
 * a locker that was merely slow finds it gone and enters again. 0 or an errno value. */
int AgeEntering(const std::string &directory, EnteringLockers *entering) {
    for (auto at = entering->begin(); at != entering->end();) {
        EnteringLocker &locker = at->second;
        const bool isDead = locker.isSeen && locker.ageMs > kEntryLimitMs;
        if (isDead && gFileCalls->rmdir((directory + "/" + at->first).c_str()) == 0) {
            Log("FILE: %s discarding %s data from '%s'.\n", "FileLockScanner", at->first.c_str(),
                directory.c_str());
            for (const char kind : {'M', 'E'})
                gFileCalls->unlink((directory + "/" + kind + at->first.substr(1)).c_str());
        } else if (isDead && errno != ENOENT) {
            return errno;
        }
        if (isDead || !locker.isSeen) {
            at = entering->erase(at);
            continue;
        }
        locker.ageMs += kScanPauseMs;
        locker.isSeen = false;
        ++at;
    }
    return 0;
}

/* Scans until no locker is entering, so that none can draw a number below those that were seen. */
int FileLockScanner(const std::string &directory, const Visitor &visitor,
                    const std::string &ownName) {
    EnteringLockers entering;
    for (;;) {
        const int result = FileLockScanDirectory(directory, visitor, &entering, ownName);
        const bool isCalm =
            std::ranges::none_of(entering, [](const auto &locker) { return locker.second.isSeen; });
        if (result != 0 || isCalm)
            return result;
        if (const int error = AgeEntering(directory, &entering); error != 0)
            return error;
        gFileCalls->sleep(kScanPauseMs);
    }
}

/* Sleeps for the time of one try. EAGAIN if there is none left. */
int FileLockSleeper(WaitState *state, guint32 *loopCount) {
    const bool isEndless = state->limitMs == FILELOCK_INFINITE_WAIT;
    if (state->limitMs == 0 || (!isEndless && state->waitedMs >= state->limitMs))
        return EAGAIN;
    const guint32 loop = ++*loopCount;
    guint32 msec = loop <= kShortLoops     ? 100
                   : loop <= kGrowingLoops ? loop * 100 - 1900
                                           : kLongestWaitMs;
    state->waitedMs += msec;
    while (msec > 0) {
        const guint32 part = MIN(msec, kLongestSleepMs);
        gFileCalls->sleep(part);
        msec -= part;
    }
    return 0;
}

/* Waits until another locker that goes first is gone. 0, EAGAIN, or another errno value. */
int FileLockWaitForPossession(const std::string &directory, const LockValues &other,
                              const LockValues &self, WaitState *state) {
    const bool goesFirst =
        other.lamportNumber < self.lamportNumber ||
        (other.lamportNumber == self.lamportNumber && other.memberName < self.memberName);
    if (!goesFirst || (other.lockType != 'X' && self.lockType != 'X'))
        return 0;
    const bool isLocal = FileLockIsThisMachine(other.machineID);
    const std::string path = directory + "/" + other.memberName;
    guint32 loopCount = 0;
    for (;;) {
        const int error = FileLockSleeper(state, &loopCount);
        if (error != 0) {
            if (state->limitMs != 0)
                Log(isLocal ? "FILE: %s timeout on '%s' due to a local process '%s'\n"
                            : "FILE: %s timeout on '%s' due to another machine '%s'\n",
                    "FileLockWaitForPossession", path.c_str(),
                    isLocal ? other.executionID.c_str() : other.machineID.c_str());
            return error;
        }
        LockValues now;
        int readError = 0;
        const MemberResult result =
            FileLockMemberValues(directory, other.memberName, &now, &readError);
        if (result == MemberResult::Failed)
            return readError;
        /* a later locker may have drawn the same name */
        if (result == MemberResult::Vanished || now.lamportNumber != other.lamportNumber ||
            now.executionID != other.executionID || now.machineID != other.machineID)
            return 0;
        if (isLocal && !FileLockValidExecutionID(other.executionID)) {
            Warning("FILE: %s discarding file '%s'; invalid executionID.\n",
                    "FileLockWaitForPossession", path.c_str());
            return gFileCalls->unlink(path.c_str()) == 0 || errno == ENOENT ? 0 : errno;
        }
    }
}

/* Sees to it that there is a lock directory. 0 or an errno value. */
int MakeLockDirectory(const std::string &directory) {
    struct stat status;
    if (gFileCalls->lstat(directory.c_str(), &status) != 0) {
        if (errno != ENOENT)
            return errno;
        if (gFileCalls->mkdir(directory.c_str(), kDirectoryMode) != 0)
            return errno == EEXIST ? 0 : errno;
        /* the mode is not to depend on the umask; the directory was made here, so no link can replace it */
        const int fd =
            gFileCalls->open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0);
        if (fd >= 0) {
            if (gFileCalls->fchmod(fd, kDirectoryMode) != 0)
                Log("FILE: %s fchmod of '%s' failed: %s\n", "FileLockCreateEntryDirectory",
                    directory.c_str(), Err_ErrString());
            gFileCalls->close(fd);
        }
        return 0;
    }
    if (S_ISDIR(status.st_mode))
        return 0;
    if (S_ISREG(status.st_mode)) {
        Log("FILE: %s: '%s' exists; an old style lock file?\n", "FileLockCreateEntryDirectory",
            directory.c_str());
        return EBUSY;
    }
    if (gFileCalls->unlink(directory.c_str()) == 0 || errno == ENOENT)
        return EAGAIN; /* again */
    Warning("FILE: %s: '%s' exists and is not a directory.\n", "FileLockCreateEntryDirectory",
            directory.c_str());
    return ENOTDIR;
}

/* Reserves a number by its "D" directory. 0 or an errno value. */
int FileLockCreateEntryDirectory(const std::string &directory, guint *number) {
    gint readOnlyTries = 0;
    for (guint draw = 0; draw < kMaxDraws; draw++) {
        const int error = MakeLockDirectory(directory);
        if (error == EAGAIN)
            continue;
        if (error != 0)
            return error;
        *number = FileSimpleRandom() >> 8 & 0xffff;
        const std::string entering = EntryPath(directory, 'D', *number);
        if (gFileCalls->mkdir(entering.c_str(), kDirectoryMode) != 0) {
            if (errno == ENOENT || errno == EEXIST)
                continue;
            /* another user may have just made the directory and not yet opened it to all */
            if (errno == EACCES && !IsReadOnlyMedium(directory) &&
                ++readOnlyTries < kReadOnlyTries) {
                FileSleeper(10, 50);
                continue;
            }
            return errno;
        }
        struct stat status;
        if (gFileCalls->lstat(EntryPath(directory, 'M', *number).c_str(), &status) != 0 &&
            errno == ENOENT)
            return 0;
        gFileCalls->rmdir(entering.c_str());
    }
    return EAGAIN;
}

/* Returns the number above all that are drawn. EAGAIN if there is none: a locker that goes after everybody cannot be
 * expressed. */
int FileLockNumberScan(const std::string &directory, guint32 *number) {
    guint32 highest = 0;
    const int error = FileLockScanDirectory(
        directory,
        [&highest](const LockValues &other) {
            highest = MAX(highest, other.lamportNumber);
            return highest == G_MAXUINT32 ? EAGAIN : 0;
        },
        nullptr, "");
    *number = highest + 1;
    return error;
}

enum class EntryResult { Entered, TryAgain, Failed };

/* Draws a number and makes the member file of it. Another process that finds the entry too slow takes its locker for
 * dead and removes the "D" directory; a number that was drawn without that protection is no use, and the entry has to
 * be made anew. Nothing is left unless it was made. */
EntryResult Enter(const std::string &directory, guint entry, LockValues *self, int *error) {
    const std::string entering = EntryPath(directory, 'D', entry);
    const std::string unfinished = EntryPath(directory, 'E', entry);
    const std::string member = EntryPath(directory, 'M', entry);
    self->memberName = member.substr(directory.size() + 1);
    const int fd =
        gFileCalls->open(unfinished.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kMemberMode);
    if (fd >= 0 && gFileCalls->fchmod(fd, kMemberMode) !=
                       0) /* not to depend on the umask: all have to read it */
        Log("FILE: %s fchmod of '%s' failed: %s\n", "FileLockIntrinsic", unfinished.c_str(),
            Err_ErrString());
    if (fd < 0) {
        *error = errno;
    } else if (*error = FileLockNumberScan(directory, &self->lamportNumber); *error != 0) {
        gFileCalls->close(fd);
    } else {
        *error = FileLockCreateMemberFile(fd, *self, unfinished, member);
    }
    /* an unfinished file in the way belongs to another locker */
    if (*error != 0 && fd >= 0)
        gFileCalls->unlink(unfinished.c_str());
    const bool isRemoved = gFileCalls->rmdir(entering.c_str()) == 0;
    const bool isTakenForDead = !isRemoved && errno == ENOENT;
    if (*error == 0 && isRemoved)
        return EntryResult::Entered;
    if (*error == 0) {
        *error = errno;
        gFileCalls->unlink(member.c_str());
    }
    return isTakenForDead || *error == ENOENT || *error == EEXIST ? EntryResult::TryAgain
                                                                  : EntryResult::Failed;
}

/* Takes a lock by its directory. The token's member path, or empty with an error that is 0 for a time-out. */
std::string FileLockIntrinsic(const std::string &path, bool isReadOnly, guint32 maxWaitMsec,
                              int *error) {
    const std::string directory = LockDirectory(path);
    LockValues self;
    self.machineID = FileLockGetMachineID();
    self.executionID = FileLockGetExecutionID();
    self.lockType = isReadOnly ? 'S' : 'X';
    self.locationChecksum = std::to_string(FileLockHash(directory));
    EntryResult result = EntryResult::TryAgain;
    for (gint i = 0; i < kMaxEntries && result == EntryResult::TryAgain; i++) {
        guint entry = 0;
        *error = FileLockCreateEntryDirectory(directory, &entry);
        if ((*error == EACCES || *error == EROFS) && isReadOnly &&
            (*error == EROFS || IsReadOnlyMedium(directory) ||
             access(directory.c_str(), F_OK) !=
                 0)) { /* one that is there may have an exclusive holder */
            Warning("FILE: %s implicit %s lock succeeded on '%s'.\n", "FileLockIntrinsic", "S",
                    path.c_str());
            *error = 0;
            return implicitReadToken;
        }
        if (*error != 0)
            break;
        result = Enter(directory, entry, &self, error);
    }
    const std::string member = directory + "/" + self.memberName;
    if (result == EntryResult::Entered) {
        WaitState state = {maxWaitMsec};
        *error = FileLockScanner(
            directory,
            [&](const LockValues &other) {
                return FileLockWaitForPossession(directory, other, self, &state);
            },
            self.memberName);
        if (*error == 0)
            return member;
        gFileCalls->unlink(member.c_str());
    }
    gFileCalls->rmdir(directory.c_str());
    if (*error == EAGAIN)
        *error = 0;
    return "";
}

/* Returns the path with its folder made absolute and free of links. Empty with errno EINVAL. */
std::string FileLockNormalizePath(const char *path) {
    char *folder = nullptr;
    char *name = nullptr;
    if (path != nullptr && *path != '\0')
        File_GetPathName(path, &folder, &name);
    const MallocPtr<char> folderOwner(folder);
    const MallocPtr<char> nameOwner(name);
    const MallocPtr<char> full(folder != nullptr ? File_FullPath(folder) : nullptr);
    if (full == nullptr || *name == '\0') {
        errno = EINVAL;
        return "";
    }
    const MallocPtr<char> joined(File_PathJoin(full.get(), name));
    return joined.get();
}

void AppendMessage(int error, MsgList **messages) {
    const int shown = error == 0 ? EAGAIN : error;
    MsgList_Append(messages,
                   MSG_MAGIC "(msg.fileLock.posix)A file locking error (%d) has occurred: %s.",
                   shown, Err_Errno2String(shown));
}

} // namespace

FileLockToken *FileLock_Lock(const char *path, gboolean readOnly, guint32 maxWaitMsec, gint *error,
                             MsgList **messages) {
    const std::string normalized = FileLockNormalizePath(path);
    std::string member;
    if (normalized.empty())
        *error = EINVAL;
    else
        member = FileLockIntrinsic(normalized, readOnly, maxWaitMsec, error);
    if (member.empty()) {
        AppendMessage(*error, messages);
        return nullptr;
    }
    return new FileLockToken{{'F', 'L', 'C', 'K'}, true, normalized, member};
}

gboolean FileLock_Unlock(FileLockToken *token, gint *error, MsgList **messages) {
    VERIFY(token != nullptr && memcmp(token->signature, "FLCK", 4) == 0);
    const std::unique_ptr<FileLockToken> owner(token);
    *error = 0;
    if (token->memberPath == implicitReadToken)
        return TRUE;
    if (gFileCalls->unlink(token->memberPath.c_str()) != 0)
        *error = errno;
    gFileCalls->rmdir(LockDirectory(token->pathName).c_str()); /* fails while others are in it */
    if (*error != 0)
        AppendMessage(*error, messages);
    return *error == 0;
}

gboolean FileLock_IsLocked(const char *path, gint *error, MsgList **messages) {
    const std::string normalized = FileLockNormalizePath(path);
    std::vector<std::string> names;
    *error =
        normalized.empty() ? EINVAL : gFileCalls->list(LockDirectory(normalized).c_str(), &names);
    if (*error == ENOENT)
        *error = 0;
    if (*error != 0)
        AppendMessage(*error, messages);
    return std::ranges::any_of(names, [](const std::string &name) { return name[0] == 'M'; });
}

char *FileLock_TokenPathName(const FileLockToken *token) {
    return UtilSafeStrdup0(token->pathName.c_str());
}
