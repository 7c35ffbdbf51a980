// The two scanners of formats, and what a specifier says.
#include <charconv>
#include <cstring>
#include <string_view>

#include "lib/misc/panic.h"
#include "lib/user/msgFmt.h"

namespace {

constexpr std::string_view kConversions = "ACEFGSXacdefginopsux";
constexpr std::string_view kSpecifierBytes = "0123456789.-#+ 'lLzhtZjqI";
constexpr std::string_view kFlags = "#0- +'"; /* in the order of their bits */

bool IsOneOf(char c, std::string_view set) {
    return set.find(c) != std::string_view::npos;
}

bool IsPositionStart(char c) {
    return c >= '1' && c <= '9';
}

/* Reads the decimal number at the start of the text and removes it. False if there is none or it overflows. */
bool TakeNumber(std::string_view *text, gint *number) {
    const auto [end, failure] = std::from_chars(text->data(), text->data() + text->size(), *number);
    if (failure != std::errc() || *number < 0)
        return false;
    text->remove_prefix(static_cast<gsize>(end - text->data()));
    return true;
}

/* Reads the length modifier at the start of the text and removes it. */
char TakeLengthModifier(std::string_view *text) {
    constexpr struct {
        std::string_view text;
        char modifier;
    } kRows[] = {
        {"hh", 'H'}, {"h", 'h'}, {"ll", 'L'}, {"l", 'l'},   {"q", 'L'},    {"L", 'L'}, {"j", 'j'},
        {"t", 't'},  {"z", 'z'}, {"Z", 'z'},  {"I64", 'L'}, {"I32", '\0'}, {"I", 'z'},
    };
    for (const auto &row : kRows) {
        if (text->starts_with(row.text)) {
            text->remove_prefix(row.text.size());
            return row.modifier;
        }
    }
    return '\0';
}

/* Where a scan is in its format, and to whom it reports. */
struct Scan {
    MsgFmt_LitFunc literalFunc;
    MsgFmt_SpecFunc specFunc;
    gpointer data;

    gint Literal(const char *from, const char *to) const {
        if (from == to || literalFunc == nullptr)
            return 0;
        return literalFunc(data, from, static_cast<guint>(to - from));
    }
    gint Spec(const char *position, guint positionSize, const char *from, const char *to) const {
        if (specFunc == nullptr)
            return 0;
        return specFunc(data, position, positionSize, from, static_cast<guint>(to - from));
    }
};

} // namespace

gint MsgFmt_Parse(MsgFmt_LitFunc literalFunc, MsgFmt_SpecFunc specFunc, gpointer data,
                  const char *format) {
    const Scan scan = {literalFunc, specFunc, data};
    bool hasPositions = false;
    bool hasNone = false;
    const char *literal = format;
    const char *at = format;

    while (*at != '\0') {
        if (*at != '%') {
            at++;
            continue;
        }
        if (at[1] == '%') {
            if (const gint result = scan.Literal(literal, at + 1); result < 0)
                return result;
            literal = at += 2;
            continue;
        }
        if (const gint result = scan.Literal(literal, at); result < 0)
            return result;

        const char *spec = at + 1;
        const char *position = nullptr;
        guint positionSize = 0;
        if (IsPositionStart(*spec)) {
            const char *end = spec;
            while (g_ascii_isdigit(*end))
                end++;
            if (*end == '$') {
                position = spec;
                positionSize = static_cast<guint>(end - spec);
                spec = end + 1;
            }
        }
        (position != nullptr ? hasPositions : hasNone) = true;
        if (hasPositions && hasNone)
            return MSGFMT_BAD_FORMAT;

        const char *end = spec;
        while (*end != '\0' && IsOneOf(*end, kSpecifierBytes))
            end++;
        if (*end == '\0' || !IsOneOf(*end, kConversions))
            return MSGFMT_BAD_FORMAT;
        end++;
        if (const gint result = scan.Spec(position, positionSize, spec, end); result < 0)
            return result;
        literal = at = end;
    }
    const gint result = scan.Literal(literal, at);
    return result < 0 ? result : 0;
}

gint MsgFmt_ParseWin32(MsgFmt_LitFunc literalFunc, MsgFmt_SpecFunc specFunc, gpointer data,
                       const char *format) {
    const Scan scan = {literalFunc, specFunc, data};
    const char *literal = format;
    const char *at = format;

    while (*at != '\0') {
        if (*at != '%') {
            at++;
            continue;
        }
        if (at[1] == '\0')
            return MSGFMT_BAD_FORMAT;
        if (at[1] == 'n' || at[1] == '0')
            NOT_IMPLEMENTED();
        if (const gint result = scan.Literal(literal, at); result < 0)
            return result;
        if (!IsPositionStart(at[1])) {
            literal = at + 1; /* "%%", "%!": the character itself */
            at += 2;
            continue;
        }

        const char *position = at + 1;
        const char *end = position;
        while (g_ascii_isdigit(*end))
            end++;
        const auto positionSize = static_cast<guint>(end - position);
        const char *spec = "s";
        const char *specEnd = spec + 1;
        if (*end == '!') {
            spec = end + 1;
            specEnd = strchr(spec, '!');
            if (specEnd == nullptr)
                return MSGFMT_BAD_FORMAT;
            end = specEnd + 1;
        }
        if (const gint result = scan.Spec(position, positionSize, spec, specEnd); result < 0)
            return result;
        literal = at = end;
    }
    const gint result = scan.Literal(literal, at);
    return result < 0 ? result : 0;
}

gint MsgFmt_ParseSpec(const char *position, guint positionSize, const char *spec, guint specSize,
                      gint *outPosition, gint *flags, gint *width, gint *precision,
                      char *lengthModifier, char *conversion) {
    *outPosition = 0;
    *flags = 0;
    *width = -1;
    *precision = -1;
    *lengthModifier = '\0';
    *conversion = '\0';

    if (positionSize > 0) {
        std::string_view digits(position, positionSize);
        if (!TakeNumber(&digits, outPosition) || !digits.empty() || *outPosition < 1)
            return MSGFMT_BAD_FORMAT;
    }

    std::string_view text(spec, specSize);
    while (!text.empty() && IsOneOf(text.front(), kFlags)) {
        *flags |= 1 << kFlags.find(text.front());
        text.remove_prefix(1);
    }
    if (!text.empty() && IsPositionStart(text.front()) && !TakeNumber(&text, width))
        return MSGFMT_BAD_FORMAT;
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        *precision = 0;
        if (!text.empty() && g_ascii_isdigit(text.front()) && !TakeNumber(&text, precision))
            return MSGFMT_BAD_FORMAT;
    }
    *lengthModifier = TakeLengthModifier(&text);
    if (text.size() != 1 || !IsOneOf(text.front(), kConversions))
        return MSGFMT_BAD_FORMAT;
    *conversion = text.front();
    return 0;
}
