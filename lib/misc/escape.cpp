#include "lib/misc/escape.h"

#include <algorithm>
#include <string_view>

#include "lib/misc/dynBuf.h"

namespace {

constexpr char kUpperDigits[] = "0123456789ABCDEF";

std::string_view BytesOf(const void *buffer, gsize size) {
    return {static_cast<const char *>(buffer), size};
}

/*
 * Builds a text out of pieces. The producer is a function of a sink that it calls with each piece. It runs twice:
 * once to measure, once to write.
 */
template <class Produce> char *BuildText(gsize *outSize, const Produce &produce) {
    if (outSize)
        *outSize = 0;
    gsize needed = 1;
    bool isTooLong = false;
    produce([&](std::string_view piece) {
        isTooLong |= __builtin_add_overflow(needed, piece.size(), &needed);
    });
    DynBuf result;
    DynBuf_Init(&result);
    if (isTooLong || !DynBuf_Reserve(&result, needed))
        return nullptr;
    /* there is room for all of it */
    produce([&](std::string_view piece) { DynBuf_Append(&result, piece.data(), piece.size()); });
    return DynBuf_DetachText(&result, outSize);
}

/* Sends the text to the sink, with replace(byte, sink) in place of each byte for which isSpecial(byte) holds. */
template <class Sink, class IsSpecial, class Replace>
void ReplaceBytes(std::string_view text, const Sink &sink, const IsSpecial &isSpecial,
                  const Replace &replace) {
    gsize begin = 0;
    for (gsize i = 0; i < text.size(); i++) {
        if (!isSpecial(text[i]))
            continue;
        sink(text.substr(begin, i - begin));
        replace(text[i]);
        begin = i + 1;
    }
    sink(text.substr(begin));
}

char *EscapeMarked(std::string_view escape, const int *bytesToEscape, std::string_view text,
                   gsize *outSize) {
    return BuildText(outSize, [&](const auto &sink) {
        ReplaceBytes(
            text, sink, [&](char c) { return bytesToEscape[static_cast<unsigned char>(c)] != 0; },
            [&](char c) {
                const auto byte = static_cast<unsigned char>(c);
                const char digits[2] = {kUpperDigits[byte >> 4], kUpperDigits[byte & 15]};
                sink(escape);
                sink({digits, 2});
            });
    });
}

char *EscapeByBackslash(std::string_view special, std::string_view text, gsize *outSize) {
    return BuildText(outSize, [&](const auto &sink) {
        ReplaceBytes(
            text, sink, [&](char c) { return special.find(c) != special.npos; },
            [&](char c) {
                const char pair[2] = {'\\', c};
                sink({pair, 2});
            });
    });
}

/* Returns how long the escape sequence at the start of the text is, 3 if it is complete and less if it breaks off. */
gsize EscapeSequenceLength(std::string_view text) {
    gsize length = 1;
    while (length < 3 && length < text.size() && g_ascii_isxdigit(text[length]))
        length++;
    return length;
}

bool IsOctalTriple(const char *text) {
    for (int i = 0; i < 3; i++) {
        if (text[i] < '0' || text[i] > '7') // a NUL ends it too
            return false;
    }
    return true;
}

} // namespace

char *Escape_Do(char escapeChar, const int *bytesToEscape, const void *buffer, gsize size,
                gsize *outSize) {
    return EscapeMarked({&escapeChar, 1}, bytesToEscape, BytesOf(buffer, size), outSize);
}

char *Escape_DoString(const char *escapeString, const int *bytesToEscape, const void *buffer,
                      gsize size, gsize *outSize) {
    return EscapeMarked(escapeString, bytesToEscape, BytesOf(buffer, size), outSize);
}

char *Escape_Undo(char escapeChar, const void *buffer, gsize size, gsize *outSize) {
    const std::string_view text = BytesOf(buffer, size);
    return BuildText(outSize, [&](const auto &sink) {
        gsize at = 0;
        while (at < text.size()) {
            const gsize escape = std::min(text.find(escapeChar, at), text.size());
            sink(text.substr(at, escape - at));
            const std::string_view rest = text.substr(escape);
            if (rest.empty())
                return;
            const gsize length = EscapeSequenceLength(rest);
            if (length == 3) {
                const char byte = static_cast<char>(g_ascii_xdigit_value(rest[1]) * 16 +
                                                    g_ascii_xdigit_value(rest[2]));
                sink({&byte, 1});
                at = escape + length;
                continue;
            }
            /* the character that is no digit belongs to what is copied */
            const std::string_view broken = rest.substr(0, length + 1);
            sink(broken);
            at = escape + broken.size();
        }
    });
}

const char *Escape_Strchr(char escapeChar, const char *text, char wanted) {
    for (const char *at = text; *at; at++) {
        if (*at == escapeChar) {
            at++;
            if (!*at)
                return nullptr;
        } else if (*at == wanted) {
            return at;
        }
    }
    return nullptr;
}

char *Escape_Unescape(char escapeChar, const char *text) {
    return BuildText(nullptr, [&](const auto &sink) {
        std::string_view rest(text);
        for (;;) {
            const gsize escape = rest.find(escapeChar);
            sink(rest.substr(0, escape));
            if (escape >= rest.size())
                return;
            rest.remove_prefix(escape + 1);
            sink(rest.substr(0, 1));
            rest.remove_prefix(rest.empty() ? 0 : 1);
        }
    });
}

char *Escape_Comma(const char *text) {
    return EscapeByBackslash(",\\", text, nullptr);
}

void Escape_UnescapeCString(char *text) {
    char *to = text;
    const char *from = text;
    while (*from) {
        if (from[0] != '\\') {
            *to++ = *from++;
        } else if (from[1] == 'n' || from[1] == '\\') {
            *to++ = from[1] == 'n' ? '\n' : '\\';
            from += 2;
        } else if (IsOctalTriple(from + 1)) {
            *to++ = static_cast<char>((from[1] - '0') * 64 + (from[2] - '0') * 8 + (from[3] - '0'));
            from += 4;
        } else {
            *to++ = *from++;
        }
    }
    *to = '\0';
}

char *Escape_BRE(const void *buffer, gsize size, gsize *outSize) {
    return EscapeByBackslash("$*.[\\]^", BytesOf(buffer, size), outSize);
}

char *Escape_Sh(const void *buffer, gsize size, gsize *outSize) {
    return BuildText(outSize, [&](const auto &sink) {
        sink("'");
        ReplaceBytes(
            BytesOf(buffer, size), sink, [](char c) { return c == '\''; },
            [&](char) { sink("'\"'\"'"); });
        sink("'");
    });
}

char *Escape_AnsiToUnix(const void *buffer, gsize size, gsize *outSize) {
    return BuildText(outSize, [&](const auto &sink) {
        std::string_view rest = BytesOf(buffer, size);
        for (;;) {
            const gsize pair = rest.find("\r\n");
            sink(rest.substr(0, pair));
            if (pair == rest.npos)
                return;
            rest.remove_prefix(pair + 1);
        }
    });
}
