// Files whose names are in UTF-8, whatever the encoding of the process.
#include "lib/misc/codeSet.h"
#include "lib/misc/glibPtr.h"
#include "lib/ssl/sslThunks.h"

namespace {

/* Returns the name of a file in the encoding of the system; NULL if it has none. */
GPtr<char> SystemFileName(const char *path) {
    char *name = nullptr;
    if (CodeSet_Utf8ToCurrent(path, strlen(path), &name, nullptr))
        return GPtr<char>(name);
    gunichar2 *units = nullptr;
    if (!CodeSet_Utf8ToUtf16le(path, strlen(path), &units, nullptr))
        return nullptr;
    const GPtr<gunichar2> owner(units);
    return GPtr<char>(CodeSet_GetAltPathName(units));
}

} // namespace

BIO *SSL_BIO_new_file(const char *path, const char *mode) {
    const GPtr<char> name = SystemFileName(path);
    return name != nullptr ? __wrap_BIO_new_file(name.get(), mode) : nullptr;
}
