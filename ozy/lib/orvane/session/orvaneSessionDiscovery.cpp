/*
 * The first steps of a connect: GETs of the version documents.
 *
 *   versions document -> a version: RetrieveContent
 *                     -> no usable document: WSDL -> a version, or the oldest one: RetrieveContent
 *                     -> transport error, or a status of 400 or more other than 404: failure
 *
 * Either GET may also need a decision on the server's certificate.
 */
#include "lib/misc/log.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/session/orvaneSessionCalls.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "ozy/lib/orvane/session/orvaneSessionVerify.h"
#include "ozy/lib/orvane/session/orvaneSessionVersion.h"
#include "ozy/lib/orvane/session/sessionOwners.h"
#include "ozy/lib/orvane/soap/orvaneFault.h"

namespace {

/* The reply to a GET, with its session and the application's listener, which may be NULL. */
struct Discovery {
    OrvaneSession *session;
    OrvaneListener *listener;
    ResponsePtr response;
};

/* Frees the request and its context. Runs no code of the application but its wire function. */
Discovery EndRequest(BasicHttpRequest *request, BasicHttpResponse *response, gpointer context) {
    const ObjectPtr<GObject> owner(G_OBJECT(context));
    auto *session = static_cast<OrvaneSession *>(g_object_get_data(owner.get(), "session"));
    OrvaneListener *listener = OrvaneSessionBound(context);
    orvane_unbind_listener(owner.get());
    const std::unique_ptr<OrvaneCall> call(OrvaneSessionTakeCall(request));
    if (call && call->wire)
        OrvaneSessionWire_Reply(session, *call->wire, request, response);
    BasicHttp_FreeRequest(request);
    return {session, listener, ResponsePtr(response)};
}

bool IsRefusal(const BasicHttpResponse *response) {
    return response->errorCode != BASICHTTP_ERROR_NONE ||
           (response->responseCode >= 400 && response->responseCode != 404);
}

void Continue(OrvaneSession *session, OrvaneServiceVersion version, OrvaneListener *listener) {
    OrvaneSessionPrivate *priv = session->priv;
    if (OrvaneSessionReconnect_IsTrying(session) &&
        g_strcmp0(priv->version, version.version.get()) != 0) {
        const GPtr<char> text(g_strdup_printf("the service has version %s now, not %s",
                                              version.version.get(), priv->version));
        OrvaneSessionConnectFailed(session, listener,
                                   OrvaneSessionReconnect_NewRefusal(text.get()));
        return;
    }
    g_free(priv->version);
    g_free(priv->nameSpace);
    priv->version = version.version.release();
    priv->nameSpace = version.nameSpace.release();
    orvane_session_retrieveServiceInstanceContent(session, listener);
}

void Fail(Discovery &reply, SkemaQormMethodFault *fault) {
    reply.session->priv->useLegacy = TRUE;
    OrvaneSessionConnectFailed(reply.session, reply.listener, fault);
}

/* Whether the chain does not continue: the application ended the connect in a way that left its request open, or
 * the certificate has not been accepted. The listener was notified, or will be after the decision. */
bool IsOver(const Discovery &reply) {
    const OrvaneSessionPrivate *priv = reply.session->priv;
    if (priv->state != ORVANE_SESSION_CONNECTING &&
        !OrvaneSessionReconnect_IsTrying(reply.session)) {
        OrvaneSessionAcknowledgeUnexpected(reply.listener, ORVANE_OUTCOME_DISCONNECTED);
        return true;
    }
    if (!priv->asksFunction || !reply.response ||
        reply.response->errorCode != BASICHTTP_ERROR_SSL_SECURITY)
        return false;
    OrvaneSessionVerify_HandshakeOver(reply.session, reply.listener);
    return true;
}

void orvane_session_server_legacy_version_cb(BasicHttpRequest *request, BasicHttpResponse *response,
                                             gpointer context) {
    Discovery reply = EndRequest(request, response, context);
    if (IsOver(reply))
        return;
    OrvaneServiceVersion version;
    if (reply.response && reply.response->content != nullptr)
        version =
            OrvaneServiceVersion_FromWsdl(reply.response->content, reply.response->contentLength,
                                          reply.session->priv->maxTreeBytes);
    reply.response.reset();
    Continue(reply.session, version.version ? std::move(version) : OrvaneServiceVersion_Default(),
             reply.listener);
}

void TryLegacy(OrvaneSession *session, OrvaneListener *listener) {
    OrvaneSessionPrivate *priv = session->priv;
    priv->useLegacy = TRUE;
    const GPtr<char> url(orvane_server_get_legacy_versions_url(priv->server, priv->url));
    if (url && orvane_session_get_version_url(session, url.get(),
                                              orvane_session_server_legacy_version_cb, listener))
        return;
    Continue(session, OrvaneServiceVersion_Default(), listener);
}

void UseVersion(OrvaneSession *session, OrvaneServiceVersion version, OrvaneListener *listener) {
    OrvaneSessionPrivate *priv = session->priv;
    char *soapUrl = orvane_server_get_soap_url(priv->server, priv->url);
    g_free(priv->url);
    priv->url = soapUrl;
    priv->useLegacy = FALSE;
    Continue(session, std::move(version), listener);
}

/* Fails a connect that got no reply, or one without content. */
void FailWithoutValue(Discovery &reply) {
    ObjectWatch<OrvaneListener> watch(reply.listener);
    reply.session->priv->useLegacy = TRUE;
    OrvaneSessionSetFailed(reply.session);
    if (watch)
        orvane_listener_acknowledge(watch.Get(), FALSE, nullptr);
}

} // namespace

