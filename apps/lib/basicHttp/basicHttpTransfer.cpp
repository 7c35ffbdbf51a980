// Bodies of requests and responses: libcurl's read and write callbacks, and the progress procs that they call.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <algorithm>
#include <utility>

#include "lib/misc/log.h"

namespace {

/* Memory that is reserved because of a Content-Length, which may be wrong. */
constexpr gint64 kMaxReserved = gint64(1) << 20;

/* Warns when a callback is called within itself, which a progress proc can cause. */
class ReentryCheck {
public:
    ReentryCheck(guint *entries, const char *function) : count(entries) {
        if ((*count)++ != 0)
            Warning("%s: Re-entrant call detected, entry count = %d.  This is considered unsafe.  "
                    "Please check that BasicHttp functions which can modify the request are not "
                    "being called from a BasicHttpProgressProc.\n",
                    function, int(*count));
    }
    ~ReentryCheck() { (*count)--; }
    ReentryCheck(const ReentryCheck &) = delete;
    ReentryCheck &operator=(const ReentryCheck &) = delete;

private:
    guint *count;
};

/* Stores libcurl's running count. */
void UpdateStats(BasicHttpRequest *request, BasicHttpBandwidthStats *stats, CURLINFO counter) {
    curl_off_t bytes = 0;
    curl_easy_getinfo(request->curl, counter, &bytes);
    BasicHttpBandwidthUpdate(stats, bytes);
}

/* Notes that a transfer goes on. Returns the time since the last progress in microseconds. */
gint64 NoteProgress(BasicHttpRequest *request, BasicHttpBandwidthStats *stats) {
    BasicHttpBandwidthSlideWindow(stats);
    const gint64 elapsed = stats->lastTime - request->lastProgressTime;
    request->lastProgressTime = stats->lastTime;
    request->lastActivityTime = stats->lastTime;
    return elapsed;
}

gsize ReadBody(BasicHttpRequest *request, char *buffer, size_t size, size_t count) {
    BasicHttpSource *body = request->body;
    if (!body)
        return 0;
    const gssize got = body->ops->read(body->priv, buffer, size, count);
    if (got < 0 || gsize(got) > size * count)
        return CURL_READFUNC_ABORT;
    request->numBodyBytesRead += gsize(got);
    if (got == 0 && request->numBodyBytesRead < BasicHttpBodyLength(request)) {
        /* the peer would wait for the rest without end */
        Warning("BasicHTTP: The body of request %p ended after %lu of %lu bytes.\n",
                static_cast<void *>(request), request->numBodyBytesRead,
                BasicHttpBodyLength(request));
        return CURL_READFUNC_ABORT;
    }
    return gsize(got);
}

bool AppendReceived(BasicHttpRequest *request, const char *data, gsize size) {
    DynBuf *buffer = &request->receiveBuffer;
    const gint64 announced = request->recvContentInfo.contentLength;
    const gsize limit = request->settings.maxResponseSize;
    if (limit != 0 && (size > limit - buffer->size || std::cmp_greater(announced, limit))) {
        Warning("BasicHTTP: The response to request %p is larger than %lu bytes.\n",
                static_cast<void *>(request), limit);
        return false;
    }
    /* with room for a NUL, so that the response can take the buffer over; a failure here has no effect */
    if (!buffer->data && request->recvContentInfo.contentLength > 0)
        DynBuf_Reserve(
            buffer,
            std::max(gsize(std::min(request->recvContentInfo.contentLength, kMaxReserved)), size) +
                1);
    if (DynBuf_Append(buffer, data, size))
        return true;
    Log("BasicHTTP: Failed to allocate memory for received data.\n");
    return false;
}

} // namespace

gsize BasicHttpBodyLength(const BasicHttpRequest *request) {
    return request->body ? request->body->ops->length(request->body->priv) : 0;
}

