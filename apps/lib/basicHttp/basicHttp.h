/*
 * basicHttp.h -- an asynchronous HTTP client over libcurl's multi-socket interface, driven by the
 * application's event loop
 *
 *   IDLE -> SENDING -> SENT -> RECEIVING -> DONE
 */
#pragma once

#include <glib.h>

#include <orvane/loop.h>

G_BEGIN_DECLS

typedef struct BasicHttpRequest BasicHttpRequest;
typedef struct BasicHttpCookieJar BasicHttpCookieJar;
typedef struct BasicHttpSource BasicHttpSource;

typedef enum {
    BASICHTTP_METHOD_GET = 0,
    BASICHTTP_METHOD_POST = 1,
    BASICHTTP_METHOD_HEAD = 2,
    BASICHTTP_METHOD_DELETE = 3,
    BASICHTTP_METHOD_PUT = 4,
} BasicHttpMethod;

typedef enum {
    BASICHTTP_STATE_IDLE = 0,
    BASICHTTP_STATE_SENDING = 1,
    BASICHTTP_STATE_SENT = 2,
    BASICHTTP_STATE_RECEIVING = 3,
    BASICHTTP_STATE_DONE = 4,
} BasicHttpState;

typedef enum {
    BASICHTTP_ERROR_NONE = 0,
    BASICHTTP_ERROR_UNSUPPORTED_PROTOCOL = 1,
    BASICHTTP_ERROR_URL_MALFORMAT = 3,
    BASICHTTP_ERROR_COULDNT_RESOLVE_PROXY = 5,
    BASICHTTP_ERROR_COULDNT_RESOLVE_HOST = 6,
    BASICHTTP_ERROR_COULDNT_CONNECT = 7,
    BASICHTTP_ERROR_HTTP_RETURNED_ERROR = 22,
    BASICHTTP_ERROR_OPERATION_TIMEDOUT = 28,
    BASICHTTP_ERROR_SSL_CONNECT_ERROR = 35,
    BASICHTTP_ERROR_TOO_MANY_REDIRECTS = 47,
    BASICHTTP_ERROR_TRANSFER = 48,
    BASICHTTP_ERROR_SSL_SECURITY = 49,
    BASICHTTP_ERROR_CONNECT_TIMEOUT = 50,
    BASICHTTP_ERROR_INACTIVITY_TIMEOUT = 51,
    BASICHTTP_ERROR_GENERIC = 52,
} BasicHttpErrorCode;

enum {
    BASICHTTP_REQUEST_NODELAY = 1,
    BASICHTTP_REQUEST_TUNNEL = 2,
};
enum { BASICHTTP_OPTION_NO_BUFFER = 1 };
enum { BASICHTTP_PROXY_NONE = 0, BASICHTTP_PROXY_HTTP = 1, BASICHTTP_PROXY_SOCKS4 = 2 };
enum { BASICHTTP_AUTH_BASIC = 1, BASICHTTP_AUTH_DIGEST = 2, BASICHTTP_AUTH_NTLM = 3 };
enum { BASICHTTP_TIMEOUT_SENDING = 1, BASICHTTP_TIMEOUT_SENT = 2, BASICHTTP_TIMEOUT_RECEIVING = 3 };

#define BASICHTTP_DEFAULT_COOKIE_JAR ((BasicHttpCookieJar *)1)

typedef struct {
    BasicHttpErrorCode errorCode;
    long responseCode;
    char *content;
    gsize contentLength; /* bytes in content, without the closing NUL */
    char *effectiveURL;
} BasicHttpResponse;

typedef struct {
    gint64 totalSize;
    gint64 contentLength;
    gint64 rangeStart;
    gint64 rangeEnd;
} BasicHttpContentInfo;

typedef struct {
    gssize (*read)(gpointer priv, char *buffer, gsize size, gsize count);
    gboolean (*rewind)(gpointer priv);
    gsize (*length)(gpointer priv);
    void (*destruct)(gpointer priv);
} BasicHttpSourceOps;

typedef void (*BasicHttpOnSentProc)(BasicHttpRequest *request, BasicHttpResponse *response,
                                    gpointer clientData);
typedef gboolean (*BasicHttpProgressProc)(BasicHttpRequest *request, gsize bytes,
                                          const char *buffer, gint64 elapsedMicroseconds,
                                          guint64 transferred, guint64 rate, gpointer clientData);
typedef void (*BasicHttpSslCtxProc)(BasicHttpRequest *request, gpointer sslContext,
                                    gpointer clientData);

gboolean BasicHttp_Init(OrvanePollCallback pollCallback,
                        OrvanePollCallbackRemove pollCallbackRemove);
gboolean BasicHttp_InitEx(OrvanePollCallback pollCallback,
                          OrvanePollCallbackRemove pollCallbackRemove, gint maxOutstandingRequests);
void BasicHttp_Shutdown(void);
gboolean BasicHttp_IsInited(void);

