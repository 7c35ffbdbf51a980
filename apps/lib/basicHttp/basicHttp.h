/*
 * basicHttp.h -- an asynchronous HTTP client over libcurl's multi-socket interface, driven by the
 * application's event loop
 *
 *   BasicHttpRequest *request =
 *       BasicHttp_CreateRequest("https://host/sdk", BASICHTTP_METHOD_POST, jar, NULL, "<x/>");
 *   BasicHttp_AppendRequestHeader(request, "Content-Type: text/xml; charset=utf-8");
 *   if (!BasicHttp_SendRequest(request, OnSent, data)) ...
 *
 *   static void OnSent(BasicHttpRequest *request, BasicHttpResponse *response, gpointer data) {
 *       ... response->errorCode, response->responseCode, response->content ...
 *       BasicHttp_FreeResponse(response);
 *       BasicHttp_FreeRequest(request);
 *   }
 *
 * A request is used once:
 *
 *   IDLE -> SENDING -> SENT -> RECEIVING -> DONE      a start that fails leads back to IDLE
 *
 * Nothing here waits. Sockets and timers are handed to the two functions given to BasicHttp_Init(), and
 * the end of a request is told by a callback of its own of that loop: never from inside libcurl, and
 * never from inside BasicHttp_SendRequest().
 *
 * Guards: only http and https are spoken. At most 10 redirects are followed, and only to the same
 * scheme, host and port, or from http to https on the same host; any other ends the request with
 * BASICHTTP_ERROR_TRANSFER before anything is sent to the other host. Each connection is looked at before
 * the request is sent on it: one that leads elsewhere, or is not encrypted although the URL is https, ends the
 * request with BASICHTTP_ERROR_SSL_SECURITY. Response bodies are taken up to a size, header and trailer lines
 * up to 300 KiB; more end the request with BASICHTTP_ERROR_TRANSFER. Header values with line breaks are refused.
 *
 * Repeats: when a kept connection ends without an answer, a GET or a HEAD is sent again on another one, and so is a
 * request of which no byte was sent. Any other ends with BASICHTTP_ERROR_TRANSFER, since the peer may
 * have done already what it was asked to; see BasicHttp_SetRepeatable().
 *
 * Environment, read with secure_getenv(): HALDEN_HTTPSPROXY is a proxy for every request created while
 * it is set. HALDEN_BASICHTTP_TRACE, looked at when the transport is started, has transfers logged
 * unless its value is "0"; cookies, credentials and the texts of password, ticket, token and cookie
 * elements are not shown.
 *
 * Ownership: who creates a request frees it, when its onSentProc is called or at any time before; the
 *            response belongs to the onSentProc. Texts and headers are copied. A cookie jar may be freed
 *            before its requests. BasicHttp_Shutdown() frees all requests that have been sent.
 * Errors:    a request that cannot be started is a FALSE; what goes wrong later is an errorCode. A bad
 *            state of the program (two starts, a loop that takes no timer) ends the process.
 * Threads:   all of it belongs to the thread of the loop. Nothing is locked.
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

/* What a URL says about the way to the peer. */
typedef enum {
    BASICHTTP_URL_INVALID = 0,     /* not http or https, or not understood in the same way by all */
    BASICHTTP_URL_UNENCRYPTED = 1, /* http to another machine */
    BASICHTTP_URL_LOOPBACK = 2,    /* http to this machine: localhost, 127.0.0.0/8, ::1 */
    BASICHTTP_URL_ENCRYPTED = 3,   /* https */
} BasicHttpUrlKind;

typedef enum {
    BASICHTTP_STATE_IDLE = 0,      /* not sent, or waiting for its turn */
    BASICHTTP_STATE_SENDING = 1,   /* started; the body is not out yet */
    BASICHTTP_STATE_SENT = 2,      /* the body is out */
    BASICHTTP_STATE_RECEIVING = 3, /* bytes of the response's body have come */
    BASICHTTP_STATE_DONE = 4,      /* finished or cancelled */
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
    BASICHTTP_ERROR_TRANSFER = 48, /* bytes could not be sent, received or kept */
    BASICHTTP_ERROR_SSL_SECURITY =
        49, /* the peer, its certificate or a TLS engine was not accepted */
    BASICHTTP_ERROR_CONNECT_TIMEOUT = 50,    /* see BasicHttp_SetConnectTimeout() */
    BASICHTTP_ERROR_INACTIVITY_TIMEOUT = 51, /* see BasicHttp_SetInactivityTimeout() */
    BASICHTTP_ERROR_GENERIC = 52,            /* anything else; the log has libcurl's name for it */
} BasicHttpErrorCode;

