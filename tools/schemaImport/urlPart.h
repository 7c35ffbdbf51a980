// Parts of a parsed URL, as texts of their own.
#pragma once

#include <memory>
#include <string>

#include <curl/curl.h>

#include "lib/misc/glibPtr.h"

using UrlPtr = std::unique_ptr<CURLU, Release<curl_url_cleanup>>;

/* Empty for a part that it has not; the port is the scheme's own if none is given. */
inline std::string UrlPart(CURLU *url, CURLUPart part) {
    char *text = nullptr;
    if (curl_url_get(url, part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK)
        return "";
    const std::string copy = text;
    curl_free(text);
    return copy;
}
