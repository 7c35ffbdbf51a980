#include "apps/lib/basicHttp/basicHttpSecretName.h"

#include <algorithm>
#include <vector>

#include "apps/lib/basicHttp/basicHttp.h"
#include "apps/lib/basicHttp/basicHttpEscape.h"

namespace {

/* Names of secrets, by what they contain. */
constexpr auto kSecretWords = std::to_array<std::string_view>(
    {"password", "passphrase", "passwd", "pwd", "ticket", "token", "cookie", "sessionid", "secret",
     "credential", "authorization"});
/* A name with just this at its end: a session's key opens the session. */
constexpr std::string_view kSecretEnd = "key";
/* Where names are known to be those of the service, this is one at the end only: it has an authorizationManager. */
constexpr std::string_view kHeaderWord = "authorization";

/* A name without its prefix. */
std::string_view LocalName(std::string_view name) {
    const size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

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
constexpr Digits kAnyHex{16, 1, kBasicHttpMaxShown};
constexpr Digits kAnyDecimal{10, 1, kBasicHttpMaxShown};

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
    return HasSecretWord(BasicHttpLowered(text, BasicHttpLowered::kLettersAndDigits).Text()) ||
           HasEscape(text);
}

} // namespace

std::string BasicHttpLower(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char c) { return g_ascii_tolower(c); });
    return lower;
}

bool BasicHttpSecretName_IsElement(std::string_view lowerName) {
    const std::string_view local = LocalName(lowerName);
    return local.ends_with(kSecretEnd) ||
           std::ranges::any_of(kSecretWords, [&](std::string_view word) {
               return local.find(word) != std::string_view::npos;
           });
}

size_t BasicHttpSecretName_End(std::string_view lower) {
    if (!MayHoldSecretName(lower))
        return lower.size();
    Plain plain{std::string(lower), {}};
    for (size_t at = 0; at < lower.size(); at++)
        plain.from.push_back(at + 1);
    for (int i = 0; i < kBasicHttpMaxNesting && Undo(&plain); i++) {
    }
    size_t end = lower.size();
    for (bool hasMarkup : {true, false})
        end = NameEnd(plain, LettersOf(plain.text, hasMarkup), end);
    return end;
}

std::string BasicHttpSecretName_Cut(std::string_view text, std::string_view instead) {
    if (!MayHoldSecretName(text))
        return std::string(text);
    const size_t end = BasicHttpSecretName_End(BasicHttpLower(text));
    std::string shown(text.substr(0, end));
    return end < text.size() ? shown.append(instead) : shown;
}

gboolean BasicHttp_IsSecretName(const char *name, gsize length) {
    const BasicHttpLowered lower(LocalName(std::string_view(name, length)), BasicHttpLowered::kAll);
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
    const size_t end = BasicHttpSecretName_End(BasicHttpLower(all));
    return end < length || BasicHttp_IsSecretName(text, length) ? end : G_MAXSIZE;
}
