#include "lib/misc/printableText.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include <glib.h>

namespace {

/* A range of code points, both ends included. */
struct CodeRange {
    gunichar first;
    gunichar last;
};

constexpr auto kUnprintable = std::to_array<CodeRange>({
    {0x0000, 0x001F}, /* C0 */
    {0x007F, 0x009F}, /* DEL and C1 */
    {0x061C, 0x061C}, /* Arabic letter mark */
    {0x200E, 0x200F}, /* left-to-right and right-to-left mark */
    {0x2028, 0x202E}, /* line and paragraph separator; embeddings and overrides of direction */
    {0x2066, 0x2069}, /* isolates of direction */
});

bool IsPrintable(gunichar code) {
    return std::ranges::none_of(kUnprintable, [code](const CodeRange &range) {
        return range.first <= code && code <= range.last;
    });
}

/* "\x1b", "\u202e": a letter, then so many hexadecimal digits. */
void AppendNumber(std::string *text, char letter, int digits, unsigned number) {
    std::array<char, 16> escape{};
    const int size = snprintf(escape.data(), escape.size(), "\\%c%0*x", letter, digits, number);
    text->append(escape.data(), static_cast<size_t>(size));
}

void AppendEscape(std::string *text, gunichar code) {
    switch (code) {
    case '\n':
        *text += "\\n";
        return;
    case '\r':
        *text += "\\r";
        return;
    case '\t':
        *text += "\\t";
        return;
    default:
        break;
    }
    if (code < 0x80)
        AppendNumber(text, 'x', 2, code);
    else if (code <= 0xFFFF)
        AppendNumber(text, 'u', 4, code);
    else
        AppendNumber(text, 'U', 8, code);
}

} // namespace

std::string PrintableText_Make(std::string_view foreign, PrintableForm form) {
    if (std::ranges::all_of(foreign, [](char c) { return c >= 0x20 && c < 0x7f; }))
        return std::string(foreign);
    std::string text;
    text.reserve(foreign.size());
    while (!foreign.empty()) {
        const auto byte = static_cast<unsigned char>(foreign.front());
        /* NUL would be the end of the text for GLib */
        const gunichar code =
            byte < 0x80 ? byte : g_utf8_get_char_validated(foreign.data(), gssize(foreign.size()));
        const bool isCharacter = g_unichar_validate(code);
        const auto size = isCharacter ? size_t(g_unichar_to_utf8(code, nullptr)) : 1;
        if (!isCharacter)
            AppendNumber(&text, 'x', 2, byte);
        else if (!IsPrintable(code) || (form == PrintableForm::Ascii && code >= 0x80))
            AppendEscape(&text, code);
        else
            text += foreign.substr(0, size);
        foreign.remove_prefix(size);
    }
    return text;
}
