/*
 * urlPart.h -- parts of a parsed URL as strings, and owners of what libcurl's parser of URLs returns
 *
 * It includes no header of the library's rooms, so that what uses sessions can include it.
 */
#pragma once

#include <memory>
#include <string>

#include <curl/curl.h>

namespace schemaImport {

struct FreeUrl {
    void operator()(CURLU *url) const { curl_url_cleanup(url); }
};
struct FreeUrlText {
    void operator()(char *text) const { curl_free(text); }
};
using UrlPtr = std::unique_ptr<CURLU, FreeUrl>;
using UrlTextPtr = std::unique_ptr<char, FreeUrlText>;

/* Returns a part of a URL; empty if it is absent, but for the port, which defaults to the scheme's. */
inline std::string UrlPart(CURLU *url, CURLUPart part) {
    char *text = nullptr;
    if (curl_url_get(url, part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK)
        return "";
    return UrlTextPtr(text).get();
}

} // namespace schemaImport
