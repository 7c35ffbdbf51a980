#include "ozy/lib/orvane/soap/orvaneSoapInt.h"

#include <span>
#include <string>

#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"

namespace {

const char *SoapName(const xmlNode *node) {
    return reinterpret_cast<const char *>(node->name);
}

/* Names come from the document's dictionary, so equal names are mostly the same text. */
bool SoapSameName(const xmlNode *a, const xmlNode *b) {
    return a->name == b->name || xmlStrEqual(a->name, b->name);
}

bool SoapHasPrefix(const xmlNode *node, const char *prefix) {
    return node->ns != nullptr && node->ns->prefix != nullptr &&
           xmlStrEqual(node->ns->prefix, BAD_CAST prefix);
}

xmlNode *SoapChild(const xmlNode *node, const char *name) {
    xmlNode *child = node->children;
    while (child != nullptr && !OrvaneSoapIsElement(child, name))
        child = child->next;
    return child;
}

/* All siblings of that name from first on. */
SoapRun SoapRunFrom(xmlNode *first) {
    SoapRun run{first, first, 0};
    for (xmlNode *node = first; node != nullptr; node = node->next) {
        if (node->type == XML_ELEMENT_NODE && SoapSameName(node, first)) {
            run.last = node;
            run.count++;
        }
    }
    return run;
}

/* The value is left as it is if the type is that of nothing, which no value can hold. */
bool SoapReadTyped(SoapReader *reader, xmlNode *node, const SoapFound &found, GValue *value) {
    if (found.kind == SoapKind::None)
        return true;
    g_value_init(value, found.type);
    return OrvaneSoapKind_Row(found.kind).read(reader, node, found, value);
}

/* Reads one element of an array of a known type. */
bool SoapReadMember(SoapReader *reader, xmlNode *node, GType type, SoapKind kind, GValue *value) {
    const SoapOpenPiece piece(reader->tree, node);
    if (OrvaneSoapKind_Row(kind).isLeaf)
        return SoapReadTyped(reader, piece.Node(), {type, kind, 0, type}, value);
    return OrvaneSoapReadValue(reader, piece.Node(), type, value);
}

void SoapReadRun(SoapReader *reader, const SoapRun &run, GType type, SoapKind kind, GValue *value) {
    if (!G_IS_VALUE(value))
        g_value_init(value, G_TYPE_VALUE_ARRAY);
    GValueArray *array = g_value_array_new(run.count);
    for (xmlNode *node = run.first; run.count > 0; node = node->next) {
        if (node->type == XML_ELEMENT_NODE && SoapSameName(node, run.first)) {
            // Each is read in place; what cannot be read gives its place back.
            g_value_array_append(array, nullptr);
            GValue *member = &array->values[array->n_values - 1];
            if (!SoapReadMember(reader, node, type, kind, member)) {
                orvane_value_cond_unset(member);
                g_value_array_remove(array, array->n_values - 1);
            }
        }
        if (node == run.last)
            break;
    }
    g_value_take_boxed(value, array);
}

/* Finds or makes the proxy; FALSE if that cannot be tried. */
bool SoapFindProxy(OrvaneSession *session, const char *content, GType type,
                   SkemaQormManagedObject **proxy) {
    constexpr char kFunction[] = "orvane_soap_deserialize_managed_object";
    if (!OrvaneSoapCheck(session != nullptr, kFunction, "session") ||
        !OrvaneSoapCheck(content != nullptr, kFunction, "content"))
        return false;
    OrvaneMOMgr *momgr = orvane_session_get_momgr(session);
    if (!OrvaneSoapCheck(momgr != nullptr, kFunction, "momgr"))
        return false;
    *proxy = orvane_momgr_lookup_or_create(momgr, content, type);
    return true;
}

/* The value stays NULL if it cannot hold the proxy. */
void SoapSetProxy(GValue *value, SkemaQormManagedObject *proxy) {
    if (proxy == nullptr || g_type_is_a(G_OBJECT_TYPE(proxy), G_VALUE_TYPE(value)))
        g_value_set_object(value, proxy);
    else
        Log("SOAP: an object known as %s is a %s in a reply; it is left out\n",
            G_OBJECT_TYPE_NAME(proxy), G_VALUE_TYPE_NAME(value));
}

/*
 * Reads the value of a property. A text is not copied, since the tree outlives the object's construction, unless it is
 * in a piece.
 */
bool SoapReadProperty(SoapReader *reader, const SoapProperty &property, const SoapRun &run,
                      GValue *value) {
    if (property.kind == SoapKind::Array) {
        SoapReadRun(reader, run, property.elementType, property.elementKind, value);
        return true;
    }
    if (property.kind == SoapKind::String) {
        const SoapOpenPiece piece(reader->tree, run.first);
        const char *text = OrvaneSoapContent(piece.Node());
        g_value_init(value, property.type);
        if (piece.IsOpened())
            g_value_set_string(value, text);
        else
            g_value_set_static_string(value, text);
        return true;
    }
    return SoapReadMember(reader, run.first, property.type, property.kind, value);
}

/* Finds the children of node that belong to each property. Of several, a single value is the first. */
void SoapNoteChildren(const SoapPlan *plan, const xmlNode *node, std::span<SoapRun> runs) {
    gint likely = 0;
    const xmlNode *before = nullptr;
    for (xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (child->type != XML_ELEMENT_NODE)
            continue;
        if (before != nullptr && SoapSameName(child, before))
            likely--; // once more what the one before was
        const gint index = OrvaneSoapPlan_Find(plan, SoapName(child), likely);
        if (index < 0) {
            before = nullptr;
            continue;
        }
        SoapRun &run = runs[index];
        if (run.first == nullptr)
            run.first = child;
        run.last = child;
        run.count++;
        likely = index + 1;
        before = child;
    }
}

/* Whether a plain property takes the value as it is. */
bool SoapValueFits(const SoapProperty &property, const GValue *value) {
    const auto fits = OrvaneSoapKind_Row(property.kind).fits;
    return fits == nullptr || fits(property, value);
}

/*
 * Whether the property system stores the value, converted if need be. It reports any other in GLib's
 * log, as if the application had made a mistake.
 */
bool SoapAccepts(const SoapProperty &property, const GValue *value) {
    GParamSpec *pspec = property.pspec;
    if (!(pspec->flags & G_PARAM_WRITABLE) ||
        !g_value_type_transformable(G_VALUE_TYPE(value), property.type))
        return false;
    GValue converted = G_VALUE_INIT;
    g_value_init(&converted, property.type);
    const bool isAccepted =
        g_value_transform(value, &converted) &&
        (!g_param_value_validate(pspec, &converted) || (pspec->flags & G_PARAM_LAX_VALIDATION));
    g_value_unset(&converted);
    return isAccepted;
}

void SoapLogRefusal(const SoapProperty &property) {
    Log("SOAP: the property %s of %s does not take what a reply has for it\n",
        property.name.c_str(), g_type_name(property.pspec->owner_type));
}

/* Stores a value in an object of a class of the schema, and may take its content over. */
void SoapStore(GObject *object, const SoapProperty &property, GValue *value) {
    const bool isPlain = property.isPlain && SoapValueFits(property, value);
    if (isPlain && property.field != nullptr)
        SchemaClass_TakeField(object, property.field, value);
    else if (isPlain)
        property.set(object, property.pspec->param_id, value, property.pspec);
    else if (SoapAccepts(property, value))
        g_object_set_property(object, property.name.c_str(), value);
    else
        SoapLogRefusal(property);
}

/*
 * Reads the value of a plain property of a class of the schema into the object itself. Returns false, with nothing done, for
 * values of most kinds.
 */
bool SoapReadInto(GObject *object, SoapReader *reader, const SoapProperty &property,
                  const SoapRun &run) {
    if (property.kind != SoapKind::String && property.kind != SoapKind::Any)
        return false;
    const SoapOpenPiece piece(reader->tree, run.first);
    if (property.kind == SoapKind::String) {
        SchemaClass_TakeText(object, property.field, g_strdup(OrvaneSoapContent(piece.Node())));
        return true;
    }
    ScopedValue content;
    if (OrvaneSoapReadValue(reader, piece.Node(), 0, &content.value))
        SchemaClass_TakeAny(object, property.field, &content.value);
    return true;
}

GObject *SoapFillObject(SoapReader *reader, const SoapPlan *plan, std::size_t base) {
    auto *object = static_cast<GObject *>(g_object_new(plan->type, nullptr));
    for (std::size_t i = 0; i < plan->properties.size(); i++) {
        const SoapRun run = reader->runs[base + i]; // a copy: reading may move the list
        const SoapProperty &property = plan->properties[i];
        if (run.first == nullptr || (property.isPlain && property.field != nullptr &&
                                     SoapReadInto(object, reader, property, run)))
            continue;
        GValue value = G_VALUE_INIT;
        if (SoapReadProperty(reader, property, run, &value))
            SoapStore(object, property, &value);
        orvane_value_cond_unset(&value);
    }
    return object;
}

/* For classes that may do something in their construction: all properties are set during it. */
GObject *SoapConstructObject(SoapReader *reader, const SoapPlan *plan, std::size_t base) {
    std::vector<const char *> names;
    std::vector<GValue> values;
    names.reserve(plan->properties.size());
    values.reserve(plan->properties.size());
    for (std::size_t i = 0; i < plan->properties.size(); i++) {
        const SoapRun run = reader->runs[base + i];
        GValue value = G_VALUE_INIT;
        if (run.first == nullptr)
            continue;
        const SoapProperty &property = plan->properties[i];
        const bool isRead = SoapReadProperty(reader, property, run, &value);
        if (isRead && SoapAccepts(property, &value)) {
            names.push_back(property.name.c_str());
            values.push_back(value);
            continue;
        }
        if (isRead)
            SoapLogRefusal(property);
        orvane_value_cond_unset(&value);
    }
    GObject *object = g_object_new_with_properties(plan->type, static_cast<guint>(names.size()),
                                                   names.data(), values.data());
    for (GValue &value : values)
        g_value_unset(&value);
    return object;
}

bool SoapReadResult(SoapReader *reader, xmlNode *response, GType returnType, bool isArray,
                    GValue *value) {
    const bool hasResult = returnType != 0 && returnType != G_TYPE_NONE;
    xmlNode *result = hasResult ? SoapChild(response, "returnval") : nullptr;
    orvane_value_cond_unset(value);
    if (result == nullptr)
        return true;
    if (!isArray) {
        const SoapOpenPiece piece(reader->tree, result);
        return OrvaneSoapReadValue(reader, piece.Node(), returnType, value);
    }
    SoapReadRun(reader, SoapRunFrom(result), returnType, OrvaneSoapKind_Of(returnType), value);
    return true;
}

} // namespace

