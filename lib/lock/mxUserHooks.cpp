#include "lib/lock/mxUserHooks.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "lib/misc/atomicFence.h"
#include "lib/misc/utilSafe.h"

namespace {

constinit std::atomic<const MXUserHooks *> hooksStorage = nullptr;
constinit std::atomic<bool> isInPanic = false;

bool MXUserHasHook(const MXUserHooks &hooks) {
    return hooks.lockLister || hooks.checkRank || hooks.lockRec || hooks.unlockRec ||
           hooks.tryLockRec || hooks.isLockedByCurThreadRec || hooks.setInPanic || hooks.inPanic;
}

} // namespace

const MXUserHooks *MXUserInstalledHooks() {
    static constexpr MXUserHooks kNone = {};
    const MXUserHooks *hooks = hooksStorage.load(std::memory_order_acquire);
    return hooks ? hooks : &kNone;
}

void MXUserInstallMxHooks(MXUserMxLockLister lockLister, MXUserMxCheckRank checkRank,
                          MXUserMxLockRec lockRec, MXUserMxUnlockRec unlockRec,
                          MXUserMxTryLockRec tryLockRec,
                          MXUserMxIsLockedByCurThreadRec isLockedByCurThreadRec,
                          MXUserMxSetInPanic setInPanic, MXUserMxInPanic inPanic) {
    const MXUserHooks hooks = {lockLister, checkRank,  lockRec,
                               unlockRec,  tryLockRec, isLockedByCurThreadRec,
                               setInPanic, inPanic};
    if (!MXUserHasHook(hooks))
        return;
    auto *kept = new (UtilSafeMalloc0(sizeof hooks)) MXUserHooks(hooks);
    const MXUserHooks *found = nullptr;
    if (!Atomic_CompareExchange(&hooksStorage, &found, static_cast<const MXUserHooks *>(kept)))
        free(kept);
}

void MXUser_SetInPanic(void) {
    isInPanic.store(true, std::memory_order_release);
    if (const MXUserMxSetInPanic setInPanic = MXUserInstalledHooks()->setInPanic)
        setInPanic();
}

gboolean MXUser_InPanic(void) {
    const MXUserMxInPanic inPanic = MXUserInstalledHooks()->inPanic;
    return isInPanic.load(std::memory_order_acquire) || (inPanic && inPanic());
}
