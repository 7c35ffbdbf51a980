#include "ozy/lib/orvane/listener/orvaneListener.h"

#include <utility>

#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "ozy/lib/orvane/listener/orvaneListenerInt.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/soap/orvaneFault.h"

namespace {

enum { PROP_0, PROP_STATE, PROP_RESULT, PROP_FAULT, NUM_PROPERTIES };
enum { SIGNAL_ACKNOWLEDGE, SIGNAL_PROGRESS, SIGNAL_SUCCESS, SIGNAL_FAILURE, NUM_SIGNALS };

/* Filled once, when the class is made. */
constinit GParamSpec *properties[NUM_PROPERTIES] = {};
constinit guint signals[NUM_SIGNALS] = {};

/* Copies the value into the result, whose type was set before the call. */
void StoreResult(OrvaneListener *listener, const GValue *value) {
    GValue *result = &listener->priv->result;
    if (!G_IS_VALUE(result) ||
        !g_value_type_compatible(G_VALUE_TYPE(value), G_VALUE_TYPE(result))) {
        orvane_value_cond_unset(result);
        g_value_init(result, G_VALUE_TYPE(value));
    }
    g_value_copy(value, result);
    g_object_notify_by_pspec(G_OBJECT(listener), properties[PROP_RESULT]);
}

void StoreFault(OrvaneListener *listener, const GValue *value) {
    gpointer held = G_VALUE_HOLDS_OBJECT(value) ? g_value_get_object(value) : nullptr;
    if (held == nullptr || !SKEMA_IS_QORM_METHOD_FAULT(held)) {
        Log("Orvane method failed without a specified fault.\n");
        OrvaneListenerTakeFault(listener, OrvaneFault_NewUnexpected());
    } else {
        OrvaneListenerTakeFault(listener, SKEMA_QORM_METHOD_FAULT(g_object_ref(held)));
    }
    g_object_notify_by_pspec(G_OBJECT(listener), properties[PROP_FAULT]);
}

/* Clears what an earlier operation ended with. Releasing it may run the application's code. */
void ClearOutcome(OrvaneListenerPrivate *priv) {
    const ObjectPtr<SkemaQormMethodFault> fault(std::exchange(priv->fault, nullptr));
    const ObjectPtr<SkemaQormMethodFault> otherFault(std::exchange(priv->operation.fault, nullptr));
    priv->progress = kListenerNoProgress;
    if (std::exchange(priv->isReturnTypeFresh, FALSE))
        return;
    priv->returnElementType = 0;
    ScopedValue result;
    std::swap(result.value, priv->result);
}

} // namespace

GType orvane_listener_state_get_type(void) {
    static gsize type = 0;
    if (g_once_init_enter(&type)) {
        static constexpr GEnumValue kValues[] = {
            {ORVANE_LISTENER_UNUSED, "ORVANE_LISTENER_UNUSED", "unused"},
            {ORVANE_LISTENER_PENDING, "ORVANE_LISTENER_PENDING", "pending"},
            {ORVANE_LISTENER_ACKNOWLEDGED, "ORVANE_LISTENER_ACKNOWLEDGED", "acknowledged"},
            {ORVANE_LISTENER_RUNNING, "ORVANE_LISTENER_RUNNING", "running"},
            {ORVANE_LISTENER_SUCCEEDED, "ORVANE_LISTENER_SUCCEEDED", "succeeded"},
            {ORVANE_LISTENER_FAILED, "ORVANE_LISTENER_FAILED", "failed"},
            {0, nullptr, nullptr},
        };
        g_once_init_leave(&type, g_enum_register_static("OrvaneListenerState", kValues));
    }
    return type;
}

G_DEFINE_TYPE_WITH_PRIVATE(OrvaneListener, orvane_listener, G_TYPE_OBJECT)

static void orvane_listener_init(OrvaneListener *listener) {
    listener->priv =
        static_cast<OrvaneListenerPrivate *>(orvane_listener_get_instance_private(listener));
    listener->priv->state = ORVANE_LISTENER_UNUSED;
    listener->priv->progress = kListenerNoProgress;
}

