// Retrievals of contents: one call, without a filter, whose values are written into their proxies before the
// application's listener is answered with the proxies.
#include <span>

#include <orvane/schema/qorm.h>

#include "ozy/lib/orvane/listener/orvaneListenerInt.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "ozy/lib/orvane/updates/orvaneUpdateIndex.h"

namespace {

/* (nullable): the application's listener of a retrieval, if it still waits. */
OrvaneListener *RetrievalListener(OrvaneMOMgr *momgr, OrvaneListener *internal) {
    auto *listener = static_cast<OrvaneListener *>(
        g_object_get_qdata(G_OBJECT(internal), orvane_quark_listener()));
    const MOMgrWaiter *waiter =
        listener != nullptr ? MOMgrFindWaiter(momgr->priv, listener) : nullptr;
    /* it may wait for something else by now */
    const bool waits = waiter != nullptr && waiter->internal == internal;
    return waits && !MOMgrServesAnother(momgr, listener) ? listener : nullptr;
}

/* The operation ends now, but the application's listener is answered only when the connection ends, unless the manager
 * is strict. */
void FailRetrieval(OrvaneMOMgr *momgr, OrvaneListener *internal) {
    OrvaneListener *listener = RetrievalListener(momgr, internal);
    if (listener == nullptr)
        return;
    MOMgrFindWaiter(momgr->priv, listener)->internal = nullptr;
    if (!momgr->priv->hasStrictLoads) {
        OrvaneListener_EndWithFault(listener, orvane_listener_get_fault(internal), internal);
        return;
    }
    MOMgrForgetListener(momgr, listener);
    OrvaneListener_CopyReply(listener, internal);
    ScopedValue fault;
    MOMgrTakeFault(internal, &fault.value);
    orvane_listener_acknowledge(listener, FALSE, &fault.value);
}

/* Writes the values that were read of one object into its proxy. Returns the proxy, or NULL. */
ObjectPtr<GObject> ApplyContent(OrvaneMOMgr *momgr, GObject *content, MOMgrProxies *inArrays) {
    GObject *object = nullptr;
    g_object_get(content, "obj", &object, nullptr);
    ObjectPtr<GObject> proxy(object);
    const MOMgrReplyArray propSet(content, "propSet");
    if (proxy == nullptr)
        return proxy;

    for (const GValue &element : propSet.Elements()) {
        GObject *property = MOMgrGetObject(&element, skema_qorm_dynamic_property_get_type());
        if (property == nullptr || MOMgrSession(momgr) == nullptr)
            continue;
        char *name = nullptr;
        g_object_get(property, "name", &name, nullptr);
        GPtr<char> owner(name);
        const MOMgrReplyAny value(property);
        inArrays->Note(value.Get());
        if (name != nullptr)
            orvane_momgr_update_property(momgr, proxy.get(), name, value.Get(),
                                         SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_ASSIGN);
    }
    return proxy;
}

/* Applies all contents. Returns their proxies. */
ValueArrayPtr ApplyContents(OrvaneMOMgr *momgr, const GValueArray *contents,
                            MOMgrProxies *inArrays) {
    ValueArrayPtr proxies(g_value_array_new(contents->n_values));
    const GType contentType = skema_qorm_core_property_collector_object_content_get_type();
    for (const GValue &element : std::span(contents->values, contents->n_values)) {
        GObject *content = MOMgrGetObject(&element, contentType);
        if (content == nullptr)
            continue;
        const auto proxy = ApplyContent(momgr, content, inArrays);
        if (proxy == nullptr)
            continue;
        ScopedValue value(G_OBJECT_TYPE(proxy.get()));
        g_value_set_object(&value.value, proxy.get());
        g_value_array_append(proxies.get(), &value.value);
    }
    return proxies;
}

} // namespace

void orvane_session_retrieve_contents(OrvaneSession *session, GValueArray *filterSpecSet,
                                      OrvaneListener *listener) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    g_return_if_fail(filterSpecSet);
    g_return_if_fail(listener == nullptr || ORVANE_IS_LISTENER(listener));
    if (orvane_session_get_state(session) != ORVANE_SESSION_CONNECTED) {
        MOMgrAcknowledgeAtOnce(listener, FALSE);
        return;
    }
    OrvaneMOMgr *moMgr = orvane_session_get_momgr(session);
    g_return_if_fail(moMgr);
    orvane_momgr_retrieve_contents(moMgr, filterSpecSet, listener);
}

void orvane_momgr_retrieve_contents(OrvaneMOMgr *momgr, GValueArray *filterSpecSet,
                                    OrvaneListener *listener) {
    g_return_if_fail(momgr);
    const auto holdManager = MOMgrHold(momgr);
    if (MOMgrSession(momgr) == nullptr || momgr->priv->collector == nullptr) {
        MOMgrAcknowledgeAtOnce(listener, FALSE);
        return;
    }

    const MOMgrWait wait =
        listener != nullptr ? MOMgrWatchListener(momgr, listener, nullptr) : MOMgrWait::Ignored;
    if (wait == MOMgrWait::GivenUp)
        return;
    OrvaneListener *internal = MOMgrNewListener(momgr, orvane_momgr_retrieve_contents_cb);
    if (wait == MOMgrWait::Waits) {
        orvane_bind_listener(G_OBJECT(internal), listener);
        MOMgrFindWaiter(momgr->priv, listener)->internal = internal;
        orvane_listener_set_time_limit(internal, OrvaneListener_TimeLimit(listener, 0));
    }
    skema_qorm_core_property_collector_retrieve_contents(
        SKEMA_QORM_CORE_PROPERTY_COLLECTOR(momgr->priv->collector), filterSpecSet, internal);
    OrvaneListener *waiting = RetrievalListener(momgr, internal);
    if (waiting != nullptr && !OrvaneSession_HasCall(momgr->priv->session, internal))
        OrvaneListener_MarkOperation(waiting, ORVANE_OUTCOME_NOT_SENT);
    MOMgrCheckSent(momgr, internal);
}

void orvane_momgr_retrieve_contents_cb(OrvaneListener *internal, gpointer data) {
    OrvaneMOMgr *momgr = static_cast<OrvaneMOMgr *>(data);
    const auto holdManager = MOMgrHold(momgr);
    MOMgrProxies inArrays; /* released after the reply */
    const UpdateIndexScope scope;
    const ObjectPtr<OrvaneListener> release(internal);
    if (orvane_listener_get_state(internal) != ORVANE_LISTENER_SUCCEEDED) {
        FailRetrieval(momgr, internal);
        return;
    }

    ScopedValue result;
    orvane_listener_get_result(internal, &result.value);
    const GValueArray *contents = nullptr;
    if (G_IS_VALUE(&result.value) && G_VALUE_HOLDS(&result.value, G_TYPE_VALUE_ARRAY))
        contents = static_cast<GValueArray *>(g_value_get_boxed(&result.value));
    ScopedValue proxies(G_TYPE_VALUE_ARRAY);
    if (contents != nullptr)
        g_value_take_boxed(&proxies.value, ApplyContents(momgr, contents, &inArrays).release());

    OrvaneListener *listener = RetrievalListener(momgr, internal);
    if (listener == nullptr)
        return;
    MOMgrForgetListener(momgr, listener);
    orvane_listener_set_return_type(listener, skema_qorm_managed_object_get_type(), TRUE);
    orvane_listener_acknowledge(listener, TRUE, &proxies.value);
}
