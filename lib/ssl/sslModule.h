/*
 * sslModule.h -- the start and the stop of the TLS layer, and the callbacks that it gives OpenSSL
 *
 * SSL_Init() and SSL_Exit() are in <orvane/ssl.h>.
 *
 * Threads: any.
 */
#pragma once

/* Warns if the application has replaced the locking callback that SSL_Init() installed. */
void SSLCheckLockingCallback();
