#include "lib/ssl/sslModule.h"

#include <cerrno>
#include <cstdlib>
#include <utility>

#include "lib/lock/mxUser.h"
#include "lib/misc/atomicFence.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/threadId.h"
#include "lib/misc/utilSafe.h"
#include "lib/ssl/sslAccess.h"
#include "lib/ssl/sslCertStore.h"
#include "lib/ssl/sslLoader.h"
#include "lib/ssl/sslState.h"
#include "lib/ssl/sslVerifyState.h"

namespace {

constexpr char kDefaultLibraryDir[] = "/usr/lib/halden";
constexpr char kCertFile[] = "/etc/halden/ssl/rui.crt";
constexpr char kKeyFile[] = "/etc/halden/ssl/rui.key";
constexpr const char *kDHParamsFiles[SSL_DH_FILES] = {
    "/etc/halden/ssl/dh1024.pem", "/etc/halden/ssl/dh2048.pem", "/etc/halden/ssl/dh4096.pem"};

constexpr guint32 kOpenSSLLockRank = 0;
constexpr int kZlibMethod = 1; /* number of the compression method in TLS */

/* One for each number of OpenSSL's locks. */
constinit MXUserExclLock **ssl_locks = nullptr;
constinit int numSslLocks = 0;

/* ---- callbacks of OpenSSL ---- */

/* Keeps errno, by which the callers report. */
void SSLLockingCb(int mode, int n, const char *, int) {
    if (!sslModule.SSLModuleInitialized)
        return;
    const int savedErrno = errno;
    VERIFY(n >= 0 && n < numSslLocks);
    if ((mode & CRYPTO_LOCK) != 0)
        MXUser_AcquireExclLock(ssl_locks[n]);
    else if ((mode & CRYPTO_UNLOCK) != 0)
        MXUser_ReleaseExclLock(ssl_locks[n]);
    errno = savedErrno;
}

int SSLAddLockCb(int *pointer, int amount, int, const char *, int) {
    const int result = __atomic_add_fetch(pointer, amount, __ATOMIC_SEQ_CST);
    AtomicFence();
    return result;
}

unsigned long SSLThreadIdCb() {
    return static_cast<unsigned long>(Util_GetCurrentThreadId());
}

/* ---- start ---- */

void SSLLoadSharedLibraries(const char *libraryDir) {
    SSLLibraryPair pair;
    if (!SSLOpenLibraries(libraryDir, true, &pair))
        Panic("%s: Failed to load OpenSSL libraries. libdir is %s\n", "SSLLoadSharedLibraries",
              libraryDir != nullptr ? libraryDir : "(null)");
    sslModule.libcryptoHandle = pair.crypto;
    sslModule.libsslHandle = pair.ssl;
    SSLResolveThunks(pair);
    SSLAccess_Resolve(pair.crypto);
}

void SSLStartOpenSSL() {
    __wrap_SSL_library_init();
    if (sslModule.useSSLCompression)
        __wrap_SSL_COMP_add_compression_method(kZlibMethod, __wrap_COMP_zlib());
    __wrap_SSL_load_error_strings();
    __wrap_OPENSSL_add_all_algorithms_noconf();
    __wrap_RAND_status();
}

void SSLInstallCallbacks() {
    numSslLocks = __wrap_CRYPTO_num_locks();
    ssl_locks =
        static_cast<MXUserExclLock **>(UtilSafeCalloc0(numSslLocks, sizeof(MXUserExclLock *)));
    for (int i = 0; i < numSslLocks; i++) {
        char name[32];
        g_snprintf(name, sizeof name, "sslLock_%u", i);
        ssl_locks[i] = MXUser_CreateExclLock(name, kOpenSSLLockRank);
        if (ssl_locks[i] == nullptr)
            Panic("%s: Failed to create lock %s\n", "SSL_Init", name);
    }
    // The application's own callback stays in place.
    if (__wrap_CRYPTO_get_locking_callback() == nullptr) {
        __wrap_CRYPTO_set_locking_callback(SSLLockingCb);
        sslModule.weSetLockingCallback = true;
        SSLCheckLockingCallback();
    }
    __wrap_CRYPTO_set_id_callback(SSLThreadIdCb);
    __wrap_CRYPTO_set_add_lock_callback(SSLAddLockCb);
}

/* Keeps a name that was set before the start. */
void SSLSetDefaultFile(char **file, const char *standard) {
    if (*file == nullptr)
        *file = UtilSafeStrdup0(standard);
}

void SSLSetDefaultFiles() {
    SSLSetDefaultFile(&sslModule.SSLCertFile, kCertFile);
    SSLSetDefaultFile(&sslModule.SSLKeyFile, kKeyFile);
    for (int i = 0; i < SSL_DH_FILES; i++)
        SSLSetDefaultFile(&sslModule.SSLDHParamsFiles[i], kDHParamsFiles[i]);
}

/* ---- stop ---- */

void SSLRemoveCallbacks() {
    __wrap_CRYPTO_set_id_callback(nullptr);
    __wrap_CRYPTO_set_add_lock_callback(nullptr);
    if (sslModule.weSetLockingCallback) {
        __wrap_CRYPTO_set_locking_callback(nullptr);
        sslModule.weSetLockingCallback = false;
    }
    for (int i = 0; i < numSslLocks; i++)
        MXUser_DestroyExclLock(ssl_locks[i]);
    free(std::exchange(ssl_locks, nullptr));
    numSslLocks = 0;
}

void SSLFreeFiles() {
    sslModule.areCertificatesLoaded = false;
    for (char **text : {&sslModule.SSLCertFile, &sslModule.SSLKeyFile, &sslModule.SSLCertStoreName,
                        &sslModule.SSLCertSubject})
        free(std::exchange(*text, nullptr));
    for (std::atomic<DH *> &dh : sslModule.SSLDHParamsCache)
        __wrap_DH_free(dh.exchange(nullptr));
    for (int i = 0; i < SSL_DH_FILES; i++) {
        free(std::exchange(sslModule.SSLDHParamsFiles[i], nullptr));
        sslModule.SSLDHParamsFilesTriedLoad[i] = false;
    }
}

} // namespace

