/*
 * mxUserLock.h -- the structures of the three kinds of locks, and how they are created
 *
 * Threads: any.
 */
#pragma once

#include <atomic>
#include <cstdlib>
#include <new>

#include "lib/lock/mxUser.h"
#include "lib/lock/mxUserHeader.h"
#include "lib/lock/mxUserLockStats.h"
#include "lib/misc/atomicFence.h"
#include "lib/misc/hashTable.h"
#include "lib/misc/utilSafe.h"

struct MXUserExclLock {
    MXUserHeader header;
    MXRecLock recursiveLock;
    MXUserLockStats stats;
};

struct MXUserRecLock {
    MXUserHeader header;
    MXRecLock recursiveLock;
    MXUserLockStats stats;
    std::atomic<guint32> refCount = 1;
    gpointer vmmLock; /* the host's mutex to forward to, or NULL */
};

struct MXUserRWLock {
    MXUserHeader header;
    bool useNative; /* FALSE: recursiveLock serialises all holders */
    pthread_rwlock_t nativeLock;
    MXRecLock recursiveLock;
    std::atomic<guint32> holderCount = 0;
    HashTable *holderTable; /* VThreadBase_CurID() -> MXUserHolderContext */
    MXUserLockStats stats;
};

/* Initialises the header and, unless silent, the statistics of a new lock. Then it puts the lock on the
 * list. */
void MXUserInitLock(MXUserHeader *header, MXUserLockStats *stats, const MXUserKind &kind,
                    const MXUserLockOptions &options);

/* Returns a new lock with a native core; NULL if the system has no more. */
template <class Lock>
Lock *MXUserNewLock(const MXUserKind &kind, const MXUserLockOptions &options) {
    auto *lock = new (UtilSafeCalloc0(1, sizeof(Lock))) Lock;
    if (!MXRecLockInit(&lock->recursiveLock)) {
        free(lock);
        return nullptr;
    }
    MXUserInitLock(&lock->header, &lock->stats, kind, options);
    return lock;
}

/* Returns the lock in the storage, after storing what create() returns if there is none. Of several threads
 * that create one, the first to store it wins, and the others destroy() theirs. */
template <class Lock, class Create>
Lock *MXUserSingleton(Lock **storage, Create create, void (*destroy)(Lock *)) {
    std::atomic_ref<Lock *> shared(*storage);
    Lock *lock = shared.load(std::memory_order_acquire);
    if (lock)
        return lock;
    Lock *made = create();
    if (!made || Atomic_CompareExchange(&shared, &lock, made))
        return made;
    destroy(made);
    return lock;
}
