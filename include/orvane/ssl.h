/*
 * ssl.h -- the TLS layer: OpenSSL found at run time, sockets wrapped into TLS connections, and checks of
 * peer certificates
 *
 *   SSL_Init(NULL, NULL, NULL);              finds and opens OpenSSL; orvane_init() does it too
 *   ...
 *   SSL_Exit();
 *
 * The library is not linked with OpenSSL. It opens a libcrypto and a libssl of the 1.0.2 interface; where the
 * machine has OpenSSL 3 only, these are two small adapters that come with the library. Each OpenSSL function
 * that the library reaches is let out as __wrap_NAME, which an application linked with --wrap=NAME can call
 * with OpenSSL's own prototype.
 *
 * Ownership: said with each function.
 * Errors:    a start that fails (no usable OpenSSL, no context) ends the process, with a text that says why.
 * Threads:   any thread may call, SSL_Exit() excepted: no other call of the layer may run beside it.
 */
#pragma once

#include <sys/types.h>

#include <glib.h>

#include <orvane/export.h>

G_BEGIN_DECLS

/* OpenSSL's objects, named as OpenSSL names them: nothing here looks inside. */
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
 * @defaultLib: (nullable): what SSL_Init() was given
 * @name: (nullable): what SSL_Init() was given
 *
 * May itself call into the layer. It runs on the thread that called SSL_Init(), before that returns.
 *
 * Returns: (transfer full) (nullable): the directory in which OpenSSL is looked for last, allocated by
 *   malloc(); with %NULL only the directories of the library and of the program are tried
 */
typedef char *(*SSLGetLibraryDirFn)(const char *defaultLib, const char *name);

/**
 * SSL_Init:
 * @getLibFn: (nullable) (scope call): says the library directory
 * @defaultLib: (nullable): the library directory if there is no @getLibFn; %NULL for /usr/lib/halden
 * @name: (nullable): handed to @getLibFn
 *
 * Opens OpenSSL and makes the layer ready. The files are looked for beside this library, then beside the
 * running program, then under the library directory; a process that runs set-uid or set-gid takes them from
 * the library directory only.
 *
 * The second and later calls return at once, whatever their arguments. There is no failure: without a usable
 * OpenSSL the process ends.
 */
ORVANE_EXPORT void SSL_Init(SSLGetLibraryDirFn getLibFn, const char *defaultLib, const char *name);

/**
 * SSL_Exit:
 *
 * Releases what SSL_Init() made. OpenSSL itself stays loaded, and a later SSL_Init() starts anew. No effect if
 * the layer was not started. Must not overlap with any other call of the layer.
 */
ORVANE_EXPORT void SSL_Exit(void);

/* Whether SSL_Init() has finished, and SSL_Exit() has not run since. */
ORVANE_EXPORT gboolean SSL_IsSSLModuleInitialized(void);

/* Whether the OpenSSL that was opened hides its structures, as the versions after 1.0.2 do; FALSE before
 * SSL_Init(). */
ORVANE_EXPORT gboolean SSL_IsOpaque(void);

/**
 * SSL_SetUseCompression:
 * @useCompression: whether contexts made from now on allow TLS compression; they do not by default
 *
 * To be called before SSL_Init() to have an effect on the default context.
 */
ORVANE_EXPORT void SSL_SetUseCompression(gboolean useCompression);

/* ---- contexts ---- */

/**
 * SSL_NewContext:
 *
 * A context for connections of either side: TLS 1.0 and all later versions, no session cache, no tickets, strong
 * ciphers first. It has no certificate and checks none. Without memory for it the process ends.
 *
 * Returns: (transfer full): to be released with SSL_FreeContext()
 */
ORVANE_EXPORT SSL_CTX *SSL_NewContext(void);

/* The context that SSL_Init() made, which also trusts the machine's CA certificates; owned by the layer. */
ORVANE_EXPORT SSL_CTX *SSL_DefaultContext(void);

