/*
 * ssl.h -- the TLS layer: OpenSSL opened at run time, TLS connections over sockets, and checks of peer
 * certificates
 *
 *   SSL_Init(NULL, NULL, NULL);              finds and opens OpenSSL; orvane_init() calls it too
 *   ...
 *   SSL_Exit();
 *
 * The library is not linked with OpenSSL. It opens a libcrypto and a libssl with the interface of version
 * 1.0.2. On machines with OpenSSL 3 these are two small adapters that are part of the library. Each OpenSSL
 * function that the library uses is exported as __wrap_NAME. An application linked with --wrap=NAME can call
 * it with OpenSSL's own prototype.
 *
 * Ownership: documented with each function.
 * Errors:    a start that fails (no usable OpenSSL, no context) ends the process with a message.
 * Threads:   any thread may call. Only SSL_Exit() must not run at the same time as another call of the layer.
 */
#pragma once

#include <sys/types.h>

#include <glib.h>

#include <orvane/export.h>

G_BEGIN_DECLS

/* OpenSSL's objects, with OpenSSL's names; opaque here. */
typedef struct ssl_st SSL;
typedef struct ssl_ctx_st SSL_CTX;
typedef struct bio_st BIO;
typedef struct x509_st X509;
typedef struct x509_store_ctx_st X509_STORE_CTX;

/* A socket, plain or with TLS. */
typedef struct SSLSock SSLSock;

/* ---- the module ---- */

/**
 * SSLGetLibraryDirFn:
 * @defaultLib: (nullable): as given to SSL_Init()
 * @name: (nullable): as given to SSL_Init()
 *
 * May call functions of the layer. It runs on the thread that called SSL_Init(), before that returns.
 *
 * Returns: (transfer full) (nullable): the directory in which OpenSSL is searched last, allocated by
 *   malloc(); %NULL: only the directories of the library and of the program are searched
 */
typedef char *(*SSLGetLibraryDirFn)(const char *defaultLib, const char *name);

/**
 * SSL_Init:
 * @getLibFn: (nullable) (scope call): returns the library directory
 * @defaultLib: (nullable): the library directory if there is no @getLibFn; %NULL for /usr/lib/halden
 * @name: (nullable): passed to @getLibFn
 *
 * Opens OpenSSL and initialises the layer. The files are searched beside this library, then beside the
 * running program, then under the library directory. A process that runs set-uid or set-gid takes them from
 * the library directory only.
 *
 * The second and later calls return at once, whatever their arguments are. Without a usable OpenSSL the
 * process ends.
 */
ORVANE_EXPORT void SSL_Init(SSLGetLibraryDirFn getLibFn, const char *defaultLib, const char *name);

/**
 * SSL_Exit:
 *
 * Releases what SSL_Init() created. OpenSSL itself stays loaded, and a later SSL_Init() starts again. No
 * effect if the layer is not initialised. Must not run at the same time as any other call of the layer.
 */
ORVANE_EXPORT void SSL_Exit(void);

/* Returns whether SSL_Init() has finished and SSL_Exit() has not run since. */
ORVANE_EXPORT gboolean SSL_IsSSLModuleInitialized(void);

/* Returns whether the OpenSSL in use hides its structures, as the versions after 1.0.2 do; FALSE before
 * SSL_Init(). */
ORVANE_EXPORT gboolean SSL_IsOpaque(void);

/**
 * SSL_SetUseCompression:
 * @useCompression: whether contexts created from now on allow TLS compression; FALSE by default
 *
 * Must be called before SSL_Init() to affect the default context.
 */
ORVANE_EXPORT void SSL_SetUseCompression(gboolean useCompression);

/* ---- contexts ---- */

/**
 * SSL_NewContext:
 *
 * Creates a context for clients and servers: TLS 1.0 and all later versions, no session cache, no tickets,
 * strong ciphers first. It has no certificate and checks none. Lack of memory ends the process.
 *
 * Returns: (transfer full): the context; release it with SSL_FreeContext()
 */
ORVANE_EXPORT SSL_CTX *SSL_NewContext(void);

/* Returns the default context, which trusts the machine's CA certificates; owned by the layer. */
ORVANE_EXPORT SSL_CTX *SSL_DefaultContext(void);

/* Releases a context. Its connections stay usable. */
ORVANE_EXPORT void SSL_FreeContext(SSL_CTX *ctx);

