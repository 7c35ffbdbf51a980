/* Faults: the body of a SOAP fault, and the wrapper that gives a fault its localised message. */
#include "ozy/lib/orvane/soap/orvaneSoapInt.h"

#include <orvane/schema/qorm.h>

#include "lib/misc/glibPtr.h"

namespace {

SkemaQormMethodFault *SoapHeldFault(const GValue *value) {
    if (!G_VALUE_HOLDS(value, skema_qorm_method_fault_get_type()))
        return nullptr;
    return static_cast<SkemaQormMethodFault *>(g_value_get_object(value));
}

/* Puts the text into a field of a fault, which owns it. */
void SoapTake(char **field, GPtr<char> text) {
    g_free(*field);
    *field = text.release();
}

/* Keeps a copy of the element's text. An element without text changes nothing. */
void SoapKeepContent(GPtr<char> *text, const xmlNode *node) {
    if (const char *content = OrvaneSoapContent(node))
        text->reset(g_strdup(content));
}

/* A detail without an element does not change the result. Only a fault is a result. */
bool SoapReadDetail(SoapReader *reader, const xmlNode *detail, bool isRead, GValue *value) {
    xmlNode *child = OrvaneSoapFirstElement(detail);
    if (child == nullptr)
        return isRead;
    orvane_value_cond_unset(value);
    return OrvaneSoapReadValue(reader, child, 0, value) && SoapHeldFault(value) != nullptr;
}

/* The last child "fault" of the element, NULL without one. */
xmlNode *SoapFaultChild(const xmlNode *node) {
    xmlNode *child = node->last;
    while (child != nullptr && !OrvaneSoapIsElement(child, "fault"))
        child = child->prev;
    return child;
}

/* An element and the class that it is read as. */
struct SoapWrapped {
    xmlNode *node = nullptr; /* NULL: none */
    GType type = 0;
};

/*
 * Finds the fault that an element wraps, at any depth, by types alone:
 *
 *   <fault xsi:type="LocalizedMethodFault"> <fault xsi:type="InvalidLogin"/> </fault>
 *
 * Each element on the way must itself be a fault or a wrapper. The innermost that is a fault is the
 * result; wrappers inside it have none, so it is read as a plain object. If elements were read to find
 * out, each level of nesting would double the time.
 */
SoapWrapped SoapFindWrapped(SoapReader *reader, const xmlNode *wrapper) {
    SoapWrapped wrapped;
    for (xmlNode *node = SoapFaultChild(wrapper); node != nullptr; node = SoapFaultChild(node)) {
        GType elementType = 0;
        const GType type = OrvaneSoapFindType(node, 0, &elementType, &reader->typeNames);
        if (OrvaneSoapKind_Of(type) != SoapKind::Fault)
            break;
        if (g_type_is_a(type, skema_qorm_method_fault_get_type()) && !G_TYPE_IS_ABSTRACT(type))
            wrapped = {node, type};
    }
    return wrapped;
}

} // namespace

bool OrvaneSoapReadFault(SoapReader *reader, xmlNode *node, GValue *value) {
    GPtr<char> code;
    GPtr<char> message;
    bool isRead = false;
    for (xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (OrvaneSoapIsElement(child, "faultcode"))
            SoapKeepContent(&code, child);
        else if (OrvaneSoapIsElement(child, "faultstring"))
            SoapKeepContent(&message, child);
        else if (OrvaneSoapIsElement(child, "detail"))
            isRead = SoapReadDetail(reader, child, isRead, value);
    }
    if (!isRead)
        return false;
    SkemaQormMethodFault *fault = SoapHeldFault(value);
    SoapTake(&fault->fault_code, std::move(code));
    SoapTake(&fault->fault_string, std::move(message));
    return true;
}

bool OrvaneSoapReadLocalizedFault(SoapReader *reader, xmlNode *node, GValue *value) {
    const SoapWrapped wrapped = SoapFindWrapped(reader, node);
    if (wrapped.node == nullptr)
        return false;
    GPtr<char> message;
    for (const xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (OrvaneSoapIsElement(child, "localizedMessage"))
            SoapKeepContent(&message, child);
    }
    g_value_unset(value);
    g_value_init(value, wrapped.type);
    OrvaneSoapReadObject(reader, wrapped.node, wrapped.type, value);
    SoapTake(&SoapHeldFault(value)->fault_string, std::move(message));
    return true;
}

gboolean orvane_soap_deserialize_fault(OrvaneSession *session, xmlNode *node, GValue *value) {
    SoapReader reader(session);
    return OrvaneSoapReadFault(&reader, node, value);
}

gboolean orvane_soap_deserialize_localized_fault(OrvaneSession *session, xmlNode *node,
                                                 GValue *value) {
    SoapReader reader(session);
    return OrvaneSoapReadLocalizedFault(&reader, node, value);
}
