#include "lib/ssl/sslLoader.h"

#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <glib.h>

#include "lib/misc/glibPtr.h"
#include "lib/misc/hostinfo.h"
#include "lib/misc/id.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/posix.h"
#include "lib/ssl/sslThunkTable.h"

namespace {

constexpr char kCryptoFile[] = "libcrypto.so.1.0.2";
constexpr char kSslFile[] = "libssl.so.1.0.2";

/* A library must be newer than this. */
constexpr unsigned long kTooOld = 0x1000217e;

using VersionFn = unsigned long (*)();

/* The path of a file of the pair: a directory, then the file's name once or twice. */
struct PathForm {
    int count;
    const char *format;
};

/* The directory of these forms is given with its length. */
constexpr PathForm kDerivedForms[] = {
    {1, "%*.*s/%s"},
    {2, "%*.*s/libdir/lib/%s/%s"},
};

constexpr PathForm kLibraryForms[] = {
    {2, "%s/lib/%s-x86-64/%s"},
    {2, "%s/lib/%s/%s"},
    {1, "%s/lib/%s"},
    {1, "%s/%s"},
};

void *SSLOpenLibrary(const char *path) {
    void *handle = Posix_Dlopen(path, RTLD_LAZY | RTLD_GLOBAL);
    if (handle == nullptr) {
        const char *reason = dlerror();
        Log_Level(LOG_LEVEL_VERBOSE, "SSL: cannot open %s: %s\n", path,
                  reason != nullptr ? reason : "not a name in the current encoding");
    }
    return handle;
}

/* Returns the address of a symbol, which may be NULL. A missing symbol ends the process. */
void *SSLResolve(void *library, const char *name) {
    dlerror();
    void *symbol = dlsym(library, name);
    const char *reason = dlerror();
    if (reason != nullptr)
        Panic("DLSYM: Failed to resolve %s: %s\n", name, reason);
    return symbol;
}

bool SSLIsNewEnough(void *libcrypto, const char *path) {
    const auto version = reinterpret_cast<VersionFn>(SSLResolve(libcrypto, "SSLeay"));
    const unsigned long number = version != nullptr ? version() : 0;
    if (number <= kTooOld)
        Log_Level(LOG_LEVEL_VERBOSE, "SSL: %s is too old: 0x%lx\n", path, number);
    return number > kTooOld;
}

/* Tries the forms in order; path(form, file) returns the path of a file. */
template <class Forms, class Path>
bool SSLOpenFirst(const Forms &forms, bool isVersionChecked, SSLLibraryPair *pair, Path path) {
    for (const PathForm &form : forms) {
        const GPtr<char> crypto(path(form, kCryptoFile));
        const GPtr<char> ssl(path(form, kSslFile));
        if (SSLOpenLibrariesDirect(crypto.get(), ssl.get(), isVersionChecked, pair))
            return true;
    }
    return false;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

/* Searches beside a file. */
bool SSLOpenLibrariesDerived(const char *path, bool isVersionChecked, SSLLibraryPair *pair) {
    const char *slash = strrchr(path, G_DIR_SEPARATOR);
    if (slash == nullptr) {
        Warning("%s: Valid path not specified (%s).\n", "SSLOpenLibrariesDerived", path);
        return false;
    }
    const int length = static_cast<int>(slash - path);
    return SSLOpenFirst(
        kDerivedForms, isVersionChecked, pair, [&](const PathForm &form, const char *file) {
            return form.count == 1 ? g_strdup_printf(form.format, length, length, path, file)
                                   : g_strdup_printf(form.format, length, length, path, file, file);
        });
}

bool SSLOpenLibrariesUnder(const char *libraryDir, bool isVersionChecked, SSLLibraryPair *pair) {
    return SSLOpenFirst(
        kLibraryForms, isVersionChecked, pair, [&](const PathForm &form, const char *file) {
            return form.count == 1 ? g_strdup_printf(form.format, libraryDir, file)
                                   : g_strdup_printf(form.format, libraryDir, file, file);
        });
}

#pragma GCC diagnostic pop

} // namespace

bool SSL_IsFullPath(const char *path) {
    return path != nullptr && path[0] == G_DIR_SEPARATOR;
}

bool SSLOpenLibrariesDirect(const char *cryptoPath, const char *sslPath, bool isVersionChecked,
                            SSLLibraryPair *pair) {
    *pair = {nullptr, nullptr};
    void *crypto = SSLOpenLibrary(cryptoPath);
    if (crypto == nullptr)
        return false;
    void *ssl = SSLOpenLibrary(sslPath);
    if (ssl == nullptr) {
        dlclose(crypto);
        return false;
    }
    if (isVersionChecked && !SSLIsNewEnough(crypto, cryptoPath)) {
        dlclose(ssl);
        dlclose(crypto);
        return false;
    }
    *pair = {crypto, ssl};
    return true;
}

bool SSLOpenLibraries(const char *libraryDir, bool isVersionChecked, SSLLibraryPair *pair) {
    *pair = {nullptr, nullptr};
    if (!Id_IsSetUGid()) {
        const MallocPtr<char> library(
            Hostinfo_GetLibraryPath(reinterpret_cast<const void *>(&SSLOpenLibraries)));
        if (SSL_IsFullPath(library.get()) &&
            SSLOpenLibrariesDerived(library.get(), isVersionChecked, pair))
            return true;
        const MallocPtr<char> program(Hostinfo_GetModulePath(0));
        if (program && SSLOpenLibrariesDerived(program.get(), isVersionChecked, pair))
            return true;
    }
    return libraryDir != nullptr && SSLOpenLibrariesUnder(libraryDir, isVersionChecked, pair);
}

void SSLResolveThunks(const SSLLibraryPair &pair) {
    for (std::size_t row = 0; row < SSL_THUNK_COUNT; row++) {
        void *library = SSLThunkLibraryOf(row) == SSL_LIBSSL ? pair.ssl : pair.crypto;
        __atomic_store_n(&sslThunkTargets[row], SSLResolve(library, SSLThunkName(row)),
                         __ATOMIC_RELEASE);
    }
}
