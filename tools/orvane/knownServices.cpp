#include "tools/orvane/knownServices.h"

#include <utility>
#include <vector>

#include <fmt/format.h>
#include <glib.h>

#include "tools/orvane/message.h"

namespace orvaneCli {

namespace {

constexpr size_t kThumbprint256Length = 95;

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

std::string KnownServices::Find(std::string_view key) const {
    const std::string text = file.Read().value_or("");
    int number = 0;
    for (std::string_view line : LinesOf(text)) {
        number++;
        if (!IsOf(line, key))
            continue;
        TakeWord(&line);
        const std::string_view thumbprint = TakeWord(&line);
        if (!IsThumbprint256(thumbprint) || !TakeWord(&line).empty())
            throw file.Fail(Text(MSGID("known.badLine") "line %d is not \"%s THUMBPRINT\" with the "
                                                        "SHA-256 thumbprint of a certificate",
                                 number, std::string(key).c_str()));
        return std::string(thumbprint);
    }
    return "";
}

void KnownServices::Remember(std::string_view key, std::string_view thumbprint256) const {
    file.Change([&](const std::string &text) { return WithLine(text, key, thumbprint256); });
}

} // namespace orvaneCli
