// The start of a request: the options of its easy handle are set, group by group, in a fixed order.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "lib/misc/log.h"
#include "lib/misc/panic.h"

namespace {

constexpr char kProtocols[] = "http,https";
constexpr char kSafeProtocols[] = "https";
constexpr long kMaxRedirects = 10;
constexpr long kWorkaroundConnectTimeout = 60; /* seconds */
/* libcurl sends a body of up to this size in one piece with the headers. */
constexpr gsize kMaxJoinedBody = 64 * 1024 - 1;

/* Sets options of an easy handle until one fails. */
struct CurlOptions {
    CURL *curl;
    CURLcode result = CURLE_OK;

    template <class T> void Set(CURLoption option, T value) {
        if (result == CURLE_OK)
            result = curl_easy_setopt(curl, option, value);
    }
    /* Keeps libcurl's default if the text is NULL. */
    void SetText(CURLoption option, const char *text) {
        if (text)
            Set(option, text);
    }
};

long CurlAuth(gint authType) {
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

/* A request that begins as https is redirected to https only. */
void SetPlace(CurlOptions *options, BasicHttpRequest *request) {
    options->Set(CURLOPT_URL, request->url.c_str());
    options->Set(CURLOPT_REDIR_PROTOCOLS_STR,
                 BasicHttpIsHttpsUrl(request->url.c_str()) ? kSafeProtocols : kProtocols);
}

void SetUrl(CurlOptions *options, BasicHttpRequest *request) {
    const std::string &zone = request->settings.zone;
    if (!zone.empty()) {
        long scope = 0;
        const char *end = zone.data() + zone.size();
        const auto read = std::from_chars(zone.data(), end, scope);
        if (read.ec == std::errc() && read.ptr == end)
            options->Set(CURLOPT_ADDRESS_SCOPE, scope);
        else
            options->Set(CURLOPT_INTERFACE, zone.c_str());
    }
    SetPlace(options, request);
    options->Set(CURLOPT_DEFAULT_PROTOCOL, "http");
    options->Set(CURLOPT_PROTOCOLS_STR, kProtocols);
    options->Set(CURLOPT_MAXREDIRS, kMaxRedirects);
    /* with a later version libcurl believes a status line "HTTP/2" that arrives over HTTP/1.1, and sends the next
     * request over a connection that still waits for a reply */
    options->Set(CURLOPT_HTTP_VERSION, long(CURL_HTTP_VERSION_1_1));
}

void SetConnection(CurlOptions *options, BasicHttpRequest *request) {
    if (request->settings.freshConnection)
        options->Set(CURLOPT_FRESH_CONNECT, 1L);
    if (request->settings.forbidReuse)
        options->Set(CURLOPT_FORBID_REUSE, 1L);
}

void SetTls(CurlOptions *options, BasicHttpRequest *request) {
    if (options->result == CURLE_OK)
        options->result = BasicHttpSetTlsOptions(options->curl, request);
}

void SetBehaviour(CurlOptions *options, BasicHttpRequest *request) {
    options->Set(CURLOPT_FOLLOWLOCATION, 1L);
    options->Set(CURLOPT_POSTREDIR, long(CURL_REDIR_POST_301));
    options->Set(CURLOPT_NOSIGNAL, 1L);
    options->Set(CURLOPT_SOCKOPTFUNCTION, BasicHttpSetSockOpts);
    if (request->settings.flags & BASICHTTP_REQUEST_TUNNEL)
        options->Set(CURLOPT_HTTPPROXYTUNNEL, 1L);
    /* The headers by which a proxy opens a tunnel are not those of the response. */
    options->Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
}

void SetIdentity(CurlOptions *options, BasicHttpRequest *request) {
    const BasicHttpSettings &settings = request->settings;
    if (settings.authType != 0 && settings.userPassword) {
        options->Set(CURLOPT_USERNAME, settings.userName.c_str());
        options->Set(CURLOPT_PASSWORD, settings.userPassword.get());
        options->Set(CURLOPT_HTTPAUTH, CurlAuth(settings.authType));
    }
    options->Set(CURLOPT_USERAGENT, settings.userAgent.c_str());
}

/* Sets the share of a jar and its initial cookie. */
void SetJar(CurlOptions *options, BasicHttpRequest *request) {
    BasicHttpCookieJar *jar = request->cookieJar;
    if (jar->share)
        options->Set(CURLOPT_SHARE, jar->share);
    if (!jar->initialCookie)
        return;
    const std::string line = BasicHttpBindCookie(jar->initialCookie, request->url.c_str());
    if (!line.empty())
        options->Set(CURLOPT_COOKIELIST, line.c_str());
    BasicHttp_SetInitialCookie(jar, nullptr);
}

void SetCookies(CurlOptions *options, BasicHttpRequest *request) {
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
    SetJar(options, request);
}

void SetProxyOptions(CurlOptions *options, BasicHttpRequest *request) {
    const BasicHttpSettings &settings = request->settings;
    switch (settings.proxyType) {
    case BASICHTTP_PROXY_NONE:
        break;
    case BASICHTTP_PROXY_HTTP:
        options->Set(CURLOPT_PROXYTYPE, long(CURLPROXY_HTTP));
        if (!(settings.flags & BASICHTTP_REQUEST_TUNNEL))
            options->Set(CURLOPT_FRESH_CONNECT, 1L);
        break;
    case BASICHTTP_PROXY_SOCKS4:
        options->Set(CURLOPT_PROXYTYPE, long(CURLPROXY_SOCKS4));
        break;
    default:
        NOT_IMPLEMENTED();
    }
    if (settings.proxy)
        options->Set(CURLOPT_PROXY, settings.proxy->c_str());
    if (settings.noProxy)
        options->Set(CURLOPT_NOPROXY, settings.noProxy->c_str());
    if (settings.proxyAuth != 0 && settings.proxyPassword) {
        options->Set(CURLOPT_PROXYUSERNAME, settings.proxyUserName.c_str());
        options->Set(CURLOPT_PROXYPASSWORD, settings.proxyPassword.get());
        options->Set(CURLOPT_PROXYAUTH, CurlAuth(settings.proxyAuth));
    }
}

void SetTrace(CurlOptions *options, BasicHttpRequest *request) {
    if (!request->settings.isTraced)
        return;
    options->Set(CURLOPT_VERBOSE, 1L);
    options->Set(CURLOPT_DEBUGFUNCTION, BasicHttpDebugCurlCallback);
}

bool HasUploadLimit(const BasicHttpRequest *request) {
    return request->bandwidthGroup && request->bandwidthGroup->limits[BASICHTTP_UPLOAD] != 0;
}

/* Whether libcurl is given the body as one text. It then sends a short body in one piece with the headers, which saves a
 * system call and a turn of the loop. Progress procs and upload limits need the read callback. */
bool IsBodyJoined(const BasicHttpRequest *request) {
    if (request->settings.method != BASICHTTP_METHOD_POST || !request->ownsBody ||
        request->sendProgressProc || HasUploadLimit(request))
        return false;
    const BasicHttpMemorySource *memory = BasicHttpMemoryOf(request->body);
    return memory && memory->length <= kMaxJoinedBody;
}

void SetPostBody(CurlOptions *options, BasicHttpRequest *request) {
    options->Set(CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(BasicHttpBodyLength(request)));
    if (request->settings.isBodyJoined)
        options->Set(CURLOPT_POSTFIELDS, BasicHttpMemoryOf(request->body)->data);
}

void SetMethod(CurlOptions *options, BasicHttpRequest *request) {
    switch (request->settings.method) {
    case BASICHTTP_METHOD_GET:
        options->Set(CURLOPT_HTTPGET, 1L);
        break;
    case BASICHTTP_METHOD_POST:
        options->Set(CURLOPT_POST, 1L);
        SetPostBody(options, request);
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

void SetCallbacks(CurlOptions *options, BasicHttpRequest *request) {
    for (CURLoption option :
         {CURLOPT_HEADERDATA, CURLOPT_READDATA, CURLOPT_WRITEDATA, CURLOPT_IOCTLDATA,
          CURLOPT_PRIVATE, CURLOPT_SOCKOPTDATA, CURLOPT_OPENSOCKETDATA, CURLOPT_PREREQDATA})
        options->Set(option, request);
    if (request->settings.sslCtxProc)
        options->Set(CURLOPT_SSL_CTX_DATA, request);
    if (request->settings.isTraced)
        options->Set(CURLOPT_DEBUGDATA, request);
    options->Set(CURLOPT_HEADERFUNCTION, BasicHttpHeaderCallback);
    options->Set(CURLOPT_READFUNCTION, BasicHttpReadCallback);
    options->Set(CURLOPT_WRITEFUNCTION, BasicHttpWriteCallback);
    options->Set(CURLOPT_IOCTLFUNCTION, BasicHttpIoctlCallback);
    options->Set(CURLOPT_PREREQFUNCTION, BasicHttpPrereqCurlCallback);
}

/* Child processes would inherit the sockets that libcurl opens, so our callback is set in both cases. */
void SetConnectTimeout(CurlOptions *options, BasicHttpRequest *request) {
    options->Set(CURLOPT_OPENSOCKETFUNCTION, BasicHttpOpenSocketCurlCallback);
    options->Set(CURLOPT_CONNECTTIMEOUT, request->settings.connectionTimeoutWorkaround
                                             ? kWorkaroundConnectTimeout
                                             : long(request->settings.connectTimeout));
}

void SetAll(CurlOptions *options, BasicHttpRequest *request) {
    for (auto set : {SetUrl, SetConnection, SetTls, SetBehaviour, SetIdentity, SetCookies,
                     SetProxyOptions, SetTrace, SetMethod, SetCallbacks, SetConnectTimeout})
        set(options, request);
}

/* Completes the settings by what is only known at the start. */
void CompleteSettings(BasicHttpRequest *request) {
    BasicHttpSettings *settings = &request->settings;
    BasicHttpZone split = BasicHttpTakeZone(request->url);
    if (!split.zone.empty()) {
        request->url = std::move(split.url);
        settings->zone = std::move(split.zone);
    }
    settings->isTraced = basicHttpTrace;
    settings->isBodyJoined = IsBodyJoined(request);
}

/*
 * Assigns a handle and sets all its options. No handle is used for a second transfer: libcurl 7.83 and later notes the last
 * header of a transfer, frees it when the next one begins, and still appends to it if the next reply begins with a folded
 * line. A service could corrupt the memory of the process in this way.
 */
bool SetUp(BasicHttpRequest *request) {
    CompleteSettings(request);
    request->curl = curl_easy_init();
    if (!request->curl)
        return false;
    CurlOptions options{request->curl};
    SetAll(&options, request);
    request->settings.freshConnection = false; /* for this start only */
    if (options.result != CURLE_OK)
        Warning("BasicHTTP: Request %p could not be set up: %s\n", static_cast<void *>(request),
                curl_easy_strerror(options.result));
    return options.result == CURLE_OK;
}

/* Undoes a failed start; the request can be sent again. */
bool FailStart(BasicHttpRequest *request) {
    BasicHttpFinishRequest(request, BASICHTTP_STATE_IDLE);
    BasicHttpFreeHandle(request);
    return false;
}

bool AddToMulti(BasicHttpGlobalState *state, BasicHttpRequest *request) {
    request->inActive = true;
    HashTable_Insert(state->active, request, request);
    BasicHttpUpdateKeptConnections(state);
    BasicHttpInsideCurl inside(state);
    request->inMulti = curl_multi_add_handle(state->multi, request->curl) == CURLM_OK;
    return request->inMulti;
}

} // namespace

bool BasicHttpStartRequest(BasicHttpRequest *request) {
    BasicHttpGlobalState *state = request->owner;
    request->state = BASICHTTP_STATE_SENDING;
    if (!SetUp(request))
        return FailStart(request);

    BasicHttpStartConnectionTimeout(request);
    request->lastActivityTime = basicHttpNow();
    BasicHttpStartInactivityTimeout(request);
    BasicHttpStartLimits(request);
    if (!AddToMulti(state, request))
        return FailStart(request);

    BasicHttpTraceSending(request);
    /* While completions of other requests are pending, libcurl is not driven here: its timer, or the start made by
     * the last of them, sends all new requests together and so wakes the server once. */
    if (state->numCompletions == 0)
        BasicHttpRunEngine(BasicHttpWake::kTimer, CURL_SOCKET_TIMEOUT);
    return true; /* the request may have been freed meanwhile */
}

void BasicHttpFreeHandle(BasicHttpRequest *request) {
    if (request->curl)
        curl_easy_cleanup(request->curl); /* this writes a cookie file */
    request->curl = nullptr;
}
