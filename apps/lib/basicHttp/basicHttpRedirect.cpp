// Which redirects are followed. libcurl would send the body and the cookies of a login to any host that a
// "Location" names, so the line is checked here before libcurl evaluates it.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <string_view>

#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"

bool BasicHttpCheckRedirect(BasicHttpRequest *request, std::string_view line) {
    constexpr std::string_view kLocation = "Location:";
    if (g_ascii_strncasecmp(line.data(), kLocation.data(),
                            std::min(line.size(), kLocation.size())) != 0 ||
        line.size() < kLocation.size())
        return true;
    /* libcurl follows by its own parse of the status line */
    long status = 0;
    BasicHttp_GetResponseCode(request, &status);
    if (status < 300 || status > 399)
        return true;

    const GPtr<char> location(
        g_strndup(line.data() + kLocation.size(), line.size() - kLocation.size()));
    const char *from = nullptr;
    if (BasicHttp_GetEffectiveURL(request, &from)) {
        const auto target = BasicHttpFollowedUrl(from, g_strstrip(location.get()));
        if (target) {
            request->redirectUrl = *target;
            return true;
        }
    }
    Warning("BasicHTTP: Request %p is redirected from %s to %s, which is not followed.\n",
            static_cast<void *>(request), from, location.get());
    request->errorOverride = BASICHTTP_ERROR_TRANSFER;
    return false;
}
