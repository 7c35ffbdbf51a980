#include "tools/orvane/textWidth.h"

#include <algorithm>

#include <glib.h>

namespace orvaneCli {

namespace {

struct Letter {
    size_t numBytes;
    int width;
};

Letter FirstLetter(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80)
        return {1, 1};
    const gunichar code = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
    if (code == static_cast<gunichar>(-1) || code == static_cast<gunichar>(-2))
        return {1, 1};
    const auto numBytes = static_cast<size_t>(g_unichar_to_utf8(code, nullptr));
    if (g_unichar_iszerowidth(code))
        return {numBytes, 0};
    return {numBytes, g_unichar_iswide(code) ? 2 : 1};
}

} // namespace

int TextWidth(std::string_view text) {
    int width = 0;
    while (!text.empty()) {
        const Letter letter = FirstLetter(text);
        width += letter.width;
        text.remove_prefix(letter.numBytes);
    }
    return width;
}

std::string CutText(std::string_view text, int width, std::string_view mark) {
    if (TextWidth(text) <= width)
        return std::string(text);
    const int room = std::max(width - TextWidth(mark), 0);
    size_t end = 0;
    for (int used = 0; end < text.size();) {
        const Letter letter = FirstLetter(text.substr(end));
        used += letter.width;
        if (used > room)
            break;
        end += letter.numBytes;
    }
    return std::string(text.substr(0, end)) + (width > 0 ? std::string(mark) : "");
}

std::string CutTextStart(std::string_view text, int width, std::string_view mark) {
    int left = TextWidth(text);
    if (left <= width)
        return std::string(text);
    const int room = std::max(width - TextWidth(mark), 0);
    while (!text.empty() && (left > room || FirstLetter(text).width == 0)) {
        const Letter letter = FirstLetter(text);
        left -= letter.width;
        text.remove_prefix(letter.numBytes);
    }
    return (width > 0 ? std::string(mark) : "") + std::string(text);
}

std::string PadText(const std::string &text, int width, bool isRight) {
    const std::string blanks(static_cast<size_t>(std::max(width - TextWidth(text), 0)), ' ');
    return isRight ? blanks + text : text + blanks;
}

} // namespace orvaneCli
