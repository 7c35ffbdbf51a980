/*
 * sslCertConstraints.h -- whether the names in a chain are those that its authorities may certify
 *
 *   root  <-  authority, permitted: example.test  <-  leaf for bank.test      violated at depth 0
 *
 * The versions of OpenSSL after 1.0.2 check this when the walk over the chain is over and the application has
 * decided. Here it is checked before, so that the decision can take it into account.
 *
 * Threads: that of the handshake.
 */
#pragma once

#include <array>

#include "lib/ssl/sslThunks.h"

/* The codes of OpenSSL for such a violation. The first of them: there are too many names to check. */
inline constexpr auto kConstraintCodes = std::to_array<int>({1, 47, 48, 49, 51, 52, 53});

struct SSLConstraintError {
    int code;  /* X509_V_OK: none is violated */
    int depth; /* of the certificate that violates it */
};

/* Returns the first violation in the chain of a verification. None where OpenSSL itself looks before the
 * walk. */
SSLConstraintError SSLCertConstraints_Check(X509_STORE_CTX *storeContext);

/* Whether any authority in the chain of a verification has name constraints. */
bool SSLCertConstraints_Exist(X509_STORE_CTX *storeContext);
