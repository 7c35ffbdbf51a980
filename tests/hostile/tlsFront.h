/*
 * tlsFront.h -- TLS in front of a plain server on this machine
 *
 * Written with GnuTLS, so that what the library's TLS layer reads was written by another implementation.
 *
 * Threads: one for each connection.
 */
#pragma once

#include "tools/certificates/certificateKind.h"

namespace hostile {

/* Serves until the process ends: each connection to the listening socket is decrypted and carried to the port of
 * 127.0.0.1. */
[[noreturn]] void RunTlsFront(int listener, int port, const certificates::Presented &presented);

} // namespace hostile
