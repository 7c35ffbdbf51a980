#include "lib/file/fileRotate.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lib/file/file.h"
#include "lib/file/fileCalls.h"
#include "lib/misc/err.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "lib/misc/utilSafe.h"

namespace {

/* A file name in front of its number and behind it: "dir/a-" and ".log". */
struct Parts {
    std::string head;
    std::string tail;

    std::string Numbered(guint32 number) const { return head + std::to_string(number) + tail; }
};

Parts Split(std::string_view fileName) {
    const size_t slash = fileName.rfind('/');
    const size_t begin = slash == std::string_view::npos ? 0 : slash + 1;
    const size_t dot = fileName.rfind('.');
    const size_t end = dot == std::string_view::npos || dot <= begin ? fileName.size() : dot;
    return {std::string(fileName.substr(0, end)) + "-", std::string(fileName.substr(end))};
}

bool Rename(const std::string &from, const std::string &to) {
    if (gFileCalls->rename(from.c_str(), to.c_str()) == 0)
        return true;
    if (errno != ENOENT)
        Warning("FILE: cannot rename '%s' to '%s': %s\n", from.c_str(), to.c_str(),
                Err_ErrString());
    return false;
}

void Remove(const std::string &path) {
    if (gFileCalls->unlink(path.c_str()) != 0 && errno != ENOENT)
        Warning("FILE: cannot remove '%s': %s\n", path.c_str(), Err_ErrString());
}

/* Returns the number in a name; nothing if the name is not made of the parts. */
std::optional<guint32> NumberOf(std::string_view name, std::string_view head,
                                std::string_view tail) {
    if (name.size() <= head.size() + tail.size() || !name.starts_with(head) ||
        !name.ends_with(tail))
        return std::nullopt;
    const std::string_view digits =
        name.substr(head.size(), name.size() - head.size() - tail.size());
    guint32 number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc() || end != digits.data() + digits.size())
        return std::nullopt;
    return number;
}

/* Returns the numbers of the old files, the highest first. */
std::vector<guint32> FindNumbers(const Parts &parts) {
    char *folderPath;
    char *base;
    File_GetPathName(parts.head.c_str(), &folderPath, &base);
    const MallocPtr<char> pathOwner(folderPath);
    const MallocPtr<char> baseOwner(base);
    std::vector<guint32> numbers;
    DIR *folder = opendir(folderPath);
    if (folder == nullptr)
        return numbers;
    while (const dirent *entry = readdir(folder)) {
        if (const auto number = NumberOf(entry->d_name, base, parts.tail))
            numbers.push_back(*number);
    }
    closedir(folder);
    std::ranges::sort(numbers, std::greater());
    return numbers;
}

/* Returns the file's new name; "" if it could not be renamed. Only as many names are visited as there are files. */
std::string RotateByRename(const std::string &fileName, const Parts &parts, guint keepOld) {
    guint free = 0;
    while (free < keepOld - 1 && access(parts.Numbered(free).c_str(), F_OK) == 0)
        free++;
    for (guint number = free; number > 0; number--)
        Rename(parts.Numbered(number - 1), parts.Numbered(number));
    return Rename(fileName, parts.Numbered(0)) ? parts.Numbered(0) : "";
}

std::string RotateByNumber(const std::string &fileName, const Parts &parts, guint keepOld) {
    const std::vector<guint32> numbers = FindNumbers(parts);
    if (!numbers.empty() && numbers.front() == G_MAXUINT32)
        return RotateByRename(fileName, parts, keepOld); /* there is no higher number */
    const std::string renamed = parts.Numbered(numbers.empty() ? 0 : numbers.front() + 1);
    if (!Rename(fileName, renamed))
        return "";
    for (size_t i = keepOld - 1; i < numbers.size(); i++)
        Remove(parts.Numbered(numbers[i]));
    return renamed;
}

} // namespace

void File_Rotate(const char *fileName, guint keepOld, gboolean fast, char **newFileName) {
    if (newFileName != nullptr)
        *newFileName = nullptr;
    struct stat status;
    if (gFileCalls->lstat(fileName, &status) != 0 || !S_ISREG(status.st_mode))
        return;
    if (keepOld == 0) {
        Remove(fileName);
        return;
    }
    const Parts parts = Split(fileName);
    const std::string renamed =
        fast ? RotateByNumber(fileName, parts, keepOld) : RotateByRename(fileName, parts, keepOld);
    if (newFileName != nullptr && !renamed.empty())
        *newFileName = UtilSafeStrdup0(renamed.c_str());
}
