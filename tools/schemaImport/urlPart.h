// Parts of a parsed URL as strings.
#pragma once

#include <memory>
#include <string>

#include <curl/curl.h>

#include "lib/misc/glibPtr.h"

using UrlPtr = std::unique_ptr<CURLU, Release<curl_url_cleanup>>;

/* Returns a part of a URL; empty if it is absent, but for the port, which defaults to the scheme's. */
inline std::string UrlPart(CURLU *url, CURLUPart part) {
    char *text = nullptr;
    if (curl_url_get(url, part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK)
        return "";
    const std::string copy = text;
    curl_free(text);
    return copy;
}
