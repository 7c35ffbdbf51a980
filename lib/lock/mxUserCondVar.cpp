#include "lib/lock/mxUserCondVar.h"

#include <cstdlib>
#include <ctime>
#include <new>

#include <sys/time.h>

#include "lib/misc/utilSafe.h"

struct MXUserCondVar {
    guint32 signature;
    const MXUserHeader *header; /* of its lock */
    MXRecLock *ownerLock;
    std::atomic<guint32> waiters = 0;
    pthread_cond_t condObject;
};

namespace {

void MXUserValidateCondVar(const MXUserCondVar *condVar) {
    VERIFY(condVar->signature == MXUserSignature(MXUserType::CondVar));
}

timespec MXUserTimeAfter(guint32 milliseconds) {
    timeval now;
    gettimeofday(&now, nullptr);
    const guint64 ns = guint64(now.tv_usec) * 1000 + guint64(milliseconds) * 1000000;
    return {time_t(guint64(now.tv_sec) + ns / 1000000000), long(ns % 1000000000)};
}

/* Waits with count and owner cleared, and restores them afterwards. */
int MXUserWaitNative(MXRecLock *lock, MXUserCondVar *condVar, guint32 milliseconds) {
    const gint32 count = MXRecLockLeave(lock);
    int error = 0;
    if (milliseconds == MXUSER_WAIT_INFINITE) {
        error = pthread_cond_wait(&condVar->condObject, &lock->nativeLock);
    } else {
        const timespec end = MXUserTimeAfter(milliseconds);
        error = pthread_cond_timedwait(&condVar->condObject, &lock->nativeLock, &end);
    }
    MXRecLockEnter(lock, count);
    return error;
}

void MXUserWake(int (*wake)(pthread_cond_t *), MXUserCondVar *condVar, const char *function) {
    MXUserValidateCondVar(condVar);
    if (const int error = wake(&condVar->condObject))
        Panic("%s: failure %d on condVar (0x%p; %s) \n", function, error,
              static_cast<void *>(condVar), condVar->header->name);
}

} // namespace

MXUserCondVar *MXUserCreateCondVar(const MXUserHeader *header, MXRecLock *lock) {
    auto *condVar = new (UtilSafeCalloc0(1, sizeof(MXUserCondVar))) MXUserCondVar;
    if (pthread_cond_init(&condVar->condObject, nullptr) != 0) {
        free(condVar);
        return nullptr;
    }
    condVar->signature = MXUserSignature(MXUserType::CondVar);
    condVar->header = header;
    condVar->ownerLock = lock;
    return condVar;
}

void MXUserWaitCondVar(const MXUserHeader *header, MXRecLock *lock, MXUserLockStats *stats,
                       MXUserCondVar *condVar, guint32 milliseconds, const void *caller) {
    MXUserValidateCondVar(condVar);
    if (condVar->ownerLock != lock)
        Panic("%s: invalid use of lock %s with condVar (0x%p; %s)\n", __func__, header->name,
              static_cast<void *>(condVar), condVar->header->name);
    VERIFY(MXRecLockIsOwner(lock));

    Atomic_FetchAdd(&condVar->waiters, 1);
    MXUserLockStatsSampleHeld(stats, stats->heldSince, caller);
    const int error = MXUserWaitNative(lock, condVar, milliseconds);
    stats->heldSince = MXUserLockStatsHeldSince(stats);
    if (error != 0 && error != ETIMEDOUT)
        Panic("%s: failure %d on condVar (0x%p; %s)\n", "MXUserWaitInternal", error,
              static_cast<void *>(condVar), condVar->header->name);
    Atomic_FetchAdd(&condVar->waiters, guint32(-1));
}

void MXUser_SignalCondVar(MXUserCondVar *condVar) {
    MXUserWake(pthread_cond_signal, condVar, __func__);
}

void MXUser_BroadcastCondVar(MXUserCondVar *condVar) {
    MXUserWake(pthread_cond_broadcast, condVar, __func__);
}

void MXUser_DestroyCondVar(MXUserCondVar *condVar) {
    if (!condVar)
        return;
    MXUserValidateCondVar(condVar);
    if (condVar->waiters.load() != 0)
        Panic("%s: Attempted destroy on active condVar (0x%p; %s)\n", __func__,
              static_cast<void *>(condVar), condVar->header->name);
    condVar->signature = 0;
    pthread_cond_destroy(&condVar->condObject);
    free(condVar);
}
