/*
 * peer.h -- an attacked service in a process of its own
 *
 *   Peer peer({.method = "Login", .answer = {"HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n"}});
 *   ... connect to peer.Url() ...
 *   EXPECT_LE(peer.Deeds().numAttacks, 1);
 *
 * What it costs is not on the ledger of the test.
 *
 * Ownership: the process ends with its object, or with the test's process.
 * Threads:   make a peer before there are threads.
 */
#pragma once

#include <cstdint>

#include "tests/hostile/attackedService.h"
#include "tests/support/tlsFront.h"

namespace hostile {

/* What a peer has seen and done, in memory that it shares with the test. */
struct PeerDeeds {
    volatile int port;           /* 0 until it listens */
    volatile int numConnections; /* accepted */
    volatile int numAttacks;     /* requests for the attacked method */
    volatile uint64_t numBytes;  /* written to the network */
};

struct Peer {
    /* With a certificate it speaks TLS. */
    explicit Peer(const Attack &attack = {}, const certificates::Presented *presented = nullptr);
    ~Peer();
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    int Port() const { return port; }
    std::string Url(const std::string &path = "/sdk") const;
    PeerDeeds Deeds() const;

private:
    PeerDeeds *deeds;
    int port = 0;
    std::unique_ptr<ChildProcess> plain;
    std::unique_ptr<TlsFront> front;
};

} // namespace hostile
