#include "lib/misc/hostinfo.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include "lib/misc/id.h"

char *Hostinfo_GetLibraryPath(const void *address) {
    Dl_info info;
    link_map *object = nullptr;
    if (dladdr1(address, &info, reinterpret_cast<void **>(&object), RTLD_DL_LINKMAP) == 0)
        return nullptr;
    // The program itself has an empty name there. The name in info is argv[0], which need not be a path:
    // resolved from the current directory it could be any file.
    if (object->l_name[0] == '\0')
        return Hostinfo_GetModulePath(0);
    return realpath(object->l_name, nullptr);
}

char *Hostinfo_GetModulePath(guint32 asSuperUser) {
    char path[PATH_MAX];
    const uid_t before = asSuperUser != 0 ? Id_BeginSuperUser() : static_cast<uid_t>(-1);
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    Id_EndSuperUser(before);
    if (length <= 0 || static_cast<size_t>(length) == sizeof path)
        return nullptr;
    return strndup(path, length);
}
