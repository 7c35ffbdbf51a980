#include "lib/lock/mxUserStats.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <ctime>

#include "lib/misc/glibPtr.h"

namespace {

constexpr double kTolerance = 1e-10;
constexpr guint32 kNeverHot = 0;
constexpr guint32 kAlwaysHot = G_MAXUINT32;

constinit std::atomic<double> contentionRatioFloor = 0.0;
constinit std::atomic<guint32> contentionCountFloor = kNeverHot;
constinit std::atomic<guint64> contentionDurationFloor = 0;

/* Guarded by the list's lock, which is also held while lines are written. */
constinit MXUserStatsSettings settings = {};
constinit guint32 highestReported = 0;

/* Newton's iteration, from above. */
double MXUserSquareRoot(double square) {
    if (square <= 0)
        return 0;
    double root = std::max(square, 1.0);
    for (;;) {
        const double next = (root + square / root) / 2;
        if (root - next <= kTolerance * root)
            return next;
        root = next;
    }
}

guint64 MXUserStandardDeviation(const MXUserBasicStats *stats) {
    if (stats->numSamples < 2)
        return 0;
    const auto count = double(stats->numSamples);
    const auto sum = double(stats->timeSum);
    return guint64(MXUserSquareRoot((stats->timeSquaredSum - sum * sum / count) / (count - 1)));
}

void MXUserReport(MXUserHeader *header, gpointer reported) {
    if (header->serialNumber > GPOINTER_TO_UINT(reported))
        MXUserStatsLine("MXUser: n n=%s l=%d r=0x%x\n", header->name, int(header->serialNumber),
                        header->rank);
    if (const MXUserStatsAction action = header->statsAction.load(std::memory_order_acquire))
        action(header);
    highestReported = std::max(highestReported, header->serialNumber);
}

} // namespace

void MXUserBasicStatsSetUp(MXUserBasicStats *stats, const char *typeName) {
    *stats = {typeName, 0, G_MAXUINT64, 0, 0, 0.0};
}

void MXUserBasicStatsSample(MXUserBasicStats *stats, guint64 time) {
    stats->numSamples++;
    stats->minTime = std::min(stats->minTime, time);
    stats->maxTime = std::max(stats->maxTime, time);
    stats->timeSum += time;
    stats->timeSquaredSum += double(time) * double(time);
}

void MXUserBasicStatsDump(const MXUserBasicStats *stats, const MXUserHeader *header) {
    const guint64 mean = stats->numSamples == 0 ? 0 : stats->timeSum / stats->numSamples;
    MXUserStatsLine("MXUser: e l=%u t=%s c=%lu min=%lu max=%lu mean=%lu sd=%lu\n",
                    header->serialNumber, stats->typeName, stats->numSamples, stats->minTime,
                    stats->maxTime, mean, MXUserStandardDeviation(stats));
}

void MXUserAcquisitionStatsSetUp(MXUserAcquisitionStats *stats) {
    *stats = {};
    MXUserBasicStatsSetUp(&stats->basicStats, "a");
}

void MXUserAcquisitionStatsSample(MXUserAcquisitionStats *stats, bool isAcquired, bool isContended,
                                  guint64 time) {
    stats->numAttempts++;
    stats->totalTime += time;
    if (!isAcquired)
        return;
    stats->numSuccesses++;
    MXUserBasicStatsSample(&stats->basicStats, time);
    if (!isContended || time < contentionDurationFloor)
        return;
    stats->numSuccessesContended++;
    stats->contendedTime += time;
}

void MXUserAcquisitionStatsDump(const MXUserAcquisitionStats *stats, const MXUserHeader *header) {
    MXUserBasicStatsDump(&stats->basicStats, header);
    MXUserStatsLine("MXUser: ce l=%u a=%lu s=%lu sc=%lu sct=%lu t=%lu\n", header->serialNumber,
                    stats->numAttempts, stats->numSuccesses, stats->numSuccessesContended,
                    stats->contendedTime, stats->totalTime);
}

MXUserContention MXUserKitchen(const MXUserAcquisitionStats *stats) {
    const guint32 countFloor = contentionCountFloor;
    if (countFloor == kNeverHot)
        return {0.0, false};
    double ratio = 0.0;
    if (stats->numAttempts >= countFloor) {
        const guint64 numFailed = stats->numAttempts - stats->numSuccesses;
        ratio = double(numFailed) / double(stats->numAttempts);
        if (stats->numSuccesses > 0)
            ratio =
                std::max(ratio, double(stats->numSuccessesContended) / double(stats->numSuccesses));
    }
    return {ratio, countFloor == kAlwaysHot || ratio > contentionRatioFloor};
}

MXUserStatsSettings MXUserGetStatsSettings() {
    const MXRecLockGuard guard(MXUserListLock());
    return settings;
}

void MXUserStatsLine(const char *format, ...) {
    const MXUserStatsSettings current = MXUserGetStatsSettings();
    if (!current.statsFunc)
        return;
    va_list arguments;
    va_start(arguments, format);
    const GPtr<char> line(g_strdup_vprintf(format, arguments));
    va_end(arguments);
    current.statsFunc(current.context, line.get());
}

guint64 MXUserStatsClock() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return guint64(now.tv_sec) * 1000000000 + guint64(now.tv_nsec);
}

void MXUser_SetStatsFunc(gpointer context, guint maxLineLength, gboolean trackHeldTimes,
                         MXUserStatsFunc statsFunc) {
    const MXRecLockGuard guard(MXUserListLock());
    settings = {context, maxLineLength, trackHeldTimes != FALSE, statsFunc};
}

void MXUser_StatisticsControl(double ratioFloor, guint32 countFloor, guint64 durationFloor) {
    contentionRatioFloor = ratioFloor;
    contentionCountFloor = countFloor;
    contentionDurationFloor = durationFloor;
}

void MXUser_PerLockData(void) {
    MXRecLock *listLock = MXUserListLock();
    if (!MXRecLockTryAcquire(listLock))
        return;
    if (settings.statsFunc)
        MXUserForEachLock(MXUserReport, GUINT_TO_POINTER(highestReported));
    MXRecLockRelease(listLock);
}
