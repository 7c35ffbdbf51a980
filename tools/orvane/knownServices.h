/*
 * knownServices.h -- the certificates that the user has accepted, in a file of one line per service
 *
 *   # comments stay
 *   host.example:443 0A:1B:2C:...          the SHA-256 thumbprint of its certificate
 *
 * The file is $XDG_CONFIG_HOME/orvane/known_services, or ~/.config/orvane/known_services; it is written
 * with mode 0600 in a folder of mode 0700, beside the old one and then renamed, so that it is whole at
 * every moment. Two programs that write at a time wait for each other.
 *
 * Errors:  Failure, with a line for people. A file that cannot be trusted, because it is too large, no
 *          plain file or for others to write, is refused as a whole.
 * Threads: one.
 */
#pragma once

#include <string>
#include <string_view>

#include "tools/orvane/failure.h"

namespace orvaneCli {

class KnownServices {
public:
    static constexpr size_t kMaxBytes = size_t{1} << 20;

    static std::string DefaultPath();
    explicit KnownServices(std::string file) : path(std::move(file)) {}

    const std::string &Path() const { return path; }

    /* The thumbprint that is known of a service, by its key; empty if it is not known. A line of the
     * service with anything but a thumbprint is a Failure, not an unknown service. */
    std::string Find(std::string_view key) const;

    /* Puts a line into the file, in place of one for the same service. */
    void Remember(std::string_view key, std::string_view thumbprint256) const;

private:
    std::string path;
};

/* "AA:BB:...", 32 bytes, in either case. */
bool IsThumbprint256(std::string_view text);

} // namespace orvaneCli
