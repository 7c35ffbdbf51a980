// The trace of transfers in the log, without what would let a reader of the log take over a session.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <array>

#include "lib/misc/log.h"

namespace {

constexpr std::string_view kRedacted = "[redacted]";
/* Headers whose value is a secret. */
constexpr auto kSecretHeaders =
    std::to_array<std::string_view>({"Cookie:", "Cookie2:", "Set-Cookie:", "Set-Cookie2:",
                                     "Authorization:", "Proxy-Authorization:"});
/* Elements whose text is one, by what their names contain. */
constexpr auto kSecretElements =
    std::to_array<std::string_view>({"password", "ticket", "token", "cookie"});
constexpr auto kTypeNames =
    std::to_array<const char *>({"TEXT", "HEADER_IN", "HEADER_OUT", "DATA_IN", "DATA_OUT",
                                 "SSL_DATA_IN", "SSL_DATA_OUT", "END"});

std::string BasicHttpLower(std::string_view text) {
    std::string lower(text);
    for (char &letter : lower)
        letter = g_ascii_tolower(letter);
    return lower;
}

/* Where the value of a secret header begins in a line, if it has one. */
size_t BasicHttpSecretValue(const std::string &lowerLine) {
    for (std::string_view header : kSecretHeaders) {
        if (lowerLine.starts_with(BasicHttpLower(header)))
            return header.size();
    }
    return std::string::npos;
}

bool BasicHttpIsSecretElement(std::string_view lowerName) {
    const size_t colon = lowerName.find(':');
    const std::string_view local =
        colon == std::string_view::npos ? lowerName : lowerName.substr(colon + 1);
    for (std::string_view word : kSecretElements) {
        if (local.find(word) != std::string_view::npos)
            return true;
    }
    return false;
}

/* The start tag of a secret element: where its content begins. */
struct BasicHttpSecretTag {
    size_t contentStart = std::string::npos; /* npos: there is no further one */
    std::string_view name;
};

BasicHttpSecretTag BasicHttpNextSecretTag(std::string_view lower, size_t from) {
    for (size_t at = lower.find('<', from); at != std::string_view::npos;
         at = lower.find('<', at + 1)) {
        const size_t nameEnd = lower.find_first_of(" \t\r\n/>", at + 1);
        const size_t tagEnd = lower.find('>', at + 1);
        if (nameEnd == std::string_view::npos || tagEnd == std::string_view::npos)
            break;
        const std::string_view name = lower.substr(at + 1, nameEnd - at - 1);
        if (lower[tagEnd - 1] != '/' && BasicHttpIsSecretElement(name))
            return {tagEnd + 1, name};
    }
    return {};
}

} // namespace

std::string BasicHttpRedactHeaders(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string_view line =
            text.substr(0, end == std::string_view::npos ? text.size() : end + 1);
        const size_t secret = BasicHttpSecretValue(BasicHttpLower(line));
        if (secret == std::string::npos) {
            shown.append(line);
        } else {
            shown.append(line.substr(0, secret)).append(" ").append(kRedacted);
            if (end != std::string_view::npos)
                shown += '\n';
        }
        text.remove_prefix(line.size());
    }
    return shown;
}

/* libcurl's own remarks name cookies as they are stored, and headers of HTTP/2 as they are sent. */
std::string BasicHttpRedactText(std::string_view text) {
    const std::string lower = BasicHttpLower(text);
    size_t secret = std::string::npos;
    for (std::string_view header : kSecretHeaders) {
        const size_t found = lower.find(BasicHttpLower(header));
        if (found != std::string::npos)
            secret = std::min(secret, found + header.size());
    }
    const size_t cookie = lower.find("cookie");
    if (cookie != std::string::npos && lower.find('=', cookie) != std::string::npos)
        secret = std::min(secret, lower.find('=', cookie) + 1);
    if (secret == std::string::npos)
        return std::string(text);
    return std::string(text.substr(0, secret)).append(kRedacted).append("\n");
}

std::string BasicHttpRedactContent(std::string_view text) {
    const std::string lower = BasicHttpLower(text);
    std::string shown;
    size_t at = 0;
    for (;;) {
        const BasicHttpSecretTag tag = BasicHttpNextSecretTag(lower, at);
        if (tag.contentStart == std::string::npos)
            break;
        shown.append(text.substr(at, tag.contentStart - at));
        /* an element that is not closed is hidden to the end */
        const size_t end = lower.find("</" + std::string(tag.name), tag.contentStart);
        if (end != tag.contentStart)
            shown.append(kRedacted);
        at = std::min(end, text.size());
    }
    return shown.append(text.substr(at));
}

int BasicHttpDebugCurlCallback(CURL *, curl_infotype type, char *data, size_t size, void *request) {
    const char *name = size_t(type) < kTypeNames.size() ? kTypeNames[type] : "UNKNOWN";
    const std::string_view text(data, size);
    std::string shown;
    if (type == CURLINFO_TEXT)
        shown = BasicHttpRedactText(text);
    else if (type == CURLINFO_HEADER_IN || type == CURLINFO_HEADER_OUT)
        shown = BasicHttpRedactHeaders(text);
    else
        shown = std::to_string(size) + " bytes of data.";
    Log("BasicHTTP: curl (%s) on request %p: %s\n", name, request, shown.c_str());
    return 0;
}

void BasicHttpTraceSending(const BasicHttpRequest *request) {
    if (!basicHttpTrace)
        return;
    Log("BasicHTTP: SENDING SENDING SENDING SENDING SENDING SENDING\n");
    Log("  URL: %s\n", request->url);
}

void BasicHttpTraceReceived(const BasicHttpResponse *response) {
    if (!basicHttpTrace)
        return;
    Log("BasicHTTP: RECEIVED RECEIVED RECEIVED RECEIVED RECEIVED RECEIVED\n");
    Log("  Content-Length: %zu.\n", response->contentLength);
    Log("  Content: %s\n\n", BasicHttpRedactContent(response->content).c_str());
}
