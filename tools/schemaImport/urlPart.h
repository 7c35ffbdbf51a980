// Parts of a parsed URL as strings.
#pragma once

#include <string>

#include "apps/lib/basicHttp/basicHttpPtr.h"

/* Returns a part of a URL; empty if it is absent, but for the port, which defaults to the scheme's. */
inline std::string UrlPart(CURLU *url, CURLUPart part) {
    char *text = nullptr;
    if (curl_url_get(url, part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK)
        return "";
    return CurlTextPtr(text).get();
}