/* Connections that were made from it go on. */
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
 * Replaces those file names that are given. A file is read when a handshake first needs it, and never again:
 * what was tried already stays as it was. SSL_Init() sets all three to files in /etc/halden/ssl.
 */
ORVANE_EXPORT void SSL_SetDHParamFiles(const char *f1024, const char *f2048, const char *f4096);

/* Uses parameters of 2048 bits where 1024 were asked for, on all connections from now on. */
ORVANE_EXPORT void SSL_Disable1024DHParams(void);

/* Lets a connection take parameters from the files only, never the built-in ones. */
ORVANE_EXPORT void SSL_DisableSKIPDHParams(SSL *ssl);

/**
 * SSL_GetCerts:
 * @certFile: (out) (optional) (transfer full): path of the server certificate, to be released with free()
 * @keyFile: (out) (optional) (transfer full): path of its key, likewise
 */
ORVANE_EXPORT void SSL_GetCerts(char **certFile, char **keyFile);

/**
 * SSL_LoadCertificatesWithContext:
 * @ctx: a context
 *
 * Gives a context the certificate and the key of SSL_GetCerts(), in PEM form, read with root's rights where the
 * process can have them.
 *
 * Returns: %FALSE, and a warning in the log, if one cannot be read or the two do not belong together
 */
ORVANE_EXPORT gboolean SSL_LoadCertificatesWithContext(SSL_CTX *ctx);

/* The same for the default context, which is loaded once. */
ORVANE_EXPORT gboolean SSL_LoadCertificates(void);

/**
 * SSL_BIO_new_file:
 * @path: name of a file, in UTF-8
 * @mode: as for fopen()
 *
 * Returns: (transfer full) (nullable): to be released with BIO_free(); %NULL if it cannot be opened
 */
ORVANE_EXPORT BIO *SSL_BIO_new_file(const char *path, const char *mode);

/* ---- checks of certificates ---- */

/*
 * What is wrong with a certificate, as bits of one mask. Most come in two: one for the peer's own certificate,
 * the leaf, and one (..._CHAIN_...) for a certificate above it.
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

/* Room for the text of a SHA-1 and of a SHA-256 thumbprint, with the NUL. */
enum { SSL_THUMBPRINT_SIZE = 61, SSL_THUMBPRINT256_SIZE = 96 };

/* SSLVerifyParam.verifyMode; any other value: the usage is not checked, a failure rejects. */
enum {
    SSL_VERIFY_MODE_STRICT = 0, /* the usage is checked, a failure rejects */
    SSL_VERIFY_MODE_REPORT = 1, /* the usage is not checked, a failure is only reported */
};

/* SSLVerifyParam.verifyResult. */
enum {
    SSL_VERIFY_RESULT_REJECTED = 1, /* or not decided yet */
    SSL_VERIFY_RESULT_DISABLED = 2, /* accepted, since checks are switched off */
    SSL_VERIFY_RESULT_REPORTED = 3, /* left to the caller: SSL_VERIFY_MODE_REPORT */
    SSL_VERIFY_RESULT_PINNED = 4,   /* accepted by its thumbprint, whatever else is wrong */
    SSL_VERIFY_RESULT_TRUSTED = 5,  /* nothing is wrong */
};

/**
 * SSLVerifyParam:
 * @hostName: name that the peer must bear; empty: the name cannot match
 * @expectedThumbprint: a pin, see SSL_SetExpectedThumbprint(); empty for none
 * @trustedCerts: (array length=numTrustedCerts) (nullable): PEM texts; not %NULL: they take the place of what
 *   the context trusts
 * @numTrustedCerts: length of @trustedCerts
 * @verifyMode: one of the SSL_VERIFY_MODE_ values
 * @thumbprint: (out): SHA-1 thumbprint of the peer's certificate
 * @chainTrusted: (out): chain, version and usage are good
 * @verifyResult: (out): one of the SSL_VERIFY_RESULT_ values
 * @selfSigned: (out): the certificate names itself as its issuer
 * @errorText: (out): what is wrong, for a person to read
 * @errorFlags: (out): the same as a mask of SSL_CERT_ bits
 * @progress: the library's own
 *
 * What SSL_ConnectAndVerify() is to check, and what came of it. The caller's; set it to zero first. It must live
 * until that call returns.
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

/* What a person wants to know of a certificate before trusting it. Bytes that could mislead on a terminal are
 * shown as "\u{202e}" or "\9b". */
