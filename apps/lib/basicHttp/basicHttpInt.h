/*
 * basicHttpInt.h -- the records behind basicHttp.h, and what its sources call of each other
 *
 *   basicHttp.cpp          life of the library, creation and end of requests, settings
 *   basicHttpSend.cpp      a request is started: libcurl's options
 *   basicHttpSocket.cpp    libcurl's sockets and timer on the application's loop; the engine
 *   basicHttpComplete.cpp  a request ends: results, error codes, the response
 *   basicHttpTransfer.cpp  bytes out and in, progress
 *   basicHttpHeader.cpp    response headers
 *   basicHttpRedirect.cpp  which redirects are followed
 *   basicHttpGuard.cpp     the last look at a connection before a request is sent on it
 *   basicHttpPause.cpp     pausing
 *   basicHttpTimeout.cpp   connection and inactivity time-outs
 *   basicHttpSource.cpp    request bodies
 *   basicHttpTls.cpp       what is checked of a peer, and by whom
 *   basicHttpCookie.cpp    cookie jars
 *   basicHttpUrl.cpp       URLs: zones of IPv6 hosts, the place that one leads to
 *   basicHttpTrace.cpp     the trace
 *   basicHttpRedact.cpp    secrets are left out of texts for the log
 *
 * Inside libcurl. libcurl refuses to change its requests from inside its own callbacks, yet a progress
 * proc may cancel or free a request, or end the whole transport. So each call of libcurl that may call
 * back is made within a BasicHttpInsideCurl; what is asked for meanwhile is only noted, and done when
 * the outermost of them ends:
 *
 *   cancel, free   on "deferred"; the request's callbacks make libcurl give up at once
 *   send           the request waits in the FIFO
 *   engine         "wantsKick", a zero-delay callback of the loop
 *   shutdown       everything leaves the loop at once; the state is released at the end
 */
#pragma once

// libcurl calls curl_multi_socket_all() and the ioctl callback outdated; they work as they always did.
#define CURL_DISABLE_DEPRECATION

#include <optional>
#include <string>
#include <vector>

#include <curl/curl.h>

#include "apps/lib/basicHttp/basicHttp.h"
#include "lib/misc/dynBuf.h"
#include "lib/misc/hashTable.h"
#include "lib/misc/poll.h"

struct BasicHttpSource {
    const BasicHttpSourceOps *ops;
    gpointer priv;
};

struct BasicHttpMemorySource {
    char *data; /* owned; wiped before it is freed, as it may be a login */
    gsize length;
    gsize position;
    gsize remaining;
};

extern const BasicHttpSourceOps BasicHttpMemorySourceOps;

struct BasicHttpHeaders {
    curl_slist *list = nullptr;
    unsigned numOwners = 1;
};

struct BasicHttpCookieJar {
    CURLSH *share;       /* NULL for a jar that is a file */
    char *initialCookie; /* consumed by the next request */
    char *fileName;
    bool isNewSession;  /* the next request starts a new cookie session */
    unsigned numOwners; /* whoever created it, and each request that names it */
};

struct BasicHttpBandwidthStats {
    gint64 transferredBytes; /* libcurl's running count at the last update */
    gint64 windowBytes;
    gint64 transferRate; /* bytes per second over the window */
    gint64 windowStartTime;
    gint64 lastTime;
};

struct BasicHttpBandwidthGroup;
struct BasicHttpGlobalState;

/* In pausedMask, as curl_easy_pause() has them. */
enum { kPausedRecv = CURLPAUSE_RECV, kPausedSend = CURLPAUSE_SEND };

