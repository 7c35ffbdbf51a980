/*
 * mxUserStats.h -- what is counted of a lock's use, and the lines that report it
 *
 *   MXUser: e l=7 t=a c=1200 min=61 max=80211 mean=140 sd=902
 *   MXUser: ce l=7 a=1204 s=1200 sc=31 sct=401220 t=568000
 *
 * "l" is the lock's serial number, "t" what was measured: "a" how long it took to acquire, "h" how
 * long it was held. "c" counts samples; of the attempts "a", "s" succeeded, and "sc" of these had
 * to wait, for "sct" in all; "t" is the time of all attempts. Times are nanoseconds.
 *
 * Ownership: records are plain memory of the caller's.
 * Threads:   none of their own; whoever keeps a record guards it. Settings and lines: any.
 */
#pragma once

#include <glib.h>

#include "lib/lock/mxUser.h"
#include "lib/lock/mxUserHeader.h"

/* How one measured time is distributed. */
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
    guint64 contendedTime;       /* of the successes that had to wait */
    guint64 totalTime;           /* of all attempts */
    MXUserBasicStats basicStats; /* of all successes */
};

void MXUserAcquisitionStatsSetUp(MXUserAcquisitionStats *stats);

/* One attempt that took so long. A wait shorter than the host's floor for it is none. */
void MXUserAcquisitionStatsSample(MXUserAcquisitionStats *stats, bool isAcquired, bool isContended,
                                  guint64 time);
void MXUserAcquisitionStatsDump(const MXUserAcquisitionStats *stats, const MXUserHeader *header);

struct MXUserContention {
    double
        ratio; /* failed attempts per attempt, or contended successes per success if that is more */
    bool isHot;
};

MXUserContention MXUserKitchen(const MXUserAcquisitionStats *stats);

/* What the host has said about reports. */
struct MXUserStatsSettings {
    gpointer context;
    guint maxLineLength; /* in bytes */
    bool trackHeldTimes;
    MXUserStatsFunc statsFunc; /* NULL: nobody wants any */
};

MXUserStatsSettings MXUserGetStatsSettings();

/* Hands one line to the host, if it wants any. */
void MXUserStatsLine(const char *format, ...) G_GNUC_PRINTF(1, 2);

/* Now, in nanoseconds since some time. */
guint64 MXUserStatsClock();