typedef struct {
    char *subject;   /* "CN=localhost, O=Some Company" */
    char *issuer;    /* in the same form */
    char *notBefore; /* "Nov 23 00:52:52 2026 GMT" */
    char *notAfter;
    char *thumbprint;         /* SHA-1, "AA:BB:..." */
    char *thumbprint256;      /* SHA-256, in the same form */
    gint keyBits;             /* 0: the key cannot be read */
    gboolean isEllipticCurve; /* its key is on one, where 256 bits are as good as 3072 elsewhere */
} SSLCertInfo;

/**
 * SSL_GetCertThumbprint:
 * @cert: a certificate
 * @buf: (out caller-allocates): its SHA-1 as "AA:BB:...", 59 characters; cut if @size is below 60
 * @size: of @buf, in bytes
 *
 * Returns: %FALSE, and an empty @buf, if no digest can be made
 */
ORVANE_EXPORT gboolean SSL_GetCertThumbprint(X509 *cert, char *buf, gsize size);

/* The same with SHA-256: 95 characters. */
ORVANE_EXPORT gboolean SSL_GetCertThumbprint256(X509 *cert, char *buf, gsize size);

/**
 * SSL_CertThumbprintFromContext:
 * @ctx: a context with a certificate of its own
 * @buf: (out caller-allocates): as with SSL_GetCertThumbprint(); left as it is if there is no certificate
 * @size: of @buf, in bytes
 *
 * Returns: 1; 0 if there is no certificate
 */
ORVANE_EXPORT int SSL_CertThumbprintFromContext(SSL_CTX *ctx, char *buf, gsize size);

/**
 * SSL_IsThumbprint:
 * @text: (nullable): a text
 *
 * Returns: whether @text can be a pin: the hexadecimal digits of a SHA-1 or a SHA-256, in either case, all pairs
 *   joined by ":" or none
 */
ORVANE_EXPORT gboolean SSL_IsThumbprint(const char *text);

/**
 * SSL_MatchThumbprint:
 * @cert: a certificate
 * @expected: (nullable): a pin
 *
 * Takes the same time wherever the two differ. What is no pin matches nothing, and is logged.
 *
 * Returns: whether @expected is a thumbprint of @cert
 */
ORVANE_EXPORT gboolean SSL_MatchThumbprint(X509 *cert, const char *expected);

/**
 * SSL_SetExpectedThumbprint:
 * @param: the record
 * @text: (nullable): a pin, see SSL_IsThumbprint(); %NULL for none
 *
 * Puts a pin into @expectedThumbprint, which holds a SHA-1 as "AA:BB:..." or the 64 digits of a SHA-256 without
 * a NUL.
 *
 * Returns: %FALSE if @text is no pin: then the field holds one that nothing matches
 */
ORVANE_EXPORT gboolean SSL_SetExpectedThumbprint(SSLVerifyParam *param, const char *text);

/* The peer's own certificate of a verification, which stays its owner; NULL if there is no chain. */
ORVANE_EXPORT X509 *SSL_GetPeerCertificate(X509_STORE_CTX *storeContext);

/**
 * SSL_GetDERCert:
 * @cert: a certificate
 *
 * Returns: (transfer full) (nullable): to be released with SSL_FreeDERCert(); %NULL if no thumbprint can be made
 */
ORVANE_EXPORT SSLDERCert *SSL_GetDERCert(X509 *cert);

/* A copy, to be released in the same way; NULL of NULL. */
ORVANE_EXPORT SSLDERCert *SSL_CopyDERCert(SSLDERCert *cert);