const char *OrvaneSoapContent(const xmlNode *node) {
    if (!OrvaneSoapCheck(node->type == XML_ELEMENT_NODE, "orvane_get_node_text_content",
                         "XML_ELEMENT_NODE == node->type"))
        return nullptr;
    const xmlNode *child = node->children;
    while (child != nullptr && child->type != XML_TEXT_NODE)
        child = child->next;
    return child != nullptr ? reinterpret_cast<const char *>(child->content) : nullptr;
}

/* The type of the value is that of the element's attributes or name. */
bool OrvaneSoapReadAny(SoapReader *reader, xmlNode *node, const SoapFound &, GValue *value) {
    GPtr<GValue> held(g_new0(GValue, 1));
    if (!OrvaneSoapReadValue(reader, node, 0, held.get())) {
        orvane_value_cond_unset(held.get());
        return false;
    }
    g_value_take_boxed(value, held.release());
    return true;
}

bool OrvaneSoapReadArray(SoapReader *reader, xmlNode *node, const SoapFound &found, GValue *value) {
    SoapReadRun(reader, SoapRunFrom(OrvaneSoapFirstElement(node)), found.elementType,
                reader->kinds.Of(found.elementType), value);
    return true;
}

bool OrvaneSoapReadManaged(SoapReader *reader, xmlNode *node, const SoapFound &found,
                           GValue *value) {
    SkemaQormManagedObject *proxy = nullptr;
    if (!SoapFindProxy(reader->session, OrvaneSoapContent(node), found.type, &proxy))
        return false;
    const GType actual = proxy != nullptr ? G_OBJECT_TYPE(proxy) : found.type;
    if (!g_type_is_a(actual, found.type) &&
        (found.expected == 0 || g_type_is_a(actual, found.expected))) {
        g_value_unset(value);
        g_value_init(value, actual);
    }
    SoapSetProxy(value, proxy);
    return true;
}

