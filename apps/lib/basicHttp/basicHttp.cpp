// Life of the transport, creation and end of requests, and their settings.
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
constexpr long kMaxKeptConnections = 32;
constexpr gsize kDefaultMaxResponseSize = gsize(256) << 20;

constinit guint lastGeneration = 0;
constinit gsize maxResponseSize = kDefaultMaxResponseSize;
constinit BasicHttpGlobalState *drivenState = nullptr;

bool BasicHttpIsTraceWanted() {
    const char *value = secure_getenv("HALDEN_BASICHTTP_TRACE");
    return value && strcmp(value, "0") != 0;
}

void BasicHttpReplace(char **field, const char *text) {
    char *copy = g_strdup(text);
    g_free(*field);
    *field = copy;
}

/* Replaces a field; an empty text counts as none. */
void BasicHttpReplaceNonEmpty(char **field, const char *text) {
    BasicHttpReplace(field, text && *text ? text : nullptr);
}

void BasicHttpReplaceSecret(char **field, const char *text) {
    char *copy = g_strdup(text);
    if (*field)
        explicit_bzero(*field, strlen(*field));
    g_free(*field);
    *field = copy;
}

/* Takes a request out of the table, which may let a waiting one in. */
void BasicHttpLeaveActive(BasicHttpRequest *request) {
    BasicHttpGlobalState *state = request->owner;
    if (!request->inActive || state->isTearingDown)
        return;
    HashTable_Delete(state->active, request);
    request->inActive = false;
    if (!g_queue_is_empty(&state->waiting) && BasicHttpHasCapacity(state))
        BasicHttpScheduleKick(state);
}

void BasicHttpDefer(BasicHttpRequest *request) {
    if (request->isDeferred)
        return;
    request->isDeferred = true;
    request->owner->deferred.push_back(request);
}

bool BasicHttpIsInsideCurl(const BasicHttpRequest *request) {
    return request->owner && request->owner->curlDepth > 0;
}

/* Ends what was asked to end while libcurl ran. */
void BasicHttpEndDeferred(BasicHttpGlobalState *state) {
    while (!state->deferred.empty()) {
        BasicHttpRequest *request = state->deferred.back();
        state->deferred.pop_back();
        request->isDeferred = false;
        BasicHttpRemoveFromMulti(request);
        if (!request->isFreed || request->inActive)
            continue;
        BasicHttpReleaseHandle(state, request);
        if (request->numHolds == 0)
            BasicHttpDestroyRequest(request);
    }
}

gint BasicHttpCollectRequest(gconstpointer, gpointer request, gpointer data) {
    static_cast<std::vector<BasicHttpRequest *> *>(data)->push_back(
        static_cast<BasicHttpRequest *>(request));
    return 0;
}

std::vector<BasicHttpRequest *> BasicHttpAllRequests(BasicHttpGlobalState *state) {
    std::vector<BasicHttpRequest *> all;
    HashTable_ForEach(state->active, BasicHttpCollectRequest, &all);
    for (GList *link = state->waiting.head; link; link = link->next)
        all.push_back(static_cast<BasicHttpRequest *>(link->data));
    return all;
}

BasicHttpGlobalState *BasicHttpAllocState(guint maxOutstandingRequests) {
    CURLM *multi = curl_multi_init();
    if (!multi)
        return nullptr;
    curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION, BasicHttpSocketCurlCallback);
    curl_multi_setopt(multi, CURLMOPT_SOCKETDATA, nullptr);
    curl_multi_setopt(multi, CURLMOPT_TIMERFUNCTION, BasicHttpTimerCurlCallback);
    curl_multi_setopt(multi, CURLMOPT_TIMERDATA, nullptr);
    /* By itself libcurl keeps four for each request that runs, and closes the rest of a burst's. */
    curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, kMaxKeptConnections);

    auto *state = new BasicHttpGlobalState;
    state->multi = multi;
    state->active = HashTable_Alloc(kNumBuckets, HASHTABLE_INT, nullptr);
    state->maxOutstandingRequests = maxOutstandingRequests;
    return state;
}

void BasicHttpUnlinkWaiting(BasicHttpRequest *request) {
    if (!request->queued)
        return;
    g_queue_remove(&request->owner->waiting, request);
    request->queued = false;
}