/* Flags of a request. */
enum {
    BASICHTTP_REQUEST_NODELAY = 1, /* TCP_NODELAY on its sockets */
    BASICHTTP_REQUEST_TUNNEL = 2,  /* through a proxy by CONNECT, for http as well */
};

/* Options of a send: the body of the response is only shown to the progress proc, not kept. */
enum { BASICHTTP_OPTION_NO_BUFFER = 1 };
enum { BASICHTTP_PROXY_NONE = 0, BASICHTTP_PROXY_HTTP = 1, BASICHTTP_PROXY_SOCKS4 = 2 };
enum { BASICHTTP_AUTH_BASIC = 1, BASICHTTP_AUTH_DIGEST = 2, BASICHTTP_AUTH_NTLM = 3 };
enum { BASICHTTP_TIMEOUT_SENDING = 1, BASICHTTP_TIMEOUT_SENT = 2, BASICHTTP_TIMEOUT_RECEIVING = 3 };

/* Stands for a jar that all requests share who name it; it lives as long as the transport. */
#define BASICHTTP_DEFAULT_COOKIE_JAR ((BasicHttpCookieJar *)1)

/* How a request ended. All of it is freed by BasicHttp_FreeResponse(). */
typedef struct {
    BasicHttpErrorCode errorCode;
    long responseCode;   /* HTTP status; 0 if there was none; 503 after a connection time-out */
    char *content;       /* the bytes of the body that came, with a NUL behind them; never NULL */
    gsize contentLength; /* bytes in content, without the closing NUL */
    char *effectiveURL;  /* where the last redirect led; may be NULL */
} BasicHttpResponse;

/* What the headers of the response say of its body, in bytes; -1 for what they do not say. */
typedef struct {
    gint64 totalSize; /* of the whole of which this is a range */
    gint64 contentLength;
    gint64 rangeStart; /* 0 unless told otherwise */
    gint64 rangeEnd;   /* the last byte of the range */
} BasicHttpContentInfo;

/* A body of any origin. */
typedef struct {
    /* Puts at most size * count bytes into the buffer; answers how many, 0 at the end, -1 if it fails,
     * which ends the request with BASICHTTP_ERROR_GENERIC. */
    gssize (*read)(gpointer priv, char *buffer, gsize size, gsize count);
    /* Starts over, for a redirect or a second try with credentials; FALSE if it cannot. */
    gboolean (*rewind)(gpointer priv);
    /* Bytes in all, which is how many are announced to the server. */
    gsize (*length)(gpointer priv);
    /* Releases priv. */
    void (*destruct)(gpointer priv);
} BasicHttpSourceOps;

/**
 * BasicHttpOnSentProc:
 * @request: the request, in state DONE
 * @response: (transfer full): how it ended
 * @clientData: what was given to BasicHttp_SendRequest()
 *
 * Called once for each request that was sent and not cancelled, from a callback of the loop. It may do
 * anything, such as send further requests, free this one, or shut the transport down.
 */
typedef void (*BasicHttpOnSentProc)(BasicHttpRequest *request, BasicHttpResponse *response,
                                    gpointer clientData);

/**
 * BasicHttpProgressProc:
 * @request: the request
 * @bytes: number of bytes that came; 0 when sending
 * @buffer: (array length=bytes) (nullable): those bytes, valid during the call; %NULL when sending
 * @elapsedMicroseconds: time since the last call for this request
 * @transferred: bytes in this direction so far
 * @rate: bytes per second in this direction; 0 while it is not measured
 * @clientData: what was given to BasicHttp_SendRequestEx()
 *
 * Called from inside libcurl: before the next piece of the body is read, or when a piece of the response
 * has come. Bytes that were answered with %FALSE are shown again after the transfer is resumed. It may
 * cancel or free requests and shut the transport down; what it sends starts a little later.
 *
 * Returns: %FALSE to pause this direction
 */
