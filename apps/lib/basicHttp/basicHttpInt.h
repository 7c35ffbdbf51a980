/*
 * basicHttpInt.h -- the records of basicHttp.h, and the functions that its sources share
 *
 *   basicHttp.cpp          life of the library, creation and end of requests
 *   basicHttpSettings.cpp  settings of a request, made before it is sent
 *   basicHttpSend.cpp      the start of a request: libcurl's options
 *   basicHttpSocket.cpp    libcurl's sockets and timer on the application's loop; the engine
 *   basicHttpComplete.cpp  the end of a request: results, error codes, the response
 *   basicHttpTransfer.cpp  bodies in both directions, progress
 *   basicHttpHeader.cpp    response headers
 *   basicHttpRedirect.cpp  which redirects are followed
 *   basicHttpGuard.cpp     the last look at a connection before a request is sent on it
 *   basicHttpPause.cpp     pausing
 *   basicHttpBandwidth.cpp bandwidth groups
 *   basicHttpTimeout.cpp   connection and inactivity time-outs
 *   basicHttpDeadline.cpp  time limits in milliseconds, with one timer for all
 *   basicHttpSource.cpp    request bodies
 *   basicHttpRequestHeader.cpp  the headers that a request sends
 *   basicHttpTls.cpp       what of a peer is checked, and by what
 *   basicHttpCookie.cpp    cookie jars
 *   basicHttpKeep.cpp      how many connections are kept
 *   basicHttpUrl.cpp       URLs: zones of IPv6 hosts, the place that one leads to
 *   basicHttpTrace.cpp     the trace
 *   basicHttpRedact.cpp    secrets are left out of texts for the log
 *   basicHttpSecretName.cpp  names of secrets in any text
 *   basicHttpEscape.cpp    a character in whatever form it is escaped
 *
 * Start, engine, end, time-outs and pausing call one another in a circle, since each of them may complete a request,
 * and the end of one starts the next; all other sources only serve them.
 *
 * Inside libcurl. libcurl does not allow changes to its requests from its own callbacks, but a progress
 * proc may cancel or free a request, or shut the transport down. So each call of libcurl that may call
 * back is made within a BasicHttpInsideCurl. What is requested meanwhile is recorded, and done when
 * the outermost of these calls returns:
 *
 *   cancel, free   entered in "deferred"; the request's callbacks make libcurl stop it at once
 *   send           the request waits in the FIFO
 *   engine         "wantsKick", a zero-delay callback of the loop
 *   shutdown       all callbacks are removed from the loop at once; the state is released at the end
 */
#pragma once

// libcurl has deprecated curl_multi_socket_all() and the ioctl callback; they still work.
#define CURL_DISABLE_DEPRECATION

#include <optional>
#include <string>
#include <vector>

#include <curl/curl.h>

#include "apps/lib/basicHttp/basicHttp.h"
#include "apps/lib/basicHttp/basicHttpDeadline.h"
#include "lib/misc/dynBuf.h"
#include "lib/misc/hashTable.h"
#include "lib/misc/poll.h"
#include "lib/misc/secret.h"

struct BasicHttpSource {
    const BasicHttpSourceOps *ops;
    gpointer priv;
};

struct BasicHttpMemorySource {
    char *data; /* owned; wiped before it is freed, since it may be a login */
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
    unsigned numOwners; /* its creator, and each request that uses it */
};

struct BasicHttpBandwidthStats {
    gint64 transferredBytes; /* libcurl's running count at the last update */
    gint64 windowBytes;
    gint64 transferRate; /* bytes per second over the window */
    gint64 windowStartTime;
    gint64 lastTime;
    gint64 dueTime;  /* when the present delay is over; 0 without one */
    gint64 lateTime; /* microseconds that late resumes have lost, and that later delays make up */
};

/* Also an index of the arrays of a group. */
enum BasicHttpDirection { BASICHTTP_UPLOAD = 0, BASICHTTP_DOWNLOAD = 1, BASICHTTP_NUM_DIRECTIONS };

struct BasicHttpBandwidthGroup {
    gint64 limits[BASICHTTP_NUM_DIRECTIONS];      /* bytes per second, 0 for none */
    gint64 numUnpaused[BASICHTTP_NUM_DIRECTIONS]; /* members that pausedMask does not pause */
    BasicHttpRequest *requests; /* linked by nextInGroup, newest first; not owned */
};

struct BasicHttpGlobalState;