BasicHttpRequest *BasicHttpOwnBody(BasicHttpRequest *request, BasicHttpSource *body) {
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
    BasicHttpEndDeferred(state);
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
    basicHttpTrace = BasicHttpIsTraceWanted();
    if (curlGlobalState)
        NOT_IMPLEMENTED();
    if (curl_global_init(CURL_GLOBAL_ALL) != CURLE_OK)
        return FALSE;

    curlGlobalState = BasicHttpAllocState(guint(maxOutstandingRequests));
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

    /* From here on nothing of the old transport reaches the loop or an onSentProc. */
    state->isTearingDown = true;
    for (BasicHttpRequest *request : BasicHttpAllRequests(state)) {
        BasicHttpFinishRequest(request, BASICHTTP_STATE_DONE);
        request->onSentProc = nullptr;
    }
    BasicHttpLeaveLoop(state);
    BasicHttpFreeDefaultCookieJar();
    curlGlobalState = nullptr;
    if (state->curlDepth == 0)
        BasicHttpDestroyState(state);
}

void BasicHttpDestroyState(BasicHttpGlobalState *state) {
    state->isReleased = true;
    BasicHttpEndDeferred(state);
    for (BasicHttpRequest *request : BasicHttpAllRequests(state)) {
        request->queued = false;
        request->inActive = false;
        BasicHttpRemoveFromMulti(request);
        BasicHttpReleaseHandle(state, request);
        request->owner = nullptr; /* one that is held outlives the state */
        BasicHttp_FreeRequest(request);
    }
    g_queue_clear(&state->waiting);
    HashTable_Free(state->active);
    for (const auto &handles : {state->idleHandles, state->plainHandles, state->guardedHandles})
        std::ranges::for_each(handles, curl_easy_cleanup);
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
    return BasicHttpOwnBody(
        BasicHttp_CreateRequestEx(url, method, 0, cookieJar, header, source, sslCAInfo, sslCAPath),
        source);
}

BasicHttpRequest *BasicHttp_CreatePost(const char *url, BasicHttpCookieJar *cookieJar,
                                       BasicHttpSource *body) {
    return BasicHttpOwnBody(BasicHttp_CreateRequestEx(url, BASICHTTP_METHOD_POST, 0, cookieJar,
                                                      nullptr, body, nullptr, nullptr),
                            body);
}

BasicHttpRequest *BasicHttp_CreateRequestEx(const char *url, BasicHttpMethod method, guint32 flags,
                                            BasicHttpCookieJar *cookieJar, const char *header,
                                            BasicHttpSource *body, const char *sslCAInfo,
                                            const char *sslCAPath) {
    if (!url || guint(method) > guint(BASICHTTP_METHOD_PUT))
        return nullptr;

    auto *request = new BasicHttpRequest{};
    request->url = g_strdup(url);
    request->method = method;
    request->flags = flags;
    request->cookieJar = BasicHttpHoldCookieJar(
        cookieJar == BASICHTTP_DEFAULT_COOKIE_JAR ? BasicHttpDefaultCookieJar() : cookieJar);
    request->body = body;
    request->recvContentInfo = {-1, -1, 0, -1};
    request->connectionTimeoutWorkaround = true;
    request->isRepeatable = method == BASICHTTP_METHOD_GET || method == BASICHTTP_METHOD_HEAD;
    request->socket = CURL_SOCKET_BAD;
    request->maxResponseSize = maxResponseSize;
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
    BasicHttpLeaveActive(request); /* where a start that failed has left it */
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
    BasicHttpUnlinkWaiting(request);
    if (request->inMulti && BasicHttpIsInsideCurl(request))
        BasicHttpDefer(request);
    else if (request->inMulti)
        BasicHttpRemoveFromMulti(request);
    BasicHttpFinishRequest(request, BASICHTTP_STATE_DONE);
}

void BasicHttp_FreeRequest(BasicHttpRequest *request) {
    if (!request)
        return;
    BasicHttp_CancelRequest(request);
    BasicHttpLeaveActive(request);
    request->isFreed = true;
    if (!request->isDeferred && !request->inActive && request->numHolds == 0)
        return BasicHttpDestroyRequest(request);

    /* libcurl, or a function of ours further up, still has it: nothing of the caller's may be used. */
    request->onSentProc = nullptr;
    if (!request->ownsBody)
        request->body = nullptr;
}

