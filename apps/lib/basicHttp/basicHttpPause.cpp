// Pausing and resuming the two directions of a transfer.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include "lib/misc/log.h"

namespace {

/* Passes the mask to libcurl, which may deliver buffered data at once. A progress proc may then free the request, so
 * the caller must not use it afterwards. */
bool SetPaused(BasicHttpRequest *request, guint32 mask) {
    const guint32 oldMask = request->pausedMask;
    BasicHttpSetPausedMask(request, mask);
    request->lastActivityTime = basicHttpNow();
    BasicHttpInsideCurl inside(request->owner);
    if (curl_easy_pause(request->curl, int(mask)) == CURLE_OK)
        return true;
    BasicHttpSetPausedMask(request, oldMask);
    return false;
}

bool BasicHttpPauseRequest(BasicHttpRequest *request, guint32 mask, bool noKick) {
    BasicHttpRemoveResumePollCallback(request);
    if (!SetPaused(request, mask))
        return false;
    if (!noKick)
        BasicHttpRunEngine(BasicHttpWake::kAll, CURL_SOCKET_BAD);
    return true;
}

gboolean PauseDirection(BasicHttpRequest *request, guint32 bit, gboolean pause) {
    if (!request || !request->curl)
        return FALSE;
    const guint32 mask = pause ? request->pausedMask | bit : request->pausedMask & ~bit;
    return BasicHttpPauseRequest(request, mask, pause);
}

/* Whether the receive side is in the given state; FALSE for a request that has been freed. */
bool IsRecvPaused(BasicHttpRequest *request, bool wanted) {
    const bool isPaused = request->pausedMask & kPausedRecv;
    return !request->isFreed && isPaused == wanted;
}

} // namespace

void BasicHttpResumePollCallback(gpointer clientData) {
    auto *request = static_cast<BasicHttpRequest *>(clientData);
    request->hasResume = false;
    request->lastActivityTime = basicHttpNow();
    BasicHttpBandwidthNoteResume(request);
    {
        BasicHttpInsideCurl inside(request->owner);
        curl_easy_pause(request->curl, int(request->pausedMask));
    }
    /* libcurl has set its timer for this transfer, so that the others are not examined */
    BasicHttpRunEngine(BasicHttpWake::kTimer, CURL_SOCKET_TIMEOUT);
}

void BasicHttpRemoveResumePollCallback(BasicHttpRequest *request) {
    request->sendStats.dueTime = request->recvStats.dueTime = 0;
    if (!request->hasResume)
        return;
    request->hasResume = false;
    pollCallbackRemoveProc(0, BasicHttpResumePollCallback, request, POLL_REALTIME, POLL_CLASS_MAIN);
}

gboolean BasicHttp_PauseSendRequest(BasicHttpRequest *request, gboolean pause) {
    return PauseDirection(request, kPausedSend, pause);
}

gboolean BasicHttp_PauseRecvRequest(BasicHttpRequest *request, gboolean pause) {
    return PauseDirection(request, kPausedRecv, pause);
}

gboolean BasicHttp_KickRecvRequest(BasicHttpRequest *request) {
    if (!request)
        return FALSE;
    const auto *shown = static_cast<void *>(request);
    Log("BasicHTTP: Kicking request %p which currently has pausedMask = 0x%08x.\n", shown,
        request->pausedMask);
    const BasicHttpHold hold(request);
    if (!BasicHttp_PauseRecvRequest(request, TRUE)) {
        Log("BasicHTTP: %s: Failed to pause request %p.\n", __func__, shown);
        return FALSE;
    }
    if (!IsRecvPaused(request, true)) {
        Log("BasicHTTP: %s: Request %p is not paused after pausing.\n", __func__, shown);
        return FALSE;
    }
    if (!BasicHttp_PauseRecvRequest(request, FALSE)) {
        Log("BasicHTTP: %s: Failed to resume request %p.\n", __func__, shown);
        return FALSE;
    }
    if (!IsRecvPaused(request, false)) {
        Log("BasicHTTP: %s: Request %p is still paused after resuming.\n", __func__, shown);
        return FALSE;
    }
    return TRUE;
}

gboolean BasicHttp_IsPaused(BasicHttpRequest *request, gboolean *recv, gboolean *send) {
    if (!request)
        return FALSE;
    if (recv)
        *recv = (request->pausedMask & kPausedRecv) != 0;
    if (send)
        *send = (request->pausedMask & kPausedSend) != 0;
    return TRUE;
}
