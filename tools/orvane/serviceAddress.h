/*
 * serviceAddress.h -- the service of a URL:  "https://Host.Example/sdk"  ->  "host.example:443"
 *
 * A service has one key, however its URL is written: hosts are in lower case, numeric ones in their shortest
 * form, and the port is always there; "[::1]:443".
 */
#pragma once

#include <optional>
#include <string>

namespace orvaneCli {

struct ServiceAddress {
    bool isTls;
    std::string host; /* an IPv6 address without brackets */
    int port;

    std::string Key() const;
    /* Returns whether the host is this machine, by its name or address. */
    bool IsLoopback() const;
    /* Returns the host in the form of SSL_GetCertErrors(): an IPv6 address with all its groups. */
    std::string CertificateHost() const;
};

/* Returns nothing if the text is no http or https address. */
std::optional<ServiceAddress> ParseServiceAddress(const std::string &url);

} // namespace orvaneCli