bool OrvaneSoapReadValue(SoapReader *reader, xmlNode *node, GType expectedType, GValue *value) {
    GType elementType = 0;
    const GType type = OrvaneSoapFindType(node, expectedType, &elementType, &reader->typeNames);
    return type != 0 &&
           SoapReadTyped(reader, node, {type, reader->kinds.Of(type), elementType, expectedType},
                         value);
}

bool OrvaneSoapReadObject(SoapReader *reader, xmlNode *node, GType objectType, GValue *value) {
    const SoapPlan *plan = reader->plans.Get(objectType);
    if (plan == nullptr || plan->isAbstract)
        return false;
    const std::size_t base = reader->runs.size();
    reader->runs.resize(base + plan->properties.size());
    SoapNoteChildren(plan, node, std::span(reader->runs).subspan(base));
    GObject *object = plan->isDirect ? SoapFillObject(reader, plan, base)
                                     : SoapConstructObject(reader, plan, base);
    reader->runs.resize(base);
    if (plan->isUnowned)
        g_object_ref_sink(object);
    g_value_take_object(value, object);
    return true;
}

gboolean orvane_soap_deserialize(OrvaneSession *session, const char *methodName, xmlNode *body,
                                 GType returnType, gboolean isArray, GValue *value) {
    return OrvaneSoap_ReadBody(session, methodName, nullptr, body, returnType, isArray, value);
}

