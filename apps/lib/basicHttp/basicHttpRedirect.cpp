// Which redirects are followed. libcurl would carry the body and the cookies of a login to whatever host
// a "Location" names, so it is read here, before libcurl can act on it.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <memory>
#include <string_view>

#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"

namespace {

using CurlUrlPtr = std::unique_ptr<CURLU, Release<curl_url_cleanup>>;
using CurlTextPtr = std::unique_ptr<char, Release<curl_free>>;

CurlTextPtr BasicHttpUrlPart(CURLU *url, CURLUPart part, unsigned flags = 0) {
    char *text = nullptr;
    return CurlTextPtr(curl_url_get(url, part, &text, flags) == CURLUE_OK ? text : nullptr);
}

bool BasicHttpIsSamePart(CURLU *left, CURLU *right, CURLUPart part, unsigned flags = 0) {
    const CurlTextPtr leftText = BasicHttpUrlPart(left, part, flags);
    const CurlTextPtr rightText = BasicHttpUrlPart(right, part, flags);
    return leftText && rightText && g_ascii_strcasecmp(leftText.get(), rightText.get()) == 0;
}

bool BasicHttpHasScheme(CURLU *url, const char *scheme) {
    const CurlTextPtr text = BasicHttpUrlPart(url, CURLUPART_SCHEME);
    return text && g_ascii_strcasecmp(text.get(), scheme) == 0;
}

} // namespace

bool BasicHttpMayFollow(const char *from, const char *location) {
    const CurlUrlPtr here(curl_url());
    const CurlUrlPtr there(curl_url());
    /* the second text is read as relative to the first */
    if (!here || !there ||
        curl_url_set(here.get(), CURLUPART_URL, from, CURLU_GUESS_SCHEME) != CURLUE_OK ||
        curl_url_set(there.get(), CURLUPART_URL, from, CURLU_GUESS_SCHEME) != CURLUE_OK ||
        curl_url_set(there.get(), CURLUPART_URL, location, CURLU_URLENCODE) != CURLUE_OK)
        return false;
    if (!BasicHttpIsSamePart(here.get(), there.get(), CURLUPART_HOST))
        return false;
    if (BasicHttpHasScheme(here.get(), "http") && BasicHttpHasScheme(there.get(), "https"))
        return true;
    return BasicHttpIsSamePart(here.get(), there.get(), CURLUPART_SCHEME) &&
           BasicHttpIsSamePart(here.get(), there.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
}

bool BasicHttpCheckRedirect(BasicHttpRequest *request, const char *line, size_t length) {
    constexpr std::string_view kLocation = "Location:";
    if (request->responseStatus < 300 || request->responseStatus > 399 ||
        length < kLocation.size() ||
        g_ascii_strncasecmp(line, kLocation.data(), kLocation.size()) != 0)
        return true;

    const GPtr<char> location(g_strndup(line + kLocation.size(), length - kLocation.size()));
    const char *from = nullptr;
    if (BasicHttp_GetEffectiveURL(request, &from) &&
        BasicHttpMayFollow(from, g_strstrip(location.get())))
        return true;
    Warning("BasicHTTP: Request %p is redirected from %s to %s, which is not followed.\n",
            static_cast<void *>(request), from, location.get());
    request->errorOverride = BASICHTTP_ERROR_TRANSFER;
    return false;
}
