/*
 * peer.h -- a service in a process of its own that gives one answer of the attacker's and plays by the rules otherwise
 *
 *   Peer peer({.method = "Login", .answer = {"HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n"}});
 *   ... connect to peer.Url() ...
 *   EXPECT_LE(peer.Deeds().numAttacks, 1);
 *
 * It is the service of sessionFixture.h, so what it costs is not on the ledger of the test. An attack on
 * "WaitForUpdatesEx" is launched when the application makes its first call, "CurrentTime", and that call is answered
 * once the attack was taken: when the next wait for updates comes in, or soon.
 *
 * Ownership: the process ends with its object, or with the test's process.
 * Threads:   make a peer before there are threads.
 */
#pragma once

#include <cstdint>
#include <string>

#include <netinet/in.h>
#include <sys/types.h>

#include "tests/support/cannedServer.h"
#include "tools/certificates/certificateKind.h"

namespace hostile {

struct Attack {
    std::string method;  /* by the name of the call, or of the document's file; empty: none */
    CannedAnswer answer; /* the attacker's; without bytes and without an end, silence */
};

/* What a peer has seen and done, in memory that it shares with the test. */
struct PeerDeeds {
    volatile int port;           /* 0 until it listens */
    volatile int numConnections; /* accepted */
    volatile int numAttacks;     /* requests for the attacked method */
    volatile uint64_t numBytes;  /* written to the network */
};

class Peer {
public:
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
    bool isTls;
    pid_t plainProcess = -1;
    pid_t tlsProcess = -1;
};

sockaddr_in LoopbackAddress(int port);

} // namespace hostile