void SSLCheckLockingCallback() {
    if (!sslModule.weSetLockingCallback)
        return;
    const SSLLockingFn seen = __wrap_CRYPTO_get_locking_callback();
    if (seen != SSLLockingCb)
        Warning("%s: locking callback overwritten! Expected %p, saw %p\n",
                "SSLCheckLockingCallback", reinterpret_cast<void *>(SSLLockingCb),
                reinterpret_cast<void *>(seen));
}

void SSL_Init(SSLGetLibraryDirFn getLibFn, const char *defaultLib, const char *name) {
    SSLStateGuard guard;
    if (sslModule.SSLModuleInitialized)
        return;

    MallocPtr<char> libraryDir;
    if (getLibFn != nullptr) {
        // The function may use the layer, on this thread or on another.
        SSLStateUnlock();
        libraryDir.reset(getLibFn(defaultLib, name));
        SSLStateLock();
        if (sslModule.SSLModuleInitialized)
            return;
    } else {
        libraryDir.reset(UtilSafeStrdup0(defaultLib != nullptr ? defaultLib : kDefaultLibraryDir));
    }

    SSLLoadSharedLibraries(libraryDir.get());
    SSLStartOpenSSL();
    SSLInstallCallbacks();
    sslModule.ssl_ctx = SSL_NewContext();
    sslModule.SSLVerifyParamIx = __wrap_SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    sslModule.SSLVerifyStateIx =
        __wrap_SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, FreeSSLVerifyState);
    SSLVerifyState_MakeSlot();
    SSLSetDefaultFiles();
    __wrap_ENGINE_register_all_ciphers();
    __wrap_ENGINE_register_all_digests();
    sslModule.SSLModuleInitialized = true;
}

void SSL_Exit(void) {
    if (!sslModule.SSLModuleInitialized)
        return;
    __wrap_SSL_CTX_free(std::exchange(sslModule.ssl_ctx, nullptr));
    sslModule.hasHostCAs = false;
    SSLForgetHostCAs();
    SSLRemoveCallbacks();
    __wrap_ENGINE_cleanup();
    __wrap_EVP_cleanup();
    sslModule.SSLModuleInitialized = false;
    SSLFreeFiles();
    SSLStateDestroyLock();
}

gboolean SSL_IsSSLModuleInitialized(void) {
    return sslModule.SSLModuleInitialized;
}

void SSL_SetUseCompression(gboolean useCompression) {
    sslModule.useSSLCompression = useCompression != FALSE;
}

gboolean SSL_IsOpaque(void) {
    return sslModule.SSLModuleInitialized && SSLAccess_IsOpaque();
}
