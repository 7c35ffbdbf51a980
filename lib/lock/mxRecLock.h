/*
 * mxRecLock.h -- the core of exclusive and recursive locks: a mutex, its owner, and a count
 *
 *   count 0, no owner  -- Acquire ->  count 1, this thread  -- Acquire ->  count 2  ...
 *
 * Only the holder writes count and owner. Any thread reads them to find out whether it is the holder. A thread
 * finds its own number there only if it wrote it itself, so a relaxed read is enough.
 *
 * Ownership: the memory is the caller's.
 * Errors:    only MXRecLockInit() can fail. Release does not check that the caller is the holder.
 * Threads:   any.
 */
#pragma once

#include <atomic>
#include <cerrno>

#include <pthread.h>

#include <glib.h>

#include "lib/misc/panic.h"

constexpr pthread_t kMXNoThread = ~pthread_t{0};

struct MXRecLock {
    pthread_mutex_t nativeLock;
    std::atomic<gint32> referenceCount = 0;              /* acquisitions by the owner */
    std::atomic<pthread_t> nativeThreadID = kMXNoThread; /* the owner */
};

inline bool MXRecLockInit(MXRecLock *lock) {
    return pthread_mutex_init(&lock->nativeLock, nullptr) == 0;
}

inline void MXRecLockDestroy(MXRecLock *lock) {
    VERIFY(pthread_mutex_destroy(&lock->nativeLock) == 0);
}

inline gint32 MXRecLockCount(const MXRecLock *lock) {
    return lock->referenceCount.load(std::memory_order_relaxed);
}

inline bool MXRecLockIsOwner(const MXRecLock *lock) {
    return MXRecLockCount(lock) > 0 &&
           lock->nativeThreadID.load(std::memory_order_relaxed) == pthread_self();
}

/* Records the calling thread, which has just locked the mutex, as the holder, and adds to the count. */
inline void MXRecLockEnter(MXRecLock *lock, gint32 count) {
    const gint32 before = MXRecLockCount(lock);
    if (before != 0) {
        lock->referenceCount.store(before + count, std::memory_order_relaxed);
        return;
    }
    lock->nativeThreadID.store(pthread_self(), std::memory_order_relaxed);
    lock->referenceCount.store(count, std::memory_order_relaxed);
}

/* Clears count and owner before the mutex is unlocked. Returns the former count. */
inline gint32 MXRecLockLeave(MXRecLock *lock) {
    const gint32 count = MXRecLockCount(lock);
    lock->referenceCount.store(0, std::memory_order_relaxed);
    lock->nativeThreadID.store(kMXNoThread, std::memory_order_relaxed);
    return count;
}

/* Increments the count if the calling thread is the holder. Returns whether it is. */
inline bool MXRecLockReenter(MXRecLock *lock) {
    if (!MXRecLockIsOwner(lock))
        return false;
    lock->referenceCount.store(MXRecLockCount(lock) + 1, std::memory_order_relaxed);
    return true;
}

inline void MXRecLockAcquire(MXRecLock *lock) {
    if (MXRecLockReenter(lock))
        return;
    VERIFY(pthread_mutex_lock(&lock->nativeLock) == 0);
    MXRecLockEnter(lock, 1);
}

inline bool MXRecLockTryAcquire(MXRecLock *lock) {
    if (MXRecLockReenter(lock))
        return true;
    const int error = pthread_mutex_trylock(&lock->nativeLock);
    if (error != 0) {
        VERIFY(error == EBUSY);
        return false;
    }
    MXRecLockEnter(lock, 1);
    return true;
}

inline void MXRecLockRelease(MXRecLock *lock) {
    const gint32 count = MXRecLockCount(lock);
    if (count != 1) {
        lock->referenceCount.store(count - 1, std::memory_order_relaxed);
        return;
    }
    lock->referenceCount.store(0, std::memory_order_relaxed);
    lock->nativeThreadID.store(kMXNoThread, std::memory_order_relaxed);
    pthread_mutex_unlock(&lock->nativeLock); /* cannot fail for a default mutex */
}

/* Holds a lock until the end of the scope. */
class MXRecLockGuard {
public:
    explicit MXRecLockGuard(MXRecLock *lock) : held(lock) { MXRecLockAcquire(held); }
    ~MXRecLockGuard() { MXRecLockRelease(held); }
    MXRecLockGuard(const MXRecLockGuard &) = delete;
    MXRecLockGuard &operator=(const MXRecLockGuard &) = delete;

private:
    MXRecLock *held;
};