struct BasicHttpRequest {
    char *url;
    BasicHttpMethod method;
    guint32 flags;
    BasicHttpCookieJar *cookieJar; /* holds one of its owners */
    CURL *curl;                    /* made on start */
    bool inMulti;
    curl_slist *requestHeaders;      /* of its own */
    BasicHttpHeaders *sharedHeaders; /* holds one of their owners; NULL if it has its own */
    curl_slist *responseHeaders;
    curl_slist *lastResponseHeader; /* end of that list */
    guint numResponseHeaders;
    BasicHttpState state;
    BasicHttpSource *body;
    bool ownsBody;
    DynBuf receiveBuffer;
    guint32 options;
    BasicHttpOnSentProc onSentProc;
    BasicHttpProgressProc sendProgressProc;
    BasicHttpProgressProc recvProgressProc;
    gint64 lastProgressTime;
    gpointer clientData;
    BasicHttpBandwidthGroup *bandwidthGroup;
    BasicHttpRequest *nextInGroup;
    BasicHttpBandwidthStats sendStats;
    BasicHttpBandwidthStats recvStats;
    guint32 pausedMask;
    BasicHttpContentInfo recvContentInfo;
    gint authType;
    char *userName;
    char *userPassword;
    char *userAgent;
    char *proxy;
    gint proxyType;
    gint proxyAuth;
    char *proxyUserName;
    char *proxyPassword;
    char *noProxy;
    bool sslManualVerification;
    bool sslVerification; /* by the machine's CA certificates, if no others are named */
    BasicHttpSslCtxProc sslCtxProc;
    BasicHttpConnectedProc connectedProc;
    char *sslCAInfo;
    char *sslCAPath;
    char *sslCrlFile;
    guint connectTimeout; /* seconds, 0 for none */
    bool connectionTimeoutWorkaround;
    guint inactivityTimeoutSending; /* seconds, 0 for none */
    guint inactivityTimeoutSent;
    guint inactivityTimeoutReceiving;
    gint64 lastActivityTime;
    curl_socket_t socket; /* the last that libcurl opened for it, -1 for none */
    CURLcode curlResult;
    BasicHttpErrorCode errorOverride; /* wins over curlResult unless 0 */
    bool freshConnection;
    bool forbidReuse;
    guint readEntries;
    guint writeEntries;
    bool queued;

    BasicHttpGlobalState *owner; /* the transport that it was sent with; NULL before */
    gsize maxResponseSize;       /* 0: no limit */
    gsize numBodyBytesRead;      /* taken from the source since it was last rewound */
    bool hasWholeHead;           /* the headers of the last response are all there */
    bool isStrict;               /* sent over TLS or to this machine, or not at all */
    bool isRepeatable;           /* may be sent again after a connection ended without an answer */
    std::string redirectUrl;     /* the last redirect that was let through; empty for none */
    gsize numHeaderBytes;        /* header and trailer lines received, of all responses */
    bool wasSent;                /* on some connection; the two counts are from before that */
    long numSentBytes;
    gsize numHeaderBytesAtSend;
    guint numHandshakes;     /* of TLS that began since the last socket was opened */
    guint numHolds;          /* functions that still look at it; keeps it from being destroyed */
    bool inActive;           /* in the table of active requests */
    bool isDeferred;         /* in the list of what to end when libcurl has returned */
    bool isFreed;            /* its owner has let it go */
    bool keepsHandle;        /* the easy handle can serve another request afterwards, */
    bool isPlainCall;        /* and most of its options too */
    bool hasCompletion;      /* registered with the loop: completion, */
    bool hasConnectionTimer; /* connection time-out, */
    bool hasInactivityTimer; /* inactivity check */
};

/* One per descriptor that libcurl wants to have watched. */
struct BasicHttpSocketEntry {
    BasicHttpSocketEntry *next;
    curl_socket_t socket;
    CURL *curl;
    int events; /* CURL_POLL_IN, CURL_POLL_OUT */
};

struct BasicHttpGlobalState {
    CURLM *multi = nullptr;
    BasicHttpSocketEntry *sockets = nullptr; /* newest first */
    HashTable *active = nullptr;             /* keyed by the request */
    bool isTearingDown = false;              /* freeing a request does not touch "active" */
    bool isReleased = false;                 /* torn down, and libcurl has returned */
    guint maxOutstandingRequests = 0;
    GQueue waiting = G_QUEUE_INIT; /* requests that wait for a slot */

