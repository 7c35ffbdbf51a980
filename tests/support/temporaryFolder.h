/*
 * temporaryFolder.h -- a folder that lives as long as its object, for files that a test needs
 *
 *   const TemporaryFolder folder;
 *   const std::string path = folder.Write("server.pem", certificate.pem, 0600);
 *
 * Errors:  std::filesystem::filesystem_error.
 * Threads: any.
 */
#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

/* What is in a file; empty if there is none. */
std::string FileText(const std::string &path);

/* The kind and the permissions of what is at a path, a link itself too; 0 if there is nothing. */
mode_t ModeOf(const std::string &path);

struct TemporaryFolder {
    /* In memory, where the system has such a place, it is no burden to the disk. */
    enum class Where { Usual, Memory };
    explicit TemporaryFolder(Where where = Where::Usual);
    ~TemporaryFolder(); /* with all that is in it */
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::string &Path() const { return path; }
    std::string Path(std::string_view name) const { return path + "/" + std::string(name); }

    /* Writes a file, over one that is there; its path. */
    std::string Write(std::string_view name, std::string_view text, mode_t mode = 0600) const;

    /* What is in a file; empty if there is none. */
    std::string Read(std::string_view name) const { return FileText(Path(name)); }

private:
    std::string path;
};
