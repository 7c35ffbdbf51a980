/*
 * sslVerifyState.h -- the function that decides in a context's next handshake, and the errors found so far
 *
 *   attached to the store -> errors are collected -> the function is invoked -> detached and released
 *                         -> the handshake ended before that: released with the store
 *
 * Ownership: a state belongs to its store, and the client data to the state.
 * Errors:    those of the certificates are masks of SSL_CERT_ bits.
 * Threads:   that of the handshake.
 */
#pragma once

#include <orvane/ssl.h>

#include "lib/ssl/sslThunks.h"

struct SSLVerifyState {
    SSLVerifyCertificateFn verifyCallback;
    gpointer verifyClientData;
    gboolean called;
    guint64 certErrors;
    GDestroyNotify destroy; /* of the client data; may be NULL */
    guint64 exactErrors; /* as certErrors, with SSL_CERT_NAME_CONSTRAINT for violated constraints */
};

/* Takes the slot of stores that states are kept in, once a process; called by SSL_Init(). */
void SSLVerifyState_MakeSlot();

/* Releases a state when its store dies; called by OpenSSL, also with NULL. */
void FreeSSLVerifyState(void *parent, void *ptr, CRYPTO_EX_DATA *data, int index, long argl,
                        void *argp);

/* Gives a store a state, which it then owns, in place of one that it has. */
void SSLVerifyState_Attach(X509_STORE *store, const SSLVerifyState &state);

/* Returns the state of a verification's store; NULL without one. */
SSLVerifyState *SSLVerifyState_Of(X509_STORE_CTX *storeContext);

/* Releases it, if there is one. */
void SSLVerifyState_Detach(X509_STORE_CTX *storeContext);
