#include "lib/misc/utilSafe.h"

#include <cstdlib>
#include <cstring>

#include "lib/misc/panic.h"
#include "lib/misc/utilSafeAt.h"

namespace {

template <class T> T *UtilSafeChecked(T *result, bool mayBeNull) {
    if (!result && !mayBeNull)
        Panic("Unrecoverable memory allocation failure\n");
    return result;
}

struct Place {
    gint bugNumber;
    const char *file;
    gint line;
};

template <class T> T *UtilSafeCheckedAt(T *result, bool mayBeNull, const Place &place) {
    if (!result && !mayBeNull)
        UtilAllocationFailure1(place.bugNumber, place.file, place.line);
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

gpointer UtilSafeMalloc1(gsize size, gint bugNumber, const char *file, gint line) {
    return UtilSafeCheckedAt(malloc(size), size == 0, {bugNumber, file, line});
}

gpointer UtilSafeCalloc1(gsize count, gsize size, gint bugNumber, const char *file, gint line) {
    return UtilSafeCheckedAt(calloc(count, size), count == 0 || size == 0, {bugNumber, file, line});
}

gpointer UtilSafeRealloc1(gpointer pointer, gsize size, gint bugNumber, const char *file,
                          gint line) {
    return UtilSafeCheckedAt(realloc(pointer, size), size == 0, {bugNumber, file, line});
}

char *UtilSafeStrdup1(const char *text, gint bugNumber, const char *file, gint line) {
    return text ? UtilSafeCheckedAt(strdup(text), false, {bugNumber, file, line}) : nullptr;
}

char *UtilSafeStrndup1(const char *text, gsize limit, gint bugNumber, const char *file, gint line) {
    return text ? UtilSafeCheckedAt(strndup(text, limit), false, {bugNumber, file, line}) : nullptr;
}

void UtilAllocationFailure1(gint bugNumber, const char *file, gint line) {
    if (bugNumber == -1)
        Panic("Unrecoverable memory allocation failure at %s:%d\n", file, line);
    Panic("Unrecoverable memory allocation failure at %s:%d.  Bug number: %d\n", file, line,
          bugNumber);
}