static void orvane_listener_get_property(GObject *object, guint id, GValue *value,
                                         GParamSpec *pspec) {
    const OrvaneListenerPrivate *priv = ORVANE_LISTENER(object)->priv;
    switch (id) {
    case PROP_STATE:
        g_value_set_enum(value, priv->state);
        return;
    case PROP_RESULT:
        g_value_set_boxed(value, &priv->result);
        return;
    case PROP_FAULT:
        g_value_set_object(value, priv->fault);
        return;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
}

/* Unloading the task runs the application's code, so it is done while the object is still complete. */
static void orvane_listener_dispose(GObject *object) {
    OrvaneListenerReleaseTask(ORVANE_LISTENER(object));
    G_OBJECT_CLASS(orvane_listener_parent_class)->dispose(object);
    ObjectWatch<OrvaneListener>::EndAll(ORVANE_LISTENER(object));
}

static void orvane_listener_finalize(GObject *object) {
    OrvaneListenerPrivate *priv = ORVANE_LISTENER(object)->priv;
    OrvaneListenerReleaseTask(ORVANE_LISTENER(object));
    OrvaneListenerFinalizeOperation(ORVANE_LISTENER(object));
    g_clear_object(&priv->fault);
    orvane_value_cond_unset(&priv->result);
    orvane_unbind_listener(object);
    ObjectWatch<OrvaneListener>::EndAll(ORVANE_LISTENER(object));
    G_OBJECT_CLASS(orvane_listener_parent_class)->finalize(object);
}

static void orvane_listener_class_init(OrvaneListenerClass *klass) {
    GObjectClass *object = G_OBJECT_CLASS(klass);
    object->get_property = orvane_listener_get_property;
    object->dispose = orvane_listener_dispose;
    object->finalize = orvane_listener_finalize;

    properties[PROP_STATE] =
        g_param_spec_enum("state", "State", "The current state.", orvane_listener_state_get_type(),
                          ORVANE_LISTENER_UNUSED, G_PARAM_READABLE);
    properties[PROP_RESULT] = g_param_spec_boxed(
        "result", "Result", "The result of the method call.", G_TYPE_VALUE, G_PARAM_READABLE);
    properties[PROP_FAULT] = g_param_spec_object("fault", "Fault", "The fault from a method call.",
                                                 SKEMA_TYPE_QORM_METHOD_FAULT, G_PARAM_READABLE);
    g_object_class_install_properties(object, NUM_PROPERTIES, properties);

    const struct {
        const char *name;
        gsize slot;
    } kRows[NUM_SIGNALS] = {
        {"acknowledge", G_STRUCT_OFFSET(OrvaneListenerClass, acknowledge)},
        {"progress", G_STRUCT_OFFSET(OrvaneListenerClass, progress)},
        {"success", G_STRUCT_OFFSET(OrvaneListenerClass, success)},
        {"failure", G_STRUCT_OFFSET(OrvaneListenerClass, failure)},
    };
    for (int i = 0; i < NUM_SIGNALS; i++)
        signals[i] = g_signal_new(kRows[i].name, G_TYPE_FROM_CLASS(klass), G_SIGNAL_RUN_LAST,
                                  static_cast<guint>(kRows[i].slot), nullptr, nullptr,
                                  g_cclosure_marshal_VOID__VOID, G_TYPE_NONE, 0);
}

OrvaneListener *orvane_listener_new(void) {
    return ORVANE_LISTENER(g_object_new(ORVANE_TYPE_LISTENER, nullptr));
}

OrvaneListener *OrvaneListener_NewInternal(OrvaneListenerCallback callback, gpointer data) {
    OrvaneListener *listener = orvane_listener_new();
    listener->priv->isInternal = TRUE;
    g_signal_connect(listener, "success", G_CALLBACK(callback), data);
    g_signal_connect(listener, "failure", G_CALLBACK(callback), data);
    return listener;
}

gboolean OrvaneListener_IsInternal(OrvaneListener *listener) {
    return listener->priv->isInternal;
}

OrvaneListenerState orvane_listener_get_state(OrvaneListener *listener) {
    g_return_val_if_fail(ORVANE_IS_LISTENER(listener), ORVANE_LISTENER_UNUSED);
    return listener->priv->state;
}

gboolean orvane_listener_is_task(OrvaneListener *listener) {
    g_return_val_if_fail(ORVANE_IS_LISTENER(listener), FALSE);
    return listener->priv->task != nullptr;
}

SkemaQormMethodFault *orvane_listener_get_fault(OrvaneListener *listener) {
    g_return_val_if_fail(ORVANE_IS_LISTENER(listener), nullptr);
    const OrvaneListenerPrivate *priv = listener->priv;
    if (priv->state != ORVANE_LISTENER_FAILED || priv->fault == nullptr)
        return nullptr;
    return SKEMA_QORM_METHOD_FAULT(g_object_ref(priv->fault));
}

gboolean orvane_listener_get_result(OrvaneListener *listener, GValue *value) {
    g_return_val_if_fail(ORVANE_IS_LISTENER(listener), FALSE);
    g_return_val_if_fail(value != nullptr, FALSE);
    const OrvaneListenerPrivate *priv = listener->priv;
    if (priv->state != ORVANE_LISTENER_SUCCEEDED)
        return FALSE;
    orvane_value_cond_unset(value);
    if (G_IS_VALUE(&priv->result)) {
        g_value_init(value, G_VALUE_TYPE(&priv->result));
        g_value_copy(&priv->result, value);
    }
    return TRUE;
}

guint orvane_listener_get_operation_count(OrvaneListener *listener) {
    g_return_val_if_fail(ORVANE_IS_LISTENER(listener), 0);
    return listener->priv->numOperations;
}

void orvane_listener_initiate(OrvaneListener *listener) {
    g_return_if_fail(ORVANE_IS_LISTENER(listener));
    ObjectWatch<OrvaneListener> watch(listener);
    listener->priv->numOperations++;
    if (!std::exchange(listener->priv->operation.isFresh, false))
        OrvaneListenerOpenOperation(listener);
    OrvaneListenerReleaseTask(listener);
    if (watch)
        ClearOutcome(listener->priv);
    if (watch)
        orvane_listener_set_state(listener, ORVANE_LISTENER_PENDING);
}

void orvane_listener_set_state(OrvaneListener *listener, OrvaneListenerState state) {
    g_return_if_fail(ORVANE_IS_LISTENER(listener));
    if (listener->priv->state == state)
        return;

    guint signal = 0;
    bool isFinal = false;
    switch (state) {
    case ORVANE_LISTENER_UNUSED:
    case ORVANE_LISTENER_PENDING:
    case ORVANE_LISTENER_RUNNING:
        break;
    case ORVANE_LISTENER_ACKNOWLEDGED:
        signal = signals[SIGNAL_ACKNOWLEDGE];
        break;
    case ORVANE_LISTENER_SUCCEEDED:
        signal = signals[SIGNAL_SUCCESS];
        isFinal = true;
        break;
    case ORVANE_LISTENER_FAILED:
        signal = signals[SIGNAL_FAILURE];
        isFinal = true;
        break;
    default:
        g_return_if_reached();
    }

    ObjectWatch<OrvaneListener> watch(listener);
    const guint serial = OrvaneListener_GetOperationSerial(listener);
    isFinal = isFinal && !listener->priv->operation.isOfFormer;
    listener->priv->state = state;
    if (isFinal)
        OrvaneListenerDecideOutcome(listener);
    g_object_notify_by_pspec(G_OBJECT(listener), properties[PROP_STATE]);
    if (signal != 0 && watch)
        g_signal_emit(listener, signal, 0);
    if (isFinal && watch)
        OrvaneListener_EndOperationOf(listener, serial, listener->priv->operation.outcome);
}

GType orvane_listener_get_return_type(OrvaneListener *listener, gboolean *isArray) {
    *isArray = FALSE;
    g_return_val_if_fail(ORVANE_IS_LISTENER(listener), 0);
    const GType type = G_VALUE_TYPE(&listener->priv->result);
    if (type != G_TYPE_VALUE_ARRAY)
        return type;
    *isArray = TRUE;
    return listener->priv->returnElementType;
}

void orvane_listener_set_return_type(OrvaneListener *listener, GType type, gboolean isArray) {
    g_return_if_fail(ORVANE_IS_LISTENER(listener));
    OrvaneListenerPrivate *priv = listener->priv;
    orvane_value_cond_unset(&priv->result); /* that of an earlier call */
    priv->isReturnTypeFresh = TRUE;
    priv->returnElementType = isArray ? type : 0;
    if (isArray)
        g_value_init(&priv->result, G_TYPE_VALUE_ARRAY);
    else if (type != G_TYPE_NONE)
        g_value_init(&priv->result, type);
}

void orvane_listener_acknowledge(OrvaneListener *listener, gboolean success, const GValue *value) {
    g_return_if_fail(ORVANE_IS_LISTENER(listener));
    OrvaneOperation &operation = listener->priv->operation;
    const guint serial = operation.serial;
    if (OrvaneListener_IsGivenUp(listener, serial))
        return; /* it fails in the next turn of the loop */
    const bool hasValue = value != nullptr && G_IS_VALUE(value);
    if (hasValue && G_VALUE_HOLDS(value, SKEMA_TYPE_OZY_TASK) &&
        g_value_get_object(value) != nullptr) {
        OrvaneListenerFollowTask(listener, SKEMA_OZY_TASK(g_value_get_object(value)));
        return;
    }

    /* A listener that is released in one of its handlers emits nothing more. */
    ObjectWatch<OrvaneListener> watch(listener);
    const bool isOpen = operation.isOpen;
    const auto isCurrent = [&] {
        return watch && !OrvaneListener_IsGivenUp(listener, serial) &&
               (operation.isOpen || !isOpen || !operation.isObserved);
    };
    if (!operation.isOfFormer)
        OrvaneListener_LeaveOperations(listener); /* the reply has come: the connection may end */
    if (hasValue && success)
        StoreResult(listener, value);
    else if (hasValue)
        StoreFault(listener, value);
    if (isCurrent())
        orvane_listener_set_state(listener, ORVANE_LISTENER_ACKNOWLEDGED);
    if (!isCurrent())
        return;
    const guint current = operation.serial;
    const bool wasOfFormer = operation.isOfFormer;
    operation.isOfFormer = wasOfFormer || current != serial;
    orvane_listener_set_state(listener,
                              success ? ORVANE_LISTENER_SUCCEEDED : ORVANE_LISTENER_FAILED);
    if (watch && operation.serial == current)
        operation.isOfFormer = wasOfFormer;
}

void OrvaneListener_AcknowledgeCanceled(OrvaneListener *listener) {
    ScopedValue fault(SKEMA_TYPE_QORM_METHOD_FAULT);
    g_value_take_object(&fault.value, OrvaneListenerNewRequestCanceled());
    orvane_listener_acknowledge(listener, FALSE, &fault.value);
}

void OrvaneListenerEmitProgress(OrvaneListener *listener) {
    g_signal_emit(listener, signals[SIGNAL_PROGRESS], 0);
}

SkemaQormMethodFault *OrvaneListenerNewRequestCanceled(void) {
    return SKEMA_QORM_METHOD_FAULT(g_object_new(SKEMA_TYPE_QORM_FAULT_REQUEST_CANCELED, nullptr));
}

void OrvaneListenerTakeFault(OrvaneListener *listener, SkemaQormMethodFault *fault) {
    SkemaQormMethodFault *old = listener->priv->fault;
    listener->priv->fault = fault;
    if (old != nullptr)
        g_object_unref(old);
}
