#include "lib/misc/posix.h"

#include <cerrno>
#include <cstring>

#include <dlfcn.h>

#include "lib/misc/codeSet.h"
#include "lib/misc/glibPtr.h"

void *Posix_Dlopen(const char *path, int flags) {
    if (path == nullptr)
        return dlopen(nullptr, flags);
    char *current = nullptr;
    if (!CodeSet_Utf8ToCurrent(path, strlen(path), &current, nullptr)) {
        errno = EINVAL;
        return nullptr;
    }
    const GPtr<char> owner(current);
    errno = 0;
    return dlopen(current, flags);
}
