#include "lib/lock/mxUserLock.h"

#include <cstdio>

#include "lib/lock/mxUserCondVar.h"
#include "lib/lock/mxUserHooks.h"
#include "lib/misc/log.h"

namespace {

void MXUserDumpRecLock(const MXUserHeader *header) {
    const auto *lock = reinterpret_cast<const MXUserRecLock *>(header);
    Warning("%s: Recursive lock @ %p\n", __func__, static_cast<const void *>(lock));
    MXUserDumpCommon(header);
    Warning("\treference count %u\n", lock->refCount.load(std::memory_order_relaxed));
    if (lock->vmmLock) {
        Warning("\tvmmLock %p\n", lock->vmmLock);
        return;
    }
    Warning("\tlock count %d\n", MXRecLockCount(&lock->recursiveLock));
    Warning("\taddress of owner data %p\n",
            static_cast<const void *>(&lock->recursiveLock.nativeThreadID));
}

gboolean MXUserControlRecHeader(MXUserHeader *header, guint32 command, guint32 argument) {
    return MXUser_ControlRecLock(reinterpret_cast<MXUserRecLock *>(header), command, argument);
}

constexpr MXUserKind kKind = {MXUserType::RecLock, "R", MXUserDumpRecLock, MXUserControlRecHeader};

/* Drops a reference. Dropping the last one destroys the lock. */
void MXUserCondDestroyRecLock(MXUserRecLock *lock) {
    if (Atomic_FetchAdd(&lock->refCount, guint32(-1)) != 1)
        return;
    if (!lock->vmmLock && MXRecLockCount(&lock->recursiveLock) > 0)
        MXUserDumpAndPanic(&lock->header, "%s: Destroy of an acquired recursive lock\n", __func__);
    MXUserRemoveFromList(&lock->header);
    MXUserClearHeader(&lock->header);
    if (!lock->vmmLock)
        MXRecLockDestroy(&lock->recursiveLock);
    MXUserLockStatsFree(&lock->stats);
    free(lock);
}

void MXUserEnterRecLock(MXUserRecLock *lock) {
    MXUserValidate(&lock->header, MXUserType::RecLock);
    Atomic_FetchAdd(&lock->refCount, 1);
}

/* Drops the reference of a call that must leave the lock alive. */
void MXUserLeaveRecLock(MXUserRecLock *lock, const char *function) {
    if (Atomic_FetchAdd(&lock->refCount, guint32(-1)) == 1)
        MXUserDumpAndPanic(&lock->header, "%s: Zero reference count upon exit\n", function);
}

void MXUserWaitRecLock(MXUserRecLock *lock, MXUserCondVar *condVar, guint32 milliseconds,
                       const void *caller) {
    MXUserEnterRecLock(lock);
    MXUserWaitCondVar(&lock->header, &lock->recursiveLock, &lock->stats, condVar, milliseconds,
                      caller);
    MXUserLeaveRecLock(lock, __func__);
}

} // namespace

MXUserRecLock *MXUser_CreateRecLock(const char *name, guint32 rank) {
    return MXUserNewLock<MXUserRecLock>(kKind, {name, rank, __builtin_return_address(0)});
}

MXUserRecLock *MXUser_CreateRecLockSilent(const char *name, guint32 rank) {
    return MXUserNewLock<MXUserRecLock>(kKind, {name, rank, __builtin_return_address(0), true});
}

MXUserRecLock *MXUser_CreateSingletonRecLock(MXUserRecLock **storage, const char *name,
                                             guint32 rank) {
    const MXUserLockOptions options = {name, rank, __builtin_return_address(0)};
    return MXUserSingleton(
        storage, [&] { return MXUserNewLock<MXUserRecLock>(kKind, options); },
        MXUser_DestroyRecLock);
}

MXUserRecLock *MXUser_BindMXMutexRec(gpointer externalMutex, guint32 rank) {
    const MXUserHooks *hooks = MXUserInstalledHooks();
    if (!hooks->lockRec || !hooks->unlockRec || !hooks->tryLockRec ||
        !hooks->isLockedByCurThreadRec)
        return nullptr;
    VERIFY(externalMutex != nullptr);
    char name[32];
    snprintf(name, sizeof name, "MX_%p", externalMutex);
    auto *lock = new (UtilSafeCalloc0(1, sizeof(MXUserRecLock))) MXUserRecLock;
    MXUserInitHeader(&lock->header, kKind, {name, rank, nullptr});
    lock->vmmLock = externalMutex;
    return lock;
}