typedef gboolean (*BasicHttpProgressProc)(BasicHttpRequest *request, gsize bytes,
                                          const char *buffer, gint64 elapsedMicroseconds,
                                          guint64 transferred, guint64 rate, gpointer clientData);

/**
 * BasicHttpSslCtxProc:
 * @request: the request
 * @sslContext: the SSL_CTX of libcurl's new connection
 * @clientData: what was given to BasicHttp_SendRequest()
 *
 * Called from inside libcurl before a TLS handshake with the peer of the URL; not for a connection that is used
 * again. It is not called for an https proxy that was given to BasicHttp_SetProxy(), whose certificate libcurl checks by
 * the authorities of the machine; with one that libcurl finds in the environment, or with hosts that are reached without a
 * proxy, it is called for the proxy, too. Needs a libcurl
 * of the OpenSSL that the TLS layer has opened: with any other the request ends with
 * BASICHTTP_ERROR_SSL_SECURITY.
 */
typedef void (*BasicHttpSslCtxProc)(BasicHttpRequest *request, gpointer sslContext,
                                    gpointer clientData);

/**
 * BasicHttpConnectedProc:
 * @request: the request
 * @isEncrypted: whether the connection is one of TLS
 * @ssl: (nullable): its SSL; %NULL without TLS, and if libcurl's OpenSSL is not the one of the TLS layer
 * @clientData: what was given to BasicHttp_SendRequest()
 *
 * Called from inside libcurl when the request has a connection, a new one or one that was kept, and no byte of
 * it was sent there; once more after each redirect.
 *
 * Returns: %FALSE to send nothing: the request ends with BASICHTTP_ERROR_SSL_SECURITY
 */
typedef gboolean (*BasicHttpConnectedProc)(BasicHttpRequest *request, gboolean isEncrypted,
                                           gpointer ssl, gpointer clientData);

/* BasicHttp_InitEx() without a limit. */
gboolean BasicHttp_Init(OrvanePollCallback pollCallback,
                        OrvanePollCallbackRemove pollCallbackRemove);

/**
 * BasicHttp_InitEx:
 * @pollCallback: (scope forever): registers a callback with the loop; must not call it at once
 * @pollCallbackRemove: (scope forever): takes one off; what is not there is no error
 * @maxOutstandingRequests: how many requests run at once, as an unsigned number, so that -1 is no limit.
 *   Further ones wait in the order of sending. A request counts until it is freed
 *
 * Starts the transport. Starting it twice ends the process; after a shutdown it can be started again.
 *
 * Returns: %FALSE if libcurl cannot be started
 */
gboolean BasicHttp_InitEx(OrvanePollCallback pollCallback,
                          OrvanePollCallbackRemove pollCallbackRemove, gint maxOutstandingRequests);

/* Frees every request that was sent, without calling its onSentProc, takes everything off the loop and
 * ends libcurl. Requests that were never sent stay their creator's. Allowed from any callback; may be
 * called when nothing was started. */
void BasicHttp_Shutdown(void);
gboolean BasicHttp_IsInited(void);

/* Number of the present start of the transport, counted from 1; 0 while it is not started.
 * BasicHttp_Shutdown() frees every request, so one that was made under another number is gone. */
guint BasicHttp_GetGeneration(void);

/* BasicHttp_CreateRequestWithSSL() without certificates to check the server by. */
BasicHttpRequest *BasicHttp_CreateRequest(const char *url, BasicHttpMethod method,
                                          BasicHttpCookieJar *cookieJar, const char *header,
                                          const char *body);

/* Request headers that many requests have alike. They belong to whoever made them and to every request
 * that was given them. */
typedef struct BasicHttpHeaders BasicHttpHeaders;

/* Copies the texts, up to a NULL; NULL, after a line in the log, if one has a line break. */
BasicHttpHeaders *BasicHttp_CreateHeaders(const char *const *texts);
/* NULL is allowed. */
void BasicHttp_FreeHeaders(BasicHttpHeaders *headers);
/* In place of the headers that the request has. More may be appended, to this request only. */
void BasicHttp_SetHeaders(BasicHttpRequest *request, BasicHttpHeaders *headers);

