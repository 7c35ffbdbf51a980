/*
 * sslDhParams.h -- the groups that a server of ours offers for Diffie-Hellman key exchange
 *
 *   key length   file                  without a usable file
 *   up to 1024   SSLDHParamsFiles[0]   the SKIP prime of 1024 bits; unless SSL_Disable1024DHParams()
 *   up to 2048   SSLDHParamsFiles[1]   ... of 2048 bits
 *   above        SSLDHParamsFiles[2]   ... of 4096 bits
 *
 * A file is tried once per start of the layer. What was read or built stays in sslModule.SSLDHParamsCache and
 * serves all connections.
 *
 * Ownership: the callbacks' results belong to the cache; SSL_Exit() releases them.
 * Errors:    NULL, after a line in the log.
 * Threads:   any; under the state lock, also while a file is read.
 */
#pragma once

#include "lib/ssl/sslThunks.h"

/* OpenSSL's callbacks for a group of keyLength bits: out of the files only; or else built in. */
extern "C" DH *SSLTmpDHFilesCallback(SSL *ssl, int isExport, int keyLength);
extern "C" DH *SSLTmpDHFilesSKIPCallback(SSL *ssl, int isExport, int keyLength);