/**
 * SSL_SetVerifyLocations:
 * @ctx: (nullable): a context; %NULL for the default one
 * @caFile: (nullable): a file of CA certificates in PEM form
 * @caDir: (nullable): a directory of such files, named by their hashes
 *
 * Adds to what the context trusts.
 *
 * Returns: OpenSSL's result: 1 for success
 */
ORVANE_EXPORT int SSL_SetVerifyLocations(SSL_CTX *ctx, const char *caFile, const char *caDir);

/**
 * SSL_SetDHParamFiles:
 * @f1024: (nullable): file of Diffie-Hellman parameters for keys of up to 1024 bits, in PEM form
 * @f2048: (nullable): the same for keys of up to 2048 bits
 * @f4096: (nullable): the same for longer ones
 *
 * Replaces the file names that are given. A file is read when a handshake first requires it, and never again:
 * replacing its name later has no effect. SSL_Init() sets all three to files in /etc/halden/ssl.
 */
ORVANE_EXPORT void SSL_SetDHParamFiles(const char *f1024, const char *f2048, const char *f4096);

/* Uses parameters of 2048 bits where 1024 are requested, on all connections from now on. */
ORVANE_EXPORT void SSL_Disable1024DHParams(void);

/* Makes a connection use parameters of the files only, never the built-in ones. */
ORVANE_EXPORT void SSL_DisableSKIPDHParams(SSL *ssl);

/**
 * SSL_GetCerts:
 * @certFile: (out) (optional) (transfer full): path of the server certificate; release it with free()
 * @keyFile: (out) (optional) (transfer full): path of its key; release it with free()
 */
ORVANE_EXPORT void SSL_GetCerts(char **certFile, char **keyFile);

/**
 * SSL_LoadCertificatesWithContext:
 * @ctx: a context
 *
 * Loads the certificate and the key of SSL_GetCerts(), in PEM form, into a context. They are read with root's
 * rights, if the process may have them.
 *
 * Returns: %FALSE with a warning in the log if one cannot be read or the two do not belong together
 */
ORVANE_EXPORT gboolean SSL_LoadCertificatesWithContext(SSL_CTX *ctx);

/* The same for the default context. After a success it does nothing. */
ORVANE_EXPORT gboolean SSL_LoadCertificates(void);

/**
 * SSL_BIO_new_file:
 * @path: name of a file, in UTF-8
 * @mode: as for fopen()
 *
 * Returns: (transfer full) (nullable): the file; release it with BIO_free(). %NULL if it cannot be opened
 */
ORVANE_EXPORT BIO *SSL_BIO_new_file(const char *path, const char *mode);

/* ---- checks of certificates ---- */

/*
 * What is wrong with a certificate, as bits of one mask. Most problems have two bits: one for the peer's own
 * certificate, the leaf, and one (..._CHAIN_...) for a certificate above it.
 */
#define SSL_CERT_SELF_SIGNED G_GUINT64_CONSTANT(0x1)
#define SSL_CERT_NAME_MISMATCH G_GUINT64_CONSTANT(0x2)
#define SSL_CERT_CHAIN_TIME G_GUINT64_CONSTANT(0x4)
#define SSL_CERT_CHAIN_REVOKED G_GUINT64_CONSTANT(0x10)
#define SSL_CERT_CHAIN_SIGNATURE G_GUINT64_CONSTANT(0x20)
#define SSL_CERT_CHAIN_INVALID G_GUINT64_CONSTANT(0x40)
#define SSL_CERT_CHAIN_ISSUER_UNKNOWN G_GUINT64_CONSTANT(0x80)
#define SSL_CERT_CHAIN_CRL G_GUINT64_CONSTANT(0x100)
#define SSL_CERT_CHAIN_PATH_LENGTH G_GUINT64_CONSTANT(0x200)
#define SSL_CERT_CHAIN_UNTRUSTED G_GUINT64_CONSTANT(0x400)
#define SSL_CERT_CHAIN_NO_CA G_GUINT64_CONSTANT(0x2000)
#define SSL_CERT_CHAIN_CRITICAL_EXTENSION G_GUINT64_CONSTANT(0x200000)
#define SSL_CERT_TIME G_GUINT64_CONSTANT(0x400000)
#define SSL_CERT_REVOKED G_GUINT64_CONSTANT(0x1000000)
#define SSL_CERT_SIGNATURE G_GUINT64_CONSTANT(0x2000000)
#define SSL_CERT_INVALID G_GUINT64_CONSTANT(0x4000000)
#define SSL_CERT_ISSUER_UNKNOWN G_GUINT64_CONSTANT(0x8000000)
#define SSL_CERT_CRL G_GUINT64_CONSTANT(0x10000000)
#define SSL_CERT_PATH_LENGTH G_GUINT64_CONSTANT(0x20000000)
#define SSL_CERT_UNTRUSTED G_GUINT64_CONSTANT(0x40000000)
#define SSL_CERT_FAILURE G_GUINT64_CONSTANT(0x800000000)
#define SSL_CERT_KEY_TOO_SMALL G_GUINT64_CONSTANT(0x1000000000)
#define SSL_CERT_UNSAFE_DIGEST G_GUINT64_CONSTANT(0x2000000000)
#define SSL_CERT_OLD_VERSION G_GUINT64_CONSTANT(0x4000000000)
#define SSL_CERT_NO_SERVER_USAGE G_GUINT64_CONSTANT(0x8000000000)
#define SSL_CERT_CRITICAL_EXTENSION G_GUINT64_CONSTANT(0x10000000000)
#define SSL_CERT_NAME_CONSTRAINT                                                                   \
    G_GUINT64_CONSTANT(0x20000000000) /* SSL_GetServerCertErrors() only */
