#include "ozy/lib/orvane/soap/orvaneFault.h"

#include <orvane/schema/qorm.h>

namespace {

struct InvalidResponseData {
    guint errorCode;
    glong responseCode;
    char *responseMessage;
};

enum InvalidResponseProperty : guint {
    kErrorCode = 1,
    kResponseCode,
    kResponseMessage,
};

constexpr auto kConstructOnly =
    static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_CONSTRUCT_ONLY);

constinit gpointer gParentClass;
constinit gint gPrivateOffset;

InvalidResponseData *InvalidResponseOf(gpointer object) {
    return static_cast<InvalidResponseData *>(G_STRUCT_MEMBER_P(object, gPrivateOffset));
}

void InvalidResponseSet(GObject *object, guint id, const GValue *value, GParamSpec *pspec) {
    InvalidResponseData *data = InvalidResponseOf(object);
    switch (id) {
    case kErrorCode:
        data->errorCode = g_value_get_uint(value);
        return;
    case kResponseCode:
        data->responseCode = g_value_get_long(value);
        return;
    case kResponseMessage:
        g_free(data->responseMessage);
        data->responseMessage = g_value_dup_string(value);
        return;
    }
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
}

void InvalidResponseGet(GObject *object, guint id, GValue *value, GParamSpec *pspec) {
    const InvalidResponseData *data = InvalidResponseOf(object);
    switch (id) {
    case kErrorCode:
        g_value_set_uint(value, data->errorCode);
        return;
    case kResponseCode:
        g_value_set_long(value, data->responseCode);
        return;
    case kResponseMessage:
        g_value_set_string(value, data->responseMessage);
        return;
    }
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
}

void InvalidResponseFinalize(GObject *object) {
    g_free(InvalidResponseOf(object)->responseMessage);
    G_OBJECT_CLASS(gParentClass)->finalize(object);
}

void InvalidResponseClassInit(gpointer klass, gpointer) {
    gParentClass = g_type_class_peek_parent(klass);
    g_type_class_adjust_private_offset(klass, &gPrivateOffset);

    auto *object = static_cast<GObjectClass *>(klass);
    object->finalize = InvalidResponseFinalize;
    object->get_property = InvalidResponseGet;
    object->set_property = InvalidResponseSet;
    g_object_class_install_property(
        object, kErrorCode,
        g_param_spec_uint("errorCode", "", "", 0, G_MAXUINT, 0, kConstructOnly));
    g_object_class_install_property(
        object, kResponseCode,
        g_param_spec_long("responseCode", "", "", 0, G_MAXLONG, 0, kConstructOnly));
    g_object_class_install_property(
        object, kResponseMessage,
        g_param_spec_string("responseMessage", "", "", "", kConstructOnly));
}

/* Registers a subclass of RuntimeFault that adds nothing to the structs of its parent. */
GType FaultRegister(const char *name, GClassInitFunc classInit) {
    const GType parent = skema_qorm_runtime_fault_get_type();
    GTypeQuery query;
    g_type_query(parent, &query);
    return g_type_register_static_simple(parent, g_intern_static_string(name), query.class_size,
                                         classInit, query.instance_size, nullptr,
                                         static_cast<GTypeFlags>(0));
}

} // namespace

GType orvane_fault_invalid_response_get_type(void) {
    static gsize type;
    if (g_once_init_enter(&type)) {
        const GType made = FaultRegister("OrvaneFaultInvalidResponse", InvalidResponseClassInit);
        gPrivateOffset = g_type_add_instance_private(made, sizeof(InvalidResponseData));
        g_once_init_leave(&type, made);
    }
    return type;
}

GType orvane_fault_unexpected_get_type(void) {
    static gsize type;
    if (g_once_init_enter(&type))
        g_once_init_leave(&type, FaultRegister("OrvaneFaultUnexpected", nullptr));
    return type;
}

SkemaQormMethodFault *OrvaneFault_NewInvalidResponse(guint errorCode, glong responseCode,
                                                     const char *responseMessage) {
    return static_cast<SkemaQormMethodFault *>(g_object_new(
        orvane_fault_invalid_response_get_type(), "errorCode", errorCode, "responseCode",
        responseCode, responseMessage != nullptr ? "responseMessage" : nullptr, responseMessage,
        nullptr));
}

SkemaQormMethodFault *OrvaneFault_NewUnexpected(void) {
    return static_cast<SkemaQormMethodFault *>(
        g_object_new(orvane_fault_unexpected_get_type(), nullptr));
}
