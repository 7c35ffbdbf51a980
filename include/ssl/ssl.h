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
typedef struct x509_st X509;
typedef struct x509_store_ctx_st X509_STORE_CTX;

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

/**
 * SSL_SetUseCompression:
 * @useCompression: whether contexts made from now on allow TLS compression; they do not by default
 *
 * To be called before SSL_Init() to have an effect on the default context.
 */
ORVANE_EXPORT void SSL_SetUseCompression(gboolean useCompression);

G_END_DECLS
