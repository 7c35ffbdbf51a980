#include "lib/lock/mxUserLock.h"
#include "lib/lock/mxUserStats.h"
#include "lib/lock/vthreadBase.h"
#include "lib/misc/log.h"

namespace {

constexpr guint kHolderBuckets = 256;

enum RWState : guint32 { RW_UNLOCKED, RW_LOCKED_FOR_READ, RW_LOCKED_FOR_WRITE };

/* The state of one lock for one thread. Only that thread accesses it. */
struct MXUserHolderContext {
    guint32 state;
    guint64 heldSince;
};

void MXUserDumpRWLock(const MXUserHeader *header) {
    const auto *lock = reinterpret_cast<const MXUserRWLock *>(header);
    Warning("%s: Read-write lock @ 0x%p\n", __func__, static_cast<const void *>(lock));
    MXUserDumpCommon(header);
    if (lock->useNative)
        Warning("\taddress of native lock 0x%p\n", static_cast<const void *>(&lock->nativeLock));
    else
        Warning("\tcount %d\n", MXRecLockCount(&lock->recursiveLock));
    Warning("\tholderCount %d\n", int(lock->holderCount.load()));
}

void MXUserFreeHashEntry(gpointer context) {
    free(context);
}

gboolean MXUserControlRWHeader(MXUserHeader *header, guint32 command, guint32 argument) {
    return MXUser_ControlRWLock(reinterpret_cast<MXUserRWLock *>(header), command, argument);
}

constexpr MXUserKind kKind = {MXUserType::RWLock, "RW", MXUserDumpRWLock, MXUserControlRWHeader};

MXUserRWLock *MXUserCreateRWLock(const MXUserLockOptions &options) {
    auto *lock = MXUserNewLock<MXUserRWLock>(kKind, options);
    if (!lock)
        return nullptr;
    lock->useNative = pthread_rwlock_init(&lock->nativeLock, nullptr) == 0;
    lock->holderTable =
        HashTable_Alloc(kHolderBuckets, HASHTABLE_INT | HASHTABLE_ATOMIC, MXUserFreeHashEntry);
    return lock;
}

gconstpointer MXUserHolderKey() {
    return reinterpret_cast<gconstpointer>(guintptr(VThreadBase_CurID()));
}

/* Returns the calling thread's context; NULL if it has never held the lock. */
MXUserHolderContext *MXUserFindHolder(const MXUserRWLock *lock) {
    gpointer found = nullptr;
    HashTable_Lookup(lock->holderTable, MXUserHolderKey(), &found);
    return static_cast<MXUserHolderContext *>(found);
}

MXUserHolderContext *MXUserGetHolder(MXUserRWLock *lock) {
    if (MXUserHolderContext *found = MXUserFindHolder(lock))
        return found;
    gpointer made = UtilSafeCalloc0(1, sizeof(MXUserHolderContext));
    gpointer inTable = HashTable_LookupOrInsert(lock->holderTable, MXUserHolderKey(), made);
    if (inTable != made)
        free(made);
    return static_cast<MXUserHolderContext *>(inTable);
}

/* Returns whether the lock was busy at the first attempt. */
bool MXUserAcquireNative(MXUserRWLock *lock, guint32 state, const char *function) {
    const bool isForRead = state == RW_LOCKED_FOR_READ;
    pthread_rwlock_t *native = &lock->nativeLock;
    int error = isForRead ? pthread_rwlock_tryrdlock(native) : pthread_rwlock_trywrlock(native);
    const bool isContended = error == EBUSY;
    if (isContended)
        error = isForRead ? pthread_rwlock_rdlock(native) : pthread_rwlock_wrlock(native);
    if (error != 0)
        Panic("%s: Error %d\n", function, error);
    return isContended;
}

bool MXUserAcquireFallback(MXUserRWLock *lock) {
    if (MXRecLockTryAcquire(&lock->recursiveLock))
        return false;
    MXRecLockAcquire(&lock->recursiveLock);
    return true;
}

void MXUserAcquisition(MXUserRWLock *lock, guint32 state, const void *caller) {
    MXUserValidate(&lock->header, MXUserType::RWLock);
    MXUserHolderContext *holder = MXUserGetHolder(lock);
    if (holder->state != RW_UNLOCKED)
        MXUserDumpAndPanic(&lock->header, "%s: AcquireFor%s after AcquireFor%s\n", __func__,
                           state == RW_LOCKED_FOR_READ ? "Read" : "Write",
                           holder->state == RW_LOCKED_FOR_READ ? "Read" : "Write");

    const bool isCounted = MXUserIsCounted(&lock->header);
    const guint64 begin = isCounted ? MXUserStatsClock() : 0;
    const bool isContended =
        lock->useNative ? MXUserAcquireNative(lock, state, __func__) : MXUserAcquireFallback(lock);
    if (isCounted) {
        MXUserLockStatsSampleAcquire(&lock->stats, {true, isContended, begin, caller});
        holder->heldSince = MXUserLockStatsHeldSince(&lock->stats);
    }
    Atomic_FetchAdd(&lock->holderCount, 1);
    holder->state = state;
}

} // namespace