/* Bits of pausedMask, with the values of curl_easy_pause(). */
enum { kPausedRecv = CURLPAUSE_RECV, kPausedSend = CURLPAUSE_SEND };

constexpr char kBasicHttpUserAgent[] = "Halden-client";

/* What a request was set to before it is sent, with the default of each setting. */
struct BasicHttpSettings {
    BasicHttpMethod method = BASICHTTP_METHOD_GET;
    guint32 flags = 0;
    std::string userAgent = kBasicHttpUserAgent;
    gint authType = 0; /* a BASICHTTP_AUTH_..., 0 for none, greater for any */
    std::string userName;
    SecretText userPassword;          /* NULL: there is no login */
    std::optional<std::string> proxy; /* empty: no proxy, also if the environment names one */
    gint proxyType = BASICHTTP_PROXY_NONE;
    gint proxyAuth = 0; /* as authType */
    std::string proxyUserName;
    SecretText proxyPassword; /* NULL: there is no login */
    std::optional<std::string> noProxy;
    bool sslManualVerification = false;
    bool sslVerification = false; /* by the machine's CA certificates if no others are set */
    BasicHttpSslCtxProc sslCtxProc = nullptr;
    std::string sslCAInfo;  /* empty for none */
    std::string sslCAPath;  /* empty for none */
    std::string sslCrlFile; /* empty for none */
    BasicHttpConnectedProc connectedProc = nullptr;
    bool isStrict = false;     /* is only sent over TLS or to this machine */
    bool isRepeatable = false; /* may be sent again after a connection ended without an answer */
    guint connectTimeout = 0;  /* seconds, 0 for none */
    bool connectionTimeoutWorkaround = true;
    bool freshConnection = false;
    bool forbidReuse = false;
    bool detectsDeadPeer = false;
    guint inactivityTimeoutSending = 0; /* seconds, 0 for none */
    guint inactivityTimeoutSent = 0;
    guint inactivityTimeoutReceiving = 0;
    guint connectLimit = 0; /* milliseconds, 0 for none; see BasicHttp_SetLimits() */
    guint inactivityLimit = 0;
    guint totalLimit = 0;
    gsize maxResponseSize = 0; /* 0: no limit */

    /* set when the request is started */
    std::string zone; /* of the URL's host */
    bool isTraced = false;
    bool isBodyJoined = false; /* libcurl is given the body as one text */
};

struct BasicHttpRequest {
    std::string url;
    BasicHttpSettings settings;
    BasicHttpCookieJar *cookieJar; /* counts as one of its owners */
    CURL *curl;                    /* assigned when the request is started */
    bool inMulti;
    curl_slist *requestHeaders; /* owned */
    BasicHttpHeaders
        *sharedHeaders; /* counts as one of their owners; NULL if the list above is used */
    curl_slist *responseHeaders;
    curl_slist *lastResponseHeader; /* last node of responseHeaders */
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
    BasicHttpRequest *previousInGroup;
    BasicHttpBandwidthStats sendStats;
    BasicHttpBandwidthStats recvStats;
    guint32
        pausedMask; /* without the pauses of the bandwidth group; see BasicHttpSetPausedMask() */
    BasicHttpContentInfo recvContentInfo;
    gint64 lastActivityTime;
    gint64 startTime;           /* of the time limits */
    BasicHttpDeadline deadline; /* when they are to be checked */
    curl_socket_t socket;       /* the last one that libcurl opened for the request, -1 for none */
    CURLcode curlResult;
    BasicHttpErrorCode errorOverride; /* takes precedence over curlResult unless 0 */
    guint readEntries;
    guint writeEntries;
    bool queued;

    BasicHttpGlobalState *owner; /* the transport that the request was sent with; NULL before */
    gsize numBodyBytesRead;      /* read from the source since it was last rewound */
    bool hasWholeHead;           /* all headers of the last response were received */
    std::string redirectUrl;     /* the last redirect that was accepted; empty for none */
    gsize numHeaderBytes;        /* of the header and trailer lines of all responses */
    bool wasSent;                /* a connection was assigned; libcurl may have sent it */
    long numSentBytes;           /* when the last connection was assigned */
    gsize numHeaderBytesAtSend;  /* numHeaderBytes at that time */
    guint numHandshakes;         /* TLS handshakes begun since the last socket was opened */
    guint numHolds;              /* functions that still use the record; it is not deleted before */
    bool inActive;               /* in the table of active requests */
    bool isDeferred;             /* in the state's list "deferred" */
    bool isFreed;                /* released by its owner */
    bool hasCompletion;          /* the completion callback is registered */
    bool hasConnectionTimer;     /* the connection time-out is registered */
    bool hasInactivityTimer;     /* the inactivity check is registered */
    bool hasResume;              /* paused by the bandwidth group; the resume is registered */
    gint64 resumeTime;           /* when it is due */
};

