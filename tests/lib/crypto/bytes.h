/*
 * bytes.h -- bytes as hexadecimal text, for expected values that people can compare with a document
 */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <glib.h>

using Bytes = std::vector<guint8>;

inline Bytes FromHex(std::string_view text) {
    Bytes bytes;
    for (size_t i = 0; i + 1 < text.size(); i += 2)
        bytes.push_back(static_cast<guint8>(g_ascii_xdigit_value(text[i]) * 16 +
                                            g_ascii_xdigit_value(text[i + 1])));
    return bytes;
}

inline std::string ToHex(const void *data, size_t size) {
    const auto *bytes = static_cast<const guint8 *>(data);
    std::string text;
    for (size_t i = 0; i < size; i++) {
        text += "0123456789abcdef"[bytes[i] >> 4];
        text += "0123456789abcdef"[bytes[i] & 15];
    }
    return text;
}

inline std::string ToHex(const Bytes &bytes) {
    return ToHex(bytes.data(), bytes.size());
}

/* The same bytes for the same size, without a pattern that short blocks could hide. */
inline Bytes SomeBytes(size_t size, guint32 seed = 1) {
    Bytes bytes(size);
    for (guint8 &byte : bytes) {
        seed = seed * 1664525 + 1013904223;
        byte = static_cast<guint8>(seed >> 24);
    }
    return bytes;
}