#define SSL_CERT_UNKNOWN G_GUINT64_CONSTANT(0x8000000000000000)

/* Room for the text of a SHA-1 and of a SHA-256 thumbprint, including the NUL. */
enum { SSL_THUMBPRINT_SIZE = 61, SSL_THUMBPRINT256_SIZE = 96 };

/* SSLVerifyParam.verifyMode; any other value: the usage is not checked, a failure rejects. */
enum {
    SSL_VERIFY_MODE_STRICT = 0, /* the usage is checked, a failure rejects */
    SSL_VERIFY_MODE_REPORT = 1, /* the usage is not checked, a failure is only reported */
};

/* SSLVerifyParam.verifyResult. */
enum {
    SSL_VERIFY_RESULT_REJECTED = 1, /* rejected, or not decided yet */
    SSL_VERIFY_RESULT_DISABLED = 2, /* accepted, since checks are switched off */
    SSL_VERIFY_RESULT_REPORTED = 3, /* left to the caller: SSL_VERIFY_MODE_REPORT */
    SSL_VERIFY_RESULT_PINNED = 4,   /* accepted by its thumbprint, whatever else is wrong */
    SSL_VERIFY_RESULT_TRUSTED = 5,  /* nothing is wrong */
};

/**
 * SSLVerifyParam:
 * @hostName: name that the certificate must contain; empty: no name matches
 * @expectedThumbprint: a pin, see SSL_SetExpectedThumbprint(); empty for none
 * @trustedCerts: (array length=numTrustedCerts) (nullable): PEM texts that replace what the context trusts;
 *   %NULL: the context keeps that
 * @numTrustedCerts: length of @trustedCerts
 * @verifyMode: one of the SSL_VERIFY_MODE_ values
 * @thumbprint: (out): SHA-1 thumbprint of the peer's certificate
 * @chainTrusted: (out): chain, version and usage are good
 * @verifyResult: (out): one of the SSL_VERIFY_RESULT_ values
 * @selfSigned: (out): the certificate names itself as its issuer
 * @errorText: (out): the problems, as a text for people
 * @errorFlags: (out): the same as a mask of SSL_CERT_ bits
 * @progress: private
 *
 * What SSL_ConnectAndVerify() checks, and the result. It belongs to the caller, who sets it to zero first,
 * and must live until that call returns.
 */
typedef struct {
    char hostName[512];
    char expectedThumbprint[64];
    const char *const *trustedCerts;
    gint32 numTrustedCerts;
    gint32 verifyMode;
    char thumbprint[SSL_THUMBPRINT_SIZE];
    gboolean chainTrusted;
    gint32 verifyResult;
    gboolean selfSigned;
    char errorText[512];
    guint64 errorFlags;
    guint32 progress;
} SSLVerifyParam;

/* A certificate in its DER form, with its SHA-1 thumbprint. */
typedef struct {
    gsize size; /* of bytes */
    guint8 *bytes;
    char *thumbprint;
} SSLDERCert;