gboolean OrvaneSoap_ReadBody(OrvaneSession *session, const char *methodName, OrvaneSoapTree *tree,
                             xmlNode *body, GType returnType, gboolean isArray, GValue *value) {
    if (!OrvaneSoapIsElement(body, "Body") || !SoapHasPrefix(body, "soapenv"))
        return FALSE;
    SoapReader reader(session, tree);
    const std::string response = std::string(OrvaneSoapSpell(methodName)) + "Response";
    for (xmlNode *child = body->children; child != nullptr; child = child->next) {
        if (OrvaneSoapIsElement(child, response.c_str())) {
            if (SoapReadResult(&reader, child, returnType, isArray, value))
                return TRUE;
        } else if (OrvaneSoapIsElement(child, "Fault") && SoapHasPrefix(child, "soapenv")) {
            if (OrvaneSoapReadFault(&reader, child, value))
                return TRUE;
        }
    }
    return FALSE;
}

gboolean orvane_soap_deserialize_value(OrvaneSession *session, xmlNode *node, GType expectedType,
                                       GValue *value) {
    SoapReader reader(session);
    return OrvaneSoapReadValue(&reader, node, expectedType, value);
}

gboolean orvane_soap_deserialize_value_array(OrvaneSession *session, xmlNode *first,
                                             GType elementType, GValue *value) {
    SoapReader reader(session);
    SoapReadRun(&reader, SoapRunFrom(first), elementType, OrvaneSoapKind_Of(elementType), value);
    return TRUE;
}

gboolean orvane_soap_deserialize_object(OrvaneSession *session, xmlNode *node, GType objectType,
                                        GValue *value) {
    SoapReader reader(session);
    return OrvaneSoapReadObject(&reader, node, objectType, value);
}

gboolean orvane_soap_deserialize_managed_object(OrvaneSession *session, const char *content,
                                                GType objectType, GValue *value) {
    SkemaQormManagedObject *proxy = nullptr;
    if (!SoapFindProxy(session, content, objectType, &proxy))
        return FALSE;
    SoapSetProxy(value, proxy);
    return TRUE;
}