/* NULL is allowed. */
ORVANE_EXPORT void SSL_FreeDERCert(SSLDERCert *cert);

/**
 * SSL_GetCertInfo:
 * @cert: a certificate
 *
 * Returns: (transfer full) (nullable): to be released with SSL_FreeCertInfo(); %NULL if it cannot be read
 */
ORVANE_EXPORT SSLCertInfo *SSL_GetCertInfo(X509 *cert);

/* NULL is allowed. */
ORVANE_EXPORT void SSL_FreeCertInfo(SSLCertInfo *info);

/**
 * SSL_GetCertErrors:
 * @storeContext: the verification that is running
 * @leaf: the peer's certificate
 * @host: the name that it must bear; an IP address without abbreviation, as "0:0:0:0:0:0:0:1"
 * @thumbprint: (nullable): a pin: with a match nothing else counts
 *
 * For the function given to SSL_SetVerifyCb(), or an application's OrvaneVerifyCertificateFunc while it has not
 * returned: once per verification, as it takes what the walk over the chain found.
 *
 * Its rules are those of older services: a key on an elliptic curve counts as too small, having fewer bits than the
 * limit of 1023, and the common name counts beside alternative names. New applications call
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
 * @host: the name that it must bear, as in the URL; or an IP address in any numeric form, without brackets
 * @thumbprint: (nullable): a pin: with a match nothing else counts
 *
 * Called in the same places as SSL_GetCertErrors(), with stricter rules for names and exact ones for keys:
 *
 * - If the certificate has alternative names, its common name does not count.
 * - An IP address must be one of the alternative names of that type; neither a DNS name nor a common name matches it.
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
 * Returns: (transfer full): a sentence per bit, one a line, to be released with g_free(); empty for none
 */
ORVANE_EXPORT char *SSL_DescribeCertErrors(guint64 errors);

/**
 * SSL_MatchX509SubjectName:
 * @cert: a certificate
 * @host: a name
 *
 * Returns: whether the first common name of the subject is @host, in any case; "*." in front of it stands for
 *   exactly the first label
 */
ORVANE_EXPORT gboolean SSL_MatchX509SubjectName(X509 *cert, const char *host);

/**
 * SSL_MatchX509v3SubjectAltNames:
 * @cert: a certificate
 * @type: 2 for DNS names, 7 for IP addresses
 * @name: what to look for
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
 * @data: what was given with the function
 *
 * Called inside the handshake, on its thread, at the end of the walk over the chain: once per context. All that is
 * wrong with the chain is known by then, except violations that only this OpenSSL's later checks find (address
 * blocks of RFC 3779): those fail the handshake in any case, with a warning in the log.
 *
 * Returns: 1 to accept the peer, whatever is wrong with it; 0 to fail the handshake
 */
typedef int (*SSLVerifyCertificateFn)(X509_STORE_CTX *storeContext, X509 *certificate,
                                      gpointer data);

/**
 * SSL_SetVerifyCb:
 * @ctx: the context of one connection
 * @func: decides on the peer's certificate
 * @data: handed to @func
 * @destroy: (nullable): releases @data, when @func has returned, or with the context if it was never called
 *
 * From now on the context trusts the machine's CA certificates, and its next handshake asks @func.
 */
ORVANE_EXPORT void SSL_SetVerifyCb(SSL_CTX *ctx, SSLVerifyCertificateFn func, gpointer data,
                                   GDestroyNotify destroy);

/* The verify callback that SSL_SetVerifyCb() installs. */
ORVANE_EXPORT int SSL_ValidateCertCb(int ok, X509_STORE_CTX *storeContext);

/* Whether a function given to SSL_SetVerifyCb() has accepted the peer of this very connection. */
ORVANE_EXPORT gboolean SSL_IsPeerAccepted(SSL *ssl);