/* A certificate described for people. Characters that could mislead on a terminal are escaped as "\u{202e}"
 * or "\9b". */
typedef struct {
    char *subject;   /* "CN=localhost, O=Some Company" */
    char *issuer;    /* in the same form */
    char *notBefore; /* "Nov 23 00:52:52 2026 GMT" */
    char *notAfter;
    char *thumbprint;         /* SHA-1, "AA:BB:..." */
    char *thumbprint256;      /* SHA-256, in the same form */
    gint keyBits;             /* 0: the key cannot be read */
    gboolean isEllipticCurve; /* where 256 bits are as strong as 3072 of RSA */
} SSLCertInfo;

/**
 * SSL_GetCertThumbprint:
 * @cert: a certificate
 * @buf: (out caller-allocates): its SHA-1 as "AA:BB:...", 59 characters; cut if @size is below 60
 * @size: of @buf, in bytes
 *
 * Returns: %FALSE and an empty @buf if the digest fails
 */
ORVANE_EXPORT gboolean SSL_GetCertThumbprint(X509 *cert, char *buf, gsize size);

/* The same with SHA-256: 95 characters. */
ORVANE_EXPORT gboolean SSL_GetCertThumbprint256(X509 *cert, char *buf, gsize size);

/**
 * SSL_CertThumbprintFromContext:
 * @ctx: a context
 * @buf: (out caller-allocates): as with SSL_GetCertThumbprint(); unchanged if there is no certificate
 * @size: of @buf, in bytes
 *
 * Returns: 1; 0 if the context has no certificate
 */
ORVANE_EXPORT int SSL_CertThumbprintFromContext(SSL_CTX *ctx, char *buf, gsize size);

/**
 * SSL_IsThumbprint:
 * @text: (nullable): a text
 *
 * Returns: whether @text is a pin: the hexadecimal digits of a SHA-1 or a SHA-256, in either case, either all
 *   pairs separated by ":" or none
 */
ORVANE_EXPORT gboolean SSL_IsThumbprint(const char *text);

/**
 * SSL_MatchThumbprint:
 * @cert: a certificate
 * @expected: (nullable): a pin
 *
 * Takes the same time wherever the two differ. A text that is no pin matches nothing and is logged.
 *
 * Returns: whether @expected is a thumbprint of @cert
 */
ORVANE_EXPORT gboolean SSL_MatchThumbprint(X509 *cert, const char *expected);

/**
 * SSL_SetExpectedThumbprint:
 * @param: the record
 * @text: (nullable): a pin, see SSL_IsThumbprint(); %NULL for none
 *
 * Stores a pin in @expectedThumbprint: a SHA-1 as "AA:BB:...", or the 64 digits of a SHA-256 without a NUL.
 *
 * Returns: %FALSE if @text is no pin: then the field contains a text that no certificate matches
 */
ORVANE_EXPORT gboolean SSL_SetExpectedThumbprint(SSLVerifyParam *param, const char *text);

/* Returns the peer's own certificate, which belongs to the verification; NULL if there is no chain. */
ORVANE_EXPORT X509 *SSL_GetPeerCertificate(X509_STORE_CTX *storeContext);

/**
 * SSL_GetDERCert:
 * @cert: a certificate
 *
 * Returns: (transfer full) (nullable): release it with SSL_FreeDERCert(); %NULL if the thumbprint fails
 */
ORVANE_EXPORT SSLDERCert *SSL_GetDERCert(X509 *cert);

/* Returns a copy; NULL for NULL. */
ORVANE_EXPORT SSLDERCert *SSL_CopyDERCert(SSLDERCert *cert);

/* NULL is allowed. */
ORVANE_EXPORT void SSL_FreeDERCert(SSLDERCert *cert);

/**
 * SSL_GetCertInfo:
 * @cert: a certificate
 *
 * Returns: (transfer full) (nullable): release it with SSL_FreeCertInfo(); %NULL if the certificate cannot be
 *   read
 */
ORVANE_EXPORT SSLCertInfo *SSL_GetCertInfo(X509 *cert);

/* NULL is allowed. */
ORVANE_EXPORT void SSL_FreeCertInfo(SSLCertInfo *info);

