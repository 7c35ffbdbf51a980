// Life of the transport, creation and end of requests.
#include "apps/lib/basicHttp/basicHttp.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "apps/lib/basicHttp/basicHttpInt.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"

BasicHttpGlobalState *curlGlobalState;
OrvanePollCallback pollCallbackProc;
OrvanePollCallbackRemove pollCallbackRemoveProc;
bool basicHttpTrace;
gint64 (*basicHttpNow)(void) = g_get_monotonic_time;

namespace {

constexpr guint kNumBuckets = 16;
constexpr gsize kDefaultMaxResponseSize = gsize(256) << 20;

constinit guint lastGeneration = 0;
constinit gsize maxResponseSize = kDefaultMaxResponseSize;
constinit BasicHttpGlobalState *drivenState = nullptr;

bool IsTraceWanted() {
    const char *value = secure_getenv("HALDEN_BASICHTTP_TRACE");
    return value && strcmp(value, "0") != 0;
}

/* Removes a request from the active table. A waiting one may be started then. */
void LeaveActive(BasicHttpRequest *request) {
    BasicHttpGlobalState *state = request->owner;
    if (!request->inActive || state->isTearingDown)
        return;
    HashTable_Delete(state->active, request);
    request->inActive = false;
    if (!g_queue_is_empty(&state->waiting) && BasicHttpHasCapacity(state))
        BasicHttpScheduleKick(state);
}

void DeferEnd(BasicHttpRequest *request) {
    if (request->isDeferred)
        return;
    request->isDeferred = true;
    request->owner->deferred.push_back(request);
}

bool IsInsideCurl(const BasicHttpRequest *request) {
    return request->owner && request->owner->curlDepth > 0;
}

/* Ends the requests that were cancelled or freed while libcurl ran. */
void EndDeferred(BasicHttpGlobalState *state) {
    while (!state->deferred.empty()) {
        BasicHttpRequest *request = state->deferred.back();
        state->deferred.pop_back();
        request->isDeferred = false;
        BasicHttpRemoveFromMulti(request);
        if (!request->isFreed || request->inActive)
            continue;
        BasicHttpFreeHandle(request);
        if (request->numHolds == 0)
            BasicHttpDestroyRequest(request);
    }
}

gint CollectRequest(gconstpointer, gpointer request, gpointer data) {
    static_cast<std::vector<BasicHttpRequest *> *>(data)->push_back(
        static_cast<BasicHttpRequest *>(request));
    return 0;
}

std::vector<BasicHttpRequest *> AllRequests(BasicHttpGlobalState *state) {
    std::vector<BasicHttpRequest *> all;
    HashTable_ForEach(state->active, CollectRequest, &all);
    for (GList *link = state->waiting.head; link; link = link->next)
        all.push_back(static_cast<BasicHttpRequest *>(link->data));
    return all;
}

BasicHttpGlobalState *AllocState(guint maxOutstandingRequests) {
    CURLM *multi = curl_multi_init();
    if (!multi)
        return nullptr;
    curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION, BasicHttpSocketCurlCallback);
    curl_multi_setopt(multi, CURLMOPT_SOCKETDATA, nullptr);
    curl_multi_setopt(multi, CURLMOPT_TIMERFUNCTION, BasicHttpTimerCurlCallback);
    curl_multi_setopt(multi, CURLMOPT_TIMERDATA, nullptr);
    curl_multi_setopt(multi, CURLMOPT_PIPELINING, CURLPIPE_NOTHING);

    auto *state = new BasicHttpGlobalState;
    state->multi = multi;
    state->active = HashTable_Alloc(kNumBuckets, HASHTABLE_INT, nullptr);
    state->maxOutstandingRequests = maxOutstandingRequests;
    return state;
}

void UnlinkWaiting(BasicHttpRequest *request) {
    if (!request->queued)
        return;
    g_queue_remove(&request->owner->waiting, request);
    request->queued = false;
}

BasicHttpRequest *LetOwnBody(BasicHttpRequest *request, BasicHttpSource *body) {
    if (request)
        request->ownsBody = true;
    else
        BasicHttp_FreeSource(body);
    return request;
}

} // namespace

BasicHttpInsideCurl::BasicHttpInsideCurl(BasicHttpGlobalState *now)
    : state(now), outer(drivenState) {
    state->curlDepth++;
    drivenState = state;
}

BasicHttpInsideCurl::~BasicHttpInsideCurl() {
    drivenState = outer;
    if (--state->curlDepth > 0 || state->isReleased)
        return;
    if (state->isTearingDown) {
        BasicHttpDestroyState(state);
        return;
    }
    EndDeferred(state);
    if (state->wantsKick) {
        state->wantsKick = false;
        BasicHttpScheduleKick(state);
    }
}

BasicHttpGlobalState *BasicHttpInsideCurl::Current() {
    return drivenState && !drivenState->isTearingDown ? drivenState : nullptr;
}

BasicHttpHold::BasicHttpHold(BasicHttpRequest *held) : request(held) {
    request->numHolds++;
}

