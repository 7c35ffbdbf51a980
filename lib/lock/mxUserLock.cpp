#include "lib/lock/mxUserLock.h"

void MXUserInitLock(MXUserHeader *header, MXUserLockStats *stats, const MXUserKind &kind,
                    const MXUserLockOptions &options) {
    MXUserInitHeader(header, kind, options);
    if (!options.isSilent)
        MXUserLockStatsInit(header, stats, MXUserStatsMode(), kind.control);
    MXUserAddToList(header);
}
