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

/* Keeps a copy of the element's text; one without text leaves what was there. */
void SoapKeepContent(GPtr<char> *text, const xmlNode *node) {
    if (const char *content = OrvaneSoapContent(node))
        text->reset(g_strdup(content));
}

/* A detail without an element leaves the result as it was; anything but a fault is no result. */
bool SoapReadDetail(SoapReader *reader, const xmlNode *detail, bool isRead, GValue *value) {
    xmlNode *child = OrvaneSoapFirstElement(detail);
    if (child == nullptr)
        return isRead;
    orvane_value_cond_unset(value);
    return OrvaneSoapReadValue(reader, child, 0, value) && SoapHeldFault(value) != nullptr;
}

/* Reads the wrapped fault into value; the wrapper stays if that fails or yields no fault. */
bool SoapUnwrap(SoapReader *reader, xmlNode *node, GValue *value) {
    GValue inner = G_VALUE_INIT;
    if (!OrvaneSoapReadValue(reader, node, 0, &inner) || SoapHeldFault(&inner) == nullptr) {
        orvane_value_cond_unset(&inner);
        return false;
    }
    g_value_unset(value);
    *value = inner; // the value moves as it is
    return true;
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
    GPtr<char> message;
    bool isRead = false;
    for (xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (OrvaneSoapIsElement(child, "fault"))
            isRead = SoapUnwrap(reader, child, value);
        else if (OrvaneSoapIsElement(child, "localizedMessage"))
            SoapKeepContent(&message, child);
    }
    if (isRead)
        SoapTake(&SoapHeldFault(value)->fault_string, std::move(message));
    return isRead;
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
