#include "apps/lib/basicHttp/basicHttpEscape.h"

#include <algorithm>
#include <array>

#include <glib.h>

namespace {

struct EntityRow {
    char character;
    std::string_view name;
};
constexpr auto kEntities = std::to_array<EntityRow>({{'<', "lt"}, {'>', "gt"}, {'/', "sol"}});

/* Takes a text off the front as often as it is there. */
void SkipAll(std::string_view *text, std::string_view part) {
    for (int i = 0; i < kBasicHttpMaxNesting && text->starts_with(part); i++)
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

} // namespace

size_t BasicHttpEscape_FormAt(std::string_view lower, size_t at, char wanted) {
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
