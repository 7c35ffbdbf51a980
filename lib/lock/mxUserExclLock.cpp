#include "lib/lock/mxUserInt.h"

#include <cstdlib>
#include <new>

#include "lib/misc/log.h"
#include "lib/misc/utilSafe.h"

namespace {

void MXUserDumpExclLock(const MXUserHeader *header) {
    const auto *lock = reinterpret_cast<const MXUserExclLock *>(header);
    MXUserDumpHeader(__func__, "Exclusive", header);
    Warning("\tlock count %d\n", MXRecLockCount(&lock->recursiveLock));
    Warning("\taddress of owner data %p\n",
            static_cast<const void *>(&lock->recursiveLock.nativeThreadID));
}

constexpr MXUserIdentity kIdentity = {MXUserType::ExclLock, "X", MXUserDumpExclLock};

MXUserExclLock *MXUserCreateExclLock(const char *name, guint32 rank, const void *caller) {
    auto *lock = new (UtilSafeCalloc0(1, sizeof(MXUserExclLock))) MXUserExclLock;
    if (!MXRecLockInit(&lock->recursiveLock)) {
        free(lock);
        return nullptr;
    }
    MXUserInitHeader(&lock->header, kIdentity, name, rank, caller);
    MXUserAddToList(&lock->header);
    return lock;
}

} // namespace

MXUserExclLock *MXUser_CreateExclLock(const char *name, guint32 rank) {
    return MXUserCreateExclLock(name, rank, __builtin_return_address(0));
}

MXUserExclLock *MXUser_CreateExclLockSilent(const char *name, guint32 rank) {
    return MXUserCreateExclLock(name, rank, __builtin_return_address(0));
}

MXUserExclLock *MXUser_CreateSingletonExclLock(MXUserExclLock **storage, const char *name,
                                               guint32 rank) {
    const void *caller = __builtin_return_address(0);
    return MXUserSingleton(
        storage, [&] { return MXUserCreateExclLock(name, rank, caller); }, MXUser_DestroyExclLock);
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
    free(lock);
}

void MXUser_AcquireExclLock(MXUserExclLock *lock) {
    MXUserValidate(&lock->header, MXUserType::ExclLock);
    MXRecLockAcquire(&lock->recursiveLock);
}

gboolean MXUser_TryAcquireExclLock(MXUserExclLock *lock) {
    MXUserValidate(&lock->header, MXUserType::ExclLock);
    return MXRecLockTryAcquire(&lock->recursiveLock);
}

void MXUser_ReleaseExclLock(MXUserExclLock *lock) {
    MXUserValidate(&lock->header, MXUserType::ExclLock);
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
