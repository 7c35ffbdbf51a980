#include "lib/ssl/sslState.h"

#include <utility>

#include "lib/lock/mxUser.h"
#include "lib/misc/panic.h"

constinit SSLModuleState sslModule{};

namespace {

constexpr guint32 kStateLockRank = 0xf0007085;

constinit MXUserRecLock *sslStateLockStorage = nullptr;

MXUserRecLock *SSLStateLockOf() {
    MXUserRecLock *lock =
        MXUser_CreateSingletonRecLock(&sslStateLockStorage, "sslStateLock", kStateLockRank);
    VERIFY(lock != nullptr);
    return lock;
}

} // namespace

void SSLStateLock() {
    MXUser_AcquireRecLock(SSLStateLockOf());
}

void SSLStateUnlock() {
    MXUser_ReleaseRecLock(SSLStateLockOf());
}

bool SSLStateIsLocked() {
    return MXUser_IsCurThreadHoldingRecLock(SSLStateLockOf());
}

void SSLStateDestroyLock() {
    MXUser_DestroyRecLock(std::exchange(sslStateLockStorage, nullptr));
}