/* BasicHttp_CreateRequest() for a POST with a body that becomes the request's, also if none is made. */
BasicHttpRequest *BasicHttp_CreatePost(const char *url, BasicHttpCookieJar *cookieJar,
                                       BasicHttpSource *body);

/* BasicHttp_CreateRequestEx() with a body that is a text, which is copied; NULL for none. */
BasicHttpRequest *BasicHttp_CreateRequestWithSSL(const char *url, BasicHttpMethod method,
                                                 BasicHttpCookieJar *cookieJar, const char *header,
                                                 const char *body, const char *sslCAInfo,
                                                 const char *sslCAPath);

/**
 * BasicHttp_CreateRequestEx:
 * @url: where to; without a scheme it is http. An IPv6 host may have a zone: "http://[fe80::1%eth0]/"
 * @method: the method; POST and PUT send @body
 * @flags: BASICHTTP_REQUEST_NODELAY, BASICHTTP_REQUEST_TUNNEL
 * @cookieJar: (nullable): a jar, %BASICHTTP_DEFAULT_COOKIE_JAR, or %NULL to keep cookies for this request only
 * @header: (nullable): a first header, such as "Accept: text/xml"
 * @body: (nullable) (transfer none): must live until the request is freed
 * @sslCAInfo: (nullable): file of certificates to check the server by
 * @sslCAPath: (nullable): directory of such certificates
 *
 * Without @sslCAInfo and @sslCAPath the server's certificate is not checked by libcurl.
 *
 * Returns: (transfer full) (nullable): a request in state IDLE; %NULL for no URL, an unknown method, or a
 *   @header with a line break
 */
BasicHttpRequest *BasicHttp_CreateRequestEx(const char *url, BasicHttpMethod method, guint32 flags,
                                            BasicHttpCookieJar *cookieJar, const char *header,
                                            BasicHttpSource *body, const char *sslCAInfo,
                                            const char *sslCAPath);

/* BasicHttp_SendRequestEx() without options and progress. */
gboolean BasicHttp_SendRequest(BasicHttpRequest *request, BasicHttpOnSentProc onSent,
                               gpointer clientData);

/**
 * BasicHttp_SendRequestEx:
 * @request: a request in state IDLE
 * @options: BASICHTTP_OPTION_NO_BUFFER or 0
 * @sendProgress: (nullable) (scope async): called as the body is read
 * @recvProgress: (nullable) (scope async): called as the response comes
 * @onSent: (scope async): told of the end
 * @clientData: given to all procs, that of TLS included
 *
 * Starts the request, or lets it wait for its turn. The first bytes may be out when this returns, and the
 * progress procs may have been called; @onSent is not.
 *
 * Returns: %TRUE if @onSent will be called, unless the request is cancelled before. %FALSE if not: no @onSent,
 *   not IDLE, no transport, or libcurl refuses an option; the request is then as it was
 */
gboolean BasicHttp_SendRequestEx(BasicHttpRequest *request, guint32 options,
                                 BasicHttpProgressProc sendProgress,
                                 BasicHttpProgressProc recvProgress, BasicHttpOnSentProc onSent,
                                 gpointer clientData);

/* Ends a request without a call of its onSentProc; its state is then DONE. NULL is allowed. */
void BasicHttp_CancelRequest(BasicHttpRequest *request);

/* Cancels a request and releases it. Allowed in any state and from any callback. NULL is allowed. */
void BasicHttp_FreeRequest(BasicHttpRequest *request);

/* NULL is allowed. */
void BasicHttp_FreeResponse(BasicHttpResponse *response);

/* FALSE if an argument is NULL. */
gboolean BasicHttp_GetState(BasicHttpRequest *request, BasicHttpState *state);

/* HTTP status as far as it is known, else 0; FALSE before the request was started. */
gboolean BasicHttp_GetResponseCode(BasicHttpRequest *request, long *code);

/* Where redirects have led so far; the text is the request's. FALSE before it was started. */
gboolean BasicHttp_GetEffectiveURL(BasicHttpRequest *request, const char **url);

/* Settings, to be made between creation and sending. Texts are copied. */

/* Adds a header, such as "Accept: text/xml"; "Expect: " takes away one that libcurl would send. FALSE if
 * an argument is NULL, for a text with a line break, and without memory. */
