/*
 * One call is one HTTP POST, and at most one acknowledgement of its listener.
 *
 *   not linked -> linked -> answered                  (entry removed, listener acknowledged)
 *                        -> refused -> linked         (sent again after a login, once)
 *                        -> unlinked                  (no signal)
 *                        -> the listener died         (its request is cancelled)
 *                        -> freed by the clean-up     (no signal)
 *
 * While linked, the listener is a key of the session's table, and its object data "session" is the session.
 * Once it is unlinked, that data is OrvaneCall_Unlinked(). The reference that came with the listener is released by the
 * handler of its final signal, or here if there will be no signal.
 */
#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include <orvane/schema/qorm.h>

#include "lib/misc/log.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/session/orvaneSessionCalls.h"
#include "ozy/lib/orvane/session/orvaneSessionVerify.h"
#include "ozy/lib/orvane/session/sessionOwners.h"
#include "ozy/lib/orvane/soap/orvaneFault.h"
#include "ozy/lib/orvane/soap/orvaneSoap.h"
#include "ozy/lib/orvane/soap/orvaneSoapTree.h"

namespace {

constexpr const char *kOnSent = "BasicHttpOnSent";
/* Methods of the update stream begin so. */
constexpr const char *kWaitPrefix = "WaitForUpdates";
/* The one that the service answers after some time in any case. */
constexpr const char *kLimitedWait = "WaitForUpdatesEx";

void BasicHttpOnSent(BasicHttpRequest *request, BasicHttpResponse *response, gpointer clientData);

/* Methods that only read: one that the service may have received already is sent again all the same. */
constexpr auto kRepeatableMethods =
    std::to_array<std::string_view>({"RetrieveProperties", "RetrievePropertiesEx", "WaitForUpdates",
                                     "WaitForUpdatesEx", "CurrentTime", "RetrieveServiceContent"});

/* -- sending -------------------------------------------------------------------------------------- */

/* Whether a call logs in. A hijacked session's cookie does, in the first call with it. */
bool CarriesLogin(const OrvaneSessionPrivate *priv, const char *methodName) {
    if (strstr(methodName, "Login") != nullptr || strcmp(methodName, "CloneSession") == 0)
        return true;
    return priv->cnxParams != nullptr && priv->cnxParams->kind == ORVANE_CNX_HIJACK &&
           priv->state == ORVANE_SESSION_CONNECTING;
}

bool IsRepeatable(const char *methodName) {
    return std::ranges::find(kRepeatableMethods, std::string_view(methodName)) !=
           kRepeatableMethods.end();
}

/* The headers of all calls, made anew when the version changes. */
BasicHttpHeaders *CallHeaders(OrvaneSessionPrivate *priv) {
    const char *version = priv->useLegacy ? "" : priv->version;
    if (priv->callHeaders != nullptr && strcmp(priv->callHeadersVersion, version) == 0)
        return priv->callHeaders;
    OrvaneSessionFreeCallHeaders(priv);
    const GPtr<char> action(
        g_strdup_printf("SOAPAction: \"%s%s\"", priv->useLegacy ? "" : "urn:", version));
    const char *texts[] = {"Expect: ", "Content-Type: text/xml; charset=utf-8", action.get(),
                           "Accept:", /* libcurl then sends none of its own */
                           nullptr};
    priv->callHeaders = BasicHttp_CreateHeaders(texts);
    priv->callHeadersVersion = g_strdup(version);
    return priv->callHeaders;
}

/* A session that connects again notices a service that sends nothing to the update stream, if that call has a limit at the
 * service. A large reply may take longer. */
void SetWaitLimit(const OrvaneSessionPrivate *priv, BasicHttpRequest *request,
                  const char *methodName, OrvaneListener *listener) {
    constexpr guint kGraceSeconds = 60;
    constexpr guint kMilliseconds = 1000;
    if (priv->reconnector.policy != nullptr && listener != nullptr &&
        OrvaneListener_IsInternal(listener) && strcmp(methodName, kLimitedWait) == 0)
        BasicHttp_SetLimits(request, 0, (kOrvaneMaxWaitSeconds + kGraceSeconds) * kMilliseconds, 0);
}

/* The update stream has no limits of the application. The total time of an application's call is that of its operation. */
void SetLimits(const OrvaneSessionPrivate *priv, BasicHttpRequest *request, const char *methodName,
               OrvaneListener *listener) {
    const OrvaneTimeLimits &limits = priv->timeLimits;
    if (OrvaneSessionIsWait(methodName)) {
        SetWaitLimit(priv, request, methodName, listener);
        return;
    }
    const bool isOfApplication = listener != nullptr && !OrvaneListener_IsInternal(listener);
    BasicHttp_SetLimits(request, limits.connect, limits.inactivity,
                        isOfApplication ? 0 : OrvaneSessionLongerLimit(limits.total, listener));
}

/* A request for a method with a body, which it takes over. */
RequestPtr NewPost(OrvaneSession *session, char *body, gsize length, const char *methodName,
                   OrvaneListener *listener) {
    const OrvaneSessionPrivate *priv = session->priv;
    RequestPtr request(
        BasicHttp_CreatePost(priv->url, priv->cookieJar, BasicHttp_TakeStringSource(body, length)));
    if (!request)
        return nullptr;

    OrvaneSessionSetUpRequest(session, request.get());
    SetLimits(priv, request.get(), methodName, listener);
    OrvaneSessionVerify_SetUpCall(session, request.get(), CarriesLogin(priv, methodName));
    BasicHttp_SetHeaders(request.get(), CallHeaders(session->priv));
    BasicHttp_SetRepeatable(request.get(), IsRepeatable(methodName));
    return request;
}

RequestPtr NewRequest(OrvaneSession *session, GObject *object, const char *methodName,
                      OrvaneListener *listener, const OrvaneArgument *arguments, guint count) {
    const OrvaneSessionPrivate *priv = session->priv;
    const char *typeName = OrvaneType_WireName(G_OBJECT_TYPE(object));
    const char *id = SKEMA_QORM_MANAGED_OBJECT(object)->id;
    if (priv->url == nullptr || priv->version == nullptr || typeName == nullptr || id == nullptr)
        return nullptr;

    gsize length = 0;
    char *body = OrvaneSoap_Serialize(session, typeName, id, methodName, arguments, count, &length);
    return body != nullptr ? NewPost(session, body, length, methodName, listener) : nullptr;
}

void StopCallOperation(OrvaneListener *listener, gpointer session) {
    OrvaneListener_NoteUrl(listener, ORVANE_SESSION(session)->priv->url);
    OrvaneSession_StopCalls(ORVANE_SESSION(session), listener);
}

/* Begins the operation of a call. Runs the application's code. FALSE if the call is over. */
bool BeginCall(OrvaneSession *session, OrvaneListener *listener, guint *serial) {
    const ConnectionWatch watch(session);
    const ObjectWatch<OrvaneListener> listenerWatch(listener);
    OrvaneListener_BeginOperation(listener, &session->priv->operations);
    OrvaneListener_SetStop(listener, StopCallOperation, session);
    *serial = OrvaneListener_GetOperationSerial(listener);
    orvane_listener_initiate(listener);
    if (!listenerWatch || OrvaneListener_IsGivenUp(listener, *serial))
        return false;
    if (watch.IsSame())
        return true;
    OrvaneListener_EndOperationOf(listener, *serial, ORVANE_OUTCOME_NOT_SENT);
    return false;
}

/* Whether a call goes to a service that is not identified yet, and is no step of its identification. */
bool IsTooEarly(const OrvaneSession *session, OrvaneListener *listener) {
    return OrvaneSessionReconnect_IsTrying(session) &&
           (listener == nullptr || !OrvaneSessionIsStep(listener));
}

/* Ends such a call. */
void RefuseEarly(OrvaneSession *session, OrvaneListener *listener) {
    guint serial = 0;
    if (listener == nullptr || OrvaneListener_IsInternal(listener))
        OrvaneListener_RefuseOperation(listener);
    else if (BeginCall(session, listener, &serial))
        OrvaneListener_StopReconnecting(listener);
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

/* The body of the envelope. Logs a line and returns NULL if there is none. */
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

/* Reads a reply into a value. Returns whether it is a result. */
bool ReadReply(OrvaneSession *session, OrvaneListener *listener, const char *methodName,
               const BasicHttpResponse *response, GValue *value) {
    gboolean isArray = FALSE;
    const GType returnType = orvane_listener_get_return_type(listener, &isArray);
    if (response == nullptr || response->content == nullptr) {
        OrvaneListener_NoteUrl(listener, session->priv->url);
        Log("%s: orvane_listener_get_return_type null response\n", kOnSent);
        SetFault(value, response == nullptr
                            ? OrvaneFault_NewInvalidResponse(0, 0, nullptr)
                            : OrvaneFault_NewInvalidResponse(response->errorCode,
                                                             response->responseCode, nullptr));
        return false;
    }

    const SoapTreePtr tree(OrvaneSoapTree_ParseReply(response->content, response->contentLength,
                                                     session->priv->maxTreeBytes));
    if (!tree) {
        OrvaneListener_NoteUrl(listener, session->priv->url);
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
    if (body == nullptr || methodName == nullptr) {
        OrvaneListener_NoteUrl(listener, session->priv->url);
        OrvaneListener_NoteReply(listener, response->errorCode, response->responseCode);
        return false;
    }
    const gboolean isRead =
        OrvaneSoap_ReadBody(session, methodName, tree.get(), body, returnType, isArray, value);
    return isRead && !(G_IS_VALUE(value) && G_VALUE_HOLDS(value, SKEMA_TYPE_QORM_METHOD_FAULT));
}

/* (transfer full) (nullable): the name of the listener's method, whose entry is removed. */
char *StealMethodName(OrvaneSession *session, OrvaneListener *listener) {
    gpointer name = nullptr;
    g_hash_table_steal_extended(session->priv->listeners, listener, nullptr, &name);
    return static_cast<char *>(name);
}

/* The reply to a call that had a listener. */
void OnListenerReply(OrvaneCall *call, OrvaneListener *listener, RequestPtr request,
                     ResponsePtr response) {
    gpointer data = OrvaneCall_GetLink(listener);
    const bool isCanceled = call != nullptr && call->isCanceled;
    const guint serial =
        call != nullptr ? call->operation : OrvaneListener_GetOperationSerial(listener);
    const bool isFormer = !isCanceled && OrvaneListener_ServesAnother(listener, serial);
    if (call != nullptr)
        OrvaneCall_ForgetListener(call);
    if (data == nullptr || data == OrvaneCall_Unlinked() || isCanceled || isFormer) {
        if (call != nullptr) { /* the session frees the request later */
            /* the entry may be that of a later call */
            if (!isCanceled && (!isFormer || !OrvaneCall_HasAny(listener, call->session)))
                g_hash_table_remove(call->session->priv->listeners, listener);
            OrvaneCall_SetDone(call);
            (void)request.release();
        }
        response.reset();
        if (data == nullptr && !isCanceled && !isFormer) {
            Log("%s: g_object_get_data returned null session\n", kOnSent);
            orvane_listener_acknowledge(listener, FALSE, nullptr);
            return;
        }
        Log("%s: g_object_get_data returned ORVANE_SESSION_DATA_UNLINK_VALUE session\n", kOnSent);
        if (isCanceled || (!isFormer && !OrvaneListener_HasCompleted(listener)))
            g_object_unref(listener);
        return;
    }

    OrvaneSession *session = call != nullptr ? call->session : static_cast<OrvaneSession *>(data);
    std::unique_ptr<OrvaneCall> record(call);
    if (call != nullptr)
        OrvaneCall_Take(call);
    const GPtr<char> methodName(StealMethodName(session, listener));
    if (session->priv->state == ORVANE_SESSION_DISCONNECTED) {
        Log("%s: ORVANE_SESSION_DISCONNECTED == orvane_session_get_state\n", kOnSent);
        request.reset();
        response.reset();
        OrvaneSessionDropListener(listener);
        return;
    }

    ScopedValue value;
    const bool mayRenew = record && methodName && OrvaneSessionRelogin_IsPossible(session);
    const bool isResult =
        ReadReply(session, listener, methodName.get(), response.get(), &value.value);
    if (mayRenew && !isResult &&
        OrvaneSessionKeepRefused(session, record, listener, methodName.get(), &value.value))
        return;
    record.reset();
    /* the application's handlers may shut the transport down */
    request.reset();
    response.reset();
    OrvaneListener_AcknowledgeReply(listener, serial, isResult, &value.value);
}

/* Handles the reply to a call. The client data is the listener, or the session for a call without one. */
void BasicHttpOnSent(BasicHttpRequest *request, BasicHttpResponse *response, gpointer clientData) {
    RequestPtr ownRequest(request);
    ResponsePtr ownResponse(response);
    const bool isListener = clientData != nullptr && ORVANE_IS_LISTENER(clientData);
    if (!isListener && (clientData == nullptr || !ORVANE_IS_SESSION(clientData))) {
        Log("%s: clientData neither OrvaneListener nor OrvaneSession: %p\n", kOnSent, clientData);
        return;
    }
    OrvaneCall *call = OrvaneCall_Find(request);
    if (call != nullptr && call->wire)
        OrvaneSessionWire_Reply(call->session, *call->wire, request, response);
    if (isListener) {
        OnListenerReply(call, ORVANE_LISTENER(clientData), std::move(ownRequest),
                        std::move(ownResponse));
    } else if (call != nullptr) {
        OrvaneCall_Take(call);
        delete call;
    }
}

} // namespace

bool OrvaneSessionIsWait(const char *methodName) {
    return strncmp(methodName, kWaitPrefix, strlen(kWaitPrefix)) == 0;
}

bool OrvaneSessionSendAgain(OrvaneCall *call, const char *methodName, char *body, gsize length) {
    OrvaneSession *session = call->session;
    RequestPtr request = NewPost(session, body, length, methodName, call->listener);
    if (!request)
        return false;
    OrvaneCall_Unlist(call);
    OrvaneCall_PutInFlight(call, request.get());
    call->isRepeated = true;
    if (!BasicHttp_SendRequest(request.get(), BasicHttpOnSent, call->listener)) {
        OrvaneCall_LeaveIndex(call);
        call->request = nullptr;
        return false;
    }
    call->refusal.reset();
    call->wire = OrvaneSessionWire_Repeat(session, request.release(), call->wire.get());
    return true;
}

guint OrvaneSessionLongerLimit(guint total, const OrvaneListener *listener) {
    return total == 0 ? 0 : std::max(total, OrvaneListener_TimeLimit(listener, 0));
}

void OrvaneSessionSetUpRequest(const OrvaneSession *session, BasicHttpRequest *request) {
    const OrvaneSessionPrivate *priv = session->priv;
    if (priv->hasReplyLimits)
        BasicHttp_SetRequestMaxResponseSize(request, priv->maxBodyBytes);
    if (priv->useFreshConnection) {
        BasicHttp_SetFreshConnection(request);
        BasicHttp_ForbidReuse(request);
    }
    if (OrvaneSessionReconnect_IsTrying(session)) /* one that was kept may be dead */
        BasicHttp_SetFreshConnection(request);
    /* with an empty proxy libcurl does not read its own variables */
    if (secure_getenv("HALDEN_HTTPSPROXY") == nullptr)
        BasicHttp_SetProxy(request, "", BASICHTTP_PROXY_NONE);
    BasicHttp_SetUserAgent(request, priv->userAgent);
    if (priv->bandwidthGroup != nullptr)
        BasicHttp_AddRequestToBandwidthGroup(priv->bandwidthGroup, request);
    if (priv->reconnector.policy != nullptr)
        BasicHttp_SetDetectDeadPeer(request);
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

/* A call that cannot be sent emits nothing, on purpose: its listener stays in the state that it has reached. */
void OrvaneSession_InvokeMethodV(OrvaneSession *session, GObject *object, const char *methodName,
                                 OrvaneListener *listener, const OrvaneArgument *arguments,
                                 guint count) {
    if (!OrvaneSession_IsLive(session))
        OrvaneListener_RefuseOperation(listener);
    g_return_if_fail(OrvaneSession_IsLive(session));
    g_return_if_fail(object != nullptr && SKEMA_IS_QORM_MANAGED_OBJECT(object));
    g_return_if_fail(methodName != nullptr);
    g_return_if_fail(listener == nullptr || ORVANE_IS_LISTENER(listener));

    OrvaneCall_FreeDone(session->priv);
    if (IsTooEarly(session, listener)) {
        RefuseEarly(session, listener);
        return;
    }
    RequestPtr request = NewRequest(session, object, methodName, listener, arguments, count);
    if (!request) {
        OrvaneListener_RefuseOperation(listener);
        return;
    }

    guint serial = 0;
    if (listener != nullptr && !BeginCall(session, listener, &serial))
        return;
    if (IsTooEarly(session, listener)) { /* the application's code has run the loop */
        OrvaneListener_StopReconnecting(listener);
        return;
    }
    OrvaneCall *call = OrvaneCall_Add(session, request.get());
    if (listener != nullptr)
        OrvaneCall_Link(call, listener, serial, methodName);
    gpointer clientData = listener != nullptr ? static_cast<gpointer>(listener) : session;
    if (BasicHttp_SendRequest(request.get(), BasicHttpOnSent, clientData)) {
        BasicHttpRequest *sent = request.release(); /* owned by the call */
        call->wire = OrvaneSessionWire_Request(session, sent, object, methodName);
        return;
    }
    OrvaneCall_ForgetListener(call);
    OrvaneCall_Take(call);
    delete call;
    if (listener == nullptr)
        return;
    orvane_session_unlink_listener(listener);
    OrvaneListener_EndOperationOf(listener, serial, ORVANE_OUTCOME_NOT_SENT);
}

void OrvaneSessionAddDiscovery(OrvaneSession *session, BasicHttpRequest *request,
                               GObject *context) {
    OrvaneCall *call = OrvaneCall_Add(session, request);
    call->context = context;
    call->wire = OrvaneSessionWire_Request(session, request, nullptr, "GET");
}

void OrvaneSessionFreeCallHeaders(OrvaneSessionPrivate *priv) {
    BasicHttp_FreeHeaders(priv->callHeaders);
    priv->callHeaders = nullptr;
    g_clear_pointer(&priv->callHeadersVersion, g_free);
}
