/*
 * mxUserLockStats.h -- the optional statistics of a lock
 *
 * A lock has two pointers to records: how it was acquired, and how long it was held. Both are NULL, and its
 * header's statsAction too, until a host attaches records:
 *
 *   MXUserLockStatsAttach(&lock->header, &lock->stats, action, MXUserHistograms::Now)
 *
 * That may happen while the lock is in use. The records stay until the lock is destroyed. Each call of a lock
 * reads statsAction once, and nothing else while there are no statistics.
 *
 * Ownership: the records belong to the lock; MXUserLockStatsFree() releases them.
 * Threads:   any.
 */
#pragma once

#include <atomic>

#include <glib.h>

#include "lib/lock/mxRecLock.h"
#include "lib/lock/mxUserHeader.h"

struct MXUserAcquireStats;
struct MXUserHeldStats;

struct MXUserLockStats {
    std::atomic<MXUserAcquireStats *> acquire = nullptr;
    std::atomic<MXUserHeldStats *> held = nullptr;
    guint64 heldSince = 0; /* written by the holder; a read-write lock has one per thread */
};

/* What creation does about statistics: 0 nothing; 1 and 2 call the lock's control operation with the argument
 * 0 and 1. */
constexpr guint32 MXUserStatsMode() {
    return 0;
}

/* Clears the statistics of a new lock, then acts as the mode says. */
void MXUserLockStatsInit(MXUserHeader *header, MXUserLockStats *stats, guint32 mode,
                         MXUserControl control);

/* When histograms begin; WhenHot: once a report finds that the lock is contended. */
enum class MXUserHistograms { WhenHot, Now };

/* Begins to count; does nothing if the lock has statistics already. Held times are measured only if the host
 * tracks them. */
void MXUserLockStatsAttach(MXUserHeader *header, MXUserLockStats *stats, MXUserStatsAction action,
                           MXUserHistograms histograms);

void MXUserLockStatsFree(MXUserLockStats *stats);

/* Writes the lines of a lock; for use in a statsAction. */
void MXUserLockStatsReport(MXUserLockStats *stats, const MXUserHeader *header);

/* The operations of a lock with statistics. The caller is named in the histograms. */
void MXUserLockStatsAcquire(MXUserLockStats *stats, MXRecLock *lock, const void *caller);
bool MXUserLockStatsTryAcquire(MXUserLockStats *stats, MXRecLock *lock, const void *caller);
void MXUserLockStatsRelease(MXUserLockStats *stats, MXRecLock *lock, const void *caller);

/* One attempt to acquire, begun at a time of MXUserStatsClock(). */
struct MXUserAttempt {
    bool isAcquired;
    bool isContended;
    guint64 begin;
    const void *caller;
};
void MXUserLockStatsSampleAcquire(MXUserLockStats *stats, const MXUserAttempt &attempt);

/* Returns the time from which the lock is held, for MXUserLockStatsSampleHeld(); 0 if held times are not
 * measured. */
guint64 MXUserLockStatsHeldSince(const MXUserLockStats *stats);

/* Adds the time since then to the held times. */
void MXUserLockStatsSampleHeld(MXUserLockStats *stats, guint64 since, const void *caller);
