/*
 * One call is one HTTP POST, and at most one acknowledgement of its listener.
 *
 *   not linked -> linked -> answered                  (the entry is gone, the listener told)
 *                        -> unlinked                  (nothing is told)
 *                        -> the listener died         (its request is cancelled)
 *                        -> freed by the clean-up     (nothing is told)
 *
 * While linked, the listener is a key of the session's table and has the session as its object data
 * "session"; once unlinked that data is kUnlinked. The reference that came with the listener is given up
 * by the handler of its final signal; where no signal comes any more, here.
 */
#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include <orvane/schema/qorm.h>

#include "lib/misc/log.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "ozy/lib/orvane/session/orvaneSessionVerify.h"
#include "ozy/lib/orvane/soap/orvaneFault.h"
#include "ozy/lib/orvane/soap/orvaneSoap.h"
#include "ozy/lib/orvane/soap/orvaneSoapTree.h"

namespace {

constexpr const char *kSessionKey = "session";
constexpr const char *kOnSent = "BasicHttpOnSent";

/* What a listener has for a session once nothing of its call will be told. */
gpointer Unlinked() {
    return GINT_TO_POINTER(1); /* ORVANE_SESSION_DATA_UNLINK_VALUE */
}

using ResponsePtr = std::unique_ptr<BasicHttpResponse, Release<BasicHttp_FreeResponse>>;
using RequestPtr = std::unique_ptr<BasicHttpRequest, Release<BasicHttp_FreeRequest>>;

/* Methods that only read: one that the service may have received already is sent again all the same. */
constexpr auto kRepeatableMethods =
    std::to_array<std::string_view>({"RetrieveProperties", "RetrievePropertiesEx", "WaitForUpdates",
                                     "WaitForUpdatesEx", "CurrentTime", "RetrieveServiceContent"});

/* -- the list of calls ---------------------------------------------------------------------------- */

bool HasRequest(const OrvaneCall *call) {
    return call->generation == BasicHttp_GetGeneration();
}

/* The listener's death cancels its call. The request is freed later: this may be called from anywhere. */
void OnListenerGone(gpointer data, GObject *listener) {
    auto *call = static_cast<OrvaneCall *>(data);
    OrvaneSessionPrivate *priv = call->session->priv;
    call->listener = nullptr;
    priv->hasDoneCalls = true;
    g_hash_table_remove(priv->listeners, listener);
    if (HasRequest(call))
        BasicHttp_CancelRequest(call->request);
}

/* Nobody waits for the reply through this call any more. */
void ForgetListener(OrvaneCall *call) {
    if (call->listener != nullptr)
        g_object_weak_unref(G_OBJECT(call->listener), OnListenerGone, call);
    call->listener = nullptr;
}

/* Frees the record, and the request unless a shutdown of the transport did. */
void FreeCall(OrvaneCall *call) {
    OrvaneListener *owned = call->ownsListener ? call->listener : nullptr;
    if (call->listener != nullptr)
        orvane_session_unlink_listener(call->listener);
    ForgetListener(call);
    if (HasRequest(call))
        BasicHttp_FreeRequest(call->request);
    if (call->context != nullptr) {
        orvane_unbind_listener(call->context);
        g_object_unref(call->context);
    }
    delete call;
    if (owned != nullptr)
        g_object_unref(owned);
}

OrvaneCall *AddCall(OrvaneSession *session, BasicHttpRequest *request) {
    auto *call = new OrvaneCall();
    call->session = session;
    call->request = request;
    call->generation = BasicHttp_GetGeneration();
    call->next = session->priv->calls;
    session->priv->calls = call;
    return call;
}

OrvaneCall *FindCall(const BasicHttpRequest *request) {
    for (OrvaneSession *session = orvaneSessionLive; session; session = session->priv->nextLive) {
        for (OrvaneCall *call = session->priv->calls; call != nullptr; call = call->next) {
            if (call->request == request && HasRequest(call))
                return call;
        }
    }
    return nullptr;
}

void TakeCall(OrvaneCall *call) {
    OrvaneCall **link = &call->session->priv->calls;
    while (*link != call)
        link = &(*link)->next;
    *link = call->next;
}

/* Frees what cancelled calls left behind, lest a long session gathers it. */
void FreeDoneCalls(OrvaneSessionPrivate *priv) {
    OrvaneCall **link = &priv->calls;
    while (priv->hasDoneCalls && *link != nullptr) {
        OrvaneCall *call = *link;
        BasicHttpState state = BASICHTTP_STATE_DONE;
        const bool isLast = call->listener == nullptr && call->context == nullptr;
        if (isLast && HasRequest(call))
            BasicHttp_GetState(call->request, &state);
        if (!isLast || state != BASICHTTP_STATE_DONE) {
            link = &call->next;
            continue;
        }
        *link = call->next;
        FreeCall(call);
    }
    priv->hasDoneCalls = false;
}

/* -- sending -------------------------------------------------------------------------------------- */

bool IsRepeatable(const char *methodName) {
    return std::ranges::find(kRepeatableMethods, std::string_view(methodName)) !=
           kRepeatableMethods.end();
}

/* What all calls under one version of the service have for headers, made when the version is new. */
BasicHttpHeaders *CallHeaders(OrvaneSessionPrivate *priv) {
    const char *version = priv->useLegacy ? "" : priv->version;
    if (priv->callHeaders != nullptr && strcmp(priv->callHeadersVersion, version) == 0)
        return priv->callHeaders;
    OrvaneSessionFreeCallHeaders(priv);
    const GPtr<char> action(
        g_strdup_printf("SOAPAction: \"%s%s\"", priv->useLegacy ? "" : "urn:", version));
    const char *texts[] = {"Expect: ", "Content-Type: text/xml; charset=utf-8", action.get(),
                           "Accept:", /* keeps libcurl from sending its own */
                           nullptr};
    priv->callHeaders = BasicHttp_CreateHeaders(texts);
    priv->callHeadersVersion = g_strdup(version);
    return priv->callHeaders;
}

RequestPtr NewRequest(OrvaneSession *session, GObject *object, const char *methodName,
                      const OrvaneArgument *arguments, guint count) {
    const OrvaneSessionPrivate *priv = session->priv;
    const char *typeName = OrvaneType_WireName(G_OBJECT_TYPE(object));
    const char *id = SKEMA_QORM_MANAGED_OBJECT(object)->id;
    if (priv->url == nullptr || priv->version == nullptr || typeName == nullptr || id == nullptr)
        return nullptr;

    gsize length = 0;
    char *body = OrvaneSoap_Serialize(session, typeName, id, methodName, arguments, count, &length);
    if (body == nullptr)
        return nullptr;
    RequestPtr request(
        BasicHttp_CreatePost(priv->url, priv->cookieJar, BasicHttp_TakeStringSource(body, length)));
    if (!request)
        return nullptr;

    OrvaneSessionSetUpRequest(session, request.get());
    OrvaneSessionVerify_SetUpCall(session, request.get());
    BasicHttp_SetHeaders(request.get(), CallHeaders(session->priv));
    BasicHttp_SetRepeatable(request.get(), IsRepeatable(methodName));
    return request;
}

void Link(OrvaneCall *call, OrvaneListener *listener, const char *methodName) {
    OrvaneSession *session = call->session;
    g_hash_table_replace(session->priv->listeners, listener, g_strdup(methodName));
    g_object_set_data(G_OBJECT(listener), kSessionKey, session);
    call->listener = listener;
    call->ownsListener = OrvaneListener_IsInternal(listener);
    g_object_weak_ref(G_OBJECT(listener), OnListenerGone, call);
}

/* -- receiving ------------------------------------------------------------------------------------ */

void SetFault(GValue *value, SkemaQormMethodFault *fault) {
    g_value_init(value, SKEMA_TYPE_QORM_METHOD_FAULT);
    g_value_take_object(value, fault);
}

bool IsSoapElement(const xmlNode *node, const char *name) {
    return node != nullptr && node->type == XML_ELEMENT_NODE &&
           xmlStrcmp(node->name, BAD_CAST name) == 0 && node->ns != nullptr &&
           xmlStrcmp(node->ns->prefix, BAD_CAST "soapenv") == 0;
}

/* The body of the envelope; NULL, after a line in the log, if this is no envelope with a body. */
xmlNode *SoapBody(const xmlNode *root) {
    if (!IsSoapElement(root, "Envelope")) {
        Log("%s: xmlStrcmp\n", kOnSent);
        return nullptr;
    }
    for (xmlNode *child = root->children; child != nullptr; child = child->next) {
        if (IsSoapElement(child, "Body"))
            return child;
    }
    Log("%s: (NULL == soapBodyNode)\n", kOnSent);
    return nullptr;
}

/* What the reply says: the value, and whether it is a result. The tree is freed before anybody is told. */
bool ReadReply(OrvaneSession *session, OrvaneListener *listener, const char *methodName,
               const BasicHttpResponse *response, GValue *value) {
    gboolean isArray = FALSE;
    const GType returnType = orvane_listener_get_return_type(listener, &isArray);
    if (response == nullptr || response->content == nullptr) {
        Log("%s: orvane_listener_get_return_type null response\n", kOnSent);
        SetFault(value, response == nullptr
                            ? OrvaneFault_NewInvalidResponse(0, 0, nullptr)
                            : OrvaneFault_NewInvalidResponse(response->errorCode,
                                                             response->responseCode, nullptr));
        return false;
    }

    const SoapTreePtr tree(OrvaneSoapTree_Parse(response->content, response->contentLength,
                                                "noname.xml", session->priv->maxTreeBytes));
    if (!tree) {
        SetFault(value, OrvaneFault_NewInvalidResponse(response->errorCode, response->responseCode,
                                                       response->content));
        /* a gateway's page may quote the request */
        const GPtr<char> shown(BasicHttp_Redact(response->content));
        Log("%s: xmlReadMemory (NULL == xmlDoc) errorCode %d responseCode %d message %s\n", kOnSent,
            static_cast<int>(response->errorCode), static_cast<int>(response->responseCode),
            shown.get());
        return false;
    }
    xmlNode *body = SoapBody(OrvaneSoapTree_Root(tree.get()));
    if (body == nullptr || methodName == nullptr)
        return false;
    const gboolean isRead =
        orvane_soap_deserialize(session, methodName, body, returnType, isArray, value);
    return isRead && !(G_IS_VALUE(value) && G_VALUE_HOLDS(value, SKEMA_TYPE_QORM_METHOD_FAULT));
}

/* The name of the method that the listener's reply is for, and the end of its entry. */
char *StealMethodName(OrvaneSession *session, OrvaneListener *listener) {
    gpointer name = nullptr;
    g_hash_table_steal_extended(session->priv->listeners, listener, nullptr, &name);
    return static_cast<char *>(name);
}

/* The reply to a call that had a listener. */
void OnListenerReply(OrvaneCall *call, OrvaneListener *listener, RequestPtr request,
                     ResponsePtr response) {
    gpointer data = g_object_get_data(G_OBJECT(listener), kSessionKey);
    if (call != nullptr)
        ForgetListener(call);
    if (data == nullptr || data == Unlinked()) {
        if (call != nullptr) { /* the request stays with its session, which frees it later */
            g_hash_table_remove(call->session->priv->listeners, listener);
            call->session->priv->hasDoneCalls = true;
            (void)request.release();
        }
        response.reset();
        if (data == nullptr) {
            Log("%s: g_object_get_data returned null session\n", kOnSent);
            orvane_listener_acknowledge(listener, FALSE, nullptr);
            return;
        }
        Log("%s: g_object_get_data returned ORVANE_SESSION_DATA_UNLINK_VALUE session\n", kOnSent);
        g_object_unref(listener);
        return;
    }

    OrvaneSession *session = call != nullptr ? call->session : static_cast<OrvaneSession *>(data);
    if (call != nullptr) {
        TakeCall(call);
        delete call;
    }
    const GPtr<char> methodName(StealMethodName(session, listener));
    if (session->priv->state == ORVANE_SESSION_DISCONNECTED) {
        Log("%s: ORVANE_SESSION_DISCONNECTED == orvane_session_get_state\n", kOnSent);
        request.reset();
        response.reset();
        OrvaneSessionDropListener(listener);
        return;
    }

    GValue value = G_VALUE_INIT;
    const bool isResult = ReadReply(session, listener, methodName.get(), response.get(), &value);
    /* before the application hears of it, which may shut the transport down */
    request.reset();
    response.reset();
    orvane_listener_acknowledge(listener, isResult, &value);
    orvane_value_cond_unset(&value);
}

/* The client data is the listener, or the session for a call without one. */
void BasicHttpOnSent(BasicHttpRequest *request, BasicHttpResponse *response, gpointer clientData) {
    RequestPtr ownRequest(request);
    ResponsePtr ownResponse(response);
    const bool isListener = clientData != nullptr && ORVANE_IS_LISTENER(clientData);
    if (!isListener && (clientData == nullptr || !ORVANE_IS_SESSION(clientData))) {
        Log("%s: clientData neither OrvaneListener nor OrvaneSession: %p\n", kOnSent, clientData);
        return;
    }
    OrvaneCall *call = FindCall(request);
    if (isListener) {
        OnListenerReply(call, ORVANE_LISTENER(clientData), std::move(ownRequest),
                        std::move(ownResponse));
    } else if (call != nullptr) {
        TakeCall(call);
        delete call;
    }
}

} // namespace

