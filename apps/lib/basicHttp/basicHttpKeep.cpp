/*
 * How many connections libcurl keeps. Its limit counts those in use, too, and one that is too low costs a new
 * connection, with its handshake, for nearly every call. So it follows the need:
 *
 *   2 for each shared jar, as a session has one call and one wait for updates in flight
 *   1 for each of the most requests that were active at a time within the last minute
 *
 * It is at least 32, and at most what BasicHttp_SetMaxKeptConnections() allows. libcurl closes what is above a lowered
 * limit, or older than its own age limit, when it next returns a connection to its pool.
 */
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <algorithm>

namespace {

constexpr gsize kMinConnections = 32;
constexpr gsize kConnectionsPerJar = 2;
constexpr gint64 kPeakPeriod = 60 * kMicrosecondsPerSecond;

constinit guint maxKeptConnections = 4096;

/* The most active requests of this period and of the one before it. */
gsize UpdatePeak(BasicHttpGlobalState *state) {
    const gint64 now = basicHttpNow();
    const gint64 elapsed = now - state->peakPeriodStart;
    if (elapsed >= kPeakPeriod) {
        state->lastPeak = elapsed < 2 * kPeakPeriod ? state->peak : 0;
        state->peak = 0;
        state->peakPeriodStart = now;
    }
    state->peak = std::max(state->peak, gsize(HashTable_GetNumElements(state->active)));
    return std::max(state->peak, state->lastPeak);
}

} // namespace

void BasicHttpUpdateKeptConnections(BasicHttpGlobalState *state) {
    const gsize needed = std::max(BasicHttpNumSharedJars() * kConnectionsPerJar + UpdatePeak(state),
                                  kMinConnections);
    const long limit = long(std::min(needed, gsize(maxKeptConnections)));
    if (limit == state->keptConnections)
        return;
    state->keptConnections = limit;
    curl_multi_setopt(state->multi, CURLMOPT_MAXCONNECTS, limit);
}

void BasicHttp_SetMaxKeptConnections(guint number) {
    maxKeptConnections = std::max(number, 1U);
}
