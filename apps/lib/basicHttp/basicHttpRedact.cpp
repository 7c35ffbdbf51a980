/*
 * Texts for the log, without what would let a reader of the log take over a session.
 *
 *   Cookie: soap=1                        Cookie: [redacted]
 *   <password>p</password>                <password>[redacted]</password>
 *   &lt;password&gt;p&lt;/password&gt;    &lt;password&gt;[redacted]&lt;/password&gt;
 *   {"user":"u","password":"p"}           {"user":"u","password[redacted]
 *
 * A page that quotes a request has its tags in an escaped form, or in one that was escaped twice: as entities, by
 * number, as in a URL, or as in JSON. All of these are recognised. What is not closed in the form in which it was
 * opened is hidden to the end.
 *
 * In what is left, names of secrets are searched in any form, and the text ends behind the first of them.
 *
 * The time is in proportion to the length of the text, whatever is in it.
 */
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "apps/lib/basicHttp/basicHttpEscape.h"
#include "apps/lib/basicHttp/basicHttpSecretName.h"
#include "lib/misc/printableText.h"

namespace {

constexpr std::string_view kRedacted = "[redacted]";
/* Headers whose value is a secret. */
constexpr auto kSecretHeaders =
    std::to_array<std::string_view>({"cookie:", "cookie2:", "set-cookie:", "set-cookie2:",
                                     "authorization:", "proxy-authorization:"});

constexpr size_t kMaxName = 128;
/* Takes the place of what has been dealt with, in a text that is in lower case else. */
constexpr char kHandled = 'X';

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

struct Element {
    size_t open; /* where its start tag begins */
    size_t nameEnd;
    std::string_view name;
};

/* Behind the start tag of an element without attributes; 0 if it has some, or is cut off. */
size_t PlainTagEnd(std::string_view lower, const Element &element, bool *isEmpty) {
    const size_t slash = BasicHttpEscape_FormAt(lower, element.nameEnd, '/');
    const size_t close = BasicHttpEscape_FormAt(lower, element.nameEnd + slash, '>');
    *isEmpty = slash > 0;
    return close > 0 ? element.nameEnd + slash + close : 0;
}

/* Where the end tag begins, and how long it is up to its '>'. Its '<' has the very form of the start tag's, since a
 * value may hold an escaped tag. The end of the text if there is none. */
size_t EndTag(std::string_view lower, const Element &element, size_t *length) {
    const std::string_view form =
        lower.substr(element.open, BasicHttpEscape_FormAt(lower, element.open, '<'));
    int depth = 1;
    *length = 0;
    for (size_t at = element.nameEnd; at < lower.size(); at++) {
        if (!lower.substr(at).starts_with(form))
            continue;
        const size_t inside = at + form.size();
        const size_t slash = BasicHttpEscape_FormAt(lower, inside, '/');
        if (NameAt(lower, inside + slash) != element.name)
            continue;
        depth += slash > 0 ? -1 : 1;
        *length = form.size() + slash + element.name.size();
        if (depth == 0)
            return at;
    }
    *length = 0;
    return lower.size();
}

/* -- URLs ------------------------------------------------------------------------------------------- */

/* Bytes that a URL may begin at the colon of, in whatever form. */
constexpr std::string_view kColonForms = ":&%\\";

/* Behind the "://" at a place, in whatever form; 0 if there is none. */
size_t SchemeEnd(std::string_view lower, size_t at) {
    for (char wanted : {':', '/', '/'}) {
        const size_t length = BasicHttpEscape_FormAt(lower, at, wanted);
        if (length == 0)
            return 0;
        at += length;
    }
    return at;
}

/* Where the URL that a place is in ends. */
size_t UrlEnd(std::string_view lower, size_t at) {
    constexpr std::string_view kQuotes = "\"'`<>";
    constexpr std::string_view kMarks[] = {"&quot;", "&apos;", "&lt;", "&gt;"};
    for (; at < lower.size(); at++) {
        const char c = lower[at];
        if (static_cast<guchar>(c) <= ' ' || kQuotes.find(c) != std::string_view::npos)
            return at;
        if (c == '&' && std::ranges::any_of(kMarks, [&](std::string_view entity) {
                return lower.substr(at).starts_with(entity);
            }))
            return at;
    }
    return at;
}

/* The parts of what follows the "://" of a URL. */
struct UrlRest {
    size_t host;  /* behind user and password; beyond the query if the host cannot be found */
    size_t query; /* the first '?' or '#', or the end */
};

UrlRest SplitUrl(std::string_view lower) {
    UrlRest rest{0, lower.size()};
    for (size_t at = 0; at < lower.size();) {
        if (lower.substr(at).starts_with("&#") && BasicHttpEscape_FormAt(lower, at, '@') == 0) {
            at += 2;
            continue;
        }
        const size_t user = BasicHttpEscape_FormAt(lower, at, '@');
        if (user != 0)
            rest.host = at + user;
        else if (rest.query == lower.size() && (BasicHttpEscape_FormAt(lower, at, '?') != 0 ||
                                                BasicHttpEscape_FormAt(lower, at, '#') != 0))
            rest.query = at;
        at += std::max<size_t>(user, 1);
    }
    return rest;
}

/* Appends what follows the "://" of a URL. */
void AppendUrlRest(std::string *shown, std::string_view text) {
    const UrlRest rest = SplitUrl(BasicHttpLower(text));
    if (rest.host > rest.query) {
        shown->append(kRedacted);
        return;
    }
    if (rest.host > 0)
        shown->append(kRedacted).append("@");
    shown->append(text.substr(rest.host, rest.query - rest.host));
    if (rest.query < text.size())
        shown->append(text.substr(rest.query, 1)).append(kRedacted);
}

/* Whether a text may hold a URL. FALSE only if it holds none; nearly all texts end here. */
bool MayHoldUrl(std::string_view text) {
    const auto isEscape = [](char c) { return c == '&' || c == '%' || c == '\\'; };
    char before = ' ';
    for (char c : text) {
        if (isEscape(c) || (before == ':' && c == '/'))
            return true;
        before = c;
    }
    return false;
}

/* A text without users, passwords and queries of URLs. */
std::string RedactUrls(std::string_view text) {
    if (!MayHoldUrl(text))
        return std::string(text);
    const std::string lower = BasicHttpLower(text);
    std::string shown;
    size_t shownEnd = 0;
    for (size_t at = 0; at < lower.size(); at++) {
        at = std::min(lower.find_first_of(kColonForms, at), lower.size());
        const size_t begin = SchemeEnd(lower, at);
        if (begin == 0)
            continue;
        const size_t end = UrlEnd(lower, begin);
        shown.append(text.substr(shownEnd, begin - shownEnd));
        AppendUrlRest(&shown, text.substr(begin, end - begin));
        shownEnd = end;
        at = end - 1;
    }
    return shown.append(text.substr(shownEnd));
}

/* -- headers ---------------------------------------------------------------------------------------- */

/* Headers whose value is a URL, or has one, which may be relative. */
constexpr auto kUrlHeaders = std::to_array<std::string_view>(
    {"location:", "content-location:", "refresh:", "link:", "referer:", "uri:"});

/* (empty): a line of such a header, without the user and the query. */
std::string RedactUrlHeader(std::string_view line) {
    constexpr std::string_view kFirstLetters = "lLcCrRuU";
    if (line.empty() || kFirstLetters.find(line[0]) == std::string_view::npos)
        return {};
    const BasicHttpLowered lowered(line, BasicHttpLowered::kAll);
    const std::string_view lower = lowered.Text();
    const auto header = std::ranges::find_if(
        kUrlHeaders, [&](std::string_view name) { return lower.starts_with(name); });
    if (header == kUrlHeaders.end())
        return {};
    const size_t slashes = lower.find("//", header->size());
    const size_t begin = slashes != std::string_view::npos
                             ? slashes + 2
                             : std::min(line.find_first_not_of(" \t", header->size()), line.size());
    std::string shown(line.substr(0, begin));
    AppendUrlRest(&shown, line.substr(begin));
    return shown;
}

/* Where the value of a secret header begins, if a line has one that begins at its start, or anywhere. */
size_t FindSecretValue(std::string_view lowerLine, bool isAnywhere) {
    size_t value = std::string_view::npos;
    for (std::string_view header : kSecretHeaders) {
        if (isAnywhere ? lowerLine.find(header) != std::string_view::npos
                       : lowerLine.starts_with(header))
            value = std::min(value, lowerLine.find(header) + header.size());
    }
    return value;
}

/* A line without its end. A line that begins with a blank goes on with the value of an unknown header. */
std::string RedactHeader(std::string_view line) {
    if (line.starts_with(' ') || line.starts_with('\t'))
        return std::string(kRedacted);
    const size_t secret =
        FindSecretValue(BasicHttpLowered(line, BasicHttpLowered::kAll).Text(), false);
    if (secret != std::string_view::npos)
        return std::string(line.substr(0, secret)).append(" ").append(kRedacted);
    const std::string url = RedactUrlHeader(line);
    if (!url.empty())
        return BasicHttpSecretName_Cut(url, kRedacted);
    return MayHoldUrl(line) ? BasicHttpSecretName_Cut(RedactUrls(line), kRedacted)
                            : BasicHttpSecretName_Cut(line, kRedacted);
}

} // namespace

