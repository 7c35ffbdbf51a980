/*
 * sslInt.h -- what the files of the TLS layer share: the module's state, its lock, functions that cross files
 *
 *   SSLStateGuard guard;
 *   sslModule.SSLCertFile = ...;
 *
 * Ownership: the strings and objects of the state belong to it; SSL_Exit() releases them.
 * Threads:   sslStateLock guards the file names, the certificate paths, allowDH1024 and the filling of the DH
 *            cache. What is atomic is read without it.
 */
#pragma once

#include <atomic>

#include <orvane/ssl.h>

#include "lib/ssl/sslThunks.h"

enum { SSL_DH_FILES = 3, SSL_DH_CACHE_SLOTS = 6 };

struct SSLModuleState {
    void *libcryptoHandle; /* stays open after SSL_Exit() */
    void *libsslHandle;

    SSL_CTX *ssl_ctx; /* the default context; for what may verify a peer see SSLTrustingContext() */
    bool hasHostCAs;  /* the default context trusts the machine's CA certificates by now */
    std::atomic<bool> SSLModuleInitialized;
    std::atomic<bool> weSetLockingCallback; /* OpenSSL's locking callback is ours */
    std::atomic<bool> useSSLCompression;
    std::atomic<gint32> SSLVerifySSLCertificates; /* not 0: verification is switched off */

    int SSLVerifyParamIx; /* ex-data of an SSL: SSLVerifyParam */
    int SSLVerifyStateIx; /* ex-data of an SSL; the state itself hangs on the store, see sslAccess.h */

    bool areCertificatesLoaded; /* into the default context; under the state lock */
    char *SSLCertFile;          /* these strings are malloc()ed */
    char *SSLKeyFile;
    char *SSLCertStoreName;
    char *SSLCertSubject;

    char *SSLDHParamsFiles[SSL_DH_FILES]; /* for 1024, 2048 and 4096 bits */
    bool SSLDHParamsFilesTriedLoad[SSL_DH_FILES];
    std::atomic<DH *>
        SSLDHParamsCache[SSL_DH_CACHE_SLOTS]; /* 0 to 2 from the files, 3 to 5 built in */
    bool allowDH1024 = true;
};

extern SSLModuleState sslModule;

/* The recursive lock "sslStateLock", made on first use. */
void SSLStateLock();
void SSLStateUnlock();

/* Whether the calling thread holds it; for assertions only. */
bool SSLStateIsLocked();

/*
 * The default context, trusting the machine's CA certificates; NULL before SSL_Init(). Every way by which the context
 * gets out of the module or verifies a peer leads through here. The certificates are read when that happens
 * first: it takes some 30 ms, and a process whose connections are all libcurl's never needs them.
 */
SSL_CTX *SSLTrustingContext();

struct SSLStateGuard {
    SSLStateGuard() { SSLStateLock(); }
    ~SSLStateGuard() { SSLStateUnlock(); }
    SSLStateGuard(const SSLStateGuard &) = delete;
    SSLStateGuard &operator=(const SSLStateGuard &) = delete;
};

/* Warns if the application has replaced the locking callback that SSL_Init() installed. */
void SSLCheckLockingCallback();

/* Releases a verify state when the store it hangs on goes away; also called with NULL. */
void FreeSSLVerifyState(void *parent, void *ptr, CRYPTO_EX_DATA *data, int index, long argl,
                        void *argp);
