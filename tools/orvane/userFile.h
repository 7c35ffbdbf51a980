/*
 * userFile.h -- a small file of the user's: read and replaced as a whole under its lock
 *
 *   const UserFile file(UserFile::Folder() + "/known_services");
 *   file.Change([](const std::string &text) { return text + "one more line\n"; });
 *
 * The file has the mode 0600 in a folder of mode 0700. A new one replaces the old one by a rename, so that it is
 * complete at every moment. Programs that change it at the same time wait for each other, so none loses what another
 * wrote. A link is followed, not replaced. A byte-order mark at the head is no part of the text, and is not written.
 *
 *   known_services.lck/      the lock, while a program reads or changes the file
 *   known_services~          the new file, until it is renamed
 *
 * Errors:  Failure. A file that is too large, is no regular file, belongs to another user or is writable for others
 *          is refused as a whole.
 * Threads: one.
 */
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "tools/orvane/failure.h"

namespace orvaneCli {

class UserFile {
public:
    static constexpr size_t kMaxBytes = size_t{1} << 20;

    /* $XDG_CONFIG_HOME/orvane, or ~/.config/orvane */
    static std::string Folder();

    explicit UserFile(std::string file) : path(std::move(file)) {}

    const std::string &Path() const { return path; }

    /* Returns the text, read under the shared lock; nothing if there is no such file. */
    std::optional<std::string> Read() const;

    /* Replaces the text by what the function makes of the present one. A file that does not exist is empty. */
    void Change(const std::function<std::string(const std::string &)> &make) const;

    /* A failure that names the file. */
    Failure Fail(const std::string &why) const;

private:
    std::optional<std::string> ReadNow() const;

    std::string path;
};

} // namespace orvaneCli