void BasicHttpUpdateSendState(BasicHttpRequest *request) {
    if (request->state != BASICHTTP_STATE_SENDING || !request->curl || !request->body)
        return;
    curl_off_t bytes = 0;
    curl_easy_getinfo(request->curl, CURLINFO_SIZE_UPLOAD_T, &bytes);
    if (bytes > 0 && gsize(bytes) == BasicHttpBodyLength(request))
        request->state = BASICHTTP_STATE_SENT;
}

size_t BasicHttpReadCallback(char *buffer, size_t size, size_t count, void *data) {
    auto *request = static_cast<BasicHttpRequest *>(data);
    const ReentryCheck entry(&request->readEntries, __func__);
    if (request->state == BASICHTTP_STATE_DONE)
        return CURL_READFUNC_ABORT; /* cancelled: this makes libcurl stop */

    BasicHttpBandwidthStats *stats = &request->sendStats;
    UpdateStats(request, stats, CURLINFO_SIZE_UPLOAD_T);
    if (BasicHttpDelayTransfer(request, BASICHTTP_UPLOAD))
        return CURL_READFUNC_PAUSE;
    const gint64 elapsed = NoteProgress(request, stats);
    request->state = gsize(stats->transferredBytes) == BasicHttpBodyLength(request)
                         ? BASICHTTP_STATE_SENT
                         : BASICHTTP_STATE_SENDING;
    if (request->sendProgressProc) {
        const bool goesOn =
            request->sendProgressProc(request, 0, nullptr, elapsed, stats->transferredBytes,
                                      stats->transferRate, request->clientData);
        if (request->state == BASICHTTP_STATE_DONE)
            return CURL_READFUNC_ABORT;
        if (!goesOn) {
            BasicHttpSetPausedMask(request, request->pausedMask | kPausedSend);
            return CURL_READFUNC_PAUSE;
        }
    }
    return ReadBody(request, buffer, size, count);
}

size_t BasicHttpWriteCallback(char *buffer, size_t size, size_t count, void *data) {
    auto *request = static_cast<BasicHttpRequest *>(data);
    const gsize length = size * count;
    const ReentryCheck entry(&request->writeEntries, __func__);
    if (request->state == BASICHTTP_STATE_DONE)
        return 0; /* cancelled: this makes libcurl stop */

    BasicHttpBandwidthStats *stats = &request->recvStats;
    UpdateStats(request, stats, CURLINFO_SIZE_DOWNLOAD_T);
    if (BasicHttpDelayTransfer(request, BASICHTTP_DOWNLOAD))
        return CURL_WRITEFUNC_PAUSE;
    const gint64 elapsed = NoteProgress(request, stats);
    request->state = BASICHTTP_STATE_RECEIVING;
    if (request->recvProgressProc) {
        const bool goesOn =
            request->recvProgressProc(request, length, buffer, elapsed, stats->transferredBytes,
                                      stats->transferRate, request->clientData);
        if (request->state == BASICHTTP_STATE_DONE)
            return 0;
        if (!goesOn) {
            BasicHttpSetPausedMask(request, request->pausedMask | kPausedRecv);
            return CURL_WRITEFUNC_PAUSE;
        }
    }
    if (request->options & BASICHTTP_OPTION_NO_BUFFER)
        return length;
    return AppendReceived(request, buffer, length) ? length : 0;
}

curlioerr BasicHttpIoctlCallback(CURL *, int command, void *data) {
    auto *request = static_cast<BasicHttpRequest *>(data);
    switch (command) {
    case CURLIOCMD_NOP:
        return CURLIOE_OK;
    case CURLIOCMD_RESTARTREAD:
        if (!BasicHttp_RewindSource(request->body))
            return CURLIOE_FAILRESTART;
        request->numBodyBytesRead = 0;
        request->sendStats = {};
        request->recvStats = {};
        return CURLIOE_OK;
    }
    return CURLIOE_UNKNOWNCMD;
}