/* Number of the present start of the transport, counted from 1; 0 while it is not started.
 * BasicHttp_Shutdown() frees every request, so one that was made under another number is gone. */
guint BasicHttp_GetGeneration(void);

BasicHttpRequest *BasicHttp_CreateRequest(const char *url, BasicHttpMethod method,
                                          BasicHttpCookieJar *cookieJar, const char *header,
                                          const char *body);
BasicHttpRequest *BasicHttp_CreateRequestWithSSL(const char *url, BasicHttpMethod method,
                                                 BasicHttpCookieJar *cookieJar, const char *header,
                                                 const char *body, const char *sslCAInfo,
                                                 const char *sslCAPath);
BasicHttpRequest *BasicHttp_CreateRequestEx(const char *url, BasicHttpMethod method, guint32 flags,
                                            BasicHttpCookieJar *cookieJar, const char *header,
                                            BasicHttpSource *body, const char *sslCAInfo,
                                            const char *sslCAPath);
gboolean BasicHttp_SendRequest(BasicHttpRequest *request, BasicHttpOnSentProc onSent,
                               gpointer clientData);
gboolean BasicHttp_SendRequestEx(BasicHttpRequest *request, guint32 options,
                                 BasicHttpProgressProc sendProgress,
                                 BasicHttpProgressProc recvProgress, BasicHttpOnSentProc onSent,
                                 gpointer clientData);
void BasicHttp_CancelRequest(BasicHttpRequest *request);
void BasicHttp_FreeRequest(BasicHttpRequest *request);
void BasicHttp_FreeResponse(BasicHttpResponse *response);
gboolean BasicHttp_GetState(BasicHttpRequest *request, BasicHttpState *state);
gboolean BasicHttp_GetResponseCode(BasicHttpRequest *request, long *code);
gboolean BasicHttp_GetEffectiveURL(BasicHttpRequest *request, const char **url);

gboolean BasicHttp_AppendRequestHeader(BasicHttpRequest *request, const char *text);
gboolean BasicHttp_AppendRangeRequestHeader(BasicHttpRequest *request, gint64 start, gint64 size);
void BasicHttp_SetUserAgent(BasicHttpRequest *request, const char *text);
void BasicHttp_SetNoProxy(BasicHttpRequest *request, const char *text);
void BasicHttp_SetSslCrlFilePath(BasicHttpRequest *request, const char *file);
void BasicHttp_SetSslManualVerification(BasicHttpRequest *request, gboolean value);
void BasicHttp_SetSslCtxProc(BasicHttpRequest *request, BasicHttpSslCtxProc proc);
void BasicHttp_SetFreshConnection(BasicHttpRequest *request);
void BasicHttp_ForbidReuse(BasicHttpRequest *request);
void BasicHttp_SetConnectTimeout(BasicHttpRequest *request, guint seconds);
void BasicHttp_DisableConnectionTimeoutWorkaround(BasicHttpRequest *request);
void BasicHttp_SetProxy(BasicHttpRequest *request, const char *proxy, gint type);
void BasicHttp_SetRequestNameAndPassword(BasicHttpRequest *request, gint authType, const char *name,
                                         const char *password);
void BasicHttp_SetInactivityTimeout(BasicHttpRequest *request, gint kind, guint seconds);
/* Largest response body that is taken, in bytes, for requests created from now on; 0: no limit. */
void BasicHttp_SetMaxResponseSize(gsize bytes);

BasicHttpCookieJar *BasicHttp_CreateCookieJar(void);
BasicHttpCookieJar *BasicHttp_CreateCookieFile(const char *path);
void BasicHttp_FreeCookieJar(BasicHttpCookieJar *jar);
/* FALSE if the line holds CR, LF or another control byte; the jar then stays as it was. */
gboolean BasicHttp_SetInitialCookie(BasicHttpCookieJar *jar, const char *line);
void BasicHttp_NewCookieSession(BasicHttpCookieJar *jar);

BasicHttpSource *BasicHttp_AllocStringSource(const char *text);
BasicHttpSource *BasicHttp_AllocSource(const BasicHttpSourceOps *ops, gpointer priv);
void BasicHttp_FreeSource(BasicHttpSource *source);
gboolean BasicHttp_RewindSource(BasicHttpSource *source);
gboolean BasicHttp_PauseSendRequest(BasicHttpRequest *request, gboolean pause);
gboolean BasicHttp_PauseRecvRequest(BasicHttpRequest *request, gboolean pause);
gboolean BasicHttp_KickRecvRequest(BasicHttpRequest *request);
gboolean BasicHttp_IsPaused(BasicHttpRequest *request, gboolean *recv, gboolean *send);
guint BasicHttp_GetNumResponseHeaders(BasicHttpRequest *request);
const char *BasicHttp_GetResponseHeader(BasicHttpRequest *request, guint index);
gboolean BasicHttp_GetRecvContentInfo(BasicHttpRequest *request, BasicHttpContentInfo *out);

G_END_DECLS
