/*
 * mxUserLockStats.h -- the statistics that a lock carries, if it does
 *
 * A lock has two pointers: how it was acquired, and how long it was held. Both are NULL, and its
 * header's statsAction too, until a host that wants to know attaches records:
 *
 *   MXUserLockStatsAttach(&lock->header, &lock->stats, action, MXUserHistograms::Now)
 *
 * which may happen while the lock is in use. They stay until the lock is destroyed. A lock asks for
 * statsAction alone, once a call.
 *
 * Ownership: the lock's; MXUserLockStatsFree() ends them.
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
    guint64 heldSince = 0; /* written by the holder; a read-write lock notes it per thread */
};

/* What creation does about statistics: 0 nothing, 1 and 2 ask the lock's control operation, with
 * the argument 0 and 1. */
constexpr guint32 MXUserStatsMode() {
    return 0;
}

/* Clears the statistics of a new lock, then does what the mode says. */
void MXUserLockStatsInit(MXUserHeader *header, MXUserLockStats *stats, guint32 mode,
                         MXUserControl control);

/* WHEN_HOT: once a report finds that the lock is contended. */
enum class MXUserHistograms { WhenHot, Now };

/* Begins to count; does nothing if the lock counts already. Held times only if the host tracks
 * them. */
void MXUserLockStatsAttach(MXUserHeader *header, MXUserLockStats *stats, MXUserStatsAction action,
                           MXUserHistograms histograms);

void MXUserLockStatsFree(MXUserLockStats *stats);

/* Writes the lines of a lock. What a statsAction does. */
void MXUserLockStatsReport(MXUserLockStats *stats, const MXUserHeader *header);

/* The operations of a lock that counts. The caller is who is named in the histograms. */
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

/* When the lock began to be held: to be kept until MXUserLockStatsSampleHeld(); 0 if held times are
 * not counted. */
guint64 MXUserLockStatsHeldSince(const MXUserLockStats *stats);

/* The end of a time that the lock was held. */
void MXUserLockStatsSampleHeld(MXUserLockStats *stats, guint64 since, const void *caller);
