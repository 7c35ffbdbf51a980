// Two time-outs in seconds: one for the connection to be established, one for a transfer without activity. And three
// limits in milliseconds, which share one deadline: it is set for the earliest time at which one of them may pass.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <cerrno>

#include <sys/socket.h>

#include "lib/misc/log.h"
#include "lib/misc/panic.h"

namespace {

constexpr gint64 kInactivityCheckInterval = 2000000; /* microseconds */
/* Enough to learn whether there is a peer; its address is not used. */
constexpr socklen_t kPeerNameSize = 16;

bool HasInactivityTimeout(const BasicHttpRequest *request) {
    return request->settings.inactivityTimeoutSending || request->settings.inactivityTimeoutSent ||
           request->settings.inactivityTimeoutReceiving;
}

guint InactivityLimit(const BasicHttpRequest *request) {
    switch (request->state) {
    case BASICHTTP_STATE_SENDING:
        return request->settings.inactivityTimeoutSending;
    case BASICHTTP_STATE_SENT:
        return request->settings.inactivityTimeoutSent;
    case BASICHTTP_STATE_RECEIVING:
        return request->settings.inactivityTimeoutReceiving;
    case BASICHTTP_STATE_IDLE:
    case BASICHTTP_STATE_DONE:
        break;
    }
    return 0;
}

/* Ends a request with an error. Unlike after BasicHttp_CancelRequest(), onSentProc is called. */
void CancelWithError(BasicHttpRequest *request, BasicHttpErrorCode error) {
    BasicHttp_CancelRequest(request);
    request->errorOverride = error;
    BasicHttpInvokeCallback(request);
}

void LogInactivity(const BasicHttpRequest *request, gint64 elapsed) {
    curl_off_t sent = 0;
    curl_off_t received = 0;
    curl_easy_getinfo(request->curl, CURLINFO_SIZE_UPLOAD_T, &sent);
    curl_easy_getinfo(request->curl, CURLINFO_SIZE_DOWNLOAD_T, &received);
    Log("BasicHTTP: Request %p in state %u timed out after %.3f seconds having sent %lu/%lu and "
        "received %lu/%li bytes. Cancelling request.\n",
        static_cast<const void *>(request), guint(request->state),
        double(elapsed) / double(kMicrosecondsPerSecond), gulong(sent),
        BasicHttpBodyLength(request), gulong(received), request->recvContentInfo.contentLength);
}

void BasicHttpInactivityTimeoutCallback(gpointer clientData) {
    auto *request = static_cast<BasicHttpRequest *>(clientData);
    if (request->pausedMask != 0 || request->hasResume)
        return;
    BasicHttpUpdateSendState(request);
    const gint64 limit = InactivityLimit(request) * kMicrosecondsPerSecond;
    const gint64 elapsed = basicHttpNow() - request->lastActivityTime;
    if (limit == 0 || elapsed < limit)
        return;
    LogInactivity(request, elapsed);
    CancelWithError(request, BASICHTTP_ERROR_INACTIVITY_TIMEOUT);
}

/* Whether a request got a connection; on a kept one it opens no socket. */
bool HasConnection(const BasicHttpRequest *request) {
    curl_off_t microseconds = 0;
    return curl_easy_getinfo(request->curl, CURLINFO_PRETRANSFER_TIME_T, &microseconds) ==
               CURLE_OK &&
           microseconds > 0;
}

bool IsWatched(const BasicHttpRequest *request) {
    for (const BasicHttpSocketEntry *entry = request->owner->sockets; entry; entry = entry->next) {
        if (entry->socket == request->socket && entry->curl == request->curl)
            return true;
    }
    return false;
}

bool IsConnected(curl_socket_t descriptor) {
    sockaddr_storage peer;
    socklen_t length = kPeerNameSize;
    if (getpeername(descriptor, reinterpret_cast<sockaddr *>(&peer), &length) == 0)
        return true;
    if (errno == ENOTCONN)
        Log("BasicHTTP: Socket %d not connected.\n", descriptor);
    return false;
}

void BasicHttpConnectionTimeoutCallback(gpointer clientData) {
    auto *request = static_cast<BasicHttpRequest *>(clientData);
    void *shown = request;
    request->hasConnectionTimer = false;
    BasicHttpClearConnectionTimeout(request);
    if (request->socket == CURL_SOCKET_BAD) {
        if (HasConnection(request))
            return;
        Log("BasicHTTP: Request %p timed out before connecting to host.\n", shown);
        return CancelWithError(request, BASICHTTP_ERROR_CONNECT_TIMEOUT);
    }
    if (request->socket < 0) {
        Log("BasicHTTP: Unknown socket for request: %p. Ignoring connection timeout.\n", shown);
        return;
    }
    Log("BasicHTTP: Connection timed out. Request: %p. Socket: %d\n", shown, request->socket);
    if (!IsWatched(request)) {
        Log("BasicHTTP: Could not find socket for request: %p CURL: %p. Ignoring connection "
            "timeout.\n",
            shown, request->curl);
        return;
    }
    if (IsConnected(request->socket))
        return;
    Log("BasicHTTP: Connection timed out. Cancelling request %p.\n", shown);
    CancelWithError(request, BASICHTTP_ERROR_CONNECT_TIMEOUT);
}

/* A limit's time, as long as nothing changes. */
struct LimitRow {
    gint64 due;
    BasicHttpErrorCode error;
};

constexpr gint64 kMicrosecondsPerMillisecond = 1000;

/* The limit that passes first. The time of inactivity while the request is paused is counted from now. */
LimitRow NextLimit(const BasicHttpRequest *request, gint64 now) {
    LimitRow next{G_MAXINT64, BASICHTTP_ERROR_NONE};
    const bool isPaused = request->pausedMask != 0 || request->hasResume;
    const bool isConnecting = request->settings.connectLimit > 0 && !HasConnection(request);
    const struct {
        bool counts;
        gint64 since;
        guint limit;
        BasicHttpErrorCode error;
    } rows[] = {
        {request->settings.totalLimit > 0, request->startTime, request->settings.totalLimit,
         BASICHTTP_ERROR_OPERATION_TIMEDOUT},
        {isConnecting, request->startTime, request->settings.connectLimit,
         BASICHTTP_ERROR_CONNECT_TIMEOUT},
        {request->settings.inactivityLimit > 0, isPaused ? now : request->lastActivityTime,
         request->settings.inactivityLimit, BASICHTTP_ERROR_INACTIVITY_TIMEOUT},
    };
    for (const auto &row : rows) {
        const gint64 due = row.since + row.limit * kMicrosecondsPerMillisecond;
        if (row.counts && due < next.due)
            next = {due, row.error};
    }
    return next;
}

void OnLimit(gpointer clientData) {
    auto *request = static_cast<BasicHttpRequest *>(clientData);
    if (request->hasCompletion)
        return; /* it has ended */
    const gint64 now = basicHttpNow();
    const LimitRow next = NextLimit(request, now);
    if (next.error == BASICHTTP_ERROR_NONE)
        return;
    if (next.due > now) {
        BasicHttpDeadline_Set(&request->deadline, next.due, OnLimit, request);
        return;
    }
    Log("BasicHTTP: Request %p is ended by a time limit after %.3f seconds.\n",
        static_cast<const void *>(request),
        double(now - request->startTime) / double(kMicrosecondsPerSecond));
    CancelWithError(request, next.error);
}

} // namespace

