/*
 * Bandwidth groups. libcurl runs freely; each callback measures the rate of its transfer over a sliding window, and
 * pauses a transfer that is faster than its share for as long as its average takes to fall to that share.
 *
 *   share = limit / members that are not paused, plus an equal part of what slower members leave unused
 *
 * A loop that is late makes a delay longer. The window does not count that time, and the next delays are shorter by it,
 * so that the average over a few seconds is still the share.
 */
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <algorithm>
#include <utility>

#include "lib/misc/log.h"

namespace {

/* A window with more bytes is shortened to a third. */
constexpr gint64 kMaxWindowBytes = 65535;
constexpr gint64 kShortWindowBytes = kMaxWindowBytes / 3;

/* What a transfer can make up at once: 4 % of 5 seconds. */
constexpr gint64 kMaxLateTime = kMicrosecondsPerSecond / 5;

struct DirectionRow {
    guint32 pauseBit;
    const char *name;
    BasicHttpBandwidthStats BasicHttpRequest::*stats;
};

/* Indexed by BasicHttpDirection. */
constexpr DirectionRow kDirections[] = {
    {kPausedSend, "upload", &BasicHttpRequest::sendStats},
    {kPausedRecv, "download", &BasicHttpRequest::recvStats},
};

/* Returns value * factor / divisor for a divisor above 0, at most the largest number. The product may need more than
 * 64 bits. */
gint64 MultiplyDivide(gint64 value, gint64 factor, gint64 divisor) {
    const __int128 result = __int128(value) * factor / divisor;
    return gint64(std::clamp<__int128>(result, 0, G_MAXINT64));
}

gint64 Limit(guint64 bytesPerSecond) {
    return gint64(std::min<guint64>(bytesPerSecond, G_MAXINT64));
}

/* Adds or subtracts a member in the counts of the directions that it is not paused in. */
void CountMember(BasicHttpBandwidthGroup *group, guint32 pausedMask, gint64 difference) {
    for (int i = 0; i < BASICHTTP_NUM_DIRECTIONS; i++) {
        if ((pausedMask & kDirections[i].pauseBit) == 0)
            group->numUnpaused[i] += difference;
    }
}

/* Returns what the members leave unused that are slower than the share, and subtracts them from the count. */
gint64 Surplus(const BasicHttpBandwidthGroup *group, const DirectionRow &row, gint64 share,
               gint64 *count) {
    gint64 surplus = 0;
    for (const BasicHttpRequest *member = group->requests; member; member = member->nextInGroup) {
        const gint64 rate = (member->*row.stats).transferRate;
        if ((member->pausedMask & row.pauseBit) != 0 || rate >= share)
            continue;
        surplus += share - rate;
        --*count;
    }
    return surplus;
}

bool SetResume(BasicHttpRequest *request, gint64 delay) {
    if (request->hasResume)
        pollCallbackRemoveProc(0, BasicHttpResumePollCallback, request, POLL_REALTIME,
                               POLL_CLASS_MAIN);
    request->hasResume = false;
    if (pollCallbackProc(0, BasicHttpResumePollCallback, request, POLL_REALTIME, delay, nullptr,
                         POLL_CLASS_MAIN) != 0)
        return false;
    request->hasResume = true;
    request->resumeTime = basicHttpNow() + std::min(delay, G_MAXINT64 / 2);
    return true;
}

void SetRate(BasicHttpBandwidthStats *stats) {
    /* the time that the tests give may go back */
    const gint64 elapsed = stats->lastTime - stats->windowStartTime;
    if (elapsed > 0)
        stats->transferRate = MultiplyDivide(stats->windowBytes, kMicrosecondsPerSecond, elapsed);
}

/* Uses time that was lost before in place of a delay. Returns the rest of the delay. */
gint64 MakeUp(BasicHttpBandwidthStats *stats, gint64 delay) {
    const gint64 used = std::min(delay, stats->lateTime);
    if (used <= 0)
        return delay;
    stats->lateTime -= used;
    stats->windowStartTime -= used;
    SetRate(stats);
    return delay - used;
}

void Unlink(BasicHttpRequest *request) {
    BasicHttpBandwidthGroup *group = request->bandwidthGroup;
    BasicHttpRequest *before = request->previousInGroup;
    (before ? before->nextInGroup : group->requests) = request->nextInGroup;
    if (request->nextInGroup)
        request->nextInGroup->previousInGroup = before;
}

void ClearLinks(BasicHttpRequest *request) {
    BasicHttpRemoveResumePollCallback(request);
    request->bandwidthGroup = nullptr;
    request->nextInGroup = nullptr;
    request->previousInGroup = nullptr;
}

} // namespace

BasicHttpBandwidthGroup *BasicHttp_CreateBandwidthGroup(guint64 uploadLimit,
                                                        guint64 downloadLimit) {
    auto *group = new BasicHttpBandwidthGroup{};
    BasicHttp_ChangeBandwidthGroup(group, uploadLimit, downloadLimit);
    return group;
}

void BasicHttp_ChangeBandwidthGroup(BasicHttpBandwidthGroup *group, guint64 uploadLimit,
                                    guint64 downloadLimit) {
    if (!group)
        return;
    group->limits[BASICHTTP_UPLOAD] = Limit(uploadLimit);
    group->limits[BASICHTTP_DOWNLOAD] = Limit(downloadLimit);
    /* Delays were computed for the old limits, and may be long. A transfer that is still too fast is delayed anew. */
    for (BasicHttpRequest *member = group->requests; member; member = member->nextInGroup) {
        if (member->hasResume && !SetResume(member, 0))
            Warning("BasicHTTP: The loop does not take a callback; request %p remains paused.\n",
                    static_cast<void *>(member));
    }
}

