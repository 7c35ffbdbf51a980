// libcurl names the descriptors and the timer that it needs; they are registered with the loop, and every event of
// theirs runs the engine below.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <cerrno>
#include <cstring>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "lib/misc/err.h"
#include "lib/misc/log.h"

namespace {

/* The loop defines the meaning of 0x10 and 0x100; both are always passed. */
constexpr gint kReadFlags = 0x110 | POLL_FLAG_PERIODIC | POLL_FLAG_READ;
constexpr gint kWriteFlags = 0x110 | POLL_FLAG_PERIODIC | POLL_FLAG_WRITE;
constexpr gint64 kMicrosecondsPerMillisecond = 1000;

/* The client data of the callback for libcurl's timer. */
gpointer TimerData() {
    return GINT_TO_POINTER(1);
}

void BasicHttpPollAdd(BasicHttpSocketEntry *entry) {
    gint failed = 0;
    if (entry->events & CURL_POLL_IN)
        failed |= pollCallbackProc(kReadFlags, BasicHttpSocketPollCallback, entry, POLL_DEVICE,
                                   entry->socket, nullptr, POLL_CLASS_MAIN);
    if (entry->events & CURL_POLL_OUT)
        failed |= pollCallbackProc(kWriteFlags, BasicHttpSocketPollCallback, entry, POLL_DEVICE,
                                   entry->socket, nullptr, POLL_CLASS_MAIN);
    if (failed)
        Warning("BasicHTTP: The loop does not take socket %d.\n", entry->socket);
}

void BasicHttpPollRemove(BasicHttpSocketEntry *entry) {
    if (entry->events & CURL_POLL_IN)
        pollCallbackRemoveProc(kReadFlags, BasicHttpSocketPollCallback, entry, POLL_DEVICE,
                               POLL_CLASS_MAIN);
    if (entry->events & CURL_POLL_OUT)
        pollCallbackRemoveProc(kWriteFlags, BasicHttpSocketPollCallback, entry, POLL_DEVICE,
                               POLL_CLASS_MAIN);
}

int OptionOf(curl_socket_t descriptor, int option) {
    int value = 0;
    socklen_t length = sizeof value;
    return getsockopt(descriptor, SOL_SOCKET, option, &value, &length) == 0 ? value : 0;
}

/* Makes TCP check the peer of a socket, if the request asks for it. An idle connection is probed; data that is not
 * confirmed counts as well. A system that lacks one of the options still has the others. */
void WatchPeer(const BasicHttpRequest *request, curl_socket_t descriptor) {
    constexpr struct {
        int level, option, value;
    } kOptions[] = {
        {SOL_SOCKET, SO_KEEPALIVE, 1},           {IPPROTO_TCP, TCP_KEEPIDLE, 45}, /* seconds */
        {IPPROTO_TCP, TCP_KEEPINTVL, 15},        {IPPROTO_TCP, TCP_KEEPCNT, 4},
        {IPPROTO_TCP, TCP_USER_TIMEOUT, 100000}, /* milliseconds */
    };
    if (!request->settings.detectsDeadPeer || OptionOf(descriptor, SO_KEEPALIVE) != 0 ||
        OptionOf(descriptor, SO_PROTOCOL) != IPPROTO_TCP) /* the resolver has sockets, too */
        return;
    for (const auto &row : kOptions) {
        if (setsockopt(descriptor, row.level, row.option, &row.value, sizeof row.value) != 0)
            Log("BasicHTTP: Socket option %d cannot be set: %s\n", row.option, Err_ErrString());
    }
}

/* The request of a handle. */
BasicHttpRequest *RequestOf(CURL *easy) {
    char *request = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &request);
    return reinterpret_cast<BasicHttpRequest *>(request);
}

/* libcurl hands the entry to the socket callback from now on. */
void AddSocket(BasicHttpGlobalState *state, curl_socket_t descriptor, CURL *easy, int what) {
    auto *entry = new BasicHttpSocketEntry{state->sockets, descriptor, easy, what, &state->sockets};
    if (entry->next)
        entry->next->link = &entry->next;
    state->sockets = entry;
    curl_multi_assign(state->multi, descriptor, entry);
    BasicHttpPollAdd(entry);
}

void ForgetSocket(BasicHttpSocketEntry *entry) {
    *entry->link = entry->next;
    if (entry->next)
        entry->next->link = entry->link;
    BasicHttpPollRemove(entry);
    delete entry;
}

