// The records of calls: in which list each one is, the index that finds one by its request, and the chain of a
// listener's calls.
#include <utility>
#include <vector>

#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/session/orvaneSessionCalls.h"

namespace {

constexpr const char *kSessionKey = "session";

/* The requests in flight of all sessions, with their calls; NULL while there are none. */
constinit GHashTable *gCallsByRequest = nullptr;

/* The listener's death cancels its call. */
void OnListenerGone(gpointer data, GObject *listener) {
    auto *call = static_cast<OrvaneCall *>(data);
    call->listener = nullptr;
    g_hash_table_remove(call->session->priv->listeners, listener);
    OrvaneCall_SetDone(call);
    if (OrvaneCall_HasRequest(call))
        BasicHttp_CancelRequest(call->request);
}

OrvaneCall *CallsOf(OrvaneListener *listener) {
    return static_cast<OrvaneCall *>(listener->priv->calls);
}

/* A listener may have a later call in another session, which continues. */
void UnlinkFrom(OrvaneSession *session, OrvaneListener *listener) {
    if (OrvaneCall_GetLink(listener) == session)
        orvane_session_unlink_listener(listener);
    else
        g_hash_table_remove(session->priv->listeners, listener);
}

/* Frees the record, and the request unless a shutdown of the transport did. */
void FreeCall(OrvaneCall *call) {
    OrvaneListener *owned = call->ownsListener ? call->listener : nullptr;
    if (call->listener != nullptr)
        UnlinkFrom(call->session, call->listener);
    OrvaneCall_ForgetListener(call);
    if (OrvaneCall_HasRequest(call))
        BasicHttp_FreeRequest(call->request);
    if (call->context != nullptr) {
        orvane_unbind_listener(call->context);
        g_object_unref(call->context);
    }
    delete call;
    if (owned != nullptr)
        g_object_unref(owned);
}

} // namespace

gpointer OrvaneCall_Unlinked() {
    return GINT_TO_POINTER(1); /* ORVANE_SESSION_DATA_UNLINK_VALUE */
}

gpointer OrvaneCall_GetLink(OrvaneListener *listener) {
    return g_object_get_data(G_OBJECT(listener), kSessionKey);
}

bool OrvaneCall_HasRequest(const OrvaneCall *call) {
    return call->request != nullptr && call->generation == BasicHttp_GetGeneration();
}

void OrvaneCall_PutFirst(OrvaneCall **list, OrvaneCall *call) {
    call->next = *list;
    call->link = list;
    if (call->next != nullptr)
        call->next->link = &call->next;
    *list = call;
}

void OrvaneCall_Unlist(OrvaneCall *call) {
    *call->link = call->next;
    if (call->next != nullptr)
        call->next->link = call->link;
}

OrvaneCall *OrvaneCall_Find(const BasicHttpRequest *request) {
    auto *call = gCallsByRequest != nullptr
                     ? static_cast<OrvaneCall *>(g_hash_table_lookup(gCallsByRequest, request))
                     : nullptr;
    return call != nullptr && OrvaneCall_HasRequest(call) ? call : nullptr;
}

void OrvaneCall_LeaveIndex(const OrvaneCall *call) {
    if (gCallsByRequest == nullptr || g_hash_table_lookup(gCallsByRequest, call->request) != call)
        return;
    g_hash_table_remove(gCallsByRequest, call->request);
    if (g_hash_table_size(gCallsByRequest) == 0)
        g_clear_pointer(&gCallsByRequest, g_hash_table_unref);
}

void OrvaneCall_Take(OrvaneCall *call) {
    OrvaneCall_LeaveIndex(call);
    OrvaneCall_Unlist(call);
}

void OrvaneCall_SetDone(OrvaneCall *call) {
    OrvaneCall_Take(call);
    OrvaneCall_PutFirst(&call->session->priv->doneCalls, call);
}

void OrvaneCall_ForgetListener(OrvaneCall *call) {
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

bool OrvaneCall_HasAny(OrvaneListener *listener, const OrvaneSession *session) {
    for (const OrvaneCall *call = CallsOf(listener); call != nullptr; call = call->nextOfListener) {
        if (call->session == session)
            return true;
    }
    return false;
}

void OrvaneCall_PutInFlight(OrvaneCall *call, BasicHttpRequest *request) {
    OrvaneSessionPrivate *priv = call->session->priv;
    call->request = request;
    call->generation = BasicHttp_GetGeneration();
    call->login = priv->relogin.number;
    OrvaneCall_PutFirst(&priv->calls, call);
    if (gCallsByRequest == nullptr)
        gCallsByRequest = g_hash_table_new(nullptr, nullptr);
    g_hash_table_insert(gCallsByRequest, request, call);
}

OrvaneCall *OrvaneCall_Add(OrvaneSession *session, BasicHttpRequest *request) {
    auto *call = new OrvaneCall();
    call->session = session;
    OrvaneCall_PutInFlight(call, request);
    return call;
}

void OrvaneCall_FreeDone(OrvaneSessionPrivate *priv) {
    while (OrvaneCall *call = priv->doneCalls) {
        OrvaneCall_Unlist(call);
        FreeCall(call);
    }
}

void OrvaneCall_Link(OrvaneCall *call, OrvaneListener *listener, guint serial,
                     const char *methodName) {
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

void OrvaneSession_StopCalls(OrvaneSession *session, OrvaneListener *listener) {
    std::vector<OrvaneCall *> stopped;
    for (OrvaneCall *call = CallsOf(listener); call != nullptr; call = call->nextOfListener) {
        if (call->session == session && !call->isCanceled)
            stopped.push_back(call);
    }
    for (OrvaneCall *call : stopped) {
        OrvaneCall_Take(call);
        FreeCall(call); /* the last one releases an internal listener */
    }
}

gboolean OrvaneSession_HasCall(OrvaneSession *session, OrvaneListener *listener) {
    g_return_val_if_fail(ORVANE_IS_SESSION(session), FALSE);
    return g_hash_table_contains(session->priv->listeners, listener);
}

void orvane_session_unlink_listener(OrvaneListener *listener) {
    g_return_if_fail(ORVANE_IS_LISTENER(listener));
    gpointer data = OrvaneCall_GetLink(listener);
    if (data == nullptr || data == OrvaneCall_Unlinked())
        return;
    auto *session = static_cast<OrvaneSession *>(data);
    if (OrvaneSession_IsLive(session))
        g_hash_table_remove(session->priv->listeners, listener);
    g_object_set_data(G_OBJECT(listener), kSessionKey, OrvaneCall_Unlinked());
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
    const OrvaneCall *call = OrvaneCall_Find(request);
    return call != nullptr ? call->session : nullptr;
}

OrvaneCall *OrvaneSessionTakeCall(BasicHttpRequest *request) {
    OrvaneCall *call = OrvaneCall_Find(request);
    if (call != nullptr)
        OrvaneCall_Take(call);
    return call;
}

void OrvaneSessionLimitCalls(OrvaneSession *session) {
    for (OrvaneCall *call = session->priv->calls; call != nullptr; call = call->next) {
        if (OrvaneCall_HasRequest(call))
            BasicHttp_AddRequestToBandwidthGroup(session->priv->bandwidthGroup, call->request);
    }
}

void OrvaneSessionFreeCalls(OrvaneSession *session) {
    OrvaneSessionPrivate *priv = session->priv;
    OrvaneCall_FreeDone(priv);
    for (OrvaneCall **list : {&priv->calls, &priv->refusedCalls, &priv->repeatedCalls}) {
        while (OrvaneCall *call = *list) {
            OrvaneCall_Take(call);
            FreeCall(call);
        }
    }
}
