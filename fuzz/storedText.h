/*
 * storedText.h -- what the targets that read stored keys share
 */
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

/* Under which the kept inputs are encrypted. */
inline constexpr char kFuzzPassword[] = "correct horse";

inline std::string_view FuzzText(const uint8_t *data, size_t size) {
    return {reinterpret_cast<const char *>(data), size};
}

/* Whether a text asks for few rounds of key derivation. Up to ten million are served, which a fuzzer has no time for. */
inline bool FuzzIsQuick(std::string_view text) {
    constexpr std::string_view kRounds = "rounds";
    for (;;) {
        const size_t at = text.find(kRounds);
        if (at == text.npos)
            return true;
        text.remove_prefix(at + kRounds.size());
        size_t digits = 0;
        for (char c : text.substr(0, 24))
            digits += c >= '0' && c <= '9';
        if (digits > 6)
            return false;
    }
}

inline void FuzzRequire(bool holds) {
    if (!holds)
        abort();
}