    std::vector<CURL *> idleHandles;  /* kept for the next requests, reset */
    std::vector<CURL *> plainHandles; /* kept with the options of a plain call */
    std::vector<CURL *>
        guardedHandles;              /* kept with those of a plain call that has both TLS procs */
    bool hasLookedAtOpenSsl = false; /* whether libcurl's is that of the TLS layer, */
    bool hasLayersOpenSsl = false;   /* and what was found */
    unsigned curlDepth = 0;          /* calls of libcurl that are running */
    std::vector<BasicHttpRequest *> deferred;
    bool wantsKick = false; /* the engine was asked for while libcurl ran */
    bool hasKick = false;   /* registered with the loop */
    bool hasTimer = false;
    bool isStartingQueued = false;
    guint numCompletions = 0; /* ended requests whose senders are about to hear of it */
};

extern BasicHttpGlobalState *curlGlobalState;
extern OrvanePollCallback pollCallbackProc;
extern OrvanePollCallbackRemove pollCallbackRemoveProc;
extern bool basicHttpTrace;
/* Microseconds that only grow; tests put a clock of their own here. */
extern gint64 (*basicHttpNow)(void);

constexpr gint64 kMicrosecondsPerSecond = 1000000;

/* A time during which libcurl runs; see above. */
class BasicHttpInsideCurl {
public:
    explicit BasicHttpInsideCurl(BasicHttpGlobalState *state);
    /* May release requests and, after a shutdown, the state itself. */
    ~BasicHttpInsideCurl();
    BasicHttpInsideCurl(const BasicHttpInsideCurl &) = delete;
    BasicHttpInsideCurl &operator=(const BasicHttpInsideCurl &) = delete;

    /* The transport whose libcurl calls back at this moment; NULL when it is being torn down. */
    static BasicHttpGlobalState *Current();

private:
    BasicHttpGlobalState *state;
    BasicHttpGlobalState *outer;
};

/* Keeps the record of a request until the end of a scope, whatever is done to it meanwhile. */
class BasicHttpHold {
public:
    explicit BasicHttpHold(BasicHttpRequest *request);
    ~BasicHttpHold();
    BasicHttpHold(const BasicHttpHold &) = delete;
    BasicHttpHold &operator=(const BasicHttpHold &) = delete;

private:
    BasicHttpRequest *request;
};

/* basicHttp.cpp */
bool BasicHttpHasCapacity(const BasicHttpGlobalState *state);
void BasicHttpDestroyRequest(BasicHttpRequest *request);
void BasicHttpDestroyState(BasicHttpGlobalState *state);
/* Takes a request out of the multi handle; outside of libcurl only. */
void BasicHttpRemoveFromMulti(BasicHttpRequest *request);

/* basicHttpSend.cpp */
bool BasicHttpStartRequest(BasicHttpRequest *request);
/* Gives up the easy handle, which must not be in the multi handle any more; none is fine. */
void BasicHttpReleaseHandle(BasicHttpGlobalState *state, BasicHttpRequest *request);

/* basicHttpTls.cpp */
/* Whether a libcurl with this TLS library shares its OpenSSL with the TLS layer, whose OpenSSL is of version 3
 * if opaque, else of 1.0.2. */
bool BasicHttpIsSameOpenSsl(const char *tlsLibrary, bool isOpaque);
CURLcode BasicHttpSetTlsOptions(CURL *curl, BasicHttpRequest *request);
bool BasicHttpHasLayersOpenSsl(BasicHttpGlobalState *state);

/* basicHttpGuard.cpp */
int BasicHttpPrereqCurlCallback(void *data, char *peerAddress, char *localAddress, int peerPort,
                                int localPort);

/* basicHttpSocket.cpp */
enum class BasicHttpWake {
    kTimer,   /* libcurl's timer has run out */
    kSocket,  /* something happened on a descriptor */
    kAll,     /* look at all requests */
    kStarted, /* look at those that were just added */
};
void BasicHttpRunEngine(BasicHttpWake wake, curl_socket_t socket);
void BasicHttpSocketPollCallback(gpointer clientData);
void BasicHttpScheduleKick(BasicHttpGlobalState *state);
int BasicHttpSocketCurlCallback(CURL *easy, curl_socket_t descriptor, int what, void *userData,
                                void *socketData);
int BasicHttpTimerCurlCallback(CURLM *multi, long timeoutMs, void *userData);
/* Takes libcurl's sockets, timer and kick off the loop. */
void BasicHttpLeaveLoop(BasicHttpGlobalState *state);
curl_socket_t BasicHttpOpenSocketCurlCallback(void *data, curlsocktype purpose,
                                              curl_sockaddr *address);