/**
 * SSL_GetCertErrors:
 * @storeContext: the verification that is running
 * @leaf: the peer's certificate
 * @host: the name that it must contain; an IPv6 address without abbreviation, as "0:0:0:0:0:0:0:1"
 * @thumbprint: (nullable): a pin: if it matches, nothing else counts
 *
 * For use inside the function given to SSL_SetVerifyCb() or an application's OrvaneVerifyCertificateFunc, once
 * per verification: the call releases the errors found in the chain.
 *
 * Its rules are those of older services: a key on an elliptic curve counts as too small, having fewer bits
 * than the limit of 1023, and the common name counts beside alternative names. New applications call
 * SSL_GetServerCertErrors() in its place.
 *
 * Returns: what is wrong, a mask of SSL_CERT_ bits; 0 for nothing, and while checks are switched off
 */
ORVANE_EXPORT guint64 SSL_GetCertErrors(X509_STORE_CTX *storeContext, X509 *leaf, const char *host,
                                        const char *thumbprint);

/**
 * SSL_GetServerCertErrors:
 * @storeContext: the verification that is running
 * @leaf: the peer's certificate
 * @host: the name that it must contain, as in the URL; or an IP address in any usual form, without brackets
 * @thumbprint: (nullable): a pin: if it matches, nothing else counts
 *
 * Called in the same places as SSL_GetCertErrors(), with stricter rules for names and exact ones for keys:
 *
 * - If the certificate has alternative names, its common name does not count.
 * - An IP address must be one of the alternative names of that type; neither a DNS name nor a common name
 *   matches it.
 * - "*" replaces exactly the first label of a name of at least three.
 * - A key on an elliptic curve needs 224 bits, another one 1023.
 * - Names that an authority in the chain was not entitled to certify give SSL_CERT_NAME_CONSTRAINT, for which
 *   SSL_GetCertErrors() has SSL_CERT_UNKNOWN.
 *
 * Returns: what is wrong, a mask of SSL_CERT_ bits; 0 for nothing, and while checks are switched off
 */
ORVANE_EXPORT guint64 SSL_GetServerCertErrors(X509_STORE_CTX *storeContext, X509 *leaf,
                                              const char *host, const char *thumbprint);

/**
 * SSL_DescribeCertErrors:
 * @errors: a mask of SSL_CERT_ bits
 *
 * Returns: (transfer full): a line with a sentence for each bit; release it with g_free(). Empty for 0
 */
ORVANE_EXPORT char *SSL_DescribeCertErrors(guint64 errors);

/**
 * SSL_MatchX509SubjectName:
 * @cert: a certificate
 * @host: a name
 *
 * Returns: whether the first common name of the subject is @host, case-insensitively; "*." at its beginning
 *   matches exactly the first label
 */
ORVANE_EXPORT gboolean SSL_MatchX509SubjectName(X509 *cert, const char *host);

/**
 * SSL_MatchX509v3SubjectAltNames:
 * @cert: a certificate
 * @type: 2 for DNS names, 7 for IP addresses
 * @name: the name or address
 * @nameLen: length of @name, in bytes
 *
 * Returns: whether one of the subject's alternative names of @type is @name
 */
ORVANE_EXPORT gboolean SSL_MatchX509v3SubjectAltNames(X509 *cert, int type, const char *name,
                                                      int nameLen);

/**
 * SSLVerifyCertificateFn:
 * @storeContext: the verification
 * @certificate: (nullable): the peer's certificate
 * @data: the argument of SSL_SetVerifyCb()
 *
 * Called inside the handshake, on its thread, at the end of the walk over the chain: once per context. All
 * that is wrong with the chain is known by then, except violations that OpenSSL finds later
 * (address blocks of RFC 3779): those fail the handshake in any case, with a warning in the log.
 *
 * Returns: 1 to accept the peer, whatever is wrong with it; 0 to fail the handshake
 */
typedef int (*SSLVerifyCertificateFn)(X509_STORE_CTX *storeContext, X509 *certificate,
                                      gpointer data);

/**
 * SSL_SetVerifyCb:
 * @ctx: the context of one connection
 * @func: decides on the peer's certificate
 * @data: passed to @func
 * @destroy: (nullable): releases @data when @func has returned, or with the context if it was never called
 *
 * From now on the context trusts the machine's CA certificates, and its next handshake calls @func.
 */
ORVANE_EXPORT void SSL_SetVerifyCb(SSL_CTX *ctx, SSLVerifyCertificateFn func, gpointer data,
                                   GDestroyNotify destroy);

