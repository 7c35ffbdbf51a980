#include "lib/lock/mxUserLockStats.h"

#include <cstdlib>
#include <new>
#include <utility>

#include "lib/lock/mxUserHisto.h"
#include "lib/lock/mxUserStats.h"
#include "lib/misc/atomicFence.h"
#include "lib/misc/utilSafe.h"

constexpr guint64 kHistoMin = 100;   /* ns */
constexpr guint32 kHistoDecades = 7; /* up to a second */

/* Several threads write to one record at the same time: those that fail to acquire, and readers. */
struct MXUserAcquireStats {
    MXRecLock guard;
    MXUserAcquisitionStats data;
    MXUserHisto *histo = nullptr;
};

struct MXUserHeldStats {
    MXRecLock guard;
    MXUserBasicStats data;
    MXUserHisto *histo = nullptr;
};

namespace {

template <class Record> Record *StatsNewRecord() {
    auto *record = new (UtilSafeCalloc0(1, sizeof(Record))) Record;
    VERIFY(MXRecLockInit(&record->guard));
    return record;
}

template <class Record> void StatsFreeRecord(Record *record) {
    if (!record)
        return;
    MXUserHistoTearDown(record->histo);
    MXRecLockDestroy(&record->guard);
    free(record);
}

/* Stores a record. Returns the one that is in place then, which may be another thread's. */
template <class Record> Record *StatsPublish(std::atomic<Record *> *place, Record *made) {
    Record *found = nullptr;
    if (Atomic_CompareExchange(place, &found, made))
        return made;
    StatsFreeRecord(made);
    return found;
}

template <class Record> void StatsAddHisto(Record *record, const char *typeName) {
    if (!record)
        return;
    const MXRecLockGuard guard(&record->guard);
    if (!record->histo)
        record->histo = MXUserHistoSetUp(typeName, kHistoMin, kHistoDecades);
}

void StatsAddHistograms(MXUserLockStats *stats) {
    StatsAddHisto(stats->acquire.load(std::memory_order_acquire), "a");
    StatsAddHisto(stats->held.load(std::memory_order_acquire), "h");
}

} // namespace

void MXUserLockStatsInit(MXUserHeader *header, MXUserLockStats *stats, guint32 mode,
                         MXUserControl control) {
    stats->acquire = nullptr;
    stats->held = nullptr;
    switch (mode) {
    case 0:
        return;
    case 1:
    case 2:
        control(header, MXUSER_CONTROL_STATS, mode - 1);
        return;
    default:
        Panic("%s: unknown stats mode: %d!\n", __func__, int(mode));
    }
}

void MXUserLockStatsAttach(MXUserHeader *header, MXUserLockStats *stats, MXUserStatsAction action,
                           MXUserHistograms histograms) {
    if (header->statsAction.load(std::memory_order_acquire))
        return;
    auto *acquire = StatsNewRecord<MXUserAcquireStats>();
    MXUserAcquisitionStatsSetUp(&acquire->data);
    StatsPublish(&stats->acquire, acquire);
    if (MXUserGetStatsSettings().trackHeldTimes) {
        auto *held = StatsNewRecord<MXUserHeldStats>();
        MXUserBasicStatsSetUp(&held->data, "h");
        StatsPublish(&stats->held, held);
    }
    if (histograms == MXUserHistograms::Now)
        StatsAddHistograms(stats);
    header->statsAction.store(action, std::memory_order_release);
}

void MXUserLockStatsFree(MXUserLockStats *stats) {
    StatsFreeRecord(stats->acquire.load(std::memory_order_acquire));
    StatsFreeRecord(stats->held.load(std::memory_order_acquire));
}

void MXUserLockStatsReport(MXUserLockStats *stats, const MXUserHeader *header) {
    bool isHot = false;
    if (MXUserAcquireStats *acquire = stats->acquire.load(std::memory_order_acquire)) {
        const MXRecLockGuard guard(&acquire->guard);
        MXUserAcquisitionStatsDump(&acquire->data, header);
        if (acquire->histo)
            MXUserHistoDump(acquire->histo, header);
        isHot = MXUserKitchen(&acquire->data).isHot;
    }
    if (MXUserHeldStats *held = stats->held.load(std::memory_order_acquire)) {
        const MXRecLockGuard guard(&held->guard);
        MXUserBasicStatsDump(&held->data, header);
        if (held->histo)
            MXUserHistoDump(held->histo, header);
    }
    if (isHot) /* the next report shows callers and times */
        StatsAddHistograms(stats);
}

void MXUserLockStatsAcquire(MXUserLockStats *stats, MXRecLock *lock, const void *caller) {
    if (MXRecLockReenter(lock))
        return;
    const guint64 begin = MXUserStatsClock();
    const bool isContended = !MXRecLockTryAcquire(lock);
    if (isContended)
        MXRecLockAcquire(lock);
    MXUserLockStatsSampleAcquire(stats, {true, isContended, begin, caller});
    stats->heldSince = MXUserLockStatsHeldSince(stats);
}

bool MXUserLockStatsTryAcquire(MXUserLockStats *stats, MXRecLock *lock, const void *caller) {
    if (MXRecLockReenter(lock))
        return true;
    const guint64 begin = MXUserStatsClock();
    const bool isAcquired = MXRecLockTryAcquire(lock);
    MXUserLockStatsSampleAcquire(stats, {isAcquired, !isAcquired, begin, caller});
    if (isAcquired)
        stats->heldSince = MXUserLockStatsHeldSince(stats);
    return isAcquired;
}

void MXUserLockStatsRelease(MXUserLockStats *stats, MXRecLock *lock, const void *caller) {
    if (MXRecLockCount(lock) == 1)
        MXUserLockStatsSampleHeld(stats, std::exchange(stats->heldSince, 0), caller);
    MXRecLockRelease(lock);
}

void MXUserLockStatsSampleAcquire(MXUserLockStats *stats, const MXUserAttempt &attempt) {
    const guint64 time = MXUserStatsClock() - attempt.begin;
    MXUserAcquireStats *acquire = stats->acquire.load(std::memory_order_acquire);
    const MXRecLockGuard guard(&acquire->guard);
    MXUserAcquisitionStatsSample(&acquire->data, attempt.isAcquired, attempt.isContended, time);
    if (attempt.isAcquired && acquire->histo)
        MXUserHistoSample(acquire->histo, time, attempt.caller);
}

guint64 MXUserLockStatsHeldSince(const MXUserLockStats *stats) {
    return stats->held.load(std::memory_order_acquire) ? MXUserStatsClock() : 0;
}

void MXUserLockStatsSampleHeld(MXUserLockStats *stats, guint64 since, const void *caller) {
    MXUserHeldStats *held = stats->held.load(std::memory_order_acquire);
    if (!held || since == 0)
        return;
    const guint64 time = MXUserStatsClock() - since;
    const MXRecLockGuard guard(&held->guard);
    MXUserBasicStatsSample(&held->data, time);
    if (held->histo)
        MXUserHistoSample(held->histo, time, caller);
}
