#include "tools/orvane/jsonText.h"

#include <fmt/format.h>
#include <glib.h>

namespace orvaneCli {

namespace {

bool IsPlainByte(char byte) {
    const auto code = static_cast<unsigned char>(byte);
    return code >= 0x20 && code < 0x7f && byte != '"' && byte != '\\';
}

bool IsEscaped(gunichar code) {
    if (code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x2028 || code == 0x2029)
        return true;
    return code == 0x061c || code == 0x200e || code == 0x200f ||
           (code >= 0x202a && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
}

/* Appends the first letter of the text; returns its size. */
size_t AppendLetter(std::string &json, std::string_view text) {
    if (text.front() == '"' || text.front() == '\\') {
        json += '\\';
        json += text.front();
        return 1;
    }
    if (text.front() == '\0') { /* g_utf8_get_char_validated() takes it for the end */
        json += "\\u0000";
        return 1;
    }
    const gunichar code = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
    if (code == static_cast<gunichar>(-1) || code == static_cast<gunichar>(-2)) {
        json += "\ufffd";
        return 1;
    }
    const auto numBytes = static_cast<size_t>(g_unichar_to_utf8(code, nullptr));
    if (IsEscaped(code))
        fmt::format_to(std::back_inserter(json), "\\u{:04x}", code);
    else
        json += text.substr(0, numBytes);
    return numBytes;
}

} // namespace

void AppendJsonText(std::string &json, std::string_view text) {
    json += '"';
    while (!text.empty()) {
        size_t numPlain = 0;
        while (numPlain < text.size() && IsPlainByte(text[numPlain]))
            numPlain++;
        json += text.substr(0, numPlain);
        text.remove_prefix(numPlain);
        if (!text.empty())
            text.remove_prefix(AppendLetter(json, text));
    }
    json += '"';
}

std::string TerminalJson(const nlohmann::ordered_json &document) {
    if (document.is_string())
        return JsonText(document.get_ref<const std::string &>());
    if (!document.is_structured())
        return document.dump();
    std::string json = document.is_array() ? "[" : "{";
    for (const auto &[name, inner] : document.items()) {
        if (json.size() > 1)
            json += ", ";
        if (document.is_object()) {
            AppendJsonText(json, name);
            json += ": ";
        }
        json += TerminalJson(inner);
    }
    return json + (document.is_array() ? "]" : "}");
}

std::string EscapeJson(std::string_view json) {
    std::string escaped;
    while (!json.empty()) {
        size_t numPlain = 0;
        while (numPlain < json.size() && static_cast<unsigned char>(json[numPlain]) < 0x7f)
            numPlain++;
        escaped += json.substr(0, numPlain);
        json.remove_prefix(numPlain);
        if (!json.empty())
            json.remove_prefix(AppendLetter(escaped, json));
    }
    return escaped;
}

std::string JsonText(std::string_view text) {
    std::string json;
    AppendJsonText(json, text);
    return json;
}

} // namespace orvaneCli
