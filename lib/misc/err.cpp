#include "lib/misc/err.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "lib/misc/hashTable.h"
#include "lib/misc/utilSafe.h"

namespace {

constexpr guint kNumBuckets = 2048;
constexpr gsize kMaxText = 2048;

/* The entry of both tables. Published entries are never freed. */
struct ErrInfo {
    gint number;
    char text[];
};

constinit HashTable *errNumTable = nullptr; /* number -> ErrInfo */
constinit HashTable *errPtrTable = nullptr; /* address of the text -> ErrInfo */

HashTable *NumTable() {
    return HashTable_AllocOnce(&errNumTable, kNumBuckets, HASHTABLE_INT | HASHTABLE_ATOMIC,
                               nullptr);
}

HashTable *PtrTable() {
    return HashTable_AllocOnce(&errPtrTable, kNumBuckets, HASHTABLE_INT | HASHTABLE_ATOMIC,
                               nullptr);
}

/* Makes an entry with the C library's text, cut at its last whole character. */
ErrInfo *MakeInfo(gint number) {
    char buffer[kMaxText];
    const char *text = strerror_r(number, buffer, sizeof buffer);
    const char *end = text + strlen(text);
    const char *tail = g_utf8_find_prev_char(text, end);
    if (tail != nullptr && g_utf8_get_char_validated(tail, end - tail) == static_cast<gunichar>(-2))
        end = tail;

    const gsize length = static_cast<gsize>(end - text);
    auto *info = static_cast<ErrInfo *>(UtilSafeMalloc0(sizeof(ErrInfo) + length + 1));
    info->number = number;
    memcpy(info->text, text, length);
    info->text[length] = '\0';
    return info;
}

} // namespace

const char *Err_Errno2String(gint number) {
    const int savedErrno = errno;
    gpointer found = nullptr;
    if (!HashTable_Lookup(NumTable(), GINT_TO_POINTER(number), &found)) {
        ErrInfo *made = MakeInfo(number);
        found = HashTable_LookupOrInsert(NumTable(), GINT_TO_POINTER(number), made);
        if (found != made)
            free(made); /* another thread was faster */
    }
    auto *info = static_cast<ErrInfo *>(found);
    /* the thread that made the entry may not have come to this yet */
    HashTable_LookupOrInsert(PtrTable(), info->text, info);
    errno = savedErrno;
    return info->text;
}

const char *Err_ErrString(void) {
    return Err_Errno2String(errno);
}

gint Err_String2Errno(const char *text) {
    gpointer found = nullptr;
    if (text == nullptr || !HashTable_Lookup(PtrTable(), text, &found))
        return -1;
    return static_cast<ErrInfo *>(found)->number;
}
