/*
 * sslVerify.h -- checks of peer certificates, for the rest of the layer and for the session
 *
 * Two ways lead through here. SSL_ConnectAndVerify() installs SSLVerifyCb() on one connection, and a
 * SSLVerifyParam says what is wanted and takes the verdict. SSL_SetVerifyCb() installs SSL_ValidateCertCb() on a
 * context that is used for one handshake, and a SSLVerifyState on the context's store knows whom to ask:
 *
 *   attached -> walked: errors are gathered -> asked -> detached and released
 *            -> the handshake ended before the walk: released with the store
 *
 * Ownership: a state belongs to its store, and with it the client data.
 * Errors:    the certificate's are masks of SSL_CERT_ bits.
 * Threads:   that of the handshake.
 */
#pragma once

#include <optional>
#include <string_view>

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

/* SSL_SetVerifyCb() without the machine's CA certificates. */
void SSLVerifyState_Attach(SSL_CTX *ctx, SSLVerifyCertificateFn func, gpointer data,
                           GDestroyNotify destroy);

/* NULL is allowed. */
void SSLVerifyState_Free(SSLVerifyState *state);

/* The state of a verification's store, or NULL; and its end. */
SSLVerifyState *SSLVerifyState_Of(X509_STORE_CTX *storeContext);
void SSLVerifyState_Detach(X509_STORE_CTX *storeContext);

/* Has a connection check its peer as the record says. Clears what an earlier connection left in the record. False:
 * no memory. */
bool SSLVerifyParam_Attach(SSL *ssl, SSLVerifyParam *param);

/* The verify callback of a connection that has a SSLVerifyParam, and its decision. */
int SSLVerifyCb(int ok, X509_STORE_CTX *storeContext);
int SSL_VerifyCbHelper(X509_STORE_CTX *storeContext, SSLVerifyParam *param);

/* The bit for one of OpenSSL's verify codes. */
guint64 SSLMapErrorToFlag(int code, bool isLeaf);

/* Whether a key is one on an elliptic curve: its signatures are longer than the key. They are as long with RSA, and
 * shorter with DSA. */
bool SSLKeyIsOnCurve(const EVP_PKEY *key);

/* Whether the certificate is good for a purpose, given by its NID: one without the extension is. */
bool SSLCheckX509ExtendedKeyUsage(X509 *cert, int nid);

/* The text of a string of a certificate, with all NULs in it; valid as long as the string. */
std::string_view SSLCertName_TextOf(ASN1_STRING *string);

/* The first common name of the subject, byte for byte; nothing if there is none. Valid as long as the certificate. */
std::optional<std::string_view> SSLCertName_CommonName(X509 *cert);

/* Whether the certificate has alternative names of one type: GEN_DNS or GEN_IPADD. */
bool SSLCertName_HasType(X509 *cert, int type);

/* Whether the certificate is for a host, judged as SSL_GetServerCertErrors() says. */
bool SSLCertName_IsForServer(X509 *cert, const char *host);

/* Whether a host has the common name of a certificate. */
bool SSLCertCNHostnameMatch(const char *pattern, const char *host);

/* Makes the context trust the machine's CA certificates too. */
void SSLAddHostCAStore(SSL_CTX *ctx);

/* Releases what was read of them; part of SSL_Exit(). */
void SSLForgetHostCAs();

/* Makes the context, with all its connections to come, trust these PEM texts and nothing else. */
void SSLSetTrustedCAs(SSL_CTX *ctx, const char *const *list, gint32 count);
