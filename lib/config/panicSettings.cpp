#include "lib/config/panicSettings.h"

#include <algorithm>

#include "lib/config/config.h"
#include "lib/misc/coreDump.h"
#include "lib/misc/panicControl.h"

void Panic_Init(void) {
    Panic_SetCoreDumpOnPanic(Config_GetBool(TRUE, "coreDumpOnPanic"));
    PanicSetLoop(Config_GetBool(FALSE, "panic.loopOnPanic"));
    Panic_SetCoreDumpFlags(Config_GetLong(0, "coreDumpFlags"));
    PanicSetBreakValue(Config_GetLong(0, "panic.breakOnPanic"));
}

gboolean CoreDump_PreloadDebugSupport(void) {
    const gint32 sizeKB = Config_GetLong(0, "panic.addrSpaceReservedKB");
    CoreDumpReserve(static_cast<gsize>(std::max(sizeKB, 0)));
    return TRUE;
}
