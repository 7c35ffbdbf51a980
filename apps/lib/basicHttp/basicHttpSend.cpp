// A request is started: an easy handle gets its options, in groups that depend on nothing but order.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "lib/misc/log.h"
#include "lib/misc/panic.h"

namespace {

constexpr char kDefaultUserAgent[] = "Halden-client";
constexpr char kProtocols[] = "http,https";
constexpr char kSafeProtocols[] = "https";
constexpr long kMaxRedirects = 10;
constexpr long kWorkaroundConnectTimeout = 60; /* seconds */
/* Handles kept for later requests; more than so many seldom run at once. */
constexpr size_t kMaxIdleHandles = 16;
/* libcurl sends a body of up to this size together with the headers, in one piece. */
constexpr gsize kMaxJoinedBody = 64 * 1024 - 1;

/* Sets options of an easy handle until one fails. */
struct BasicHttpOptions {
    CURL *curl;
    CURLcode result = CURLE_OK;

    template <class T> void Set(CURLoption option, T value) {
        if (result == CURLE_OK)
            result = curl_easy_setopt(curl, option, value);
    }
    /* Leaves libcurl's default where there is no text. */
    void SetText(CURLoption option, const char *text) {
        if (text)
            Set(option, text);
    }
};

long BasicHttpCurlAuth(gint authType) {
    switch (authType) {
    case BASICHTTP_AUTH_BASIC:
        return long(CURLAUTH_BASIC);
    case BASICHTTP_AUTH_DIGEST:
        return long(CURLAUTH_DIGEST);
    case BASICHTTP_AUTH_NTLM:
        return long(CURLAUTH_NTLM);
    }
    return long(CURLAUTH_ANY);
}

/* What began encrypted stays so. */
void BasicHttpSetPlace(BasicHttpOptions *options, BasicHttpRequest *request) {
    options->Set(CURLOPT_URL, request->url);
    options->Set(CURLOPT_REDIR_PROTOCOLS_STR,
                 BasicHttpIsHttpsUrl(request->url) ? kSafeProtocols : kProtocols);
}

void BasicHttpSetUrl(BasicHttpOptions *options, BasicHttpRequest *request) {
    const BasicHttpZone split = BasicHttpTakeZone(request->url);
    if (!split.zone.empty()) {
        g_free(request->url);
        request->url = g_strdup(split.url.c_str());
        long scope = 0;
        const char *end = split.zone.data() + split.zone.size();
        const auto read = std::from_chars(split.zone.data(), end, scope);
        if (read.ec == std::errc() && read.ptr == end)
            options->Set(CURLOPT_ADDRESS_SCOPE, scope);
        else
            options->Set(CURLOPT_INTERFACE, split.zone.c_str());
    }
    BasicHttpSetPlace(options, request);
    options->Set(CURLOPT_DEFAULT_PROTOCOL, "http");
    options->Set(CURLOPT_PROTOCOLS_STR, kProtocols);
    options->Set(CURLOPT_MAXREDIRS, kMaxRedirects);
}

void BasicHttpSetConnection(BasicHttpOptions *options, BasicHttpRequest *request) {
    if (request->freshConnection) {
        options->Set(CURLOPT_FRESH_CONNECT, 1L);
        request->freshConnection = false;
    }
    if (request->forbidReuse)
        options->Set(CURLOPT_FORBID_REUSE, 1L);
}

void BasicHttpSetTls(BasicHttpOptions *options, BasicHttpRequest *request) {
    if (options->result == CURLE_OK)
        options->result = BasicHttpSetTlsOptions(options->curl, request);
}

void BasicHttpSetBehaviour(BasicHttpOptions *options, BasicHttpRequest *request) {
    options->Set(CURLOPT_FOLLOWLOCATION, 1L);
    options->Set(CURLOPT_POSTREDIR, long(CURL_REDIR_POST_301));
    options->Set(CURLOPT_NOSIGNAL, 1L);
    options->Set(CURLOPT_SOCKOPTFUNCTION, BasicHttpSetSockOpts);
    if (request->flags & BASICHTTP_REQUEST_TUNNEL)
        options->Set(CURLOPT_HTTPPROXYTUNNEL, 1L);
    /* What a proxy says while it opens a tunnel is not the response. */
    options->Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
}

void BasicHttpSetIdentity(BasicHttpOptions *options, BasicHttpRequest *request) {
    if (request->authType != 0 && request->userName && request->userPassword) {
        options->Set(CURLOPT_USERNAME, request->userName);
        options->Set(CURLOPT_PASSWORD, request->userPassword);
        options->Set(CURLOPT_HTTPAUTH, BasicHttpCurlAuth(request->authType));
    }
    options->Set(CURLOPT_USERAGENT, request->userAgent ? request->userAgent : kDefaultUserAgent);
}

/* The share that a jar is, and the cookie that it starts with. */
void BasicHttpSetJar(BasicHttpOptions *options, BasicHttpRequest *request) {
    BasicHttpCookieJar *jar = request->cookieJar;
    if (jar->share)
        options->Set(CURLOPT_SHARE, jar->share);
    if (!jar->initialCookie)
        return;
    const std::string line = BasicHttpBindCookie(jar->initialCookie, request->url);
    if (!line.empty())
        options->Set(CURLOPT_COOKIELIST, line.c_str());
    BasicHttp_SetInitialCookie(jar, nullptr);
}

void BasicHttpSetCookies(BasicHttpOptions *options, BasicHttpRequest *request) {
    BasicHttpCookieJar *jar = request->cookieJar;
    if (!jar) {
        options->Set(CURLOPT_COOKIEFILE, "");
        return;
    }
    if (!jar->share && !jar->fileName)
        NOT_REACHED();
    if (jar->isNewSession) {
        options->Set(CURLOPT_COOKIESESSION, 1L);
        jar->isNewSession = false;
    }
    options->Set(CURLOPT_COOKIEFILE, jar->share ? "" : jar->fileName);
    options->SetText(CURLOPT_COOKIEJAR, jar->fileName);
    BasicHttpSetJar(options, request);
}

void BasicHttpSetProxyOptions(BasicHttpOptions *options, BasicHttpRequest *request) {
    switch (request->proxyType) {
    case BASICHTTP_PROXY_NONE:
        break;
    case BASICHTTP_PROXY_HTTP:
        options->Set(CURLOPT_PROXYTYPE, long(CURLPROXY_HTTP));
        if (!(request->flags & BASICHTTP_REQUEST_TUNNEL))
            options->Set(CURLOPT_FRESH_CONNECT, 1L);
        break;
    case BASICHTTP_PROXY_SOCKS4:
        options->Set(CURLOPT_PROXYTYPE, long(CURLPROXY_SOCKS4));
        break;
    default:
        NOT_IMPLEMENTED();
    }
    options->SetText(CURLOPT_PROXY, request->proxy);
    options->SetText(CURLOPT_NOPROXY, request->noProxy);
    if (request->proxyAuth != 0 && request->proxyUserName && request->proxyPassword) {
        options->Set(CURLOPT_PROXYUSERNAME, request->proxyUserName);
        options->Set(CURLOPT_PROXYPASSWORD, request->proxyPassword);
        options->Set(CURLOPT_PROXYAUTH, BasicHttpCurlAuth(request->proxyAuth));
    }
}

void BasicHttpSetTrace(BasicHttpOptions *options, BasicHttpRequest *request) {
    if (!basicHttpTrace)
        return;
    options->Set(CURLOPT_VERBOSE, 1L);
    options->Set(CURLOPT_DEBUGFUNCTION, BasicHttpDebugCurlCallback);
    options->Set(CURLOPT_DEBUGDATA, request);
}

/* A short body of our own that nobody watches needs no read callback: libcurl then sends it with the
 * headers in one piece, which saves a call of the system and a turn of the loop. */
const BasicHttpMemorySource *BasicHttpJoinableBody(const BasicHttpRequest *request) {
    if (!request->ownsBody || request->sendProgressProc || request->bandwidthGroup)
        return nullptr;
    const BasicHttpMemorySource *memory = BasicHttpMemoryOf(request->body);
    return memory && memory->length <= kMaxJoinedBody ? memory : nullptr;
}

void BasicHttpSetPostBody(BasicHttpOptions *options, BasicHttpRequest *request) {
    options->Set(CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(BasicHttpBodyLength(request)));
    if (const BasicHttpMemorySource *memory = BasicHttpJoinableBody(request))
        options->Set(CURLOPT_POSTFIELDS, memory->data);
}

void BasicHttpSetMethod(BasicHttpOptions *options, BasicHttpRequest *request) {
    switch (request->method) {
    case BASICHTTP_METHOD_GET:
        options->Set(CURLOPT_HTTPGET, 1L);
        break;
    case BASICHTTP_METHOD_POST:
        options->Set(CURLOPT_POST, 1L);
        BasicHttpSetPostBody(options, request);
        break;
    case BASICHTTP_METHOD_HEAD:
        options->Set(CURLOPT_NOBODY, 1L);
        break;
    case BASICHTTP_METHOD_DELETE:
        options->Set(CURLOPT_HTTPGET, 1L);
        options->Set(CURLOPT_CUSTOMREQUEST, "DELETE");
        break;
    case BASICHTTP_METHOD_PUT:
        options->Set(CURLOPT_UPLOAD, 1L);
        options->Set(CURLOPT_INFILESIZE_LARGE, curl_off_t(BasicHttpBodyLength(request)));
        break;
    }
    if (curl_slist *headers = BasicHttpRequestHeaders(request))
        options->Set(CURLOPT_HTTPHEADER, headers);
}

void BasicHttpSetCallbackData(BasicHttpOptions *options, BasicHttpRequest *request) {
    for (CURLoption option :
         {CURLOPT_HEADERDATA, CURLOPT_READDATA, CURLOPT_WRITEDATA, CURLOPT_IOCTLDATA,
          CURLOPT_PRIVATE, CURLOPT_SOCKOPTDATA, CURLOPT_OPENSOCKETDATA, CURLOPT_PREREQDATA})
        options->Set(option, request);
    if (request->sslCtxProc)
        options->Set(CURLOPT_SSL_CTX_DATA, request);
}

void BasicHttpSetCallbacks(BasicHttpOptions *options, BasicHttpRequest *request) {
    options->Set(CURLOPT_HEADERFUNCTION, BasicHttpHeaderCallback);
    options->Set(CURLOPT_READFUNCTION, BasicHttpReadCallback);
    options->Set(CURLOPT_WRITEFUNCTION, BasicHttpWriteCallback);
    options->Set(CURLOPT_IOCTLFUNCTION, BasicHttpIoctlCallback);
    options->Set(CURLOPT_PREREQFUNCTION, BasicHttpPrereqCurlCallback);
    BasicHttpSetCallbackData(options, request);
}

/* libcurl opens sockets that children would inherit, so ours is used in either case. */
void BasicHttpSetConnectTimeout(BasicHttpOptions *options, BasicHttpRequest *request) {
    options->Set(CURLOPT_OPENSOCKETFUNCTION, BasicHttpOpenSocketCurlCallback);
    options->Set(CURLOPT_CONNECTTIMEOUT, request->connectionTimeoutWorkaround
                                             ? kWorkaroundConnectTimeout
                                             : long(request->connectTimeout));
}

void BasicHttpSetAll(BasicHttpOptions *options, BasicHttpRequest *request) {
    for (auto set :
         {BasicHttpSetUrl, BasicHttpSetConnection, BasicHttpSetTls, BasicHttpSetBehaviour,
          BasicHttpSetIdentity, BasicHttpSetCookies, BasicHttpSetProxyOptions, BasicHttpSetTrace,
          BasicHttpSetMethod, BasicHttpSetCallbacks, BasicHttpSetConnectTimeout})
        set(options, request);
}

/* A session's calls differ in little but their bodies: posts without a proxy, through a shared jar. What
 * all such have in common is left in the handles that they have used. */
bool BasicHttpIsPlainCall(const BasicHttpRequest *request) {
    const bool isSpecial = request->freshConnection || request->forbidReuse ||
                           request->authType != 0 || request->sslManualVerification ||
                           request->sslVerification || request->sslCAInfo || request->sslCAPath ||
                           request->noProxy || !request->sslCtxProc != !request->connectedProc ||
                           (request->flags & BASICHTTP_REQUEST_TUNNEL) ||
                           !request->connectionTimeoutWorkaround || basicHttpTrace;
    const BasicHttpCookieJar *jar = request->cookieJar;
    return request->method == BASICHTTP_METHOD_POST && !isSpecial && jar && jar->share &&
           !jar->isNewSession && request->proxy && request->proxyType == BASICHTTP_PROXY_NONE &&
           BasicHttpJoinableBody(request) && !strchr(request->url, '%');
}

/* What a handle of a plain call needs for another: all that BasicHttpIsPlainCall() leaves open. */
void BasicHttpSetPlainCall(BasicHttpOptions *options, BasicHttpRequest *request) {
    BasicHttpSetPlace(options, request);
    BasicHttpSetIdentity(options, request);
    BasicHttpSetJar(options, request);
    BasicHttpSetPostBody(options, request);
    options->Set(CURLOPT_HTTPHEADER, BasicHttpRequestHeaders(request));
    BasicHttpSetCallbackData(options, request);
}

std::vector<CURL *> *BasicHttpKeptHandles(BasicHttpGlobalState *state,
                                          const BasicHttpRequest *request) {
    if (!request->isPlainCall)
        return &state->idleHandles;
    return request->sslCtxProc ? &state->guardedHandles : &state->plainHandles;
}

CURL *BasicHttpTake(std::vector<CURL *> *handles) {
    if (handles->empty())
        return nullptr;
    CURL *handle = handles->back();
    handles->pop_back();
    return handle;
}

/* Gives the request a handle with all its options. */
bool BasicHttpSetUp(BasicHttpGlobalState *state, BasicHttpRequest *request) {
    request->isPlainCall = BasicHttpIsPlainCall(request);
    request->keepsHandle = !request->cookieJar || request->cookieJar->share;
    request->curl =
        request->isPlainCall ? BasicHttpTake(BasicHttpKeptHandles(state, request)) : nullptr;
    const bool isPrepared = request->curl != nullptr;
    if (!isPrepared)
        request->curl = BasicHttpTake(&state->idleHandles);
    if (!request->curl)
        request->curl = curl_easy_init();
    if (!request->curl)
        return false;

    BasicHttpOptions options{request->curl};
    if (isPrepared)
        BasicHttpSetPlainCall(&options, request);
    else
        BasicHttpSetAll(&options, request);
    if (options.result != CURLE_OK)
        Warning("BasicHTTP: Request %p could not be set up: %s\n", static_cast<void *>(request),
                curl_easy_strerror(options.result));
    return options.result == CURLE_OK;
}

/* The end of a start that failed; it may be tried again. */
bool BasicHttpFailStart(BasicHttpRequest *request) {
    BasicHttpFinishRequest(request, BASICHTTP_STATE_IDLE);
    request->keepsHandle = false;
    BasicHttpReleaseHandle(request->owner, request);
    return false;
}

bool BasicHttpAddToMulti(BasicHttpGlobalState *state, BasicHttpRequest *request) {
    request->inActive = true;
    HashTable_Insert(state->active, request, request);
    BasicHttpInsideCurl inside(state);
    request->inMulti = curl_multi_add_handle(state->multi, request->curl) == CURLM_OK;
    return request->inMulti;
}

} // namespace

