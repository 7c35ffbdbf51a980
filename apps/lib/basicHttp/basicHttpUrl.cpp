// Zones in the hosts of URLs:  http://[fe80::1%eth0]:80/x  ->  http://[fe80::1]:80/x  and  eth0
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <algorithm>

namespace {

/* In a URL the "%" itself can be written as "%25". A number that begins with 25 is a zone of its own. */
std::string BasicHttpDecodeZone(const std::string &zone) {
    const bool isNumber =
        std::ranges::all_of(zone, [](char digit) { return g_ascii_isdigit(digit); });
    return !isNumber && zone.starts_with("25") ? zone.substr(2) : zone;
}

} // namespace

BasicHttpZone BasicHttpTakeZone(const std::string &url) {
    constexpr std::string_view kSchemeEnd = "://";
    if (url.find('%') == std::string::npos)
        return {url, ""};

    const size_t schemeEnd = url.find(kSchemeEnd);
    const bool hasScheme = schemeEnd != std::string::npos;
    const std::string scheme = hasScheme ? url.substr(0, schemeEnd) : "http";
    const size_t authority = hasScheme ? schemeEnd + kSchemeEnd.size() : 0;
    const size_t authorityEnd = std::min(url.find_first_of("/?#", authority), url.size());
    const size_t userEnd = url.substr(0, authorityEnd).find_last_of('@');
    const size_t host =
        userEnd == std::string::npos || userEnd < authority ? authority : userEnd + 1;

    const size_t percent = url.find('%', host);
    if (percent >= authorityEnd)
        return {url, ""};
    const size_t zoneEnd = std::min(url.find_first_of("]:", percent), authorityEnd);
    const std::string zone = BasicHttpDecodeZone(url.substr(percent + 1, zoneEnd - percent - 1));
    const std::string path = authorityEnd < url.size() ? url.substr(authorityEnd) : "/";
    return {scheme + "://" + url.substr(authority, percent - authority) +
                url.substr(zoneEnd, authorityEnd - zoneEnd) + path,
            zone};
}