void MXUser_DestroyRecLock(MXUserRecLock *lock) {
    if (!lock)
        return;
    MXUserValidate(&lock->header, MXUserType::RecLock);
    MXUserCondDestroyRecLock(lock);
}

void MXUser_AcquireRecLock(MXUserRecLock *lock) {
    MXUserEnterRecLock(lock);
    if (lock->vmmLock)
        MXUserInstalledHooks()->lockRec(lock->vmmLock);
    else if (MXUserIsCounted(&lock->header))
        MXUserLockStatsAcquire(&lock->stats, &lock->recursiveLock, __builtin_return_address(0));
    else
        MXRecLockAcquire(&lock->recursiveLock);
    MXUserLeaveRecLock(lock, __func__);
}

gboolean MXUser_TryAcquireRecLock(MXUserRecLock *lock) {
    MXUserEnterRecLock(lock);
    bool isTaken = false;
    if (lock->vmmLock)
        isTaken = MXUserInstalledHooks()->tryLockRec(lock->vmmLock) != FALSE;
    else if (MXUserIsCounted(&lock->header))
        isTaken = MXUserLockStatsTryAcquire(&lock->stats, &lock->recursiveLock,
                                            __builtin_return_address(0));
    else
        isTaken = MXRecLockTryAcquire(&lock->recursiveLock);
    MXUserLeaveRecLock(lock, __func__);
    return isTaken;
}

void MXUser_ReleaseRecLock(MXUserRecLock *lock) {
    MXUserEnterRecLock(lock);
    if (lock->vmmLock)
        MXUserInstalledHooks()->unlockRec(lock->vmmLock);
    else if (MXUserIsCounted(&lock->header))
        MXUserLockStatsRelease(&lock->stats, &lock->recursiveLock, __builtin_return_address(0));
    else
        MXRecLockRelease(&lock->recursiveLock);
    MXUserCondDestroyRecLock(lock);
}

gboolean MXUser_IsCurThreadHoldingRecLock(MXUserRecLock *lock) {
    MXUserEnterRecLock(lock);
    const bool isHeld = lock->vmmLock
                            ? MXUserInstalledHooks()->isLockedByCurThreadRec(lock->vmmLock) != FALSE
                            : MXRecLockIsOwner(&lock->recursiveLock);
    MXUserLeaveRecLock(lock, __func__);
    return isHeld;
}

gboolean MXUser_ControlRecLock(MXUserRecLock *lock, guint32 /* command */, guint32 /* argument */) {
    MXUserEnterRecLock(lock);
    MXUserLeaveRecLock(lock, __func__);
    return FALSE;
}

void MXUser_IncRefRecLock(MXUserRecLock *lock) {
    MXUserEnterRecLock(lock);
}

void MXUser_DecRefRecLock(MXUserRecLock *lock) {
    MXUserValidate(&lock->header, MXUserType::RecLock);
    MXUserCondDestroyRecLock(lock);
}

void MXUser_DumpRecLock(MXUserRecLock *lock) {
    MXUserEnterRecLock(lock);
    MXUserDumpRecLock(&lock->header);
    MXUserLeaveRecLock(lock, __func__);
}

guint32 MXUser_GetRecLockRank(MXUserRecLock *lock) {
    MXUserEnterRecLock(lock);
    const guint32 rank = lock->header.rank;
    MXUserLeaveRecLock(lock, __func__);
    return rank;
}

gpointer MXUser_GetRecLockVmm(MXUserRecLock *lock) {
    MXUserEnterRecLock(lock);
    gpointer vmmLock = lock->vmmLock;
    MXUserLeaveRecLock(lock, __func__);
    return vmmLock;
}

MXUserCondVar *MXUser_CreateCondVarRecLock(MXUserRecLock *lock) {
    MXUserEnterRecLock(lock);
    VERIFY(!lock->vmmLock); /* nothing can wait on the host's mutex */
    MXUserCondVar *condVar = MXUserCreateCondVar(&lock->header, &lock->recursiveLock);
    MXUserLeaveRecLock(lock, __func__);
    return condVar;
}

void MXUser_WaitCondVarRecLock(MXUserRecLock *lock, MXUserCondVar *condVar) {
    MXUserWaitRecLock(lock, condVar, MXUSER_WAIT_INFINITE, __builtin_return_address(0));
}

void MXUser_TimedWaitCondVarRecLock(MXUserRecLock *lock, MXUserCondVar *condVar,
                                    guint32 milliseconds) {
    MXUserWaitRecLock(lock, condVar, milliseconds, __builtin_return_address(0));
}
