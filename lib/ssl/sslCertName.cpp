/*
 * Names are matched against the subject's common name and the alternative names:
 *
 *   common name "*.a.b"      matches x.a.b, but neither a.b nor y.x.a.b; "*" is allowed nowhere else
 *   DNS name "*.a.b"         the same
 *   IP address               0A 00 00 01 is "10.0.0.1"; sixteen bytes are "FE80:0:0:0:0:0:0:1"
 *
 * SSLCertName_IsForServer() has stricter rules, those of libcurl.
 */
#include "lib/ssl/sslCertName.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include <arpa/inet.h>

#include "lib/misc/log.h"
#include "lib/ssl/sslAccess.h"
#include "lib/ssl/sslPtr.h"

namespace {

bool EqualsInAnyCase(std::string_view left, std::string_view right) {
    return left.size() == right.size() &&
           std::ranges::equal(left, right, {}, g_ascii_tolower, g_ascii_tolower);
}

/* Returns a character of a name in lower case; NUL for one that is not allowed in names. */
char NameCharacter(char c) {
    const char lower = g_ascii_tolower(c);
    return g_ascii_isalnum(lower) || lower == '-' || lower == '.' || lower == ':' ? lower : '\0';
}

/* Matches the whole name, or a wildcard for its first label. */
bool MatchesDns(std::string_view entry, std::string_view name) {
    if (EqualsInAnyCase(entry, name))
        return true;
    const size_t dot = name.find('.');
    return dot != std::string_view::npos && entry.starts_with('*') &&
           EqualsInAnyCase(entry.substr(1), name.substr(dot));
}

/* Returns the text of an address; empty if the number of bytes is not that of an address. */
std::string AddressText(std::string_view bytes) {
    const auto byte = [&](size_t i) {
        return static_cast<unsigned>(static_cast<guint8>(bytes[i]));
    };
    char text[40] = "";
    if (bytes.size() == 4)
        g_snprintf(text, sizeof text, "%u.%u.%u.%u", byte(0), byte(1), byte(2), byte(3));
    size_t length = 0;
    for (size_t i = 0; bytes.size() == 16 && i < bytes.size(); i += 2)
        length +=
            static_cast<size_t>(g_snprintf(text + length, sizeof text - length,
                                           i == 0 ? "%X" : ":%X", byte(i) << 8 | byte(i + 1)));
    return text;
}

bool MatchesAddress(std::string_view entry, std::string_view name) {
    return EqualsInAnyCase(AddressText(entry), name);
}

AltNamesPtr AltNamesOf(X509 *cert) {
    return AltNamesPtr(static_cast<OPENSSL_STACK *>(
        __wrap_X509_get_ext_d2i(cert, NID_subject_alt_name, nullptr, nullptr)));
}

/* Returns the bytes of an IP address in network order; empty if the host is no address. A zone, "%eth0", is
 * ignored. */
std::string AddressBytes(const std::string &host) {
    std::array<char, 16> bytes{};
    if (inet_pton(AF_INET, host.c_str(), bytes.data()) == 1)
        return {bytes.data(), 4};
    if (inet_pton(AF_INET6, host.substr(0, host.find('%')).c_str(), bytes.data()) == 1)
        return {bytes.data(), 16};
    return {};
}

/* Returns whether the last label is a number. Resolvers treat such a text, "127.1" or "0x7f000001", as an
 * address, so it is not a host name. */
bool EndsInNumber(std::string_view host) {
    const std::string_view label = host.substr(host.rfind('.') + 1);
    if (label.starts_with("0x") || label.starts_with("0X"))
        return label.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string_view::npos;
    return label.find_first_not_of("0123456789") == std::string_view::npos;
}

} // namespace

std::string_view SSLCertName_TextOf(ASN1_STRING *string) {
    const int length = __wrap_ASN1_STRING_length(string);
    return {reinterpret_cast<const char *>(__wrap_ASN1_STRING_data(string)),
            static_cast<size_t>(std::max(length, 0))};
}

std::optional<std::string_view> SSLCertName_CommonName(X509 *cert) {
    X509_NAME *subject = __wrap_X509_get_subject_name(cert);
    const int index = __wrap_X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
    if (index < 0)
        return std::nullopt;
    return SSLCertName_TextOf(
        __wrap_X509_NAME_ENTRY_get_data(__wrap_X509_NAME_get_entry(subject, index)));
}

bool SSLCertName_HasType(X509 *cert, int type) {
    const AltNamesPtr names = AltNamesOf(cert);
    for (int i = 0; names && i < __wrap_sk_num(names.get()); i++) {
        if (static_cast<GENERAL_NAME *>(__wrap_sk_value(names.get(), i))->type == type)
            return true;
    }
    return false;
}

bool SSLCertName_IsForServer(X509 *cert, const char *host) {
    const std::string address = AddressBytes(host);
    if (!address.empty())
        return SSLAccess_CertIsForAddress(cert, address);
    std::string_view name = host;
    if (name.ends_with('.'))
        name.remove_suffix(1);
    if (name.empty() || name.starts_with('.') || EndsInNumber(name))
        return false;
    if (SSLCertName_HasType(cert, GEN_IPADD) && !SSLCertName_HasType(cert, GEN_DNS))
        return false; /* it has alternative names, so its common name does not count */
    return SSLAccess_CertIsForName(cert, name);
}

bool SSLCertCNHostnameMatch(const char *pattern, const char *host) {
    if (*pattern == '*') {
        if (pattern[1] != '.')
            return false;
        pattern += 2;
        const char *dot = strchr(host, '.');
        host = dot != nullptr ? dot + 1 : host + strlen(host);
    }
    for (; *pattern != '\0'; pattern++, host++) {
        const char wanted = NameCharacter(*pattern);
        if (wanted == '\0' || *host == '\0' || wanted != NameCharacter(*host))
            return false;
    }
    return *host == '\0';
}

gboolean SSL_MatchX509SubjectName(X509 *cert, const char *host) {
    const auto found = SSLCertName_CommonName(cert);
    if (!found || *host == '\0')
        return FALSE;
    const std::string_view name = *found;
    if (name.find('\0') != std::string_view::npos) {
        Warning("%s: Certificate with embedded NUL in the CN rejected: CN is \"%s\", yet length is "
                "claimed as %u.\n",
                "SSL_MatchX509SubjectName", name.data(), static_cast<unsigned>(name.size()));
        return FALSE;
    }
    char text[256] = "";
    __wrap_X509_NAME_get_text_by_NID(__wrap_X509_get_subject_name(cert), NID_commonName, text,
                                     sizeof text);
    return SSLCertCNHostnameMatch(text, host);
}

gboolean SSL_MatchX509v3SubjectAltNames(X509 *cert, int type, const char *name, int nameLen) {
    const AltNamesPtr names = AltNamesOf(cert);
    if (!names || nameLen <= 0 || (type != GEN_DNS && type != GEN_IPADD))
        return FALSE;
    const std::string_view wanted(name, static_cast<size_t>(nameLen));
    for (int i = 0; i < __wrap_sk_num(names.get()); i++) {
        const auto *entry = static_cast<GENERAL_NAME *>(__wrap_sk_value(names.get(), i));
        if (entry->type != type)
            continue;
        const std::string_view text = SSLCertName_TextOf(static_cast<ASN1_STRING *>(entry->d));
        if (type == GEN_DNS ? MatchesDns(text, wanted) : MatchesAddress(text, wanted))
            return TRUE;
    }
    return FALSE;
}
