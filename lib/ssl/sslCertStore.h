/*
 * sslCertStore.h -- what a context trusts: the machine's CA certificates, or those that a caller names
 *
 * Threads: any. The certificates of the machine are read under the state lock.
 */
#pragma once

#include "lib/ssl/sslThunks.h"

/* Makes the context trust the machine's CA certificates too. */
void SSLAddHostCAStore(SSL_CTX *ctx);

/* Releases what was read of them; part of SSL_Exit(). */
void SSLForgetHostCAs();

/* Makes the context, with all its connections to come, trust these PEM texts and nothing else. */
void SSLSetTrustedCAs(SSL_CTX *ctx, const char *const *list, gint32 count);

/*
 * Returns the default context, which trusts the machine's CA certificates; NULL before SSL_Init(). Every
 * function that hands the context to an application or verifies a peer with it takes it from here. The
 * certificates are read on the first call, which takes some 30 ms. A process whose connections are all
 * libcurl's never needs them.
 */
SSL_CTX *SSLTrustingContext();
