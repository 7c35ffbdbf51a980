// Response headers, one line at a time: stored for the application; lengths and redirects are evaluated.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <string_view>

#include "lib/misc/log.h"

namespace {

/* Limit for the header and trailer lines of all responses to one request, in bytes. */
constexpr gsize kMaxHeaderBytes = 300 * 1024;
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kContentLength = "Content-Length: ";
constexpr std::string_view kContentRange = "Content-Range: ";
constexpr auto kKnownHeaders = std::to_array<std::string_view>(
    {kContentLength, kContentRange,
     "Content-Type: ", "Last-Modified: ", "Accept-Ranges: ", "Date: "});

constexpr char LowerLetter(char c) {
    return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
}

bool StartsWith(std::string_view text, std::string_view start) {
    return text.size() >= start.size() &&
           std::ranges::equal(text.substr(0, start.size()), start, {}, LowerLetter, LowerLetter);
}

/* Returns the known header that a line starts with; empty for none. */
std::string_view KnownHeader(std::string_view line) {
    for (std::string_view name : kKnownHeaders) {
        if (StartsWith(line, name))
            return name;
    }
    return {};
}

/* Removes digits from the front of a text. */
bool TakeNumber(std::string_view *text, gint64 *number) {
    if (text->empty() || !g_ascii_isdigit(text->front()))
        return false; /* a sign is no digit */
    const auto read = std::from_chars(text->data(), text->data() + text->size(), *number);
    if (read.ec != std::errc())
        return false;
    text->remove_prefix(gsize(read.ptr - text->data()));
    return true;
}

bool TakeChar(std::string_view *text, char wanted) {
    if (text->empty() || text->front() != wanted)
        return false;
    text->remove_prefix(1);
    return true;
}

bool ParseLength(std::string_view value, BasicHttpContentInfo *info) {
    gint64 length = 0;
    while (TakeChar(&value, ' ')) {
    }
    const bool isNumber = TakeNumber(&value, &length);
    while (TakeChar(&value, ' ')) {
    }
    if (!isNumber || !value.empty()) {
        Log("BasicHTTP: Unexpected error parsing Content-Length.\n");
        return false;
    }
    info->contentLength = length;
    return true;
}

/* Reads "bytes 0-99/200". Returns what is wrong with it, or NULL. */
const char *ReadRange(std::string_view value, BasicHttpContentInfo *info) {
    constexpr std::string_view kUnit = "bytes ";
    BasicHttpContentInfo read = *info;
    if (!StartsWith(value, kUnit))
        return "Range-Type bytes expected.";
    value.remove_prefix(kUnit.size());
    if (!TakeNumber(&value, &read.rangeStart) || !TakeChar(&value, '-'))
        return "<digits>- expected.";
    if (!TakeNumber(&value, &read.rangeEnd))
        return "<digits>-<digits> expected.";
    if (!value.empty() &&
        (!TakeChar(&value, '/') || !TakeNumber(&value, &read.totalSize) || !value.empty()))
        return "<digits>-<digits>/<digits> expected.";
    *info = read;
    return nullptr;
}

bool ParseRange(std::string_view value, BasicHttpContentInfo *info) {
    const char *fault = ReadRange(value, info);
    if (!fault)
        return true;
    Log("BasicHTTP: Error parsing Content-Range. %s\n", fault);
    Log("BasicHTTP: Parsing Content-Range header failed.\n");
    return false;
}

bool KeepHeader(BasicHttpRequest *request, std::string_view line) {
    if (line.find(": ") == std::string_view::npos)
        return true;
    const std::string text(line);
    curl_slist *node = curl_slist_append(nullptr, text.c_str());
    if (!node) {
        Log("BasicHTTP: Failed to allocate memory for received data.\n");
        return false;
    }
    (request->lastResponseHeader ? request->lastResponseHeader->next : request->responseHeaders) =
        node;
    request->lastResponseHeader = node;
    request->numResponseHeaders++;
    return true;
}

/* "HTTP/1.1 302 Found" begins another response: the content information of the previous one is reset. */
void NoteStatus(BasicHttpRequest *request, std::string_view line) {
    if (!StartsWith(line, "HTTP/"))
        return;
    request->hasWholeHead = false;
    request->recvContentInfo = {-1, -1, 0, -1};
}

bool TakeUnknownHeader(BasicHttpRequest *request, std::string_view line) {
    if (line == kLineEnd) {
        request->hasWholeHead = true;
        return true;
    }
    if (line.size() < kLineEnd.size()) {
        Log("BasicHTTP: Unexpected error null-terminating unknown header.\n");
        return false;
    }
    line = line.substr(0, line.find_last_not_of(kLineEnd) + 1);
    NoteStatus(request, line);
    return KeepHeader(request, line) && BasicHttpCheckRedirect(request, line);
}

bool TakeKnownHeader(BasicHttpRequest *request, std::string_view line, std::string_view name) {
    std::string_view value = line.substr(name.size());
    if (value.size() < 3 || !value.ends_with(kLineEnd)) {
        Log("BasicHTTP: Unexpected error parsing header.\n");
        return false;
    }
    value.remove_suffix(kLineEnd.size());
    if (!KeepHeader(request, line.substr(0, line.size() - kLineEnd.size())))
        return false;
    if (name == kContentLength)
        return ParseLength(value, &request->recvContentInfo);
    if (name == kContentRange)
        return ParseRange(value, &request->recvContentInfo);
    return true;
}

} // namespace

size_t BasicHttpHeaderCallback(char *text, size_t size, size_t count, void *data) {
    auto *request = static_cast<BasicHttpRequest *>(data);
    const std::string_view line(text, size * count);
    if (line.empty()) {
        Log("BasicHTTP: Header callback called with empty buffer. Not expected. No harm. Nothing "
            "to do.\n");
        return 0;
    }
    if (request->state == BASICHTTP_STATE_DONE)
        return 0; /* cancelled: this makes libcurl stop */
    request->numHeaderBytes += line.size();
    if (request->numHeaderBytes > kMaxHeaderBytes) {
        Warning("BasicHTTP: The headers of the response to request %p are larger than %lu bytes.\n",
                static_cast<void *>(request), kMaxHeaderBytes);
        request->errorOverride = BASICHTTP_ERROR_TRANSFER;
        return 0;
    }

    const std::string_view name = KnownHeader(line);
    const bool isTaken =
        name.empty() ? TakeUnknownHeader(request, line) : TakeKnownHeader(request, line, name);
    return isTaken ? line.size() : 0;
}

guint BasicHttp_GetNumResponseHeaders(BasicHttpRequest *request) {
    return request ? request->numResponseHeaders : 0;
}

const char *BasicHttp_GetResponseHeader(BasicHttpRequest *request, guint index) {
    if (!request || index >= request->numResponseHeaders)
        return nullptr;
    const curl_slist *node = request->responseHeaders;
    for (; index > 0; index--)
        node = node->next;
    return node->data;
}

gboolean BasicHttp_GetRecvContentInfo(BasicHttpRequest *request, BasicHttpContentInfo *out) {
    if (!request || !out) {
        Log("%s: Invalid argument.\n", __func__);
        return FALSE;
    }
    *out = request->recvContentInfo;
    return TRUE;
}