/* Returns the entry of a descriptor; NULL if there is none. */
BasicHttpSocketEntry *EntryOf(BasicHttpGlobalState *state, curl_socket_t descriptor,
                              void *assigned) {
    /* NULL for a new socket, and for one that libcurl has no record of */
    if (assigned || curl_multi_assign(state->multi, descriptor, nullptr) == CURLM_OK)
        return static_cast<BasicHttpSocketEntry *>(assigned);
    BasicHttpSocketEntry *entry = state->sockets;
    while (entry && entry->socket != descriptor)
        entry = entry->next;
    return entry;
}

void RemoveTimer(BasicHttpGlobalState *state) {
    if (!state->hasTimer)
        return;
    state->hasTimer = false;
    pollCallbackRemoveProc(0, BasicHttpSocketPollCallback, TimerData(), POLL_REALTIME,
                           POLL_CLASS_MAIN);
}

/* Runs libcurl once. */
CURLMcode DriveCurl(BasicHttpGlobalState *state, BasicHttpWake wake, curl_socket_t socket) {
    int running = 0;
    BasicHttpInsideCurl inside(state);
    switch (wake) {
    case BasicHttpWake::kTimer:
        return curl_multi_socket_action(state->multi, CURL_SOCKET_TIMEOUT, 0, &running);
    case BasicHttpWake::kSocket:
        return curl_multi_socket_action(state->multi, socket, 0, &running);
    case BasicHttpWake::kAll:
        return curl_multi_socket_all(state->multi, &running);
    }
    return CURLM_OK;
}

void FinishTransfer(BasicHttpRequest *request, CURLcode result) {
    BasicHttpRemoveFromMulti(request);
    if (request->cookieJar)
        curl_easy_setopt(request->curl, CURLOPT_SHARE, nullptr);
    request->curlResult = result;
    /* libcurl takes a connection that ends within the headers for an empty response */
    if (result == CURLE_OK && !request->hasWholeHead)
        request->curlResult = CURLE_RECV_ERROR;
    BasicHttpLeaveBandwidthGroup(request);
    BasicHttpInvokeCallback(request);
}

void BasicHttpProcessCURLMulti(BasicHttpGlobalState *state) {
    int numLeft = 0;
    while (CURLMsg *message = curl_multi_info_read(state->multi, &numLeft)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        /* the message is released with the handle */
        const CURLcode result = message->data.result;
        FinishTransfer(RequestOf(message->easy_handle), result);
    }
}

/* The send function has returned TRUE, so onSentProc must be called. */
void FailQueued(BasicHttpRequest *request) {
    BasicHttpFinishRequest(request, BASICHTTP_STATE_DONE);
    request->errorOverride = BASICHTTP_ERROR_GENERIC;
    BasicHttpInvokeCallback(request);
}

void StartQueued(BasicHttpGlobalState *state) {
    if (state->isStartingQueued)
        return; /* a start runs the engine; the loop of the outer call continues */
    state->isStartingQueued = true;
    while (curlGlobalState == state && !g_queue_is_empty(&state->waiting) &&
           BasicHttpHasCapacity(state)) {
        auto *request = static_cast<BasicHttpRequest *>(g_queue_pop_head(&state->waiting));
        request->queued = false;
        if (!BasicHttpStartRequest(request))
            FailQueued(request);
    }
    if (curlGlobalState == state)
        state->isStartingQueued = false;
}

} // namespace

void BasicHttpRunEngine(BasicHttpWake wake, curl_socket_t socket) {
    BasicHttpGlobalState *state = curlGlobalState;
    if (!state)
        return;
    if (state->curlDepth > 0) {
        state->wantsKick = true;
        return;
    }
    if (wake == BasicHttpWake::kAll)
        BasicHttpProcessCURLMulti(state);

    for (;;) {
        const CURLMcode result = DriveCurl(state, wake, socket);
        /* a progress proc may have shut the transport down, and even started it again */
        if (curlGlobalState != state)
            return;
        if (result != CURLM_CALL_MULTI_PERFORM && result != CURLM_BAD_SOCKET)
            break;
        if (result == CURLM_BAD_SOCKET && wake == BasicHttpWake::kSocket) {
            BasicHttpProcessCURLMulti(state);
            wake = BasicHttpWake::kAll;
        }
    }
    BasicHttpProcessCURLMulti(state);
    StartQueued(state);
}

