/*
 * mxRecLock.h -- what is inside exclusive and recursive locks: a mutex, its owner, and how often
 *
 *   count 0, no owner  -- Acquire ->  count 1, this thread  -- Acquire ->  count 2  ...
 *
 * Count and owner are written by the holder alone, but read by anyone who asks "is it me?". Only
 * the thread that wrote its own number there can find it there, so a relaxed read is enough.
 *
 * Ownership: the memory is the caller's.
 * Errors:    only MXRecLockInit() can fail. Releasing is not checked.
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

/* The mutex is this thread's: writes so, with the count that it holds. */
inline void MXRecLockEnter(MXRecLock *lock, gint32 count) {
    const gint32 before = MXRecLockCount(lock);
    if (before != 0) {
        lock->referenceCount.store(before + count, std::memory_order_relaxed);
        return;
    }
    lock->nativeThreadID.store(pthread_self(), std::memory_order_relaxed);
    lock->referenceCount.store(count, std::memory_order_relaxed);
}

/* Before the mutex is given up: the count that is given up with it. */
inline gint32 MXRecLockLeave(MXRecLock *lock) {
    const gint32 count = MXRecLockCount(lock);
    lock->referenceCount.store(0, std::memory_order_relaxed);
    lock->nativeThreadID.store(kMXNoThread, std::memory_order_relaxed);
    return count;
}

/* Counts up if this thread holds it already. */
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
    pthread_mutex_unlock(&lock->nativeLock); /* a default mutex has nothing to refuse */
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
