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
 * No function blocks. Sockets and timers are registered with the two functions given to BasicHttp_Init(). The end of a
 * request is reported from a separate callback of that loop, never from inside libcurl or
 * BasicHttp_SendRequest().
 *
 * Guards: only http and https are used. At most 10 redirects are followed, and only to the same
 * scheme, host and port, or from http to https on the same host; any other ends the request with
 * BASICHTTP_ERROR_TRANSFER before anything is sent to the other host. Each connection is checked before
 * the request is sent on it: another origin, or no encryption although the URL is https, ends the
 * request with BASICHTTP_ERROR_SSL_SECURITY. Response bodies are limited in size, header and trailer lines
 * to 300 KiB; more ends the request with BASICHTTP_ERROR_TRANSFER. Header values with line breaks are refused.
 *
 * Repeats: when a kept connection ends without an answer, a GET or a HEAD is sent again on another one, and so is a
 * request of which no byte was sent. Any other ends with BASICHTTP_ERROR_TRANSFER, since the peer may
 * have carried it out already; see BasicHttp_SetRepeatable().
 *
 * Environment, read with secure_getenv(): HALDEN_HTTPSPROXY is a proxy for every request created while
 * it is set. HALDEN_BASICHTTP_TRACE, read when the transport is started, switches a log of transfers on
 * unless its value is "0"; it shows no secrets, see BasicHttp_Redact().
 *
 * Ownership: the creator of a request frees it, when its onSentProc is called or at any time before; the
 *            response is owned by the onSentProc. Texts and headers are copied. A cookie jar may be freed
 *            before its requests. BasicHttp_Shutdown() frees all requests that have been sent.
 * Errors:    a request that cannot be started returns FALSE; later failures are reported as an errorCode. A bad
 *            state of the program (two starts, a loop that refuses a timer) ends the process.
 * Threads:   the thread of the loop only. Nothing is locked.
 */
#pragma once

#include <glib.h>

#include <orvane/loop.h>

G_BEGIN_DECLS

typedef struct BasicHttpRequest BasicHttpRequest;
typedef struct BasicHttpCookieJar BasicHttpCookieJar;
typedef struct BasicHttpSource BasicHttpSource;
typedef struct BasicHttpBandwidthGroup BasicHttpBandwidthGroup;

typedef enum {
    BASICHTTP_METHOD_GET = 0,
    BASICHTTP_METHOD_POST = 1,
    BASICHTTP_METHOD_HEAD = 2,
    BASICHTTP_METHOD_DELETE = 3,
    BASICHTTP_METHOD_PUT = 4,
} BasicHttpMethod;

/* How a request to a URL travels. */
typedef enum {
    BASICHTTP_URL_INVALID = 0,     /* not http or https, or parsers read its host differently */
    BASICHTTP_URL_UNENCRYPTED = 1, /* http to another machine */
    BASICHTTP_URL_LOOPBACK = 2,    /* http to this machine: localhost, 127.0.0.0/8, ::1 */
    BASICHTTP_URL_ENCRYPTED = 3,   /* https */
} BasicHttpUrlKind;

typedef enum {
    BASICHTTP_STATE_IDLE = 0,      /* not sent, or waiting for its turn */
    BASICHTTP_STATE_SENDING = 1,   /* started; the body was not sent completely */
    BASICHTTP_STATE_SENT = 2,      /* the body was sent */
    BASICHTTP_STATE_RECEIVING = 3, /* bytes of the response's body were received */
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
    BASICHTTP_ERROR_TRANSFER = 48, /* bytes could not be sent, received or stored */
    BASICHTTP_ERROR_SSL_SECURITY =
        49, /* the peer, its certificate or a TLS engine was not accepted */
    BASICHTTP_ERROR_CONNECT_TIMEOUT = 50,    /* see BasicHttp_SetConnectTimeout() */
    BASICHTTP_ERROR_INACTIVITY_TIMEOUT = 51, /* see BasicHttp_SetInactivityTimeout() */
    BASICHTTP_ERROR_GENERIC = 52,            /* any other; libcurl's text for it is in the log */
} BasicHttpErrorCode;

