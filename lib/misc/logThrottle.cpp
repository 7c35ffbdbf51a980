#include "lib/misc/logThrottle.h"

#include "lib/misc/hostinfo.h"

namespace {

constexpr guint64 kWindowUs = 5000000;
constexpr guint64 kThrottledWindowUs = 60000000;

} // namespace

gboolean Log_IsThrottled(LogThrottleState *state, gsize length) {
    if (state->bytesPerSec == LOG_NEVER_THROTTLE)
        return FALSE;
    state->totalBytes += length;
    if (state->totalBytes < state->threshold)
        return FALSE;
    if (state->bytesPerSec == 0)
        return TRUE;

    const guint64 now = Hostinfo_SystemTimerNS() / 1000;
    const guint64 elapsed = now - state->lastTimeUs;
    if (elapsed <= (state->throttled ? kThrottledWindowUs : kWindowUs))
        return state->throttled;
    const guint64 bytes = state->totalBytes - state->lastBytes;
    guint64 scaled;
    if (__builtin_mul_overflow(bytes, guint64{G_USEC_PER_SEC}, &scaled))
        scaled = G_MAXUINT64;
    state->lastTimeUs = now;
    state->lastBytes = state->totalBytes;
    return scaled / elapsed > state->bytesPerSec;
}

gboolean Util_Throttle(guint32 count) {
    if (count < 100)
        return TRUE;
    if (count < 10000)
        return count % 100 == 0;
    return count % (count < 1000000 ? 10000 : 1000000) == 0;
}
