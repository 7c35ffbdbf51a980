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

std::string WhyUnsendable(const std::string &text) {
    const char *end = nullptr;
    const bool isUtf8 = g_utf8_validate_len(text.data(), text.size(), &end);
    for (const char *at = text.data(); at < end; at = g_utf8_next_char(at)) {
        const gunichar code = g_utf8_get_char(at);
        if (!IsAllowed(code))
            return Text(MSGID("value.character") "the value has the character U+%04X, which a "
                                                 "request cannot carry",
                        code);
    }
    return isUtf8 ? "" : Text(MSGID("value.encoding") "the value is no UTF-8");
}

std::string WhyJsonUnsendable(const std::string &json) {
    return WhyInside(Json::parse(json, nullptr, false, true), "");
}

} // namespace orvaneCli
