/*
 * What of a peer is checked, and by what:
 *
 *   CA certificates named, or sslVerification   libcurl, certificate and name
 *   sslManualVerification                       libcurl, the certificate only
 *   sslCtxProc                                  the application, beside any of these
 *   none of them                                nothing is checked
 *
 * libcurl checks the certificate of an https proxy by the authorities of the machine. It calls the context proc for
 * both handshakes; the first one on a socket is that of the proxy.
 *
 * The application's procs are passed objects of OpenSSL. They use them through the TLS layer, so libcurl and the layer
 * must have the same OpenSSL.
 */
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <cstdlib>
#include <string_view>

#include <ssl/ssl.h>

#include "lib/misc/log.h"

namespace {

const char *TextOrNull(const std::string &text) {
    return text.empty() ? nullptr : text.c_str();
}

/* Whether the first handshake on a new socket is that of a proxy. If libcurl finds the proxy in the environment, or may
 * connect without it, this cannot be determined, and the application decides on both certificates. */
bool BeginsWithProxy(const BasicHttpRequest *request) {
    constexpr std::string_view kHttps = "https://";
    const bool isAlwaysUsed =
        !request->settings.noProxy && !secure_getenv("no_proxy") && !secure_getenv("NO_PROXY");
    return isAlwaysUsed && request->settings.proxy &&
           request->settings.proxyType == BASICHTTP_PROXY_HTTP &&
           g_ascii_strncasecmp(request->settings.proxy->c_str(), kHttps.data(), kHttps.size()) == 0;
}

/* Called for the TLS context of a new connection, which the application may change. */
CURLcode BasicHttpSslCtxCb(CURL *, void *sslContext, void *data) {
    auto *request = static_cast<BasicHttpRequest *>(data);
    if (request->state == BASICHTTP_STATE_DONE)
        return CURLE_ABORTED_BY_CALLBACK;
    if (request->numHandshakes++ == 0 && BeginsWithProxy(request))
        return CURLE_OK;
    if (!BasicHttpHasLayersOpenSsl(request->owner)) {
        Warning("BasicHTTP: Request %p cannot check its peer: libcurl has another TLS library "
                "than the TLS layer.\n",
                static_cast<void *>(request));
        return CURLE_SSL_ENGINE_INITFAILED;
    }
    request->settings.sslCtxProc(request, sslContext, request->clientData);
    return request->state == BASICHTTP_STATE_DONE ? CURLE_ABORTED_BY_CALLBACK : CURLE_OK;
}

} // namespace

/* The answer is kept, since libcurl builds its version text anew each time, and every checked call needs it. */
bool BasicHttpHasLayersOpenSsl(BasicHttpGlobalState *state) {
    if (!SSL_IsSSLModuleInitialized())
        return false;
    if (!state->hasLookedAtOpenSsl) {
        state->hasLookedAtOpenSsl = true;
        state->hasLayersOpenSsl =
            BasicHttpIsSameOpenSsl(curl_version_info(CURLVERSION_NOW)->ssl_version, SSL_IsOpaque());
    }
    return state->hasLayersOpenSsl;
}

bool BasicHttpIsSameOpenSsl(const char *tlsLibrary, bool isOpaque) {
    return tlsLibrary &&
           std::string_view(tlsLibrary).starts_with(isOpaque ? "OpenSSL/3" : "OpenSSL/1.0.2");
}

CURLcode BasicHttpSetTlsOptions(CURL *curl, BasicHttpRequest *request) {
    const BasicHttpSettings &settings = request->settings;
    const bool hasAuthorities = !settings.sslCAInfo.empty() || !settings.sslCAPath.empty();
    const bool isWhole =
        !settings.sslManualVerification && (hasAuthorities || settings.sslVerification);
    CURLcode result = CURLE_OK;
    const auto set = [&](CURLoption option, auto value) {
        if (result == CURLE_OK)
            result = curl_easy_setopt(curl, option, value);
    };
    set(CURLOPT_SSL_VERIFYPEER, settings.sslManualVerification || isWhole ? 1L : 0L);
    set(CURLOPT_SSL_VERIFYHOST, isWhole ? 2L : 0L);
    if (isWhole && hasAuthorities) {
        /* both: for one that is not set libcurl would use that of the machine */
        set(CURLOPT_CAINFO, TextOrNull(settings.sslCAInfo));
        set(CURLOPT_CAPATH, TextOrNull(settings.sslCAPath));
    }
    if (isWhole && !settings.sslCrlFile.empty())
        set(CURLOPT_CRLFILE, settings.sslCrlFile.c_str());
    /* With a resumed TLS session the application would not see the certificate. */
    set(CURLOPT_SSL_SESSIONID_CACHE, 0L);
    if (settings.sslCtxProc) {
        set(CURLOPT_SSL_CTX_FUNCTION, BasicHttpSslCtxCb);
        set(CURLOPT_SSL_CTX_DATA, request);
    }
#if LIBCURL_VERSION_NUM >= 0x075700
    /* Otherwise libcurl may replace the store that the proc has changed by one from its cache, and the application's
     * function is not called; or it uses a file of authorities as it was a day ago. A libcurl that does not know
     * the option has no such cache. */
    if (settings.sslCtxProc || hasAuthorities)
        curl_easy_setopt(curl, CURLOPT_CA_CACHE_TIMEOUT, 0L);
#endif
    return result;
}
