#include "tools/schemagen/emitSpelling.h"

#include <algorithm>
#include <array>

#include "ozy/lib/schemaRows/schemaValues.h"

namespace {

/* Words of C and C++, and the two parameters that every stub has. */
constexpr auto kTakenWords = std::to_array<std::string_view>({
    "alignas",  "alignof",  "and",     "asm",       "auto",      "bool",     "break",    "case",
    "catch",    "char",     "class",   "concept",   "const",     "continue", "decltype", "default",
    "delete",   "do",       "double",  "else",      "enum",      "explicit", "export",   "extern",
    "false",    "float",    "for",     "friend",    "goto",      "if",       "inline",   "int",
    "listener", "long",     "mutable", "namespace", "new",       "noexcept", "not",      "nullptr",
    "object",   "operator", "or",      "private",   "protected", "public",   "register", "requires",
    "restrict", "return",   "short",   "signed",    "sizeof",    "static",   "struct",   "switch",
    "template", "this",     "throw",   "true",      "try",       "typedef",  "typeid",   "typename",
    "union",    "unsigned", "using",   "virtual",   "void",      "volatile", "while",    "xor",
});
static_assert(std::ranges::is_sorted(kTakenWords));

} // namespace

Emission Emission_Make(const SchemaModel &model) {
    Emission emission{model, SchemaIndex_Make(model), {}, SchemaBuild_Run(model)};
    emission.names = SchemaNames_Make(model, emission.index);
    return emission;
}

const TableType *Spelling_Type(const Emission &emission, std::string_view name) {
    return SchemaIndex_Find(emission.index, emission.model, name);
}

std::string Spelling_CType(const Emission &emission, const TableTypeRef &type) {
    if (type.isArray)
        return "GValueArray *";
    if (type.isUnknown)
        return "const GValue *";
    if (const auto kind = SchemaNames_BuiltIn(type.name)) {
        const SchemaValueWords &words = SchemaValue_Words(*kind);
        return std::string(type.isOptional ? words.byPointer : words.byValue);
    }

    const gsize at = emission.index.at(type.name);
    const bool isValue = emission.model.types[at].form == SCHEMA_FORM_ENUM && !type.isOptional;
    return emission.names[at].type + (isValue ? " " : " *");
}

bool Spelling_IsPointer(const Emission &emission, const TableTypeRef &type) {
    return Spelling_CType(emission, type).ends_with('*') || type.name == "any";
}

std::string Spelling_Parameter(const TableArgument &argument) {
    const bool isTaken = std::ranges::binary_search(kTakenWords, std::string_view(argument.name));
    return isTaken ? argument.name + "_" : argument.name;
}

std::string Spelling_Parameters(const Emission &emission, gsize type, const TableMethod &method) {
    std::string text = emission.names[type].type + " *object";
    for (const TableArgument &argument : method.arguments)
        text += ", " + Spelling_CType(emission, argument.type) + Spelling_Parameter(argument);
    return text + ", OrvaneListener *listener";
}

std::string Spelling_Words(const Emission &emission, const TableTypeRef &type) {
    if (type.isUnknown)
        return type.isArray ? "list of any values" : "any value";
    const auto at = emission.index.find(type.name);
    const std::string name =
        at == emission.index.end() ? type.name : "#" + emission.names[at->second].type;
    return type.isArray ? "list of " + name : name;
}