MXUserRWLock *MXUser_CreateRWLock(const char *name, guint32 rank) {
    return MXUserCreateRWLock({name, rank, __builtin_return_address(0)});
}

MXUserRWLock *MXUser_CreateSingletonRWLock(MXUserRWLock **storage, const char *name, guint32 rank) {
    const MXUserLockOptions options = {name, rank, __builtin_return_address(0)};
    return MXUserSingleton(
        storage, [&] { return MXUserCreateRWLock(options); }, MXUser_DestroyRWLock);
}

void MXUser_DestroyRWLock(MXUserRWLock *lock) {
    if (!lock)
        return;
    MXUserValidate(&lock->header, MXUserType::RWLock);
    if (lock->holderCount.load() != 0)
        Panic("%s: Destroy on an acquired read-write lock\n", __func__);
    MXUserRemoveFromList(&lock->header);
    if (lock->useNative) {
        if (const int error = pthread_rwlock_destroy(&lock->nativeLock))
            Panic("%s: Internal error (%d)\n", __func__, error);
    }
    MXRecLockDestroy(&lock->recursiveLock);
    MXUserClearHeader(&lock->header);
    MXUserLockStatsFree(&lock->stats);
    HashTable_FreeUnsafe(lock->holderTable);
    free(lock);
}

void MXUser_AcquireForRead(MXUserRWLock *lock) {
    MXUserAcquisition(lock, RW_LOCKED_FOR_READ, __builtin_return_address(0));
}

void MXUser_AcquireForWrite(MXUserRWLock *lock) {
    MXUserAcquisition(lock, RW_LOCKED_FOR_WRITE, __builtin_return_address(0));
}

void MXUser_ReleaseRWLock(MXUserRWLock *lock) {
    MXUserValidate(&lock->header, MXUserType::RWLock);
    MXUserHolderContext *holder = MXUserFindHolder(lock);
    if (!holder || holder->state == RW_UNLOCKED)
        Panic("%s: Release of an unacquired read-write lock\n", __func__);
    if (MXUserIsCounted(&lock->header)) {
        MXUserLockStatsSampleHeld(&lock->stats, holder->heldSince, __builtin_return_address(0));
        holder->heldSince = 0;
    }
    Atomic_FetchAdd(&lock->holderCount, guint32(-1));
    if (!lock->useNative)
        MXRecLockRelease(&lock->recursiveLock);
    else if (const int error = pthread_rwlock_unlock(&lock->nativeLock))
        Panic("%s: Internal error (%d)\n", __func__, error);
    holder->state = RW_UNLOCKED;
}

gboolean MXUser_IsCurThreadHoldingRWLock(const MXUserRWLock *lock, guint32 queryType) {
    MXUserValidate(&lock->header, MXUserType::RWLock);
    const MXUserHolderContext *holder = MXUserFindHolder(lock);
    const guint32 state = holder ? holder->state : guint32(RW_UNLOCKED);
    switch (queryType) {
    case MXUSER_RW_FOR_READ:
        return state == RW_LOCKED_FOR_READ;
    case MXUSER_RW_FOR_WRITE:
        return state == RW_LOCKED_FOR_WRITE;
    case MXUSER_RW_LOCKED:
        return state != RW_UNLOCKED;
    default:
        Panic("%s: unknown query type %d\n", __func__, int(queryType));
    }
}

gboolean MXUser_ControlRWLock(MXUserRWLock *lock, guint32 /* command */, guint32 /* argument */) {
    MXUserValidate(&lock->header, MXUserType::RWLock);
    return FALSE;
}