/* The verify callback that SSL_SetVerifyCb() installs. */
ORVANE_EXPORT int SSL_ValidateCertCb(int ok, X509_STORE_CTX *storeContext);

/* Returns whether the function given to SSL_SetVerifyCb() has accepted the peer of this connection. */
ORVANE_EXPORT gboolean SSL_IsPeerAccepted(SSL *ssl);

/**
 * SSL_CheckCert:
 * @sock: a connection whose handshake is over
 * @host: the required common name, compared case-insensitively; without wildcards and alternative names
 * @allowSelfSigned: whether a self-signed certificate, or one in the chain, is accepted
 *
 * A check for older callers. SSL_ConnectAndVerify() checks more, and before anything is sent.
 *
 * Returns: whether the peer's certificate verified and has the name; %FALSE if there is no such certificate,
 *   as on a plain connection
 */
ORVANE_EXPORT gboolean SSL_CheckCert(SSLSock *sock, const char *host, gboolean allowSelfSigned);

/* The switch for all checks: 0, the default, is on, any other value off. For tests only. */
ORVANE_EXPORT void SSL_SetVerifySSLCertificates(gint32 value);
ORVANE_EXPORT gint32 SSL_GetVerifySSLCertificates(void);
ORVANE_EXPORT gboolean SSL_IsVerifyEnabled(void);

/* Returns the index of the SSLVerifyParam in the ex-data of an SSL, where it is during the connect. */
ORVANE_EXPORT int SSL_GetSSLVerifyParamIx(void);

/* ---- connections ---- */

/*
 *   SSLSock *sock = SSL_New(fd, TRUE);
 *   if (SSL_ConnectAndVerify(sock, &param))
 *       SSL_Write(sock, "hello", 5);
 *   SSL_Shutdown(sock);
 *
 * A connection is plain until connect or accept makes it encrypted; it can also be used as a plain one. If
 * connect or accept fails, the connection stays failed. A connection belongs to one thread at a time. A
 * closed peer is reported as an error: no function here raises SIGPIPE.
 */

/**
 * SSL_New:
 * @fd: a connected socket, blocking or not
 * @closeFdOnShutdown: whether SSL_Shutdown() closes it
 *
 * Returns: (transfer full): a plain connection; release it with SSL_Shutdown()
 */
ORVANE_EXPORT SSLSock *SSL_New(int fd, gboolean closeFdOnShutdown);

/* From now on SSL_Shutdown() closes the socket. */
ORVANE_EXPORT void SSL_SetCloseOnShutdownFlag(SSLSock *sock);

ORVANE_EXPORT int SSL_GetFd(SSLSock *sock);

/**
 * SSL_ConnectAndVerifyWithContext:
 * @sock: a plain connection
 * @param: (nullable): what to check of the peer's certificate; %NULL: nothing
 * @ctx: a context; trusted certificates in @param replace what it trusts, also for its other connections
 *
 * Runs the handshake as the client and returns when it is complete. On a non-blocking socket it tries ten
 * times a second for 120 seconds at most. On a blocking socket there is no time limit.
 *
 * Returns: %FALSE with a warning in the log if the connection is not encrypted now; the problems of the
 *   certificate are in @param
 */
ORVANE_EXPORT gboolean SSL_ConnectAndVerifyWithContext(SSLSock *sock, SSLVerifyParam *param,
                                                       SSL_CTX *ctx);

/* The same with the default context. */
ORVANE_EXPORT gboolean SSL_ConnectAndVerify(SSLSock *sock, SSLVerifyParam *param);

/* The same without any check of the peer, with a warning in the log. */
ORVANE_EXPORT gboolean SSL_Connect(SSLSock *sock);

/**
 * SSL_SetupAcceptWithContext:
 * @sock: a plain connection
 * @ctx: a context with a certificate; the default context loads its certificate here
 *
 * Marks the connection as encrypted. SSL_TryCompleteAccept(), or the first SSL_Read() or SSL_Write(), runs
 * the handshake as the server.
 *
 * Returns: %FALSE with a warning in the log if that is not possible
 */
ORVANE_EXPORT gboolean SSL_SetupAcceptWithContext(SSLSock *sock, SSL_CTX *ctx);

