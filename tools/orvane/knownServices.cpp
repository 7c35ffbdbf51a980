#include "tools/orvane/knownServices.h"

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <glib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "lib/misc/glibPtr.h"

namespace orvaneCli {

namespace {

constexpr size_t kThumbprint256Length = 95;
constexpr mode_t kFileMode = 0600;
constexpr mode_t kFolderMode = 0700;

class Descriptor {
public:
    explicit Descriptor(int opened) : number(opened) {}
    ~Descriptor() {
        if (number >= 0)
            close(number);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int Number() const { return number; }

private:
    int number;
};

Failure FileFailure(const std::string &path, const std::string &why) {
    return Failure(fmt::format("{}: {}", path, why));
}

/* Returns why the file must not be used; empty if it may be. */
std::string Distrust(const struct stat &status) {
    if (!S_ISREG(status.st_mode))
        return "is no regular file";
    if (status.st_uid != geteuid() && status.st_uid != 0)
        return "belongs to another user";
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return "is writable for others; if its content is right, use chmod 600";
    return "";
}

/* Returns nothing if there is no such file. */
std::optional<std::string> ReadFile(const std::string &path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file.Number() < 0 && errno == ENOENT)
        return std::nullopt;
    struct stat status {};
    if (file.Number() < 0 || fstat(file.Number(), &status) != 0)
        throw FileFailure(path, g_strerror(errno));
    if (const std::string why = Distrust(status); !why.empty())
        throw FileFailure(path, why);
    std::string text(KnownServices::kMaxBytes + 1, '\0');
    size_t size = 0;
    while (size < text.size()) {
        const ssize_t count = read(file.Number(), text.data() + size, text.size() - size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw FileFailure(path, g_strerror(errno));
        if (count == 0)
            break;
        size += static_cast<size_t>(count);
    }
    if (size > KnownServices::kMaxBytes)
        throw FileFailure(path, "is too large");
    text.resize(size);
    return text;
}

/* Returns the lines without their ends. */
std::vector<std::string_view> LinesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

/* Removes the first word of a line and returns it. */
std::string_view TakeWord(std::string_view *line) {
    constexpr std::string_view kBlanks = " \t\r";
    line->remove_prefix(std::min(line->find_first_not_of(kBlanks), line->size()));
    const std::string_view word = line->substr(0, line->find_first_of(kBlanks));
    line->remove_prefix(word.size());
    return word;
}

bool IsOf(std::string_view line, std::string_view key) {
    const std::string_view word = TakeWord(&line);
    return word.size() == key.size() &&
           g_ascii_strncasecmp(word.data(), key.data(), key.size()) == 0;
}

/* Returns the text with the service's line replaced, or appended. */
std::string WithLine(std::string_view text, std::string_view key, std::string_view thumbprint) {
    const std::string wanted = fmt::format("{} {}\n", key, thumbprint);
    std::string changed;
    bool isThere = false;
    for (const std::string_view line : LinesOf(text)) {
        if (!IsOf(line, key))
            changed += fmt::format("{}\n", line);
        else if (!std::exchange(isThere, true))
            changed += wanted;
    }
    return isThere ? changed : changed + wanted;
}

/* Opens the folder, creates it if needed, and locks it until it is closed. */
int OpenFolder(const std::string &path) {
    const GPtr<char> folder(g_path_get_dirname(path.c_str()));
    if (g_mkdir_with_parents(folder.get(), kFolderMode) != 0)
        throw FileFailure(folder.get(), g_strerror(errno));
    const int opened = open(folder.get(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (opened < 0)
        throw FileFailure(folder.get(), g_strerror(errno));
    (void)flock(opened, LOCK_EX); /* where folders cannot be locked, the last writer wins */
    return opened;
}

} // namespace

bool IsThumbprint256(std::string_view text) {
    if (text.size() != kThumbprint256Length)
        return false;
    for (size_t i = 0; i < text.size(); i++) {
        if (i % 3 == 2 ? text[i] != ':' : !g_ascii_isxdigit(text[i]))
            return false;
    }
    return true;
}

std::string KnownServices::DefaultPath() {
    const char *configured = secure_getenv("XDG_CONFIG_HOME");
    const std::string base = configured != nullptr && g_path_is_absolute(configured)
                                 ? configured
                                 : std::string(g_get_home_dir()) + "/.config";
    return base + "/orvane/known_services";
}

std::string KnownServices::Find(std::string_view key) const {
    const std::string text = ReadFile(path).value_or("");
    int number = 0;
    for (std::string_view line : LinesOf(text)) {
        number++;
        if (!IsOf(line, key))
            continue;
        TakeWord(&line);
        const std::string_view thumbprint = TakeWord(&line);
        if (!IsThumbprint256(thumbprint) || !TakeWord(&line).empty())
            throw FileFailure(path, fmt::format("line {} is not \"{} THUMBPRINT\" with the SHA-256 "
                                                "thumbprint of a certificate",
                                                number, key));
        return std::string(thumbprint);
    }
    return "";
}

void KnownServices::Remember(std::string_view key, std::string_view thumbprint256) const {
    const Descriptor folder(OpenFolder(path));
    const std::string text = WithLine(ReadFile(path).value_or(""), key, thumbprint256);
    if (text.size() > kMaxBytes)
        throw FileFailure(path, "is full");
    /* a link is followed, not replaced */
    const GPtr<char> real(realpath(path.c_str(), nullptr));
    GError *error = nullptr;
    if (g_file_set_contents_full(
            real ? real.get() : path.c_str(), text.data(), static_cast<gssize>(text.size()),
            GFileSetContentsFlags(G_FILE_SET_CONTENTS_CONSISTENT | G_FILE_SET_CONTENTS_DURABLE),
            kFileMode, &error))
        return;
    const Failure failure(error->message);
    g_error_free(error);
    throw failure;
}

} // namespace orvaneCli