int BasicHttpSetSockOpts(void *data, curl_socket_t descriptor, curlsocktype purpose);

/* basicHttpComplete.cpp */
void BasicHttpInvokeCallback(BasicHttpRequest *request);
void BasicHttpCompleteRequestCallback(gpointer clientData);
void BasicHttpFinishRequest(BasicHttpRequest *request, BasicHttpState state);

/* basicHttpTransfer.cpp */
size_t BasicHttpReadCallback(char *buffer, size_t size, size_t count, void *data);
size_t BasicHttpWriteCallback(char *buffer, size_t size, size_t count, void *data);
curlioerr BasicHttpIoctlCallback(CURL *handle, int command, void *data);
/* Notes in the state that the body is out, which libcurl does not report by itself. */
void BasicHttpUpdateSendState(BasicHttpRequest *request);
gsize BasicHttpBodyLength(const BasicHttpRequest *request);

/* basicHttpHeader.cpp */
size_t BasicHttpHeaderCallback(char *line, size_t size, size_t count, void *data);

/* basicHttpRedirect.cpp */
/* Looks at a header line. FALSE if it is a redirect that is not followed. */
bool BasicHttpCheckRedirect(BasicHttpRequest *request, std::string_view line);

/* basicHttpPause.cpp */
void BasicHttpResumePollCallback(gpointer clientData);

/* basicHttpTimeout.cpp */
void BasicHttpStartConnectionTimeout(BasicHttpRequest *request);
void BasicHttpClearConnectionTimeout(BasicHttpRequest *request);
void BasicHttpStartInactivityTimeout(BasicHttpRequest *request);
void BasicHttpClearInactivityTimeout(BasicHttpRequest *request);

/* basicHttpSource.cpp */
/* The bytes of a memory source; NULL for any other. */
const BasicHttpMemorySource *BasicHttpMemoryOf(const BasicHttpSource *source);

/* basicHttpRequestHeader.cpp */
/* What a request sends, its own or shared; NULL for none. */
curl_slist *BasicHttpRequestHeaders(const BasicHttpRequest *request);
void BasicHttpFreeRequestHeaders(BasicHttpRequest *request);
bool BasicHttpHasLineBreak(const char *text);

/* basicHttpCookie.cpp */
BasicHttpCookieJar *BasicHttpHoldCookieJar(BasicHttpCookieJar *jar);
BasicHttpCookieJar *BasicHttpDefaultCookieJar(void);
void BasicHttpFreeDefaultCookieJar(void);
/* The line for CURLOPT_COOKIELIST that binds a cookie to the host of a URL. */
std::string BasicHttpBindCookie(const char *line, const char *url);

/* basicHttpUrl.cpp */
struct BasicHttpZone {
    std::string url;  /* without the zone */
    std::string zone; /* empty if the URL has none */
};
BasicHttpZone BasicHttpTakeZone(const std::string &url);

/* Where a URL leads, as libcurl reads it. */
struct BasicHttpPlace {
    std::string scheme; /* "http" or "https" */
    std::string host;   /* in lower case; an IPv6 address with its brackets */
    std::string port;
    bool operator==(const BasicHttpPlace &) const = default;
    bool IsHttps() const { return scheme == "https"; }
};
/* None for a text that is no http or https URL. The URL has no zone. */
std::optional<BasicHttpPlace> BasicHttpPlaceOf(const std::string &url);
/* The URL that a redirect leads to; none if it is not followed. */
std::optional<std::string> BasicHttpFollowedUrl(const char *from, const char *location);
bool BasicHttpIsLoopbackAddress(const std::string &address);
bool BasicHttpIsHttpsUrl(const char *url);

/* basicHttpTrace.cpp */
int BasicHttpDebugCurlCallback(CURL *handle, curl_infotype type, char *data, size_t size,
                               void *request);
void BasicHttpTraceSending(const BasicHttpRequest *request);
void BasicHttpTraceReceived(const BasicHttpResponse *response);

/* basicHttpRedact.cpp */
std::string BasicHttpRedactHeaders(std::string_view text);
std::string BasicHttpRedactText(std::string_view text);
std::string BasicHttpRedactContent(std::string_view text);
