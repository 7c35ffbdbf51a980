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
 * Once it is unlinked, that data is Unlinked(). The reference that came with the listener is released by the
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
#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "ozy/lib/orvane/session/orvaneSessionVerify.h"
#include "ozy/lib/orvane/session/sessionOwners.h"
#include "ozy/lib/orvane/soap/orvaneFault.h"
#include "ozy/lib/orvane/soap/orvaneSoap.h"
#include "ozy/lib/orvane/soap/orvaneSoapTree.h"

namespace {

constexpr const char *kSessionKey = "session";
constexpr const char *kOnSent = "BasicHttpOnSent";
/* Methods of the update stream begin so. */
constexpr const char *kWaitPrefix = "WaitForUpdates";
/* The one that the service answers after some time in any case. */
constexpr const char *kLimitedWait = "WaitForUpdatesEx";

/* The requests in flight of all sessions, with their calls; NULL while there are none. */
constinit GHashTable *gCallsByRequest = nullptr;

void BasicHttpOnSent(BasicHttpRequest *request, BasicHttpResponse *response, gpointer clientData);

/* Object data "session" of an unlinked listener. */
gpointer Unlinked() {
    return GINT_TO_POINTER(1); /* ORVANE_SESSION_DATA_UNLINK_VALUE */
}

/* Methods that only read: one that the service may have received already is sent again all the same. */
constexpr auto kRepeatableMethods =
    std::to_array<std::string_view>({"RetrieveProperties", "RetrievePropertiesEx", "WaitForUpdates",
                                     "WaitForUpdatesEx", "CurrentTime", "RetrieveServiceContent"});

/* -- the list of calls ---------------------------------------------------------------------------- */

bool HasRequest(const OrvaneCall *call) {
    return call->request != nullptr && call->generation == BasicHttp_GetGeneration();
}

/* Puts the record at the head of a list. */
void PutFirst(OrvaneCall **list, OrvaneCall *call) {
    call->next = *list;
    call->link = list;
    if (call->next != nullptr)
        call->next->link = &call->next;
    *list = call;
}

/* Takes the record from the list that it is in. */
void Unlist(OrvaneCall *call) {
    *call->link = call->next;
    if (call->next != nullptr)
        call->next->link = call->link;
}

OrvaneCall *FindCall(const BasicHttpRequest *request) {
    auto *call = gCallsByRequest != nullptr
                     ? static_cast<OrvaneCall *>(g_hash_table_lookup(gCallsByRequest, request))
                     : nullptr;
    return call != nullptr && HasRequest(call) ? call : nullptr;
}

/* After a shutdown of the transport another request may have the address, and the entry, of this one. */
void LeaveIndex(const OrvaneCall *call) {
    if (gCallsByRequest == nullptr || g_hash_table_lookup(gCallsByRequest, call->request) != call)
        return;
    g_hash_table_remove(gCallsByRequest, call->request);
    if (g_hash_table_size(gCallsByRequest) == 0)
        g_clear_pointer(&gCallsByRequest, g_hash_table_unref);
}

/* Takes the call from its session. */
void TakeCall(OrvaneCall *call) {
    LeaveIndex(call);
    Unlist(call);
}

/* Ends a call that expects no reply. Its request is freed with the next call, since this may run anywhere. */
void SetDone(OrvaneCall *call) {
    TakeCall(call);
    PutFirst(&call->session->priv->doneCalls, call);
}

/* The listener's death cancels its call. */
void OnListenerGone(gpointer data, GObject *listener) {
    auto *call = static_cast<OrvaneCall *>(data);
    call->listener = nullptr;
    g_hash_table_remove(call->session->priv->listeners, listener);
    SetDone(call);
    if (HasRequest(call))
        BasicHttp_CancelRequest(call->request);
}

OrvaneCall *CallsOf(OrvaneListener *listener) {
    return static_cast<OrvaneCall *>(listener->priv->calls);
}

/* Removes the call from its listener. */
void ForgetListener(OrvaneCall *call) {
    OrvaneListener *listener = std::exchange(call->listener, nullptr);
    if (listener == nullptr)
        return;
    g_object_weak_unref(G_OBJECT(listener), OnListenerGone, call);
    if (CallsOf(listener) == call) {
        listener->priv->calls = call->nextOfListener;
        return;
    }
    OrvaneCall *before = CallsOf(listener);
    while (before->nextOfListener != call)
        before = before->nextOfListener;
    before->nextOfListener = call->nextOfListener;
}

/* A listener may have a later call in another session, which continues. */
void UnlinkFrom(OrvaneSession *session, OrvaneListener *listener) {
    if (g_object_get_data(G_OBJECT(listener), kSessionKey) == session)
        orvane_session_unlink_listener(listener);
    else
        g_hash_table_remove(session->priv->listeners, listener);
}

bool HasCalls(OrvaneListener *listener, const OrvaneSession *session) {
    for (const OrvaneCall *call = CallsOf(listener); call != nullptr; call = call->nextOfListener) {
        if (call->session == session)
            return true;
    }
    return false;
}

/* Frees the record, and the request unless a shutdown of the transport did. */
void FreeCall(OrvaneCall *call) {
    OrvaneListener *owned = call->ownsListener ? call->listener : nullptr;
    if (call->listener != nullptr)
        UnlinkFrom(call->session, call->listener);
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

/* Gives a call its request, and adds it to those in flight. */
void PutInFlight(OrvaneCall *call, BasicHttpRequest *request) {
    OrvaneSessionPrivate *priv = call->session->priv;
    call->request = request;
    call->generation = BasicHttp_GetGeneration();
    call->login = priv->relogin.number;
    PutFirst(&priv->calls, call);
    if (gCallsByRequest == nullptr)
        gCallsByRequest = g_hash_table_new(nullptr, nullptr);
    g_hash_table_insert(gCallsByRequest, request, call);
}

OrvaneCall *AddCall(OrvaneSession *session, BasicHttpRequest *request) {
    auto *call = new OrvaneCall();
    call->session = session;
    PutInFlight(call, request);
    return call;
}

/* Frees the calls that are over, so that a long session does not accumulate them. */
void FreeDoneCalls(OrvaneSessionPrivate *priv) {
    while (OrvaneCall *call = priv->doneCalls) {
        Unlist(call);
        FreeCall(call);
    }
}

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

/* Whether a call is the long one of the update stream. */
bool IsWait(const char *methodName) {
    return strncmp(methodName, kWaitPrefix, strlen(kWaitPrefix)) == 0;
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
    if (IsWait(methodName)) {
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

void Link(OrvaneCall *call, OrvaneListener *listener, guint serial, const char *methodName) {
    OrvaneSession *session = call->session;
    g_hash_table_replace(session->priv->listeners, listener, g_strdup(methodName));
    g_object_set_data(G_OBJECT(listener), kSessionKey, session);
    call->listener = listener;
    call->ownsListener = OrvaneListener_IsInternal(listener);
    call->nextOfListener = CallsOf(listener);
    call->operation = serial;
    listener->priv->calls = call;
    g_object_weak_ref(G_OBJECT(listener), OnListenerGone, call);
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

/* -- calls that wait for a login ------------------------------------------------------------------- */

bool IsNotAuthenticated(const GValue *value) {
    return G_IS_VALUE(value) && G_VALUE_HOLDS_OBJECT(value) &&
           G_TYPE_CHECK_INSTANCE_TYPE(g_value_get_object(value),
                                      SKEMA_TYPE_OZY_FAULT_NOT_AUTHENTICATED);
}

/* Keeps a call that was refused, until the session has logged in again. FALSE if it is to fail instead. The manager
 * handles the refusal of its long call itself. May call the application's wire function. */
bool KeepRefused(OrvaneSession *session, std::unique_ptr<OrvaneCall> &call,
                 OrvaneListener *listener, const char *methodName, const GValue *fault) {
    OrvaneSessionPrivate *priv = session->priv;
    if (call->isRepeated || (OrvaneListener_IsInternal(listener) && IsWait(methodName)) ||
        OrvaneSessionRelogin_IsPart(session, listener))
        return false;
    gsize length = 0;
    const char *body = BasicHttp_GetBodyText(call->request, &length);
    const bool isStale = call->login != priv->relogin.number && /* there was a login since */
                         priv->relogin.state == OrvaneReloginState::Idle;
    if (body == nullptr || (!isStale && !OrvaneSession_RenewLogin(session)))
        return false;
    auto *object = static_cast<SkemaQormMethodFault *>(g_value_dup_object(fault));
    call->refusal.reset(new OrvaneRefusal{SecretBlock::Copy(body, length),
                                          ObjectPtr<SkemaQormMethodFault>(object)});
    call->request = nullptr;
    PutFirst(&priv->refusedCalls, call.get());
    const guint serial = call->operation;
    Link(call.release(), listener, serial, methodName);
    if (isStale)
        OrvaneSessionRepeatCalls(session);
    return true;
}

/* Ends a call that waited, if its listener expects no signal. */
bool DropRefused(OrvaneCall *call) {
    OrvaneListener *listener = call->listener;
    const bool isCanceled = call->isCanceled;
    const bool isFormer = !isCanceled && OrvaneListener_ServesAnother(listener, call->operation);
    if (!isCanceled && !isFormer &&
        g_object_get_data(G_OBJECT(listener), kSessionKey) == call->session)
        return false;
    ForgetListener(call);
    TakeCall(call);
    if (isFormer && !HasCalls(listener, call->session))
        g_hash_table_remove(call->session->priv->listeners, listener);
    delete call;
    if (isCanceled || (!isFormer && !OrvaneListener_HasCompleted(listener)))
        g_object_unref(listener);
    return true;
}

void FailRefused(OrvaneCall *call) {
    if (DropRefused(call))
        return;
    OrvaneListener *listener = call->listener;
    OrvaneSession *session = call->session;
    ScopedValue fault(SKEMA_TYPE_QORM_METHOD_FAULT);
    g_value_take_object(&fault.value, call->refusal->fault.release());
    const guint serial = call->operation;
    ForgetListener(call);
    TakeCall(call);
    delete call;
    g_hash_table_remove(session->priv->listeners, listener);
    OrvaneListener_AcknowledgeReply(listener, serial, FALSE, &fault.value);
}

void Repeat(OrvaneCall *call) {
    OrvaneSession *session = call->session;
    if (DropRefused(call))
        return;
    OrvaneListener *listener = call->listener;
    const GPtr<char> methodName(g_strdup(
        static_cast<const char *>(g_hash_table_lookup(session->priv->listeners, listener))));
    gsize length = 0;
    auto *body = reinterpret_cast<char *>(call->refusal->body.release(&length));
    RequestPtr request = NewPost(session, body, length, methodName.get(), listener);
    if (!request) {
        FailRefused(call);
        return;
    }
    Unlist(call);
    PutInFlight(call, request.get());
    call->isRepeated = true;
    if (!BasicHttp_SendRequest(request.get(), BasicHttpOnSent, listener)) {
        LeaveIndex(call);
        call->request = nullptr;
        request.reset(); /* the application's handlers may shut the transport down */
        FailRefused(call);
        return;
    }
    call->refusal.reset();
    call->wire = OrvaneSessionWire_Repeat(session, request.release(), call->wire.get());
}

/* Moves the calls that wait to the list of those to be worked on. */
void BeginRepeating(OrvaneSessionPrivate *priv) {
    while (OrvaneCall *call = priv->refusedCalls) {
        Unlist(call);
        PutFirst(&priv->repeatedCalls, call);
    }
}

/* The reply to a call that had a listener. */
void OnListenerReply(OrvaneCall *call, OrvaneListener *listener, RequestPtr request,
                     ResponsePtr response) {
    gpointer data = g_object_get_data(G_OBJECT(listener), kSessionKey);
    const bool isCanceled = call != nullptr && call->isCanceled;
    const guint serial =
        call != nullptr ? call->operation : OrvaneListener_GetOperationSerial(listener);
    const bool isFormer = !isCanceled && OrvaneListener_ServesAnother(listener, serial);
    if (call != nullptr)
        ForgetListener(call);
    if (data == nullptr || data == Unlinked() || isCanceled || isFormer) {
        if (call != nullptr) { /* the session frees the request later */
            /* the entry may be that of a later call */
            if (!isCanceled && (!isFormer || !HasCalls(listener, call->session)))
                g_hash_table_remove(call->session->priv->listeners, listener);
            SetDone(call);
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
        TakeCall(call);
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
    if (mayRenew && !isResult && IsNotAuthenticated(&value.value) &&
        KeepRefused(session, record, listener, methodName.get(), &value.value))
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
    OrvaneCall *call = FindCall(request);
    if (call != nullptr && call->wire)
        OrvaneSessionWire_Reply(call->session, *call->wire, request, response);
    if (isListener) {
        OnListenerReply(call, ORVANE_LISTENER(clientData), std::move(ownRequest),
                        std::move(ownResponse));
    } else if (call != nullptr) {
        TakeCall(call);
        delete call;
    }
}

} // namespace

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

    FreeDoneCalls(session->priv);
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
    OrvaneCall *call = AddCall(session, request.get());
    if (listener != nullptr)
        Link(call, listener, serial, methodName);
    gpointer clientData = listener != nullptr ? static_cast<gpointer>(listener) : session;
    if (BasicHttp_SendRequest(request.get(), BasicHttpOnSent, clientData)) {
        BasicHttpRequest *sent = request.release(); /* owned by the call */
        call->wire = OrvaneSessionWire_Request(session, sent, object, methodName);
        return;
    }
    ForgetListener(call);
    TakeCall(call);
    delete call;
    if (listener == nullptr)
        return;
    orvane_session_unlink_listener(listener);
    OrvaneListener_EndOperationOf(listener, serial, ORVANE_OUTCOME_NOT_SENT);
}

void OrvaneSession_StopCalls(OrvaneSession *session, OrvaneListener *listener) {
    std::vector<OrvaneCall *> stopped;
    for (OrvaneCall *call = CallsOf(listener); call != nullptr; call = call->nextOfListener) {
        if (call->session == session && !call->isCanceled)
            stopped.push_back(call);
    }
    for (OrvaneCall *call : stopped) {
        TakeCall(call);
        FreeCall(call); /* the last one releases an internal listener */
    }
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
    bool hasCurrent = false;
    const guint serial = OrvaneListener_GetOperationSerial(listener);
    for (OrvaneCall *call = CallsOf(listener); call != nullptr; call = call->nextOfListener) {
        if (call->session != session)
            continue;
        call->ownsListener = call->isCanceled = true; /* no signal will come */
        hasCurrent = hasCurrent || call->operation == serial;
    }
    if (hasCurrent)
        OrvaneListener_EndOperation(listener, ORVANE_OUTCOME_CANCELLED);
    g_hash_table_remove(session->priv->listeners, listener);
    orvane_session_unlink_listener(listener);
}

void OrvaneSessionUnlinkAllListeners(OrvaneSession *session) {
    GList *linked = g_hash_table_get_keys(session->priv->listeners);
    for (GList *item = linked; item != nullptr; item = item->next) {
        UnlinkFrom(session, ORVANE_LISTENER(item->data));
    }
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
    OrvaneCall *call = AddCall(session, request);
    call->context = context;
    call->wire = OrvaneSessionWire_Request(session, request, nullptr, "GET");
}

void OrvaneSessionFreeCallHeaders(OrvaneSessionPrivate *priv) {
    BasicHttp_FreeHeaders(priv->callHeaders);
    priv->callHeaders = nullptr;
    g_clear_pointer(&priv->callHeadersVersion, g_free);
}

void OrvaneSessionLimitCalls(OrvaneSession *session) {
    for (OrvaneCall *call = session->priv->calls; call != nullptr; call = call->next) {
        if (HasRequest(call))
            BasicHttp_AddRequestToBandwidthGroup(session->priv->bandwidthGroup, call->request);
    }
}

void OrvaneSessionFreeCalls(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    FreeDoneCalls(priv);
    for (OrvaneCall **list : {&priv->calls, &priv->refusedCalls, &priv->repeatedCalls}) {
        while (OrvaneCall *call = *list) {
            TakeCall(call);
            FreeCall(call);
        }
    }
}

void OrvaneSessionRepeatCalls(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    const ConnectionWatch watch(session);
    BeginRepeating(priv);
    while (watch.IsSame() && priv->state != ORVANE_SESSION_DISCONNECTING &&
           priv->repeatedCalls != nullptr)
        Repeat(priv->repeatedCalls);
}

void OrvaneSessionFailRefusedCalls(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    const ConnectionWatch watch(session);
    BeginRepeating(priv);
    while (watch.IsSame() && priv->repeatedCalls != nullptr)
        FailRefused(priv->repeatedCalls);
}