void OrvaneSessionSetUpRequest(const OrvaneSession *session, BasicHttpRequest *request) {
    const OrvaneSessionPrivate *priv = session->priv;
    if (priv->hasReplyLimits)
        BasicHttp_SetRequestMaxResponseSize(request, priv->maxBodyBytes);
    if (priv->useFreshConnection) {
        BasicHttp_SetFreshConnection(request);
        BasicHttp_ForbidReuse(request);
    }
    /* an empty proxy keeps libcurl from its own variables */
    if (secure_getenv("HALDEN_HTTPSPROXY") == nullptr)
        BasicHttp_SetProxy(request, "", BASICHTTP_PROXY_NONE);
    BasicHttp_SetUserAgent(request, priv->userAgent);
}

void orvane_session_invoke_method(OrvaneSession *session, GObject *object, const char *methodName,
                                  OrvaneListener *listener, ...) {
    std::vector<OrvaneArgument> pairs;
    va_list arguments;
    va_start(arguments, listener);
    while (const char *name = va_arg(arguments, const char *))
        pairs.push_back({name, va_arg(arguments, const GValue *)});
    va_end(arguments);
    OrvaneSession_InvokeMethodV(session, object, methodName, listener, pairs.data(),
                                static_cast<guint>(pairs.size()));
}

