#include "tools/orvane/serviceAddress.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>

#include <arpa/inet.h>
#include <fmt/format.h>
#include <orvane/session.h>

#include "tools/schemaImport/urlPart.h"

namespace orvaneCli {

namespace {

using schemaImport::UrlPart;
using schemaImport::UrlPtr;

/* Without brackets and a dot at the end; addresses as inet_ntop() writes them. */
std::string PlainHost(std::string host) {
    if (host.starts_with('['))
        host = host.substr(1, host.size() - 2);
    if (host.size() > 1 && host.ends_with('.'))
        host.pop_back();
    std::ranges::transform(host, host.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    in6_addr bytes{};
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (inet_pton(AF_INET6, host.c_str(), &bytes) == 1 &&
        inet_ntop(AF_INET6, &bytes, text.data(), text.size()) != nullptr)
        return text.data();
    return host;
}

} // namespace

std::string ServiceAddress::Key() const {
    const bool isV6 = host.find(':') != std::string::npos;
    return isV6 ? fmt::format("[{}]:{}", host, port) : fmt::format("{}:{}", host, port);
}

std::string ServiceAddress::CertificateHost() const {
    in6_addr bytes{};
    if (inet_pton(AF_INET6, host.substr(0, host.find('%')).c_str(), &bytes) != 1)
        return host;
    std::string text;
    for (int i = 0; i < 16; i += 2)
        text += fmt::format("{}{:X}", i == 0 ? "" : ":",
                            bytes.s6_addr[i] * 256u + bytes.s6_addr[i + 1]);
    return text;
}

std::optional<ServiceAddress> ParseServiceAddress(const std::string &url) {
    const OrvaneUrlKind kind = orvane_session_judge_url(url.c_str());
    const UrlPtr parsed(curl_url());
    if (kind == ORVANE_URL_INVALID || parsed == nullptr ||
        curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK)
        return std::nullopt;
    std::string host = PlainHost(UrlPart(parsed.get(), CURLUPART_HOST));
    const std::string zone = UrlPart(parsed.get(), CURLUPART_ZONEID);
    if (!zone.empty())
        host += "%" + zone;
    return ServiceAddress{kind == ORVANE_URL_ENCRYPTED, kind != ORVANE_URL_UNENCRYPTED, host,
                          std::atoi(UrlPart(parsed.get(), CURLUPART_PORT).c_str())};
}

} // namespace orvaneCli
