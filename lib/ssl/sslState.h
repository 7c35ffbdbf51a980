/*
 * sslState.h -- the state of the TLS layer that its modules share, and its lock
 *
 *   SSLStateGuard guard;
 *   sslModule.SSLCertFile = ...;
 *
 * The modules of the folder, each of which uses only those above it:
 *
 *   sslThunks, sslState, sslErrors, sslFile, sslLoader
 *   sslAccess, sslVerifyState                    fields of OpenSSL's structures; the state of a verification
 *   sslCertPin, sslCert, sslCertName             certificates by themselves
 *   sslCertConstraints, sslCertErrors, sslCertInfo, sslCertStore
 *   sslVerify, sslDhParams, sslContext           what a handshake needs
 *   sslModule                                    start and stop
 *   sslSocketBio, sslSock, sslHandshake, sslCertCheck
 *
 * Ownership: the strings and objects of the state belong to it; SSL_Exit() releases them.
 * Threads:   sslStateLock guards the file names, the certificate paths, allowDH1024 and the filling of the DH
 *            cache. Atomic members are read without it.
 */
#pragma once

#include <atomic>

#include <dlfcn.h>
#include <orvane/ssl.h>

#include "lib/ssl/sslThunks.h"

enum { SSL_DH_FILES = 3, SSL_DH_CACHE_SLOTS = 6 };

struct SSLModuleState {
    void *libcryptoHandle; /* both stay open after SSL_Exit() */
    void *libsslHandle;

    SSL_CTX *ssl_ctx; /* the default context; see SSLTrustingContext() for verifying a peer */
    bool hasHostCAs;  /* the default context trusts the machine's CA certificates */
    std::atomic<bool> SSLModuleInitialized;
    std::atomic<bool> weSetLockingCallback; /* OpenSSL's locking callback is ours */
    std::atomic<bool> useSSLCompression;
    std::atomic<gint32> SSLVerifySSLCertificates; /* not 0: verification is off */

    int SSLVerifyParamIx; /* ex-data of an SSL: SSLVerifyParam */
    int SSLVerifyStateIx; /* ex-data of an SSL; the state itself is kept by the store */

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

/* The recursive lock "sslStateLock", created on first use. */
void SSLStateLock();
void SSLStateUnlock();

/* Returns whether the calling thread holds it; for assertions only. */
bool SSLStateIsLocked();

struct SSLStateGuard {
    SSLStateGuard() { SSLStateLock(); }
    ~SSLStateGuard() { SSLStateUnlock(); }
    SSLStateGuard(const SSLStateGuard &) = delete;
    SSLStateGuard &operator=(const SSLStateGuard &) = delete;
};

/* Destroys the lock; part of SSL_Exit(). A later use creates it again. */
void SSLStateDestroyLock();

/* Returns a function of an opened library that is not among the thunks; NULL if it has none of that name. */
template <class Function> Function SSLFindFunction(void *library, const char *name) {
    void *symbol = dlsym(library, name);
    dlerror(); /* clears the text: a missing one is no failure */
    return reinterpret_cast<Function>(symbol);
}