gboolean BasicHttp_AppendRequestHeader(BasicHttpRequest *request, const char *text);

/* Asks for so many bytes from a place on; for all of the rest if size is below 1. */
gboolean BasicHttp_AppendRangeRequestHeader(BasicHttpRequest *request, gint64 start, gint64 size);

/* NULL is "Halden-client"; a text with a line break is refused and logged. */
void BasicHttp_SetUserAgent(BasicHttpRequest *request, const char *text);

/* Hosts that are reached without a proxy, separated by commas. */
void BasicHttp_SetNoProxy(BasicHttpRequest *request, const char *text);

/* File of revoked certificates; counts only if certificates are checked. */
void BasicHttp_SetSslCrlFilePath(BasicHttpRequest *request, const char *file);

/* TRUE: libcurl checks the certificate's chain by the defaults of the TLS context, which the proc below
 * can change, and leaves the host's name to the application. */
void BasicHttp_SetSslManualVerification(BasicHttpRequest *request, gboolean value);
void BasicHttp_SetSslCtxProc(BasicHttpRequest *request, BasicHttpSslCtxProc proc);

/* As if the request had been created with these; NULL or an empty text for none. */
void BasicHttp_SetSslAuthorities(BasicHttpRequest *request, const char *sslCAInfo,
                                 const char *sslCAPath);

/* TRUE: libcurl checks certificate and name also if no CA certificates were named, by those of the machine. */
void BasicHttp_SetSslVerification(BasicHttpRequest *request, gboolean value);

void BasicHttp_SetConnectedProc(BasicHttpRequest *request, BasicHttpConnectedProc proc);

/* TRUE: nothing is sent but over TLS, or without a proxy to a URL of this machine that has led to a loopback
 * address. Ends the request with BASICHTTP_ERROR_SSL_SECURITY. */
void BasicHttp_SetStrict(BasicHttpRequest *request, gboolean value);

/* Whether the request may be sent again when its connection ended without an answer. At first TRUE for GET and HEAD
 * and FALSE for the others. */
void BasicHttp_SetRepeatable(BasicHttpRequest *request, gboolean value);

/* The request opens a connection of its own. */
void BasicHttp_SetFreshConnection(BasicHttpRequest *request);

/* Its connection is closed afterwards. */
void BasicHttp_ForbidReuse(BasicHttpRequest *request);

/* How long it may take until the connection stands, 0 for libcurl's limit only, which is 60 seconds.
 * Ends the request with BASICHTTP_ERROR_CONNECT_TIMEOUT. */
void BasicHttp_SetConnectTimeout(BasicHttpRequest *request, guint seconds);

/* Leaves the connection time-out to libcurl, which then reports BASICHTTP_ERROR_OPERATION_TIMEDOUT. */
void BasicHttp_DisableConnectionTimeoutWorkaround(BasicHttpRequest *request);

/* type is a BASICHTTP_PROXY_...; with BASICHTTP_PROXY_NONE no proxy is used, whatever the environment
 * says. Without this call libcurl's own variables count (http_proxy and so on). */
void BasicHttp_SetProxy(BasicHttpRequest *request, const char *proxy, gint type);

/* authType is a BASICHTTP_AUTH_..., 0 for none, greater for any; a negative one changes nothing. Without
 * name or password both are forgotten. */
void BasicHttp_SetRequestNameAndPassword(BasicHttpRequest *request, gint authType, const char *name,
                                         const char *password);

/* How long a state may last without a byte moving, 0 for ever; kind is a BASICHTTP_TIMEOUT_..., another
 * ends the process. Looked at every 2 seconds; not while the request is paused. Ends the request with
 * BASICHTTP_ERROR_INACTIVITY_TIMEOUT. */
void BasicHttp_SetInactivityTimeout(BasicHttpRequest *request, gint kind, guint seconds);

/* Largest response body that is kept, in bytes, for requests created from now on; 0: no limit. It is
 * 256 MiB at first. A larger one ends the request with BASICHTTP_ERROR_TRANSFER. */
void BasicHttp_SetMaxResponseSize(gsize bytes);
/* The same for one request. */
void BasicHttp_SetRequestMaxResponseSize(BasicHttpRequest *request, gsize bytes);