std::string BasicHttpRedactHeaders(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        shown.append(RedactHeader(line));
        if (end < text.size())
            shown += '\n';
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return shown;
}

/* libcurl's own remarks name cookies as they are stored, and headers of HTTP/2 as they are sent. */
std::string BasicHttpRedactText(std::string_view remark) {
    const std::string text = RedactUrls(remark);
    const std::string lower = BasicHttpLower(text);
    size_t secret = FindSecretValue(lower, true);
    const size_t cookie = lower.find("cookie");
    if (cookie != std::string::npos && lower.find('=', cookie) != std::string::npos)
        secret = std::min(secret, lower.find('=', cookie) + 1);
    const std::string instead = std::string(kRedacted).append("\n");
    if (secret == std::string::npos)
        return BasicHttpSecretName_Cut(text, instead);
    return text.substr(0, secret).append(instead);
}

std::string BasicHttpRedactContent(std::string_view content) {
    const std::string withoutUrls = RedactUrls(content.substr(0, kBasicHttpMaxShown));
    const std::string_view text = withoutUrls;
    const std::string lower = BasicHttpLower(text);
    std::string shown;
    std::string left; /* what is shown of "lower", with kHandled for what has been dealt with */
    size_t shownEnd = 0;
    for (size_t at = 0; at < lower.size();) {
        const size_t open = BasicHttpEscape_FormAt(lower, at, '<');
        const std::string_view name = open > 0 ? NameAt(lower, at + open) : "";
        if (!BasicHttpSecretName_IsElement(name)) {
            at++;
            continue;
        }
        const Element element{at, at + open + name.size(), name};
        bool isEmpty = false;
        const size_t tagEnd = PlainTagEnd(lower, element, &isEmpty);
        size_t length = 0;
        size_t hiddenFrom = tagEnd;
        size_t hiddenEnd = tagEnd;
        if (tagEnd == 0 || !isEmpty) {
            hiddenFrom = tagEnd != 0 ? tagEnd : element.nameEnd;
            hiddenEnd = EndTag(lower, element, &length);
        }
        left.append(lower, shownEnd, element.open - shownEnd)
            .append(hiddenFrom - element.open, kHandled);
        shown.append(text.substr(shownEnd, hiddenFrom - shownEnd));
        if (hiddenEnd > hiddenFrom) {
            shown.append(kRedacted);
            left.append(kRedacted.size(), kHandled);
        }
        shown.append(text.substr(hiddenEnd, length));
        left.append(length, kHandled);
        at = shownEnd = hiddenEnd + length; /* no part is looked at often */
    }
    shown.append(text.substr(shownEnd));
    left.append(lower, shownEnd);
    const size_t end = BasicHttpSecretName_End(left);
    if (end == shown.size())
        return shown;
    return shown.substr(0, end).append(kRedacted);
}

