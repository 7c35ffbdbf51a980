/*
 * tlsPeer.h -- an https server on loopback, in processes of its own, that says to each request what a test tells it to
 *
 *   const TlsPeer peer([](const std::string &head) { return "HTTP/1.1 204 -\r\n\r\n"; });
 *   ... send a request to peer.Url("/x") and run the loop ...
 *
 * Its certificate is for localhost and self-signed. Connections are kept; an empty answer closes one. What a
 * request brought is in the memory of the peer's processes alone.
 *
 * Ownership: the processes end with the object.
 */
#pragma once

#include <functional>
#include <string>

#include <sys/types.h>

class TlsPeer {
public:
    explicit TlsPeer(const std::function<std::string(const std::string &head)> &answer);
    ~TlsPeer();
    TlsPeer(const TlsPeer &) = delete;
    TlsPeer &operator=(const TlsPeer &) = delete;

    std::string Url(const std::string &path) const;

private:
    pid_t process = -1;
    int port = 0;
};
