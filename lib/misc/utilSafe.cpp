#include "lib/misc/utilSafe.h"

#include <cstdlib>
#include <cstring>

#include "lib/misc/panic.h"

namespace {

template <class T> T *UtilSafeChecked(T *result, bool mayBeNull) {
    if (!result && !mayBeNull)
        Panic("Unrecoverable memory allocation failure\n");
    return result;
}

} // namespace

gpointer UtilSafeMalloc0(gsize size) {
    return UtilSafeChecked(malloc(size), size == 0);
}

gpointer UtilSafeCalloc0(gsize count, gsize size) {
    return UtilSafeChecked(calloc(count, size), count == 0 || size == 0);
}

gpointer UtilSafeRealloc0(gpointer pointer, gsize size) {
    return UtilSafeChecked(realloc(pointer, size), size == 0);
}

char *UtilSafeStrdup0(const char *text) {
    return text ? UtilSafeChecked(strdup(text), false) : nullptr;
}

char *UtilSafeStrndup0(const char *text, gsize limit) {
    return text ? UtilSafeChecked(strndup(text, limit), false) : nullptr;
}
