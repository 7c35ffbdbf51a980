/*
 * What is checked of a peer, and by whom:
 *
 *   CA certificates named, or sslVerification   libcurl, certificate and name
 *   sslManualVerification                       libcurl, the certificate only
 *   sslCtxProc                                  the application, beside any of these
 *   none of them                                nobody
 *
 * The certificate of an https proxy is libcurl's to check, by the authorities of the machine. libcurl calls the
 * context proc for both handshakes; the first one on a socket is the proxy's.
 *
 * The application's procs are handed objects of OpenSSL. They look at them through the TLS layer, so that both
 * must have the same OpenSSL.
 */
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <cstdlib>
#include <string_view>

#include <ssl/ssl.h>

#include "lib/misc/log.h"

namespace {

/* Whether the next handshake on a new socket is that of a proxy. Where libcurl finds the proxy in the environment,
 * or may go without it, this cannot be told, and the application decides on both certificates. */
bool BeginsWithProxy(const BasicHttpRequest *request) {
    constexpr std::string_view kHttps = "https://";
    const bool isAlwaysUsed =
        !request->noProxy && !secure_getenv("no_proxy") && !secure_getenv("NO_PROXY");
    return isAlwaysUsed && request->proxy && request->proxyType == BASICHTTP_PROXY_HTTP &&
           g_ascii_strncasecmp(request->proxy, kHttps.data(), kHttps.size()) == 0;
}

/* libcurl sets up the TLS context of a connection: the application may add to it. */
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
    request->sslCtxProc(request, sslContext, request->clientData);
    return request->state == BASICHTTP_STATE_DONE ? CURLE_ABORTED_BY_CALLBACK : CURLE_OK;
}

} // namespace

/* libcurl puts its answer together anew each time, and every checked call asks. */
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
    const bool hasAuthorities = request->sslCAInfo || request->sslCAPath;
    const bool isWhole =
        !request->sslManualVerification && (hasAuthorities || request->sslVerification);
    CURLcode result = CURLE_OK;
    const auto set = [&](CURLoption option, auto value) {
        if (result == CURLE_OK)
            result = curl_easy_setopt(curl, option, value);
    };
    set(CURLOPT_SSL_VERIFYPEER, request->sslManualVerification || isWhole ? 1L : 0L);
    set(CURLOPT_SSL_VERIFYHOST, isWhole ? 2L : 0L);
    if (isWhole && hasAuthorities) {
        /* both, as libcurl has the machine's for the one that is not named */
        set(CURLOPT_CAINFO, request->sslCAInfo);
        set(CURLOPT_CAPATH, request->sslCAPath);
    }
    if (isWhole && request->sslCrlFile)
        set(CURLOPT_CRLFILE, request->sslCrlFile);
    /* A resumed TLS session skips the application's look at the certificate, and handles are kept. */
    set(CURLOPT_SSL_SESSIONID_CACHE, 0L);
    if (request->sslCtxProc) {
        set(CURLOPT_SSL_CTX_FUNCTION, BasicHttpSslCtxCb);
        set(CURLOPT_SSL_CTX_DATA, request);
    }
#if LIBCURL_VERSION_NUM >= 0x075700
    /* Otherwise libcurl may put a store that it has kept in the place of the one that the proc has changed, and
     * the application is never asked; or go on with a file of authorities as it was a day ago. A libcurl that
     * does not know the option keeps none. */
    if (request->sslCtxProc || hasAuthorities)
        curl_easy_setopt(curl, CURLOPT_CA_CACHE_TIMEOUT, 0L);
#endif
    return result;
}
