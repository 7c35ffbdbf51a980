#include "tools/orvane/sendableText.h"

#include <fmt/format.h>
#include <glib.h>
#include <nlohmann/json.hpp>

#include "tools/orvane/message.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

using Json = nlohmann::ordered_json;

bool IsAllowed(gunichar code) {
    const bool isBlank = code == '\t' || code == '\n' || code == '\r';
    return isBlank || (code >= 0x20 && code != 0xfffe && code != 0xffff);
}

std::string WhyInside(const Json &value, const std::string &path) {
    if (value.is_string()) {
        const std::string why = WhyUnsendable(value.get_ref<const std::string &>());
        return why.empty() || path.empty() ? why : fmt::format("{}: {}", Printable(path), why);
    }
    if (!value.is_structured())
        return "";
    for (const auto &[name, inner] : value.items()) {
        const std::string step =
            value.is_array() ? "[" + name + "]" : (path.empty() ? "" : ".") + name;
        if (std::string why = WhyInside(inner, path + step); !why.empty())
            return why;
    }
    return "";
}

} // namespace

std::string WhyUnsendable(std::string_view text) {
    const char *end = nullptr;
    const bool isUtf8 = g_utf8_validate(text.data(), gssize(text.size()), &end);
    const char *at = text.data();
    while (at < end && IsAllowed(g_utf8_get_char(at)))
        at = g_utf8_next_char(at);
    const bool isNul = !isUtf8 && *end == '\0';
    if (at < end || isNul)
        return Text(MSGID("value.character") "the value has the character U+%04X, which a request "
                                             "cannot carry",
                    g_utf8_get_char(at));
    return isUtf8 ? "" : Text(MSGID("value.encoding") "the value is no UTF-8");
}

std::string WhyJsonUnsendable(const std::string &json) {
    const bool isPlain = json.find('\\') == std::string::npos && WhyUnsendable(json).empty();
    /* one without escapes is not copied by a parser; it may hold a secret */
    return isPlain ? "" : WhyInside(Json::parse(json, nullptr, false, true), "");
}

} // namespace orvaneCli
