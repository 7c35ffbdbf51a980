/*
 * sslAccess.h -- access to what is a field of a structure in OpenSSL 1.0.2 and a function in later versions
 *
 *   X509 + 72 (ex_flags)    <->    X509_get_extension_flags()
 *
 * Each accessor calls the function if the opened OpenSSL has it. Otherwise it reads the field at its offset
 * in 1.0.2 on 64-bit x86. SSL_Init() determines this for each function, so one binary supports both. No other
 * file accesses a structure of OpenSSL. The module also has the few functions of OpenSSL that are not among
 * the thunks.
 *
 * Ownership: documented with each function.
 * Threads:   those of the OpenSSL object.
 */
#pragma once

#include <string_view>

#include "lib/ssl/sslThunks.h"

/* Looks the functions up in an opened libcrypto; called by SSL_Init(), which holds the state lock. */
void SSLAccess_Resolve(void *libcrypto);

/* Returns whether OpenSSL hides its structures, as the versions after 1.0.2 do. */
bool SSLAccess_IsOpaque();

/* Returns EXFLAG_ bits. Call __wrap_X509_check_ca() first, which computes them. */
guint32 SSLAccess_CertExFlags(X509 *cert);

/* Returns KU_ bits, which are valid only if the EX flags have EXFLAG_KUSAGE. */
guint32 SSLAccess_CertKeyUsage(X509 *cert);

/* Returns the version field of the certificate: 2 for version 3, 0 if it is absent. */
long SSLAccess_CertVersion(const X509 *cert);

/* Returns the NID of the signature's algorithm. */
int SSLAccess_CertSignatureNid(const X509 *cert);

/*
 * Whether the certificate is for a host name. Only alternative names count if it has a DNS name among them,
 * else common names. A wildcard replaces exactly the first of three or more labels. False without the
 * function.
 */
bool SSLAccess_CertIsForName(X509 *cert, std::string_view name);

/* Whether the bytes, 4 or 16, are an address among its alternative names. False without the function. */
bool SSLAccess_CertIsForAddress(X509 *cert, std::string_view bytes);

/* Whether this OpenSSL checks name constraints after the walk over a chain, as the versions after 1.0.2 do. */
bool SSLAccess_ChecksConstraintsLate();

/* The verify code of the names of a certificate under the constraints of an authority; X509_V_OK if they are
 * permitted. Only where SSLAccess_ChecksConstraintsLate(). */
int SSLAccess_CheckConstraints(X509 *cert, void *constraints);
int SSLAccess_CheckCommonNameConstraints(X509 *cert, void *constraints);

/* Decoded name constraints, X509_get_ext_d2i() of NID_name_constraints. NULL is allowed. */
void SSLAccess_FreeConstraints(void *constraints);

/* Return the begin and the end of the validity; owned by the certificate. */
const ASN1_TIME *SSLAccess_CertNotBefore(const X509 *cert);
const ASN1_TIME *SSLAccess_CertNotAfter(const X509 *cert);

/* Returns the store of a verification; owned by the verification. */
X509_STORE *SSLAccess_VerifyStore(X509_STORE_CTX *storeContext);

/* Returns the X509_V_FLAG_ bits of a verification. */
unsigned long SSLAccess_VerifyFlags(X509_STORE_CTX *storeContext);

/* Set and return the ex-data of a store at an index of its class. False: no memory, and the data still
 * belongs to the caller. */
bool SSLAccess_SetStoreExData(X509_STORE *store, int index, void *data);
void *SSLAccess_StoreExData(X509_STORE *store, int index);

/* Sets prime and generator of a DH object, which then owns them. False: both still belong to the caller. */
bool SSLAccess_SetDHParams(DH *dh, BIGNUM *prime, BIGNUM *generator);

/* Sets the side of a connection in 1.0.2, where SSL_get_certificate() depends on it. */
void SSLAccess_SetIsServer(SSL *ssl, bool isServer);
