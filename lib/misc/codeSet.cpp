#include "lib/misc/codeSet.h"

#include <cstring>
#include <string_view>

#include <langinfo.h>

#include "lib/misc/glibPtr.h"

namespace {

/* The names under which C libraries report the encoding of the locale "C". */
bool CodeSetIsAscii(std::string_view charset) {
    return charset == "ANSI_X3.4-1968" || charset == "US-ASCII" || charset == "ASCII" ||
           charset == "646";
}

gboolean CodeSetStoreResult(void *converted, gsize size, void **result, gsize *resultSize) {
    *result = converted;
    if (resultSize != nullptr)
        *resultSize = size;
    return converted != nullptr;
}

} // namespace

const char *CodeSet_GetCurrentCodeSet(void) {
    return nl_langinfo(CODESET);
}

gboolean CodeSet_Utf8ToCurrent(const char *text, gsize size, char **result, gsize *resultSize) {
    gsize converted = 0;
    char *bytes = nullptr;
    const char *charset = nullptr;
    if (memchr(text, '\0', size) == nullptr && g_utf8_validate(text, size, nullptr)) {
        if (g_get_charset(&charset) || CodeSetIsAscii(charset)) {
            bytes = g_strndup(text, size);
            converted = size;
        } else {
            bytes = g_convert(text, size, charset, "UTF-8", nullptr, &converted, nullptr);
        }
    }
    return CodeSetStoreResult(bytes, converted, reinterpret_cast<void **>(result), resultSize);
}

gboolean CodeSet_Utf8ToUtf16le(const char *text, gsize size, gunichar2 **result,
                               gsize *resultSize) {
    glong units = 0;
    gunichar2 *converted = nullptr;
    if (memchr(text, '\0', size) == nullptr)
        converted = g_utf8_to_utf16(text, size, nullptr, &units, nullptr);
    for (glong i = 0; i < units; i++)
        converted[i] = GUINT16_TO_LE(converted[i]);
    return CodeSetStoreResult(converted, units * sizeof *converted,
                              reinterpret_cast<void **>(result), resultSize);
}

char *CodeSet_GetAltPathName(const gunichar2 *) {
    return nullptr;
}