/**
 * SSL_CheckCert:
 * @sock: a connection whose handshake is over
 * @host: the name that must be the subject's common name, in any case; no wildcards, no alternative names
 * @allowSelfSigned: whether a self-signed certificate passes, or one in the chain
 *
 * The check of older callers; SSL_ConnectAndVerify() checks more, and before anything is sent.
 *
 * Returns: whether the peer's certificate verified and bears the name; %FALSE on a connection without a peer's
 *   certificate, such as a plain one
 */
ORVANE_EXPORT gboolean SSL_CheckCert(SSLSock *sock, const char *host, gboolean allowSelfSigned);

/* The switch for all checks: 0, as at first, is on, any other value off. For trials only. */
ORVANE_EXPORT void SSL_SetVerifySSLCertificates(gint32 value);
ORVANE_EXPORT gint32 SSL_GetVerifySSLCertificates(void);
ORVANE_EXPORT gboolean SSL_IsVerifyEnabled(void);

/* Index of the SSLVerifyParam in the extra data of an SSL, while it is connected. */
ORVANE_EXPORT int SSL_GetSSLVerifyParamIx(void);

/* ---- connections ---- */

/*
 *   SSLSock *sock = SSL_New(fd, TRUE);
 *   if (SSL_ConnectAndVerify(sock, &param))
 *       SSL_Write(sock, "hello", 5);
 *   SSL_Shutdown(sock);
 *
 * A connection is plain until connect or accept makes it encrypted; one that stays plain is of use too. If that
 * fails, the connection has failed for ever. It belongs to one thread at a time; different ones run in parallel.
 * A peer that has gone shows as an error: no function here raises SIGPIPE.
 */

/**
 * SSL_New:
 * @fd: a connected socket, blocking or not
 * @closeFdOnShutdown: whether SSL_Shutdown() closes it
 *
 * Returns: (transfer full): a plain connection, to be released with SSL_Shutdown()
 */
ORVANE_EXPORT SSLSock *SSL_New(int fd, gboolean closeFdOnShutdown);

/* From now on SSL_Shutdown() closes the socket. */
ORVANE_EXPORT void SSL_SetCloseOnShutdownFlag(SSLSock *sock);

ORVANE_EXPORT int SSL_GetFd(SSLSock *sock);

/**
 * SSL_ConnectAndVerifyWithContext:
 * @sock: a plain connection
 * @param: (nullable): what to check of the peer's certificate; %NULL checks nothing
 * @ctx: a context; trusted certificates in @param replace what it trusts, for its other connections too
 *
 * Shakes hands as the client, and returns when that is over. With a socket that does not block it tries ten times
 * a second, for 120 seconds at most; with one that does, for as long as the peer lets it wait.
 *
 * Returns: %FALSE if there is no encrypted connection now, and a warning in the log; what was wrong with the
 *   certificate is in @param
 */
ORVANE_EXPORT gboolean SSL_ConnectAndVerifyWithContext(SSLSock *sock, SSLVerifyParam *param,
                                                       SSL_CTX *ctx);

/* The same with the default context. */
ORVANE_EXPORT gboolean SSL_ConnectAndVerify(SSLSock *sock, SSLVerifyParam *param);

/* The same without any check of the peer, which the log warns of. */
ORVANE_EXPORT gboolean SSL_Connect(SSLSock *sock);

/**
 * SSL_SetupAcceptWithContext:
 * @sock: a plain connection
 * @ctx: a context with a certificate; the default one gets its certificate here
 *
 * Makes the connection an encrypted one whose handshake, as the server, is still to come: by
 * SSL_TryCompleteAccept(), or by the first SSL_Read() or SSL_Write().
 *
 * Returns: %FALSE if that is not possible, and a warning in the log
 */
ORVANE_EXPORT gboolean SSL_SetupAcceptWithContext(SSLSock *sock, SSL_CTX *ctx);

/**
 * SSL_TryCompleteAccept:
 * @sock: a connection after SSL_SetupAcceptWithContext()
 *
 * Goes on with the handshake as far as it comes without waiting, if the socket does not block.
 *
 * Returns: 1 if it is over, 0 if it has to wait for the peer, see SSL_WantRead(), -1 if it has failed
 */