void BasicHttp_SetLimits(BasicHttpRequest *request, guint connect, guint inactivity, guint total) {
    request->settings.connectLimit = connect;
    request->settings.inactivityLimit = inactivity;
    request->settings.totalLimit = total;
}

void BasicHttpStartLimits(BasicHttpRequest *request) {
    request->startTime = request->lastActivityTime;
    const LimitRow next = NextLimit(request, request->startTime);
    if (next.error != BASICHTTP_ERROR_NONE)
        BasicHttpDeadline_Set(&request->deadline, next.due, OnLimit, request);
}

void BasicHttpStartConnectionTimeout(BasicHttpRequest *request) {
    if (!request->settings.connectionTimeoutWorkaround || request->settings.connectTimeout == 0)
        return;
    if (pollCallbackProc(0, BasicHttpConnectionTimeoutCallback, request, POLL_REALTIME,
                         request->settings.connectTimeout * kMicrosecondsPerSecond, nullptr,
                         POLL_CLASS_MAIN) != 0)
        NOT_REACHED();
    request->hasConnectionTimer = true;
    BasicHttp_SetFreshConnection(request); /* has an effect only on a start after a failed one */
}

void BasicHttpClearConnectionTimeout(BasicHttpRequest *request) {
    if (request->hasConnectionTimer)
        pollCallbackRemoveProc(0, BasicHttpConnectionTimeoutCallback, request, POLL_REALTIME,
                               POLL_CLASS_MAIN);
    request->hasConnectionTimer = false;
    request->settings.connectTimeout = 0;
}

void BasicHttpStartInactivityTimeout(BasicHttpRequest *request) {
    if (!HasInactivityTimeout(request))
        return;
    if (pollCallbackProc(POLL_FLAG_PERIODIC, BasicHttpInactivityTimeoutCallback, request,
                         POLL_REALTIME, kInactivityCheckInterval, nullptr, POLL_CLASS_MAIN) != 0)
        NOT_REACHED();
    request->hasInactivityTimer = true;
}

void BasicHttpClearInactivityTimeout(BasicHttpRequest *request) {
    if (request->hasInactivityTimer)
        pollCallbackRemoveProc(POLL_FLAG_PERIODIC, BasicHttpInactivityTimeoutCallback, request,
                               POLL_REALTIME, POLL_CLASS_MAIN);
    request->hasInactivityTimer = false;
    request->settings.inactivityTimeoutSending = 0;
    request->settings.inactivityTimeoutSent = 0;
    request->settings.inactivityTimeoutReceiving = 0;
}
