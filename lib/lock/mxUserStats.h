/*
 * mxUserStats.h -- statistics of a lock's use, and the lines that report them
 *
 *   MXUser: e l=7 t=a c=1200 min=61 max=80211 mean=140 sd=902
 *   MXUser: ce l=7 a=1204 s=1200 sc=31 sct=401220 t=568000
 *
 * "l" is the lock's serial number. In the first line "t" is the quantity, "a" for the time to acquire and "h"
 * for the time held, and "c" is the number of samples. In the second line "a" is the number of attempts, "s"
 * of those that succeeded, "sc" of those that had to wait before, "sct" is the time of these waits and "t"
 * the time of all attempts. Times are nanoseconds.
 *
 * Ownership: records are plain memory of the caller.
 * Threads:   the owner guards its records. Settings and lines: any.
 */
#pragma once

#include <glib.h>

#include "lib/lock/mxUser.h"
#include "lib/lock/mxUserHeader.h"

/* The distribution of one measured time. */
struct MXUserBasicStats {
    const char *typeName; /* static */
    guint64 numSamples;
    guint64 minTime;
    guint64 maxTime;
    guint64 timeSum;
    double timeSquaredSum;
};

void MXUserBasicStatsSetUp(MXUserBasicStats *stats, const char *typeName);
void MXUserBasicStatsSample(MXUserBasicStats *stats, guint64 time);
void MXUserBasicStatsDump(const MXUserBasicStats *stats, const MXUserHeader *header);

struct MXUserAcquisitionStats {
    guint64 numAttempts;
    guint64 numSuccesses;
    guint64 numSuccessesContended;
    guint64 contendedTime;       /* of the successes that waited */
    guint64 totalTime;           /* of all attempts */
    MXUserBasicStats basicStats; /* of all successes */
};

void MXUserAcquisitionStatsSetUp(MXUserAcquisitionStats *stats);

/* Adds an attempt. A wait shorter than the host's floor does not count as contention. */
void MXUserAcquisitionStatsSample(MXUserAcquisitionStats *stats, bool isAcquired, bool isContended,
                                  guint64 time);
void MXUserAcquisitionStatsDump(const MXUserAcquisitionStats *stats, const MXUserHeader *header);

struct MXUserContention {
    double
        ratio; /* failed attempts per attempt or contended successes per success, the larger of the two */
    bool isHot;
};

MXUserContention MXUserKitchen(const MXUserAcquisitionStats *stats);

/* The host's settings for reports. */
struct MXUserStatsSettings {
    gpointer context;
    guint maxLineLength; /* in bytes */
    bool trackHeldTimes;
    MXUserStatsFunc statsFunc; /* NULL: no reports */
};

MXUserStatsSettings MXUserGetStatsSettings();

/* Passes one line to the host's function, if there is one. */
void MXUserStatsLine(const char *format, ...) G_GNUC_PRINTF(1, 2);

/* Returns the time of a monotonic clock, in nanoseconds. */
guint64 MXUserStatsClock();
