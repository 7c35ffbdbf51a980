/*
 * msgId.h -- the head of a message text:  "@&!*@*@(msg.crypto.failed)Cryptographic operation failed"
 *
 * Ownership: views into the text.
 * Threads:   stateless; any.
 */
#pragma once

#include <string_view>

#define MSG_MAGIC "@&!*@*@"

/* What a text is: the identifier and the default text behind it; or, without a head, an empty identifier
 * and the text itself. */
struct MsgId {
    std::string_view id;
    const char *text; /* ends where the whole text ends */

    bool IsMessage() const { return !id.empty(); }
};

/* Takes a text apart. A head without a closing parenthesis, or with nothing in it, is none. */
inline MsgId MsgId_Split(const char *text) {
    constexpr std::string_view kHead = MSG_MAGIC "(";
    const std::string_view all(text);
    if (!all.starts_with(kHead))
        return {{}, text};
    const std::size_t end = all.find(')', kHead.size());
    if (end == std::string_view::npos)
        return {{}, text};
    return {all.substr(kHead.size(), end - kHead.size()), text + end + 1};
}
