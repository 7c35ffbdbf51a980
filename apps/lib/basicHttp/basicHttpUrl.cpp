/*
 * URLs as libcurl reads them: zones of IPv6 hosts, the place that a URL leads to, and what may be sent there.
 *
 *   http://[fe80::1%eth0]:80/x  ->  http://[fe80::1]:80/x  and the zone eth0
 *
 * Every judgement is made by libcurl's own parser, on the text that libcurl is given, after the zone was taken out.
 */
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <algorithm>

#include <arpa/inet.h>

#include "apps/lib/basicHttp/basicHttpPtr.h"

namespace {

constexpr std::string_view kSchemeEnd = "://";
/* libcurl looks for the end of a scheme no further. */
constexpr size_t kMaxScheme = 40;

/* In a URL the "%" itself can be written as "%25". A number that begins with 25 is a zone of its own. */
std::string DecodeZone(const std::string &zone) {
    const bool isNumber =
        std::ranges::all_of(zone, [](char digit) { return g_ascii_isdigit(digit); });
    return !isNumber && zone.starts_with("25") ? zone.substr(2) : zone;
}

/* Whether libcurl takes the beginning of a URL for a scheme. It puts "http://" before any other. */
bool HasScheme(std::string_view url) {
    const auto isSchemeLetter = [](char c) {
        return g_ascii_isalnum(c) || c == '+' || c == '-' || c == '.';
    };
    if (url.empty() || !g_ascii_isalpha(url.front()))
        return false;
    const auto *end = std::ranges::find_if_not(url.substr(0, kMaxScheme), isSchemeLetter);
    return url.substr(size_t(end - url.data())).starts_with(":/");
}

CurlUrlPtr ParseUrl(const std::string &url) {
    CurlUrlPtr parsed(curl_url());
    const std::string whole = HasScheme(url) ? url : "http://" + url;
    if (parsed && curl_url_set(parsed.get(), CURLUPART_URL, whole.c_str(), 0) != CURLUE_OK)
        parsed.reset();
    return parsed;
}

/* A part of a URL in lower case; empty if there is none. */
std::string UrlPart(CURLU *url, CURLUPart part) {
    char *text = nullptr;
    if (curl_url_get(url, part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK)
        return {};
    const CurlTextPtr owner(text);
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char c) { return g_ascii_tolower(c); });
    return lower;
}

std::optional<BasicHttpPlace> PlaceOf(CURLU *url) {
    BasicHttpPlace place{UrlPart(url, CURLUPART_SCHEME), UrlPart(url, CURLUPART_HOST),
                         UrlPart(url, CURLUPART_PORT)};
    const bool isSpoken = place.scheme == "http" || place.scheme == "https";
    if (!isSpoken || place.host.empty())
        return std::nullopt;
    return place;
}

/* The place that a request to the URL is sent to. None for a URL whose host libcurl and the zone's rule read
 * differently, such as "localhos%74": people and other parsers would take it for another one. */
std::optional<BasicHttpPlace> UnambiguousPlace(const char *url) {
    const BasicHttpZone sent = BasicHttpTakeZone(url);
    const std::optional<BasicHttpPlace> place = BasicHttpPlaceOf(sent.url);
    return sent.zone.empty() || place == BasicHttpPlaceOf(url) ? place : std::nullopt;
}

bool IsLoopbackHost(const std::string &host) {
    if (host == "localhost")
        return true;
    const bool hasBrackets = host.size() > 2 && host.front() == '[';
    return BasicHttpIsLoopbackAddress(hasBrackets ? host.substr(1, host.size() - 2) : host);
}

} // namespace

BasicHttpZone BasicHttpTakeZone(const std::string &url) {
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
    const std::string zone = DecodeZone(url.substr(percent + 1, zoneEnd - percent - 1));
    const std::string path = authorityEnd < url.size() ? url.substr(authorityEnd) : "/";
    return {scheme + "://" + url.substr(authority, percent - authority) +
                url.substr(zoneEnd, authorityEnd - zoneEnd) + path,
            zone};
}

std::optional<BasicHttpPlace> BasicHttpPlaceOf(const std::string &url) {
    const CurlUrlPtr parsed = ParseUrl(url);
    return parsed ? PlaceOf(parsed.get()) : std::nullopt;
}

std::optional<std::string> BasicHttpFollowedUrl(const char *from, const char *location) {
    const CurlUrlPtr url = ParseUrl(from);
    if (!url)
        return std::nullopt;
    const std::optional<BasicHttpPlace> here = PlaceOf(url.get());
    /* the second text is read as relative to the first */
    if (!here || curl_url_set(url.get(), CURLUPART_URL, location, CURLU_URLENCODE) != CURLUE_OK)
        return std::nullopt;
    const std::optional<BasicHttpPlace> there = PlaceOf(url.get());
    if (!there || there->host != here->host)
        return std::nullopt;
    const bool isUpgrade = !here->IsHttps() && there->IsHttps();
    char *text = nullptr;
    if ((!isUpgrade && *there != *here) ||
        curl_url_get(url.get(), CURLUPART_URL, &text, 0) != CURLUE_OK)
        return std::nullopt;
    const CurlTextPtr owner(text);
    return std::string(text);
}

bool BasicHttpIsLoopbackAddress(const std::string &address) {
    in_addr v4;
    if (inet_pton(AF_INET, address.c_str(), &v4) == 1)
        return (ntohl(v4.s_addr) >> 24) == IN_LOOPBACKNET;
    in6_addr v6;
    return inet_pton(AF_INET6, address.c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6);
}

bool BasicHttpIsHttpsUrl(const char *url) {
    constexpr std::string_view kHttps = "https:/";
    return g_ascii_strncasecmp(url, kHttps.data(), kHttps.size()) == 0;
}

BasicHttpUrlKind BasicHttp_JudgeUrl(const char *url) {
    const auto place = url ? UnambiguousPlace(url) : std::nullopt;
    if (!place)
        return BASICHTTP_URL_INVALID;
    if (place->IsHttps())
        return BASICHTTP_URL_ENCRYPTED;
    return IsLoopbackHost(place->host) ? BASICHTTP_URL_LOOPBACK : BASICHTTP_URL_UNENCRYPTED;
}

gboolean BasicHttp_IsLoopbackUrl(const char *url) {
    const auto place = url ? UnambiguousPlace(url) : std::nullopt;
    return place && IsLoopbackHost(place->host);
}
