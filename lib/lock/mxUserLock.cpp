#include "lib/lock/mxUserLock.h"

void MXUserInitLock(MXUserHeader *header, MXUserLockStats *stats, const MXUserKind &kind,
                    const MXUserWish &wish) {
    MXUserInitHeader(header, kind, wish);
    if (!wish.isSilent)
        MXUserLockStatsInit(header, stats, MXUserStatsMode(), kind.control);
    MXUserAddToList(header);
}
