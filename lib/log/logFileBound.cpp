#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "lib/file/file.h"
#include "lib/log/logFileInt.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/hostinfo.h"

namespace {

/* A file of a process that has ended. */
struct OldFile {
    std::string path;
    bool hasTime;
    gint64 seconds; /* of the last change; the smallest number if it is not known */
    long nanoseconds;
};

gboolean LogDefaultOwnerFunc(const char *fileName, gconstpointer ownerData) {
    const std::string_view own(static_cast<const char *>(ownerData));
    return std::string_view(fileName).starts_with(own.substr(0, own.rfind('-') + 1));
}

/* Returns the number behind the last "-"; 0 if there is none. */
gint ProcessOf(std::string_view name) {
    const size_t dash = name.rfind('-');
    if (dash == std::string_view::npos)
        return 0;
    gint process = 0;
    std::from_chars(name.data() + dash + 1, name.data() + name.size(), process);
    return process;
}

OldFile Examine(const std::string &path) {
    struct stat status;
    if (lstat(path.c_str(), &status) != 0)
        return {path, false, G_MININT64, 0};
    return {path, true, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

} // namespace

gboolean Log_BoundNumFiles(LogOutput *output, LogOwnerFunc ownerFunc, gconstpointer ownerData) {
    if (output == nullptr || output->type != kLogTypeFile)
        return FALSE;
    const auto *file = static_cast<const LogFileOutput *>(output);
    if (!file->uniqueName || file->suffix.empty() || file->keepOld == 0)
        return FALSE;
    char *folder;
    char *base;
    File_GetPathName(file->fileName.c_str(), &folder, &base);
    const MallocPtr<char> folderOwner(folder);
    const MallocPtr<char> baseOwner(base);
    if (ownerFunc == nullptr) {
        ownerFunc = LogDefaultOwnerFunc;
        ownerData = base;
    }

    std::vector<std::string> candidates;
    DIR *entries = opendir(folder);
    if (entries == nullptr)
        return FALSE;
    while (const dirent *entry = readdir(entries)) {
        const char *name = entry->d_name;
        if (ownerFunc(name, ownerData) &&
            Hostinfo_QueryProcessExistence(ProcessOf(name)) == HOSTINFO_PROCESS_EXISTENCE_DEAD)
            candidates.push_back(MallocPtr<char>(File_PathJoin(folder, name)).get());
    }
    closedir(entries);
    if (candidates.size() <= size_t(file->keepOld))
        return FALSE;

    std::vector<OldFile> files;
    std::ranges::transform(candidates, std::back_inserter(files), Examine);
    std::ranges::sort(files, [](const OldFile &a, const OldFile &b) {
        return std::tie(a.seconds, a.nanoseconds, a.path) <
               std::tie(b.seconds, b.nanoseconds, b.path);
    });
    files.resize(files.size() - file->keepOld);
    bool hasFailed = false;
    for (const OldFile &old : files)
        hasFailed |= old.hasTime && unlink(old.path.c_str()) != 0;
    return hasFailed;
}