void BasicHttpDestroyRequest(BasicHttpRequest *request) {
    BasicHttpReleaseHandle(request->owner, request);
    for (char *text : {request->url, request->userAgent, request->userName, request->proxy,
                       request->proxyUserName, request->noProxy, request->sslCAInfo,
                       request->sslCAPath, request->sslCrlFile})
        g_free(text);
    BasicHttpReplaceSecret(&request->userPassword, nullptr);
    BasicHttpReplaceSecret(&request->proxyPassword, nullptr);
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

void BasicHttp_SetUserAgent(BasicHttpRequest *request, const char *text) {
    if (text && BasicHttpHasLineBreak(text)) {
        Warning("BasicHTTP: A user agent with a line break is refused.\n");
        return;
    }
    BasicHttpReplace(&request->userAgent, text);
}

void BasicHttp_SetNoProxy(BasicHttpRequest *request, const char *text) {
    BasicHttpReplace(&request->noProxy, text);
}

void BasicHttp_SetSslCrlFilePath(BasicHttpRequest *request, const char *file) {
    BasicHttpReplaceNonEmpty(&request->sslCrlFile, file);
}

void BasicHttp_SetSslManualVerification(BasicHttpRequest *request, gboolean value) {
    request->sslManualVerification = value;
}

void BasicHttp_SetSslCtxProc(BasicHttpRequest *request, BasicHttpSslCtxProc proc) {
    request->sslCtxProc = proc;
}

void BasicHttp_SetSslAuthorities(BasicHttpRequest *request, const char *sslCAInfo,
                                 const char *sslCAPath) {
    BasicHttpReplaceNonEmpty(&request->sslCAInfo, sslCAInfo);
    BasicHttpReplaceNonEmpty(&request->sslCAPath, sslCAPath);
}

void BasicHttp_SetSslVerification(BasicHttpRequest *request, gboolean value) {
    request->sslVerification = value;
}

void BasicHttp_SetConnectedProc(BasicHttpRequest *request, BasicHttpConnectedProc proc) {
    request->connectedProc = proc;
}

void BasicHttp_SetStrict(BasicHttpRequest *request, gboolean value) {
    request->isStrict = value;
}

void BasicHttp_SetRepeatable(BasicHttpRequest *request, gboolean value) {
    request->isRepeatable = value;
}

void BasicHttp_SetFreshConnection(BasicHttpRequest *request) {
    request->freshConnection = true;
}

void BasicHttp_ForbidReuse(BasicHttpRequest *request) {
    request->forbidReuse = true;
}

void BasicHttp_SetConnectTimeout(BasicHttpRequest *request, guint seconds) {
    request->connectTimeout = seconds;
}

void BasicHttp_DisableConnectionTimeoutWorkaround(BasicHttpRequest *request) {
    request->connectionTimeoutWorkaround = false;
}

void BasicHttp_SetProxy(BasicHttpRequest *request, const char *proxy, gint type) {
    BasicHttpReplace(&request->proxy, type == BASICHTTP_PROXY_NONE ? "" : proxy);
    request->proxyType = type;
    request->proxyAuth = 0;
    BasicHttpReplace(&request->proxyUserName, nullptr);
    BasicHttpReplaceSecret(&request->proxyPassword, nullptr);
}

void BasicHttp_SetRequestNameAndPassword(BasicHttpRequest *request, gint authType, const char *name,
                                         const char *password) {
    if (authType < 0)
        return;
    const bool isWhole = name && password;
    request->authType = authType;
    BasicHttpReplace(&request->userName, isWhole ? name : nullptr);
    BasicHttpReplaceSecret(&request->userPassword, isWhole ? password : nullptr);
}

void BasicHttp_SetInactivityTimeout(BasicHttpRequest *request, gint kind, guint seconds) {
    if (request->state != BASICHTTP_STATE_IDLE)
        return;
    switch (kind) {
    case BASICHTTP_TIMEOUT_SENDING:
        request->inactivityTimeoutSending = seconds;
        return;
    case BASICHTTP_TIMEOUT_SENT:
        request->inactivityTimeoutSent = seconds;
        return;
    case BASICHTTP_TIMEOUT_RECEIVING:
        request->inactivityTimeoutReceiving = seconds;
        return;
    }
    NOT_IMPLEMENTED();
}

void BasicHttp_SetMaxResponseSize(gsize bytes) {
    maxResponseSize = bytes;
}

void BasicHttp_SetRequestMaxResponseSize(BasicHttpRequest *request, gsize bytes) {
    request->maxResponseSize = bytes;
}
