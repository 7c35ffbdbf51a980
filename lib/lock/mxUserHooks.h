/*
 * mxUserHooks.h -- the functions that a host has installed with MXUserInstallMxHooks()
 *
 * Threads: any.
 */
#pragma once

#include "lib/lock/mxUser.h"

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
/* Returns the functions: not NULL, but each of them may be. */
const MXUserHooks *MXUserInstalledHooks();
