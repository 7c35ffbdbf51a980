/*
 * sslVerify.h -- the verify callbacks that the layer gives OpenSSL
 *
 * Two ways lead through here. SSL_ConnectAndVerify() installs SSLVerifyCb() on one connection, and an
 * SSLVerifyParam says what is required and receives the result. SSL_SetVerifyCb() installs
 * SSL_ValidateCertCb() on a context that is used for one handshake; the function to invoke is in the
 * SSLVerifyState of its store.
 *
 * Threads: that of the handshake.
 */
#pragma once

#include <orvane/ssl.h>

#include "lib/ssl/sslThunks.h"

/* As SSL_SetVerifyCb(), but without adding the machine's CA certificates. */
void SSLVerify_SetFunction(SSL_CTX *ctx, SSLVerifyCertificateFn func, gpointer data,
                           GDestroyNotify destroy);

/* Makes a connection check its peer by a record, whose results are cleared first. False: no memory. */
bool SSLVerify_SetParam(SSL *ssl, SSLVerifyParam *param);

/* The verify callback of a connection that has a SSLVerifyParam, and its decision. */
int SSLVerifyCb(int ok, X509_STORE_CTX *storeContext);
int SSL_VerifyCbHelper(X509_STORE_CTX *storeContext, SSLVerifyParam *param);