/* Flags of a request. */
enum {
    BASICHTTP_REQUEST_NODELAY = 1, /* TCP_NODELAY on its sockets */
    BASICHTTP_REQUEST_TUNNEL = 2,  /* through a proxy by CONNECT, for http as well */
};

/* Options of a send: the response's body is only passed to the progress proc, and not stored. */
enum { BASICHTTP_OPTION_NO_BUFFER = 1 };
enum { BASICHTTP_PROXY_NONE = 0, BASICHTTP_PROXY_HTTP = 1, BASICHTTP_PROXY_SOCKS4 = 2 };
enum { BASICHTTP_AUTH_BASIC = 1, BASICHTTP_AUTH_DIGEST = 2, BASICHTTP_AUTH_NTLM = 3 };
enum { BASICHTTP_TIMEOUT_SENDING = 1, BASICHTTP_TIMEOUT_SENT = 2, BASICHTTP_TIMEOUT_RECEIVING = 3 };

/* The jar that is shared by all requests created with this value; it lives as long as the transport. */
#define BASICHTTP_DEFAULT_COOKIE_JAR ((BasicHttpCookieJar *)1)

/* How a request ended. All of it is freed by BasicHttp_FreeResponse(). */
typedef struct {
    BasicHttpErrorCode errorCode;
    long responseCode;   /* HTTP status; 0 if there was none; 503 after a connection time-out */
    char *content;       /* the received bytes of the body, followed by a NUL; never NULL */
    gsize contentLength; /* bytes in content, without the closing NUL */
    char *effectiveURL;  /* the URL after the last redirect; may be NULL */
} BasicHttpResponse;

/* The response's body by its headers, in bytes; -1 for unknown. */
typedef struct {
    gint64 totalSize; /* of the document of which the body is a range */
    gint64 contentLength;
    gint64 rangeStart; /* 0 without a range */
    gint64 rangeEnd;   /* the last byte of the range */
} BasicHttpContentInfo;

