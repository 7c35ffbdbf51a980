/*
 * Texts for the log, without what would let a reader of the log take over a session.
 *
 *   Cookie: soap=1                        Cookie: [redacted]
 *   <password>p</password>                <password>[redacted]</password>
 *   &lt;password&gt;p&lt;/password&gt;    &lt;password&gt;[redacted]&lt;/password&gt;
 *
 * A page that quotes a request has its tags in an escaped form, or in one that was escaped twice: as entities, by
 * number, as in a URL, or as in JSON. All of these are recognised. What is not closed is hidden to the end.
 *
 * The time is in proportion to the length of the text, whatever is in it.
 */
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

constexpr std::string_view kRedacted = "[redacted]";
/* Headers whose value is a secret. */
constexpr auto kSecretHeaders =
    std::to_array<std::string_view>({"cookie:", "cookie2:", "set-cookie:", "set-cookie2:",
                                     "authorization:", "proxy-authorization:"});
/* Elements whose text is one, by what their names contain. */
constexpr auto kSecretElements =
    std::to_array<std::string_view>({"password", "passphrase", "ticket", "token", "cookie"});
/* An element with just this name: a session's key opens the session. */
constexpr std::string_view kSecretName = "key";

constexpr size_t kMaxName = 128;
/* Times that an escape is escaped itself. */
constexpr int kMaxNesting = 8;
/* The log shows no more of a text. */
constexpr size_t kMaxShown = 32 * 1024;

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char c) { return g_ascii_tolower(c); });
    return lower;
}

/* -- escaped forms of a character; all texts are in lower case ------------------------------------- */

struct EntityRow {
    char character;
    std::string_view name;
};
constexpr auto kEntities = std::to_array<EntityRow>({{'<', "lt"}, {'>', "gt"}, {'/', "sol"}});

/* Takes a text off the front as often as it is there. */
void SkipAll(std::string_view *text, std::string_view part) {
    for (int i = 0; i < kMaxNesting && text->starts_with(part); i++)
        text->remove_prefix(part.size());
}

/* Takes the number of a character off the front, with leading zeros. */
bool TakeNumber(std::string_view *text, char wanted, int base, size_t maxDigits) {
    int value = 0;
    size_t digits = 0;
    for (; digits < text->size() && digits < maxDigits; digits++) {
        const char c = (*text)[digits];
        const int digit = base == 16 ? g_ascii_xdigit_value(c) : g_ascii_digit_value(c);
        if (digit < 0)
            break;
        value = std::min(value * base + digit, 0xffff);
    }
    text->remove_prefix(digits);
    return digits > 0 && value == wanted;
}

/* "&lt;", "&#60;", "&#x3c;", "&amp;lt;" */
bool TakeEntity(std::string_view *text, char wanted) {
    constexpr size_t kMaxDigits = 8;
    text->remove_prefix(1);
    SkipAll(text, "amp;");
    bool isTaken = false;
    if (text->starts_with("#x")) {
        text->remove_prefix(2);
        isTaken = TakeNumber(text, wanted, 16, kMaxDigits);
    } else if (text->starts_with('#')) {
        text->remove_prefix(1);
        isTaken = TakeNumber(text, wanted, 10, kMaxDigits);
    } else {
        for (const EntityRow &row : kEntities) {
            if (row.character == wanted && text->starts_with(row.name)) {
                text->remove_prefix(row.name.size());
                isTaken = true;
            }
        }
    }
    if (isTaken && text->starts_with(';'))
        text->remove_prefix(1);
    return isTaken;
}

/* "%3c", "%253c" */
bool TakePercent(std::string_view *text, char wanted) {
    text->remove_prefix(1);
    SkipAll(text, "25");
    return TakeNumber(text, wanted, 16, 2);
}

/* "\u003c", "\x3c", "\/", each with more backslashes */
bool TakeBackslash(std::string_view *text, char wanted) {
    SkipAll(text, "\\");
    if (text->starts_with(wanted)) {
        text->remove_prefix(1);
        return true;
    }
    const size_t digits = text->starts_with('u') ? 4 : 2;
    if (!text->starts_with('u') && !text->starts_with('x'))
        return false;
    text->remove_prefix(1);
    return TakeNumber(text, wanted, 16, digits);
}

/* Length of the character at a place, in whatever form; 0 if another one is there. */
size_t FormAt(std::string_view lower, size_t at, char wanted) {
    std::string_view rest = lower.substr(std::min(at, lower.size()));
    const size_t size = rest.size();
    if (rest.empty())
        return 0;
    bool isTaken = false;
    switch (rest.front()) {
    case '&':
        isTaken = TakeEntity(&rest, wanted);
        break;
    case '%':
        isTaken = TakePercent(&rest, wanted);
        break;
    case '\\':
        isTaken = TakeBackslash(&rest, wanted);
        break;
    default:
        return rest.front() == wanted ? 1 : 0;
    }
    return isTaken ? size - rest.size() : 0;
}

