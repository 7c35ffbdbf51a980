// Cookie jars: a share of libcurl, or the name of a file; and the initial cookie of a jar.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <array>
#include <charconv>
#include <cstring>
#include <ctime>

#include "apps/lib/basicHttp/basicHttpPtr.h"
#include "lib/misc/log.h"

namespace {

constexpr std::string_view kSetCookie = "Set-Cookie:";
constinit BasicHttpCookieJar *defaultCookieJar = nullptr;
constinit gsize numSharedJars = 0;

/* The parts of "Set-Cookie: name=value; Path=/; HttpOnly". */
struct CookieLine {
    std::string_view pair; /* "name=value" */
    std::string_view domain;
    std::string_view path = "/";
    std::string_view expires;
    std::string_view maxAge;
    bool isSecure = false;
    bool isHttpOnly = false;
};

struct CookieHost {
    std::string name; /* an IPv6 address without its brackets; empty if the URL has none */
    bool isHttps = false;
};

std::string_view Trim(std::string_view text) {
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

bool IsWord(std::string_view text, std::string_view word) {
    return text.size() == word.size() &&
           g_ascii_strncasecmp(text.data(), word.data(), word.size()) == 0;
}

void ReadAttribute(std::string_view attribute, CookieLine *line) {
    const size_t equals = attribute.find('=');
    const std::string_view name = Trim(attribute.substr(0, equals));
    const std::string_view value =
        equals == std::string_view::npos ? "" : Trim(attribute.substr(equals + 1));
    if (IsWord(name, "Domain"))
        line->domain = value;
    else if (IsWord(name, "Path") && value.starts_with('/'))
        line->path = value;
    else if (IsWord(name, "Expires"))
        line->expires = value;
    else if (IsWord(name, "Max-Age"))
        line->maxAge = value;
    else if (IsWord(name, "Secure"))
        line->isSecure = true;
    else if (IsWord(name, "HttpOnly"))
        line->isHttpOnly = true;
}

bool IsSetCookie(std::string_view line) {
    return IsWord(line.substr(0, kSetCookie.size()), kSetCookie);
}

CookieLine ParseCookie(std::string_view text) {
    CookieLine line;
    text.remove_prefix(kSetCookie.size());
    for (bool isFirst = true; !text.empty(); isFirst = false) {
        const size_t end = std::min(text.find(';'), text.size());
        if (isFirst)
            line.pair = Trim(text.substr(0, end));
        else
            ReadAttribute(text.substr(0, end), &line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return line;
}

CookieHost CookieHostOf(const char *url) {
    const CurlUrlPtr parsed(curl_url());
    char *text = nullptr;
    if (!parsed ||
        curl_url_set(parsed.get(), CURLUPART_URL, url, CURLU_GUESS_SCHEME) != CURLUE_OK ||
        curl_url_get(parsed.get(), CURLUPART_HOST, &text, CURLU_PUNYCODE) != CURLUE_OK)
        return {};
    const CurlTextPtr host(text);
    CookieHost result{host.get()};
    if (result.name.starts_with('['))
        result.name = result.name.substr(1, result.name.size() - 2);
    text = nullptr;
    curl_url_get(parsed.get(), CURLUPART_SCHEME, &text, 0);
    const CurlTextPtr scheme(text);
    result.isHttps = scheme && IsWord(scheme.get(), "https");
    return result;
}

/* The expiry time of a cookie in seconds since 1970; 0 for a session cookie. */
gint64 CookieEnd(const CookieLine &line) {
    if (!line.maxAge.empty()) {
        gint64 seconds = 0;
        const char *end = line.maxAge.data() + line.maxAge.size();
        const auto read = std::from_chars(line.maxAge.data(), end, seconds);
        if (read.ec == std::errc() && read.ptr == end)
            return seconds > 0 ? time(nullptr) + std::min(seconds, gint64(G_MAXINT32)) : 1;
    }
    if (line.expires.empty())
        return 0;
    const time_t end = curl_getdate(std::string(line.expires).c_str(), nullptr);
    return end > 0 ? gint64(end) : 0;
}

/* A line in the format of cookie files. Unlike a Domain attribute, it can name a host without its subdomains. */
std::string HostOnlyCookie(const CookieLine &line, const CookieHost &host) {
    const size_t equals = line.pair.find('=');
    std::string text = line.isHttpOnly ? "#HttpOnly_" : "";
    text += host.name + "\tFALSE\t";
    text.append(line.path);
    text += line.isSecure || host.isHttps ? "\tTRUE\t" : "\tFALSE\t";
    text += std::to_string(CookieEnd(line)) + '\t';
    text.append(Trim(line.pair.substr(0, equals)));
    text += '\t';
    text.append(Trim(line.pair.substr(equals + 1)));
    return text;
}

bool IsCookieLine(const char *line) {
    constexpr char kTab = '\t';
    for (const char *at = line; *at; at++) {
        if (g_ascii_iscntrl(*at) && *at != kTab)
            return false;
    }
    if (!IsSetCookie(line))
        return strchr(line, kTab) != nullptr;
    if (strchr(line, kTab))
        return false;
    const size_t equals = ParseCookie(line).pair.find('=');
    return equals != std::string_view::npos && equals > 0;
}

BasicHttpCookieJar *AllocJar() {
    auto *jar = new BasicHttpCookieJar{};
    jar->numOwners = 1;
    return jar;
}

} // namespace

BasicHttpCookieJar *BasicHttp_CreateCookieJar() {
    CURLSH *share = curl_share_init();
    if (!share)
        return nullptr;
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
    BasicHttpCookieJar *jar = AllocJar();
    jar->share = share;
    numSharedJars++;
    return jar;
}

gboolean BasicHttp_KeepConnectionsApart(BasicHttpCookieJar *jar) {
    return jar && jar->share &&
           curl_share_setopt(jar->share, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT) == CURLSHE_OK;
}

BasicHttpCookieJar *BasicHttp_CreateCookieFile(const char *path) {
    BasicHttpCookieJar *jar = AllocJar();
    jar->fileName = g_strdup(path);
    return jar;
}

void BasicHttp_FreeCookieJar(BasicHttpCookieJar *jar) {
    if (!jar || --jar->numOwners > 0)
        return;
    if (jar->share) {
        numSharedJars--;
        curl_share_setopt(jar->share, CURLSHOPT_UNSHARE, CURL_LOCK_DATA_COOKIE);
        curl_share_cleanup(jar->share);
    }
    BasicHttp_SetInitialCookie(jar, nullptr);
    g_free(jar->fileName);
    delete jar;
}

gboolean BasicHttp_SetInitialCookie(BasicHttpCookieJar *jar, const char *line) {
    if (line && !IsCookieLine(line)) {
        Warning("BasicHTTP: A cookie of another form than \"Set-Cookie: name=value\" is "
                "refused.\n");
        return FALSE;
    }
    if (jar->initialCookie)
        explicit_bzero(jar->initialCookie, strlen(jar->initialCookie));
    g_free(jar->initialCookie);
    jar->initialCookie = g_strdup(line);
    return TRUE;
}

void BasicHttp_NewCookieSession(BasicHttpCookieJar *jar) {
    jar->isNewSession = true;
}

BasicHttpCookieJar *BasicHttpHoldCookieJar(BasicHttpCookieJar *jar) {
    if (jar)
        jar->numOwners++;
    return jar;
}

gsize BasicHttpNumSharedJars() {
    return numSharedJars;
}

BasicHttpCookieJar *BasicHttpDefaultCookieJar() {
    if (!defaultCookieJar)
        defaultCookieJar = BasicHttp_CreateCookieJar();
    return defaultCookieJar;
}

void BasicHttpFreeDefaultCookieJar() {
    BasicHttp_FreeCookieJar(defaultCookieJar);
    defaultCookieJar = nullptr;
}

std::string BasicHttpBindCookie(const char *line, const char *url) {
    const CookieHost host = CookieHostOf(url);
    if (host.name.empty())
        return {};
    if (!IsSetCookie(line))
        return line; /* a line of a cookie file always names its host */
    const CookieLine cookie = ParseCookie(line);
    if (cookie.domain.empty())
        return HostOnlyCookie(cookie, host);
    return host.isHttps && !cookie.isSecure ? std::string(line) + "; Secure" : line;
}
