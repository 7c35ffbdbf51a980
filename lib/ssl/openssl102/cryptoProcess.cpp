// Functions of libcrypto for the whole process: version, start and clean-up, locking callbacks, memory,
// ex-data.
#include "lib/ssl/openssl102/openssl102.h"

#include <array>
#include <atomic>

namespace {

using LockingFn = void (*)(int mode, int type, const char *file, int line);
using ThreadIdFn = unsigned long (*)();
using AddLockFn = int (*)(int *pointer, int amount, int type, const char *file, int line);

constexpr unsigned long kVersion = 0x100021ff; /* 1.0.2, after its last patch letter */
constexpr int kLocks = 41;                     /* as many as 1.0.2 had */

/* Stored for the getters only: OpenSSL 3 has its own locks and calls none of them. */
constinit std::atomic<LockingFn> lockingCallback{nullptr};
constinit std::atomic<ThreadIdFn> idCallback{nullptr};
constinit std::atomic<AddLockFn> addLockCallback{nullptr};

/* Number of an ex-data class in 1.0.2 -> in OpenSSL 3; -1 where there is none. */
constexpr auto kExDataClasses = std::to_array<int>({
    CRYPTO_EX_INDEX_BIO, CRYPTO_EX_INDEX_SSL, CRYPTO_EX_INDEX_SSL_CTX, CRYPTO_EX_INDEX_SSL_SESSION,
    CRYPTO_EX_INDEX_X509_STORE, CRYPTO_EX_INDEX_X509_STORE_CTX, CRYPTO_EX_INDEX_RSA,
    CRYPTO_EX_INDEX_DSA, CRYPTO_EX_INDEX_DH, CRYPTO_EX_INDEX_ENGINE, CRYPTO_EX_INDEX_X509,
    CRYPTO_EX_INDEX_UI, CRYPTO_EX_INDEX_EC_KEY, /* ECDSA */
    CRYPTO_EX_INDEX_EC_KEY,                     /* ECDH */
});
constexpr int kFirstUserClass = 100;

int ExDataClass(int class102) {
    if (class102 >= kFirstUserClass)
        return CRYPTO_EX_INDEX_APP;
    if (class102 < 0 || static_cast<size_t>(class102) >= kExDataClasses.size())
        return -1;
    return kExDataClasses[class102];
}

} // namespace

USES_GENUINE(CRYPTO_malloc);
USES_GENUINE(CRYPTO_free);
USES_GENUINE(CRYPTO_get_ex_new_index);

OPENSSL102(unsigned long, SSLeay) {
    return kVersion;
}

/* ---- start and clean-up ---- */

OPENSSL102(void, OpenSSL_add_all_ciphers) {
    OPENSSL_init_crypto(OPENSSL_INIT_ADD_ALL_CIPHERS, nullptr);
}

OPENSSL102(void, OpenSSL_add_all_digests) {
    OPENSSL_init_crypto(OPENSSL_INIT_ADD_ALL_DIGESTS, nullptr);
}

OPENSSL102(void, OPENSSL_add_all_algorithms_noconf) {
    OPENSSL_init_crypto(OPENSSL_INIT_ADD_ALL_CIPHERS | OPENSSL_INIT_ADD_ALL_DIGESTS, nullptr);
}

OPENSSL102(void, ERR_load_crypto_strings) {
    OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
}

// Other code in the process continues to use OpenSSL 3, which cannot be started again after a clean-up. It
// cleans up automatically when the process ends.
OPENSSL102(void, EVP_cleanup) {}
OPENSSL102(void, ENGINE_cleanup) {}
OPENSSL102(void, ERR_free_strings) {}
OPENSSL102(void, CRYPTO_cleanup_all_ex_data) {}

/* ---- locking ---- */

OPENSSL102(int, CRYPTO_num_locks) {
    return kLocks;
}

OPENSSL102(void, CRYPTO_set_locking_callback, LockingFn callback) {
    lockingCallback = callback;
}

OPENSSL102(LockingFn, CRYPTO_get_locking_callback) {
    return lockingCallback;
}

OPENSSL102(void, CRYPTO_set_id_callback, ThreadIdFn callback) {
    idCallback = callback;
}

OPENSSL102(void, CRYPTO_set_add_lock_callback, AddLockFn callback) {
    addLockCallback = callback;
}

/* Types below 0 are locks that applications create at run time, which is not supported here. */
OPENSSL102(void, CRYPTO_lock, int mode, int type, const char *file, int line) {
    const LockingFn callback = lockingCallback;
    if (callback != nullptr && type >= 0)
        callback(mode, type, file, line);
}

/* ---- memory ---- */

/* The size is an int in 1.0.2, so the upper half of the register is undefined. */
OPENSSL102(void *, CRYPTO_malloc, int size, const char *file, int line) {
    return size > 0 ? GENUINE(CRYPTO_malloc)(static_cast<size_t>(size), file, line) : nullptr;
}

OPENSSL102(void, CRYPTO_free, void *pointer) {
    GENUINE(CRYPTO_free)(pointer, "", 0);
}

/* ---- ex-data ---- */

OPENSSL102(int, CRYPTO_get_ex_new_index, int class102, long argl, void *argp, CRYPTO_EX_new *newFn,
           CRYPTO_EX_dup *dupFn, CRYPTO_EX_free *freeFn) {
    const int classIndex = ExDataClass(class102);
    if (classIndex < 0)
        return -1;
    return GENUINE(CRYPTO_get_ex_new_index)(classIndex, argl, argp, newFn, dupFn, freeFn);
}

OPENSSL102(int, RSA_get_ex_new_index, long argl, void *argp, CRYPTO_EX_new *newFn,
           CRYPTO_EX_dup *dupFn, CRYPTO_EX_free *freeFn) {
    return GENUINE(CRYPTO_get_ex_new_index)(CRYPTO_EX_INDEX_RSA, argl, argp, newFn, dupFn, freeFn);
}

OPENSSL102(int, X509_get_ex_new_index, long argl, void *argp, CRYPTO_EX_new *newFn,
           CRYPTO_EX_dup *dupFn, CRYPTO_EX_free *freeFn) {
    return GENUINE(CRYPTO_get_ex_new_index)(CRYPTO_EX_INDEX_X509, argl, argp, newFn, dupFn, freeFn);
}

/* ---- functions without a counterpart in OpenSSL 3 ---- */

/* An entropy daemon over a socket, which is never found. */
OPENSSL102(int, RAND_egd, const char *) {
    return -1;
}

/* SHA-0. Initialising a digest context with NULL fails with "no digest set". */
OPENSSL102(const EVP_MD *, EVP_sha) {
    return nullptr;
}