ORVANE_EXPORT int SSL_TryCompleteAccept(SSLSock *sock);

/* Sets up and tries once. TRUE says that it was set up: the handshake may still go on, or have failed. */
ORVANE_EXPORT gboolean SSL_AcceptWithContext(SSLSock *sock, SSL_CTX *ctx);

/* The same with the default context. */
ORVANE_EXPORT gboolean SSL_Accept(SSLSock *sock);

/**
 * SSL_CompleteAccept:
 * @sock: a connection after SSL_AcceptWithContext() or SSL_Accept()
 *
 * Tries ten times a second until the handshake is over. No time limits that: where a peer may stall, call
 * SSL_TryCompleteAccept() when the socket is ready, and give up when you like.
 *
 * Returns: %FALSE if the connection has failed
 */
ORVANE_EXPORT gboolean SSL_CompleteAccept(SSLSock *sock);

/**
 * SSL_Read:
 * @sock: a connection
 * @buf: (out caller-allocates) (array length=len): where the bytes go
 * @len: room there, in bytes
 *
 * Returns: number of bytes; -1 with errno EAGAIN if it has to wait, and with errno 1 if the connection has failed
 *   before. With any other -1 SSL_GetIOError() tells a clean end (6) from a failure. A plain connection answers as
 *   read() does: 0 at the end.
 */
ORVANE_EXPORT ssize_t SSL_Read(SSLSock *sock, void *buf, int len);

/**
 * SSL_Write:
 * @sock: a connection
 * @buf: (array length=len): the bytes
 * @len: their number
 *
 * After a -1 with errno EAGAIN, the next call on an encrypted connection must be given the same bytes at the same
 * place, unless SSL_SetMode() says otherwise.
 *
 * Returns: number of bytes written; -1 as with SSL_Read()
 */
ORVANE_EXPORT ssize_t SSL_Write(SSLSock *sock, const void *buf, int len);

/**
 * SSL_RecvDataAndFd:
 * @sock: a connection
 * @buf: (out caller-allocates) (array length=len): where the bytes go
 * @len: room there, in bytes
 * @fd: (out): a descriptor that came with the bytes, now the caller's; -1 if none did
 *
 * Descriptors come over plain Unix sockets only, one per call; further ones in the same message are closed.
 *
 * Returns: as SSL_Read()
 */
ORVANE_EXPORT ssize_t SSL_RecvDataAndFd(SSLSock *sock, void *buf, gsize len, int *fd);

/* Bytes that SSL_Read() gives without looking at the socket. Ask before waiting for the socket. */
ORVANE_EXPORT int SSL_Pending(SSLSock *sock);

/* What the last operation waits for: 1 nothing, 2 to write, 3 to read, or another of OpenSSL's SSL_want() codes. */
ORVANE_EXPORT int SSL_Want(SSLSock *sock);
ORVANE_EXPORT gboolean SSL_WantRead(SSLSock *sock);
ORVANE_EXPORT gboolean SSL_WantWrite(SSLSock *sock);

/**
 * SSL_GetIOError:
 * @sock: a connection
 *
 * Returns: OpenSSL's SSL_get_error() code of the last operation on an encrypted connection: 0 success, 1 a failure
 *   of TLS, 2 and 3 it has to wait, 5 the connection below broke off (errno says why, unless it just ended), 6 the
 *   peer has closed it properly
 */
ORVANE_EXPORT int SSL_GetIOError(SSLSock *sock);

/* Adds bits of OpenSSL's SSL_MODE_ to an encrypted connection; all that are set now. 0 on a plain one. */
ORVANE_EXPORT long SSL_SetMode(SSLSock *sock, long mode);

/**
 * SSL_Shutdown:
 * @sock: (transfer full): a connection in any state
 *
 * Releases it. On contexts of SSL_NewContext() the peer is told nothing but what closing the socket tells it.
 *
 * Returns: 0, or what close() answered
 */
ORVANE_EXPORT int SSL_Shutdown(SSLSock *sock);

G_END_DECLS
