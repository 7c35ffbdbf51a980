/* Which type an element of a reply has. */
#include "ozy/lib/orvane/soap/orvaneSoapInt.h"

#include <array>
#include <cstring>
#include <span>
#include <string>

#include "lib/misc/glibPtr.h"

namespace {

constexpr char kSchemaInstance[] = "http://www.w3.org/2001/XMLSchema-instance";
constexpr std::string_view kArrayPrefix = "ArrayOf";

struct SoapTypeRow {
    std::string_view name;
    GType fundamental;
    GType (*boxed)(void); /* where fundamental is 0 */
};

constexpr auto kSimpleTypes = std::to_array<SoapTypeRow>({
    {"xsd:boolean", G_TYPE_BOOLEAN},
    {"xsd:byte", G_TYPE_CHAR},
    {"xsd:short", G_TYPE_INT},
    {"xsd:int", G_TYPE_INT},
    {"xsd:long", G_TYPE_INT64},
    {"xsd:unsignedBtype", G_TYPE_UCHAR},
    {"xsd:unsignedShort", G_TYPE_UINT},
    {"xsd:unsignedInt", G_TYPE_UINT},
    {"xsd:unsignedLong", G_TYPE_UINT64},
    {"xsd:float", G_TYPE_FLOAT},
    {"xsd:double", G_TYPE_DOUBLE},
    {"xsd:string", G_TYPE_STRING},
    {"xsd:anyURI", 0, orvane_uri_get_type},
    {"xsd:dateTime", 0, orvane_timeval_get_type},
    {"xsd:base64Binary", 0, orvane_byte_array_get_type},
});

constexpr auto kArrayTypes = std::to_array<SoapTypeRow>({
    {"ArrayOfBoolean", G_TYPE_BOOLEAN},
    {"ArrayOfByte", G_TYPE_CHAR},
    {"ArrayOfShort", G_TYPE_INT},
    {"ArrayOfInt", G_TYPE_INT},
    {"ArrayOfLong", G_TYPE_INT64},
    {"ArrayOfFloat", G_TYPE_FLOAT},
    {"ArrayOfDouble", G_TYPE_DOUBLE},
    {"ArrayOfString", G_TYPE_STRING},
    {"ArrayOfAnyURI", 0, orvane_uri_get_type},
    {"ArrayOfDateTime", 0, orvane_timeval_get_type},
    {"ArrayOfBase64Binary", 0, orvane_byte_array_get_type},
});

GType SoapRowType(std::span<const SoapTypeRow> rows, std::string_view name) {
    for (const SoapTypeRow &row : rows) {
        if (row.name.size() == name.size() &&
            g_ascii_strncasecmp(row.name.data(), name.data(), name.size()) == 0)
            return row.boxed != nullptr ? row.boxed() : row.fundamental;
    }
    return 0;
}

/* The text of an attribute; it is put together in store if it is in several pieces. */
const char *SoapAttributeText(const xmlAttr *attribute, std::string *store) {
    const xmlNode *piece = attribute->children;
    if (piece == nullptr)
        return "";
    if (piece->next == nullptr && piece->type == XML_TEXT_NODE && piece->content != nullptr)
        return reinterpret_cast<const char *>(piece->content);
    const XmlTextPtr joined(xmlNodeListGetString(attribute->doc, piece, 1));
    store->assign(joined ? reinterpret_cast<const char *>(joined.get()) : "");
    return store->c_str();
}

struct SoapTypeAttributes {
    const xmlAttr *plain = nullptr;    /* type="VirtualMachine" */
    const xmlAttr *instance = nullptr; /* xsi:type="xsd:string" */
};

SoapTypeAttributes SoapFindAttributes(const xmlNode *node) {
    SoapTypeAttributes found;
    if (node->type != XML_ELEMENT_NODE)
        return found;
    for (const xmlAttr *attribute = node->properties; attribute != nullptr;
         attribute = attribute->next) {
        if (std::strcmp(reinterpret_cast<const char *>(attribute->name), "type") != 0)
            continue;
        if (attribute->ns == nullptr)
            found.plain = attribute;
        else if (attribute->ns->href != nullptr &&
                 std::strcmp(reinterpret_cast<const char *>(attribute->ns->href),
                             kSchemaInstance) == 0)
            found.instance = attribute;
    }
    return found;
}

/* An attribute narrows what is known of the type; it never widens or contradicts it. */
GType SoapNarrow(GType type, GType found) {
    if (found == 0 || found == type)
        return type;
    return type == 0 || g_type_is_a(found, type) ? found : type;
}

/* <InvalidLoginFault> without attributes is an InvalidLogin. */
GType SoapTypeOfName(const xmlNode *node) {
    std::string name(
        reinterpret_cast<const char *>(node->name != nullptr ? node->name : BAD_CAST ""));
    const std::size_t end = name.rfind("Fault");
    if (end != std::string::npos)
        name.resize(end);
    return orvane_lookup_type(name.c_str());
}

/* Where a name is in a table, if it is there. */
template <gsize size>
SoapTypeNames::Named &SoapEntryOf(SoapTypeNames::Named (&table)[size], const char *name) {
    const gsize length = std::strlen(name);
    const guchar last = length > 0 ? static_cast<guchar>(name[length - 1]) : 0;
    return table[(length * 31 + static_cast<guchar>(name[0]) * 7u + last * 3u) % size];
}

} // namespace

GType orvane_soap_lookup_type(const char *name, GType *elementType) {
    const std::string_view text(name);
    *elementType = 0;
    if (const GType simple = SoapRowType(kSimpleTypes, text))
        return simple;
    if (g_ascii_strncasecmp(name, kArrayPrefix.data(), kArrayPrefix.size()) != 0)
        return 0;
    *elementType = SoapRowType(kArrayTypes, text);
    return G_TYPE_VALUE_ARRAY;
}

const SoapTypeNames::Named &SoapTypeNames::Plain(const char *name) {
    Named &known = SoapEntryOf(plain, name);
    if (known.name.empty() || known.name != name)
        known = {name, orvane_lookup_type(name), 0};
    return known;
}

const SoapTypeNames::Named &SoapTypeNames::Instance(const char *name) {
    Named &known = SoapEntryOf(instance, name);
    if (!known.name.empty() && known.name == name)
        return known;
    known.name = name;
    known.type = orvane_soap_lookup_type(name, &known.elementType);
    if (known.type == 0)
        known.type = orvane_lookup_type(name);
    return known;
}

GType OrvaneSoapFindType(const xmlNode *node, GType expectedType, GType *elementType,
                         SoapTypeNames *names) {
    const SoapTypeAttributes attributes = SoapFindAttributes(node);
    std::string store;
    GType type = expectedType;
    *elementType = 0;

    if (attributes.plain != nullptr)
        type = SoapNarrow(type, names->Plain(SoapAttributeText(attributes.plain, &store)).type);
    if (attributes.instance != nullptr) {
        const auto &found = names->Instance(SoapAttributeText(attributes.instance, &store));
        type = SoapNarrow(type, found.type);
        *elementType = found.elementType;
    }
    return type != 0 ? type : SoapTypeOfName(node);
}
