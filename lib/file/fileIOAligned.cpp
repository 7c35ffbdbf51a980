// The pool of aligned buffers: busy ones first, free ones behind, each with the time when it became free.
#include <array>
#include <cstdlib>
#include <ctime>
#include <malloc.h>

#include "lib/file/fileIOInt.h"
#include "lib/lock/mxUser.h"
#include "lib/misc/log.h"

namespace {

constexpr gsize kBufferSize = 0x100000;
constexpr gsize kAlignment = 4096;
constexpr gsize kMaxBuffers = 30;
constexpr gint64 kMaxIdleNs = 1000000000;
constexpr guint32 kLockRank = 0xFF000000;

struct Buffer {
    gpointer memory;
    gint64 freedNs;
};

struct AlignedPool {
    std::array<Buffer, kMaxBuffers> buffers;
    gsize numBusy;
    gsize numBuffers;
};

constinit MXUserExclLock *alignedPoolLock = nullptr;
constinit AlignedPool alignedPool = {};
constinit bool isReported = false;

gint64 NowNs() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return gint64{now.tv_sec} * 1000000000 + now.tv_nsec;
}

/* The lock, if the pool was initialised; says once that it was not. */
MXUserExclLock *PoolLock(const char *caller) {
    MXUserExclLock *lock = __atomic_load_n(&alignedPoolLock, __ATOMIC_ACQUIRE);
    if (lock == nullptr && !__atomic_exchange_n(&isReported, true, __ATOMIC_RELAXED))
        Log("%s called without FileIOAligned_Pool lock\n", caller);
    return lock;
}

} // namespace

void FileIOAligned_PoolInit(void) {
    MXUser_CreateSingletonExclLock(&alignedPoolLock, "alignedPoolLock", kLockRank);
}

void FileIOAligned_PoolExit(void) {
    MXUserExclLock *lock = PoolLock("FileIOAligned_PoolExit");
    if (lock == nullptr)
        return;
    MXUser_AcquireExclLock(lock);
    if (alignedPool.numBusy > 0)
        Log("%s: %d busy buffers!  Proceeding with trepidation.\n", "FileIOAligned_PoolExit",
            static_cast<int>(alignedPool.numBusy));
    for (gsize i = alignedPool.numBusy; i < alignedPool.numBuffers; i++)
        free(alignedPool.buffers[i].memory);
    alignedPool = {};
    MXUser_ReleaseExclLock(lock);
    MXUser_DestroyExclLock(lock);
    alignedPoolLock = nullptr;
}

gpointer FileIOAligned_PoolMalloc(gsize size) {
    MXUserExclLock *lock = PoolLock("FileIOAligned_PoolMalloc");
    if (lock == nullptr || size > kBufferSize)
        return nullptr;
    gpointer memory = nullptr;
    MXUser_AcquireExclLock(lock);
    AlignedPool &pool = alignedPool;
    if (pool.numBusy == pool.numBuffers && pool.numBuffers < kMaxBuffers) {
        pool.buffers[pool.numBuffers].memory = memalign(kAlignment, kBufferSize);
        pool.numBuffers += pool.buffers[pool.numBuffers].memory != nullptr;
    }
    if (pool.numBusy < pool.numBuffers)
        memory = pool.buffers[pool.numBusy++].memory;
    MXUser_ReleaseExclLock(lock);
    return memory;
}

gboolean FileIOAligned_PoolFree(gpointer buffer) {
    MXUserExclLock *lock = PoolLock("FileIOAligned_PoolFree");
    if (lock == nullptr)
        return FALSE;
    MXUser_AcquireExclLock(lock);
    AlignedPool &pool = alignedPool;
    gsize index = 0;
    while (index < pool.numBusy && pool.buffers[index].memory != buffer)
        index++;
    const bool isOurs = index < pool.numBusy;
    if (isOurs) {
        /* the last busy one takes its place, and it is the first free one */
        const gint64 now = NowNs();
        pool.numBusy--;
        pool.buffers[index] = pool.buffers[pool.numBusy];
        pool.buffers[pool.numBusy] = {buffer, now};
        /* those behind it became free before; the oldest is the last */
        while (pool.numBuffers > pool.numBusy + 1 &&
               now - pool.buffers[pool.numBuffers - 1].freedNs > kMaxIdleNs)
            free(pool.buffers[--pool.numBuffers].memory);
    }
    MXUser_ReleaseExclLock(lock);
    return isOurs;
}
