/*
 * tlsFront.h -- TLS in front of a plain server on this machine, in a process of its own
 *
 *   CannedServer server;
 *   const TlsFront front(server.Port(), *certificates::MakeKind("self-signed"));
 *   ... send a request to front.Url("/x") and run the loop ...
 *
 * Written with GnuTLS, so that what the library's TLS layer reads was written by another implementation.
 *
 * Ownership: the process ends with its object, or with the test's process.
 * Threads:   make one before there are threads.
 */
#pragma once

#include <string>

#include "tests/support/inChild.h"
#include "tools/certificates/certificateKind.h"

struct TlsFront {
    /* Decrypts each connection and carries it to the port of 127.0.0.1. */
    TlsFront(int plainPort, const certificates::Presented &presented);

    int Port() const { return port; }
    std::string Url(const std::string &path = "/") const;

private:
    int port = 0;
    int listener;
    ChildProcess process;
};