void BasicHttpSocketPollCallback(gpointer clientData) {
    if (clientData == TimerData()) {
        if (curlGlobalState)
            curlGlobalState->hasTimer = false;
        return BasicHttpRunEngine(BasicHttpWake::kTimer, CURL_SOCKET_TIMEOUT);
    }
    if (clientData) {
        const auto *entry = static_cast<BasicHttpSocketEntry *>(clientData);
        return BasicHttpRunEngine(BasicHttpWake::kSocket, entry->socket);
    }
    if (curlGlobalState)
        curlGlobalState->hasKick = false;
    BasicHttpRunEngine(BasicHttpWake::kAll, CURL_SOCKET_BAD);
}

void BasicHttpScheduleKick(BasicHttpGlobalState *state) {
    if (state->hasKick)
        return;
    state->hasKick = pollCallbackProc(0, BasicHttpSocketPollCallback, nullptr, POLL_REALTIME, 0,
                                      nullptr, POLL_CLASS_MAIN) == 0;
    if (!state->hasKick)
        Warning(
            "BasicHTTP: The loop does not take a callback; waiting requests are not started.\n");
}

int BasicHttpSocketCurlCallback(CURL *easy, curl_socket_t descriptor, int what, void *,
                                void *assigned) {
    BasicHttpGlobalState *state = BasicHttpInsideCurl::Current();
    if (!state || what == CURL_POLL_NONE)
        return 0;
    BasicHttpSocketEntry *entry = EntryOf(state, descriptor, assigned);
    if (what == CURL_POLL_REMOVE) {
        if (entry)
            ForgetSocket(entry);
        return 0;
    }
    /* a request may use a connection that another one has opened */
    if (const BasicHttpRequest *request = RequestOf(easy);
        request && (!entry || entry->curl != easy))
        WatchPeer(request, descriptor);
    if (!entry) {
        AddSocket(state, descriptor, easy, what);
        return 0;
    }
    if (entry->curl == easy && entry->events == what)
        return 0;
    BasicHttpPollRemove(entry);
    entry->curl = easy;
    entry->events = what;
    BasicHttpPollAdd(entry);
    return 0;
}

int BasicHttpTimerCurlCallback(CURLM *, long timeoutMs, void *) {
    BasicHttpGlobalState *state = BasicHttpInsideCurl::Current();
    if (!state)
        return 0;
    RemoveTimer(state);
    if (timeoutMs < 0)
        return 0;
    state->hasTimer =
        pollCallbackProc(0, BasicHttpSocketPollCallback, TimerData(), POLL_REALTIME,
                         timeoutMs * kMicrosecondsPerMillisecond, nullptr, POLL_CLASS_MAIN) == 0;
    if (!state->hasTimer)
        Warning("BasicHTTP: The loop does not take libcurl's timer.\n");
    return 0;
}

void BasicHttpLeaveLoop(BasicHttpGlobalState *state) {
    while (BasicHttpSocketEntry *entry = state->sockets) {
        /* libcurl may report the socket again while it is shut down */
        curl_multi_assign(state->multi, entry->socket, nullptr);
        ForgetSocket(entry);
    }
    RemoveTimer(state);
    if (state->hasKick)
        pollCallbackRemoveProc(0, BasicHttpSocketPollCallback, nullptr, POLL_REALTIME,
                               POLL_CLASS_MAIN);
    state->hasKick = false;
}

curl_socket_t BasicHttpOpenSocketCurlCallback(void *data, curlsocktype, curl_sockaddr *address) {
    auto *request = static_cast<BasicHttpRequest *>(data);
    const int descriptor =
        socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    if (descriptor < 0) {
        Log("BasicHTTP: Failed to create socket of family: %d\ttype: %d\tprotocol: %d\n",
            address->family, address->socktype, address->protocol);
        return CURL_SOCKET_BAD;
    }
    request->numHandshakes = 0;
    if (request->settings.connectionTimeoutWorkaround)
        request->socket = descriptor;
    return descriptor;
}

int BasicHttpSetSockOpts(void *data, curl_socket_t descriptor, curlsocktype) {
    const auto *request = static_cast<BasicHttpRequest *>(data);
    WatchPeer(request, descriptor);
    if (!(request->settings.flags & BASICHTTP_REQUEST_NODELAY))
        return CURL_SOCKOPT_OK;
    const int on = 1;
    if (setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0)
        return CURL_SOCKOPT_OK;
    Log("BasicHttpSetSockOpts: Failed to set TCP_NODELAY.\n");
    return CURL_SOCKOPT_ERROR;
}