void BasicHttp_DeleteBandwidthGroup(BasicHttpBandwidthGroup *group) {
    if (!group)
        return;
    while (BasicHttpRequest *member = group->requests) {
        group->requests = member->nextInGroup;
        ClearLinks(member);
    }
    delete group;
}

gboolean BasicHttp_AddRequestToBandwidthGroup(BasicHttpBandwidthGroup *group,
                                              BasicHttpRequest *request) {
    if (!group || !request)
        return FALSE;
    if (request->bandwidthGroup)
        BasicHttp_RemoveRequestFromBandwidthGroup(request->bandwidthGroup, request);
    request->bandwidthGroup = group;
    request->nextInGroup = group->requests;
    if (group->requests)
        group->requests->previousInGroup = request;
    group->requests = request;
    CountMember(group, request->pausedMask, 1);
    return TRUE;
}

void BasicHttp_RemoveRequestFromBandwidthGroup(BasicHttpBandwidthGroup *group,
                                               BasicHttpRequest *request) {
    if (!group || !request || request->bandwidthGroup != group)
        return;
    CountMember(group, request->pausedMask, -1);
    Unlink(request);
    ClearLinks(request);
}

void BasicHttpLeaveBandwidthGroup(BasicHttpRequest *request) {
    BasicHttp_RemoveRequestFromBandwidthGroup(request->bandwidthGroup, request);
}

void BasicHttpSetPausedMask(BasicHttpRequest *request, guint32 mask) {
    if (BasicHttpBandwidthGroup *group = request->bandwidthGroup) {
        CountMember(group, request->pausedMask, -1);
        CountMember(group, mask, 1);
    }
    request->pausedMask = mask;
}

void BasicHttpBandwidthUpdate(BasicHttpBandwidthStats *stats, gint64 bytes) {
    if (stats->transferredBytes > bytes) {
        Log("BasicHttpBandwidthUpdate: transferredBytes dropped. This could be caused by a "
            "redirect.\n");
        *stats = {};
    }
    stats->lastTime = basicHttpNow();
    if (stats->lastTime == 0) {
        Log("%s: Unable to get current time.\n", __func__);
        return;
    }
    if (stats->windowStartTime == 0)
        stats->windowStartTime = stats->lastTime;
    const gint64 elapsed = std::max<gint64>(stats->lastTime - stats->windowStartTime, 0);
    if (stats->windowBytes == 0 && stats->transferRate != 0)
        stats->windowBytes = MultiplyDivide(stats->transferRate, elapsed, kMicrosecondsPerSecond);
    stats->windowBytes += bytes - stats->transferredBytes;
    stats->transferredBytes = bytes;
    SetRate(stats);
}

void BasicHttpBandwidthSlideWindow(BasicHttpBandwidthStats *stats) {
    if (stats->windowBytes <= kMaxWindowBytes || stats->transferRate == 0)
        return;
    stats->windowBytes = kShortWindowBytes;
    stats->windowStartTime =
        stats->lastTime - kShortWindowBytes * kMicrosecondsPerSecond / stats->transferRate;
}

gint64 BasicHttpBandwidthGetDelay(const BasicHttpBandwidthGroup *group,
                                  const BasicHttpRequest *request, BasicHttpDirection direction) {
    const DirectionRow &row = kDirections[direction];
    if (request->pausedMask & row.pauseBit) {
        Log("%s: This %s transfer is paused.\n", __func__, row.name);
        return 0;
    }
    gint64 count = group->numUnpaused[direction];
    if (count == 0) {
        Log("%s: All %s transfers are paused.\n", __func__, row.name);
        return 0;
    }
    gint64 share = group->limits[direction] / count;
    if (share == 0)
        return 0;
    const BasicHttpBandwidthStats &stats = request->*row.stats;
    const gint64 rate = stats.transferRate;
    if (share >= rate)
        return 0;
    const gint64 surplus = Surplus(group, row, share, &count);
    if (count > 0) {
        share += surplus / count;
        if (rate <= share)
            return 0;
    }
    return MultiplyDivide(stats.windowBytes, kMicrosecondsPerSecond, share) -
           MultiplyDivide(stats.windowBytes, kMicrosecondsPerSecond, rate);
}

void BasicHttpBandwidthNoteResume(BasicHttpRequest *request) {
    for (const DirectionRow &row : kDirections) {
        BasicHttpBandwidthStats *stats = &(request->*row.stats);
        const gint64 due = std::exchange(stats->dueTime, 0);
        const gint64 late = basicHttpNow() - due;
        if (due == 0 || late <= 0)
            continue;
        stats->windowStartTime += late;
        stats->lateTime = std::min(stats->lateTime + late, kMaxLateTime);
    }
}

bool BasicHttpDelayTransfer(BasicHttpRequest *request, BasicHttpDirection direction) {
    const BasicHttpBandwidthGroup *group = request->bandwidthGroup;
    if (!group || group->limits[direction] == 0)
        return false;
    BasicHttpBandwidthStats *stats = &(request->*kDirections[direction].stats);
    const gint64 delay = MakeUp(stats, BasicHttpBandwidthGetDelay(group, request, direction));
    if (delay <= 0)
        return false;
    stats->dueTime = basicHttpNow() + std::min(delay, G_MAXINT64 / 2);
    /* One callback resumes both directions. A direction that it resumes too soon is delayed once more. */
    if (request->hasResume && request->resumeTime - basicHttpNow() <= delay)
        return true;
    if (SetResume(request, delay))
        return true;
    Warning("BasicHTTP: The loop does not take a callback; request %p is not slowed down.\n",
            static_cast<void *>(request));
    return false;
}