gboolean orvane_session_get_version_url(OrvaneSession *session, const char *url,
                                        BasicHttpOnSentProc callback, OrvaneListener *listener) {
    const OrvaneSessionPrivate *priv = session->priv;
    RequestPtr request(BasicHttp_CreateRequestWithSSL(url, BASICHTTP_METHOD_GET, nullptr, nullptr,
                                                      "", priv->sslCertificateFile,
                                                      priv->sslCertificatePath));
    if (!request)
        return FALSE;
    BasicHttp_AppendRequestHeader(request.get(), "Accept: text/xml");
    OrvaneSessionSetUpRequest(session, request.get());
    BasicHttp_SetLimits(request.get(), priv->timeLimits.connect, priv->timeLimits.inactivity,
                        OrvaneSessionLongerLimit(priv->timeLimits.total, listener));
    OrvaneSessionVerify_SetUpDiscovery(session, request.get());

    GObject *context = G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr));
    g_object_set_data(context, "session", session);
    if (listener != nullptr)
        OrvaneSessionBind(context, listener);
    if (!BasicHttp_SendRequest(request.get(), callback, context)) {
        orvane_unbind_listener(context);
        g_object_unref(context);
        return FALSE;
    }
    OrvaneSessionAddDiscovery(session, request.release(), context);
    return TRUE;
}

void orvane_session_server_version_cb(BasicHttpRequest *request, BasicHttpResponse *response,
                                      gpointer context) {
    Discovery reply = EndRequest(request, response, context);
    if (IsOver(reply))
        return;
    if (reply.response && IsRefusal(reply.response.get())) {
        Fail(reply, OrvaneFault_NewInvalidResponse(reply.response->errorCode,
                                                   reply.response->responseCode, nullptr));
        return;
    }
    if (!reply.response || reply.response->content == nullptr) {
        FailWithoutValue(reply);
        return;
    }
    OrvaneServiceVersion version = OrvaneServiceVersion_FromDocument(
        reply.response->content, reply.response->contentLength, reply.session->priv->maxTreeBytes);
    reply.response.reset();
    if (version.version)
        UseVersion(reply.session, std::move(version), reply.listener);
    else
        TryLegacy(reply.session, reply.listener);
}