/* A descriptor that libcurl wants to be watched. */
struct BasicHttpSocketEntry {
    BasicHttpSocketEntry *next;
    curl_socket_t socket;
    CURL *curl;
    int events;                  /* CURL_POLL_IN, CURL_POLL_OUT */
    BasicHttpSocketEntry **link; /* the pointer to this entry in the list */
};

struct BasicHttpGlobalState {
    CURLM *multi = nullptr;
    BasicHttpSocketEntry *sockets = nullptr; /* newest first */
    HashTable *active = nullptr;             /* keyed by the request */
    bool isTearingDown = false;              /* freeing a request does not change "active" */
    bool isReleased = false; /* the tear-down is complete, and libcurl has returned */
    guint maxOutstandingRequests = 0;
    GQueue waiting = G_QUEUE_INIT; /* requests that wait for a slot */

    bool hasLookedAtOpenSsl = false; /* the next field is set */
    bool hasLayersOpenSsl = false;   /* libcurl has the OpenSSL of the TLS layer */
    unsigned curlDepth = 0;          /* nested calls of libcurl */
    std::vector<BasicHttpRequest *> deferred;
    bool wantsKick = false; /* the engine was requested while libcurl ran */
    bool hasKick = false;   /* a zero-delay callback of the engine is registered */
    bool hasTimer = false;
    bool isStartingQueued = false;
    long keptConnections = 0;   /* libcurl's limit */
    gint64 peakPeriodStart = 0; /* of the count of the most active requests */
    gsize peak = 0;
    gsize lastPeak = 0;       /* of the period before */
    guint numCompletions = 0; /* requests with a registered completion callback */
};

extern BasicHttpGlobalState *curlGlobalState;
extern OrvanePollCallback pollCallbackProc;
extern OrvanePollCallbackRemove pollCallbackRemoveProc;
extern bool basicHttpTrace;
/* A monotonic clock in microseconds; replaced by tests. */
extern gint64 (*basicHttpNow)(void);

constexpr gint64 kMicrosecondsPerSecond = 1000000;

/* Exists while libcurl runs; see above. */
class BasicHttpInsideCurl {
public:
    explicit BasicHttpInsideCurl(BasicHttpGlobalState *state);
    /* May release requests and, after a shutdown, the state itself. */
    ~BasicHttpInsideCurl();
    BasicHttpInsideCurl(const BasicHttpInsideCurl &) = delete;
    BasicHttpInsideCurl &operator=(const BasicHttpInsideCurl &) = delete;

    /* The transport whose libcurl is calling back; NULL during its tear-down. */
    static BasicHttpGlobalState *Current();

private:
    BasicHttpGlobalState *state;
    BasicHttpGlobalState *outer;
};

/* Keeps the record of a request until the end of a scope, also if the request is freed meanwhile. */
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
/* Removes a request from the multi handle. Must not be called inside libcurl. */
void BasicHttpRemoveFromMulti(BasicHttpRequest *request);

/* basicHttpSend.cpp */
bool BasicHttpStartRequest(BasicHttpRequest *request);
/* Frees the easy handle, if there is one. It must have been removed from the multi handle. */
void BasicHttpFreeHandle(BasicHttpRequest *request);

/* basicHttpTls.cpp */
/* Whether a libcurl with this TLS library uses the OpenSSL of the TLS layer, which is version 3 if opaque, otherwise
 * 1.0.2. */
bool BasicHttpIsSameOpenSsl(const char *tlsLibrary, bool isOpaque);
CURLcode BasicHttpSetTlsOptions(CURL *curl, BasicHttpRequest *request);
bool BasicHttpHasLayersOpenSsl(BasicHttpGlobalState *state);

/* basicHttpGuard.cpp */
int BasicHttpPrereqCurlCallback(void *data, char *peerAddress, char *localAddress, int peerPort,
                                int localPort);