char *BasicHttp_RedactUrls(const char *text, gsize length) {
    if (!MayHoldUrl(std::string_view(text, length)))
        return nullptr;
    const std::string shown = RedactUrls(std::string_view(text, length));
    return shown.size() == length && memcmp(shown.data(), text, length) == 0
               ? nullptr
               : g_strndup(shown.data(), shown.size());
}

char *BasicHttp_RedactUrl(const char *url) {
    constexpr size_t kMaxUrl = 256;
    const std::string_view text(url);
    const std::string lower = BasicHttpLower(text);
    const size_t colon = lower.find("://");
    const size_t begin = colon == std::string::npos ? 0 : colon + 3;
    const UrlRest rest = SplitUrl(std::string_view(lower).substr(begin));
    std::string shown(text.substr(0, begin));
    if (rest.host > rest.query)
        shown.append(kRedacted);
    else
        shown.append(text.substr(begin + rest.host, rest.query - rest.host));
    return g_strdup(PrintableText_Make(shown.substr(0, kMaxUrl)).c_str());
}

char *BasicHttp_RedactHeader(const char *line) {
    return g_strdup(RedactHeader(line).c_str());
}

char *BasicHttp_Redact(const char *text) {
    return text ? g_strdup(BasicHttpRedactContent(
                               std::string_view(text, strnlen(text, kBasicHttpMaxShown)))
                               .c_str())
                : nullptr;
}