/* The functions of a request body. */
typedef struct {
    /* Stores at most size * count bytes in the buffer. Returns how many, 0 at the end, -1 on failure,
     * which ends the request with BASICHTTP_ERROR_GENERIC. */
    gssize (*read)(gpointer priv, char *buffer, gsize size, gsize count);
    /* Starts over, for a redirect or a second try with credentials; FALSE if it cannot. */
    gboolean (*rewind)(gpointer priv);
    /* Returns the length in bytes, which is announced to the server. */
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
 * was received. If it returns %FALSE, it is called again with the same bytes after the transfer is resumed. It may
 * cancel or free requests and shut the transport down; requests that it sends are started later.
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
 * again. It is not called for an https proxy set by BasicHttp_SetProxy(), whose certificate libcurl checks by the
 * authorities of the machine. If libcurl finds the proxy in the environment, or some hosts are reached without it, the
 * proc is called for the proxy, too. It needs a libcurl with the OpenSSL of the TLS layer: with any other the request ends
 * with BASICHTTP_ERROR_SSL_SECURITY.
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
 * Called from inside libcurl when a new or a kept connection was assigned to the request, before any byte of it is
 * sent there; called again after each redirect.
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
 * @pollCallback: (scope forever): registers a callback with the loop; must not invoke it before it returns
 * @pollCallbackRemove: (scope forever): removes one; to remove an unknown one is no error
 * @maxOutstandingRequests: how many requests run at once, as an unsigned number, so that -1 is no limit.
 *   Further ones wait in the order of sending. A request counts until it is freed
 *
 * Starts the transport. Starting it twice ends the process; after a shutdown it can be started again.
 *
 * Returns: %FALSE if libcurl cannot be started
 */
gboolean BasicHttp_InitEx(OrvanePollCallback pollCallback,
                          OrvanePollCallbackRemove pollCallbackRemove, gint maxOutstandingRequests);

/* Frees every request that was sent, without calling its onSentProc, removes all callbacks from the loop and
 * ends libcurl. Requests that were never sent remain owned by their creator. Allowed from any callback, and
 * before a start. */
void BasicHttp_Shutdown(void);
gboolean BasicHttp_IsInited(void);

/* Number of the current start of the transport, counted from 1; 0 while it is not started.
 * BasicHttp_Shutdown() frees every request, so one that was sent under another number no longer exists. */
guint BasicHttp_GetGeneration(void);

/* BasicHttp_CreateRequestWithSSL() without certificates to check the server by. */
BasicHttpRequest *BasicHttp_CreateRequest(const char *url, BasicHttpMethod method,
                                          BasicHttpCookieJar *cookieJar, const char *header,
                                          const char *body);

/* Request headers shared by many requests. They are owned by their creator and by each of these requests. */
typedef struct BasicHttpHeaders BasicHttpHeaders;

/* Copies a NULL-terminated array of texts. NULL, with a line in the log, if one has a line break. */
BasicHttpHeaders *BasicHttp_CreateHeaders(const char *const *texts);
/* NULL is allowed. */
void BasicHttp_FreeHeaders(BasicHttpHeaders *headers);
/* Replaces the headers of the request. More can be appended; they are sent with this request only. */
void BasicHttp_SetHeaders(BasicHttpRequest *request, BasicHttpHeaders *headers);

/* BasicHttp_CreateRequest() for a POST. The body is owned by the request, and freed if none is created. */
BasicHttpRequest *BasicHttp_CreatePost(const char *url, BasicHttpCookieJar *cookieJar,
                                       BasicHttpSource *body);

/* BasicHttp_CreateRequestEx() with a body that is a text, which is copied; NULL for none. */
BasicHttpRequest *BasicHttp_CreateRequestWithSSL(const char *url, BasicHttpMethod method,
                                                 BasicHttpCookieJar *cookieJar, const char *header,
                                                 const char *body, const char *sslCAInfo,
                                                 const char *sslCAPath);

/**
 * BasicHttp_CreateRequestEx:
 * @url: the URL; without a scheme it is http. An IPv6 host may have a zone: "http://[fe80::1%eth0]/"
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
 * @onSent: (scope async): called at the end
 * @clientData: given to all procs, that of TLS included
 *
 * Starts the request, or queues it. When this returns, the first bytes may have been sent, and the
 * progress procs may have been called, but not @onSent.
 *
 * Returns: %TRUE if @onSent will be called, unless the request is cancelled before. %FALSE without @onSent, if
 *   the request is not IDLE, without a transport, or if libcurl refuses an option; the request is then unchanged
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

/* Returns the HTTP status, 0 while it is unknown. FALSE before the request was started. */
gboolean BasicHttp_GetResponseCode(BasicHttpRequest *request, long *code);

/* Returns the URL after the redirects so far; owned by the request. FALSE before it was started. */
gboolean BasicHttp_GetEffectiveURL(BasicHttpRequest *request, const char **url);

/* Settings, to be made between creation and sending. Texts are copied. */

/* Adds a header, such as "Accept: text/xml"; "Expect: " removes one that libcurl would send. FALSE if
 * an argument is NULL, for a text with a line break, and without memory. */
gboolean BasicHttp_AppendRequestHeader(BasicHttpRequest *request, const char *text);

/* Requests size bytes from an offset; all further bytes if size is below 1. */
gboolean BasicHttp_AppendRangeRequestHeader(BasicHttpRequest *request, gint64 start, gint64 size);

/* NULL is "Halden-client"; a text with a line break is refused and logged. */
void BasicHttp_SetUserAgent(BasicHttpRequest *request, const char *text);

/* Hosts that are reached without a proxy, separated by commas. */
void BasicHttp_SetNoProxy(BasicHttpRequest *request, const char *text);

/* File of revoked certificates; only used if certificates are checked. */
void BasicHttp_SetSslCrlFilePath(BasicHttpRequest *request, const char *file);

/* TRUE: libcurl checks the certificate's chain by the defaults of the TLS context, which the proc below
 * can change, and not the host's name. */
void BasicHttp_SetSslManualVerification(BasicHttpRequest *request, gboolean value);
void BasicHttp_SetSslCtxProc(BasicHttpRequest *request, BasicHttpSslCtxProc proc);

/* Replaces those of the creation; NULL or an empty text for none. */
void BasicHttp_SetSslAuthorities(BasicHttpRequest *request, const char *sslCAInfo,
                                 const char *sslCAPath);

/* TRUE: libcurl checks certificate and name also if no CA certificates were named, by those of the machine. */
void BasicHttp_SetSslVerification(BasicHttpRequest *request, gboolean value);

void BasicHttp_SetConnectedProc(BasicHttpRequest *request, BasicHttpConnectedProc proc);

/* TRUE: the request is only sent over TLS, or without a proxy to a URL of this machine if the connection leads to a
 * loopback address. Otherwise it ends with BASICHTTP_ERROR_SSL_SECURITY. */
void BasicHttp_SetStrict(BasicHttpRequest *request, gboolean value);

/* Whether the request may be sent again when its connection ended without an answer. At first TRUE for GET and HEAD
 * and FALSE for the others. */
void BasicHttp_SetRepeatable(BasicHttpRequest *request, gboolean value);

/* The request opens a connection of its own. */
void BasicHttp_SetFreshConnection(BasicHttpRequest *request);

/* Its connection is closed afterwards. */
void BasicHttp_ForbidReuse(BasicHttpRequest *request);

/* TCP itself checks that the peer of the request's connection is there, also of one that was kept. A peer that does
 * not even confirm what it gets ends the connection within two minutes. */
void BasicHttp_SetDetectDeadPeer(BasicHttpRequest *request);

/* Time limit for the connection to be established; 0 for libcurl's limit only, which is 60 seconds.
 * Ends the request with BASICHTTP_ERROR_CONNECT_TIMEOUT. */
void BasicHttp_SetConnectTimeout(BasicHttpRequest *request, guint seconds);

/* Leaves the connection time-out to libcurl, which then reports BASICHTTP_ERROR_OPERATION_TIMEDOUT. */
void BasicHttp_DisableConnectionTimeoutWorkaround(BasicHttpRequest *request);

/* type is a BASICHTTP_PROXY_...; with BASICHTTP_PROXY_NONE no proxy is used, also if the environment names
 * one. Without this call libcurl's own variables are used (http_proxy and so on). */
void BasicHttp_SetProxy(BasicHttpRequest *request, const char *proxy, gint type);

/* authType is a BASICHTTP_AUTH_..., 0 for none, greater for any; a negative one changes nothing. Without
 * name or password both are cleared. */
void BasicHttp_SetRequestNameAndPassword(BasicHttpRequest *request, gint authType, const char *name,
                                         const char *password);

/* Time limit for a state without a byte sent or received, 0 for none; kind is a BASICHTTP_TIMEOUT_..., another
 * ends the process. Checked every 2 seconds, but not while the request is paused. Ends the request with
 * BASICHTTP_ERROR_INACTIVITY_TIMEOUT. */
void BasicHttp_SetInactivityTimeout(BasicHttpRequest *request, gint kind, guint seconds);

/**
 * BasicHttp_SetLimits:
 * @request: a request that was not sent
 * @connect: milliseconds until a connection must be established; 0 for no limit
 * @inactivity: milliseconds without a byte sent or received; 0 for no limit. Pauses do not count
 * @total: milliseconds until the end of the response; 0 for no limit
 *
 * These limits have timers of their own, exact to a millisecond, and are independent of the time-outs above. They end
 * the request with BASICHTTP_ERROR_CONNECT_TIMEOUT, _INACTIVITY_TIMEOUT or _OPERATION_TIMEDOUT. Its connection is closed.
 */
void BasicHttp_SetLimits(BasicHttpRequest *request, guint connect, guint inactivity, guint total);

/* Largest response body in bytes, for requests created from now on; 0: no limit. The default is
 * 256 MiB. A larger one ends the request with BASICHTTP_ERROR_TRANSFER. */
void BasicHttp_SetMaxResponseSize(gsize bytes);
/* The same for one request. */
void BasicHttp_SetRequestMaxResponseSize(BasicHttpRequest *request, gsize bytes);

/* Most connections that are kept open for later requests, those in use included; the default is 4,096. As many are kept as
 * the jars and the requests of the last minute need, and at least 32. Idle ones beyond that, or older than libcurl's age
 * limit, are closed when libcurl next looks at them, so a process without requests keeps some. */
void BasicHttp_SetMaxKeptConnections(guint number);

/* A jar in memory, which any number of requests may share at the same time; NULL without memory. */
BasicHttpCookieJar *BasicHttp_CreateCookieJar(void);

/* Requests with this jar only use connections that they have opened, and no other requests use these; they are closed
 * when the jar is freed. To be called before the jar's first request. FALSE for a file, or if libcurl refuses. */
gboolean BasicHttp_KeepConnectionsApart(BasicHttpCookieJar *jar);

/* A jar that is a file: read when a request starts, written when it is freed. */
BasicHttpCookieJar *BasicHttp_CreateCookieFile(const char *path);

/* Requests that were created with the jar keep it alive. NULL is allowed. */
void BasicHttp_FreeCookieJar(BasicHttpCookieJar *jar);

/**
 * BasicHttp_SetInitialCookie:
 * @jar: the jar
 * @line: (nullable): "Set-Cookie: name=value; Path=/", or a line of a cookie file; %NULL for none
 *
 * Sets a cookie that the next request with the jar enters when it is started. A
 * "Set-Cookie" without a Domain is bound to exactly the host of that request. A cookie that is entered under
 * https is never sent unencrypted.
 *
 * Returns: %FALSE if the line has another form or holds a control byte; the jar is then unchanged
 */
gboolean BasicHttp_SetInitialCookie(BasicHttpCookieJar *jar, const char *line);

/* The next request ignores the session cookies of its file. */
void BasicHttp_NewCookieSession(BasicHttpCookieJar *jar);

/* A source with a copy of a text, without its NUL. After its last byte it can be read again. The copy is
 * wiped before it is freed. */
BasicHttpSource *BasicHttp_AllocStringSource(const char *text);

/* The same, and takes over the text, which is freed with g_free(). */
BasicHttpSource *BasicHttp_TakeStringSource(char *text, gsize length);

/* A source of the application. The table must outlive it; priv is owned by it. */
BasicHttpSource *BasicHttp_AllocSource(const BasicHttpSourceOps *ops, gpointer priv);

/* NULL is allowed. */
void BasicHttp_FreeSource(BasicHttpSource *source);

/* Sets a source back to its first byte. FALSE for NULL, or if it cannot be set back. */
gboolean BasicHttp_RewindSource(BasicHttpSource *source);

/* Returns how a request to a URL would travel, by libcurl's own parser, without the zone. NULL is invalid. */
BasicHttpUrlKind BasicHttp_JudgeUrl(const char *url);

/* Whether the URL, of either scheme, names this machine. */
gboolean BasicHttp_IsLoopbackUrl(const char *url);

/**
 * BasicHttp_Redact:
 * @text: (nullable): a text from a peer
 *
 * Copies the beginning of a text for the log, without the values of cookie and authorization headers, the users, passwords
 * and queries of URLs, and the texts of password, passphrase, ticket, token, cookie and key elements, also where
 * their tags are escaped.
 *
 * Returns: (transfer full) (nullable): the text; free with g_free()
 */
char *BasicHttp_Redact(const char *text);

/**
 * BasicHttp_RedactUrls:
 * @text: (array length=length): a text
 * @length: in bytes
 *
 * Copies a text without the users, passwords and queries of the URLs in it, also where they are escaped.
 *
 * Returns: (transfer full) (nullable): the text; %NULL if it has no such URL. Free with g_free()
 */
char *BasicHttp_RedactUrls(const char *text, gsize length);

/* Copies a URL for people: without user, password, query and fragment, on one line, at most 256 bytes of it. */
char *BasicHttp_RedactUrl(const char *url);

/* Copies a line of a header without the value of a cookie or of an authorization; free with g_free(). */
char *BasicHttp_RedactHeader(const char *line);

/* Whether an element or attribute with this name, in any case and with any prefix, holds a secret: a password, passphrase,
 * ticket, token, cookie, key, session id or credential. */
gboolean BasicHttp_IsSecretName(const char *name, gsize length);

/* Returns the place behind the first name of a secret in a text of any kind, also if the name is escaped; G_MAXSIZE if
 * there is none. */
gsize BasicHttp_FindSecretName(const char *text, gsize length);

/* Pauses or resumes one direction of a transfer. FALSE, without an effect, before the request was started or has a
 * connection. Resuming may call the progress procs at once, and they may free the request. */
gboolean BasicHttp_PauseSendRequest(BasicHttpRequest *request, gboolean pause);
gboolean BasicHttp_PauseRecvRequest(BasicHttpRequest *request, gboolean pause);

/* Pauses and resumes the receiving side, so that libcurl delivers buffered data. TRUE if it is not
 * paused at the end. */
gboolean BasicHttp_KickRecvRequest(BasicHttpRequest *request);

/* FALSE if the request is NULL; either result may be NULL. */
gboolean BasicHttp_IsPaused(BasicHttpRequest *request, gboolean *recv, gboolean *send);

/**
 * BasicHttp_CreateBandwidthGroup:
 * @uploadLimit: bytes per second that all requests of the group send together; 0: no limit
 * @downloadLimit: bytes per second that they receive together; 0: no limit
 *
 * Each request is measured on its own and paused when it is faster than its share. The members share a limit
 * equally, and what slow or paused ones leave unused goes to the others. A limit below the number of members, and
 * the first piece of each body, which is up to 64 KiB, are not limited.
 *
 * Returns: (transfer full): a group without members, to be freed with BasicHttp_DeleteBandwidthGroup()
 */
BasicHttpBandwidthGroup *BasicHttp_CreateBandwidthGroup(guint64 uploadLimit, guint64 downloadLimit);

/* Changes the limits; transfers that were paused for the old ones are judged anew. NULL is allowed. */
void BasicHttp_ChangeBandwidthGroup(BasicHttpBandwidthGroup *group, guint64 uploadLimit,
                                    guint64 downloadLimit);

/* Frees a group. Its members are no longer limited, but one that is paused by the group remains so until
 * BasicHttp_PauseSendRequest() or BasicHttp_PauseRecvRequest() resumes it. NULL is allowed. */
void BasicHttp_DeleteBandwidthGroup(BasicHttpBandwidthGroup *group);

/* Adds a request, best before it is sent. It leaves the group that it is in, and this one when it ends. FALSE if an
 * argument is NULL. */
gboolean BasicHttp_AddRequestToBandwidthGroup(BasicHttpBandwidthGroup *group,
                                              BasicHttpRequest *request);

/* Does nothing unless the request is in this group. One that is paused by the group remains so; see above. */
void BasicHttp_RemoveRequestFromBandwidthGroup(BasicHttpBandwidthGroup *group,
                                               BasicHttpRequest *request);

/* Returns the body of a request if it is a text in memory, else NULL. It is owned by the request. */
const char *BasicHttp_GetBodyText(const BasicHttpRequest *request, gsize *length);

/* The response's headers, "Name: value" each, in the order of receipt, including those of redirects.
 * The text is owned by the request; NULL past the end. */
guint BasicHttp_GetNumResponseHeaders(BasicHttpRequest *request);
const char *BasicHttp_GetResponseHeader(BasicHttpRequest *request, guint index);

/* FALSE if an argument is NULL. */
gboolean BasicHttp_GetRecvContentInfo(BasicHttpRequest *request, BasicHttpContentInfo *out);

G_END_DECLS