/*
 * A call that cannot be sent tells nobody, on purpose: its listener stays in the state that it had
 * reached. Only what was done is undone.
 */
void OrvaneSession_InvokeMethodV(OrvaneSession *session, GObject *object, const char *methodName,
                                 OrvaneListener *listener, const OrvaneArgument *arguments,
                                 guint count) {
    g_return_if_fail(OrvaneSession_IsLive(session));
    g_return_if_fail(object != nullptr && SKEMA_IS_QORM_MANAGED_OBJECT(object));
    g_return_if_fail(methodName != nullptr);
    g_return_if_fail(listener == nullptr || ORVANE_IS_LISTENER(listener));

    OrvaneSessionPrivate *priv = session->priv;
    FreeDoneCalls(priv);
    RequestPtr request = NewRequest(session, object, methodName, arguments, count);
    if (!request)
        return;

    if (listener != nullptr) {
        ConnectionWatch watch(session);
        ObjectWatch<OrvaneListener> listenerWatch(listener);
        orvane_listener_initiate(listener);
        if (!watch.IsSame() || !listenerWatch)
            return;
    }
    OrvaneCall *call = AddCall(session, request.get());
    if (listener != nullptr)
        Link(call, listener, methodName);
    gpointer clientData = listener != nullptr ? static_cast<gpointer>(listener) : session;
    if (BasicHttp_SendRequest(request.get(), BasicHttpOnSent, clientData)) {
        (void)request.release(); /* the call's now */
        return;
    }
    ForgetListener(call);
    TakeCall(call);
    delete call;
    if (listener != nullptr)
        orvane_session_unlink_listener(listener);
}