/* A jar in memory, which any number of requests may share at the same time; NULL without memory. */
BasicHttpCookieJar *BasicHttp_CreateCookieJar(void);

/* Requests with this jar use connections that they open, and no others do; they are closed when the jar goes.
 * To be called before the jar's first request. FALSE: not for a file, or libcurl refuses. */
gboolean BasicHttp_KeepConnectionsApart(BasicHttpCookieJar *jar);

/* A jar that is a file: read when a request starts, written when it is freed. */
BasicHttpCookieJar *BasicHttp_CreateCookieFile(const char *path);

/* Requests that were created with it keep it alive as long as they live. NULL is allowed. */
void BasicHttp_FreeCookieJar(BasicHttpCookieJar *jar);

/**
 * BasicHttp_SetInitialCookie:
 * @jar: the jar
 * @line: (nullable): "Set-Cookie: name=value; Path=/", or a line of a cookie file; %NULL for none
 *
 * Gives the jar a cookie to start with; the next request that is started with it puts it in. A
 * "Set-Cookie" without a Domain is bound to exactly the host of that request, and one that starts under
 * https is never sent unencrypted.
 *
 * Returns: %FALSE if the line has another form or holds a control byte; the jar then stays as it was
 */
gboolean BasicHttp_SetInitialCookie(BasicHttpCookieJar *jar, const char *line);

/* The next request leaves out the cookies of its file that were meant for one session only. */
void BasicHttp_NewCookieSession(BasicHttpCookieJar *jar);

/* A source with a copy of a text, without its NUL. After its last byte it can be read again. The copy is
 * wiped before it is freed. */
BasicHttpSource *BasicHttp_AllocStringSource(const char *text);

/* The same, with the text itself, which g_free() is to free. */
BasicHttpSource *BasicHttp_TakeStringSource(char *text, gsize length);

/* A source of the application's own. The table must outlive it; priv is its own from now on. */
BasicHttpSource *BasicHttp_AllocSource(const BasicHttpSourceOps *ops, gpointer priv);

/* NULL is allowed. */
void BasicHttp_FreeSource(BasicHttpSource *source);

/* FALSE for NULL, or if the source cannot start over. */
gboolean BasicHttp_RewindSource(BasicHttpSource *source);

/* Judges the URL that a request to it would use: by libcurl's own parser, without the zone. NULL is invalid. */
BasicHttpUrlKind BasicHttp_JudgeUrl(const char *url);

/* Whether the URL, of either scheme, names this machine. */
gboolean BasicHttp_IsLoopbackUrl(const char *url);

/**
 * BasicHttp_Redact:
 * @text: (nullable): a text from a peer
 *
 * Makes a text for the log: its beginning, without the values of cookie and authorization headers and the texts of
 * password, passphrase, ticket, token, cookie and key elements, also where their tags are escaped.
 *
 * Returns: (transfer full) (nullable): the text; free with g_free()
 */
char *BasicHttp_Redact(const char *text);

/* Stop and go on with one direction of a transfer. FALSE before the request was started, or if libcurl
 * has no connection for it yet; nothing has changed then. Going on may call the progress procs at once,
 * and they may free the request. */
gboolean BasicHttp_PauseSendRequest(BasicHttpRequest *request, gboolean pause);
gboolean BasicHttp_PauseRecvRequest(BasicHttpRequest *request, gboolean pause);

/* Pauses and resumes the receiving side, so that libcurl looks at what it has kept. TRUE if it is not
 * paused at the end. */
gboolean BasicHttp_KickRecvRequest(BasicHttpRequest *request);

/* FALSE for no request; either result may be NULL. */
gboolean BasicHttp_IsPaused(BasicHttpRequest *request, gboolean *recv, gboolean *send);

/* The response's headers, "Name: value" each, in the order in which they came, those of redirects on the
 * way included. The text is the request's; NULL past the end. */
guint BasicHttp_GetNumResponseHeaders(BasicHttpRequest *request);
const char *BasicHttp_GetResponseHeader(BasicHttpRequest *request, guint index);

/* FALSE if an argument is NULL. */
gboolean BasicHttp_GetRecvContentInfo(BasicHttpRequest *request, BasicHttpContentInfo *out);

G_END_DECLS
