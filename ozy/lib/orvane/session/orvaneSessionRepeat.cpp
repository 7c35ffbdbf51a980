// Calls that were refused for want of a login: each is kept until the session has logged in again, and is then sent once
// more, or fails with the fault that it was refused with.
#include <utility>

#include <orvane/schema/qorm.h>

#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/session/orvaneSessionCalls.h"

namespace {

bool IsNotAuthenticated(const GValue *value) {
    return G_IS_VALUE(value) && G_VALUE_HOLDS_OBJECT(value) &&
           G_TYPE_CHECK_INSTANCE_TYPE(g_value_get_object(value),
                                      SKEMA_TYPE_OZY_FAULT_NOT_AUTHENTICATED);
}

/* Ends a call that waited, if its listener expects no signal. */
bool DropRefused(OrvaneCall *call) {
    OrvaneListener *listener = call->listener;
    const bool isCanceled = call->isCanceled;
    const bool isFormer = !isCanceled && OrvaneListener_ServesAnother(listener, call->operation);
    if (!isCanceled && !isFormer && OrvaneCall_GetLink(listener) == call->session)
        return false;
    OrvaneCall_ForgetListener(call);
    OrvaneCall_Take(call);
    if (isFormer && !OrvaneCall_HasAny(listener, call->session))
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
    OrvaneCall_ForgetListener(call);
    OrvaneCall_Take(call);
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
    if (!OrvaneSessionSendAgain(call, methodName.get(), body, length))
        FailRefused(call);
}

/* Moves the calls that wait to the list of those to be worked on. */
void BeginRepeating(OrvaneSessionPrivate *priv) {
    while (OrvaneCall *call = priv->refusedCalls) {
        OrvaneCall_Unlist(call);
        OrvaneCall_PutFirst(&priv->repeatedCalls, call);
    }
}

} // namespace

bool OrvaneSessionKeepRefused(OrvaneSession *session, std::unique_ptr<OrvaneCall> &call,
                              OrvaneListener *listener, const char *methodName,
                              const GValue *fault) {
    OrvaneSessionPrivate *priv = session->priv;
    if (!IsNotAuthenticated(fault) || call->isRepeated ||
        (OrvaneListener_IsInternal(listener) && OrvaneSessionIsWait(methodName)) ||
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
    OrvaneCall_PutFirst(&priv->refusedCalls, call.get());
    const guint serial = call->operation;
    OrvaneCall_Link(call.release(), listener, serial, methodName);
    if (isStale)
        OrvaneSessionRepeatCalls(session);
    return true;
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
