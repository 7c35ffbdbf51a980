/*
 * sslDhParams.h -- the groups that a server offers for Diffie-Hellman key exchange
 *
 *   key length   file                  without a usable file
 *   up to 1024   SSLDHParamsFiles[0]   the SKIP prime of 1024 bits; unless SSL_Disable1024DHParams()
 *   up to 2048   SSLDHParamsFiles[1]   ... of 2048 bits
 *   above        SSLDHParamsFiles[2]   ... of 4096 bits
 *
 * A file is tried once per start of the layer. The objects are kept in sslModule.SSLDHParamsCache for all
 * connections.
 *
 * Ownership: results of the callbacks belong to the cache; SSL_Exit() releases them.
 * Errors:    NULL, after a line in the log.
 * Threads:   any. The callbacks hold the state lock, also while they read a file.
 */
#pragma once

#include "lib/ssl/sslThunks.h"

/* OpenSSL's callbacks for a group of keyLength bits: from the files only; from the files or built in. */
extern "C" DH *SSLTmpDHFilesCallback(SSL *ssl, int isExport, int keyLength);
extern "C" DH *SSLTmpDHFilesSKIPCallback(SSL *ssl, int isExport, int keyLength);
