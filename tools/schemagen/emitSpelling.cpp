#include "tools/schemagen/emitSpelling.h"

#include <algorithm>
#include <array>

namespace {

struct SpellingRow {
    SchemaValueKind kind;
    const char *required; /* with the space or star that joins it to a name */
    const char *optional;
};

constexpr auto kSpellings = std::to_array<SpellingRow>({
    {SCHEMA_VALUE_BOOLEAN, "gboolean ", "gboolean *"},
    {SCHEMA_VALUE_BYTE, "gint8 ", "gint8 *"},
    {SCHEMA_VALUE_SHORT, "gint ", "gint *"},
    {SCHEMA_VALUE_INT, "gint ", "gint *"},
    {SCHEMA_VALUE_LONG, "gint64 ", "gint64 *"},
    {SCHEMA_VALUE_FLOAT, "gfloat ", "gfloat *"},
    {SCHEMA_VALUE_DOUBLE, "gdouble ", "gdouble *"},
    {SCHEMA_VALUE_STRING, "const gchar *", "const gchar *"},
    {SCHEMA_VALUE_URI, "const gchar *", "const gchar *"},
    {SCHEMA_VALUE_DATETIME, "const GTimeVal *", "const GTimeVal *"},
    {SCHEMA_VALUE_BINARY, "const GByteArray *", "const GByteArray *"},
    {SCHEMA_VALUE_ANY, "gpointer ", "gpointer "},
});

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
        const auto row = std::ranges::find(kSpellings, *kind, &SpellingRow::kind);
        return type.isOptional ? row->optional : row->required;
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
