/*
 * knownServices.h -- the certificates that the user has accepted, in a file with a line for each service
 *
 *   # comments stay
 *   host.example:443 0A:1B:2C:...          the SHA-256 thumbprint of its certificate
 *
 * The file is $XDG_CONFIG_HOME/orvane/known_services, or ~/.config/orvane/known_services; userFile.h says how it is
 * read and replaced.
 *
 * Errors:  Failure.
 * Threads: one.
 */
#pragma once

#include <string>
#include <string_view>

#include "tools/orvane/userFile.h"

namespace orvaneCli {

class KnownServices {
public:
    static constexpr size_t kMaxBytes = UserFile::kMaxBytes;

    static std::string DefaultPath() { return UserFile::Folder() + "/known_services"; }
    explicit KnownServices(std::string path) : file(std::move(path)) {}

    const std::string &Path() const { return file.Path(); }

    /* Returns the thumbprint of a service by its key; empty if it is not known. A line of the service with
     * anything but a thumbprint is a Failure, not an unknown service. */
    std::string Find(std::string_view key) const;

    /* Writes a line to the file, which replaces the line of the same service. */
    void Remember(std::string_view key, std::string_view thumbprint256) const;

private:
    UserFile file;
};

/* "AA:BB:...", 32 bytes, in either case. */
bool IsThumbprint256(std::string_view text);

} // namespace orvaneCli
