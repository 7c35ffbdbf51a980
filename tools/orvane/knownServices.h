/*
 * knownServices.h -- the certificates that the user has accepted, in a file with a line for each service
 *
 *   # comments stay
 *   host.example:443 0A:1B:2C:...          the SHA-256 thumbprint of its certificate
 *
 * The file is $XDG_CONFIG_HOME/orvane/known_services, or ~/.config/orvane/known_services; it is written
 * with mode 0600 in a folder of mode 0700. A new file replaces the old one by a rename, so that it is complete at
 * every moment. Programs that write at the same time wait for each other.
 *
 * Errors:  Failure. A file that is too large, is no regular file or is writable for others is refused as a whole.
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

    /* Returns the thumbprint of a service by its key; empty if it is not known. A line of the service with
     * anything but a thumbprint is a Failure, not an unknown service. */
    std::string Find(std::string_view key) const;

    /* Writes a line to the file, which replaces the line of the same service. */
    void Remember(std::string_view key, std::string_view thumbprint256) const;

private:
    std::string path;
};

/* "AA:BB:...", 32 bytes, in either case. */
bool IsThumbprint256(std::string_view text);

} // namespace orvaneCli
