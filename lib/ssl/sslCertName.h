/*
 * sslCertName.h -- the names that a certificate bears
 *
 * Threads: those of the certificate.
 */
#pragma once

#include <optional>
#include <string_view>

#include "lib/ssl/sslThunks.h"

/* Returns the text of a string of a certificate, NULs included; valid as long as the string. */
std::string_view SSLCertName_TextOf(ASN1_STRING *string);

/* Returns the first common name of the subject, byte for byte, or nothing; valid as long as the certificate. */
std::optional<std::string_view> SSLCertName_CommonName(X509 *cert);

/* Returns whether the certificate has alternative names of one type: GEN_DNS or GEN_IPADD. */
bool SSLCertName_HasType(X509 *cert, int type);

/* Returns whether the certificate is for a host, by the rules of SSL_GetServerCertErrors(). */
bool SSLCertName_IsForServer(X509 *cert, const char *host);

/* Returns whether a common name matches a host, by the rules of SSL_MatchX509SubjectName(). */
bool SSLCertCNHostnameMatch(const char *pattern, const char *host);
