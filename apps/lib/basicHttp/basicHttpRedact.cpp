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
 * Nobody can list the forms in which a secret may be quoted. So the names of secrets are searched in what is left, with
 * all escapes of single characters undone and line ends taken out, and the text ends behind the first of them. A text
 * that hides the names themselves, as Base64 does, is not recognised.
 *
 * The time is in proportion to the length of the text, whatever is in it.
 */
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "lib/misc/printableText.h"

namespace {

constexpr std::string_view kRedacted = "[redacted]";
/* Headers whose value is a secret. */
constexpr auto kSecretHeaders =
    std::to_array<std::string_view>({"cookie:", "cookie2:", "set-cookie:", "set-cookie2:",
                                     "authorization:", "proxy-authorization:"});
/* Names of secrets, by what they contain. */
constexpr auto kSecretWords = std::to_array<std::string_view>(
    {"password", "passphrase", "passwd", "pwd", "ticket", "token", "cookie", "sessionid", "secret",
     "credential", "authorization"});
/* A name with just this at its end: a session's key opens the session. */
constexpr std::string_view kSecretEnd = "key";
/* Where names are known to be those of the service, this is one at the end only: it has an authorizationManager. */
constexpr std::string_view kHeaderWord = "authorization";

constexpr size_t kMaxName = 128;
/* Times that an escape is escaped itself. */
constexpr int kMaxNesting = 8;
/* The log shows no more of a text. */
constexpr size_t kMaxShown = 32 * 1024;
/* Takes the place of what has been dealt with, in a text that is in lower case else. */
constexpr char kHandled = 'X';

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

/* A name without its prefix. */
std::string_view LocalName(std::string_view name) {
    const size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

bool IsSecretElement(std::string_view lowerName) {
    const std::string_view local = LocalName(lowerName);
    return local.ends_with(kSecretEnd) ||
           std::ranges::any_of(kSecretWords, [&](std::string_view word) {
               return local.find(word) != std::string_view::npos;
           });
}

struct Element {
    size_t open; /* where its start tag begins */
    size_t nameEnd;
    std::string_view name;
};

/* Behind the start tag of an element without attributes; 0 if it has some, or is cut off. */
size_t PlainTagEnd(std::string_view lower, const Element &element, bool *isEmpty) {
    const size_t slash = FormAt(lower, element.nameEnd, '/');
    const size_t close = FormAt(lower, element.nameEnd + slash, '>');
    *isEmpty = slash > 0;
    return close > 0 ? element.nameEnd + slash + close : 0;
}

/* Where the end tag begins, and how long it is up to its '>'. Its '<' has the very form of the start tag's, since a
 * value may hold an escaped tag. The end of the text if there is none. */
size_t EndTag(std::string_view lower, const Element &element, size_t *length) {
    const std::string_view form = lower.substr(element.open, FormAt(lower, element.open, '<'));
    int depth = 1;
    *length = 0;
    for (size_t at = element.nameEnd; at < lower.size(); at++) {
        if (!lower.substr(at).starts_with(form))
            continue;
        const size_t inside = at + form.size();
        const size_t slash = FormAt(lower, inside, '/');
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

/* -- names of secrets in any text --------------------------------------------------------------------- */

/* A text with escapes undone, and where each character came from. */
struct Plain {
    std::string text;
    std::vector<size_t> from; /* the place behind it in the original */
};

struct Digits {
    int base;
    size_t min;
    size_t max;
};
constexpr Digits kTwo{16, 2, 2};
constexpr Digits kFour{16, 4, 4};
constexpr Digits kOctal{8, 1, 3};
constexpr Digits kAnyHex{16, 1, kMaxShown};
constexpr Digits kAnyDecimal{10, 1, kMaxShown};

/* Takes the number of a character off the front. */
bool TakeCharacter(std::string_view *text, const Digits &wanted, char *character) {
    unsigned value = 0;
    size_t digits = 0;
    for (; digits < text->size() && digits < wanted.max; digits++) {
        const int digit = g_ascii_xdigit_value((*text)[digits]);
        if (digit < 0 || digit >= wanted.base)
            break;
        value = std::min(value * unsigned(wanted.base) + unsigned(digit), 0x80u);
    }
    if (digits < wanted.min)
        return false;
    text->remove_prefix(digits);
    *character = value < 0x80 ? g_ascii_tolower(char(value)) : ' ';
    return true;
}

/* Letters of "shy;", the name of a character; 0 if a text does not begin with one. None is part of a name. */
size_t EntityLength(std::string_view text) {
    constexpr size_t kMaxLetters = 31;
    size_t length = 0;
    while (length < text.size() && length <= kMaxLetters && g_ascii_isalnum(text[length]))
        length++;
    return length <= kMaxLetters && text.substr(length).starts_with(';') ? length : 0;
}

/* Undoes the escape that a text begins with, of whatever kind. */
bool TakeEscape(std::string_view *text, char *character) {
    std::string_view rest = text->substr(1);
    bool isTaken = false;
    switch (text->front()) {
    case '&':
        if (rest.starts_with("amp;")) {
            rest.remove_prefix(3);
            *character = '&';
            isTaken = true;
        } else if (rest.starts_with("#x")) {
            rest.remove_prefix(2);
            isTaken = TakeCharacter(&rest, kAnyHex, character);
        } else if (rest.starts_with('#')) {
            rest.remove_prefix(1);
            isTaken = TakeCharacter(&rest, kAnyDecimal, character);
        } else if (const size_t length = EntityLength(rest); length != 0) {
            *character = rest.starts_with("lt;") ? '<' : rest.starts_with("gt;") ? '>' : ' ';
            rest.remove_prefix(length);
            isTaken = true;
        }
        if (isTaken && rest.starts_with(';'))
            rest.remove_prefix(1);
        break;
    case '%':
    case '=':
        isTaken = TakeCharacter(&rest, kTwo, character);
        break;
    case '\\':
        if (rest.starts_with('u') || rest.starts_with('x')) {
            std::string_view digits = rest.substr(1);
            const bool isBraced = digits.starts_with('{');
            digits.remove_prefix(isBraced ? 1 : 0);
            const Digits &plain = rest.front() == 'u' ? kFour : kTwo;
            isTaken = TakeCharacter(&digits, isBraced ? kAnyHex : plain, character);
            if (isTaken && isBraced && digits.starts_with('}'))
                digits.remove_prefix(1);
            if (isTaken)
                rest = digits;
        } else if (rest.starts_with('n') || rest.starts_with('r')) {
            rest.remove_prefix(1);
            *character = ' ';
            isTaken = true;
        } else {
            isTaken = TakeCharacter(&rest, kOctal, character);
        }
        break;
    default:
        break;
    }
    if (isTaken)
        *text = rest;
    return isTaken;
}

/* Undoes one layer of escapes. Returns whether there was one. */
bool Undo(Plain *plain) {
    Plain undone;
    bool isChanged = false;
    for (std::string_view rest = plain->text; !rest.empty();) {
        char character = rest.front();
        if (TakeEscape(&rest, &character))
            isChanged = true;
        else
            rest.remove_prefix(1);
        undone.text += character;
        undone.from.push_back(plain->from[plain->text.size() - rest.size() - 1]);
    }
    *plain = std::move(undone);
    return isChanged;
}

/* The letters of a text, and where they are. What is between them may be an end of a line, a blank, a hyphen. */
struct Letters {
    std::string text;
    std::vector<size_t> places;
};

/* Without markup, a name is found that tags break: "<i>pass</i><i>word</i>". */
Letters LettersOf(std::string_view plain, bool hasMarkup) {
    Letters letters;
    for (size_t at = 0; at < plain.size(); at++) {
        if (plain[at] == '<' && !hasMarkup)
            at = std::min(plain.find('>', at), plain.size() - 1);
        else if (g_ascii_isalnum(plain[at])) {
            letters.text += plain[at];
            letters.places.push_back(at);
        }
    }
    return letters;
}

/* Behind the first name of a secret in undone text; the end of all if there is none. */
size_t NameEnd(const Plain &plain, const Letters &letters, size_t end) {
    for (std::string_view word : kSecretWords) {
        const size_t found = letters.text.find(word);
        if (found != std::string::npos)
            end = std::min(end, plain.from[letters.places[found + word.size() - 1]]);
    }
    for (size_t found = letters.text.find(kSecretEnd); found != std::string::npos;
         found = letters.text.find(kSecretEnd, found + 1)) {
        const size_t last = letters.places[found + kSecretEnd.size() - 1];
        if (last + 1 == plain.text.size() || !g_ascii_isalpha(plain.text[last + 1]))
            return std::min(end, plain.from[last]);
    }
    return end;
}

/* Whether a word of secrets begins with these two letters. Says no to nearly all places of a text. */
constexpr bool MayBegin(char first, char second) {
    switch (first) {
    case 'p':
        return second == 'a' || second == 'w';
    case 't':
        return second == 'i' || second == 'o';
    case 'c':
        return second == 'o' || second == 'r';
    case 's':
        return second == 'e';
    case 'a':
        return second == 'u';
    case 'k':
        return second == 'e';
    default:
        return false;
    }
}
static_assert(std::ranges::all_of(kSecretWords, [](std::string_view word) {
    return MayBegin(word[0], word[1]);
}));
static_assert(MayBegin(kSecretEnd[0], kSecretEnd[1]));

/* Whether a text in lower case has a word of secrets in it, or the one that counts at the end only. */
bool HasSecretWord(std::string_view lower) {
    for (size_t at = 0; at + 1 < lower.size(); at++) {
        if (!MayBegin(lower[at], lower[at + 1]))
            continue;
        const std::string_view rest = lower.substr(at);
        if (rest.starts_with(kSecretEnd) ||
            std::ranges::any_of(kSecretWords,
                                [rest](std::string_view word) { return rest.starts_with(word); }))
            return true;
    }
    return false;
}

/* A text in lower case, on the stack unless it is long. */
class Lowered {
public:
    enum Which { kAll, kLettersAndDigits };
    Lowered(std::string_view text, Which which) {
        if (text.size() > near.size())
            far.resize(text.size());
        char *to = far.empty() ? near.data() : far.data();
        char *end = to;
        for (char c : text) {
            if (which == kAll || g_ascii_isalnum(c))
                *end++ = g_ascii_tolower(c);
        }
        all = {to, size_t(end - to)};
    }
    Lowered(const Lowered &) = delete;
    Lowered &operator=(const Lowered &) = delete;
    std::string_view Text() const { return all; }

private:
    std::array<char, 256> near;
    std::string far;
    std::string_view all;
};

bool AreHex(std::string_view text) {
    return text.size() >= 2 && g_ascii_isxdigit(text[0]) && g_ascii_isxdigit(text[1]);
}

/* Whether a text has an escape that TakeEscape() undoes, or markup; TRUE for some that have none. */
bool HasEscape(std::string_view text) {
    constexpr std::string_view kFirst = "&<%=\\";
    for (size_t at = text.find_first_of(kFirst); at != std::string_view::npos;
         at = text.find_first_of(kFirst, at + 1)) {
        const bool isNumber = text[at] == '%' || text[at] == '=';
        if (!isNumber || AreHex(text.substr(at + 1)))
            return true;
    }
    return false;
}

/* Whether a text may hold the name of a secret. FALSE only if it holds none. */
bool MayHoldSecretName(std::string_view text) {
    return HasSecretWord(Lowered(text, Lowered::kLettersAndDigits).Text()) || HasEscape(text);
}

/* Behind the first name of a secret; the end of the text if there is none. */
size_t SecretNameEnd(std::string_view lower) {
    if (!MayHoldSecretName(lower))
        return lower.size();
    Plain plain{std::string(lower), {}};
    for (size_t at = 0; at < lower.size(); at++)
        plain.from.push_back(at + 1);
    for (int i = 0; i < kMaxNesting && Undo(&plain); i++) {
    }
    size_t end = lower.size();
    for (bool hasMarkup : {true, false})
        end = NameEnd(plain, LettersOf(plain.text, hasMarkup), end);
    return end;
}

/* The text up to the first name of a secret, with what is put in the place of the rest. */
std::string CutBehindSecretName(std::string_view text, std::string_view instead) {
    if (!MayHoldSecretName(text))
        return std::string(text);
    const size_t end = SecretNameEnd(Lower(text));
    std::string shown(text.substr(0, end));
    return end < text.size() ? shown.append(instead) : shown;
}

/* -- URLs ------------------------------------------------------------------------------------------- */

/* Bytes that a URL may begin at the colon of, in whatever form. */
constexpr std::string_view kColonForms = ":&%\\";

/* Behind the "://" at a place, in whatever form; 0 if there is none. */
size_t SchemeEnd(std::string_view lower, size_t at) {
    for (char wanted : {':', '/', '/'}) {
        const size_t length = FormAt(lower, at, wanted);
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
        if (lower.substr(at).starts_with("&#") && FormAt(lower, at, '@') == 0) {
            at += 2;
            continue;
        }
        const size_t user = FormAt(lower, at, '@');
        if (user != 0)
            rest.host = at + user;
        else if (rest.query == lower.size() &&
                 (FormAt(lower, at, '?') != 0 || FormAt(lower, at, '#') != 0))
            rest.query = at;
        at += std::max<size_t>(user, 1);
    }
    return rest;
}

/* Appends what follows the "://" of a URL. */
void AppendUrlRest(std::string *shown, std::string_view text) {
    const UrlRest rest = SplitUrl(Lower(text));
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
    const std::string lower = Lower(text);
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
    const Lowered lowered(line, Lowered::kAll);
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
size_t SecretValue(std::string_view lowerLine, bool isAnywhere) {
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
    const size_t secret = SecretValue(Lowered(line, Lowered::kAll).Text(), false);
    if (secret != std::string_view::npos)
        return std::string(line.substr(0, secret)).append(" ").append(kRedacted);
    const std::string url = RedactUrlHeader(line);
    if (!url.empty())
        return CutBehindSecretName(url, kRedacted);
    return MayHoldUrl(line) ? CutBehindSecretName(RedactUrls(line), kRedacted)
                            : CutBehindSecretName(line, kRedacted);
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
    const std::string lower = Lower(text);
    size_t secret = SecretValue(lower, true);
    const size_t cookie = lower.find("cookie");
    if (cookie != std::string::npos && lower.find('=', cookie) != std::string::npos)
        secret = std::min(secret, lower.find('=', cookie) + 1);
    const std::string instead = std::string(kRedacted).append("\n");
    if (secret == std::string::npos)
        return CutBehindSecretName(text, instead);
    return text.substr(0, secret).append(instead);
}

std::string BasicHttpRedactContent(std::string_view content) {
    const std::string withoutUrls = RedactUrls(content.substr(0, kMaxShown));
    const std::string_view text = withoutUrls;
    const std::string lower = Lower(text);
    std::string shown;
    std::string left; /* what is shown of "lower", with kHandled for what has been dealt with */
    size_t shownEnd = 0;
    for (size_t at = 0; at < lower.size();) {
        const size_t open = FormAt(lower, at, '<');
        const std::string_view name = open > 0 ? NameAt(lower, at + open) : "";
        if (!IsSecretElement(name)) {
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
    const size_t end = SecretNameEnd(left);
    if (end == shown.size())
        return shown;
    return shown.substr(0, end).append(kRedacted);
}

gboolean BasicHttp_IsSecretName(const char *name, gsize length) {
    const Lowered lower(LocalName(std::string_view(name, length)), Lowered::kAll);
    const std::string_view local = lower.Text();
    if (!HasSecretWord(local))
        return FALSE;
    return local.ends_with(kSecretEnd) || local.ends_with(kHeaderWord) ||
           std::ranges::any_of(kSecretWords, [&](std::string_view word) {
               return word != kHeaderWord && local.find(word) != std::string_view::npos;
           });
}

gsize BasicHttp_FindSecretName(const char *text, gsize length) {
    const std::string_view all(text, length);
    if (!MayHoldSecretName(all))
        return G_MAXSIZE;
    const size_t end = SecretNameEnd(Lower(all));
    return end < length || BasicHttp_IsSecretName(text, length) ? end : G_MAXSIZE;
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
    const std::string lower = Lower(text);
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
    return text ? g_strdup(BasicHttpRedactContent(std::string_view(text, strnlen(text, kMaxShown)))
                               .c_str())
                : nullptr;
}
