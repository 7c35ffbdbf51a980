/*
 * loopback.h -- sockets of this machine's own network
 *
 *   int port = 0;
 *   const int listener = ListenOnLoopback(&port);
 */
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

inline sockaddr_in LoopbackAddress(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/* Returns a socket that listens on a free port. The caller closes it. */
inline int ListenOnLoopback(int *port, int backlog = SOMAXCONN) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = LoopbackAddress(0);
    socklen_t length = sizeof address;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    EXPECT_EQ(0, bind(listener, generic, length));
    EXPECT_EQ(0, listen(listener, backlog));
    EXPECT_EQ(0, getsockname(listener, generic, &length));
    *port = ntohs(address.sin_port);
    return listener;
}

/* Connects a socket to a port. Returns what connect() does. */
inline int ConnectToLoopback(int descriptor, int port) {
    const sockaddr_in address = LoopbackAddress(port);
    return connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address);
}