BasicHttpHold::~BasicHttpHold() {
    if (--request->numHolds == 0 && request->isFreed && !request->isDeferred && !request->inActive)
        BasicHttpDestroyRequest(request);
}

gboolean BasicHttp_Init(OrvanePollCallback pollCallback,
                        OrvanePollCallbackRemove pollCallbackRemove) {
    return BasicHttp_InitEx(pollCallback, pollCallbackRemove, -1);
}

gboolean BasicHttp_InitEx(OrvanePollCallback pollCallback,
                          OrvanePollCallbackRemove pollCallbackRemove,
                          gint maxOutstandingRequests) {
    basicHttpTrace = IsTraceWanted();
    if (curlGlobalState)
        NOT_IMPLEMENTED();
    if (curl_global_init(CURL_GLOBAL_ALL) != CURLE_OK)
        return FALSE;

    curlGlobalState = AllocState(guint(maxOutstandingRequests));
    if (!curlGlobalState) {
        curl_global_cleanup();
        return FALSE;
    }
    pollCallbackProc = pollCallback;
    pollCallbackRemoveProc = pollCallbackRemove;
    lastGeneration++;
    return TRUE;
}

gboolean BasicHttp_IsInited() {
    return curlGlobalState != nullptr;
}

guint BasicHttp_GetGeneration() {
    return curlGlobalState ? lastGeneration : 0;
}

void BasicHttp_Shutdown() {
    BasicHttpGlobalState *state = curlGlobalState;
    if (!state)
        return;

    /* From here on no callback is registered with the loop, and no onSentProc is called. */
    state->isTearingDown = true;
    for (BasicHttpRequest *request : AllRequests(state)) {
        BasicHttpLeaveBandwidthGroup(request);
        BasicHttpFinishRequest(request, BASICHTTP_STATE_DONE);
        request->onSentProc = nullptr;
    }
    BasicHttpLeaveLoop(state);
    BasicHttpDeadline_Suspend();
    BasicHttpFreeDefaultCookieJar();
    curlGlobalState = nullptr;
    if (state->curlDepth == 0)
        BasicHttpDestroyState(state);
}

void BasicHttpDestroyState(BasicHttpGlobalState *state) {
    state->isReleased = true;
    EndDeferred(state);
    for (BasicHttpRequest *request : AllRequests(state)) {
        request->queued = false;
        request->inActive = false;
        BasicHttpRemoveFromMulti(request);
        BasicHttpFreeHandle(request);
        request->owner = nullptr; /* a held request outlives the state */
        BasicHttp_FreeRequest(request);
    }
    g_queue_clear(&state->waiting);
    HashTable_Free(state->active);
    curl_multi_cleanup(state->multi);
    curl_global_cleanup();
    delete state;
}

BasicHttpRequest *BasicHttp_CreateRequest(const char *url, BasicHttpMethod method,
                                          BasicHttpCookieJar *cookieJar, const char *header,
                                          const char *body) {
    return BasicHttp_CreateRequestWithSSL(url, method, cookieJar, header, body, nullptr, nullptr);
}

BasicHttpRequest *BasicHttp_CreateRequestWithSSL(const char *url, BasicHttpMethod method,
                                                 BasicHttpCookieJar *cookieJar, const char *header,
                                                 const char *body, const char *sslCAInfo,
                                                 const char *sslCAPath) {
    BasicHttpSource *source = body ? BasicHttp_AllocStringSource(body) : nullptr;
    return LetOwnBody(
        BasicHttp_CreateRequestEx(url, method, 0, cookieJar, header, source, sslCAInfo, sslCAPath),
        source);
}

BasicHttpRequest *BasicHttp_CreatePost(const char *url, BasicHttpCookieJar *cookieJar,
                                       BasicHttpSource *body) {
    return LetOwnBody(BasicHttp_CreateRequestEx(url, BASICHTTP_METHOD_POST, 0, cookieJar, nullptr,
                                                body, nullptr, nullptr),
                      body);
}

BasicHttpRequest *BasicHttp_CreateRequestEx(const char *url, BasicHttpMethod method, guint32 flags,
                                            BasicHttpCookieJar *cookieJar, const char *header,
                                            BasicHttpSource *body, const char *sslCAInfo,
                                            const char *sslCAPath) {
    if (!url || guint(method) > guint(BASICHTTP_METHOD_PUT))
        return nullptr;

    auto *request = new BasicHttpRequest{};
    request->url = url;
    request->settings.method = method;
    request->settings.flags = flags;
    request->cookieJar = BasicHttpHoldCookieJar(
        cookieJar == BASICHTTP_DEFAULT_COOKIE_JAR ? BasicHttpDefaultCookieJar() : cookieJar);
    request->body = body;
    request->recvContentInfo = {-1, -1, 0, -1};
    request->settings.isRepeatable =
        method == BASICHTTP_METHOD_GET || method == BASICHTTP_METHOD_HEAD;
    request->socket = CURL_SOCKET_BAD;
    request->settings.maxResponseSize = maxResponseSize;
    DynBuf_Init(&request->receiveBuffer);
    BasicHttp_SetSslAuthorities(request, sslCAInfo, sslCAPath);

    if (header && *header && !BasicHttp_AppendRequestHeader(request, header)) {
        BasicHttp_FreeRequest(request);
        return nullptr;
    }
    if (const char *proxy = secure_getenv("HALDEN_HTTPSPROXY"))
        BasicHttp_SetProxy(request, proxy, BASICHTTP_PROXY_HTTP);
    return request;
}

