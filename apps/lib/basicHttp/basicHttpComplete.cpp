// The end of a request: its timers are removed from the loop, its result becomes a response, and onSentProc is
// called from a new callback of the loop.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "lib/misc/log.h"

namespace {

struct ErrorRow {
    CURLcode result;
    BasicHttpErrorCode error;
};

constexpr auto kErrors = std::to_array<ErrorRow>({
    {CURLE_OK, BASICHTTP_ERROR_NONE},
    {CURLE_UNSUPPORTED_PROTOCOL, BASICHTTP_ERROR_UNSUPPORTED_PROTOCOL},
    {CURLE_URL_MALFORMAT, BASICHTTP_ERROR_URL_MALFORMAT},
    {CURLE_COULDNT_RESOLVE_PROXY, BASICHTTP_ERROR_COULDNT_RESOLVE_PROXY},
    {CURLE_COULDNT_RESOLVE_HOST, BASICHTTP_ERROR_COULDNT_RESOLVE_HOST},
    {CURLE_COULDNT_CONNECT, BASICHTTP_ERROR_COULDNT_CONNECT},
    {CURLE_HTTP_RETURNED_ERROR, BASICHTTP_ERROR_HTTP_RETURNED_ERROR},
    {CURLE_WRITE_ERROR, BASICHTTP_ERROR_TRANSFER},
    {CURLE_READ_ERROR, BASICHTTP_ERROR_TRANSFER},
    {CURLE_OPERATION_TIMEDOUT, BASICHTTP_ERROR_OPERATION_TIMEDOUT},
    {CURLE_SSL_CONNECT_ERROR, BASICHTTP_ERROR_SSL_CONNECT_ERROR},
    {CURLE_TOO_MANY_REDIRECTS, BASICHTTP_ERROR_TOO_MANY_REDIRECTS},
    {CURLE_SSL_ENGINE_NOTFOUND, BASICHTTP_ERROR_SSL_SECURITY},
    {CURLE_SSL_ENGINE_SETFAILED, BASICHTTP_ERROR_SSL_SECURITY},
    {CURLE_SEND_ERROR, BASICHTTP_ERROR_TRANSFER},
    {CURLE_RECV_ERROR, BASICHTTP_ERROR_TRANSFER},
    {CURLE_SSL_CERTPROBLEM, BASICHTTP_ERROR_SSL_SECURITY},
    {CURLE_SSL_CIPHER, BASICHTTP_ERROR_SSL_SECURITY},
    {CURLE_PEER_FAILED_VERIFICATION, BASICHTTP_ERROR_SSL_SECURITY},
    {CURLE_SSL_ENGINE_INITFAILED, BASICHTTP_ERROR_SSL_SECURITY},
    {CURLE_SSL_CACERT_BADFILE, BASICHTTP_ERROR_SSL_SECURITY},
    {CURLE_SSL_SHUTDOWN_FAILED, BASICHTTP_ERROR_SSL_SECURITY},
});
static_assert(std::ranges::is_sorted(kErrors, {}, &ErrorRow::result));

BasicHttpErrorCode MapError(const BasicHttpRequest *request) {
    if (request->errorOverride != BASICHTTP_ERROR_NONE)
        return request->errorOverride;
    for (const ErrorRow &row : kErrors) {
        if (row.result == request->curlResult)
            return row.error;
    }
    Warning("Unrecognized CURL error: %s (%d)\n", curl_easy_strerror(request->curlResult),
            request->curlResult);
    return BASICHTTP_ERROR_GENERIC;
}

/* The response takes over the received bytes without a copy. */
void FillContent(BasicHttpResponse *response, BasicHttpRequest *request) {
    response->content = DynBuf_DetachText(&request->receiveBuffer, &response->contentLength);
    if (response->content)
        return;
    Log("BasicHTTP: Failed to allocate memory for received data.\n");
    DynBuf_Destroy(&request->receiveBuffer);
    response->content = static_cast<char *>(calloc(1, 1));
    response->errorCode = BASICHTTP_ERROR_TRANSFER;
}

BasicHttpResponse *MakeResponse(BasicHttpRequest *request) {
    auto *response = new BasicHttpResponse{};
    const char *url = nullptr;
    BasicHttp_GetResponseCode(request, &response->responseCode);
    if (BasicHttp_GetEffectiveURL(request, &url))
        response->effectiveURL = g_strdup(url);
    response->errorCode = MapError(request);
    if (response->errorCode == BASICHTTP_ERROR_CONNECT_TIMEOUT)
        response->responseCode = 503;
    FillContent(response, request);
    return response;
}

void SetCompletion(BasicHttpRequest *request, bool isRegistered) {
    if (request->hasCompletion != isRegistered)
        request->owner->numCompletions += isRegistered ? 1U : -1U;
    request->hasCompletion = isRegistered;
}

} // namespace

void BasicHttpFinishRequest(BasicHttpRequest *request, BasicHttpState state) {
    request->state = state;
    if (request->hasCompletion) {
        SetCompletion(request, false);
        pollCallbackRemoveProc(0, BasicHttpCompleteRequestCallback, request, POLL_REALTIME,
                               POLL_CLASS_MAIN);
    }
    if (request->settings.connectionTimeoutWorkaround)
        BasicHttpClearConnectionTimeout(request);
    BasicHttpClearInactivityTimeout(request);
    BasicHttpDeadline_Clear(&request->deadline);
}

void BasicHttpInvokeCallback(BasicHttpRequest *request) {
    if (!request->onSentProc)
        return;
    SetCompletion(request, pollCallbackProc(0, BasicHttpCompleteRequestCallback, request,
                                            POLL_REALTIME, 0, nullptr, POLL_CLASS_MAIN) == 0);
    if (!request->hasCompletion)
        Warning("BasicHTTP: The loop does not take a callback; the end of request %p is not "
                "reported.\n",
                static_cast<void *>(request));
}

void BasicHttpCompleteRequestCallback(gpointer clientData) {
    auto *request = static_cast<BasicHttpRequest *>(clientData);
    SetCompletion(request, false);
    BasicHttpFinishRequest(request, BASICHTTP_STATE_DONE);
    BasicHttpResponse *response = MakeResponse(request);
    BasicHttpTraceReceived(response);
    request->onSentProc(request, response, request->clientData);
}

void BasicHttp_FreeResponse(BasicHttpResponse *response) {
    if (!response)
        return;
    free(response->content);
    g_free(response->effectiveURL);
    delete response;
}
