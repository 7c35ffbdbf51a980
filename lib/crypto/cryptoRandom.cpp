// lib/crypto/cryptoRandom.cpp: the generator of FIPS 186-2, appendix 3.1, with SHA-1 as its function
//
//   chunk = SHA-1 compression of (xkey, 44 zero bytes) from the usual start, no padding      20 bytes
//   xkey  = (xkey + chunk + 1) mod 2^160
//
// Every 1,000,000 chunks, 20 bytes of the kernel are XORed to xkey first.
//
// The state is a page of memory that the kernel zeroes in a child after a fork: there the generator begins anew, with
// a lock that no thread of the parent can hold.
#include "lib/crypto/cryptoRandom.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <span>

#include <crypto/cryptoRandom.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include "lib/crypto/shaFips.h"
#include "lib/lock/mxUser.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/secret.h"
#include "lib/ssl/sslThunks.h"

namespace {

constexpr gsize kChunkSize = 20;
constexpr guint32 kChunksPerSeed = 1000000;
constexpr guint32 kLockRank = 0xFEFFFFFF;

using Chunk = std::array<guint8, kChunkSize>;

/* All zero in a new process and in a child. All but the lock is guarded by it. */
struct Generator {
    MXUserExclLock *lock; /* a singleton */
    bool isStarted;
    Chunk xkey;
    Chunk chunk;
    Chunk oldSeed;
    Chunk newSeed;
    guint32 m;       /* chunks since the last seed; at the limit a new one is due */
    guint32 randOfs; /* how much of the chunk was handed out */
};

constinit std::atomic<Generator *> gGenerator = nullptr;

void ForgetInChild() {
    Generator *generator = gGenerator.load(std::memory_order_relaxed);
    memset(static_cast<void *>(generator), 0, sizeof *generator);
}

/* The generator, made at the first use; nullptr without memory for it. */
Generator *GetGenerator() {
    Generator *generator = gGenerator.load(std::memory_order_acquire);
    if (generator != nullptr)
        return generator;

    void *page = mmap(nullptr, sizeof(Generator), PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED)
        return nullptr;
    const bool isWipedOnFork = madvise(page, sizeof(Generator), MADV_WIPEONFORK) == 0;
    if (!gGenerator.compare_exchange_strong(generator, static_cast<Generator *>(page))) {
        munmap(page, sizeof(Generator));
        return generator; // another thread was first
    }
    // kernels before 4.14
    if (!isWipedOnFork && pthread_atfork(nullptr, nullptr, ForgetInChild) != 0)
        Warning("CryptoRandom: a forked child will repeat random bytes of its parent\n");
    return static_cast<Generator *>(page);
}

/* Holds the generator, in its initial state if this is the first time. */
class LockedGenerator {
public:
    explicit LockedGenerator(const char *lockName) : generator(GetGenerator()) {
        MXUserExclLock *lock =
            generator != nullptr
                ? MXUser_CreateSingletonExclLock(&generator->lock, lockName, kLockRank)
                : nullptr;
        if (lock == nullptr) {
            generator = nullptr;
            return;
        }
        MXUser_AcquireExclLock(lock);
        if (!generator->isStarted) {
            generator->isStarted = true;
            generator->m = kChunksPerSeed;
            generator->randOfs = kChunkSize;
        }
    }
    ~LockedGenerator() {
        if (generator != nullptr)
            MXUser_ReleaseExclLock(generator->lock);
    }
    LockedGenerator(const LockedGenerator &) = delete;
    LockedGenerator &operator=(const LockedGenerator &) = delete;