/* -- elements -------------------------------------------------------------------------------------- */

bool IsNameLetter(char c) {
    return g_ascii_isalnum(c) || c == ':' || c == '_' || c == '-' || c == '.' || (c & 0x80) != 0;
}

std::string_view NameAt(std::string_view lower, size_t at) {
    size_t end = at;
    while (end < lower.size() && end - at < kMaxName && IsNameLetter(lower[end]))
        end++;
    return lower.substr(std::min(at, lower.size()), end - at);
}

bool IsSecretElement(std::string_view lowerName) {
    const size_t colon = lowerName.find(':');
    const std::string_view local =
        colon == std::string_view::npos ? lowerName : lowerName.substr(colon + 1);
    return local == kSecretName || std::ranges::any_of(kSecretElements, [&](std::string_view word) {
               return local.find(word) != std::string_view::npos;
           });
}

struct StartTag {
    size_t end; /* behind it; the end of the text if it is cut off */
    bool hasContent;
};

StartTag StartTagAfter(std::string_view lower, size_t nameEnd) {
    size_t slashEnd = 0;
    for (size_t at = nameEnd; at < lower.size(); at++) {
        if (const size_t slash = FormAt(lower, at, '/'))
            slashEnd = at + slash;
        if (const size_t close = FormAt(lower, at, '>'))
            return {at + close, slashEnd != at};
    }
    return {lower.size(), true};
}

/* Where the end tag begins; the end of the text if there is none. */
size_t EndTag(std::string_view lower, size_t from, std::string_view name) {
    for (size_t at = from; at < lower.size(); at++) {
        const size_t open = FormAt(lower, at, '<');
        const size_t slash = open > 0 ? FormAt(lower, at + open, '/') : 0;
        if (slash > 0 && NameAt(lower, at + open + slash) == name)
            return at;
    }
    return lower.size();
}

/* -- headers ---------------------------------------------------------------------------------------- */

/* Where the value of a secret header begins, if a line has one that begins at its start, or anywhere. */
size_t SecretValue(std::string_view lowerLine, bool isAnywhere) {
    size_t value = std::string_view::npos;
    for (std::string_view header : kSecretHeaders) {
        const size_t found = lowerLine.find(header);
        if (found != std::string_view::npos && (isAnywhere || found == 0))
            value = std::min(value, found + header.size());
    }
    return value;
}

std::string RedactLines(std::string_view text, bool isAnywhere) {
    std::string shown;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string_view line =
            text.substr(0, end == std::string_view::npos ? text.size() : end + 1);
        const size_t secret = SecretValue(Lower(line), isAnywhere);
        if (secret == std::string_view::npos) {
            shown.append(line);
        } else {
            shown.append(line.substr(0, secret)).append(" ").append(kRedacted);
            if (end != std::string_view::npos)
                shown += '\n';
        }
        text.remove_prefix(line.size());
    }
    return shown;
}

} // namespace

std::string BasicHttpRedactHeaders(std::string_view text) {
    return RedactLines(text, false);
}

/* libcurl's own remarks name cookies as they are stored, and headers of HTTP/2 as they are sent. */
std::string BasicHttpRedactText(std::string_view text) {
    const std::string lower = Lower(text);
    size_t secret = SecretValue(lower, true);
    const size_t cookie = lower.find("cookie");
    if (cookie != std::string::npos && lower.find('=', cookie) != std::string::npos)
        secret = std::min(secret, lower.find('=', cookie) + 1);
    if (secret == std::string::npos)
        return std::string(text);
    return std::string(text.substr(0, secret)).append(kRedacted).append("\n");
}

std::string BasicHttpRedactContent(std::string_view text) {
    text = text.substr(0, kMaxShown);
    const std::string lower = Lower(text);
    std::string shown;
    size_t shownEnd = 0;
    for (size_t at = 0; at < lower.size();) {
        const size_t open = FormAt(lower, at, '<');
        const std::string_view name = open > 0 ? NameAt(lower, at + open) : "";
        if (!IsSecretElement(name)) {
            at++;
            continue;
        }
        const StartTag tag = StartTagAfter(lower, at + open + name.size());
        at = tag.end; /* the search goes on behind it, so that no part is looked at often */
        if (!tag.hasContent)
            continue;
        at = EndTag(lower, tag.end, name);
        shown.append(text.substr(shownEnd, tag.end - shownEnd));
        if (at > tag.end)
            shown.append(kRedacted);
        shownEnd = at;
    }
    return RedactLines(shown.append(text.substr(shownEnd)), true);
}

char *BasicHttp_Redact(const char *text) {
    return text ? g_strdup(BasicHttpRedactContent(std::string_view(text, strnlen(text, kMaxShown)))
                               .c_str())
                : nullptr;
}
