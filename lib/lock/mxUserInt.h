/*
 * mxUserInt.h -- what all kinds of locks share: their header, the list they are on, their end
 *
 * For this folder and its tests.
 */
#pragma once

#include <atomic>
#include <cstdlib>
#include <new>

#include <glib.h>

#include "lib/lock/mxRecLock.h"
#include "lib/lock/mxUser.h"
#include "lib/misc/atomicFence.h"
#include "lib/misc/hashTable.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"

enum class MXUserType : guint32 { RWLock = 1, RecLock = 2, ExclLock = 4, CondVar = 6 };

struct MXUserHeader;
struct MXUserAcquireStats;
struct MXUserHeldStats;

/* Reports what was counted. */
using MXUserStatsAction = void (*)(MXUserHeader *header);

/* Stands first in every lock. */
struct MXUserHeader {
    guint32 signature; /* the type in the upper four bits, this process in the others; 0 is dead */
    char *name;
    guint32 rank;
    guint32 serialNumber;
    void (*dumpFunc)(const MXUserHeader *header);
    std::atomic<MXUserStatsAction> statsAction; /* NULL unless the use is counted */
    MXUserHeader *previous;                     /* in the list of locks; NULL for one not on it */
    MXUserHeader *next;
};

/* See mxUserLockStats.h. */
struct MXUserLockStats {
    std::atomic<MXUserAcquireStats *> acquire = nullptr;
    std::atomic<MXUserHeldStats *> held = nullptr;
    guint64 heldSince = 0; /* written by the holder; a read-write lock notes it per thread */
};

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
    gpointer vmmLock; /* the host's mutex to use instead of ours, or NULL */
};

struct MXUserRWLock {
    MXUserHeader header;
    bool useNative; /* else one thread at a time, by recursiveLock */
    pthread_rwlock_t nativeLock;
    MXRecLock recursiveLock;
    std::atomic<guint32> holderCount = 0;
    HashTable *holderTable; /* VThreadBase_CurID() -> MXUserHolderContext */
    MXUserLockStats stats;
};

/* What the signatures of this process have in the lower 28 bits; 0 before the first lock. */
extern std::atomic<guint32> MXUserProcessSignature;

inline guint32 MXUserSignature(MXUserType type) {
    return guint32(type) << 28 | MXUserProcessSignature.load(std::memory_order_relaxed);
}

/* The signature that a live lock of the type has; nothing else gets past. */
inline void MXUserValidate(const MXUserHeader *header, MXUserType type) {
    VERIFY(header->signature == MXUserSignature(type));
}

inline bool MXUserIsCounted(const MXUserHeader *header) {
    return header->statsAction.load(std::memory_order_acquire) != nullptr;
}

using MXUserControl = gboolean (*)(MXUserHeader *header, guint32 command, guint32 argument);

/* What the locks of one kind have in common. */
struct MXUserKind {
    MXUserType type;
    const char *prefix; /* of the name that is made if the caller gives none */
    void (*dumpFunc)(const MXUserHeader *header);
    MXUserControl control;
};

/* What the caller says of a new lock. */
struct MXUserWish {
    const char *name; /* or NULL */
    guint32 rank;
    const void *caller;
    bool isSilent = false;
};

void MXUserInitHeader(MXUserHeader *header, const MXUserKind &kind, const MXUserWish &wish);

/* The same, and the statistics, unless silent; then the lock is on the list. */
void MXUserInitLock(MXUserHeader *header, MXUserLockStats *stats, const MXUserKind &kind,
                    const MXUserWish &wish);

/* A new lock with a native core; NULL if the system has none to give. */
template <class Lock> Lock *MXUserNewLock(const MXUserKind &kind, const MXUserWish &wish) {
    auto *lock = new (UtilSafeCalloc0(1, sizeof(Lock))) Lock;
    if (!MXRecLockInit(&lock->recursiveLock)) {
        free(lock);
        return nullptr;
    }
    MXUserInitLock(&lock->header, &lock->stats, kind, wish);
    return lock;
}

/* Ends the life of a header that is on no list any more. */
void MXUserClearHeader(MXUserHeader *header);

void MXUserAddToList(MXUserHeader *header);
void MXUserRemoveFromList(MXUserHeader *header);

/* What guards the list, and all that is said of statistics. */
MXRecLock *MXUserListLock();

/* Calls with each lock of the list, the oldest first. The list's lock is held by the caller; locks
 * may be made meanwhile. */
void MXUserForEachLock(void (*function)(MXUserHeader *header, gpointer data), gpointer data);

/* The lines that the dumps of all kinds have. */
void MXUserDumpCommon(const MXUserHeader *header);

void MXUserDumpAndPanic(const MXUserHeader *header, const char *format, ...)
    G_GNUC_PRINTF(2, 3) G_GNUC_NORETURN;

/* Condition variables, for either kind of lock that counts. As the functions of mxUser.h. */
MXUserCondVar *MXUserCreateCondVar(const MXUserHeader *header, MXRecLock *lock);
void MXUserWaitCondVar(const MXUserHeader *header, MXRecLock *lock, MXUserLockStats *stats,
                       MXUserCondVar *condVar, guint32 milliseconds, const void *caller);

/* What a host has installed; never NULL, but each of them may be. */
struct MXUserHooks {
    MXUserMxLockLister lockLister; /* these two are kept for the host's own use */
    MXUserMxCheckRank checkRank;
    MXUserMxLockRec lockRec;
    MXUserMxUnlockRec unlockRec;
    MXUserMxTryLockRec tryLockRec;
    MXUserMxIsLockedByCurThreadRec isLockedByCurThreadRec;
    MXUserMxSetInPanic setInPanic;
    MXUserMxInPanic inPanic;
};
const MXUserHooks *MXUserInstalledHooks();

/* A lock for the making of locks: made on first use out of nothing but memory. */
MXRecLock *MXUserInternalSingleton(std::atomic<MXRecLock *> *storage);

/* The lock in the storage; if there is none yet, the one that create() gives. Of threads that make
 * one at once, the first to store wins, and the others destroy() theirs. */
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