    explicit operator bool() const { return generator != nullptr; }
    Generator *operator->() const { return generator; }
    Generator &operator*() const { return *generator; }

private:
    Generator *generator;
};

bool Reseed(Generator *generator) {
    generator->oldSeed = generator->newSeed;
    if (!RandomBytesHost(generator->newSeed.data(), kChunkSize))
        return false;
    for (gsize i = 0; i < kChunkSize; i++)
        generator->xkey[i] ^= generator->newSeed[i];
    return true;
}

/* Makes the next chunk. */
bool Generate(Generator *generator) {
    if (generator->m >= kChunksPerSeed) {
        if (!Reseed(generator))
            return false;
        generator->m = 1;
    } else {
        generator->m++;
    }

    SecretArray<SHA_BLOCK_SIZE> block;
    memcpy(block.data(), generator->xkey.data(), kChunkSize);
    SecretValue<SHA1FipsState> state;
    SHA1_FIPS_Init(&state);
    ShaBody_Get().sha1(state.words, block.data(), 1);
    ShaWords_Write(state.words, generator->chunk.data());

    unsigned carry = 1;
    for (gsize i = kChunkSize; i-- > 0;) {
        carry += static_cast<unsigned>(generator->xkey[i]) + generator->chunk[i];
        generator->xkey[i] = static_cast<guint8>(carry);
        carry >>= 8;
    }
    return true;
}

CryptoError GetBytes(guint8 *bytes, gsize size) {
    LockedGenerator generator("randGetBytesLock");
    if (!generator)
        return CRYPTO_ERROR_LOCK;
    while (size > 0) {
        if (generator->randOfs == kChunkSize) {
            if (!Generate(&*generator))
                return CRYPTO_ERROR_FAILED;
            generator->randOfs = 0;
        }
        const gsize part = std::min<gsize>(size, kChunkSize - generator->randOfs);
        memcpy(bytes, generator->chunk.data() + generator->randOfs, part);
        generator->randOfs += static_cast<guint32>(part);
        bytes += part;
        size -= part;
    }
    return CRYPTO_ERROR_SUCCESS;
}

void Destroy() {
    NOT_REACHED();
}

CryptoError Seed(const guint8 *bytes, gsize size) {
    if (bytes != nullptr && size < kChunkSize)
        return CRYPTO_ERROR_BUFFER_SIZE;
    LockedGenerator generator("randSeedLock");
    if (!generator)
        return CRYPTO_ERROR_LOCK;
    if (bytes == nullptr) {
        generator->m = kChunksPerSeed;
        return CRYPTO_ERROR_SUCCESS;
    }
    memcpy(generator->xkey.data(), bytes, kChunkSize);
    generator->m = 1;
    generator->randOfs = kChunkSize;
    generator->chunk = {};
    return CRYPTO_ERROR_SUCCESS;
}

gsize GetSeedSize() {
    return kChunkSize;
}

constexpr CryptoPRNG kDefaultPRNG = {GetBytes, Destroy, Seed, GetSeedSize};

/* ---- OpenSSL's random method ---- */

int SSLSeed(const void *, int) {
    Warning("seeding not supported\n");
    return 1;
}

int SSLBytes(unsigned char *bytes, int size) {
    return size >= 0 &&
                   CryptoRandom_GetBytes(bytes, static_cast<gsize>(size)) == CRYPTO_ERROR_SUCCESS
               ? 1
               : 0;
}

void SSLCleanup() {}

int SSLAdd(const void *, int, double) {
    return 1;
}

int SSLStatus() {
    return 1;
}

/* OpenSSL keeps the address for as long as the process lives. */
constexpr RAND_METHOD kSSLMethod = {SSLSeed, SSLBytes, SSLCleanup, SSLAdd, SSLBytes, SSLStatus};

} // namespace

const CryptoPRNG *const CryptoDefaultPRNG = &kDefaultPRNG;

bool RandomBytesHost(guint8 *bytes, gsize size) {
    const int fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        Log("%s: Failed to open: %d\n", __func__, errno);
        return false;
    }
    bool isFilled = true;
    while (size > 0) {
        const ssize_t count = read(fd, bytes, size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) {
            Log("%s: Read error: %d\n", __func__, errno);
            isFilled = false;
            break;
        }
        bytes += count;
        size -= static_cast<gsize>(count);
    }
    if (close(fd) != 0) {
        Log("%s: Failed to close: %d\n", __func__, errno);
        return false;
    }
    return isFilled;
}

CryptoError CryptoRandom_GetBytes(gpointer buf, gsize size) {
    const CryptoError error = CryptoDefaultPRNG->getBytes(static_cast<guint8 *>(buf), size);
    if (error != CRYPTO_ERROR_SUCCESS)
        Secret_Wipe(buf, size);
    return error;
}

CryptoError CryptoRandom_Seed(gconstpointer seed, gsize size) {
    return CryptoDefaultPRNG->seed(static_cast<const guint8 *>(seed), size);
}

gsize CryptoRandom_GetSeedSize(void) {
    return CryptoDefaultPRNG->getSeedSize();
}

void CryptoRandom_SSLSetOurRand(void) {
    // setting it anew would make other threads wait
    if (__wrap_RAND_get_rand_method() != &kSSLMethod)
        __wrap_RAND_set_rand_method(&kSSLMethod);
}
