/*
 * bareServer.h -- the other end of what benches send: an HTTP/1.1 server that answers every request
 * with the same bytes, as fast as it can
 *
 *   BareServer server(HttpOk("<soapenv:Envelope ...>"), BareServer::Wire::kTls);
 *   ... post to server.Url("/sdk") ...
 *
 * It reads each request with its body whole before it answers, and keeps connections. It runs on a
 * thread of its own, so that the processor time of the thread that measures leaves it out. With TLS it has a
 * certificate that signs itself.
 *
 * Ownership: ends with its scope, which waits for its thread.
 * Errors:    what stops it from listening ends the program.
 */
#pragma once

#include <memory>
#include <string>

/* A whole answer with status 200. */
std::string HttpOk(const std::string &body);

class BareServer {
public:
    enum class Wire { kPlain, kTls };

    explicit BareServer(const std::string &answer, Wire wire = Wire::kPlain);
    ~BareServer();
    BareServer(const BareServer &) = delete;
    BareServer &operator=(const BareServer &) = delete;

    std::string Url(const std::string &path) const; /* on loopback */

private:
    struct State;
    std::unique_ptr<State> state;
};
