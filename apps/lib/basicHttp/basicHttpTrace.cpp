// The trace of transfers in the log.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <array>

#include "lib/misc/log.h"

namespace {

constexpr auto kTypeNames =
    std::to_array<const char *>({"TEXT", "HEADER_IN", "HEADER_OUT", "DATA_IN", "DATA_OUT",
                                 "SSL_DATA_IN", "SSL_DATA_OUT", "END"});

} // namespace

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
    Log("  URL: %s\n", BasicHttpRedactContent(request->url).c_str());
}

void BasicHttpTraceReceived(const BasicHttpResponse *response) {
    if (!basicHttpTrace)
        return;
    Log("BasicHTTP: RECEIVED RECEIVED RECEIVED RECEIVED RECEIVED RECEIVED\n");
    Log("  Content-Length: %zu.\n", response->contentLength);
    Log("  Content: %s\n\n", BasicHttpRedactContent(response->content).c_str());
}
