#include "lib/lock/mxUserCondVar.h"
#include "lib/lock/mxUserLock.h"
#include "lib/misc/log.h"

namespace {

void MXUserDumpExclLock(const MXUserHeader *header) {
    const auto *lock = reinterpret_cast<const MXUserExclLock *>(header);
    Warning("%s: Exclusive lock @ %p\n", __func__, static_cast<const void *>(lock));
    MXUserDumpCommon(header);
    Warning("\tlock count %d\n", MXRecLockCount(&lock->recursiveLock));
    Warning("\taddress of owner data %p\n",
            static_cast<const void *>(&lock->recursiveLock.nativeThreadID));
}

gboolean MXUserControlExclHeader(MXUserHeader *header, guint32 command, guint32 argument) {
    return MXUser_ControlExclLock(reinterpret_cast<MXUserExclLock *>(header), command, argument);
}

constexpr MXUserKind kKind = {MXUserType::ExclLock, "X", MXUserDumpExclLock,
                              MXUserControlExclHeader};

void MXUserWaitExclLock(MXUserExclLock *lock, MXUserCondVar *condVar, guint32 milliseconds,
                        const void *caller) {
    MXUserValidate(&lock->header, MXUserType::ExclLock);
    MXUserWaitCondVar(&lock->header, &lock->recursiveLock, &lock->stats, condVar, milliseconds,
                      caller);
}

} // namespace

MXUserExclLock *MXUser_CreateExclLock(const char *name, guint32 rank) {
    return MXUserNewLock<MXUserExclLock>(kKind, {name, rank, __builtin_return_address(0)});
}

MXUserExclLock *MXUser_CreateExclLockSilent(const char *name, guint32 rank) {
    return MXUserNewLock<MXUserExclLock>(kKind, {name, rank, __builtin_return_address(0), true});
}

MXUserExclLock *MXUser_CreateSingletonExclLock(MXUserExclLock **storage, const char *name,
                                               guint32 rank) {
    const MXUserLockOptions options = {name, rank, __builtin_return_address(0)};
    return MXUserSingleton(
        storage, [&] { return MXUserNewLock<MXUserExclLock>(kKind, options); },
        MXUser_DestroyExclLock);
}

void MXUser_DestroyExclLock(MXUserExclLock *lock) {
    if (!lock)
        return;
    MXUserValidate(&lock->header, MXUserType::ExclLock);
    if (MXRecLockCount(&lock->recursiveLock) > 0)
        MXUserDumpAndPanic(&lock->header, "%s: Destroy of an acquired exclusive lock\n", __func__);
    MXUserRemoveFromList(&lock->header);
    MXUserClearHeader(&lock->header);
    MXRecLockDestroy(&lock->recursiveLock);
    MXUserLockStatsFree(&lock->stats);
    free(lock);
}

void MXUser_AcquireExclLock(MXUserExclLock *lock) {
    MXUserValidate(&lock->header, MXUserType::ExclLock);
    if (MXUserIsCounted(&lock->header)) [[unlikely]]
        return MXUserLockStatsAcquire(&lock->stats, &lock->recursiveLock,
                                      __builtin_return_address(0));
    MXRecLockAcquire(&lock->recursiveLock);
}

gboolean MXUser_TryAcquireExclLock(MXUserExclLock *lock) {
    MXUserValidate(&lock->header, MXUserType::ExclLock);
    if (MXUserIsCounted(&lock->header)) [[unlikely]]
        return MXUserLockStatsTryAcquire(&lock->stats, &lock->recursiveLock,
                                         __builtin_return_address(0));
    return MXRecLockTryAcquire(&lock->recursiveLock);
}

void MXUser_ReleaseExclLock(MXUserExclLock *lock) {
    MXUserValidate(&lock->header, MXUserType::ExclLock);
    if (MXUserIsCounted(&lock->header)) [[unlikely]]
        return MXUserLockStatsRelease(&lock->stats, &lock->recursiveLock,
                                      __builtin_return_address(0));
    MXRecLockRelease(&lock->recursiveLock);
}

gboolean MXUser_IsCurThreadHoldingExclLock(const MXUserExclLock *lock) {
    MXUserValidate(&lock->header, MXUserType::ExclLock);
    return MXRecLockIsOwner(&lock->recursiveLock);
}

gboolean MXUser_ControlExclLock(MXUserExclLock *lock, guint32 /* command */,
                                guint32 /* argument */) {
    MXUserValidate(&lock->header, MXUserType::ExclLock);
    return FALSE;
}

MXUserCondVar *MXUser_CreateCondVarExclLock(MXUserExclLock *lock) {
    MXUserValidate(&lock->header, MXUserType::ExclLock);
    return MXUserCreateCondVar(&lock->header, &lock->recursiveLock);
}

void MXUser_WaitCondVarExclLock(MXUserExclLock *lock, MXUserCondVar *condVar) {
    MXUserWaitExclLock(lock, condVar, MXUSER_WAIT_INFINITE, __builtin_return_address(0));
}

void MXUser_TimedWaitCondVarExclLock(MXUserExclLock *lock, MXUserCondVar *condVar,
                                     guint32 milliseconds) {
    MXUserWaitExclLock(lock, condVar, milliseconds, __builtin_return_address(0));
}