bool BasicHttpStartRequest(BasicHttpRequest *request) {
    BasicHttpGlobalState *state = request->owner;
    request->state = BASICHTTP_STATE_SENDING;
    if (!BasicHttpSetUp(state, request))
        return BasicHttpFailStart(request);

    BasicHttpStartConnectionTimeout(request);
    request->lastActivityTime = basicHttpNow();
    BasicHttpStartInactivityTimeout(request);
    if (!BasicHttpAddToMulti(state, request))
        return BasicHttpFailStart(request);

    BasicHttpTraceSending(request);
    /* While others are still to hear of their ends, libcurl's timer, or the start made by the last of
     * them, sends for all: requests that leave together wake the server once. */
    if (state->numCompletions == 0)
        BasicHttpRunEngine(BasicHttpWake::kStarted, CURL_SOCKET_BAD);
    return true; /* the request may have been freed meanwhile */
}

void BasicHttpReleaseHandle(BasicHttpGlobalState *state, BasicHttpRequest *request) {
    CURL *handle = request->curl;
    request->curl = nullptr;
    if (!handle)
        return;
    std::vector<CURL *> *kept = BasicHttpKeptHandles(state, request);
    if (!request->keepsHandle || state->isTearingDown || kept->size() >= kMaxIdleHandles) {
        curl_easy_cleanup(handle); /* this writes a cookie file */
        return;
    }
    if (request->cookieJar)
        curl_easy_setopt(handle, CURLOPT_SHARE, nullptr);
    if (!request->isPlainCall) {
        curl_easy_setopt(handle, CURLOPT_COOKIEFILE, nullptr); /* a reset keeps cookies */
        curl_easy_reset(handle);
    }
    kept->push_back(handle);
}