gboolean OrvaneSession_HasCall(OrvaneSession *session, OrvaneListener *listener) {
    g_return_val_if_fail(ORVANE_IS_SESSION(session), FALSE);
    return g_hash_table_contains(session->priv->listeners, listener);
}

void orvane_session_unlink_listener(OrvaneListener *listener) {
    g_return_if_fail(ORVANE_IS_LISTENER(listener));
    gpointer data = g_object_get_data(G_OBJECT(listener), kSessionKey);
    if (data == nullptr || data == Unlinked())
        return;
    auto *session = static_cast<OrvaneSession *>(data);
    if (OrvaneSession_IsLive(session))
        g_hash_table_remove(session->priv->listeners, listener);
    g_object_set_data(G_OBJECT(listener), kSessionKey, Unlinked());
}

void orvane_session_cancel_listener(OrvaneSession *session, OrvaneListener *listener) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    g_return_if_fail(ORVANE_IS_LISTENER(listener));
    for (OrvaneCall *call = session->priv->calls; call != nullptr; call = call->next) {
        if (call->listener == listener)
            call->ownsListener = true; /* nothing will be told, whether a reply comes or not */
    }
    g_hash_table_remove(session->priv->listeners, listener);
    orvane_session_unlink_listener(listener);
}

void OrvaneSessionUnlinkAllListeners(OrvaneSession *session) {
    GList *linked = g_hash_table_get_keys(session->priv->listeners);
    for (GList *item = linked; item != nullptr; item = item->next)
        orvane_session_unlink_listener(ORVANE_LISTENER(item->data));
    g_list_free(linked);
}

OrvaneSession *OrvaneSessionOfRequest(const BasicHttpRequest *request) {
    const OrvaneCall *call = FindCall(request);
    return call != nullptr ? call->session : nullptr;
}

OrvaneCall *OrvaneSessionTakeCall(BasicHttpRequest *request) {
    OrvaneCall *call = FindCall(request);
    if (call != nullptr)
        TakeCall(call);
    return call;
}

void OrvaneSessionAddDiscovery(OrvaneSession *session, BasicHttpRequest *request,
                               GObject *context) {
    AddCall(session, request)->context = context;
}

void OrvaneSessionFreeCallHeaders(OrvaneSessionPrivate *priv) {
    BasicHttp_FreeHeaders(priv->callHeaders);
    priv->callHeaders = nullptr;
    g_clear_pointer(&priv->callHeadersVersion, g_free);
}

void OrvaneSessionFreeCalls(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    priv->hasDoneCalls = false;
    while (OrvaneCall *call = priv->calls) {
        TakeCall(call);
        FreeCall(call);
    }
}