/* basicHttpSocket.cpp */
enum class BasicHttpWake {
    kTimer,  /* libcurl's timer expired, or a request was added, whose first step is due then */
    kSocket, /* a descriptor is ready */
    kAll,    /* all requests are examined, at the cost of a system call each */
};
void BasicHttpRunEngine(BasicHttpWake wake, curl_socket_t socket);
void BasicHttpSocketPollCallback(gpointer clientData);
void BasicHttpScheduleKick(BasicHttpGlobalState *state);
int BasicHttpSocketCurlCallback(CURL *easy, curl_socket_t descriptor, int what, void *userData,
                                void *socketData);
int BasicHttpTimerCurlCallback(CURLM *multi, long timeoutMs, void *userData);
/* Removes sockets, timer and kick from the loop. */
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
/* Updates the state if the whole body was sent, which libcurl does not report. */
void BasicHttpUpdateSendState(BasicHttpRequest *request);
gsize BasicHttpBodyLength(const BasicHttpRequest *request);

/* basicHttpHeader.cpp */
size_t BasicHttpHeaderCallback(char *line, size_t size, size_t count, void *data);

/* basicHttpRedirect.cpp */
/* Checks a header line. FALSE if it is a redirect that is not followed. */
bool BasicHttpCheckRedirect(BasicHttpRequest *request, std::string_view line);

/* basicHttpPause.cpp */
void BasicHttpResumePollCallback(gpointer clientData);
void BasicHttpRemoveResumePollCallback(BasicHttpRequest *request);

/* basicHttpBandwidth.cpp */
/* All changes of pausedMask are made here, since a group counts the members that are not paused. */
void BasicHttpSetPausedMask(BasicHttpRequest *request, guint32 mask);
/* Stores libcurl's running count and computes the rate. */
void BasicHttpBandwidthUpdate(BasicHttpBandwidthStats *stats, gint64 bytes);
/* Shortens a long window, so that old traffic counts less. */
void BasicHttpBandwidthSlideWindow(BasicHttpBandwidthStats *stats);
/* Returns for how many microseconds a transfer is to be paused, 0 for not at all. */
gint64 BasicHttpBandwidthGetDelay(const BasicHttpBandwidthGroup *group,
                                  const BasicHttpRequest *request, BasicHttpDirection direction);
/* Notes by how much a delay has become longer than it should be, since the loop is late. */
void BasicHttpBandwidthNoteResume(BasicHttpRequest *request);
/* Whether libcurl is to pause a transfer that is too fast; its resume is then registered. */
bool BasicHttpDelayTransfer(BasicHttpRequest *request, BasicHttpDirection direction);
/* Nothing for a request that is in no group. */
void BasicHttpLeaveBandwidthGroup(BasicHttpRequest *request);

/* basicHttpTimeout.cpp */
void BasicHttpStartConnectionTimeout(BasicHttpRequest *request);
void BasicHttpClearConnectionTimeout(BasicHttpRequest *request);
void BasicHttpStartInactivityTimeout(BasicHttpRequest *request);
void BasicHttpStartLimits(BasicHttpRequest *request);
void BasicHttpClearInactivityTimeout(BasicHttpRequest *request);

/* basicHttpSource.cpp */
/* Returns the record of a memory source; NULL for any other source. */
const BasicHttpMemorySource *BasicHttpMemoryOf(const BasicHttpSource *source);

/* basicHttpRequestHeader.cpp */
/* The headers that a request sends, its own or shared ones; NULL for none. */
curl_slist *BasicHttpRequestHeaders(const BasicHttpRequest *request);
void BasicHttpFreeRequestHeaders(BasicHttpRequest *request);
bool BasicHttpHasLineBreak(const char *text);

/* basicHttpCookie.cpp */
BasicHttpCookieJar *BasicHttpHoldCookieJar(BasicHttpCookieJar *jar);
BasicHttpCookieJar *BasicHttpDefaultCookieJar(void);
void BasicHttpFreeDefaultCookieJar(void);
/* Makes the line for CURLOPT_COOKIELIST that binds a cookie to the host of a URL; empty if the URL has no host. */
std::string BasicHttpBindCookie(const char *line, const char *url);

/* Number of jars that are no files. */
gsize BasicHttpNumSharedJars(void);

/* basicHttpKeep.cpp */
/* Adapts the number of connections that libcurl keeps; called for each request that is started. */
void BasicHttpUpdateKeptConnections(BasicHttpGlobalState *state);

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
/* Parses a URL without a zone; nothing if it is no http or https URL. */
std::optional<BasicHttpPlace> BasicHttpPlaceOf(const std::string &url);
/* Resolves a redirect; nothing if it is not followed. */
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
