/*
 * sslAccess.h -- what OpenSSL 1.0.2 keeps in fields of its structures, and later versions behind functions
 *
 *   X509 + 72 (ex_flags)    <->    X509_get_extension_flags()
 *
 * Each accessor calls the function if the opened OpenSSL has it, and else reads the field where 1.0.2 has it on
 * 64-bit x86. Which of the two is found out once per SSL_Init(), function by function, so that one binary
 * serves both. No other file looks into a structure of OpenSSL.
 *
 * Ownership: said with each function.
 * Threads:   as the OpenSSL object that is asked.
 */
#pragma once

#include <string_view>

#include "lib/ssl/sslThunks.h"

/* Looks the functions up in an opened libcrypto; called by SSL_Init(), which holds the state lock. */
void SSLAccess_Resolve(void *libcrypto);

/* Whether OpenSSL hides its structures, as the versions after 1.0.2 do. */
bool SSLAccess_IsOpaque();

/* EXFLAG_ bits. They are filled by __wrap_X509_check_ca(), which is to be called first. */
guint32 SSLAccess_CertExFlags(X509 *cert);

/* KU_ bits; means something only if the EX flags have EXFLAG_KUSAGE. */
guint32 SSLAccess_CertKeyUsage(X509 *cert);

/* The version field as it stands in the certificate: 2 for version 3, 0 if it is absent. */
long SSLAccess_CertVersion(const X509 *cert);

/* The NID of the algorithm of the certificate's signature. */
int SSLAccess_CertSignatureNid(const X509 *cert);

/*
 * Whether the certificate is for a host name. Only alternative names count if it has a DNS name among them, else
 * common names. A wildcard replaces exactly the first of three or more labels. False without the function.
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

/* From when to when the certificate is valid; owned by it. */
const ASN1_TIME *SSLAccess_CertNotBefore(const X509 *cert);
const ASN1_TIME *SSLAccess_CertNotAfter(const X509 *cert);

/* The store that a verification runs on; owned by the verification. */
X509_STORE *SSLAccess_VerifyStore(X509_STORE_CTX *storeContext);

/* X509_V_FLAG_ bits of a verification. */
unsigned long SSLAccess_VerifyFlags(X509_STORE_CTX *storeContext);

/* The ex-data of a store, at an index of its own class. False: no memory, and the data stays the caller's. */
bool SSLAccess_SetStoreExData(X509_STORE *store, int index, void *data);
void *SSLAccess_StoreExData(X509_STORE *store, int index);

/* Gives a DH object its prime and generator, which it then owns. False: both stay the caller's. */
bool SSLAccess_SetDHParams(DH *dh, BIGNUM *prime, BIGNUM *generator);

/* Tells a connection which side it is, where SSL_get_certificate() depends on that (1.0.2). */
void SSLAccess_SetIsServer(SSL *ssl, bool isServer);
