// The headers that a request sends: a list of its own, or one that it shares with others.
#include <cstring>

#include "apps/lib/basicHttp/basicHttpInt.h"
#include "lib/misc/log.h"

namespace {

bool AppendHeader(curl_slist **list, const char *text) {
    curl_slist *longer = curl_slist_append(*list, text);
    if (longer)
        *list = longer;
    return longer != nullptr;
}

/* Replaces a shared list by a copy of its own. */
void UnshareHeaders(BasicHttpRequest *request) {
    BasicHttpHeaders *shared = request->sharedHeaders;
    if (!shared)
        return;
    request->sharedHeaders = nullptr;
    for (const curl_slist *node = shared->list; node; node = node->next)
        AppendHeader(&request->requestHeaders, node->data);
    BasicHttp_FreeHeaders(shared);
}

} // namespace

bool BasicHttpHasLineBreak(const char *text) {
    return strpbrk(text, "\r\n") != nullptr;
}

gboolean BasicHttp_AppendRequestHeader(BasicHttpRequest *request, const char *text) {
    if (!request || !text)
        return FALSE;
    if (BasicHttpHasLineBreak(text)) {
        Warning("BasicHTTP: A request header with a line break is refused.\n");
        return FALSE;
    }
    UnshareHeaders(request);
    if (AppendHeader(&request->requestHeaders, text))
        return TRUE;
    Log("BasicHTTP: AppendRequestHeader failed to append to the request header. "
        "Insufficient memory.\n");
    return FALSE;
}

gboolean BasicHttp_AppendRangeRequestHeader(BasicHttpRequest *request, gint64 start, gint64 size) {
    char text[64];
    if (size < 1)
        g_snprintf(text, sizeof text, "Range:bytes=%ld-", long(start));
    else
        g_snprintf(text, sizeof text, "Range:bytes=%ld-%ld", long(start), long(start + size - 1));
    return BasicHttp_AppendRequestHeader(request, text);
}

BasicHttpHeaders *BasicHttp_CreateHeaders(const char *const *texts) {
    auto *headers = new BasicHttpHeaders;
    for (; *texts; texts++) {
        if (BasicHttpHasLineBreak(*texts)) {
            Warning("BasicHTTP: A request header with a line break is refused.\n");
            BasicHttp_FreeHeaders(headers);
            return nullptr;
        }
        AppendHeader(&headers->list, *texts);
    }
    return headers;
}

void BasicHttp_FreeHeaders(BasicHttpHeaders *headers) {
    if (!headers || --headers->numOwners > 0)
        return;
    curl_slist_free_all(headers->list);
    delete headers;
}

void BasicHttp_SetHeaders(BasicHttpRequest *request, BasicHttpHeaders *headers) {
    if (!request || !headers)
        return;
    BasicHttpFreeRequestHeaders(request);
    headers->numOwners++;
    request->sharedHeaders = headers;
}

curl_slist *BasicHttpRequestHeaders(const BasicHttpRequest *request) {
    return request->sharedHeaders ? request->sharedHeaders->list : request->requestHeaders;
}

void BasicHttpFreeRequestHeaders(BasicHttpRequest *request) {
    curl_slist_free_all(request->requestHeaders);
    request->requestHeaders = nullptr;
    BasicHttp_FreeHeaders(request->sharedHeaders);
    request->sharedHeaders = nullptr;
}