bool BasicHttpHasCapacity(const BasicHttpGlobalState *state) {
    return HashTable_GetNumElements(state->active) < state->maxOutstandingRequests;
}

gboolean BasicHttp_SendRequest(BasicHttpRequest *request, BasicHttpOnSentProc onSent,
                               gpointer clientData) {
    return BasicHttp_SendRequestEx(request, 0, nullptr, nullptr, onSent, clientData);
}

gboolean BasicHttp_SendRequestEx(BasicHttpRequest *request, guint32 options,
                                 BasicHttpProgressProc sendProgress,
                                 BasicHttpProgressProc recvProgress, BasicHttpOnSentProc onSent,
                                 gpointer clientData) {
    BasicHttpGlobalState *state = curlGlobalState;
    if (!request || !onSent || !state || request->state != BASICHTTP_STATE_IDLE || request->queued)
        return FALSE;

    request->options = options;
    request->sendProgressProc = sendProgress;
    request->recvProgressProc = recvProgress;
    request->onSentProc = onSent;
    request->clientData = clientData;
    request->lastProgressTime = basicHttpNow();
    request->owner = state;
    LeaveActive(request); /* a failed start leaves it there */
    if (state->curlDepth == 0 && BasicHttpHasCapacity(state))
        return BasicHttpStartRequest(request);

    g_queue_push_tail(&state->waiting, request);
    request->queued = true;
    if (state->curlDepth > 0)
        state->wantsKick = true;
    return TRUE;
}

void BasicHttpRemoveFromMulti(BasicHttpRequest *request) {
    if (!request->inMulti)
        return;
    request->inMulti = false;
    BasicHttpInsideCurl inside(request->owner);
    curl_multi_remove_handle(request->owner->multi, request->curl);
}

void BasicHttp_CancelRequest(BasicHttpRequest *request) {
    if (!request)
        return;
    UnlinkWaiting(request);
    if (request->inMulti && IsInsideCurl(request))
        DeferEnd(request);
    else if (request->inMulti)
        BasicHttpRemoveFromMulti(request);
    BasicHttpLeaveBandwidthGroup(request);
    BasicHttpFinishRequest(request, BASICHTTP_STATE_DONE);
}

void BasicHttp_FreeRequest(BasicHttpRequest *request) {
    if (!request)
        return;
    BasicHttp_CancelRequest(request);
    LeaveActive(request);
    request->isFreed = true;
    if (!request->isDeferred && !request->inActive && request->numHolds == 0)
        return BasicHttpDestroyRequest(request);

    /* libcurl or a caller of this function still uses the request. What belongs to the application may be gone. */
    request->onSentProc = nullptr;
    if (!request->ownsBody)
        request->body = nullptr;
}

void BasicHttpDestroyRequest(BasicHttpRequest *request) {
    BasicHttpDeadline_Clear(&request->deadline);
    BasicHttpFreeHandle(request);
    BasicHttpFreeRequestHeaders(request);
    curl_slist_free_all(request->responseHeaders);
    DynBuf_Destroy(&request->receiveBuffer);
    if (request->ownsBody)
        BasicHttp_FreeSource(request->body);
    BasicHttp_FreeCookieJar(request->cookieJar);
    delete request;
}

gboolean BasicHttp_GetState(BasicHttpRequest *request, BasicHttpState *state) {
    if (!request || !state)
        return FALSE;
    BasicHttpUpdateSendState(request);
    *state = request->state;
    return TRUE;
}

gboolean BasicHttp_GetResponseCode(BasicHttpRequest *request, long *code) {
    if (!request || !code || !request->curl)
        return FALSE;
    return curl_easy_getinfo(request->curl, CURLINFO_RESPONSE_CODE, code) == CURLE_OK;
}

gboolean BasicHttp_GetEffectiveURL(BasicHttpRequest *request, const char **url) {
    if (!request || !url || !request->curl)
        return FALSE;
    char *text = nullptr;
    if (curl_easy_getinfo(request->curl, CURLINFO_EFFECTIVE_URL, &text) != CURLE_OK)
        return FALSE;
    *url = text;
    return TRUE;
}

void BasicHttp_SetMaxResponseSize(gsize bytes) {
    maxResponseSize = bytes;
}

void BasicHttp_SetRequestMaxResponseSize(BasicHttpRequest *request, gsize bytes) {
    request->settings.maxResponseSize = bytes;
}