/**
 * SSL_TryCompleteAccept:
 * @sock: a connection after SSL_SetupAcceptWithContext()
 *
 * Continues the handshake; on a non-blocking socket without waiting.
 *
 * Returns: 1 if it is complete, 0 if it waits for the peer, see SSL_WantRead(), -1 if it has failed
 */
ORVANE_EXPORT int SSL_TryCompleteAccept(SSLSock *sock);

/* Sets up and tries once. TRUE means that it was set up: the handshake may be incomplete or have failed. */
ORVANE_EXPORT gboolean SSL_AcceptWithContext(SSLSock *sock, SSL_CTX *ctx);

/* The same with the default context. */
ORVANE_EXPORT gboolean SSL_Accept(SSLSock *sock);

/**
 * SSL_CompleteAccept:
 * @sock: a connection after SSL_AcceptWithContext() or SSL_Accept()
 *
 * Tries ten times a second until the handshake is complete, without a time limit. Where a peer may stall, call
 * SSL_TryCompleteAccept() when the socket is ready, with a time limit of your own.
 *
 * Returns: %FALSE if the connection has failed
 */
ORVANE_EXPORT gboolean SSL_CompleteAccept(SSLSock *sock);

/**
 * SSL_Read:
 * @sock: a connection
 * @buf: (out caller-allocates) (array length=len): receives the bytes
 * @len: size of @buf, in bytes
 *
 * Returns: number of bytes; -1 with errno EAGAIN if it would have to wait, and with errno 1 if the connection
 *   has failed before. For any other -1 SSL_GetIOError() distinguishes a clean end (6) from a failure. On a
 *   plain connection the result is that of read(): 0 at the end.
 */
ORVANE_EXPORT ssize_t SSL_Read(SSLSock *sock, void *buf, int len);

/**
 * SSL_Write:
 * @sock: a connection
 * @buf: (array length=len): the bytes
 * @len: their number
 *
 * After a -1 with errno EAGAIN, the next call on an encrypted connection must pass the same bytes at the same
 * address, unless SSL_SetMode() has changed that.
 *
 * Returns: number of bytes written; -1 as with SSL_Read()
 */
ORVANE_EXPORT ssize_t SSL_Write(SSLSock *sock, const void *buf, int len);

/**
 * SSL_RecvDataAndFd:
 * @sock: a connection
 * @buf: (out caller-allocates) (array length=len): receives the bytes
 * @len: size of @buf, in bytes
 * @fd: (out): a descriptor that was received with the bytes, which now belongs to the caller; -1: none
 *
 * Descriptors are received on plain Unix sockets only, one per call; further ones in the same message are
 * closed.
 *
 * Returns: as SSL_Read()
 */
ORVANE_EXPORT ssize_t SSL_RecvDataAndFd(SSLSock *sock, void *buf, gsize len, int *fd);

/* Returns the number of bytes that SSL_Read() returns without reading from the socket. Check it before
 * waiting for the socket. */
ORVANE_EXPORT int SSL_Pending(SSLSock *sock);

/* Returns what the last operation waits for: 1 nothing, 2 writing, 3 reading, or another code of OpenSSL's
 * SSL_want(). */
ORVANE_EXPORT int SSL_Want(SSLSock *sock);
ORVANE_EXPORT gboolean SSL_WantRead(SSLSock *sock);
ORVANE_EXPORT gboolean SSL_WantWrite(SSLSock *sock);

/**
 * SSL_GetIOError:
 * @sock: a connection
 *
 * Returns: OpenSSL's SSL_get_error() code of the last operation on an encrypted connection: 0 success, 1 a
 *   failure of TLS, 2 and 3 it would have to wait, 5 the socket failed or ended (errno has the reason of a
 *   failure), 6 the peer has closed the connection properly
 */
ORVANE_EXPORT int SSL_GetIOError(SSLSock *sock);

/* Adds bits of OpenSSL's SSL_MODE_ to an encrypted connection. Returns all bits set; 0 on a plain
 * connection. */
ORVANE_EXPORT long SSL_SetMode(SSLSock *sock, long mode);

/**
 * SSL_Shutdown:
 * @sock: (transfer full): a connection in any state
 *
 * Releases the connection. With contexts of SSL_NewContext() nothing is sent: the peer only sees the socket
 * close.
 *
 * Returns: 0, or the result of close()
 */
ORVANE_EXPORT int SSL_Shutdown(SSLSock *sock);

G_END_DECLS
