// Where the system has written a core file: /proc/sys/kernel/core_pattern, as in core(5).
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <glob.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "lib/misc/coreDump.h"
#include "lib/misc/log.h"
#include "lib/misc/utilSafe.h"

namespace {

constexpr gsize kMaxUsesPid = 32;
constexpr gsize kMaxPattern = 66;
constexpr gsize kMaxExpanded = 64;
constexpr const char *kUsualPattern = "core";
constexpr int kAbortSignal = 6;

/* Reads the first bytes of a file, without a newline at their end. Returns nothing if that is not possible. */
std::optional<std::string> ReadSetting(const char *path, gsize limit) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    std::string text(limit, '\0');
    ssize_t count = 0;
    do
        count = read(fd, text.data(), limit);
    while (count < 0 && errno == EINTR);
    close(fd);
    if (count < 0)
        return std::nullopt;
    text.resize(static_cast<gsize>(count));
    if (text.ends_with('\n'))
        text.pop_back();
    return text;
}

bool IsNonZeroNumber(std::string_view text) {
    guint64 value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && value != 0;
}

struct Expansion {
    std::string text;
    bool hasPid = false;
    bool hasWildcard = false;
};

/* Returns what a specifier is replaced by. */
std::string Specifier(char letter, pid_t child, Expansion *expansion) {
    switch (letter) {
    case 'p':
        expansion->hasPid = true;
        return std::to_string(child);
    case 'u':
        return std::to_string(getuid());
    case 'g':
        return std::to_string(getgid());
    case 's':
        return std::to_string(kAbortSignal);
    case 'h': {
        utsname names;
        if (uname(&names) == 0)
            return names.nodename;
        break;
    }
    case 'e':
    case 't':
        break;
    case '%':
        return "%";
    default:
        return "";
    }
    expansion->hasWildcard = true;
    return "*";
}

Expansion Expand(std::string_view pattern, pid_t child) {
    Expansion expansion;
    for (gsize i = 0; i < pattern.size(); i++) {
        if (pattern[i] != '%')
            expansion.text += pattern[i];
        else if (++i < pattern.size())
            expansion.text += Specifier(pattern[i], child, &expansion);
    }
    if (expansion.text.size() > kMaxExpanded)
        expansion.text.resize(kMaxExpanded);
    return expansion;
}

/* Returns the current folder with a slash at its end; "" if it is not known. */
std::string CurrentFolder() {
    char *folder = getcwd(nullptr, 0);
    std::string text = folder ? std::string(folder) + "/" : "";
    free(folder);
    return text;
}

/* Returns the one file that matches, the pattern if there is none, NULL if there are several. */
char *Match(const std::string &pattern) {
    glob_t found = {};
    char *name = nullptr;
    if (glob(pattern.c_str(), GLOB_NOCHECK, nullptr, &found) != 0)
        name = UtilSafeStrdup0(pattern.c_str());
    else if (found.gl_pathc == 1)
        name = UtilSafeStrdup0(found.gl_pathv[0]);
    globfree(&found);
    return name;
}

} // namespace

char *SigCoreFileNameOf(const char *pattern, gboolean usesPid, pid_t child) {
    if (pattern == nullptr)
        pattern = kUsualPattern;
    if (pattern[0] == '|') {
        Log("Core dump pipes to process %s, core file unreliable\n", pattern + 1);
        pattern = kUsualPattern;
    }
    const Expansion expansion = Expand(pattern, child);
    std::string path = (pattern[0] == '/' ? "" : CurrentFolder()) + expansion.text;
    if (!expansion.hasPid && usesPid)
        path += "." + std::to_string(child);
    return expansion.hasWildcard ? Match(path) : UtilSafeStrdup0(path.c_str());
}

char *SigGetCoreFileName(pid_t child) {
    const bool usesPid =
        IsNonZeroNumber(ReadSetting("/proc/sys/kernel/core_uses_pid", kMaxUsesPid).value_or(""));
    const std::optional<std::string> pattern =
        ReadSetting("/proc/sys/kernel/core_pattern", kMaxPattern);
    return SigCoreFileNameOf(pattern ? pattern->c_str() : nullptr, usesPid, child);
}
