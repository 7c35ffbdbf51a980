/*
 * The last check of a connection before a request is sent on it. libcurl calls it for each connection that it assigns
 * to a request: the first one, one after each redirect, and one for each further attempt.
 *
 *   the URL has another origin than the request's or that of the last accepted redirect            error 49
 *   the request, or the last redirect, is https, and the connection is not encrypted               error 49
 *   a strict request, and the connection is neither encrypted nor one to this machine              error 49
 *   the request was sent before, and the peer may have read it                                     error 48
 *   the application's proc refuses the connection                                                  error 49
 */
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <cstring>

#include "lib/misc/log.h"

namespace {

bool IsEncrypted(const BasicHttpRequest *request, gpointer *ssl) {
    const curl_tlssessioninfo *tls = nullptr;
    curl_easy_getinfo(request->curl, CURLINFO_TLS_SSL_PTR, &tls);
    *ssl = tls ? tls->internals : nullptr;
    return *ssl != nullptr;
}

/* The request may be sent to the origin of this URL: its own one, or that of the last accepted redirect. */
const char *AllowedUrl(const BasicHttpRequest *request) {
    return (request->redirectUrl.empty() ? request->url : request->redirectUrl).c_str();
}

bool IsAllowedPlace(const BasicHttpRequest *request, const char *url) {
    const char *allowed = AllowedUrl(request);
    if (strcmp(url, allowed) == 0)
        return true;
    const auto place = BasicHttpPlaceOf(url);
    return place && place == BasicHttpPlaceOf(allowed);
}

/* With a proxy the peer of the connection is not the final recipient. */
bool IsWithoutProxy(const BasicHttpRequest *request) {
    return request->settings.proxy == "";
}

bool IsStrictlyAllowed(const BasicHttpRequest *request, const char *url, const char *peerAddress) {
    switch (BasicHttp_JudgeUrl(url)) {
    case BASICHTTP_URL_ENCRYPTED:
        return true;
    case BASICHTTP_URL_LOOPBACK:
        return IsWithoutProxy(request) && BasicHttpIsLoopbackAddress(peerAddress);
    case BASICHTTP_URL_UNENCRYPTED:
    case BASICHTTP_URL_INVALID:
        break;
    }
    return false;
}

bool IsAllowedConnection(const BasicHttpRequest *request, bool isEncrypted,
                         const char *peerAddress) {
    const char *url = nullptr;
    if (!BasicHttp_GetEffectiveURL(const_cast<BasicHttpRequest *>(request), &url) || !url)
        return false;
    const bool isAllowed =
        IsAllowedPlace(request, url) &&
        (isEncrypted || !BasicHttpIsHttpsUrl(AllowedUrl(request))) &&
        (!request->settings.isStrict || IsStrictlyAllowed(request, url, peerAddress));
    if (!isAllowed)
        Warning("BasicHTTP: Request %p is not sent to %s at %s: that is not where it may go.\n",
                static_cast<const void *>(request), url, peerAddress);
    return isAllowed;
}

/*
 * libcurl automatically sends a request again when a kept connection ends without an answer. The peer may have carried
 * it out already. Redirects and second attempts with credentials follow an answer.
 */
bool MaySendAgain(BasicHttpRequest *request) {
    long sent = 0;
    curl_easy_getinfo(request->curl, CURLINFO_REQUEST_SIZE, &sent);
    const bool isAnswered = request->numHeaderBytes > request->numHeaderBytesAtSend;
    const bool isRepeated = request->wasSent && !isAnswered && sent > request->numSentBytes;
    request->wasSent = true;
    request->numSentBytes = sent;
    request->numHeaderBytesAtSend = request->numHeaderBytes;
    if (!isRepeated || request->settings.isRepeatable)
        return true;
    Warning(
        "BasicHTTP: Request %p is not sent again: its connection ended without an answer, and the "
        "peer may have read it.\n",
        static_cast<void *>(request));
    return false;
}

int Refuse(BasicHttpRequest *request, BasicHttpErrorCode error) {
    request->errorOverride = error;
    return CURL_PREREQFUNC_ABORT;
}

} // namespace

int BasicHttpPrereqCurlCallback(void *data, char *peerAddress, char *, int, int) {
    auto *request = static_cast<BasicHttpRequest *>(data);
    if (request->state == BASICHTTP_STATE_DONE)
        return CURL_PREREQFUNC_ABORT; /* cancelled */
    gpointer ssl = nullptr;
    const bool isEncrypted = IsEncrypted(request, &ssl);
    if (!IsAllowedConnection(request, isEncrypted, peerAddress))
        return Refuse(request, BASICHTTP_ERROR_SSL_SECURITY);
    if (!MaySendAgain(request))
        return Refuse(request, BASICHTTP_ERROR_TRANSFER);
    if (!request->settings.connectedProc)
        return CURL_PREREQFUNC_OK;
    if (!BasicHttpHasLayersOpenSsl(request->owner))
        ssl = nullptr;
    if (!request->settings.connectedProc(request, isEncrypted, ssl, request->clientData))
        return Refuse(request, BASICHTTP_ERROR_SSL_SECURITY);
    return request->state == BASICHTTP_STATE_DONE ? CURL_PREREQFUNC_ABORT : CURL_PREREQFUNC_OK;
}
