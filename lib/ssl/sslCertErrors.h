/*
 * sslCertErrors.h -- what is wrong with a certificate, as SSL_CERT_ bits
 *
 * Threads: that of the handshake.
 */
#pragma once

#include "lib/ssl/sslThunks.h"

/* Returns the bit for one of OpenSSL's verify codes. */
guint64 SSLMapErrorToFlag(int code, bool isLeaf);

/* Returns whether a key is one on an elliptic curve. Its signatures are longer than the key; they are as long
 * with RSA and shorter with DSA. */
bool SSLKeyIsOnCurve(const EVP_PKEY *key);

/* Returns whether the certificate may serve a purpose, given by its NID. One without the extension may. */
bool SSLCheckX509ExtendedKeyUsage(X509 *cert, int nid);
