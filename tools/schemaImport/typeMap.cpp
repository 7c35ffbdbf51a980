#include "tools/schemaImport/typeMap.h"

#include <algorithm>
#include <array>

namespace schemaImport {

namespace {

constexpr int kMaxChain = 256;
constexpr size_t kMaxName = 70; /* bytes; a line of the tables has to hold three of them */

struct BuiltInRow {
    const char *xsd;
    const char *table;
};

constexpr auto kBuiltIn = std::to_array<BuiltInRow>({
    {"string", "string"},     {"normalizedString", "string"},
    {"token", "string"},      {"language", "string"},
    {"Name", "string"},       {"NCName", "string"},
    {"NMTOKEN", "string"},    {"ID", "string"},
    {"IDREF", "string"},      {"QName", "string"},
    {"boolean", "boolean"},   {"byte", "byte"},
    {"short", "short"},       {"unsignedByte", "short"},
    {"int", "int"},           {"unsignedShort", "int"},
    {"long", "long"},         {"unsignedInt", "long"},
    {"float", "float"},       {"double", "double"},
    {"dateTime", "dateTime"}, {"base64Binary", "binary"},
    {"anyType", "any"},
});

bool BuiltIn(const std::string &xsd, bool isArray, std::string *name) {
    if (xsd == "anyURI") {
        *name = isArray ? "anyURI" : "string";
        return true;
    }
    const auto found = std::ranges::find(
        kBuiltIn, xsd, [](const BuiltInRow &row) { return std::string_view(row.xsd); });
    if (found == kBuiltIn.end())
        return false;
    *name = found->table;
    return true;
}

} // namespace

bool IsIdentifier(const std::string &name) {
    return !name.empty() && name.size() <= kMaxName && !g_ascii_isdigit(name[0]) &&
           std::ranges::all_of(name,
                               [](char byte) { return g_ascii_isalnum(byte) || byte == '_'; });
}

TypeMap::TypeMap(const SchemaModel &shippedModel, const XsdSchema &schema)
    : shipped(shippedModel), index(SchemaIndex_Make(shippedModel)) {
    for (const XsdType &type : schema.types)
        documents.emplace(type.name, &type);
}

const TableType *TypeMap::Shipped(const std::string &name) const {
    return SchemaIndex_Find(index, shipped, name);
}

const XsdType *TypeMap::Document(const std::string &name) const {
    const auto found = documents.find(name);
    return found == documents.end() ? nullptr : found->second;
}

bool TypeMap::IsWrapper(const XsdType &type) {
    return !type.isSimple && type.name.starts_with("ArrayOf") && type.base.local.empty() &&
           type.fields.size() == 1 && type.fields[0].isArray;
}

/* The schema takes precedence over the documents. Events are data objects derived from "Event". */
std::optional<SchemaForm> TypeMap::FormOf(const XsdType &type) const {
    std::string name = type.name;
    for (int i = 0; i < kMaxChain; i++) {
        if (name == "Event" || name == "FerryEvent")
            return SCHEMA_FORM_EVENT;
        if (const TableType *known = Shipped(name)) {
            if (known->form != SCHEMA_FORM_DATA && known->form != SCHEMA_FORM_EVENT)
                return known->form;
            if (Shipped(known->base) == nullptr)
                return SCHEMA_FORM_DATA;
            name = known->base;
            continue;
        }
        const XsdType *document = Document(name);
        if (document == nullptr || document->isSimple || document->base.local.empty() ||
            document->base.isBuiltIn || !IsIdentifier(name))
            return std::nullopt;
        name = document->base.local;
    }
    return std::nullopt;
}

bool TypeMap::NameOf(const XsdName &type, bool isArray, const TableTypeRef *known,
                     std::string *name, std::string *why) const {
    XsdName at = type;
    for (int i = 0; i < kMaxChain; i++) {
        if (at.isBuiltIn) {
            *why = "has the type xsd:" + at.local + ", which the tables do not have";
            return BuiltIn(at.local, isArray, name);
        }
        if (at.local == "ManagedObjectReference") {
            const TableType *stated = known != nullptr ? Shipped(known->name) : nullptr;
            const bool isStated = stated != nullptr && stated->form == SCHEMA_FORM_MANAGED;
            *name = isStated ? known->name : "ManagedObject";
            return true;
        }
        if (Shipped(at.local) != nullptr) {
            *name = at.local;
            return true;
        }
        const XsdType *document = Document(at.local);
        *why = "has the type '" + at.local + "', which is not known";
        if (document == nullptr)
            return false;
        *why = "has the type '" + at.local + "', which cannot be used";
        *name = at.local;
        if (!document->isSimple)
            return !IsWrapper(*document) && FormOf(*document).has_value();
        if (!document->words.empty())
            return IsIdentifier(at.local);
        if (document->base.local.empty())
            return false;
        at = document->base;
    }
    *why = "has the type '" + type.local + "', whose bases lead back to it";
    return false;
}

bool TypeMap::RefOf(const XsdField &field, const TableTypeRef *known, TableTypeRef *ref,
                    std::string *why) const {
    *ref = {};
    ref->isArray = field.isArray;
    ref->isOptional = field.isOptional;
    return NameOf(field.type, field.isArray, known, &ref->name, why);
}

} // namespace schemaImport
