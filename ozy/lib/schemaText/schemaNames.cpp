#include "ozy/lib/schemaText/schemaNames.h"

#include <algorithm>

#include "ozy/lib/schemaRows/schemaValues.h"

namespace {

constexpr std::string_view kRoot = "Skema";

std::string Capitalised(std::string_view word) {
    std::string text(word);
    if (!text.empty())
        text[0] = g_ascii_toupper(text[0]);
    return text;
}

std::string TypeName(const TableType &type, const SchemaModel &model, const SchemaIndex &index) {
    const TableType *enclosing = SchemaIndex_Find(index, model, type.enclosing);
    const bool isInFault = enclosing != nullptr && enclosing->form == SCHEMA_FORM_FAULT;
    return SchemaNames_Root(type.ns) + SchemaNames_Path(type, isInFault);
}

std::string StubName(const TableMethod &method, const std::string &prefix) {
    if (!method.stub.empty())
        return prefix + "_" + method.stub;

    std::string_view wireName = method.wireName;
    if (wireName.ends_with("_Task"))
        wireName.remove_suffix(5);
    return prefix + "_" + SchemaNames_Snake(wireName);
}

} // namespace

SchemaIndex SchemaIndex_Make(const SchemaModel &model) {
    SchemaIndex index;
    index.reserve(model.types.size());
    for (guint32 i = 0; i < model.types.size(); i++)
        index.emplace(model.types[i].name, i);
    return index;
}

const TableType *SchemaIndex_Find(const SchemaIndex &index, const SchemaModel &model,
                                  std::string_view name) {
    const auto found = index.find(name);
    return found == index.end() ? nullptr : &model.types[found->second];
}

std::optional<SchemaValueKind> SchemaNames_BuiltIn(std::string_view word) {
    const auto row = std::ranges::find(kSchemaValues, word, &SchemaValueWords::word);
    if (word.empty() || row == kSchemaValues.end())
        return std::nullopt;
    return row->kind;
}

std::string_view SchemaNames_BuiltInWord(SchemaValueKind kind) {
    return SchemaValue_Words(kind).word;
}

std::string SchemaNames_Root(SchemaNamespace ns) {
    return std::string(kRoot) + Capitalised(SchemaNamespace_Word(ns));
}

std::string SchemaNames_ConstantPath(std::string_view typeName) {
    return SchemaNames_Upper(SchemaNames_Snake(typeName));
}

/* A break is only made before a capital that follows a small letter; a digit is of the kind of the
 * character before it. */
std::string SchemaNames_Snake(std::string_view camel) {
    std::string snake;
    snake.reserve(camel.size() + camel.size() / 2);
    bool isSmall = false;
    for (char byte : camel) {
        if (g_ascii_isupper(byte) && isSmall)
            snake += '_';
        if (!g_ascii_isdigit(byte))
            isSmall = g_ascii_islower(byte);
        snake += g_ascii_tolower(byte);
    }
    return snake;
}

std::string SchemaNames_Upper(std::string_view text) {
    std::string upper(text);
    for (char &byte : upper)
        byte = g_ascii_toupper(byte);
    return upper;
}

std::string SchemaNames_Path(const TableType &type, bool isInFault) {
    if (!type.path.empty())
        return type.path;
    std::string_view wireName = type.name;
    if (type.ns == SCHEMA_NAMESPACE_FERRY && wireName.starts_with("Ferry"))
        wireName.remove_prefix(5);
    return std::string(type.form == SCHEMA_FORM_FAULT || isInFault ? "Fault" : "").append(wireName);
}

std::string SchemaNames_Macro(std::string_view prefix, std::string_view word) {
    std::string macro = SchemaNames_Upper(prefix);
    if (!word.empty())
        macro.insert(kRoot.size(), "_" + std::string(word));
    return macro;
}

SchemaTypeNames SchemaNames_Of(const TableType &type, const SchemaModel &model,
                               const SchemaIndex &index) {
    SchemaTypeNames names;
    names.type = TypeName(type, model, index);
    names.prefix = SchemaNames_Snake(names.type);
    for (const TableMethod &method : type.methods) {
        const bool isFromRows = method.place.line == 0;
        names.stubs.push_back(isFromRows ? "" : StubName(method, names.prefix));
    }
    if (type.words.empty())
        return names;

    const TableType *enclosing = SchemaIndex_Find(index, model, type.enclosing);
    const std::string path = SchemaNames_ConstantPath(
        enclosing == nullptr ? names.type : TypeName(*enclosing, model, index));
    for (const TableWord &word : type.words)
        names.constants.push_back(path + "_" + SchemaNames_Upper(word.word));
    return names;
}

std::vector<SchemaTypeNames> SchemaNames_Make(const SchemaModel &model, const SchemaIndex &index) {
    std::vector<SchemaTypeNames> all;
    all.reserve(model.types.size());
    for (const TableType &type : model.types)
        all.push_back(SchemaNames_Of(type, model, index));
    return all;
}
