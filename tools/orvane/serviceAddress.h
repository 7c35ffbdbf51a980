/*
 * serviceAddress.h -- which service a URL means:  "https://Host.Example/sdk"  ->  "host.example:443"
 *
 * However the URL is written, one service has one key: hosts are in lower case, numeric ones in their
 * shortest form, always with the port; "[::1]:443".
 */
#pragma once

#include <optional>
#include <string>

namespace orvaneCli {

struct ServiceAddress {
    bool isTls;
    bool isSafe;      /* no other machine can read it: https, or http to this machine */
    std::string host; /* an IPv6 address without brackets */
    int port;

    std::string Key() const;
    /* The host as SSL_GetCertErrors() wants it: an IPv6 address with all its groups. */
    std::string CertificateHost() const;
};

/* Nothing if the text is no http or https address that the library and this program read in the same way. */
std::optional<ServiceAddress> ParseServiceAddress(const std::string &url);

} // namespace orvaneCli
