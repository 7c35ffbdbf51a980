#include "lib/file/file.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "lib/file/fileCalls.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/utilSafe.h"

namespace {

char *Copy(std::string_view text) {
    return UtilSafeStrndup0(text.data(), text.size());
}

} // namespace

void File_GetPathName(const char *path, char **folder, char **name) {
    const std::string_view all(path);
    const gsize slash = all.rfind('/');
    if (name != nullptr)
        *name = Copy(slash == std::string_view::npos ? all : all.substr(slash + 1));
    if (folder != nullptr)
        *folder =
            slash == std::string_view::npos ? Copy(".") : Copy(all.substr(0, MAX(slash, gsize{1})));
}

char *File_PathJoin(const char *folder, const char *name) {
    std::string joined(folder);
    if (!joined.ends_with('/'))
        joined += '/';
    while (*name == '/')
        name++;
    joined += name;
    return Copy(joined);
}

char *File_FullPath(const char *path) {
    if (path == nullptr || *path == '\0') {
        errno = EINVAL;
        return nullptr;
    }
    if (char *full = realpath(path, nullptr); full != nullptr || errno != ENOENT)
        return full;
    char *folder;
    char *name;
    File_GetPathName(path, &folder, &name);
    const MallocPtr<char> folderOwner(folder);
    const MallocPtr<char> nameOwner(name);
    const MallocPtr<char> full(realpath(folder, nullptr));
    return full != nullptr ? File_PathJoin(full.get(), name) : nullptr;
}

gboolean File_CreateDirectoryHierarchy(const char *path, mode_t mode) {
    const std::string all(path);
    for (gsize end = all.find('/', 1);; end = all.find('/', end + 1)) {
        const std::string part = all.substr(0, end);
        struct stat status;
        if (gFileCalls->mkdir(part.c_str(), mode) != 0 &&
            (errno != EEXIST || stat(part.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)))
            return FALSE;
        if (end == std::string::npos)
            return TRUE;
    }
}

gboolean File_SupportsMandatoryLock(const char * /* path */) {
    return FALSE;
}

char *Util_DeriveFileName(const char *source, const char *name, const char *extension) {
    if (name != nullptr && *name == '/')
        return UtilSafeStrdup0(name);
    char *folder;
    char *own;
    File_GetPathName(source, &folder, &own);
    const MallocPtr<char> folderOwner(folder);
    const MallocPtr<char> ownOwner(own);
    if (name != nullptr)
        return strchr(source, '/') != nullptr ? File_PathJoin(folder, name) : UtilSafeStrdup0(name);
    if (extension == nullptr)
        return nullptr;
    const std::string_view all(source);
    const std::string_view ownName(own);
    const gsize dot = ownName.rfind('.');
    const gsize cut = dot == std::string_view::npos ? 0 : ownName.size() - dot;
    return Copy(std::string(all.substr(0, all.size() - cut)) + "." + extension);
}
